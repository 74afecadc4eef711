#pragma once

#include <QDialog>

#include <optional>

class Exam;
class QFrame;
class QLabel;
class QPrinter;
class QPushButton;

// The score report of an ended exam: a pass or fail headline, the required
// and obtained scores, two bars that compare them with the maximum, and a
// printed page of the same. Shown modally over the whole work area, from the
// review list or when the exam's time runs out.
class frmReport : public QDialog
{
    Q_OBJECT
    Q_PROPERTY(qint16 TotalScore READ TotalScore WRITE SetTotalScore)
    Q_PROPERTY(qint16 RequiredScore READ RequiredScore WRITE SetRequiredScore)
    Q_PROPERTY(qint16 ObtainedScore READ ObtainedScore WRITE SetObtainedScore)

public:
    // Reads the maximum, the pass score and the candidate's score once; a
    // score that CalculateScore cannot work out raises its error here.
    frmReport(const Exam& exam, QWidget* owner = nullptr);

    qint16 TotalScore() const { return m_totalScore; }
    void SetTotalScore(qint16 score);
    qint16 RequiredScore() const { return m_requiredScore; }
    void SetRequiredScore(qint16 score);
    qint16 ObtainedScore() const { return m_obtainedScore; }
    void SetObtainedScore(qint16 score);

    // Prints the page on the default printer. Without one it offers to save
    // the same page as a PDF file. Any failure shows "Error printing report"
    // and leaves the window as it was.
    void PrintReport();
    // Draws the one page of the report on `printer` and ends the job; raises
    // an error (482) when the printer or file cannot be opened or finished.
    void PrintTo(QPrinter& printer);

    // The next request for a PDF file name returns `fileName` without a
    // dialog; an empty name stands for a cancelled dialog. For tests.
    static void SetNextSaveFileName(const QString& fileName);
    // "<exam code> score report.pdf" in the user's documents folder.
    static QString DefaultSaveFileName(const QString& examCode);

Q_SIGNALS:
    // "Retake missed items": the report closes, the exam window starts a
    // sitting of the items answered wrongly or left unanswered.
    void retakeRequested();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // The window, frame included, over the desktop's work area.
    void PlaceOverWorkArea();
    // The work of each resize: verdict, texts, bars and placement.
    void Form_Resize();
    void SetBar(QWidget* bar, qint16 percent, const QColor& color);
    // The on-screen colours for this verdict's colour, from the theme.
    void ApplyScheme(const QColor& resultColor);
    void UpdateBars();
    // The share of `score`, or 0 when the maximum leaves it undefined.
    qint16 ShareOrZero(qint16 score) const;
    QString AskSaveFileName();

    qint16 m_totalScore = 0;
    qint16 m_requiredScore = 0;
    qint16 m_obtainedScore = 0;
    QString m_examCode;
    QString m_examName;

    QLabel* m_picLogo = nullptr;
    QLabel* m_lblMessage = nullptr;
    QFrame* m_fraScores = nullptr;
    QWidget* m_picScores = nullptr;
    QWidget* m_shpRequired = nullptr;
    QWidget* m_shpObtained = nullptr;
    QLabel* m_lblOutOf = nullptr;
    QLabel* m_lblRequiredScore = nullptr;
    QLabel* m_lblObtainedScore = nullptr;
    QLabel* m_lblGrade = nullptr;
    QLabel* m_lblRequiredShare = nullptr;
    QLabel* m_lblObtainedShare = nullptr;
    QPushButton* m_cmdPrint = nullptr;
    QPushButton* m_cmdExit = nullptr;
    QPushButton* m_cmdRetake = nullptr;

    static std::optional<QString> s_nextSaveFileName;
};
