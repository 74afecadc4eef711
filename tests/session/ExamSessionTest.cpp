#include "common/TestUtil.h"
#include "model/Error.h"
#include "model/Exam.h"
#include "model/FileDigest.h"
#include "session/ExamSession.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using Move = ExamSession::Move;
using Review = ExamSession::Review;
using LabelAction = ExamSession::LabelAction;

namespace {

// `keys` gives each item's solutions in answer form ("2", "1,3", "" for none),
// over four options; `marked` lists the marked items.
std::unique_ptr<Exam> MakeExam(const QStringList& keys, const QList<int>& marked = {}, qint16 minutes = 90)
{
    auto exam = std::make_unique<Exam>();
    exam->SetCode("EX-101");
    exam->SetName("Sample");
    exam->SetMaxScore(1000);
    exam->SetPassScore(700);
    exam->SetDuration(minutes);
    for (const QString& key : keys) {
        auto question = exam->Questions().Add();
        const QStringList solutions = key.split(',', Qt::SkipEmptyParts);
        for (int c = 1; c <= 4; ++c)
            question->Choices().Add()->SetIsSolution(solutions.contains(QString::number(c)));
        question->Choices().ResetNumbers();
        question->SetIsMarked(marked.contains(int(exam->Questions().Count())));
    }
    exam->Questions().ResetNumbers();
    return exam;
}

// "goto 4", "review", "stay", with ", prev on/off" when the move sets Previous.
QString Describe(const Move& move)
{
    QString text = move.action == Move::Goto ? QString("goto %1").arg(move.index)
        : move.action == Move::OpenReview    ? QString("review")
                                             : QString("stay");
    if (move.prevEnabled)
        text += *move.prevEnabled ? ", prev on" : ", prev off";
    return text;
}

QStringList Keys(int count)
{
    return QStringList(count, "1");
}

} // namespace

class ExamSessionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void navigation_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<QList<int>>("marked");
        QTest::addColumn<int>("current");
        QTest::addColumn<int>("review");
        QTest::addColumn<QString>("next");
        QTest::addColumn<QString>("prev");
        QTest::addColumn<QString>("firstMarked");
        using L = QList<int>;
        // Outside marked review Next and Previous step by one; Previous's
        // state is left to GotoQuestion (off on item 1 only).
        QTest::newRow("one item") << 1 << L {} << 1 << 0 << "review" << "goto 0" << "stay";
        QTest::newRow("middle") << 5 << L { 2 } << 3 << 1 << "goto 4" << "goto 2" << "goto 2";
        QTest::newRow("last, reviewing all") << 5 << L { 5 } << 5 << 1 << "review" << "goto 4" << "goto 5";
        QTest::newRow("marks ignored taking") << 5 << L { 2, 4 } << 3 << 0 << "goto 4" << "goto 2" << "goto 2";
        // Marked review: only going back applies the first-marked rule.
        QTest::newRow("first mark") << 5 << L { 2, 4 } << 2 << 2 << "goto 4" << "stay, prev off" << "goto 2";
        QTest::newRow("last mark") << 5 << L { 2, 4 } << 4 << 2 << "review" << "goto 2, prev off" << "goto 2";
        QTest::newRow("back to a middle mark") << 5 << L { 1, 3, 4 } << 4 << 2 << "review" << "goto 3, prev on"
                                               << "goto 1";
        // From an unmarked item neither predicate holds.
        QTest::newRow("unmarked between marks") << 5 << L { 2, 4 } << 3 << 2 << "goto 4" << "goto 2, prev off"
                                                << "goto 2";
        QTest::newRow("unmarked after the last mark") << 5 << L { 2 } << 3 << 2 << "stay" << "goto 2, prev off"
                                                      << "goto 2";
        QTest::newRow("unmarked before the first mark") << 5 << L { 4 } << 3 << 2 << "goto 4" << "stay, prev on"
                                                        << "goto 4";
        QTest::newRow("nothing marked") << 3 << L {} << 1 << 2 << "stay" << "stay, prev on" << "stay";
    }

    void navigation()
    {
        QFETCH(int, count);
        QFETCH(QList<int>, marked);
        QFETCH(int, current);
        QFETCH(int, review);
        auto exam = MakeExam(Keys(count), marked);
        ExamSession session;
        session.Start(*exam);
        session.SetCurrentIndex(qint16(current));
        session.SetReviewMode(Review(review));
        QTEST(Describe(session.Next()), "next");
        QTEST(Describe(session.Prev()), "prev");
        QTEST(Describe(session.FirstMarked()), "firstMarked");
        QCOMPARE(session.PrevEnabledAfterGoto(), current != 1);
        // The marked scans look at the stored marks, not at a mark unsaved.
        QCOMPARE(session.IsFirstMarked() || session.IsLastMarked(), marked.contains(current) &&
            (marked.first() == current || marked.last() == current));
    }

    // One session serves every sitting: a second Start forgets the first.
    void secondSittingStartsAfresh()
    {
        auto first = MakeExam(Keys(3), { 2 }, 1);
        ExamSession session;
        session.Start(*first);
        session.SetReviewMode(Review::Marked);
        session.SetCurrentIndex(3);
        for (int i = 0; i < 61; ++i)
            session.Tick();
        session.AnswerTimeQuestion(false);
        session.StartPostExamReview();
        auto second = MakeExam(Keys(3), {}, 2);
        session.Start(*second);
        QCOMPARE(session.ReviewMode(), Review::None);
        QCOMPARE(session.CurrentIndex(), qint16(1));
        QVERIFY(!session.IsEnded() && !session.IsPostExam() && session.RowsEnabled() && session.MarkEnabled());
        QCOMPARE(session.Tick().label, QString("Time Remaining:  00:01:59"));
        QCOMPARE(session.Title(second->Questions().Item(1)), QString("Exam: EX-101 - Item 1 of 3"));
    }

    void clock_data()
    {
        QTest::addColumn<int>("minutes");
        QTest::addColumn<int>("ticks");
        QTest::addColumn<QString>("label"); // of the last tick; "ask" for the time question
        QTest::newRow("first tick") << 90 << 1 << "Time Remaining:  01:29:59";
        QTest::newRow("last second") << 1 << 60 << "Time Remaining:  00:00:00";
        QTest::newRow("after 00:00:00") << 1 << 61 << "ask";
        QTest::newRow("546 minutes fit") << 546 << 1 << "Time Remaining:  09:05:59";
        QTest::newRow("547 minutes overflow") << 547 << 0 << "";
    }

    void clock()
    {
        QFETCH(int, minutes);
        QFETCH(int, ticks);
        auto exam = MakeExam(Keys(2), {}, qint16(minutes));
        ExamSession session;
        const Error raised = TestUtil::Raised([&] { session.Start(*exam); });
        if (ticks == 0) {
            QCOMPARE(raised.Number(), ErrorNumber::Overflow);
            return;
        }
        ExamSession::TickResult last;
        for (int i = 0; i < ticks; ++i)
            last = session.Tick();
        QTEST(last.action == ExamSession::TickResult::AskForMoreTime ? QString("ask") : last.label, "label");
    }

    // The question is asked once; Yes gives 30 minutes, No ends as saved.
    void timeQuestion_data()
    {
        QTest::addColumn<bool>("yes");
        QTest::newRow("yes") << true;
        QTest::newRow("no") << false;
    }

    void timeQuestion()
    {
        QFETCH(bool, yes);
        auto exam = MakeExam(Keys(2), {}, 1);
        ExamSession session;
        session.Start(*exam);
        for (int i = 0; i < 61; ++i)
            session.Tick();
        QCOMPARE(session.Tick().action, ExamSession::TickResult::Nothing); // while the question is open
        const ExamSession::TimeAnswer answer = session.AnswerTimeQuestion(yes);
        QCOMPARE(answer == ExamSession::TimeAnswer::Continue, yes);
        QCOMPARE(exam->IsEnded(), !yes);
        const ExamSession::TickResult next = session.Tick();
        QCOMPARE(next.label, yes ? QString("Time Remaining:  00:29:59") : QString());
        QCOMPARE(session.RowsEnabled() && session.MarkEnabled(), yes);
        QVERIFY(session.Result().extraTimeTaken == yes && session.Result().secondsUsed == (yes ? 62 : 61));
    }

    // A click on an option: the limit on checked boxes, and what a click on
    // the option's text does. No answer at all sets a (hidden) radio button,
    // though the page shows check boxes.
    void optionClicks_data()
    {
        QTest::addColumn<bool>("hasHint");
        QTest::addColumn<int>("answerCount");
        QTest::addColumn<QString>("checked");
        QTest::addColumn<bool>("ended");
        QTest::addColumn<bool>("exceeds");
        QTest::addColumn<int>("labelAction");
        const int toggle = int(LabelAction::ToggleCheckBox), set = int(LabelAction::SetOption);
        QTest::newRow("hint, at the limit") << true << 2 << "1,3" << false << false << toggle;
        QTest::newRow("hint, one over") << true << 2 << "1,2,3" << false << true << toggle;
        QTest::newRow("no hint, any number") << false << 2 << "1,2,3,4" << false << false << toggle;
        QTest::newRow("hint, no answer") << true << 0 << "1" << false << true << set;
        QTest::newRow("one answer") << false << 1 << "1" << false << false << set;
        QTest::newRow("ended") << false << 2 << "" << true << false << int(LabelAction::Ignore);
    }

    void optionClicks()
    {
        QFETCH(bool, hasHint);
        QFETCH(int, answerCount);
        QFETCH(QString, checked);
        QFETCH(bool, ended);
        QTEST(ExamSession::ExceedsLimit(hasHint, qint16(answerCount), checked), "exceeds");
        QTEST(int(ExamSession::LabelClick(ended, qint16(answerCount))), "labelAction");
    }

    // After the end: the key, the verdict and one mark per option row.
    void status_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("marks"); // per row: R right option, W wrong choice, . none
        QTest::newRow("right") << "1,3" << "1,3" << "Answer: A,C CORRECT" << "R.R.";
        QTest::newRow("one of two") << "1,3" << "1" << "Answer: A,C INCORRECT" << "R.R.";
        QTest::newRow("wrong choices") << "2" << "1,4" << "Answer: B INCORRECT" << "WR.W";
        QTest::newRow("unanswered") << "2" << "" << "Answer: B INCORRECT" << ".R..";
        QTest::newRow("nothing to choose") << "" << "" << "Answer:  CORRECT" << "....";
        QTest::newRow("damaged answer") << "2" << "x,9" << "Answer: B INCORRECT" << ".R..";
    }

    void status()
    {
        QFETCH(QString, key);
        QFETCH(QString, answer);
        auto exam = MakeExam({ key });
        Question& question = exam->Questions().Item(1);
        question.SetAnswer(answer);
        const ExamSession::Status status = ExamSession::StatusOf(question);
        QTEST(status.answerText + (status.correct ? " CORRECT" : " INCORRECT"), "shown");
        QString marks;
        for (ExamSession::RowMark mark : ExamSession::RowMarks(question))
            marks += mark == ExamSession::RowMark::RightOption ? 'R'
                : mark == ExamSession::RowMark::WrongChoice    ? 'W'
                                                               : '.';
        QTEST(marks, "marks");
        question.SetExplaination("  ");
        QVERIFY(!ExamSession::StatusOf(question).whyVisible);
        question.SetExplaination("Because.");
        QVERIFY(ExamSession::StatusOf(question).whyVisible);
    }

    void title_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<int>("review");
        QTest::addColumn<QString>("title");
        QTest::newRow("taking") << int(ExamSession::Kind::Exam) << 0 << "Exam: EX-101 - Item 7 of 50";
        QTest::newRow("reviewing all") << int(ExamSession::Kind::Exam) << 1
                                       << "Exam: EX-101 - Item 7 of 50 - Reviewing All";
        QTest::newRow("reviewing marked") << int(ExamSession::Kind::Exam) << 2
                                          << "Exam: EX-101 - Item 7 of 50 - Reviewing Marked";
        QTest::newRow("retake") << int(ExamSession::Kind::Retake) << 0 << "Exam: EX-101 - Item 7 of 50 - Missed items";
        QTest::newRow("study") << int(ExamSession::Kind::Study) << 1
                               << "Exam: EX-101 - Item 7 of 50 - Study - Reviewing All";
    }

    void title()
    {
        QFETCH(int, kind);
        QFETCH(int, review);
        auto exam = MakeExam(Keys(50));
        ExamSession session;
        session.Start(*exam, ExamSession::Kind(kind));
        session.SetReviewMode(Review(review));
        QTEST(session.Title(exam->Questions().Item(7)), "title");
    }

    // Study mode: no clock; a checked item locks and shows its verdict.
    void study()
    {
        auto exam = MakeExam({ "1", "2", "3" });
        ExamSession session;
        session.Start(*exam, ExamSession::Kind::Study);
        QCOMPARE(session.Tick().action, ExamSession::TickResult::Nothing);
        session.SetCurrentIndex(2);
        session.SaveAnswer("2", false);
        QVERIFY(session.RowsEnabled() && !session.ShowsStatus());
        session.Check();
        QVERIFY(!session.RowsEnabled() && session.ShowsStatus() && session.MarkEnabled());
        session.SetCurrentIndex(3);
        QVERIFY(session.RowsEnabled() && !session.ShowsStatus());
        QCOMPARE(Describe(session.Next()), QString("review"));
        exam->EndExam();
        const SittingResult result = session.Result();
        QVERIFY(result.isStudy && !result.isRetake);
        QCOMPARE(result.obtained, qint16(333));
    }

    // What the history keeps; a retake reports the file's item numbers.
    void result()
    {
        auto exam = MakeExam({ "1", "2", "1,3" }, { 3 });
        ExamSession session;
        session.Start(*exam, ExamSession::Kind::Retake, { 4, 9, 12 });
        session.SetSource("/exams/EX-101.exam", QByteArray(32, 'x'));
        session.SaveAnswer("1", false);
        session.SetCurrentIndex(3);
        session.SaveAnswer("1,3", true);
        exam->EndExam();
        const SittingResult result = session.Result();
        QCOMPARE(result.examCode, QString("EX-101"));
        QCOMPARE(result.examPath, QString("/exams/EX-101.exam"));
        QCOMPARE(result.examDigest, QByteArray(32, 'x'));
        QVERIFY(result.isRetake && !result.isStudy && !result.extraTimeTaken);
        QCOMPARE(QList<qint16>({ result.obtained, result.required, result.maximum }), QList<qint16>({ 667, 700, 1000 }));
        QVERIFY(!result.passed);
        QCOMPARE(MissedNumbers(result), QList<qint16>({ 9 }));
        QCOMPARE(result.items[2].answer, QString("1,3"));
        QVERIFY(result.items[2].isMarked && result.items[2].isCorrect && result.items[2].key == "1,3");
    }

    void scaledMinutes()
    {
        QCOMPARE(ExamSession::ScaledMinutes(10, 100, 50), qint16(50)); // a minute per item at least
        QCOMPARE(ExamSession::ScaledMinutes(500, 1000, 900), qint16(546)); // what the clock holds
    }

    // A retake loads its file afresh: the given numbers it holds, in its
    // order, numbered anew, on a scaled clock; a changed or damaged file is
    // refused.
    void retake_data()
    {
        QTest::addColumn<QString>("damage"); // to the file, before or after its digest is taken
        QTest::addColumn<QList<qint16>>("numbers");
        QTest::addColumn<QString>("expected"); // the file's numbers kept and the minutes, or the refusal
        QTest::newRow("two of five, scaled") << "" << QList<qint16> { 4, 2 } << "2=1:2,4=2:4 in 36 min";
        QTest::newRow("unknown numbers dropped") << "" << QList<qint16> { 9, 5, -1 } << "5=1:5 in 18 min";
        QTest::newRow("changed since") << "append after" << QList<qint16> { 2 } << "48:The exam file {1} cannot";
        QTest::newRow("damaged") << "truncate before" << QList<qint16> { 2 } << "16:The exam file {1} cannot be read:";
        QTest::newRow("none of them") << "" << QList<qint16> { 7 } << "64:There are no missed items to retake.";
    }

    void retake()
    {
        QFETCH(QString, damage);
        QFETCH(QList<qint16>, numbers);
        QFETCH(QString, expected);
        QTemporaryDir folder;
        const QString path = folder.filePath("EX-101.exam");
        auto exam = MakeExam(Keys(5));
        for (int i = 1; i <= 5; ++i)
            exam->Questions().Item(i).SetProblem(QString::number(i));
        exam->Save(path);
        QFile file(path);
        if (damage == "truncate before")
            QVERIFY(file.resize(40));
        const QByteArray digest = FileSha256(path);
        if (damage == "append after") // ignored by Load, not by the digest
            QVERIFY(file.open(QIODevice::Append) && file.write("x") == 1);
        file.close();
        const ExamSession::Retake retake = ExamSession::LoadRetake(path, digest, numbers);
        QString outcome = QString("%1:%2").arg(retake.style).arg(retake.refusal);
        if (retake.exam) {
            QStringList kept; // the file's number, then the item's number and text
            for (qsizetype i = 0; i < retake.original.size(); ++i)
                kept << QString("%1=%2:%3").arg(retake.original[i]).arg(retake.exam->Questions().Item(i + 1).Number())
                            .arg(retake.exam->Questions().Item(i + 1).Problem());
            outcome = QString("%1 in %2 min").arg(kept.join(',')).arg(retake.exam->Duration());
        }
        QVERIFY2(outcome.startsWith(expected), qPrintable(outcome));
    }

    // The sitting's keys: `state` is taking, study, study checked or ended.
    void keyCommands_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<bool>("textFocus");
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("command");
        const int none = Qt::NoModifier, shift = Qt::ShiftModifier, ctrl = Qt::ControlModifier, alt = Qt::AltModifier;
        const int keypad = Qt::KeypadModifier;
        QTest::newRow("letter A") << int(Qt::Key_A) << none << false << "taking" << "choose 1";
        QTest::newRow("last letter of four") << int(Qt::Key_D) << none << false << "taking" << "choose 4";
        QTest::newRow("letter past the rows") << int(Qt::Key_E) << none << false << "taking" << "none";
        QTest::newRow("digit 3") << int(Qt::Key_3) << none << false << "taking" << "choose 3";
        QTest::newRow("keypad digit 2") << int(Qt::Key_2) << keypad << false << "taking" << "choose 2";
        QTest::newRow("digit 0") << int(Qt::Key_0) << none << false << "taking" << "none";
        QTest::newRow("shift letter strikes") << int(Qt::Key_B) << shift << false << "taking" << "strike 2";
        QTest::newRow("shift digit") << int(Qt::Key_2) << shift << false << "taking" << "none";
        QTest::newRow("alt letter is a mnemonic") << int(Qt::Key_N) << alt << false << "taking" << "none";
        QTest::newRow("ctrl letter") << int(Qt::Key_A) << ctrl << false << "taking" << "none";
        QTest::newRow("ctrl right") << int(Qt::Key_Right) << ctrl << false << "taking" << "next";
        QTest::newRow("ctrl left") << int(Qt::Key_Left) << ctrl << false << "taking" << "prev";
        QTest::newRow("plain right is the buttons'") << int(Qt::Key_Right) << none << false << "taking" << "none";
        QTest::newRow("ctrl shift right") << int(Qt::Key_Right) << ctrl + shift << false << "taking" << "none";
        QTest::newRow("ctrl end") << int(Qt::Key_End) << ctrl << false << "taking" << "end";
        QTest::newRow("text field keeps a letter") << int(Qt::Key_A) << none << true << "taking" << "none";
        QTest::newRow("text field keeps ctrl right") << int(Qt::Key_Right) << ctrl << true << "taking" << "none";
        QTest::newRow("ended: no choosing") << int(Qt::Key_A) << none << false << "ended" << "none";
        QTest::newRow("ended: no striking") << int(Qt::Key_A) << shift << false << "ended" << "none";
        QTest::newRow("ended: next still moves") << int(Qt::Key_Right) << ctrl << false << "ended" << "next";
        QTest::newRow("ended: no second end") << int(Qt::Key_End) << ctrl << false << "ended" << "none";
        QTest::newRow("checked study item") << int(Qt::Key_A) << none << false << "study checked" << "none";
        QTest::newRow("enter is next") << int(Qt::Key_Return) << none << false << "taking" << "next";
        QTest::newRow("keypad enter, study") << int(Qt::Key_Enter) << keypad << false << "study" << "check";
        QTest::newRow("enter on a checked item") << int(Qt::Key_Return) << none << false << "study checked" << "next";
        QTest::newRow("shift enter") << int(Qt::Key_Return) << shift << false << "study" << "none";
    }

    void keyCommands()
    {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(bool, textFocus);
        QFETCH(QString, state);
        auto exam = MakeExam(Keys(2));
        ExamSession session;
        session.Start(*exam, state.startsWith("study") ? ExamSession::Kind::Study : ExamSession::Kind::Exam);
        if (state == "study checked")
            session.Check();
        if (state == "ended")
            exam->EndExam();
        const ExamSession::KeyCommand command
            = session.KeyCommandFor(key, Qt::KeyboardModifiers(modifiers), 4, textFocus);
        const char* names[] = { "none", "choose", "strike", "next", "prev", "end", "check" };
        QString shown = names[command.action];
        if (command.row)
            shown += QString(" %1").arg(command.row);
        QTEST(shown, "command");
    }

    // Struck rows are kept per item while the exam runs and forgotten after.
    void strikeOut()
    {
        auto exam = MakeExam(Keys(2));
        ExamSession session;
        session.Start(*exam);
        QVERIFY(session.ToggleStrike(2) && session.ToggleStrike(3) && session.ToggleStrike(2));
        QVERIFY(!session.IsStruck(2) && session.IsStruck(3));
        QVERIFY(!session.ToggleStrike(0));
        session.SetCurrentIndex(2);
        QVERIFY(!session.IsStruck(3));
        session.SetCurrentIndex(1);
        QVERIFY(session.IsStruck(3));
        exam->EndExam();
        QVERIFY(!session.ToggleStrike(1));
        session.StartPostExamReview();
        QVERIFY(!session.IsStruck(3));
    }

    // Assistive technology hears the time each minute and every second of the
    // last one; the low-time cue comes at 5 minutes and at 1, extra time ends
    // the warning.
    void lowTimeAndAnnouncements()
    {
        auto exam = MakeExam(Keys(1), {}, 6);
        ExamSession session;
        session.Start(*exam);
        QStringList notes;
        int announced = 0, lowFrom = -1;
        for (int i = 0; i < 360; ++i) {
            const ExamSession::TickResult tick = session.Tick();
            const int left = session.SecondsRemaining();
            if (!tick.note.isEmpty())
                notes.append(QString("%1 %2").arg(left).arg(tick.note));
            announced += tick.announce;
            if (tick.announce && left >= 60)
                QCOMPARE(left % 60, 0);
            if (lowFrom < 0 && session.IsLowTime())
                lowFrom = left;
        }
        QCOMPARE(notes, QStringList({ "300 5 minutes remain.", "60 1 minute remains." }));
        QCOMPARE(announced, 5 + 60); // 05:00 .. 01:00, then 00:59 .. 00:00
        QCOMPARE(lowFrom, 300);
        session.Tick();
        session.AnswerTimeQuestion(true);
        QVERIFY(!session.IsLowTime());
        ExamSession study;
        study.Start(*exam, ExamSession::Kind::Study);
        QVERIFY(!study.IsLowTime());
    }

    void parseAnswer_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QList<qint16>>("numbers");
        QTest::addColumn<int>("error");
        QTest::newRow("two") << "1,3" << QList<qint16> { 1, 3 } << 0;
        QTest::newRow("empty") << "" << QList<qint16> {} << 0;
        QTest::newRow("trailing comma") << "2," << QList<qint16> { 2 } << 0;
        QTest::newRow("not a number") << "1,x" << QList<qint16> {} << int(ErrorNumber::TypeMismatch);
        QTest::newRow("beyond 16 bits") << "40000" << QList<qint16> {} << int(ErrorNumber::Overflow);
    }

    void parseAnswer()
    {
        QFETCH(QString, answer);
        QFETCH(int, error);
        QList<qint16> numbers;
        const Error raised = TestUtil::Raised([&] { numbers = ExamSession::ParseAnswer(answer); });
        QCOMPARE(int(raised.Number()), error);
        if (!error)
            QTEST(numbers, "numbers");
    }
};

QTEST_GUILESS_MAIN(ExamSessionTest)
#include "ExamSessionTest.moc"
