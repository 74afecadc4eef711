#include "session/frmExam.h"
#include "model/Exam.h"
#include "session/frmExhibit.h"
#include "shell/Globals.h"
#include "shell/DisplaySettings.h"
#include "shell/MessageSeam.h"
#include "shell/Registry.h"
#include "shell/frmShortcuts.h"
#include "shell/frmReport.h"
#include "shell/frmReview.h"

#include <QApplication>
#include <QFile>
#include <QImage>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <functional>

namespace {

struct ItemPlan
{
    QList<bool> Solutions;
    bool HasHint = false;
    QString Explanation = {};
    QString Exhibit = {};
};

// EX-101: 1 radio (key B, explained), 2 check boxes with hint (key A,C, blank
// explanation), 3 check boxes without hint (key A,B), 4 radio with an exhibit
// (key A), 5 without solution (check boxes, empty key).
const QList<ItemPlan> Standard
    = { { { false, true, false }, false, "Because B." }, { { true, false, true, false }, true, "   " },
          { { true, true, false, false } }, { { true, false }, false, "", "diagram.bmp" }, { { false, false } } };

void MakeExam(const QList<ItemPlan>& items, qint16 duration = 90)
{
    auto exam = std::make_shared<Exam>();
    exam->SetCode("EX-101");
    exam->SetMaxScore(1000);
    exam->SetPassScore(700);
    exam->SetDuration(duration);
    for (const ItemPlan& plan : items) {
        auto question = exam->Questions().Add();
        question->SetProblem(QStringLiteral("Question %1").arg(exam->Questions().Count()));
        question->SetHasHint(plan.HasHint);
        question->SetExplaination(plan.Explanation);
        question->SetExhibit(plan.Exhibit);
        for (bool solution : plan.Solutions) {
            auto choice = question->Choices().Add();
            choice->SetStatement(QStringLiteral("Option %1").arg(question->Choices().Count()));
            choice->SetIsSolution(solution);
        }
        question->Choices().ResetNumbers();
    }
    exam->Questions().ResetNumbers();
    CurrentExam() = exam;
}

// The boxes shown since the last call, as "style:text".
QStringList Messages()
{
    QStringList texts;
    for (const MessageSeam::Shown& shown : MessageSeam::TakeShown())
        texts.append(QString::number(shown.Style) + ":" + shown.Text);
    return texts;
}

// Runs `step` on the modal dialog of type T as soon as it is open and closes
// the dialog if the step left it open; the flag returned turns true then.
template <typename T>
std::shared_ptr<bool> WhenModal(
    std::function<void(T*)> step = {}, std::shared_ptr<bool> done = std::make_shared<bool>(false), int tries = 500)
{
    QTimer::singleShot(0, qApp, [step, done, tries] {
        if (auto* dialog = qobject_cast<T*>(QApplication::activeModalWidget())) {
            if (step)
                step(dialog);
            if (dialog->isVisible())
                dialog->reject();
            *done = true;
        } else if (tries > 0) {
            WhenModal<T>(step, done, tries - 1);
        }
    });
    return done;
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
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();
    void startExam();
    void examWithoutItems();
    void displayQuestion_data();
    void displayQuestion();
    void selectionLimitAndLabelClicks();
    void sittingWithMarkedReview();
    void clockAsksOnceThenEnds();
    void closeConfirmation();
    void exhibits();
    void retakeMissedItems();
    void studyMode();
    void keyboardSitting();
    void lowTimeCue();
    void tabOrder_data();
    void tabOrder();
    void textScale_data();
    void textScale();
    void shortcutList();

private:
    template <typename T = QWidget>
    T* W(const QString& name) const
    {
        T* child = m_window->findChild<T*>(name);
        if (!child)
            qFatal("no child %s", qPrintable(name));
        return child;
    }
    void Click(const QString& name) const { QTest::mouseClick(W(name), Qt::LeftButton); }
    void Click(const QStringList& names) const
    {
        for (const QString& name : names)
            Click(name);
    }
    bool On(const QString& name) const { return W<QAbstractButton>(name)->isChecked(); }
    // A key pressed wherever the focus is, as the candidate presses it; the
    // window itself once a closed dialog left no focus (offscreen, nothing
    // hands the activation back).
    void Key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) const
    {
        QWidget* focus = QApplication::focusWidget();
        QTest::keyClick(focus ? focus : m_window.get(), key, modifiers);
    }
    QString Name(const QString& name) const { return W(name)->accessibleName(); }
    QString Text(const QString& name) const { return W<QLabel>(name)->text(); }
    static Question& Item(int index) { return CurrentExam()->Questions().Item(index); }
    // The information panel: answer key, status and the status's colour.
    QString Status() const
    {
        const auto* label = W<QLabel>("lblStatus");
        return Text("lblAnswer") + " " + label->text() + " " + label->palette().color(label->foregroundRole()).name();
    }
    void Start(const QList<ItemPlan>& items = Standard, qint16 duration = 90);
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
    // Presses the left button on `widget`, moves by `by` and releases.
    static void Drag(QWidget* widget, QPoint by)
    {
        const QPoint from(20, 20);
        const auto send = [widget](QEvent::Type type, QPoint at, Qt::MouseButtons buttons) {
            QMouseEvent event(type, at, widget->mapToGlobal(at), Qt::LeftButton, buttons, Qt::NoModifier);
            QCoreApplication::sendEvent(widget, &event);
        };
        send(QEvent::MouseButtonPress, from, Qt::LeftButton);
        send(QEvent::MouseMove, from + by, Qt::LeftButton);
        send(QEvent::MouseButtonRelease, from + by, Qt::NoButton);
    }
    int Visible(const QString& prefix) const;

