#include "session/frmExam.h"
#include "model/Error.h"
#include "model/Exam.h"
#include "session/frmExhibit.h"
#include "shell/Globals.h"
#include "shell/MessageSeam.h"
#include "shell/frmReport.h"
#include "shell/frmReview.h"

#include <QApplication>
#include <QCheckBox>
#include <QImage>
#include <QLabel>
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
// explanation), 3 check boxes without hint (key A,B), 4 radio with a missing
// exhibit (key A), 5 without solution (check boxes, empty key).
const QList<ItemPlan> Standard
    = { { { false, true, false }, false, "Because B." }, { { true, false, true, false }, true, "   " },
          { { true, true, false, false } }, { { true, false }, false, "", "missing.gif" }, { { false, false } } };

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

Question& Item(int index)
{
    return CurrentExam()->Questions().Item(index);
}

// The boxes shown since the last call, as "style:text".
QStringList Messages()
{
    QStringList texts;
    for (const MessageSeam::Shown& shown : MessageSeam::TakeShown())
        texts.append(QString::number(shown.Style) + ":" + shown.Text);
    return texts;
}

// Runs `step` on the modal dialog of type T as soon as it is open.
template <typename T>
void WhenModal(std::function<void(T*)> step, int tries = 500)
{
    QTimer::singleShot(0, qApp, [step, tries] {
        if (auto* dialog = qobject_cast<T*>(QApplication::activeModalWidget()))
            step(dialog);
        else if (tries > 0)
            WhenModal<T>(step, tries - 1);
    });
}

// Ticks twice more while its first time question is open, as the clock does
// while a real message box runs its modal loop.
class ReentrantExam : public frmExam
{
public:
    using frmExam::frmExam;
    int Questions = 0;

protected:
    int AskForMoreTime() override
    {
        if (Questions++ == 0) {
            Tick();
            Tick();
        }
        return frmExam::AskForMoreTime();
    }
};

const QString LimitMessage = "64:You cannot select more than 2 options for this question. To select this option, "
                             "please unselect another.";

} // namespace

class frmExamTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void startExam_data();
    void startExam();
    void examWithoutItems();
    void displayQuestion_data();
    void displayQuestion();
    void selectionLimitAndLabelClicks();
    void sittingThroughReviewList();
    void markedReviewAsymmetry();
    void clockOffersMoreTimeOnce();
    void timeOutEndsWithoutSaving();
    void postExamStatus_data();
    void postExamStatus();
    void closeConfirmation_data();
    void closeConfirmation();
    void exhibits();
    void longItemScrolls();

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
    bool On(const QString& name) const { return W<QAbstractButton>(name)->isChecked(); }
    QString Text(const QString& name) const { return W<QLabel>(name)->text(); }
    void Start(const QList<ItemPlan>& items = Standard, qint16 duration = 90);
    int Visible(const QString& prefix) const;

    std::unique_ptr<QWidget> m_catalogue;
    std::unique_ptr<frmExam> m_window;
};

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

void frmExamTest::startExam_data()
{
    QTest::addColumn<qint16>("minutes");
    QTest::addColumn<QString>("shown"); // empty: the 16-bit clock overflows
    QTest::newRow("546 minutes fit") << qint16(546) << "Time Remaining:  09:06:00";
    QTest::newRow("547 minutes overflow") << qint16(547) << "";
}

void frmExamTest::startExam()
{
    QFETCH(qint16, minutes);
    MakeExam(Standard, minutes);
    for (int i : { 1, 2 }) {
        Item(i).SetAnswer("1");
        Item(i).SetIsMarked(true);
    }
    try {
        m_window->StartExam();
    } catch (const Error& error) {
        QFETCH(QString, shown);
        QVERIFY2(shown.isEmpty(), "raised for a duration that fits");
        QCOMPARE(error.Number(), ErrorNumber::Overflow);
        QVERIFY(!m_window->isVisible() && m_catalogue->isVisible());
        return;
    }
    QTEST(Text("lblTime"), "shown");
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
    QVERIFY(!CurrentExam());
    QVERIFY(!m_window->isVisible() && m_catalogue->isVisible());
}

void frmExamTest::displayQuestion_data()
{
    QTest::addColumn<qint16>("item");
    QTest::addColumn<qint32>("mode");
    QTest::addColumn<int>("radios");
    QTest::addColumn<int>("checks");
    QTest::addColumn<QString>("title");
    QTest::newRow("one answer: radio buttons") << qint16(1) << 0 << 3 << 0 << "Exam: EX-101 - Item 1 of 5";
    QTest::newRow("two answers: check boxes")
        << qint16(2) << 1 << 0 << 4 << "Exam: EX-101 - Item 2 of 5 - Reviewing All";
    QTest::newRow("no answer: check boxes")
        << qint16(5) << 2 << 0 << 2 << "Exam: EX-101 - Item 5 of 5 - Reviewing Marked";
}

