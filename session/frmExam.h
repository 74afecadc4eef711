#pragma once

#include "session/PageGeometry.h"

#include <QList>
#include <QPointer>
#include <QWidget>

#include <vector>

class Panel;
class Question;
class QAbstractButton;
class QCheckBox;
class QFrame;
class QLabel;
class QPushButton;
class QRadioButton;
class QScrollBar;
class QTimer;
class frmExhibit;

// The exam window: one sitting of CurrentExam(), one item at a time, with the
// countdown, marking, navigation through all or only the marked items, and
// after the exam the read-only review that says which answers were correct.
//
// The page is written back into the model only by SaveAnswer, which runs on
// every change of item. The geometry comes from PageGeometry in twips.
class frmExam : public QWidget
{
    Q_OBJECT

public:
    // `catalogue` is the window hidden while the exam runs and shown again
    // when this window closes.
    explicit frmExam(QWidget* catalogue = nullptr);
    ~frmExam() override;

    // Begins a sitting on CurrentExam() and shows the window. Item 1's stored
    // answer and mark are cleared on the way: the first GotoQuestion saves the
    // still-empty page over it. A Duration above 546 minutes raises error 6
    // (the clock is a 16-bit count of seconds). An exam without items is not
    // started: a message says so, CurrentExam() is released and finished() is
    // emitted, the catalogue staying where it is.
    void StartExam();

    // Saves the page into the item on screen, then shows item `index`
    // (1..Count; not checked here, the model raises error 9 outside).
    void GotoQuestion(qint16 index);
    Question& CurrentQuestion() const;
    void DisplayQuestion(Question& question);
    void GotoFirstMarked();
    void GotoNextMarked();
    void GotoPreviousMarked();
    // Post-exam: the key's letters and CORRECT/INCORRECT for the item on screen.
    void ShowStatus();
    void StartPostExamReview();

    // 0 taking the exam, 1 reviewing all items, 2 reviewing marked items.
    qint32 ReviewMode() const { return m_reviewMode; }
    void SetReviewMode(qint32 mode) { m_reviewMode = mode; }
    qint16 CurrentIndex() const { return m_currentIndex; }
    qint16 SecondsRemaining() const { return m_secondsRemaining; }

    // One second of the clock. tmrTimer only calls this.
    void Tick();

    // "1,3" -> {1, 3}; a piece that is not a number raises error 13.
    static QList<qint16> ParseAnswer(const QString& answer);
    // The 1-based positions of the selected buttons joined by ",": a radio
    // button counts when it is on, a check box only when fully checked.
    static QString BuildAnswer(const QList<QAbstractButton*>& selectors);

public Q_SLOTS:
    void cmdNext_Click();
    void cmdPrev_Click();
    void cmdReview_Click();
    void cmdExhibit_Click();
    void cmdWhy_Click();

Q_SIGNALS:
    // The window closed and CurrentExam() was released.
    void finished();

protected:
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    // The time-elapsed question (Yes/No); its box runs a modal loop in which
    // further ticks arrive.
    virtual int AskForMoreTime();

private:
    // One option row. Rows are kept when an item goes and reused, hidden, by
    // the next one; a row's selector of each kind is made when first needed.
    struct ChoiceRow
    {
        QRadioButton* Option = nullptr;
        QCheckBox* Check = nullptr;
        QLabel* Label = nullptr;
        qint32 LabelHeight = 0; // twips, measured for the current width
    };

    void BuildPage();
    void SaveAnswer();
    void ClearChoices();
    void LoadChoices(Question& question);
    bool IsFirstQuestion() const;
    bool IsLastQuestion() const;
    bool IsFirstMarked() const;
    bool IsLastMarked() const;
    void PressReview();

    ChoiceRow& RowAt(qint32 index);
    QRadioButton* OptionAt(qint32 index);
    QCheckBox* CheckAt(qint32 index);
    QList<QAbstractButton*> Selectors(bool radio) const;
    QWidget* PreviousSelector(qint32 index, bool radio) const;
    void FocusFirstChoice();
    void SetOption(QRadioButton* option, bool on);
    void CheckBoxToggled(qint32 index, bool checked);
    void LabelClicked(qint32 index);

    // Geometry: the whole page on a resize, the button row after each item,
    // the option rows whenever the text width or the item changes.
    PageGeometry::PageInput MeasurePage() const;
    void ArrangePage();
    void ArrangeButtons();
    void ArrangeContent();
    void UpdateScrollRange();
    void ScrollTo(qint32 value);
    void EnsureVisible(QWidget* child);
    void DragInfoPanel(QEvent* event);

    // The windows this one opens; each is kept to one small function.
    void CloseExhibit();
    void OpenExhibit(const QString& fileName);
    void OpenExplanation(qint16 number);
    void OpenReviewList();
    void OpenReport();
    void Unload();

    QPointer<QWidget> m_catalogue;

    qint16 m_currentIndex = 0;
    qint16 m_secondsRemaining = 0;
    qint32 m_reviewMode = 0;
    bool m_askingForTime = false;

    QCheckBox* m_chkMarked = nullptr;
    QLabel* m_lblTime = nullptr;
    QFrame* m_picBorder = nullptr;
    QWidget* m_viewport = nullptr; // picBorder's client area: clips the content inside the border
    QWidget* m_picQuestion = nullptr;
    QLabel* m_lblQuestion = nullptr;
    QScrollBar* m_vsbScroll = nullptr;
    Panel* m_fraInfo = nullptr;
    QLabel* m_lblAnswer = nullptr;
    QLabel* m_lblStatus = nullptr;
    QPushButton* m_cmdWhy = nullptr;
    QPushButton* m_cmdNext = nullptr;
    QPushButton* m_cmdPrev = nullptr;
    QPushButton* m_cmdExhibit = nullptr;
    QPushButton* m_cmdReview = nullptr;
    QTimer* m_tmrTimer = nullptr;
    QPointer<frmExhibit> m_exhibit;

    std::vector<ChoiceRow> m_rows;
    qint32 m_rowCount = 0; // rows of the item on screen
    bool m_rowsAreOptions = false; // radio buttons (one answer) or check boxes
    qint32 m_selectorWidth = 0; // twips, the same for every row
    qint32 m_selectorHeight = 0;
    int m_labelInset = 0; // pixels above an option text's first line
    qint32 m_questionHeight = 0; // twips, lblQuestion at the current width
    qint32 m_contentHeight = 0; // twips, picQuestion

    PageGeometry::PageLayout m_layout;
    PageGeometry::Point m_infoPosition;
    PageGeometry::Point m_infoPress;
    QLabel* m_pressedLabel = nullptr;
};