    std::unique_ptr<QWidget> m_catalogue;
    std::unique_ptr<frmExam> m_window;
    QTemporaryDir m_store; // the settings store, never the user's
};

void frmExamTest::initTestCase()
{
    Registry::SetStoreFolders(m_store.path(), m_store.filePath("machine"));
}

void frmExamTest::cleanupTestCase()
{
    Registry::SetStoreFolders({}, {});
}

void frmExamTest::init()
{
    MessageSeam::Intercept(true);
    MessageSeam::TakeShown();
    m_catalogue = std::make_unique<QWidget>();
    m_catalogue->show();
    m_window = std::make_unique<frmExam>(m_catalogue.get());
}

void frmExamTest::cleanup()
{
    m_window.reset();
    m_catalogue.reset();
    CurrentExam().reset();
    MessageSeam::Intercept(false);
}

void frmExamTest::Start(const QList<ItemPlan>& items, qint16 duration)
{
    MakeExam(items, duration);
    m_window->StartExam();
    W<QTimer>("tmrTimer")->stop(); // tests tick the clock themselves
}

int frmExamTest::Visible(const QString& prefix) const
{
    int count = 0;
    for (QAbstractButton* button : m_window->findChildren<QAbstractButton*>())
        count += button->objectName().startsWith(prefix) && button->isVisible();
    return count;
}

void frmExamTest::startExam()
{
    MakeExam(Standard, 546);
    for (int i : { 1, 2 }) {
        Item(i).SetAnswer("1");
        Item(i).SetIsMarked(true);
    }
    m_window->StartExam();
    QCOMPARE(Text("lblTime"), QString("Time Remaining:  09:06:00"));
    // Item 1 alone is cleared on the way in.
    QVERIFY(Item(1).Answer().isEmpty() && !Item(1).IsMarked());
    QVERIFY(Item(2).Answer() == "1" && Item(2).IsMarked());
    QVERIFY(m_window->isVisible() && !m_catalogue->isVisible());
    QVERIFY(!W("fraInfo")->isVisible() && W("lblTime")->isVisible() && !W("cmdPrev")->isEnabled());
}

void frmExamTest::examWithoutItems()
{
    MakeExam({});
    QSignalSpy finished(m_window.get(), &frmExam::finished);
    m_window->StartExam();
    QCOMPARE(Messages(), QStringList { "48:This exam has no items and cannot be started." });
    QCOMPARE(finished.count(), 1);
    QVERIFY(!CurrentExam() && !m_window->isVisible() && m_catalogue->isVisible());
}

