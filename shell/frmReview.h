#pragma once

#include <QDialog>

class Exam;
class Question;
class QLabel;
class QLineEdit;
class QListWidget;
class QListWidgetItem;
class QPushButton;

// The item review list: every item of the exam with its status and the
// answer given so far. From here the candidate jumps to an item, restricts
// the exam window's navigation to all or to marked items, or ends the exam
// and sees the score report. It drives the exam window only through its
// signals, and closes itself after each of them. Built afresh for every
// opening and shown modally.
class frmReview : public QDialog
{
    Q_OBJECT

public:
    // Position of an entry's item (1-based) in the list's item data.
    static constexpr int IndexRole = 0x0100; // Qt::UserRole
    // The entry's status icon key: "Checked", "Incomplete" or "Complete".
    static constexpr int StatusRole = 0x0101;

    frmReview(Exam& exam, QWidget* owner = nullptr);

    // "Checked" when marked, else "Incomplete" while fewer options are
    // chosen than the item has solutions, else "Complete".
    static QString StatusKey(const Question& question);
    // "4 - A,C", or just "4" while nothing is chosen.
    static QString EntryText(const Question& question);
    // The entry as assistive technology reads it: "Item 7, answered A,B,
    // incomplete"; "not answered" and "marked" / "complete" likewise.
    static QString SpokenEntry(const Question& question);
    // The question number field's rule: a value above `count` becomes the
    // count, 0 becomes 1 (the value is that of the leading digits); empty or
    // blank text stays as it is.
    static QString ConstrainNumber(const QString& text, qsizetype count);

    // What End Exam does: while the exam runs, the confirmation, then the
    // exam ends and the report shows.
    void cmdEnd_Click();

Q_SIGNALS:
    // Navigation from now on goes through all items, from the first.
    void reviewAllRequested();
    // Navigation from now on goes through marked items, from the first.
    void reviewMarkedRequested();
    // Show item `index` (1-based, within the exam).
    void gotoRequested(qint16 index);
    // The candidate confirmed and the exam has just been ended.
    void examEnded();
    // The score report's "Retake missed items" was pressed.
    void retakeRequested();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void cmdGoTo_Click();
    void cmdReviewAll_Click();
    void cmdReviewMarked_Click();
    void lvwReview_DblClick(QListWidgetItem* item);
    void txtQuestion_Change();
    // Hides this list, shows the report modally and closes once it returns.
    void ShowReport();

    Exam& m_exam;
    QListWidget* m_lvwReview = nullptr;
    QLineEdit* m_txtQuestion = nullptr;
    QLabel* m_lblSummary = nullptr;
    QPushButton* m_cmdGoTo = nullptr;
    QPushButton* m_cmdReviewAll = nullptr;
    QPushButton* m_cmdReviewMarked = nullptr;
    QPushButton* m_cmdEnd = nullptr;
};
