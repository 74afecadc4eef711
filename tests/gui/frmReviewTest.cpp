#include "model/Exam.h"
#include "shell/MessageSeam.h"
#include "shell/Resources.h"
#include "shell/frmReport.h"
#include "shell/frmReview.h"

#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QTimer>

class frmReviewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void entries_data();
    void entries();
    void reviewMarkedNeedsAMark();
    void numberRule_data();
    void numberRule();
    void listTakesOnlyDigits();
    void leaving_data();
    void leaving();
    void endButton_data();
    void endButton();

private:
    // Eight items: (solutions, answer, marked) as listed in entries_data.
    static std::unique_ptr<Exam> MakeExam(bool withMarks = true);
    // Opens the review on m_exam, recording its signals in m_events.
    void Open();
    template <typename T>
    T* Child(const QString& name) const
    {
        return m_review->findChild<T*>(name);
    }
    // Closes the modal report once it is up, recording that it was.
    void CloseReportWhenShown();
    // "style text" of every box shown since the last call.
    static QStringList TakeMessages();

    std::unique_ptr<Exam> m_exam;
    std::unique_ptr<frmReview> m_review;
    QStringList m_events;
};

std::unique_ptr<Exam> frmReviewTest::MakeExam(bool withMarks)
{
    const QList<std::tuple<QList<int>, QString, bool>> items { { { 2 }, "2", false }, { { 1, 2 }, "1", false },
        { { 1 }, "", false }, { { 1, 3 }, "1,3", true }, { { 2 }, "", true }, { {}, "", false },
        { { 1, 2, 3 }, "1,2", false }, { { 1, 2 }, "1,2,3", false } };
    auto exam = std::make_unique<Exam>();
    exam->SetCode("EX-101");
    exam->SetMaxScore(1000);
    exam->SetPassScore(700);
    for (const auto& [solutions, answer, marked] : items) {
        auto question = exam->Questions().Add();
        question->SetNumber(qint16(exam->Questions().Count()));
        for (int c = 1; c <= 4; ++c) {
            auto choice = question->Choices().Add();
            choice->SetNumber(qint16(c));
            choice->SetIsSolution(solutions.contains(c));
        }
        question->SetAnswer(answer);
        question->SetIsMarked(withMarks && marked);
    }
    return exam;
}

void frmReviewTest::init()
{
    InitResources();
    MessageSeam::Intercept(true);
    m_exam = MakeExam();
    m_events.clear();
}

void frmReviewTest::cleanup()
{
    m_review.reset();
    m_exam.reset();
    MessageSeam::Intercept(false);
}

void frmReviewTest::Open()
{
    m_review = std::make_unique<frmReview>(*m_exam);
    frmReview* review = m_review.get();
    connect(review, &frmReview::gotoRequested, this, [this](qint16 i) { m_events << QString("goto %1").arg(i); });
    connect(review, &frmReview::reviewAllRequested, this, [this] { m_events << "all"; });
    connect(review, &frmReview::reviewMarkedRequested, this, [this] { m_events << "marked"; });
    // The exam must already be over when the signal goes out.
    connect(review, &frmReview::examEnded, this, [this] { m_events << (m_exam->IsEnded() ? "ended" : "ended early"); });
    review->show();
    QVERIFY(QTest::qWaitForWindowActive(review));
}

void frmReviewTest::CloseReportWhenShown()
{
    QTimer::singleShot(0, this, [this] {
        if (QWidget* modal = QApplication::activeModalWidget()) {
            if (qobject_cast<frmReport*>(modal))
                m_events << "report";
            modal->close();
        }
    });
}

QStringList frmReviewTest::TakeMessages()
{
    QStringList shown;
    for (const MessageSeam::Shown& box : MessageSeam::TakeShown())
        shown << QString::number(box.Style) + ' ' + box.Text;
    return shown;
}