void frmExamTest::displayQuestion_data()
{
    QTest::addColumn<qint16>("item");
    QTest::addColumn<int>("radios");
    QTest::addColumn<int>("checks");
    QTest::newRow("one answer") << qint16(1) << 3 << 0;
    QTest::newRow("two answers") << qint16(2) << 0 << 4;
    QTest::newRow("no answer") << qint16(5) << 0 << 2;
}

void frmExamTest::displayQuestion()
{
    QFETCH(qint16, item);
    Start();
    m_window->GotoQuestion(2); // four rows first: the extra ones must go
    m_window->GotoQuestion(item);
    QTEST(Visible("optChoices"), "radios");
    QTEST(Visible("chkChoices"), "checks");
    const QString kind = Visible("optChoices") ? "optChoices" : "chkChoices";
    QCOMPARE(W<QAbstractButton>(kind + "2")->text(), QString("B."));
}

void frmExamTest::selectionLimitAndLabelClicks()
{
    Start();
    m_window->GotoQuestion(3); // no hint: any number of boxes
    Click({ "chkChoices1", "chkChoices2", "chkChoices3" });
    m_window->GotoQuestion(2); // a hint limits the boxes to the answer count, 2
    // A label toggles its box: A, B, not B, C, then D twice over the limit.
    Click({ "lblChoices1", "lblChoices2", "lblChoices2", "chkChoices3", "lblChoices4", "chkChoices4" });
    const QString limit = "64:You cannot select more than 2 options for this question. To select this option, "
                          "please unselect another.";
    QCOMPARE(Messages(), QStringList({ limit, limit }));
    QVERIFY(!On("chkChoices4"));
    m_window->GotoQuestion(1);
    Click("lblChoices3");
    // Without solutions the page shows check boxes, but a label sets a hidden
    // radio button: nothing the candidate sees or answers changes.
    m_window->GotoQuestion(5);
    Click("lblChoices1");
    QVERIFY(!On("chkChoices1"));
    m_window->GotoQuestion(4);
    QCOMPARE(QStringList({ Item(1).Answer(), Item(2).Answer(), Item(3).Answer(), Item(5).Answer() }),
        QStringList({ "3", "1,3", "1,2,3", "" }));
}

