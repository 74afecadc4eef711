#include "model/Error.h"
#include "model/Exam.h"
#include "session/frmExplain.h"
#include "shell/Globals.h"

#include <QPlainTextEdit>
#include <QTest>

#include <memory>

class frmExplainTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { CurrentExam().reset(); }
    void showsExplanation_data();
    void showsExplanation();
    void closes_data();
    void closes();
    void numberOutOfRange();

private:
    static QString Shown(frmExplain& w) { return w.findChild<QPlainTextEdit*>("txtExplaination")->toPlainText(); }
};

void frmExplainTest::init()
{
    CurrentExam() = std::make_shared<Exam>();
    for (int i = 1; i <= 12; ++i)
        CurrentExam()->Questions().Add()->SetExplaination(QStringLiteral("Item %1 explained.").arg(i));
    CurrentExam()->Questions().ResetNumbers();
}

void frmExplainTest::showsExplanation_data()
{
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QString>("shown");
    const QString sorry = QStringLiteral("Sorry! Explaination is not available for this question.");
    QTest::newRow("blanks trimmed, inner breaks kept")
        << "   Option B is right.\r\n\r\nThe others are not.  " << "Option B is right.\n\nThe others are not.";
    QTest::newRow("only blanks") << "     " << sorry;
    QTest::newRow("markup is plain text") << "<b>not bold</b> & <i>so on</i>" << "<b>not bold</b> & <i>so on</i>";
}

void frmExplainTest::showsExplanation()
{
    QFETCH(QString, stored);
    CurrentExam()->Questions().Item(12).SetExplaination(stored);
    frmExplain window;
    window.SetQuestionNumber(12);
    QCOMPARE(window.windowTitle(), QStringLiteral("Explaination - Question: 12"));
    QTEST(Shown(window), "shown");
}

void frmExplainTest::closes_data()
{
    QTest::addColumn<int>("key");
    QTest::newRow("Escape") << int(Qt::Key_Escape);
    QTest::newRow("Enter presses Close") << int(Qt::Key_Return);
}

void frmExplainTest::closes()
{
    QFETCH(int, key);
    frmExplain window;
    window.SetQuestionNumber(3);
    window.show();
    window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    // To whatever has the focus: the read-only text must pass the key on.
    QTest::keyClick(QApplication::focusWidget(), Qt::Key(key));
    QVERIFY(!window.isVisible());
}

void frmExplainTest::numberOutOfRange()
{
    frmExplain window;
    window.SetQuestionNumber(2);
    try {
        window.SetQuestionNumber(13);
        QFAIL("no error raised");
    } catch (const Error& e) {
        QCOMPARE(e.Number(), ErrorNumber::SubscriptOutOfRange);
    }
    QCOMPARE(window.windowTitle(), QStringLiteral("Explaination - Question: 2")); // the item before stays
    QCOMPARE(Shown(window), QStringLiteral("Item 2 explained."));
}

QTEST_MAIN(frmExplainTest)
#include "frmExplainTest.moc"