void frmReviewTest::entries_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("status");
    QTest::newRow("answered") << 0 << "1 - B" << "Complete";
    QTest::newRow("one of two chosen") << 1 << "2 - A" << "Incomplete";
    QTest::newRow("unanswered") << 2 << "3" << "Incomplete";
    QTest::newRow("marked and answered") << 3 << "4 - A,C" << "Checked";
    QTest::newRow("marked and unanswered") << 4 << "5" << "Checked";
    QTest::newRow("no solution, no answer") << 5 << "6" << "Complete";
    QTest::newRow("two of three chosen") << 6 << "7 - A,B" << "Incomplete";
    QTest::newRow("more chosen than required") << 7 << "8 - A,B,C" << "Complete";
}

void frmReviewTest::entries()
{
    QFETCH(int, row);
    QFETCH(QString, status);
    Open();
    const auto* list = Child<QListWidget>("lvwReview");
    QCOMPARE(list->count(), 8);
    const QListWidgetItem* entry = list->item(row);
    QTEST(entry->text(), "text");
    QCOMPARE(entry->data(frmReview::IndexRole).toInt(), row + 1);
    // The icon drawn is the status picture (and not two null pictures).
    const QSize size = list->iconSize();
    QVERIFY(!entry->icon().isNull());
    QCOMPARE(entry->icon().pixmap(size).toImage(), QIcon(":/icons/" + status).pixmap(size).toImage());
}

void frmReviewTest::reviewMarkedNeedsAMark()
{
    Open();
    QVERIFY(Child<QPushButton>("cmdReviewMarked")->isEnabled());
    m_review.reset();
    m_exam = MakeExam(false);
    Open();
    QVERIFY(!Child<QPushButton>("cmdReviewMarked")->isEnabled());
}

void frmReviewTest::numberRule_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("shown");
    QTest::newRow("zero becomes one") << "0" << "1";
    QTest::newRow("above the count becomes the count") << "13" << "8";
    QTest::newRow("the count itself") << "8" << "8";
    QTest::newRow("letters are not taken") << "x5-" << "5";
    QTest::newRow("a very long number") << "99999999999999999999" << "8";
}

void frmReviewTest::numberRule()
{
    QFETCH(QString, typed);
    Open();
    auto* field = Child<QLineEdit>("txtQuestion");
    QCOMPARE(QApplication::focusWidget(), field);
    QTest::keyClicks(field, typed);
    QTEST(field->text(), "shown");
}

void frmReviewTest::listTakesOnlyDigits()
{
    Open();
    auto* list = Child<QListWidget>("lvwReview");
    list->setFocus();
    list->setCurrentRow(0);
    QTest::keyClick(list, Qt::Key_7);
    QCOMPARE(list->currentItem()->text(), QString("7 - A,B"));
    // A letter would search for entries starting with it; it is dropped.
    QTest::keyClick(list, Qt::Key_A);
    QCOMPARE(list->currentItem()->text(), QString("7 - A,B"));
}

void frmReviewTest::leaving_data()
{
    QTest::addColumn<QString>("target"); // the child clicked or typed at
    QTest::addColumn<int>("key"); // 0: a click, -1: a double-click
    QTest::addColumn<QString>("typed"); // into the number field first
    QTest::addColumn<QStringList>("events");
    QTest::addColumn<int>("result"); // -1: the list stays open
    const int accepted = QDialog::Accepted;
    const int rejected = QDialog::Rejected;
    const int enter = Qt::Key_Return;
    const int escape = Qt::Key_Escape;
    QTest::newRow("Go To") << "cmdGoTo" << 0 << "5" << QStringList { "goto 5" } << accepted;
    QTest::newRow("Enter in the field") << "txtQuestion" << enter << "3" << QStringList { "goto 3" } << accepted;
    QTest::newRow("Go To without a number") << "cmdGoTo" << 0 << "" << QStringList() << -1;
    QTest::newRow("double-click an entry") << "lvwReview" << -1 << "" << QStringList { "goto 7" } << accepted;
    QTest::newRow("Enter on an entry") << "lvwReview" << enter << "" << QStringList { "goto 7" } << accepted;
    QTest::newRow("Review All") << "cmdReviewAll" << 0 << "" << QStringList { "all" } << accepted;
    QTest::newRow("Review Marked") << "cmdReviewMarked" << 0 << "" << QStringList { "marked" } << accepted;
    QTest::newRow("Escape from the field") << "txtQuestion" << escape << "4" << QStringList() << rejected;
    QTest::newRow("Escape from the list") << "lvwReview" << escape << "" << QStringList() << rejected;
    QTest::newRow("Escape from a button") << "cmdReviewAll" << escape << "" << QStringList() << rejected;
}

