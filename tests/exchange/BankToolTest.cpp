#include "common/TestUtil.h"
#include "model/Exam.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Outcome
{
    int exitCode = -1;
    QString err;
};

// A run that does not end within ten seconds counts as a failure to end.
Outcome RunTool(const QStringList& arguments, const QString& folder)
{
    QProcess process;
    process.setWorkingDirectory(folder);
    process.start(QStringLiteral(EXAM_TOOL), arguments);
    if (!process.waitForFinished(10000)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    return { process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
        QString::fromUtf8(process.readAllStandardError()) };
}

QString Sample(const QString& name)
{
    return QStringLiteral(TEST_DATA_DIR "/banks/") + name;
}

} // namespace

class BankToolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void importReportsEachSkipAndWarning();
    void importOptions();
    void failuresWriteNothing_data();
    void failuresWriteNothing();
    void exportedGiftImportsBack();
};

void BankToolTest::importReportsEachSkipAndWarning()
{
    QTemporaryDir dir;
    QVERIFY(QFile::copy(Sample(QStringLiteral("networking.gift")), dir.filePath(QStringLiteral("net.gift"))));
    const Outcome outcome = RunTool({ QStringLiteral("import"), QStringLiteral("net.gift"), QStringLiteral("out.exam") }, dir.path());
    QCOMPARE(outcome.err,
        QStringLiteral("practorium-exam: net.gift:46: skipped short answer question \"Which TCP port does SSH listen on by def\"\n"
                       "practorium-exam: net.gift:48: skipped matching question \"Match each protocol with its layer.\"\n"
                       "practorium-exam: net.gift:54: skipped numerical question \"What is the usual Ethernet MTU in bytes?\"\n"
                       "practorium-exam: net.gift:56: skipped essay question \"Describe how ARP resolves an address on \"\n"
                       "practorium-exam: net.gift:58: skipped missing word question \"The command _____ replaces the older net\"\n"
                       "practorium-exam: net.gift:60: skipped description question \"This paragraph has no answer block and i\"\n"
                       "practorium-exam: net.gift:40: item 8: 1 character(s) that Windows-1252 cannot hold became \"?\"\n"
                       "imported 8 items, skipped 6\n"));
    QCOMPARE(outcome.exitCode, 0);
    Exam exam;
    exam.Load(dir.filePath(QStringLiteral("out.exam")));
    QCOMPARE(exam.Code(), QStringLiteral("NET"));
    QCOMPARE(exam.Name(), QStringLiteral("net"));
    QCOMPARE(exam.Duration(), qint16(8));
    QCOMPARE(exam.Questions().Count(), 8);
    QCOMPARE(exam.Questions().Item(8).Problem(), QStringLiteral("Which arrow means \"becomes\" in the notes ? here? (Latin-1 \u00E9 stays)"));
    QVERIFY(exam.Questions().Item(2).HasHint());
}

void BankToolTest::importOptions()
{
    QTemporaryDir dir;
    const Outcome outcome = RunTool({ QStringLiteral("import"), QStringLiteral("--format"), QStringLiteral("csv"),
                                        QStringLiteral("--code"), QStringLiteral("NET-9"), QStringLiteral("--name"), QStringLiteral("Net nine"),
                                        QStringLiteral("--max-score"), QStringLiteral("500"), QStringLiteral("--pass-score"), QStringLiteral("350"),
                                        QStringLiteral("--duration"), QStringLiteral("90"), Sample(QStringLiteral("networking.csv")), QStringLiteral("n.exam") },
        dir.path());
    QCOMPARE(outcome.exitCode, 0);
    QVERIFY(outcome.err.endsWith(QStringLiteral("imported 3 items, skipped 0\n")));
    Exam exam;
    exam.Load(dir.filePath(QStringLiteral("n.exam")));
    QCOMPARE(QStringList({ exam.Code(), exam.Name() }), QStringList({ QStringLiteral("NET-9"), QStringLiteral("Net nine") }));
    QCOMPARE(QList<qint16>({ exam.MaxScore(), exam.PassScore(), exam.Duration() }), QList<qint16>({ 500, 350, 90 }));
}