void frmExamTest::displayQuestion()
{
    QFETCH(qint16, item);
    QFETCH(qint32, mode);
    Start();
    m_window->SetReviewMode(mode);
    m_window->GotoQuestion(2); // four rows first: the extra ones must go
    m_window->GotoQuestion(item);
    QTEST(m_window->windowTitle(), "title");
    QTEST(Visible("optChoices"), "radios");
    QTEST(Visible("chkChoices"), "checks");
    const QString kind = Visible("optChoices") ? "optChoices" : "chkChoices";
    QCOMPARE(W<QAbstractButton>(kind + "2")->text(), QString("B."));
}

void frmExamTest::selectionLimitAndLabelClicks()
{
    Start();
    m_window->GotoQuestion(3); // no hint: any number of boxes
    for (const char* name : { "chkChoices1", "chkChoices2", "chkChoices3" })
        Click(name);
    m_window->GotoQuestion(2); // a hint limits the boxes to the answer count, 2
    Click("lblChoices1");
    Click("lblChoices2");
    Click("lblChoices2"); // a label toggles its box
    Click("chkChoices3");
    Click("lblChoices4");
    Click("chkChoices4");
    QCOMPARE(Messages(), QStringList({ LimitMessage, LimitMessage }));
    QVERIFY(!On("chkChoices4"));
    m_window->GotoQuestion(1);
    Click("lblChoices3");
    // Without solutions the page shows check boxes, but a label sets a hidden
    // radio button: nothing the candidate sees or answers changes.
    m_window->GotoQuestion(5);
    Click("lblChoices1");
    QVERIFY(!On("chkChoices1"));
    m_window->GotoQuestion(4);
    QCOMPARE(Item(1).Answer(), QString("3"));
    QCOMPARE(Item(2).Answer(), QString("1,3"));
    QCOMPARE(Item(3).Answer(), QString("1,2,3"));
    QCOMPARE(Item(5).Answer(), QString());
}

void frmExamTest::sittingThroughReviewList()
{
    Start();
    Click("optChoices1");
    Click("optChoices2"); // replaces A
    QTest::keyClick(m_window.get(), Qt::Key_Return);
    QCOMPARE(m_window->CurrentIndex(), qint16(2));
    Click("chkChoices1");
    W("chkChoices3")->setFocus();
    QTest::keyClick(W("chkChoices3"), Qt::Key_Space);
    Click("chkMarked");
    Click("cmdPrev");
    QVERIFY(On("optChoices2") && !On("optChoices1") && !On("chkMarked"));
    Click("cmdNext");
    QVERIFY(On("chkChoices1") && !On("chkChoices2") && On("chkChoices3") && On("chkMarked"));
    Click("chkChoices3");
    for (int i = 0; i < 3; ++i)
        Click("cmdNext");
    QCOMPARE(m_window->CurrentIndex(), qint16(5));

    // Next on the last item opens the list; ending there shows the report.
    bool reported = false;
    WhenModal<frmReview>([&reported](frmReview* review) {
        WhenModal<frmReport>([&reported](frmReport* report) {
            reported = true;
            report->reject();
        });
        MessageSeam::SetNextAnswer(MessageSeam::Yes);
        review->findChild<QPushButton*>("cmdEnd")->click();
    });
    Click("cmdNext");
    QVERIFY(reported && CurrentExam()->IsEnded());
    QCOMPARE(Item(1).Answer(), QString("2"));
    QCOMPARE(Item(2).Answer(), QString("1"));
    QVERIFY(Item(2).IsMarked());
    // The review afterwards starts at item 1, read-only.
    QCOMPARE(m_window->CurrentIndex(), qint16(1));
    QVERIFY(W("fraInfo")->isVisible() && !W("lblTime")->isVisible());
    QCOMPARE(Text("lblStatus"), QString("CORRECT"));
    Click("cmdNext");
    QCOMPARE(Text("lblStatus"), QString("INCORRECT"));
    QVERIFY(On("chkMarked") && !W("chkMarked")->isEnabled());
    Click("lblChoices3");
    QVERIFY(!On("chkChoices3"));

    // Review Marked in the list narrows navigation to the marked items.
    m_window->GotoQuestion(4);
    WhenModal<frmReview>([](frmReview* review) { review->findChild<QPushButton*>("cmdReviewMarked")->click(); });
    Click("cmdReview");
    QCOMPARE(m_window->windowTitle(), QString("Exam: EX-101 - Item 2 of 5 - Reviewing Marked"));
}