void frmExamTest::sittingWithMarkedReview()
{
    Start();
    Item(4).SetIsMarked(true);
    Click({ "optChoices1", "optChoices2" }); // B replaces A
    QTest::keyClick(m_window.get(), Qt::Key_Return);
    QCOMPARE(m_window->CurrentIndex(), qint16(2));
    Click({ "chkChoices1", "chkChoices3", "chkMarked", "cmdPrev" });
    QVERIFY(On("optChoices2") && !On("optChoices1") && !On("chkMarked"));
    Click("cmdNext");
    QVERIFY(On("chkChoices1") && !On("chkChoices2") && On("chkChoices3") && On("chkMarked"));
    Click({ "chkChoices3", "cmdNext", "cmdNext", "cmdNext" });

    // Next on the last item opens the list; ending there shows the report.
    std::shared_ptr<bool> reported;
    WhenModal<frmReview>([&reported](frmReview* review) {
        reported = WhenModal<frmReport>();
        MessageSeam::SetNextAnswer(MessageSeam::Yes);
        review->findChild<QPushButton*>("cmdEnd")->click();
    });
    Click("cmdNext");
    QVERIFY(reported && *reported && CurrentExam()->IsEnded());
    QVERIFY(Item(1).Answer() == "2" && Item(2).Answer() == "1" && Item(2).IsMarked());
    // The review afterwards starts at item 1, read-only, with each status.
    QVERIFY(m_window->CurrentIndex() == 1 && W("fraInfo")->isVisible() && !W("lblTime")->isVisible());
    QCOMPARE(Status(), QString("Answer: B CORRECT #008000"));
    QString title;
    WhenModal<QDialog>([&title](QDialog* dialog) { title = dialog->windowTitle(); });
    Click("cmdWhy");
    QCOMPARE(title, QString("Explaination - Question: 1"));
    Click("cmdNext");
    QCOMPARE(Status(), QString("Answer: A,C INCORRECT #ff0000"));
    QCOMPARE(Marks(), QStringList({ "correct option #008000", ".", "correct option #008000", "." }));
    QVERIFY(W("cmdWhy")->isHidden()); // the explanation is blank
    QVERIFY(On("chkMarked") && !W("chkMarked")->isEnabled() && !W("chkChoices3")->isEnabled());
    Click("lblChoices3");
    QVERIFY(!On("chkChoices3"));

    // Review Marked visits items 2 and 4. Only going back applies the
    // marked-item rule to Previous; at the last mark Next opens the list.
    WhenModal<frmReview>([](frmReview* review) { review->findChild<QPushButton*>("cmdReviewMarked")->click(); });
    Click("cmdReview");
    QCOMPARE(m_window->windowTitle(), QString("Exam: EX-101 - Item 2 of 5 - Reviewing Marked"));
    QVERIFY(W("cmdPrev")->isEnabled());
    Click({ "cmdNext", "cmdPrev" });
    QVERIFY(m_window->CurrentIndex() == 2 && !W("cmdPrev")->isEnabled());
    Click("cmdNext");
    QVERIFY(m_window->CurrentIndex() == 4 && W("cmdPrev")->isEnabled());
    const auto listed = WhenModal<frmReview>();
    Click("cmdNext");
    QVERIFY(*listed && m_window->CurrentIndex() == 4);
    // The information panel, dragged away, is home again on the next item.
    QWidget* info = W("fraInfo");
    const QPoint home = info->pos();
    Drag(info, QPoint(-60, -40));
    QVERIFY(info->pos() != home);
    Click("cmdPrev");
    QVERIFY(m_window->CurrentIndex() == 2 && info->pos() == home);

    // Once ended, closing asks nothing and returns to the catalogue.
    MessageSeam::TakeShown();
    m_window->close();
    QVERIFY(Messages().isEmpty() && !CurrentExam() && m_catalogue->isVisible());

    // The same window serves the next sitting from a clean start.
    Start();
    QCOMPARE(m_window->windowTitle(), QString("Exam: EX-101 - Item 1 of 5"));
    QVERIFY(!W("fraInfo")->isVisible() && W("lblTime")->isVisible() && W("optChoices1")->isEnabled());
    Click("cmdNext");
    QCOMPARE(m_window->CurrentIndex(), qint16(2));
}

void frmExamTest::clockAsksOnceThenEnds()
{
    auto* window = new ReentrantExam(m_catalogue.get());
    m_window.reset(window);
    Start(Standard, 1);
    Click("optChoices2"); // right, but never saved
    for (int i = 0; i < 60; ++i)
        m_window->Tick();
    QCOMPARE(Text("lblTime"), QString("Time Remaining:  00:00:00"));
    MessageSeam::SetNextAnswer(MessageSeam::Yes);
    m_window->Tick();
    QCOMPARE(Messages(),
        QStringList { "36:The time has elapsed for this exam. Would you like to continue for another 30 minutes?" });
    QCOMPARE(window->Questions, 1); // the tick during the question was dropped

    // The second time No ends the exam as last saved and shows the report.
    for (int i = 0; i < 1800; ++i)
        m_window->Tick();
    const auto reported = WhenModal<frmReport>();
    MessageSeam::SetNextAnswer(MessageSeam::No);
    m_window->Tick();
    QVERIFY(*reported && CurrentExam()->IsEnded() && Item(1).Answer().isEmpty());
    // The page shows what was scored, not the unsaved choice.
    QVERIFY(!On("optChoices2") && !W("optChoices2")->isEnabled());
    m_window->Tick(); // after the end nothing is timed
    QCOMPARE(window->Questions, 2);
}

void frmExamTest::closeConfirmation()
{
    Start();
    QSignalSpy finished(m_window.get(), &frmExam::finished);
    MessageSeam::SetNextAnswer(MessageSeam::No);
    m_window->close();
    QVERIFY(m_window->isVisible() && CurrentExam());
    MessageSeam::SetNextAnswer(MessageSeam::Yes);
    m_window->close();
    QCOMPARE(Messages(), QStringList(2, "36:Are you sure you want to terminate the exam?"));
    QVERIFY(!m_window->isVisible() && m_catalogue->isVisible() && !CurrentExam());
    QCOMPARE(finished.count(), 1);
}

