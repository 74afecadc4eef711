#include "common/GuiUtil.h"
#include "model/Exam.h"
#include "shell/Resources.h"
#include "shell/frmReport.h"
#include "shell/frmReview.h"

#include <QtTest>
#include <QtWidgets>

using namespace GuiUtil;

namespace {

// Eight items of four choices, each "solutions/answer/marked" as entries_data lists them.
std::unique_ptr<Exam> MakeExam()
{
    auto exam = std::make_unique<Exam>();
    exam->SetMaxScore(1000);
    for (const char* item : { "2/2/", "12/1/", "1//", "13/1,3/m", "2//m", "//", "123/1,2/", "12/1,2,3/" }) {
        auto question = exam->Questions().Add();
        question->SetNumber(qint16(exam->Questions().Count()));
        for (int c = 1; c <= 4; ++c) {
            auto choice = question->Choices().Add();
            choice->SetNumber(qint16(c));
            choice->SetIsSolution(QString(item).section('/', 0, 0).contains(QString::number(c)));
        }
        question->SetAnswer(QString(item).section('/', 1, 1));
        question->SetIsMarked(QString(item).endsWith('m'));
    }
    return exam;
}

} // namespace

class frmReviewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        InitResources();
        MessageSeam::Intercept(true);
        m_exam = MakeExam();
        m_events.clear();
    }

    void cleanup() { m_review.reset(); }

    void entries_data()
    {
        // text: starts with the item's number; spoken: for assistive technology
        Columns<QString, QString, QString>({ "text", "status", "spoken" });
        QTest::newRow("answered") << "1 - B" << "Complete" << "Item 1, answered B, complete";
        QTest::newRow("one of two chosen") << "2 - A" << "Incomplete" << "Item 2, answered A, incomplete";
        QTest::newRow("unanswered") << "3" << "Incomplete" << "Item 3, not answered, incomplete";
        QTest::newRow("marked and answered") << "4 - A,C" << "Checked" << "Item 4, answered A,C, marked";
        QTest::newRow("marked and unanswered") << "5" << "Checked" << "Item 5, not answered, marked";
        QTest::newRow("no solution, no answer") << "6" << "Complete" << "Item 6, not answered, complete";
        QTest::newRow("two of three chosen") << "7 - A,B" << "Incomplete" << "Item 7, answered A,B, incomplete";
        QTest::newRow("more chosen than required") << "8 - A,B,C" << "Complete" << "Item 8, answered A,B,C, complete";
    }

    void entries()
    {
        QFETCH(QString, text);
        const int row = text.section(' ', 0, 0).toInt() - 1;
        Open();
        const auto* list = Child<QListWidget>(m_review.get(), "lvwReview");
        const QListWidgetItem* entry = list->item(row);
        QVERIFY(list->count() == 8 && entry->text() == text && entry->data(frmReview::IndexRole).toInt() == row + 1);
        QVERIFY(Child(m_review.get(), "cmdReviewMarked")->isEnabled()); // items 4 and 5 are marked
        QTEST(entry->data(Qt::AccessibleTextRole).toString(), "spoken");
        // The status picture (and not two null pictures).
        QVERIFY(!entry->icon().isNull());
        QCOMPARE(entry->icon().pixmap(list->iconSize()).toImage(), QIcon(":/icons/" + Data<QString>("status")).pixmap(list->iconSize()).toImage());
    }

    void leaving_data()
    {
        // target: the child clicked or typed at; key: 0: a click, -1: a double-click on entry 7; typed: into the number
        // field first; result: 1 accepted, 0 rejected, -1 the list stays open
        Columns<QString, int, QString, QString, int>({ "target", "key", "typed", "events", "result" });
        // The field holds 1 ... count or nothing, whatever is typed.
        QTest::newRow("Go To, zero becomes one") << "cmdGoTo" << 0 << "0" << "goto 1" << 1;
        QTest::newRow("Go To, above the count") << "cmdGoTo" << 0 << "13" << "goto 8" << 1;
        QTest::newRow("Go To, far above") << "cmdGoTo" << 0 << "99999999999999999999" << "goto 8" << 1;
        QTest::newRow("Go To, letters not taken") << "cmdGoTo" << 0 << "x5-" << "goto 5" << 1;
        QTest::newRow("Enter in the field") << "txtQuestion" << int(Qt::Key_Return) << "3" << "goto 3" << 1;
        QTest::newRow("Go To without a number") << "cmdGoTo" << 0 << "" << "" << -1;
        QTest::newRow("double-click an entry") << "lvwReview" << -1 << "" << "goto 7" << 1;
        QTest::newRow("Enter on an entry") << "lvwReview" << int(Qt::Key_Return) << "" << "goto 7" << 1;
        QTest::newRow("Review All") << "cmdReviewAll" << 0 << "" << "all" << 1;
        QTest::newRow("Escape from the list") << "lvwReview" << int(Qt::Key_Escape) << "" << "" << 0;
    }

    void leaving()
    {
        QFETCH(int, key);
        QFETCH(int, result);
        Open();
        auto* field = Child<QLineEdit>(m_review.get(), "txtQuestion");
        const QString typed = Data<QString>("typed"); // a long number pasted: typed, it never gets past the count
        typed.size() > 9 ? field->insert(typed) : QTest::keyClicks(field, typed);
        auto* list = Child<QListWidget>(m_review.get(), "lvwReview");
        QTest::keyClick(list, Qt::Key_7); // digits reach the list and pick the entry
        QWidget* widget = Child(m_review.get(), Data<QString>("target"));
        widget->setFocus();
        const QPoint centre = list->visualItemRect(list->item(6)).center();
        if (key == -1) { // a double-click's first press selects the entry
            QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, centre);
            QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, centre);
        } else if (key == 0) {
            QTest::mouseClick(widget, Qt::LeftButton);
        } else {
            QTest::keyClick(widget, Qt::Key(key));
        }
        QTEST(m_events.join(','), "events");
        QVERIFY(!m_exam->IsEnded() && m_review->isVisible() == (result == -1));
        QCOMPARE(Shown(), result == -1 ? QStringList { "64:Please enter the question number into the given field." } : QStringList());
        QVERIFY(result == -1 ? QApplication::focusWidget() == field : m_review->result() == result);
    }

    void endButton_data()
    {
        // ended: "", "before" or "while" the list is open; answer: to the confirmation, 0 when none is asked
        Columns<QString, int, QString>({ "ended", "answer", "events" });
        QTest::newRow("end confirmed") << "" << int(MessageSeam::Yes) << "ended,report";
        QTest::newRow("end declined") << "" << int(MessageSeam::No) << "";
        QTest::newRow("ended before the list opened") << "before" << 0 << "report";
        QTest::newRow("time ran out while the list was open") << "while" << 0 << "report";
    }

    void endButton()
    {
        QFETCH(QString, ended);
        QFETCH(int, answer);
        if (ended == "before")
            m_exam->EndExam();
        Open();
        if (ended == "while") {
            // The exam window's clock ends it and shows its own report; the list is active again after.
            m_exam->EndExam();
            QWidget other;
            other.show();
            QVERIFY(QTest::qWaitForWindowActive(&other));
            m_review->activateWindow();
            QVERIFY(QTest::qWaitForWindowActive(m_review.get()));
        }
        auto* end = Child<QPushButton>(m_review.get(), "cmdEnd");
        QCOMPARE(end->text(), QString(ended.isEmpty() ? "&End Exam" : "&View Report"));
        MessageSeam::SetNextAnswer(answer);
        WhenModal<frmReport>([this](frmReport*) { m_events << "report"; });
        QTest::mouseClick(end, Qt::LeftButton);
        QCoreApplication::processEvents();
        QCOMPARE(Shown(), answer ? QStringList { "36:Are you sure you want to end the exam?" } : QStringList());
        QTEST(m_events.join(','), "events");
        const bool closed = m_events.contains("report");
        QVERIFY(m_exam->IsEnded() == closed && m_review->isVisible() == !closed && m_review->result() == closed);
    }

private:
    // Opens the review on m_exam, recording its signals in m_events.
    void Open()
    {
        auto* review = (m_review = std::make_unique<frmReview>(*m_exam)).get();
        connect(review, &frmReview::gotoRequested, this, [this](qint16 i) { m_events << QString("goto %1").arg(i); });
        connect(review, &frmReview::reviewAllRequested, this, [this] { m_events << "all"; });
        // The exam must already be over when the signal goes out.
        connect(review, &frmReview::examEnded, this, [this] { m_events << (m_exam->IsEnded() ? "ended" : "early"); });
        review->show();
        QVERIFY(QTest::qWaitForWindowActive(review));
        QCOMPARE(QApplication::focusWidget()->objectName(), "txtQuestion");
    }

    std::unique_ptr<Exam> m_exam;
    std::unique_ptr<frmReview> m_review;
    QStringList m_events;
};

QTEST_MAIN(frmReviewTest)
#include "frmReviewTest.moc"
