#pragma once

#include "model/SittingResult.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QVariantList>

#include <memory>
#include <optional>
#include <vector>

class Exam;
class Question;

// The rules of one sitting, free of widgets: which item is on screen, where
// Next and Previous lead, the marked-item predicates, the clock and its
// time question, the selection limit, what a click on an option's text does,
// and the switch into the read-only review after the end. The exam window
// asks this class what to do and only maps the answers onto its widgets.
//
// The session works on an Exam it does not own; the exam must outlive it or
// be replaced by the next Start. Item indexes are 1-based positions in
// Exam::Questions().
class ExamSession
{
public:
    enum class Review : qint32 { None = 0, All = 1, Marked = 2 };
    enum class Kind { Exam, Retake, Study };

    // What Next or Previous asks of the window.
    struct Move
    {
        enum Action { Goto, OpenReview, Stay };
        Action action = Stay;
        qint16 index = 0; // the item to show, for Goto
        // Previous's enabled state once the move is done; unset: as the move
        // left it.
        std::optional<bool> prevEnabled;
    };

    // What one second of the clock asks of the window.
    struct TickResult
    {
        enum Action { Nothing, ShowTime, AskForMoreTime };
        Action action = Nothing;
        QString label; // for ShowTime: "Time Remaining:  hh:mm:ss"
        // For ShowTime: the time is told to assistive technology now (each
        // whole minute, and every second of the last minute), not each tick.
        bool announce = false;
        // For ShowTime: the low-time note when it is due (5 minutes and 1
        // minute left), "5 minutes remain."; empty otherwise.
        QString note {};
    };

    // What a key pressed in the exam window asks for.
    struct KeyCommand
    {
        enum Action { None, Choose, Strike, Next, Prev, End, Check };
        Action action = None;
        qint32 row = 0; // 1-based option row, for Choose and Strike
    };

    enum class TimeAnswer { Continue, EndAndReport };

    // What a click on an option's text does.
    enum class LabelAction { Ignore, ToggleCheckBox, SetOption };

    // Per option row after the end (or after Check in study mode).
    enum class RowMark { None, RightOption, WrongChoice };

    // The key and verdict shown for an item after the end.
    struct Status
    {
        QString answerText; // "Answer: A,C"
        bool correct = false;
        bool whyVisible = false;
    };

    // Begins a sitting: item 1, not reviewing, the clock at Duration minutes
    // (error 6 from "frmExam::StartExam()" above 546, the clock being a
    // 16-bit count of seconds). A study sitting has no clock. `original`
    // maps each item to its number in the file it came from (a retake sits a
    // subset); empty means the items are the file's own.
    void Start(Exam& exam, Kind kind = Kind::Exam, const QList<qint16>& original = {});
    // Where the sitting came from, for its result.
    void SetSource(const QString& path, const QByteArray& digest);

    Exam* CurrentExam() const { return m_exam; }
    Kind SittingKind() const { return m_kind; }
    bool IsStudy() const { return m_kind == Kind::Study; }
    qint16 CurrentIndex() const { return m_currentIndex; }
    Question& CurrentQuestion() const;
    qint16 SecondsRemaining() const { return m_secondsRemaining; }
    Review ReviewMode() const { return m_review; }
    void SetReviewMode(Review mode) { m_review = mode; }
    bool IsEnded() const;
    bool IsPostExam() const { return m_postExam; }

    // The item shown from now on; Previous is then enabled unless it is item 1.
    void SetCurrentIndex(qint16 index) { m_currentIndex = index; }
    bool PrevEnabledAfterGoto() const { return !IsFirstQuestion(); }
    // Writes the page's answer and mark into the item on screen.
    void SaveAnswer(const QString& answer, bool marked);

    bool IsFirstQuestion() const;
    bool IsLastQuestion() const;
    // Both false while the item on screen is not marked.
    bool IsFirstMarked() const;
    bool IsLastMarked() const;

    // Next: at the last item (the last marked one in marked review) the
    // review list opens; else the next item (the next marked one).
    Move Next() const;
    // Previous: the item before, or in marked review the marked one before,
    // after which Previous is enabled unless that is the first marked item.
    Move Prev() const;
    // The first marked item, the next or the previous one; Stay when none.
    Move FirstMarked() const;
    Move NextMarked() const;
    Move PreviousMarked() const;