void frmExamTest::exhibits()
{
    QTemporaryDir folder;
    Start();
    CurrentExam()->Save(folder.filePath("EX-101.exam")); // pictures lie beside the exam file
    m_window->GotoQuestion(4);
    Click("cmdExhibit");
    QCOMPARE(Messages(),
        QStringList { "16:The exhibit cannot be displayed because required files are missing or "
                      "corrupt. Please reinstall the exam pack." });
    // The session goes on; with the picture there it opens modeless, until the next item.
    QImage picture(40, 30, QImage::Format_RGB32);
    picture.fill(Qt::darkCyan);
    QVERIFY(picture.save(folder.filePath("diagram.bmp")));
    Click("cmdExhibit");
    QVERIFY(Messages().isEmpty());
    auto* exhibit = m_window->findChild<frmExhibit*>();
    QVERIFY(exhibit && exhibit->isVisible() && !exhibit->isModal());
    Click("cmdNext");
    exhibit = m_window->findChild<frmExhibit*>();
    QVERIFY(!exhibit || !exhibit->isVisible());
}

// A sitting ended through the list, Retake pressed on its report; then the
// retake of what was missed, and its refusal once the file has changed.
void frmExamTest::retakeMissedItems()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("EX-101.exam");
    MakeExam(Standard);
    CurrentExam()->Save(path);
    CurrentExam()->Load(path);
    m_window->StartExam();
    QList<SittingResult> ended;
    QList<SittingResult> retakes;
    connect(m_window.get(), &frmExam::sittingEnded, this, [&ended](const SittingResult& r) { ended << r; });
    connect(m_window.get(), &frmExam::retakeRequested, this, [&retakes](const SittingResult& r) { retakes << r; });
    Click("optChoices2"); // item 1 right
    WhenModal<frmReview>([](frmReview* review) {
        WhenModal<frmReport>([](frmReport* report) { report->findChild<QPushButton*>("cmdRetake")->click(); });
        MessageSeam::SetNextAnswer(MessageSeam::Yes);
        review->findChild<QPushButton*>("cmdEnd")->click();
    });
    Click("cmdReview");
    QCOMPARE(ended.size(), 1);
    QCOMPARE(retakes.size(), 1);
    const SittingResult& result = retakes[0];
    QVERIFY(result.examPath == path && result.examDigest.size() == 32 && !result.isStudy && !result.isRetake);
    QCOMPARE(MissedNumbers(result), QList<qint16>({ 2, 3, 4 })); // 5 has nothing to choose

    MessageSeam::TakeShown(); // the end's confirmation
    m_window->StartRetake(result.examPath, result.examDigest, MissedNumbers(result));
    W<QTimer>("tmrTimer")->stop();
    QCOMPARE(m_window->windowTitle(), QString("Exam: EX-101 - Item 1 of 3 - Missed items"));
    QCOMPARE(Text("lblTime"), QString("Time Remaining:  00:54:00")); // 90 minutes for 5, scaled to 3
    QCOMPARE(Item(1).Problem(), QString("Question 2"));
    QCOMPARE(Messages(), QStringList());
    QVERIFY(!W("fraInfo")->isVisible());

    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::Append));
        file.write("x"); // ignored by Load, not by the digest
    }
    m_window->StartRetake(path, result.examDigest, { 2 });
    const QStringList shown = Messages();
    QVERIFY2(shown.size() == 1 && shown[0].startsWith("48:") && shown[0].contains("changed since that attempt"),
        qPrintable(shown.join('\n')));
    QCOMPARE(m_window->windowTitle(), QString("Exam: EX-101 - Item 1 of 3 - Missed items"));
}

