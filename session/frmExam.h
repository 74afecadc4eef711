#pragma once

#include "session/ExamSession.h"
#include "session/PageArranger.h"

#include <QPointer>
#include <QWidget>

class Question;
class QAbstractButton;
class QCheckBox;
class QLabel;
class QPushButton;
class QTimer;
class ClockDisplay;
class QuestionPanel;
class frmExhibit;

// The exam window: one sitting of CurrentExam(), one item at a time, with the
// countdown, marking, navigation through all or only the marked items, and
// after the exam the read-only review that says which answers were correct.
//
// The rules of the sitting are ExamSession's; this window maps its answers
// onto widgets. The page is written back into the model only by SaveAnswer,
// which runs on every change of item. PageArranger places the widgets where
// PageGeometry says; the bordered question area is a QuestionPanel and the
// time with its low-time note a ClockDisplay.
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
    // A sitting of only the items `numbers` (the file's item numbers, kept in
    // the file's order) of the exam file at `examPath`, as CurrentExam(),
    // scored on the exam's maximum, timed at least a minute per item.
    // Refused with a message, the window as it was, when the file's SHA-256
    // is not `expectedDigest` (it changed since that attempt), when it cannot
    // be read, or when none of the numbers is in it.
    void StartRetake(const QString& examPath, const QByteArray& expectedDigest, const QList<qint16>& numbers);
    // Study mode on CurrentExam(): no clock; Check (Enter) shows an item's
    // key and verdict and locks its options. `onlyNumbers` restricts the
    // sitting to those items (empty: every item).
    void StartStudy(const QList<qint16>& onlyNumbers = {});

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
    qint32 ReviewMode() const { return qint32(m_session.ReviewMode()); }
    void SetReviewMode(qint32 mode) { m_session.SetReviewMode(ExamSession::Review(mode)); }
    qint16 CurrentIndex() const { return m_session.CurrentIndex(); }
    qint16 SecondsRemaining() const { return m_session.SecondsRemaining(); }
    // The size of the item, option and explanation texts in percent
    // (TextScale): taken from the settings store when a sitting begins, and
    // remembered there when the candidate changes it.
    qint32 TextScalePercent() const { return m_textScale; }
    void SetTextScale(qint32 percent);

    // One second of the clock. tmrTimer only calls this.
    void Tick();

    // "1,3" -> {1, 3}; a piece that is not a number raises error 13.
    static QList<qint16> ParseAnswer(const QString& answer) { return ExamSession::ParseAnswer(answer); }
    // The 1-based positions of the selected buttons joined by ",": a radio
    // button counts when it is on, a check box only when fully checked.
    static QString BuildAnswer(const QList<QAbstractButton*>& selectors);

public Q_SLOTS:
    void cmdNext_Click();
    void cmdPrev_Click();
    void cmdReview_Click();
    void cmdExhibit_Click();
    void cmdWhy_Click();
    void cmdCheck_Click();

Q_SIGNALS:
    // The window closed and CurrentExam() was released.
    void finished();
    // The sitting ended (exam mode at its report, study mode when ended).
    void sittingEnded(const SittingResult& result);
    // On the score report the candidate asked to retake what was missed.
    void retakeRequested(const SittingResult& result);

protected:
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    // The time-elapsed question (Yes/No); its box runs a modal loop in which
    // further ticks arrive.
    virtual int AskForMoreTime();

private:
    // Starts any kind of sitting on CurrentExam(); `original` maps items to
    // the file's numbers. Empty `digest`: taken here from the exam's file.
    void Begin(ExamSession::Kind kind, const QList<qint16>& original, QByteArray digest = {});
    // The sitting's result to whoever keeps the history.
    void EndSitting();
    // A retake asked for on the report, once the report and list are gone.
    void RetakeIfAsked();
    void BuildPage();
    void SaveAnswer();
    void ClearChoices();
    void LoadChoices(Question& question);
    // Carries out what the session answered for Next, Previous or a marked
    // item: the item shown, the review list opened, Previous's state.
    void Apply(const ExamSession::Move& move);
    void PressReview();
    void BoxChecked(qint32 index);
    void LabelClicked(qint32 index);


    // The windows this one opens; each is kept to one small function.
    void CloseExhibit();
    void OpenExplanation(qint16 number);
    // `askToEnd`: the list opens with its End Exam already pressed, so the
    // candidate answers its confirmation.
    void OpenReviewList(bool askToEnd = false);
    void OpenReport();
    void Unload();

    // The sitting's keys (ExamSession::KeyCommandFor): true when one acted.
    bool RunKey(int key, Qt::KeyboardModifiers modifiers);
    void ToggleStrike(qint32 index);
    void ShowStruck();

    QPointer<QWidget> m_catalogue;

    ExamSession m_session;

    QCheckBox* m_chkMarked = nullptr;
    ClockDisplay* m_clock = nullptr; // lblTime and the low-time note
    QuestionPanel* m_picBorder = nullptr;
    QPushButton* m_cmdNext = nullptr;
    QPushButton* m_cmdPrev = nullptr;
    QPushButton* m_cmdExhibit = nullptr;
    QPushButton* m_cmdReview = nullptr;
    QTimer* m_tmrTimer = nullptr;
    QPointer<frmExhibit> m_exhibit;
    PageArranger m_page;
    SittingResult m_result;
    bool m_retakeAsked = false;
    qint32 m_textScale = 100;
};
