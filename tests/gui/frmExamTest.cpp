#include "session/frmExam.h"
#include "common/GuiUtil.h"
#include "common/TestUtil.h"
#include "model/Exam.h"
#include "session/frmExhibit.h"
#include "shell/DisplaySettings.h"
#include "shell/Globals.h"
#include "shell/Registry.h"
#include "shell/frmReport.h"
#include "shell/frmReview.h"
#include "shell/frmShortcuts.h"

#include <QtTest>
#include <QtWidgets>

using namespace GuiUtil;

namespace {

// EX-101, an item a line: its options' keys as 0/1, then a hint, an
// explanation and an exhibit when given. 1 radio (key B, explained), 2 check
// boxes with hint (key A,C, blank explanation), 3 check boxes (key A,B; its
// exhibit never there), 4 radio with an exhibit (key A), 5 without solution.
const QStringList Standard { "010||Because B.", "1010|hint|   ", "1100|||absent.bmp", "10|||diagram.bmp", "00" };

void MakeExam(const QStringList& items, qint16 duration = 90)
{
    auto exam = std::make_shared<Exam>();
    exam->SetCode("EX-101");
    exam->SetMaxScore(1000);
    exam->SetDuration(duration);
    for (const QString& item : items) {
        auto question = exam->Questions().Add();
        question->SetProblem(QStringLiteral("Question %1").arg(exam->Questions().Count()));
        question->SetHasHint(!item.section('|', 1, 1).isEmpty());
        question->SetExplaination(item.section('|', 2, 2));
        question->SetExhibit(item.section('|', 3, 3));
        for (QChar key : item.section('|', 0, 0)) {
            auto choice = question->Choices().Add();
            choice->SetStatement(QStringLiteral("Option %1").arg(question->Choices().Count()));
            choice->SetIsSolution(key == '1');
        }
        question->Choices().ResetNumbers();
    }
    exam->Questions().ResetNumbers();
    CurrentExam() = exam;
}

// Ticks once more while its first time question is open, as the clock does
// while a real message box runs its modal loop.
class ReentrantExam : public frmExam
{
public:
    using frmExam::frmExam;
    int Questions = 0;

protected:
    int AskForMoreTime() override
    {
        if (Questions++ == 0)
            Tick();
        return frmExam::AskForMoreTime();
    }
};

} // namespace

class frmExamTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Registry::SetStoreFolders(m_store.path(), m_store.filePath("machine")); }
    void cleanupTestCase() { Registry::SetStoreFolders({}, {}); }

    void init()
    {
        MessageSeam::Intercept(true);
        Shown();
        m_catalogue = std::make_unique<QWidget>();
        m_catalogue->show();
        m_window = std::make_unique<frmExam>(m_catalogue.get());
    }

    void cleanup()
    {
        m_window.reset();
        CurrentExam().reset();
    }

    // The window replaces the catalogue; an exam without items goes back to it.
    void startAndClose()
    {
        MakeExam({});
        QSignalSpy finished(m_window.get(), &frmExam::finished);
        m_window->StartExam();
        QCOMPARE(Shown(), QStringList { "48:This exam has no items and cannot be started." });
        QVERIFY(finished.count() == 1 && !CurrentExam() && !m_window->isVisible() && m_catalogue->isVisible());
        Start();
        QVERIFY(m_window->isVisible() && !m_catalogue->isVisible() && !W("fraInfo")->isVisible() && W("lblTime")->isVisible());
        MessageSeam::SetNextAnswer(MessageSeam::No);
        m_window->close();
        QVERIFY(m_window->isVisible() && CurrentExam());
        MessageSeam::SetNextAnswer(MessageSeam::Yes);
        m_window->close();
        QCOMPARE(Shown(), QStringList(2, "36:Are you sure you want to terminate the exam?"));
        QVERIFY(!m_window->isVisible() && m_catalogue->isVisible() && !CurrentExam() && finished.count() == 2);
    }

    // Answers survive moving; Ctrl+End ends through the list; post-exam
    // review shows each verdict read-only and the same window starts afresh.
    void sitting()
    {
        Start(Standard, 90, [] { Item(4).SetIsMarked(true); });
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        Click({ "optChoices2", "optChoices1" });
        Key(Qt::Key_B, Qt::ShiftModifier);
        QCOMPARE(W("optChoices2")->accessibleName(), QString("Option B: Option 2, not selected, struck out"));
        QTest::keyClick(m_window.get(), Qt::Key_Return);
        QCOMPARE(m_window->CurrentIndex(), qint16(2));
        Click({ "chkChoices1", "chkChoices3", "chkMarked", "cmdPrev" });
        QVERIFY(On("optChoices1") && !On("optChoices2") && !On("chkMarked"));
        Click("cmdNext");
        QVERIFY(On("chkChoices1") && !On("chkChoices2") && On("chkChoices3") && On("chkMarked"));
        // The list presses its own End; the step lets that queued press run.
        MessageSeam::SetNextAnswer(MessageSeam::Yes);
        std::shared_ptr<bool> reported;
        auto listed = WhenModal<frmReview>([&reported](frmReview*) {
            reported = WhenModal<frmReport>();
            QCoreApplication::processEvents();
        });
        Key(Qt::Key_End, Qt::ControlModifier);
        QVERIFY(*listed && reported && *reported && CurrentExam()->IsEnded());
        QCOMPARE(Shown(), QStringList { "36:Are you sure you want to end the exam?" });
        QVERIFY(Item(1).Answer() == "1" && Item(2).Answer() == "1,3" && Item(2).IsMarked());
        QVERIFY(m_window->CurrentIndex() == 1 && W("fraInfo")->isVisible() && !W("lblTime")->isVisible());
        QCOMPARE(Status(), QString("Answer: B INCORRECT #ff0000"));
        QCOMPARE(Marks(), QStringList({ "your answer, incorrect #ff0000", "correct option #008000", "." }));
        QString title;
        WhenModal<QDialog>([&title](QDialog* dialog) { title = dialog->windowTitle(); });
        Click("cmdWhy");
        QCOMPARE(title, QString("Explaination - Question: 1"));
        Click("cmdNext");
        QCOMPARE(Status(), QString("Answer: A,C CORRECT #008000"));
        QCOMPARE(Marks(), QStringList({ "correct option #008000", ".", "correct option #008000", "." }));
        QVERIFY(W("cmdWhy")->isHidden() && On("chkMarked") && !W("chkMarked")->isEnabled());

        WhenModal<frmReview>([](frmReview* review) { review->findChild<QPushButton*>("cmdReviewMarked")->click(); });
        Click("cmdReview");
        QCOMPARE(m_window->windowTitle(), QString("Exam: EX-101 - Item 2 of 5 - Reviewing Marked"));
        Click("cmdNext");
        listed = WhenModal<frmReview>();
        Click("cmdNext"); // past the last mark
        QVERIFY(*listed && m_window->CurrentIndex() == 4);
        // The information panel, dragged away, is home again on the next item.
        QWidget* info = W("fraInfo");
        const QPoint home = info->pos();
        QTest::mousePress(info, Qt::LeftButton, {}, QPoint(20, 20));
        QTest::mouseMove(info, QPoint(-40, -20));
        QTest::mouseRelease(info, Qt::LeftButton, {}, QPoint(-40, -20));
        QVERIFY(info->pos() != home);
        Click("cmdPrev");
        QVERIFY(m_window->CurrentIndex() == 2 && info->pos() == home);

        m_window->close(); // asks nothing once ended
        QVERIFY(Shown().isEmpty() && !CurrentExam() && m_catalogue->isVisible());
        Start();
        QVERIFY(!W("fraInfo")->isVisible() && W("lblTime")->isVisible() && W("optChoices1")->isEnabled());
    }

    void clockAsksOnceThenEnds()
    {
        auto* window = new ReentrantExam(m_catalogue.get());
        m_window.reset(window);
        Start(Standard, 1);
        Click("optChoices2"); // right, but never saved
        Ticks(60);
        QCOMPARE(W<QLabel>("lblTime")->text(), QString("Time Remaining:  00:00:00"));
        MessageSeam::SetNextAnswer(MessageSeam::Yes);
        m_window->Tick();
        QCOMPARE(Shown(), QStringList { "36:The time has elapsed for this exam. Would you like to continue for another 30 minutes?" });
        QCOMPARE(window->Questions, 1); // the tick during the question was dropped
        Ticks(1800);
        const auto reported = WhenModal<frmReport>();
        MessageSeam::SetNextAnswer(MessageSeam::No);
        m_window->Tick();
        QVERIFY(*reported && CurrentExam()->IsEnded() && Item(1).Answer().isEmpty());
        QVERIFY(!On("optChoices2") && !W("optChoices2")->isEnabled()); // what was scored
        m_window->Tick();
        QCOMPARE(window->Questions, 2); // nothing is timed after the end
    }

    // Retake pressed on the report; the retake's sitting, then its refusal
    // once the file has changed.
    void retakeMissedItems()
    {
        QTemporaryDir folder;
        const QString path = folder.filePath("EX-101.exam");
        MakeExam(Standard);
        CurrentExam()->Save(path);
        CurrentExam()->Load(path);
        m_window->StartExam();
        QList<SittingResult> retakes;
        connect(m_window.get(), &frmExam::retakeRequested, this, [&retakes](const SittingResult& r) { retakes << r; });
        Click("optChoices2"); // item 1 right
        WhenModal<frmReview>([](frmReview* review) {
            WhenModal<frmReport>([](frmReport* report) { report->findChild<QPushButton*>("cmdRetake")->click(); });
            MessageSeam::SetNextAnswer(MessageSeam::Yes);
            review->findChild<QPushButton*>("cmdEnd")->click();
        });
        Click("cmdReview");
        QVERIFY(retakes.size() == 1 && retakes[0].examPath == path && retakes[0].examDigest.size() == 32);
        const SittingResult result = retakes[0];
        QCOMPARE(MissedNumbers(result), QList<qint16>({ 2, 3, 4 }));
        Shown();
        m_window->StartRetake(result.examPath, result.examDigest, MissedNumbers(result));
        QCOMPARE(m_window->windowTitle(), QString("Exam: EX-101 - Item 1 of 3 - Missed items"));
        QVERIFY(Shown().isEmpty() && Item(1).Problem() == "Question 2" && W("lblTime")->isVisible());
        TestUtil::WriteFile(path, TestUtil::ReadAll(path) + "x"); // ignored by Load, not by the digest
        m_window->StartRetake(path, result.examDigest, { 2 });
        QVERIFY(Shown().filter(QRegularExpression("^48:.*changed since that attempt")).size() == 1);
        QCOMPARE(m_window->windowTitle(), QString("Exam: EX-101 - Item 1 of 3 - Missed items"));
    }

    // Clicks and keys on the page reach the sitting (or the study of items 1
    // and 2): the item shown, its rows' state, the boxes shown. Items 3 and 4
    // start with stored answers; every row first passes item 2's four rows.
    void page_data()
    {
        // steps: keys, "click:NAME", "right:NAME" (right-click), "focus:NAME"
        Columns<qint16, bool, QString, QString, int>({ "item", "ended", "steps", "state", "boxes" });
        const auto row = [](const char* name, int item, bool ended, const char* steps, const char* state, int boxes = 0) {
            QTest::newRow(name) << qint16(item) << ended << QString(steps) << QString(state) << boxes;
        };
        row("stored answer, radio buttons", 4, false, "", "4 on A struck ");
        row("stored answer, check boxes", 3, false, "", "3 on A,B struck ");
        row("labels toggle boxes, the limit refuses", 2, false,
            "click:lblChoices1 click:lblChoices2 click:lblChoices2 click:chkChoices3 click:lblChoices4", "2 on A,C struck ", 1);
        row("no solution: a label sets nothing shown", 5, false, "click:lblChoices1", "5 on  struck ");
        row("letters choose, past the rows nothing", 1, false, "C D", "1 on C struck ");
        row("digits and letters toggle through the limit", 2, false, "A 3 B", "2 on A,C struck ", 1);
        row("Shift strikes, still choosable", 2, false, "Shift+B B", "2 on B struck B");
        row("right-click strikes and restores", 2, false, "right:lblChoices4 right:chkChoices4 right:lblChoices1",
            "2 on  struck A");
        row("strikes stay with their item", 2, false, "Shift+B Ctrl+Left Ctrl+Right", "2 on  struck B");
        row("Ctrl+Right, not the radio buttons' move", 1, false, "Ctrl+Right", "2 on  struck ");
        row("Ctrl+Left from a button", 2, false, "focus:cmdReview Ctrl+Left", "1 on  struck ");
        row("Alt+N presses Next", 1, false, "Alt+N", "2 on  struck ");
        row("F1 lists the keys beside the sitting", 1, false, "F1", "1 on  struck  keys");
        row("exhibit missing: a message, the sitting goes on", 3, false, "click:cmdExhibit", "3 on A,B struck ", 1);
        row("exhibit beside the sitting", 4, false, "click:cmdExhibit", "4 on A struck  exhibit");
        row("exhibit closed by the next item", 4, false, "click:cmdExhibit click:cmdNext", "5 on  struck ");
        row("ended: rows deaf to clicks and keys", 2, true, "click:lblChoices3 C Shift+C", "2 on  struck  locked INCORRECT");
        row("study: Enter checks and locks the item", 1, false, "click:optChoices1 Return click:lblChoices2", "1 on A struck  locked INCORRECT");
        row("study: once checked Enter is Next", 1, false, "click:optChoices2 Return Return", "2 on  struck ");
    }

    void page()
    {
        QFETCH(qint16, item);
        Start(Standard, 90, [this] {
            Item(3).SetAnswer("1,2");
            Item(4).SetAnswer("1");
            CurrentExam()->Save(m_store.filePath("EX-101.exam")); // pictures lie beside the exam file
            QImage picture(40, 30, QImage::Format_RGB32);
            picture.save(m_store.filePath("diagram.bmp"));
        });
        if (QString(QTest::currentDataTag()).startsWith("study:"))
            m_window->StartStudy({ 1, 2 });
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        if (Data<bool>("ended")) {
            CurrentExam()->EndExam();
            m_window->StartPostExamReview();
        }
        m_window->GotoQuestion(2);
        m_window->GotoQuestion(item);
        QCOMPARE(Visible("optChoices") + Visible("chkChoices"), Item(item).Choices().Count());
        for (const QString& step : Data<QString>("steps").split(' ', Qt::SkipEmptyParts)) {
            const QString name = step.section(':', 1);
            if (step.startsWith("click:") || step.startsWith("right:"))
                QTest::mouseClick(W(name), step.startsWith("right:") ? Qt::RightButton : Qt::LeftButton);
            else if (step.startsWith("focus:"))
                W(name)->setFocus();
            else
                Key(QKeySequence(step)[0].key(), QKeySequence(step)[0].keyboardModifiers());
        }
        QTRY_COMPARE(State(), Data<QString>("state")); // a mnemonic presses after a short flash
        QTEST(int(Shown().size()), "boxes");
    }

    // The cue changes the time's colour and shows a note, without a box, a
    // moved focus or a changed clock.
    void lowTimeCue()
    {
        Start(Standard, 6);
        const QColor normal = W("lblTime")->palette().color(QPalette::WindowText);
        QWidget* focus = QApplication::focusWidget();
        Ticks(59);
        QVERIFY(!W("lblNote")->isVisible());
        m_window->Tick();
        QVERIFY(W("lblNote")->isVisible() && W<QTimer>("tmrNote")->isActive() && Shown().isEmpty());
        QCOMPARE(W<QLabel>("lblNote")->text(), QString("5 minutes remain."));
        QVERIFY(W("lblTime")->palette().color(QPalette::WindowText) != normal && QApplication::focusWidget() == focus);
        m_window->Tick();
        QCOMPARE(W("lblTime")->accessibleName(), QString("Time Remaining:  00:05:00")); // told once a minute
        QCOMPARE(W<QLabel>("lblTime")->text(), QString("Time Remaining:  00:04:59"));
    }

    void tabOrder_data()
    {
        Columns<qint16, bool, QStringList>({ "item", "ended", "ring" });
        QTest::newRow("check boxes") << qint16(2) << false << QStringList { "chkMarked", "chkChoices1", "chkChoices2",
            "chkChoices3", "chkChoices4", "cmdNext", "cmdPrev", "cmdReview" };
        QTest::newRow("post-exam, explained") << qint16(1) << true << QStringList { "cmdWhy", "cmdNext", "cmdReview" };
    }

    // Top to bottom, left to right, one stop per radio group.
    void tabOrder()
    {
        QFETCH(QStringList, ring);
        Start();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        m_window->GotoQuestion(Data<qint16>("item"));
        if (Data<bool>("ended")) {
            CurrentExam()->EndExam();
            m_window->StartPostExamReview();
        }
        W(ring[0])->setFocus(Qt::TabFocusReason);
        QCOMPARE(TabRing(ring.size()), ring);
    }

    void textScale_data()
    {
        Columns<QString, int>({ "keys", "percent" });
        QTest::newRow("75 %: Minus stops at the smallest") << "Ctrl+- Ctrl+- Ctrl+-" << 75;
        QTest::newRow("100 %: 0 after Plus") << "Ctrl++ Ctrl+0" << 100;
        QTest::newRow("300 %: Plus and = stop at the largest") << "Ctrl++ Ctrl++ Ctrl++ Ctrl++ Ctrl+= Ctrl+= Ctrl+= Ctrl+=" << 300;
    }

    // The rows and the scroll range follow the texts' measured heights, and
    // the next sitting keeps the size.
    void textScale()
    {
        QFETCH(int, percent);
        DisplaySettings::StoreTextScale(100);
        Start({ "10", QString(12, '0') });
        QVERIFY(QTest::qWaitForWindowActive(m_window.get())); // shortcuts need an active window
        m_window->GotoQuestion(2);
        auto* scroll = W<QScrollBar>("vsbScroll");
        scroll->setValue(scroll->maximum());
        for (const QString& key : Data<QString>("keys").split(' '))
            Key(QKeySequence(key)[0].key(), Qt::ControlModifier);
        QCOMPARE(W("lblQuestion")->font().pointSizeF(), 12.0 * percent / 100);
        for (int i = 1; i < 12; ++i) { // 200 twips (13 px) from a text's measured bottom to the next row
            auto* label = W<QLabel>(QString("lblChoices%1").arg(i));
            QCOMPARE(label->height(), label->heightForWidth(label->width()));
            QVERIFY(qAbs(W(QString("lblChoices%1").arg(i + 1))->y() - (label->y() + label->height()) - 13) <= 1);
        }
        scroll->setValue(scroll->maximum());
        QVERIFY(W("lblChoices12")->geometry().translated(W("picQuestion")->pos()).bottom() < W("picQuestion")->parentWidget()->height());
        m_window->GotoQuestion(1); // a short item starts at the top, nothing to scroll
        QVERIFY(scroll->value() == 0 && W("picQuestion")->y() == 0 && !scroll->isEnabled());
        Start();
        QCOMPARE(W("lblChoices1")->font().pointSizeF(), 12.0 * percent / 100);
    }