// No clock; Enter checks the item, which locks and shows its verdict and
// marks; Next and Previous move freely; ending reports a study sitting.
void frmExamTest::studyMode()
{
    MakeExam(Standard);
    m_window->StartStudy({ 1, 2 });
    QCOMPARE(m_window->windowTitle(), QString("Exam: EX-101 - Item 1 of 2 - Study"));
    QVERIFY(!W("lblTime")->isVisible() && W("cmdCheck")->isVisible());
    Click("optChoices1"); // wrong: the key is B
    QTest::keyClick(m_window.get(), Qt::Key_Return);
    QCOMPARE(Status(), QString("Answer: B INCORRECT #ff0000"));
    QVERIFY(!W("optChoices1")->isEnabled() && On("optChoices1") && W("cmdWhy")->isVisible());
    QVERIFY(!W("cmdCheck")->isVisible());
    QCOMPARE(Marks(), QStringList({ "your answer, incorrect #ff0000", "correct option #008000", "." }));
    Click("lblChoices2"); // locked
    QVERIFY(On("optChoices1"));

    QTest::keyClick(m_window.get(), Qt::Key_Return); // checked: Enter is Next
    QVERIFY(m_window->CurrentIndex() == 2 && W("chkChoices1")->isEnabled() && W("cmdCheck")->isVisible());
    QCOMPARE(Marks(), QStringList(4, "."));
    Click({ "chkChoices1", "chkChoices3", "cmdCheck" });
    QCOMPARE(Status(), QString("Answer: A,C CORRECT #008000"));
    Click("cmdPrev");
    QVERIFY(m_window->CurrentIndex() == 1 && !W("optChoices1")->isEnabled());

    QList<SittingResult> ended;
    connect(m_window.get(), &frmExam::sittingEnded, this, [&ended](const SittingResult& r) { ended << r; });
    WhenModal<frmReview>([](frmReview* review) {
        WhenModal<frmReport>();
        MessageSeam::SetNextAnswer(MessageSeam::Yes);
        review->findChild<QPushButton*>("cmdEnd")->click();
    });
    Click("cmdReview");
    QCOMPARE(ended.size(), 1);
    QVERIFY(ended[0].isStudy && ended[0].items.size() == 2 && ended[0].obtained == 500);
}

void frmExamTest::keyboardSitting()
{
    Start();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    QCOMPARE(QApplication::focusWidget(), W("optChoices1"));
    Key(Qt::Key_C);
    Key(Qt::Key_D); // item 1 has three options
    QVERIFY(On("optChoices3") && !On("optChoices1"));
    QCOMPARE(Name("optChoices3"), QString("Option C: Option 3, selected"));
    Key(Qt::Key_Right, Qt::ControlModifier); // not the radio buttons' own move
    QCOMPARE(m_window->CurrentIndex(), qint16(2));

    // Boxes toggle through the limit of 2; a struck option can still be chosen.
    Key(Qt::Key_A);
    Key(Qt::Key_3);
    Key(Qt::Key_B);
    QCOMPARE(Messages().size(), 1);
    Key(Qt::Key_B, Qt::ShiftModifier);
    Key(Qt::Key_1);
    Key(Qt::Key_B);
    QVERIFY(!On("chkChoices1") && On("chkChoices2") && On("chkChoices3"));
    QCOMPARE(Name("chkChoices2"), QString("Option B: Option 2, selected, struck out"));
    QTest::mouseClick(W("lblChoices4"), Qt::RightButton);
    QTest::mouseClick(W("chkChoices4"), Qt::RightButton);
    QVERIFY(!On("chkChoices4") && !W<QLabel>("lblChoices4")->font().strikeOut());

    // Strikes stay with their item; Next and Previous keys work from a button
    // too, and the mnemonics keep theirs.
    W("cmdReview")->setFocus();
    Key(Qt::Key_Left, Qt::ControlModifier);
    QVERIFY(m_window->CurrentIndex() == 1 && !W<QLabel>("lblChoices2")->font().strikeOut());
    Key(Qt::Key_N, Qt::AltModifier); // a mnemonic presses its button after a short flash
    QTRY_COMPARE(m_window->CurrentIndex(), qint16(2));
    QVERIFY(W<QLabel>("lblChoices2")->font().strikeOut());

    // Ctrl+End asks through the review list; No keeps the exam running. The
    // list's End press is queued behind the step, which lets it run.
    MessageSeam::SetNextAnswer(MessageSeam::No);
    auto listed = WhenModal<frmReview>([](frmReview*) { QCoreApplication::processEvents(); });
    Key(Qt::Key_End, Qt::ControlModifier);
    QVERIFY(*listed && !CurrentExam()->IsEnded());
    QCOMPARE(Messages(), QStringList { "36:Are you sure you want to end the exam?" });
    MessageSeam::SetNextAnswer(MessageSeam::Yes);
    std::shared_ptr<bool> reported;
    listed = WhenModal<frmReview>([&reported](frmReview*) {
        reported = WhenModal<frmReport>();
        QCoreApplication::processEvents();
    });
    Key(Qt::Key_End, Qt::ControlModifier);
    QVERIFY(*listed && reported && *reported);
    QVERIFY(CurrentExam()->IsEnded() && Item(2).Answer() == "2,3");

    // Afterwards the rows are read-only to keys too, and nothing is struck.
    QCOMPARE(Name("lblStatus"), QString("Incorrect"));
    Key(Qt::Key_Right, Qt::ControlModifier);
    Key(Qt::Key_A);
    Key(Qt::Key_B, Qt::ShiftModifier);
    QVERIFY(m_window->CurrentIndex() == 2 && !On("chkChoices1"));
    QVERIFY(!W<QLabel>("lblChoices2")->font().strikeOut());
}