// Every failure is exit 1 with one line naming the file (and line), and
// leaves the folder as it was: an existing output is not touched.
void BankToolTest::failuresWriteNothing_data()
{
    QTest::addColumn<QByteArray>("source");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("error");
    const QByteArray good = "Q {=a ~b}\n\nE {}\n";
    QTest::newRow("unbalanced") << QByteArray("::a:: q {=a ~b}\n\n::b:: q {=a\n") << QStringList() << "practorium-exam: in.txt:3: \"{\" without its closing \"}\"";
    QTest::newRow("strict") << good << QStringList({ QStringLiteral("--strict") }) << "practorium-exam: in.txt:3: skipped essay question \"E\"";
    QTest::newRow("no item") << QByteArray("E {}\n") << QStringList() << "practorium-exam: in.txt: no question the exam file can hold";
    QTest::newRow("wrong format") << good << QStringList({ QStringLiteral("--format"), QStringLiteral("aiken") }) << "practorium-exam: in.txt:1: question without an \"ANSWER:\" line";
    QTest::newRow("unknown format") << good << QStringList({ QStringLiteral("--format"), QStringLiteral("docx") })
                                    << "practorium-exam: usage: --format: unknown format \"docx\" (practorium-exam import [--format aiken|gift|moodle-xml|qti|csv] [--code CODE] [--name NAME] [--max-score N] [--pass-score N] [--duration MINUTES] [--strict] SOURCE OUTPUT.exam)";
    QTest::newRow("score out of range") << good << QStringList({ QStringLiteral("--max-score"), QStringLiteral("40000") })
                                        << "practorium-exam: usage: --max-score: expected a number from 0 to 32767 (practorium-exam import [--format aiken|gift|moodle-xml|qti|csv] [--code CODE] [--name NAME] [--max-score N] [--pass-score N] [--duration MINUTES] [--strict] SOURCE OUTPUT.exam)";
    QTest::newRow("bad code") << good << QStringList({ QStringLiteral("--code"), QStringLiteral("a/b") }) << "practorium-exam: in.txt: the code \"a/b\" cannot name exhibit files";
    QTest::newRow("not a picture, not text") << QByteArray("\xFF\xD8\xFF\xE0garbage{}", 14) << QStringList() << "practorium-exam: in.txt: no question the exam file can hold";
}

void BankToolTest::failuresWriteNothing()
{
    QFETCH(QByteArray, source);
    QFETCH(QStringList, options);
    QFETCH(QString, error);
    QTemporaryDir dir;
    QFile file(dir.filePath(QStringLiteral("in.txt")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(source) == source.size());
    file.close();
    QFile existing(dir.filePath(QStringLiteral("out.exam")));
    QVERIFY(existing.open(QIODevice::WriteOnly) && existing.write("old") == 3);
    existing.close();

    const Outcome outcome = RunTool(QStringList(QStringLiteral("import")) + options + QStringList({ QStringLiteral("in.txt"), QStringLiteral("out.exam") }), dir.path());
    QCOMPARE(outcome.err, error + u'\n');
    QCOMPARE(outcome.exitCode, 1);
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList({ QStringLiteral("in.txt"), QStringLiteral("out.exam") }));
    QCOMPARE(TestUtil::ReadAll(existing.fileName()), QByteArray("old"));
}

// The sample exam exported to GIFT names its exhibits and copies them beside
// the output; importing that file gives an exam of the same items.
void BankToolTest::exportedGiftImportsBack()
{
    QTemporaryDir dir;
    const QString gift = dir.filePath(QStringLiteral("prac.gift"));
    Outcome outcome = RunTool({ QStringLiteral("export"), QStringLiteral("--format"), QStringLiteral("gift"), QStringLiteral(SAMPLE_EXAM), gift }, dir.path());
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.exitCode, 0);
    Exam original;
    original.Load(QStringLiteral(SAMPLE_EXAM));
    int exhibits = 0;
    for (const Question& question : original.Questions()) {
        if (question.HasExhibit()) {
            ++exhibits;
            QVERIFY2(QFileInfo::exists(dir.filePath(question.Exhibit())), qPrintable(question.Exhibit()));
            QVERIFY(TestUtil::ReadAll(gift).contains("<img src=\"" + question.Exhibit().toUtf8() + "\"/>"));
        }
    }
    QVERIFY(exhibits > 0);

    outcome = RunTool({ QStringLiteral("import"), gift, QStringLiteral("back.exam") }, dir.path());
    QCOMPARE(outcome.exitCode, 0);
    QCOMPARE(outcome.err.count(QStringLiteral("picture(s) left out")), exhibits);
    Exam back;
    back.Load(dir.filePath(QStringLiteral("back.exam")));
    QCOMPARE(back.Questions().Count(), original.Questions().Count());

    outcome = RunTool({ QStringLiteral("export"), QStringLiteral("--format"), QStringLiteral("qti"), QStringLiteral(SAMPLE_EXAM), gift }, dir.path());
    QCOMPARE(outcome.exitCode, 1);
}

QTEST_GUILESS_MAIN(BankToolTest)
#include "BankToolTest.moc"