void frmExamTest::markedReviewAsymmetry()
{
    Start();
    Item(2).SetIsMarked(true);
    Item(4).SetIsMarked(true);
    m_window->SetReviewMode(2);
    m_window->GotoFirstMarked();
    QCOMPARE(m_window->CurrentIndex(), qint16(2));
    QVERIFY(W("cmdPrev")->isEnabled()); // only the first-item rule so far
    Click("cmdPrev");
    QCOMPARE(m_window->CurrentIndex(), qint16(2)); // nothing marked before it
    QVERIFY(!W("cmdPrev")->isEnabled());
    Click("cmdNext");
    QCOMPARE(m_window->CurrentIndex(), qint16(4));
    QVERIFY(W("cmdPrev")->isEnabled()); // going forward keeps the first-item rule
    Click("cmdPrev");
    QCOMPARE(m_window->CurrentIndex(), qint16(2));
    QVERIFY(!W("cmdPrev")->isEnabled());

    // At the last marked item Next opens the list instead of moving.
    m_window->GotoQuestion(4);
    bool opened = false;
    WhenModal<frmReview>([&opened](frmReview* review) {
        opened = true;
        review->reject();
    });
    Click("cmdNext");
    QVERIFY(opened);
    QCOMPARE(m_window->CurrentIndex(), qint16(4));
    // With nothing marked, GotoFirstMarked stays where it is.
    W<QCheckBox>("chkMarked")->setChecked(false);
    Item(2).SetIsMarked(false);
    m_window->GotoQuestion(3);
    m_window->GotoFirstMarked();
    QCOMPARE(m_window->CurrentIndex(), qint16(3));
}

void frmExamTest::clockOffersMoreTimeOnce()
{
    auto* window = new ReentrantExam(m_catalogue.get());
    m_window.reset(window);
    Start(Standard, 1);
    m_window->Tick();
    QCOMPARE(Text("lblTime"), QString("Time Remaining:  00:00:59"));
    for (int i = 0; i < 59; ++i)
        m_window->Tick();
    QCOMPARE(Text("lblTime"), QString("Time Remaining:  00:00:00"));
    QVERIFY(Messages().isEmpty());

    MessageSeam::SetNextAnswer(MessageSeam::Yes);
    m_window->Tick();
    QCOMPARE(Messages(),
        QStringList { "36:The time has elapsed for this exam. Would you like to continue for another 30 minutes?" });
    QCOMPARE(window->Questions, 1); // the ticks during the question were dropped
    QCOMPARE(m_window->SecondsRemaining(), qint16(1800));
    m_window->Tick();
    QCOMPARE(Text("lblTime"), QString("Time Remaining:  00:29:59"));
    QVERIFY(!CurrentExam()->IsEnded());
}

void frmExamTest::timeOutEndsWithoutSaving()
{
    Start(Standard, 0);
    Click("optChoices2"); // right, but never saved
    int questions = -1;
    WhenModal<frmReport>([this, &questions](frmReport* report) {
        m_window->Tick(); // while the report is open
        questions = int(Messages().size());
        report->reject();
    });
    MessageSeam::SetNextAnswer(MessageSeam::No);
    m_window->Tick();
    QCOMPARE(questions, 1);
    QVERIFY(CurrentExam()->IsEnded());
    QCOMPARE(Item(1).Answer(), QString());
    // The page shows what was scored, not the unsaved choice.
    QVERIFY(!On("optChoices2") && !W("optChoices2")->isEnabled());
    QCOMPARE(Text("lblStatus"), QString("INCORRECT"));
    m_window->Tick();
    QVERIFY(Messages().isEmpty());
}

void frmExamTest::postExamStatus_data()
{
    QTest::addColumn<qint16>("item");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QString>("key");
    QTest::addColumn<bool>("correct");
    QTest::addColumn<bool>("why");
    QTest::newRow("both boxes right") << qint16(2) << "1,3" << QString("Answer: A,C") << true << false;
    QTest::newRow("radio right, explained") << qint16(1) << "2" << QString("Answer: B") << true << true;
    QTest::newRow("unanswered") << qint16(3) << "" << QString("Answer: A,B") << false << false;
    QTest::newRow("unanswered, empty key") << qint16(5) << "" << QString("Answer: ") << true << false;
}