// The cue changes the time's colour and shows a note for a few seconds,
// without a box, a moved focus or a changed clock.
void frmExamTest::lowTimeCue()
{
    Start(Standard, 6);
    const QColor normal = W("lblTime")->palette().color(QPalette::WindowText);
    QWidget* focus = QApplication::focusWidget();
    for (int i = 0; i < 59; ++i)
        m_window->Tick();
    QVERIFY(!W("lblNote")->isVisible());
    m_window->Tick();
    QVERIFY(W("lblNote")->isVisible() && W<QTimer>("tmrNote")->isActive());
    QCOMPARE(W<QLabel>("lblNote")->text(), QString("5 minutes remain."));
    QVERIFY(W("lblTime")->palette().color(QPalette::WindowText) != normal);
    QVERIFY(Messages().isEmpty() && QApplication::focusWidget() == focus);
    QCOMPARE(m_window->SecondsRemaining(), qint16(300));
    // Assistive technology is told the time once a minute here.
    m_window->Tick();
    QCOMPARE(Name("lblTime"), QString("Time Remaining:  00:05:00"));
    QCOMPARE(Text("lblTime"), QString("Time Remaining:  00:04:59"));
    for (int i = 0; i < 240; ++i)
        m_window->Tick();
    QCOMPARE(W<QLabel>("lblNote")->text(), QString("1 minute remains."));
}

void frmExamTest::tabOrder_data()
{
    QTest::addColumn<int>("item");
    QTest::addColumn<bool>("ended");
    QTest::addColumn<QStringList>("ring");
    QTest::newRow("radio buttons, first item") << 1 << false
                                               << QStringList { "chkMarked", "optChoices1", "cmdNext", "cmdReview" };
    QTest::newRow("check boxes") << 2 << false
                                 << QStringList { "chkMarked", "chkChoices1", "chkChoices2", "chkChoices3",
                                        "chkChoices4", "cmdNext", "cmdPrev", "cmdReview" };
    QTest::newRow("exhibit") << 4 << false
                             << QStringList { "chkMarked", "optChoices1", "cmdNext", "cmdPrev", "cmdExhibit",
                                    "cmdReview" };
    QTest::newRow("post-exam, explained") << 1 << true << QStringList { "cmdWhy", "cmdNext", "cmdReview" };
}

// Tab runs top to bottom and left to right, one stop for a radio group, and
// Shift+Tab runs the same ring backwards.
void frmExamTest::tabOrder()
{
    QFETCH(int, item);
    QFETCH(bool, ended);
    QFETCH(QStringList, ring);
    Start();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    m_window->GotoQuestion(qint16(item));
    if (ended) {
        CurrentExam()->EndExam();
        m_window->StartPostExamReview();
    }
    W(ring[0])->setFocus(Qt::TabFocusReason);
    for (const Qt::KeyboardModifiers direction : { Qt::NoModifier, Qt::ShiftModifier }) {
        QStringList seen;
        do {
            seen << QApplication::focusWidget()->objectName();
            Key(Qt::Key_Tab, direction);
        } while (QApplication::focusWidget() != W(ring[0]) && seen.size() <= ring.size());
        QCOMPARE(seen, ring);
        std::reverse(ring.begin() + 1, ring.end());
    }
}

