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

namespace {

// Eight items of four choices: (solutions, answer, marked) as entries_data lists them.
std::unique_ptr<Exam> MakeExam(bool withMarks = true)
{
    const QList<std::tuple<QList<int>, QString, bool>> items { { { 2 }, "2", false }, { { 1, 2 }, "1", false },
        { { 1 }, "", false }, { { 1, 3 }, "1,3", true }, { { 2 }, "", true }, { {}, "", false },
        { { 1, 2, 3 }, "1,2", false }, { { 1, 2 }, "1,2,3", false } };
    auto exam = std::make_unique<Exam>();
    exam->SetMaxScore(1000);
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

// "style text" of every box shown since the last call.
QStringList TakeMessages()
{
    QStringList shown;
    for (const MessageSeam::Shown& box : MessageSeam::TakeShown())
        shown << QString::number(box.Style) + ' ' + box.Text;
    return shown;
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
        QTest::addColumn<QString>("text"); // starts with the item's number
        QTest::addColumn<QString>("status");
        QTest::addColumn<QString>("spoken"); // for assistive technology
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
        QFETCH(QString, status);
        const int row = text.section(' ', 0, 0).toInt() - 1;
        Open();
        const auto* list = Child<QListWidget>("lvwReview");
        QCOMPARE(list->count(), 8);
        QVERIFY(Child<QPushButton>("cmdReviewMarked")->isEnabled());
        const QListWidgetItem* entry = list->item(row);
        QCOMPARE(entry->text(), text);
        QTEST(entry->data(Qt::AccessibleTextRole).toString(), "spoken");
        QCOMPARE(entry->data(frmReview::IndexRole).toInt(), row + 1);
        // The icon drawn is the status picture (and not two null pictures).
        const QSize size = list->iconSize();
        QVERIFY(!entry->icon().isNull());
        QCOMPARE(entry->icon().pixmap(size).toImage(), QIcon(":/icons/" + status).pixmap(size).toImage());
    }

    void reviewMarkedNeedsAMark()
    {
        m_exam = MakeExam(false);
        Open();
        QVERIFY(!Child<QPushButton>("cmdReviewMarked")->isEnabled());
    }

    void leaving_data()
    {
        QTest::addColumn<QString>("target"); // the child clicked or typed at
        QTest::addColumn<int>("key"); // 0: a click, -1: a double-click on entry 7
        QTest::addColumn<QString>("typed"); // into the number field first
        QTest::addColumn<QStringList>("events");
        QTest::addColumn<int>("result"); // 1 accepted, 0 rejected, -1 the list stays open
        // The field holds 1 ... count or nothing, whatever is typed.
        QTest::newRow("Go To, zero becomes one") << "cmdGoTo" << 0 << "0" << QStringList { "goto 1" } << 1;
        QTest::newRow("Go To the last") << "cmdGoTo" << 0 << "8" << QStringList { "goto 8" } << 1;
        QTest::newRow("Go To, above the count") << "cmdGoTo" << 0 << "13" << QStringList { "goto 8" } << 1;
        QTest::newRow("Go To, far above") << "cmdGoTo" << 0 << "99999999999999999999" << QStringList { "goto 8" } << 1;
        QTest::newRow("Go To, letters not taken") << "cmdGoTo" << 0 << "x5-" << QStringList { "goto 5" } << 1;
        QTest::newRow("Enter in the field")
            << "txtQuestion" << int(Qt::Key_Return) << "3" << QStringList { "goto 3" } << 1;
        QTest::newRow("Go To without a number") << "cmdGoTo" << 0 << "" << QStringList() << -1;
        QTest::newRow("double-click an entry") << "lvwReview" << -1 << "" << QStringList { "goto 7" } << 1;
        QTest::newRow("Enter on an entry") << "lvwReview" << int(Qt::Key_Return) << "" << QStringList { "goto 7" } << 1;
        QTest::newRow("Review All") << "cmdReviewAll" << 0 << "" << QStringList { "all" } << 1;
        QTest::newRow("Escape from the list") << "lvwReview" << int(Qt::Key_Escape) << "" << QStringList() << 0;
    }

    void leaving()
    {
        QFETCH(QString, target);
        QFETCH(QString, typed);
        QFETCH(int, key);
        QFETCH(int, result);
        Open();
        auto* field = Child<QLineEdit>("txtQuestion");
        QTest::keyClicks(field, typed);
        auto* list = Child<QListWidget>("lvwReview");
        QTest::keyClick(list, Qt::Key_7); // digits reach the list and pick the entry
        QWidget* widget = Child<QWidget>(target);
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

        QTEST(m_events, "events");
        QVERIFY(!m_exam->IsEnded());
        QCOMPARE(m_review->isVisible(), result == -1);
        const QStringList asked { "64 Please enter the question number into the given field." };
        QCOMPARE(TakeMessages(), result == -1 ? asked : QStringList());
        if (result == -1)
            QCOMPARE(QApplication::focusWidget(), field);
        else
            QCOMPARE(m_review->result(), result);
    }

    void endButton_data()
    {
        QTest::addColumn<QString>("ended"); // "", "before" or "while" the list is open
        QTest::addColumn<int>("answer"); // to the confirmation, 0 when none is asked
        QTest::addColumn<QStringList>("events");
        QTest::newRow("end confirmed") << "" << int(MessageSeam::Yes) << QStringList { "ended", "report" };
        QTest::newRow("end declined") << "" << int(MessageSeam::No) << QStringList();
        QTest::newRow("ended before the list opened") << "before" << 0 << QStringList { "report" };
        QTest::newRow("time ran out while the list was open") << "while" << 0 << QStringList { "report" };
    }

    void endButton()
    {
        QFETCH(QString, ended);
        QFETCH(int, answer);
        QFETCH(QStringList, events);
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
        auto* end = Child<QPushButton>("cmdEnd");
        QCOMPARE(end->text(), QString(ended.isEmpty() ? "&End Exam" : "&View Report"));
        MessageSeam::SetNextAnswer(answer);
        // Close the modal report once it is up, noting that it was.
        QTimer::singleShot(0, this, [this] {
            if (QWidget* modal = QApplication::activeModalWidget()) {
                if (qobject_cast<frmReport*>(modal))
                    m_events << "report";
                modal->close();
            }
        });
        QTest::mouseClick(end, Qt::LeftButton);
        QCoreApplication::processEvents();

        QCOMPARE(TakeMessages(), answer ? QStringList { "36 Are you sure you want to end the exam?" } : QStringList());
        QCOMPARE(m_events, events);
        const bool closed = events.contains("report");
        QCOMPARE(m_exam->IsEnded(), closed);
        QCOMPARE(m_review->isVisible(), !closed);
        QCOMPARE(m_review->result(), int(closed ? QDialog::Accepted : QDialog::Rejected));
    }

private:
    // Opens the review on m_exam, recording its signals in m_events.
    void Open()
    {
        auto* review = (m_review = std::make_unique<frmReview>(*m_exam)).get();
        connect(review, &frmReview::gotoRequested, this, [this](qint16 i) { m_events << QString("goto %1").arg(i); });
        connect(review, &frmReview::reviewAllRequested, this, [this] { m_events << "all"; });
        connect(review, &frmReview::reviewMarkedRequested, this, [this] { m_events << "marked"; });
        // The exam must already be over when the signal goes out.
        connect(review, &frmReview::examEnded, this, [this] { m_events << (m_exam->IsEnded() ? "ended" : "early"); });
        review->show();
        QVERIFY(QTest::qWaitForWindowActive(review));
        QCOMPARE(QApplication::focusWidget(), Child<QWidget>("txtQuestion"));
    }

    template <typename T>
    T* Child(const QString& name) const { return m_review->findChild<T*>(name); }

    std::unique_ptr<Exam> m_exam;
    std::unique_ptr<frmReview> m_review;
    QStringList m_events;
};

QTEST_MAIN(frmReviewTest)
#include "frmReviewTest.moc"
