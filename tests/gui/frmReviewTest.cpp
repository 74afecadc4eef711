#include "model/Exam.h"
#include "shell/MessageSeam.h"
#include "shell/Resources.h"
#include "shell/frmReport.h"
#include "shell/frmReview.h"

#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
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
    void reviewMarkedNeedsAMark_data();
    void reviewMarkedNeedsAMark();
    void numberRule_data();
    void numberRule();
    void fieldSelectsItsTextOnFocus();
    void goTo_data();
    void goTo();
    void goToWithoutNumber();
    void pickEntry_data();
    void pickEntry();
    void listTakesOnlyDigits();
    void reviewButtons_data();
    void reviewButtons();
    void escapeCloses_data();
    void escapeCloses();
    void endExam_data();
    void endExam();
    void viewReportAfterEnd_data();
    void viewReportAfterEnd();

private:
    // Eight items: (solutions, answer, marked) as listed in entries_data.
    static std::unique_ptr<Exam> MakeExam(bool withMarks = true);
    // Opens the review on m_exam and waits until it is up.
    void Open();
    template <typename T>
    T* Child(const char* name) const
    {
        return m_review->findChild<T*>(name);
    }
    // Closes the modal report once it is up and records that it was.
    void CloseReportWhenShown();

    std::unique_ptr<Exam> m_exam;
    std::unique_ptr<frmReview> m_review;
    bool m_reportShown = false;
    int m_endedBeforeReport = -1;
};

std::unique_ptr<Exam> frmReviewTest::MakeExam(bool withMarks)
{
    struct Item
    {
        QList<int> solutions;
        QString answer;
        bool marked;
    };
    const QList<Item> items {
        { { 2 }, "2", false },
        { { 1, 2 }, "1", false },
        { { 1 }, "", false },
        { { 1, 3 }, "1,3", true },
        { { 2 }, "", true },
        { {}, "", false },
        { { 1, 2, 3 }, "1,2", false },
        { { 1, 2 }, "1,2,3", false },
    };
    auto exam = std::make_unique<Exam>();
    exam->SetCode("EX-101");
    exam->SetName("Review Exam");
    exam->SetMaxScore(1000);
    exam->SetPassScore(700);
    for (const Item& item : items) {
        auto question = exam->Questions().Add();
        question->SetNumber(qint16(exam->Questions().Count()));
        for (int c = 1; c <= 4; ++c) {
            auto choice = question->Choices().Add();
            choice->SetNumber(qint16(c));
            choice->SetIsSolution(item.solutions.contains(c));
        }
        question->SetAnswer(item.answer);
        question->SetIsMarked(withMarks && item.marked);
    }
    return exam;
}

void frmReviewTest::init()
{
    InitResources();
    MessageSeam::Intercept(true);
    m_exam = MakeExam();
    m_reportShown = false;
    m_endedBeforeReport = -1;
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
    m_review->show();
    QVERIFY(QTest::qWaitForWindowActive(m_review.get()));
}

void frmReviewTest::CloseReportWhenShown()
{
    QTimer::singleShot(0, this, [this] {
        QWidget* modal = QApplication::activeModalWidget();
        m_reportShown = qobject_cast<frmReport*>(modal) != nullptr;
        if (modal)
            modal->close();
    });
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
    // The icon drawn is the status picture.
    const QSize size = list->iconSize();
    QCOMPARE(entry->icon().pixmap(size).toImage(), QIcon(":/icons/" + status).pixmap(size).toImage());
    QVERIFY(!entry->icon().isNull());
}

void frmReviewTest::reviewMarkedNeedsAMark_data()
{
    QTest::addColumn<bool>("withMarks");
    QTest::newRow("two items marked") << true;
    QTest::newRow("nothing marked") << false;
}

void frmReviewTest::reviewMarkedNeedsAMark()
{
    QFETCH(bool, withMarks);
    m_exam = MakeExam(withMarks);
    Open();
    QCOMPARE(Child<QPushButton>("cmdReviewMarked")->isEnabled(), withMarks);
    QCOMPARE(Child<QPushButton>("cmdEnd")->text(), QString("&End Exam"));
}

