#include "common/TestUtil.h"
#include "model/Common.h"
#include "model/Error.h"

#include <QTest>

#include <cerrno>

using TestUtil::Raised;

class CommonTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void formatText();
    void smallHelpers();
    void errors();
    void syncShell();
    void splitCommandLine();
};

// Placeholders are replaced once, left to right, by number; "{CRLF}" in any
// case is a line break.
void CommonTest::formatText()
{
    QCOMPARE(FormatText("{1}{CRLF}{2}{crlf}", { 7, qint16(50) }), QString("7\r\n50\r\n"));
    QCOMPARE(FormatText("{1}", { "{2}", "x" }), QString("x")); // a value holding the next placeholder
    QCOMPARE(FormatText("{1}{2}", { "a", "{1}" }), QString("a{1}")); // a later value is not expanded again
    QCOMPARE(FormatText("{1} {3}", { "a", "b" }), QString("a {3}"));
    QCOMPARE(FormatText("{10}{1}", { "v" }), QString("{10}v"));
}

void CommonTest::smallHelpers()
{
    QString text = "ab" + QString(QChar(0)) + "c" + QString(QChar(0));
    QCOMPARE(TrimNull(text), QString("ab"));
    QCOMPARE(text, QString("ab")); // trimmed in place too
    text = QString(QChar(0)) + "abc";
    QCOMPARE(TrimNull(text), QString());
    QCOMPARE(ShiftLeft(40, 16), 0x00280000); // the key length word
    QCOMPARE(ShiftLeft(-1, 3), -8);
    QCOMPARE(ShiftLeft(5, -1), 2); // a right shift rounds half to even
    QCOMPARE(Raised([] { ShiftLeft(1, 31); }).Number(), ErrorNumber::Overflow);
    QVERIFY(IsBlank("   ") && !IsBlank(" a ") && !IsBlank("\t")); // only spaces are blanks
    QCOMPARE(TrimBlanks(" \t a b  "), QString("\t a b"));
    QCOMPARE(Percentage(1, 4), 25.0f);
    QCOMPARE(PercentOf(200, 15), 30.0f);
    QCOMPARE(FormatDuration(86399), QString("23:59:59"));
    QCOMPARE(FormatDuration(100 * 3600 + 5), QString("100:00:05"));
}

void CommonTest::errors()
{
    QCOMPARE(SystemErrorText(ENOENT), QString("No such file or directory"));
    QCOMPARE(SystemErrorText(2250), QString("Unknown error")); // no table for the network range here
    CheckApiResult(true);
    errno = EACCES;
    const Error e = Raised([] { CheckApiResult(false); });
    QCOMPARE(e.Number(), EACCES);
    QCOMPARE(e.Description(), QString("System Error: 0xD\nPermission denied"));
    const QString command = "/nonexistent/practorium-no-such-tool --flag";
    const Error shell = Raised([&] { SyncShell(command); });
    QCOMPARE(shell.Number(), ErrorNumber::InvalidCall);
    QCOMPARE(shell.Source(), QString("SyncShell()"));
    QCOMPARE(shell.Description(), "Unable to execute command " + command);
}

// The exit code comes back, a quoted argument stays whole, a child killed
// by a signal gives -1.
void CommonTest::syncShell()
{
    QCOMPARE(SyncShell("sh -c 'exit 42'"), 42);
    QCOMPARE(SyncShell("sh -c \"test 'a b' = 'a b'\""), 0);
    QCOMPARE(SyncShell("sh -c 'kill -9 $$'"), -1);
}

// As a POSIX shell splits words, without expansions.
void CommonTest::splitCommandLine()
{
    QCOMPARE(SplitCommandLine("  a\\ b   c\t"), QStringList({ "a b", "c" }));
    QCOMPARE(SplitCommandLine("x 'a \\\" b'"), QStringList({ "x", "a \\\" b" }));
    QCOMPARE(SplitCommandLine("\"a \\\"q\\\" \\n\""), QStringList({ "a \"q\" \\n" }));
    QCOMPARE(SplitCommandLine("a '' pre'mid'\"post\""), QStringList({ "a", "", "premidpost" }));
}

QTEST_GUILESS_MAIN(CommonTest)
#include "CommonTest.moc"