void frmReviewTest::leaving()
{
    QFETCH(QString, target);
    QFETCH(QString, typed);
    QFETCH(int, key);
    QFETCH(int, result);
    Open();
    auto* field = Child<QLineEdit>("txtQuestion");
    QTest::keyClicks(field, typed);
    auto* list = Child<QListWidget>("lvwReview");
    list->setCurrentRow(6);
    QWidget* widget = Child<QWidget>(target);
    widget->setFocus();
    if (key == -1) {
        const QPoint centre = list->visualItemRect(list->item(6)).center();
        // A double-click's first press selects the entry.
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, centre);
        QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, centre);
    } else if (key == 0) {
        QTest::mouseClick(widget, Qt::LeftButton);
    } else {
        QTest::keyClick(widget, Qt::Key(key));
    }

    QTEST(m_events, "events");
    QVERIFY(!m_exam->IsEnded());
    QCOMPARE(m_review->isVisible(), result == -1);
    if (result == -1) {
        QCOMPARE(TakeMessages(), QStringList { "64 Please enter the question number into the given field." });
        QCOMPARE(QApplication::focusWidget(), field);
    } else {
        QCOMPARE(m_review->result(), result);
        QCOMPARE(TakeMessages(), QStringList());
    }
}

void frmReviewTest::endButton_data()
{
    QTest::addColumn<QString>("ended"); // "", "before" or "while" the list is open
    QTest::addColumn<int>("answer"); // to the confirmation, 0 when none is asked
    QTest::addColumn<QStringList>("events");
    QTest::newRow("end confirmed") << "" << int(MessageSeam::Yes) << QStringList { "ended", "report" };
    QTest::newRow("end declined") << "" << int(MessageSeam::No) << QStringList();
    QTest::newRow("ended before the list opened") << "before" << 0 << QStringList { "report" };
    QTest::newRow("time ran out while the list was open") << "while" << 0 << QStringList { "report" };
}

void frmReviewTest::endButton()
{
    QFETCH(QString, ended);
    QFETCH(int, answer);
    QFETCH(QStringList, events);
    if (ended == "before")
        m_exam->EndExam();
    Open();
    if (ended == "while") {
        // The exam window's clock ends the exam and shows its own report;
        // the list is active again afterwards.
        m_exam->EndExam();
        QWidget other;
        other.show();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        m_review->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_review.get()));
    }
    auto* end = Child<QPushButton>("cmdEnd");
    QCOMPARE(end->text(), QString(ended.isEmpty() ? "&End Exam" : "&View Report"));
    MessageSeam::SetNextAnswer(answer);
    CloseReportWhenShown();
    QTest::mouseClick(end, Qt::LeftButton);
    QCoreApplication::processEvents();

    const QStringList asked { "36 Are you sure you want to end the exam?" };
    QCOMPARE(TakeMessages(), answer ? asked : QStringList());
    QCOMPARE(m_events, events);
    const bool closed = events.contains("report");
    QCOMPARE(m_exam->IsEnded(), closed);
    QCOMPARE(m_review->isVisible(), !closed);
    if (closed)
        QCOMPARE(m_review->result(), int(QDialog::Accepted));
}

QTEST_MAIN(frmReviewTest)
#include "frmReviewTest.moc"
