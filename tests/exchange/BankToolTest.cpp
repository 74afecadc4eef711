#include "common/TestUtil.h"
#include "model/Exam.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Outcome
{
    int exitCode = -1;
    QString err;
};

Outcome RunTool(const QStringList& arguments, const QString& folder)
{
    const TestUtil::RunResult run = TestUtil::Run(QStringLiteral(EXAM_TOOL), arguments, folder);
    return { run.ExitCode, QString::fromUtf8(run.Err) };
}

} // namespace

class BankToolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The command's whole standard error, its exit status and the exam it
    // writes; a failure leaves the folder as it was, an existing output included.
    void import_data()
    {
        QTest::addColumn<QByteArray>("source");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("err");
        QTest::addColumn<QString>("header");  // code|name|max|pass|duration|items; empty: nothing written

        // The defaults; the reader's notes, then the builder's, then the count.
        QTest::newRow("defaults and warnings") << QByteArray("Q \xE2\x86\x92 {=a ~b}\n\nE {}\n") << QStringList()
            << "practorium-exam: in.txt:3: skipped essay question \"E\"\n"
               "practorium-exam: in.txt:1: item 1: 1 character(s) that Windows-1252 cannot hold became \"?\"\n"
               "imported 1 items, skipped 1\n"
            << "IN|in|1000|700|1|1";
        const QByteArray good = "Q {=a ~b}\n\nE {}\n";
        QTest::newRow("options") << good
            << QStringList({ "--format", "gift", "--code", "NET-9", "--name", "Net nine", "--max-score", "500", "--pass-score", "350", "--duration", "90" })
            << "practorium-exam: in.txt:3: skipped essay question \"E\"\nimported 1 items, skipped 1\n" << "NET-9|Net nine|500|350|90|1";
        QTest::newRow("unbalanced") << QByteArray("::a:: q {=a ~b}\n\n::b:: q {=a\n") << QStringList() << "practorium-exam: in.txt:3: \"{\" without its closing \"}\"\n" << "";
        QTest::newRow("strict") << good << QStringList({ "--strict" }) << "practorium-exam: in.txt:3: skipped essay question \"E\"\n" << "";
        QTest::newRow("no item") << QByteArray("E {}\n") << QStringList() << "practorium-exam: in.txt: no question the exam file can hold\n" << "";
        QTest::newRow("score out of range") << good << QStringList({ "--max-score", "40000" })
            << "practorium-exam: usage: --max-score: expected a number from 0 to 32767 (practorium-exam import [--format aiken|gift|moodle-xml|qti|csv] [--code CODE] [--name NAME] [--max-score N] [--pass-score N] [--duration MINUTES] [--strict] SOURCE OUTPUT.exam)\n"
            << "";
        QTest::newRow("bad code") << good << QStringList({ "--code", "a/b" }) << "practorium-exam: in.txt: the code \"a/b\" cannot name exhibit files\n" << "";
    }

    void import()
    {
        QFETCH(QByteArray, source);
        QFETCH(QStringList, options);
        QFETCH(QString, err);
        QFETCH(QString, header);
        QTemporaryDir dir;
        TestUtil::WriteFile(dir.filePath(QStringLiteral("in.txt")), source);
        const QString output = TestUtil::WriteFile(dir.filePath(QStringLiteral("out.exam")), "old");

        const Outcome outcome = RunTool(QStringList(QStringLiteral("import")) + options + QStringList({ QStringLiteral("in.txt"), QStringLiteral("out.exam") }), dir.path());
        QCOMPARE(outcome.err, err);
        QCOMPARE(outcome.exitCode, header.isEmpty() ? 1 : 0);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList({ QStringLiteral("in.txt"), QStringLiteral("out.exam") }));
        if (header.isEmpty()) {
            QCOMPARE(TestUtil::ReadAll(output), QByteArray("old"));
            return;
        }
        Exam exam;
        exam.Load(output);
        QCOMPARE(QStringLiteral("%1|%2|%3|%4|%5|%6").arg(exam.Code(), exam.Name()).arg(exam.MaxScore()).arg(exam.PassScore()).arg(exam.Duration()).arg(exam.Questions().Count()), header);
    }

    // An export writes its file and, for GIFT, the exhibits it names beside it
    // (Moodle XML carries them inside); importing the Moodle XML export writes
    // them back as the new exam's exhibits.
    void exportWritesFiles()
    {
        QTemporaryDir dir;
        Exam original;
        original.Load(QStringLiteral(SAMPLE_EXAM));
        QStringList exhibits;
        for (const Question& question : original.Questions())
            exhibits.append(question.Exhibit());
        exhibits.removeAll(QString());
        const qsizetype items = exhibits.size();
        exhibits.removeDuplicates();
        QVERIFY(items > 0);
        QCOMPARE(RunTool({ "export", "--format", "gift", QStringLiteral(SAMPLE_EXAM), "prac.gift" }, dir.path()).exitCode, 0);
        QCOMPARE(RunTool({ "export", "--format", "moodle-xml", QStringLiteral(SAMPLE_EXAM), "prac.xml" }, dir.path()).exitCode, 0);
        QStringList written = exhibits + QStringList { "prac.gift", "prac.xml" };
        written.sort();
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files), written);
        for (const QString& exhibit : exhibits)
            QVERIFY(TestUtil::ReadAll(dir.filePath(exhibit)) == TestUtil::ReadAll(QFileInfo(SAMPLE_EXAM).dir().filePath(exhibit)));

        const Outcome outcome = RunTool({ "import", "prac.xml", "back.exam" }, dir.path());
        QCOMPARE(outcome.err, QStringLiteral("imported %1 items, skipped 0\n").arg(original.Questions().Count()));
        QCOMPARE(QDir(dir.path()).entryList({ "PRAC-*" }, QDir::Files).size(), items);
    }
};

QTEST_GUILESS_MAIN(BankToolTest)
#include "BankToolTest.moc"