    // One second. Nothing while the time question is open, after the end, or
    // in study mode.
    TickResult Tick();
    // The candidate's reply to the time question. Yes gives 30 more
    // minutes; anything else ends the exam as last saved.
    TimeAnswer AnswerTimeQuestion(bool yes);
    // The read-only review after the end: the clock stops for good and the
    // struck-out options are forgotten.
    void StartPostExamReview();
    // From 5 minutes left until extra time is given; never in study mode.
    bool IsLowTime() const;

    // The sitting's keys, wherever the focus is in the exam window: a letter
    // A-Z or digit 1-9 alone chooses that option row, Shift with a letter
    // strikes it out, Ctrl+Right/Ctrl+Left are Next/Previous, Ctrl+End ends
    // the exam (through the review list) and Enter alone is Next, or Check on
    // a study item not yet checked. Alt is left to the buttons'
    // mnemonics. Nothing while a text field has the focus (`textFocus`), for
    // a row the item does not have (`rowCount` rows on screen), for rows that
    // can no longer change, or to end an ended exam. `key` and `modifiers`
    // are Qt's key code and modifiers; the keypad's modifier is ignored.
    KeyCommand KeyCommandFor(int key, Qt::KeyboardModifiers modifiers, qint32 rowCount, bool textFocus) const;

    // Strike-out of the item on screen's option rows (1-based): memory only,
    // kept per item for the whole sitting. Striking does not choose or
    // unchoose; it is refused (false) once the rows can no longer change.
    bool ToggleStrike(qint32 row);
    bool IsStruck(qint32 row) const;

    // Whether the candidate may still change the item on screen, and whether
    // it shows its key and verdict.
    bool RowsEnabled() const;
    bool MarkEnabled() const { return !IsEnded(); }
    bool ShowsStatus() const;

    // Study mode: the item on screen is checked (its options lock and its
    // verdict shows); false outside study mode or before Check.
    bool IsChecked() const;
    void Check();

    // "Exam: CODE - Item n of N", with the retake, study and review suffixes.
    QString Title(const Question& question) const;

    // The limit on checked boxes: true when `answer` (the boxes now checked,
    // answer form) holds more options than the item allows, so the box just
    // checked goes back. Only items with a hint are limited.
    static bool ExceedsLimit(bool hasHint, qint16 answerCount, const QString& answer);
    static QString LimitMessage();
    static LabelAction LabelClick(bool ended, qint16 answerCount);
    static Status StatusOf(const Question& question);
    static QList<RowMark> RowMarks(const Question& question);

    // A retake's exam, loaded afresh: the items `numbers` (the file's item
    // numbers) of the exam file at `path`, in the file's order, its clock
    // scaled by ScaledMinutes. Refused, without an exam, when the file's
    // SHA-256 is not `expectedDigest` (it changed since that attempt, or
    // cannot be read), when it does not load, or when none of the numbers is
    // in it: `refusal` is then the message to show with its box style and
    // placeholder values.
    struct Retake
    {
        std::shared_ptr<Exam> exam;
        QList<qint16> original; // the kept items' numbers in the file
        QByteArray digest;
        QString refusal;
        int style = 0;
        QVariantList values;
    };
    static Retake LoadRetake(const QString& path, const QByteArray& expectedDigest, const QList<qint16>& numbers);
    // Keeps only the items whose Number is in `numbers`, in their order, and
    // numbers them 1..n; returns the kept items' former numbers.
    static QList<qint16> RestrictTo(Exam& exam, const QList<qint16>& numbers);
    // Minutes for `kept` of `total` items of an exam of `duration` minutes:
    // the duration scaled, at least one minute per item, at most what the
    // 16-bit clock holds (546).
    static qint16 ScaledMinutes(qint16 duration, qsizetype total, qsizetype kept);

    // "1,3" -> {1, 3}; a piece that is not a number raises error 13 from
    // "frmExam::ParseAnswer()".
    static QList<qint16> ParseAnswer(const QString& answer);

    // Everything the sitting produced, for the history; call once ended.
    SittingResult Result() const;

private:
    Move GotoOrStay(qint32 index) const;
    bool IsFirstMarkedAt(qint32 index) const;

    Exam* m_exam = nullptr;
    Kind m_kind = Kind::Exam;
    qint16 m_currentIndex = 0;
    qint16 m_secondsRemaining = 0;
    Review m_review = Review::None;
    bool m_askingForTime = false;
    bool m_postExam = false;
    bool m_extraTime = false;
    qint32 m_secondsUsed = 0;
    std::vector<bool> m_checked;
    std::vector<QList<qint32>> m_struck; // per item index: its struck rows
    QList<qint16> m_original;
    QString m_path;
    QByteArray m_digest;
    QDateTime m_started;
};