void frmReviewTest::numberRule_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("shown");
    QTest::newRow("zero becomes one") << "0" << "1";
    QTest::newRow("above the count becomes the count") << "13" << "8";
    QTest::newRow("the count itself") << "8" << "8";
    QTest::newRow("an item number") << "5" << "5";
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
    field->clear();
    QCOMPARE(field->text(), QString());
}

void frmReviewTest::fieldSelectsItsTextOnFocus()
{
    Open();
    auto* field = Child<QLineEdit>("txtQuestion");
    QTest::keyClicks(field, "6");
    Child<QListWidget>("lvwReview")->setFocus();
    QVERIFY(!field->hasSelectedText());
    QTest::mouseClick(field, Qt::LeftButton, {}, QPoint(3, field->height() / 2));
    QTRY_COMPARE(field->selectedText(), QString("6"));
}

void frmReviewTest::goTo_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<bool>("byEnter");
    QTest::addColumn<int>("index");
    QTest::newRow("Go To button") << "5" << false << 5;
    QTest::newRow("Enter in the field") << "3" << true << 3;
    QTest::newRow("zero goes to the first") << "0" << false << 1;
    QTest::newRow("too high goes to the last") << "40" << true << 8;
}

void frmReviewTest::goTo()
{
    QFETCH(QString, typed);
    QFETCH(bool, byEnter);
    Open();
    QSignalSpy spy(m_review.get(), &frmReview::gotoRequested);
    auto* field = Child<QLineEdit>("txtQuestion");
    QTest::keyClicks(field, typed);
    if (byEnter)
        QTest::keyClick(field, Qt::Key_Return);
    else
        QTest::mouseClick(Child<QPushButton>("cmdGoTo"), Qt::LeftButton);
    QCOMPARE(spy.size(), 1);
    QTEST(int(spy.at(0).at(0).value<qint16>()), "index");
    QVERIFY(!m_review->isVisible());
    QCOMPARE(m_review->result(), int(QDialog::Accepted));
    QVERIFY(MessageSeam::TakeShown().isEmpty());
}

void frmReviewTest::goToWithoutNumber()
{
    Open();
    QSignalSpy spy(m_review.get(), &frmReview::gotoRequested);
    QTest::mouseClick(Child<QPushButton>("cmdGoTo"), Qt::LeftButton);
    const QList<MessageSeam::Shown> shown = MessageSeam::TakeShown();
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown[0].Text, QString("Please enter the question number into the given field."));
    QCOMPARE(shown[0].Style, 64);
    QCOMPARE(spy.size(), 0);
    QVERIFY(m_review->isVisible());
    QCOMPARE(QApplication::focusWidget(), Child<QLineEdit>("txtQuestion"));
}

void frmReviewTest::pickEntry_data()
{
    QTest::addColumn<bool>("byEnter");
    QTest::newRow("double-click") << false;
    QTest::newRow("Enter on the entry") << true;
}

void frmReviewTest::pickEntry()
{
    QFETCH(bool, byEnter);
    Open();
    QSignalSpy spy(m_review.get(), &frmReview::gotoRequested);
    auto* list = Child<QListWidget>("lvwReview");
    QListWidgetItem* entry = list->item(6);
    if (byEnter) {
        list->setFocus();
        list->setCurrentItem(entry);
        QTest::keyClick(list, Qt::Key_Return);
    } else {
        const QPoint centre = list->visualItemRect(entry).center();
        // A double-click's first press selects the entry.
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, centre);
        QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, centre);
    }
    QCOMPARE(spy.size(), 1);
    QCOMPARE(spy.at(0).at(0).value<qint16>(), qint16(7));
    QVERIFY(!m_review->isVisible());
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

void frmReviewTest::reviewButtons_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<bool>("all");
    QTest::newRow("Review All") << "cmdReviewAll" << true;
    QTest::newRow("Review Marked") << "cmdReviewMarked" << false;
}

