#include "common/GuiUtil.h"
#include "common/TestUtil.h"
#include "model/Error.h"
#include "model/Exam.h"
#include "session/frmExplain.h"
#include "shell/Globals.h"

#include <QtTest>
#include <QtWidgets>

using namespace GuiUtil;

class frmExplainTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        CurrentExam() = std::make_shared<Exam>();
        for (int i = 1; i <= 12; ++i)
            CurrentExam()->Questions().Add()->SetExplaination(QStringLiteral("Item %1 explained.").arg(i));
        CurrentExam()->Questions().ResetNumbers();
    }

    void cleanup() { CurrentExam().reset(); }

    void shows_data()
    {
        QTest::addColumn<qint16>("number");
        QTest::addColumn<QString>("stored"); // as item 12's explanation
        QTest::addColumn<QString>("shown"); // item 2's stays when the number is out of range
        const QString sorry = QStringLiteral("Sorry! Explaination is not available for this question.");
        QTest::newRow("blanks trimmed, inner breaks kept")
            << qint16(12) << "   Option B is right.\r\n\r\nThe others are not.  " << "12 Option B is right.\n\nThe others are not.";
        QTest::newRow("only blanks") << qint16(12) << "     " << "12 " + sorry;
        QTest::newRow("markup is plain text") << qint16(12) << "<b>not bold</b> & <i>so on</i>" << "12 <b>not bold</b> & <i>so on</i>";
        QTest::newRow("number out of range: item before stays") << qint16(13) << "" << "2 Item 2 explained.";
    }

    // Escape closes it, and Enter presses Close, from the read-only text too.
    void shows()
    {
        QFETCH(qint16, number);
        CurrentExam()->Questions().Item(12).SetExplaination(Data<QString>("stored"));
        frmExplain window;
        window.SetQuestionNumber(2);
        const Error error = TestUtil::Raised([&] { window.SetQuestionNumber(number); });
        QCOMPARE(error.Number(), number > 12 ? qint32(ErrorNumber::SubscriptOutOfRange) : 0);
        QTEST(window.windowTitle().remove("Explaination - Question: ") + " "
                + Child<QPlainTextEdit>(&window, "txtExplaination")->toPlainText(), "shown");
        for (Qt::Key key : { Qt::Key_Escape, Qt::Key_Return }) {
            window.show();
            window.activateWindow();
            QVERIFY(QTest::qWaitForWindowActive(&window));
            QTest::keyClick(QApplication::focusWidget(), key);
            QVERIFY(!window.isVisible());
        }
    }
};

QTEST_MAIN(frmExplainTest)
#include "frmExplainTest.moc"