void frmExamTest::postExamStatus()
{
    QFETCH(qint16, item);
    QFETCH(QString, answer);
    QFETCH(bool, correct);
    QFETCH(bool, why);
    Start();
    m_window->GotoQuestion(4); // leaving item 4 only ever saves item 4
    Item(item).SetAnswer(answer);
    CurrentExam()->EndExam();
    m_window->StartPostExamReview();
    m_window->GotoQuestion(item);
    QTEST(Text("lblAnswer"), "key");
    auto* label = W<QLabel>("lblStatus");
    QCOMPARE(label->text(), QString(correct ? "CORRECT" : "INCORRECT"));
    QCOMPARE(label->palette().color(label->foregroundRole()), correct ? QColor(0, 128, 0) : QColor(255, 0, 0));
    QTEST(W("cmdWhy")->isVisible(), "why");
    for (QAbstractButton* button : m_window->findChildren<QAbstractButton*>())
        QVERIFY(!button->isVisible() || !button->objectName().contains("Choices") || !button->isEnabled());
    if (why) {
        QString title;
        WhenModal<QDialog>([&title](QDialog* dialog) {
            title = dialog->windowTitle();
            dialog->reject();
        });
        Click("cmdWhy");
        QCOMPARE(title, QString("Explaination - Question: 1"));
    }
    m_window->GotoQuestion(4);
    QCOMPARE(Item(item).Answer(), answer); // leaving the read-only page saved nothing
}

void frmExamTest::closeConfirmation_data()
{
    QTest::addColumn<bool>("ended");
    QTest::addColumn<int>("answer");
    QTest::addColumn<QStringList>("messages");
    QTest::addColumn<bool>("closes");
    const QStringList asked { "36:Are you sure you want to terminate the exam?" };
    QTest::newRow("running, No") << false << int(MessageSeam::No) << asked << false;
    QTest::newRow("running, Yes") << false << int(MessageSeam::Yes) << asked << true;
    QTest::newRow("ended: not asked") << true << int(MessageSeam::No) << QStringList {} << true;
}

void frmExamTest::closeConfirmation()
{
    QFETCH(bool, ended);
    QFETCH(int, answer);
    QFETCH(bool, closes);
    Start();
    if (ended)
        CurrentExam()->EndExam();
    QSignalSpy finished(m_window.get(), &frmExam::finished);
    MessageSeam::SetNextAnswer(answer);
    m_window->close();
    QTEST(Messages(), "messages");
    QCOMPARE(m_window->isVisible(), !closes);
    QCOMPARE(m_catalogue->isVisible(), closes);
    QCOMPARE(bool(CurrentExam()), !closes);
    QCOMPARE(finished.count(), closes ? 1 : 0);
}

void frmExamTest::exhibits()
{
    Start();
    m_window->GotoQuestion(4);
    Click("cmdExhibit");
    QCOMPARE(Messages(),
        QStringList { "16:The exhibit cannot be displayed because required files are missing or "
                      "corrupt. Please reinstall the exam pack." });

    // A picture beside the exam file opens modeless and goes with the item.
    QTemporaryDir folder;
    const QString path = folder.filePath("EX-101.exam");
    MakeExam(Standard);
    Item(4).SetExhibit("diagram.bmp");
    CurrentExam()->Save(path);
    QImage picture(40, 30, QImage::Format_RGB32);
    picture.fill(Qt::darkCyan);
    QVERIFY(picture.save(folder.filePath("diagram.bmp")));
    CurrentExam() = std::make_shared<Exam>();
    CurrentExam()->Load(path);
    m_window->StartExam(); // the same window, a second sitting
    W<QTimer>("tmrTimer")->stop();
    QVERIFY(W("cmdExhibit")->isHidden());
    m_window->GotoQuestion(4);
    Click("cmdExhibit");
    QVERIFY(Messages().isEmpty());
    auto* exhibit = m_window->findChild<frmExhibit*>();
    QVERIFY(exhibit && exhibit->isVisible() && !exhibit->isModal());
    Click("cmdNext");
    exhibit = m_window->findChild<frmExhibit*>();
    QVERIFY(!exhibit || !exhibit->isVisible());
}

void frmExamTest::longItemScrolls()
{
    ItemPlan longItem;
    longItem.Solutions = QList<bool>(40, false);
    Start({ ItemPlan { { true, false } }, longItem });
    auto* scroll = W<QScrollBar>("vsbScroll");
    QVERIFY(!scroll->isEnabled());
    m_window->GotoQuestion(2);
    QVERIFY(scroll->isEnabled() && scroll->maximum() > 0);
    // At the end the content's bottom meets the frame's bottom (the range
    // counts the frame's border, a pixel each side) and the last row shows.
    scroll->setValue(scroll->maximum());
    QWidget* content = W("picQuestion");
    QWidget* viewport = content->parentWidget();
    QVERIFY(qAbs(content->geometry().bottom() + 1 - viewport->height() - 2) <= 1);
    QVERIFY(W("lblChoices40")->geometry().translated(content->pos()).bottom() < viewport->height());
    m_window->GotoQuestion(1);
    QCOMPARE(scroll->value(), 0);
    QCOMPARE(content->y(), 0);
    QVERIFY(!scroll->isEnabled());
}

QTEST_MAIN(frmExamTest)
#include "frmExamTest.moc"