void frmExamTest::textScale_data()
{
    QTest::addColumn<QList<int>>("keys"); // each pressed with Ctrl
    QTest::addColumn<int>("percent");
    QTest::newRow("75 %: Minus stops at the smallest")
        << QList<int> { Qt::Key_Minus, Qt::Key_Minus, Qt::Key_Minus } << 75;
    QTest::newRow("100 %: 0 after Plus") << QList<int> { Qt::Key_Plus, Qt::Key_0 } << 100;
    QTest::newRow("300 %: Plus and = stop at the largest") << QList<int> { Qt::Key_Plus, Qt::Key_Plus, Qt::Key_Plus,
        Qt::Key_Plus, Qt::Key_Equal, Qt::Key_Equal, Qt::Key_Equal, Qt::Key_Equal }
                                                           << 300;
}

// The keys scale the item and its options; the rows and the scroll range
// follow the texts' measured heights, and the next sitting keeps the size.
void frmExamTest::textScale()
{
    QFETCH(QList<int>, keys);
    QFETCH(int, percent);
    DisplaySettings::StoreTextScale(100);
    Start({ { { true, false } }, { QList<bool>(12, false) } });
    QVERIFY(QTest::qWaitForWindowActive(m_window.get())); // shortcuts need an active window
    m_window->GotoQuestion(2);
    auto* scroll = W<QScrollBar>("vsbScroll");
    scroll->setValue(scroll->maximum());
    for (int key : keys)
        Key(Qt::Key(key), Qt::ControlModifier);
    QCOMPARE(W("lblQuestion")->font().pointSizeF(), 12.0 * percent / 100);
    QCOMPARE(W("lblChoices12")->font().pointSizeF(), 12.0 * percent / 100);
    for (int i = 1; i < 12; ++i) {
        auto* label = W<QLabel>(QString("lblChoices%1").arg(i));
        QCOMPARE(label->height(), label->heightForWidth(label->width()));
        // 200 twips (13 px) from one text's bottom to the next row, to a pixel.
        const int gap = W(QString("lblChoices%1").arg(i + 1))->y() - (label->y() + label->height());
        QVERIFY2(qAbs(gap - 13) <= 1, qPrintable(QString::number(gap)));
    }
    QWidget* content = W("picQuestion");
    QWidget* viewport = content->parentWidget();
    QCOMPARE(scroll->isEnabled(), content->height() > viewport->height());
    if (scroll->isEnabled()) {
        scroll->setValue(scroll->maximum());
        QVERIFY(W("lblChoices12")->geometry().translated(content->pos()).bottom() < viewport->height());
    }
    m_window->GotoQuestion(1); // a short item starts at the top, nothing to scroll
    QVERIFY(scroll->value() == 0 && content->y() == 0 && !scroll->isEnabled());
    QCOMPARE(DisplaySettings::StoredTextScale(), percent);
    Start();
    QCOMPARE(m_window->TextScalePercent(), percent);
    QCOMPARE(W("lblChoices1")->font().pointSizeF(), 12.0 * percent / 100);
}

// F1 lists the keys beside the sitting, which goes on; Escape closes it.
void frmExamTest::shortcutList()
{
    Start();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    Key(Qt::Key_F1);
    auto* list = m_window->findChild<frmShortcuts*>();
    QVERIFY(list && list->isVisible() && !list->isModal());
    const QString text = list->findChild<QLabel*>("lblShortcuts")->text();
    for (const char* key :
        { "Ctrl+Right", "Ctrl+End", "Shift+letter", "Alt+S", "Ctrl+H", "Ctrl+Plus", "Ctrl+Minus", "Ctrl+0", "Escape" })
        QVERIFY2(text.contains(key), key);
    QTest::keyClick(list, Qt::Key_Escape);
    QVERIFY(!list->isVisible());
    QCOMPARE(m_window->CurrentIndex(), qint16(1));
}

QTEST_MAIN(frmExamTest)
#include "frmExamTest.moc"
