#include "common/FifoGuard.h"
#include "common/TestUtil.h"
#include "model/Exam.h"
#include "tools/practorium-exam/ExamJson.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

namespace {

using Outcome = TestUtil::RunResult;

Outcome RunTool(const QStringList& arguments)
{
    return TestUtil::Run(QStringLiteral(EXAM_TOOL), arguments);
}

QByteArray Header(const QByteArray& questionsJson)
{
    return R"({"code": "T-1", "name": "Tiny", "maxScore": 100, "passScore": 50, "duration": 10, "questions": )"
        + questionsJson + "}";
}

} // namespace

class ExamToolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Keys for the signing commands, and a pack signed with them.
    void initTestCase()
    {
        QCOMPARE(RunTool({ "keygen", m_dir.filePath("secret"), m_dir.filePath("public") }).ExitCode, 0);
        QCOMPARE(QFile::permissions(m_dir.filePath("secret")) & 0x0077, QFileDevice::Permissions {});
        const Outcome packed = RunTool({ "pack", "--key", m_dir.filePath("secret"), "--id", "T-1",
            Write("signed.json", Header("[]")), m_dir.filePath("signed.pack") });
        QVERIFY2(packed.ExitCode == 0, packed.Err.constData());
    }

    void roundTripIsByteExact_data()
    {
        QTest::addColumn<QByteArray>("source");
        QTest::addColumn<QByteArray>("dump"); // pinned where given
        QTest::newRow("sample exam") << TestUtil::ReadAll(SAMPLE_DIR "/PRAC-101.json") << QByteArray();
        // Item 1 spells out every key, a solution count its choices contradict, 16-bit boundaries and characters JSON
        // must escape; item 2 and its choices take the defaults. The dump is pinned: authors read dumps, key order
        // included.
        QTest::newRow("every key, then defaults") << TestUtil::ReadAll(TEST_DATA_DIR "/tool/every-key.json")
                                                  << TestUtil::ReadAll(TEST_DATA_DIR "/tool/every-key.dump.json");
        // NUL, undefined code-page bytes, blanks kept at both ends, a character outside the BMP (one "?") and one
        // outside the code page.
        QTest::newRow("odd texts and reserved block") << TestUtil::ReadAll(TEST_DATA_DIR "/tool/odd-texts.json") << QByteArray();
        QByteArray every; // U+0000 to U+00FF, each escaped: control characters must stay escaped in a dump
        for (int c = 0; c < 0x100; ++c)
            every += "\\u" + QByteArray::number(c, 16).rightJustified(4, '0');
        QTest::newRow("every character below 256") << Header(R"([ { "problem": ")" + every + R"(" } ])") << QByteArray();
    }

    void roundTripIsByteExact()
    {
        QFETCH(QByteArray, source);
        QFETCH(QByteArray, dump);
        const QByteArray first = Compile(source, "first");
        QVERIFY(!first.isEmpty());
        const Outcome dumped = RunTool({ "dump", m_dir.filePath("first.exam") });
        QCOMPARE(dumped.ExitCode, 0);
        if (!dump.isEmpty())
            QCOMPARE(dumped.Out, dump);
        QVERIFY2(std::ranges::all_of(dumped.Out, [](char byte) { return byte == '\n' || uchar(byte) >= 0x20; }), "raw control byte in the dump");
        QCOMPARE(Compile(dumped.Out, "second"), first);
    }

    // Every failure is one line naming the first fault (a JSON source's key path), and no output file is left.
    void commandErrors_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("line"); // part of it
        const QString missing = m_dir.filePath("missing");
        const auto compile = [&](const char* tag, const QByteArray& source, const QString& line) {
            QTest::newRow(tag) << QStringList { "compile", Write(QString(tag) + ".json", source), missing + ".exam" } << line;
        };
        const auto valid = [](const char* from, const char* to) { return Header("[]").replace(from, to); };
        compile("missing key", valid(R"("name": "Tiny",)", ""), "name: required key is missing");
            compile("solution flag not boolean", Header(R"([ {}, { "choices": [ {}, {}, { "isSolution": "yes" } ] } ])"),
            "questions[2].choices[3].isSolution: expected true or false");
        compile("score above 16 bits", valid(R"("maxScore": 100)", R"("maxScore": 32768)"),
            "maxScore: 32768 is outside the 16-bit range -32768 to 32767");
        compile("huge number", valid(R"("duration": 10)", R"("duration": 1e300)"), "duration: 1e+300 is outside");
        compile("not a whole number", valid(R"("passScore": 50)", R"("passScore": 1.5)"), "passScore: 1.5 is not a whole number");
        compile("base64 without padding", valid(R"("code")", R"("reserved": "QQ", "code")"), "reserved: expected base64 with padding");
        compile("misspelt key", Header(R"([ { "choice": [] } ])"), "questions[1].choice: unknown key");
        compile("question not an object", Header("[ {}, 7 ]"), "questions[2]: expected an object");
        compile("more questions than 16 bits", Header("[{}" + QByteArray(",{}").repeated(32767) + "]"), "questions: 32768 items");
        compile("invalid JSON", QByteArray("{\n  \"code\": }"), "invalid JSON at line 2, column");
        compile("top level array", QByteArray("[]"), "expected an object at the top level");
            // A pack's code names its folder and its exhibits are files beside the source.
        const auto pack = [&](const char* tag, const QByteArray& code, const QByteArray& exhibit, const QString& line) {
            const QByteArray json = Header(R"([{"exhibit": ")" + exhibit + R"("}])").replace(R"("T-1")", '"' + code + '"');
            QTest::newRow(tag) << QStringList { "pack", Write(QString(tag) + ".json", json), missing + ".exam" } << line;
        };
        pack("missing exhibit", "E-1", "absent.gif", "questions[1].exhibit: absent.gif: no such file");
        pack("exhibit up a folder", "E-1", "../pic.gif", "not a plain file name");
        pack("exhibit is the exam file", "E-1", "E-1.exam", "the exam file's own name");
        pack("code with a slash", "E/1", "", "cannot name a package folder");
        pack("code ..", "..", "", "cannot name a package folder");
        pack("code with a line break", "E\\n1", "", "cannot name a package folder");
        pack("empty code", "", "", "cannot name a package folder");
        // An import names the source's line where the format has lines.
        const auto import = [&](const char* tag, const QByteArray& source, const QStringList& options, const QString& line) {
            QTest::newRow(tag) << QStringList { "import" } + options + QStringList { Write(QString(tag) + ".txt", source), missing + ".exam" }
                               << line;
        };
        const QByteArray gift = "Q {=a ~b}\n\nE {}\n";
        import("import unbalanced", "::a:: q {=a ~b}\n\n::b:: q {=a\n", {}, "unbalanced.txt:3: \"{\" without its closing \"}\"");
        import("import strict", gift, { "--strict" }, "strict.txt:3: skipped essay question \"E\"");
        import("import no item", "E {}\n", {}, "item.txt: no question the exam file can hold");
        import("import score out of range", gift, { "--max-score", "40000" },
            "usage: --max-score: expected a number from 0 to 32767 (practorium-exam import [--format aiken|gift|moodle-xml|qti|csv]");
        const QString key = m_dir.filePath("public"), secret = m_dir.filePath("secret"), signedPack = m_dir.filePath("signed.pack");
        QTest::newRow("signed for another exam") << QStringList { "verify", "--key", key, "--id", "T-2", signedPack }
                                                 << signedPack + ": signed for another exam: T-1";
        QTest::newRow("secret key given to verify") << QStringList { "verify", "--key", secret, "--id", "T-1", signedPack }
                                                    << secret + ": not a public key file";
        QTest::newRow("keys not written over") << QStringList { "keygen", missing + ".exam", key } << key + ": already exists";
        QTest::newRow("--key without --id") << QStringList { "pack", "--key", secret, "a.json", missing + ".exam" }
                                            << "usage: practorium-exam pack [--key SECRET-KEY-FILE --id EXAM-ID] SOURCE.json OUTPUT";
        QTest::newRow("no arguments") << QStringList() << "practorium-exam: usage: practorium-exam compile";
        QTest::newRow("compile without output") << QStringList { "compile", "a.json" }
                                                << "practorium-exam: usage: practorium-exam compile SOURCE.json";
        QTest::newRow("missing source") << QStringList { "compile", missing + ".json", missing + ".exam" }
                                        << "practorium-exam: " + missing + ".json: ";
        QTest::newRow("output folder missing")
            << QStringList { "compile", QStringLiteral(SAMPLE_DIR "/PRAC-101.json"), missing + "/x.exam" }
            << "practorium-exam: Exam::Save(): System Error: 0x2 ";
        QTest::newRow("dump a folder") << QStringList { "dump", m_dir.path() } << "practorium-exam: Exam::Save(): ";
        // Neither may block in the open (the run's time limit catches it).
        const QString fifo = TestUtil::MakeFifo(m_dir.filePath("fifo"));
        QTest::newRow("dump a FIFO") << QStringList { "dump", fifo }
                                     << "practorium-exam: Exam::Save(): System Error: 0x16 Invalid argument";
        QTest::newRow("compile a FIFO") << QStringList { "compile", fifo, missing + ".exam" }
                                        << "practorium-exam: " + fifo + ": not a regular file";
        // Any damage is one line too (every kind is loaded in test_damagedexam).
        const QByteArray tiny = TestUtil::ReadAll(TEST_DATA_DIR "/tiny.exam");
        QTest::newRow("dump a file cut short") << QStringList { "dump", Write("cut.exam", tiny.left(tiny.size() / 2)) }
                                               << "practorium-exam: Exam::Save(): ";
        QTest::newRow("dump a hostile count") << QStringList { "dump", Write("hostile.exam", QByteArray(300, '\x7F')) }
                                              << "practorium-exam: Exam::Save(): The exam file is damaged: its header";
    }

    void commandErrors()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, line);
        QFile::remove(m_dir.filePath("missing.exam"));
        const Outcome outcome = RunTool(arguments);
        // Exit status 1 and one line on standard error that starts with the tool's name; nothing on standard output.
        QVERIFY2(outcome.ExitCode == 1 && outcome.Out.isEmpty() && outcome.Err.startsWith("practorium-exam: ")
                && outcome.Err.endsWith('\n') && outcome.Err.count('\n') == 1 && QString::fromUtf8(outcome.Err).contains(line),
            outcome.Err.constData());
        QVERIFY(!QFile::exists(m_dir.filePath("missing.exam")));
    }

    // An import's warnings in order (the reader's, the builder's, the count) and the header it writes: the defaults,
    // then every option.
    void importWritesExam_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("header"); // code|name|max|pass|duration|items
        QTest::newRow("defaults") << QStringList() << "IN|in|1000|700|1|1";
        QTest::newRow("options") << QStringList { "--format", "gift", "--code", "NET-9", "--name", "Net nine", "--max-score", "500",
            "--pass-score", "350", "--duration", "90" } << "NET-9|Net nine|500|350|90|1";
    }

    void importWritesExam()
    {
        QFETCH(QStringList, options);
        QTemporaryDir dir;
        TestUtil::WriteFile(dir.filePath("in.txt"), "Q \xE2\x86\x92 {=a ~b}\n\nE {}\n");
        const Outcome outcome = TestUtil::Run(EXAM_TOOL, QStringList { "import" } + options + QStringList { "in.txt", "out.exam" }, dir.path());
        QCOMPARE(outcome.Err, "practorium-exam: in.txt:3: skipped essay question \"E\"\n"
                              "practorium-exam: in.txt:1: item 1: 1 character(s) that Windows-1252 cannot hold became \"?\"\n"
                              "imported 1 items, skipped 1\n");
        QCOMPARE(outcome.ExitCode, 0);
        Exam exam;
        exam.Load(dir.filePath("out.exam"));
        QTEST(QStringLiteral("%1|%2|%3|%4|%5|%6").arg(exam.Code(), exam.Name()).arg(exam.MaxScore()).arg(exam.PassScore()).arg(exam.Duration()).arg(exam.Questions().Count()), "header");
    }

    // An export writes its file and, for GIFT, the exhibits it names beside it (Moodle XML carries them inside);
    // importing the Moodle XML export writes them back as the new exam's exhibits.
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
        QCOMPARE(RunTool({ "export", "--format", "gift", SAMPLE_EXAM, dir.filePath("prac.gift") }).ExitCode, 0);
        QCOMPARE(RunTool({ "export", "--format", "moodle-xml", SAMPLE_EXAM, dir.filePath("prac.xml") }).ExitCode, 0);
        QStringList written = exhibits + QStringList { "prac.gift", "prac.xml" };
        written.sort();
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files), written);
        for (const QString& exhibit : exhibits)
            QVERIFY(TestUtil::ReadAll(dir.filePath(exhibit)) == TestUtil::ReadAll(QFileInfo(SAMPLE_EXAM).dir().filePath(exhibit)));
        const Outcome back = RunTool({ "import", dir.filePath("prac.xml"), dir.filePath("back.exam") });
        QCOMPARE(back.Err, QStringLiteral("imported %1 items, skipped 0\n").arg(original.Questions().Count()).toUtf8());
        QVERIFY(items > 0 && QDir(dir.path()).entryList({ "PRAC-*" }, QDir::Files).size() == items);
    }

    // A dump is handed on in bounded pieces as it is made, never held whole.
    void dumpIsWrittenInPieces()
    {
        Exam exam;
        for (int q = 0; q < 3000; ++q)
            exam.Questions().Add()->SetProblem(QString(100, QLatin1Char('p')));
        QList<qsizetype> sizes;
        QByteArray json;
        ExamJson::WriteJson(exam, [&](const QByteArray& piece) {
            sizes.append(piece.size());
            json += piece;
        });
        QVERIFY(sizes.size() > 5);
        QVERIFY(*std::max_element(sizes.cbegin(), sizes.cend()) < 70000);
        Exam back;
        ExamJson::FromJson(json, back, "dump.json");
        QCOMPARE(back.Questions().Count(), 3000);
    }

private:
    QString Write(const QString& name, const QByteArray& bytes) { return TestUtil::WriteFile(m_dir.filePath(name), bytes); }

    // Compiles `json` with the tool and returns the exam file's bytes.
    QByteArray Compile(const QByteArray& json, const QString& name)
    {
        const Outcome outcome = RunTool({ "compile", Write(name + ".json", json), m_dir.filePath(name + ".exam") });
        // A failed run gives its message instead, so no stale output passes a comparison.
        return outcome.ExitCode == 0 ? TestUtil::ReadAll(m_dir.filePath(name + ".exam")) : outcome.Err;
    }
    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(ExamToolTest)
#include "ExamToolTest.moc"