void frmReviewTest::reviewButtons()
{
    QFETCH(QString, button);
    QFETCH(bool, all);
    Open();
    QSignalSpy allSpy(m_review.get(), &frmReview::reviewAllRequested);
    QSignalSpy markedSpy(m_review.get(), &frmReview::reviewMarkedRequested);
    QTest::mouseClick(m_review->findChild<QPushButton*>(button), Qt::LeftButton);
    QCOMPARE(allSpy.size(), all ? 1 : 0);
    QCOMPARE(markedSpy.size(), all ? 0 : 1);
    QVERIFY(!m_review->isVisible());
}

void frmReviewTest::escapeCloses_data()
{
    QTest::addColumn<QString>("focus");
    QTest::newRow("from the field") << "txtQuestion";
    QTest::newRow("from the list") << "lvwReview";
    QTest::newRow("from a button") << "cmdReviewAll";
}

void frmReviewTest::escapeCloses()
{
    QFETCH(QString, focus);
    Open();
    QSignalSpy gotoSpy(m_review.get(), &frmReview::gotoRequested);
    QSignalSpy allSpy(m_review.get(), &frmReview::reviewAllRequested);
    auto* target = m_review->findChild<QWidget*>(focus);
    target->setFocus();
    QTest::keyClick(target, Qt::Key_Escape);
    QVERIFY(!m_review->isVisible());
    QCOMPARE(m_review->result(), int(QDialog::Rejected));
    QCOMPARE(gotoSpy.size() + allSpy.size(), 0);
    QVERIFY(!m_exam->IsEnded());
}

void frmReviewTest::endExam_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<bool>("ended");
    QTest::newRow("confirmed") << int(MessageSeam::Yes) << true;
    QTest::newRow("declined") << int(MessageSeam::No) << false;
}

void frmReviewTest::endExam()
{
    QFETCH(int, answer);
    QFETCH(bool, ended);
    Open();
    QSignalSpy endedSpy(m_review.get(), &frmReview::examEnded);
    connect(m_review.get(), &frmReview::examEnded, this, [this] { m_endedBeforeReport = m_exam->IsEnded(); });
    MessageSeam::SetNextAnswer(answer);
    CloseReportWhenShown();
    QTest::mouseClick(Child<QPushButton>("cmdEnd"), Qt::LeftButton);

    const QList<MessageSeam::Shown> shown = MessageSeam::TakeShown();
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown[0].Text, QString("Are you sure you want to end the exam?"));
    QCOMPARE(shown[0].Style, 36);
    QCOMPARE(m_exam->IsEnded(), ended);
    QCOMPARE(endedSpy.size(), ended ? 1 : 0);
    QCOMPARE(m_review->isVisible(), !ended);
    if (ended) {
        // The exam was ended before the signal went out, and the report
        // came up after it.
        QCOMPARE(m_endedBeforeReport, 1);
        QVERIFY(m_reportShown);
        QCOMPARE(m_review->result(), int(QDialog::Accepted));
    } else {
        QCoreApplication::processEvents();
        QVERIFY(!m_reportShown);
    }
}

void frmReviewTest::viewReportAfterEnd_data()
{
    QTest::addColumn<bool>("whileOpen");
    QTest::newRow("ended before the list opened") << false;
    QTest::newRow("time ran out while the list was open") << true;
}

void frmReviewTest::viewReportAfterEnd()
{
    QFETCH(bool, whileOpen);
    if (!whileOpen)
        m_exam->EndExam();
    Open();
    if (whileOpen) {
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
    QCOMPARE(end->text(), QString("&View Report"));
    QSignalSpy endedSpy(m_review.get(), &frmReview::examEnded);
    CloseReportWhenShown();
    QTest::mouseClick(end, Qt::LeftButton);
    QVERIFY(m_reportShown);
    QVERIFY(MessageSeam::TakeShown().isEmpty());
    QCOMPARE(endedSpy.size(), 0);
    QVERIFY(!m_review->isVisible());
}

QTEST_MAIN(frmReviewTest)
#include "frmReviewTest.moc"