private:
    template <typename T = QWidget>
    T* W(const QString& name) const { return Child<T>(m_window.get(), name); }
    void Click(const QString& name) const { QTest::mouseClick(W(name), Qt::LeftButton); }
    void Click(const QStringList& names) const
    {
        for (const QString& name : names)
            Click(name);
    }
    bool On(const QString& name) const { return W<QAbstractButton>(name)->isChecked(); }
    // A key pressed where the focus is; on the window once a closed dialog
    // left no focus (offscreen, nothing hands the activation back).
    void Key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const
    {
        QWidget* focus = QApplication::focusWidget();
        QTest::keyClick(focus ? focus : m_window.get(), key, modifiers);
    }
    static Question& Item(int index) { return CurrentExam()->Questions().Item(index); }
    void Ticks(int count) const
    {
        while (count-- > 0)
            m_window->Tick();
    }
    // The information panel: answer key, status and the status's colour.
    QString Status() const
    {
        const auto* label = W<QLabel>("lblStatus");
        return W<QLabel>("lblAnswer")->text() + " " + label->text() + " "
            + label->palette().color(label->foregroundRole()).name();
    }
    void Start(const QStringList& items = Standard, qint16 duration = 90, const std::function<void()>& before = {})
    {
        MakeExam(items, duration);
        if (before)
            before();
        m_window->StartExam();
        W<QTimer>("tmrTimer")->stop(); // tests tick the clock themselves
    }
    int Visible(const QString& prefix) const
    {
        int count = 0;
        for (QAbstractButton* button : m_window->findChildren<QAbstractButton*>())
            count += button->objectName().startsWith(prefix) && button->isVisible();
        return count;
    }
    // "item on A,C struck B": the item shown, its checked and struck rows,
    // " locked" and the verdict once they are read-only, then " keys" and
    // " exhibit" while those windows are open beside it.
    QString State() const
    {
        const QString kind = Visible("optChoices") ? "optChoices" : "chkChoices";
        QStringList on, struck;
        for (int i = 1; i <= Visible(kind); ++i) {
            if (On(kind + QString::number(i)))
                on << QChar('A' + i - 1);
            if (W(QString("lblChoices%1").arg(i))->font().strikeOut())
                struck << QChar('A' + i - 1);
        }
        const auto* keys = m_window->findChild<frmShortcuts*>();
        const auto* exhibit = m_window->findChild<frmExhibit*>();
        return QString("%1 on %2 struck %3").arg(m_window->CurrentIndex()).arg(on.join(','), struck.join(','))
            + (W(kind + "1")->isEnabled() ? "" : " locked")
            + (W("fraInfo")->isVisible() && !W<QLabel>("lblStatus")->text().isEmpty() ? " " + W<QLabel>("lblStatus")->text() : "")
            + (keys && keys->isVisible() && !keys->isModal() ? " keys" : "")
            + (exhibit && exhibit->isVisible() && !exhibit->isModal() ? " exhibit" : "");
    }
    // Each row's post-exam mark: its accessible text and colour, "." for none.
    QStringList Marks() const
    {
        QStringList marks;
        for (int i = 1; i <= Visible("optChoices") + Visible("chkChoices"); ++i) {
            const auto* mark = m_window->findChild<QLabel*>(QString("lblMark%1").arg(i));
            marks << (mark && mark->isVisible()
                    ? mark->accessibleName() + " " + mark->palette().color(mark->foregroundRole()).name()
                    : ".");
        }
        return marks;
    }
    std::unique_ptr<QWidget> m_catalogue;
    std::unique_ptr<frmExam> m_window;
    QTemporaryDir m_store; // the settings store, never the user's
};

QTEST_MAIN(frmExamTest)
#include "frmExamTest.moc"
