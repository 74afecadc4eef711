#include "common/FifoGuard.h"
#include "common/TestUtil.h"
#include "model/Exam.h"
#include "tools/practorium-exam/ExamJson.h"

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

// A failure is exit status 1 and exactly one line on standard error that
// starts with the tool's name; nothing on standard output.
bool IsOneLineFailure(const Outcome& outcome)
{
    return outcome.ExitCode == 1 && outcome.Out.isEmpty() && outcome.Err.startsWith("practorium-exam: ")
        && outcome.Err.endsWith('\n') && outcome.Err.count('\n') == 1;
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
    void roundTripIsByteExact_data();
    void roundTripIsByteExact();
    void compileErrors_data();
    void compileErrors();
    void commandErrors_data();
    void commandErrors();
    void dumpIsWrittenInPieces();
    void sampleExamIsConsistent();

private:
    QString Write(const QString& name, const QByteArray& bytes) { return TestUtil::WriteFile(m_dir.filePath(name), bytes); }
    QByteArray Compile(const QByteArray& json, const QString& name);
    QTemporaryDir m_dir;
};

// Compiles `json` with the tool and returns the exam file's bytes.
QByteArray ExamToolTest::Compile(const QByteArray& json, const QString& name)
{
    const Outcome outcome = RunTool({ "compile", Write(name + ".json", json), m_dir.filePath(name + ".exam") });
    // A failed run gives its message instead, so no stale output passes a comparison.
    return outcome.ExitCode == 0 ? TestUtil::ReadAll(m_dir.filePath(name + ".exam")) : outcome.Err;
}

void ExamToolTest::roundTripIsByteExact_data()
{
    QTest::addColumn<QByteArray>("source");
    QTest::addColumn<QByteArray>("dump"); // pinned where given
    QTest::newRow("sample exam") << TestUtil::ReadAll(SAMPLE_DIR "/PRAC-101.json") << QByteArray();
    // Item 1 spells out every key, a solution count its choices contradict, 16-bit
    // boundaries and characters JSON must escape; item 2 and its choices take the defaults.
    // The dump is pinned: authors read dumps, key order included.
    QTest::newRow("every key, then defaults") << TestUtil::ReadAll(TEST_DATA_DIR "/tool/every-key.json")
                                              << TestUtil::ReadAll(TEST_DATA_DIR "/tool/every-key.dump.json");
    // NUL, undefined code-page bytes, blanks kept at both ends, a character
    // outside the BMP (one "?") and one outside the code page.
    QTest::newRow("odd texts and reserved block") << Header(R"([
        { "exhibit": "x\ud83d\ude00y.gif", "problem": "a\u0000b\u0081c\u008dd", "explanation": "  \u2603 padded  ",
          "choices": [ { "statement": "\u0000" }, { "isSolution": true, "statement": "\u00e9\u20ac" } ] } ])")
            .replace(R"("questions")", R"("reserved": "/wABgQ==", "questions")") << QByteArray();
    QByteArray every; // U+0000 to U+00FF, each escaped: control characters must stay escaped in a dump
    for (int c = 0; c < 0x100; ++c)
        every += "\\u" + QByteArray::number(c, 16).rightJustified(4, '0');
    QTest::newRow("every character below 256") << Header(R"([ { "problem": ")" + every + R"(" } ])") << QByteArray();
}

void ExamToolTest::roundTripIsByteExact()
{
    QFETCH(QByteArray, source);
    QFETCH(QByteArray, dump);
    const QByteArray first = Compile(source, "first");
    QVERIFY(!first.isEmpty());
    const Outcome dumped = RunTool({ "dump", m_dir.filePath("first.exam") });
    QCOMPARE(dumped.ExitCode, 0);
    if (!dump.isEmpty())
        QCOMPARE(dumped.Out, dump);
    for (const char byte : dumped.Out)
        QVERIFY2(byte == '\n' || uchar(byte) >= 0x20, "raw control byte in the dump");
    QCOMPARE(Compile(dumped.Out, "second"), first);
}

void ExamToolTest::compileErrors_data()
{
    QTest::addColumn<QByteArray>("source");
    QTest::addColumn<QString>("description");
    auto valid = [](const char* from, const char* to) { return Header("[]").replace(from, to); };
    QTest::newRow("missing key") << valid(R"("name": "Tiny",)", "") << "name: required key is missing";
    QTest::newRow("code not a string") << valid(R"("T-1")", "5") << "code: expected a string";
    QTest::newRow("solution flag not boolean")
        << Header(R"([ {}, { "choices": [ {}, {}, { "isSolution": "yes" } ] } ])")
        << "questions[2].choices[3].isSolution: expected true or false";
    QTest::newRow("score above 16 bits") << valid(R"("maxScore": 100)", R"("maxScore": 32768)")
                                         << "maxScore: 32768 is outside the 16-bit range -32768 to 32767";
    QTest::newRow("number below 16 bits") << Header(R"([ { "number": -32769 } ])") << "questions[1].number: -32769";
    QTest::newRow("huge number") << valid(R"("duration": 10)", R"("duration": 1e300)") << "duration: 1e+300 is outside";
    QTest::newRow("not a whole number") << valid(R"("passScore": 50)", R"("passScore": 1.5)")
                                        << "passScore: 1.5 is not a whole number";
    QTest::newRow("base64 without padding") << valid(R"("code")", R"("reserved": "QQ", "code")")
                                            << "reserved: expected base64 with padding";
    QTest::newRow("misspelt key") << Header(R"([ { "choice": [] } ])") << "questions[1].choice: unknown key";
    QTest::newRow("question not an object") << Header("[ {}, 7 ]") << "questions[2]: expected an object";
    QByteArray tooMany = "[{}";
    for (int i = 0; i < 32767; ++i)
        tooMany += ",{}";
    QTest::newRow("more questions than 16 bits") << Header(tooMany + "]") << "questions: 32768 items";
    QTest::newRow("invalid JSON") << QByteArray("{\n  \"code\": }") << "invalid JSON at line 2, column";
    QTest::newRow("top level array") << QByteArray("[]") << "expected an object at the top level";
    QTest::newRow("empty file") << QByteArray() << "invalid JSON at line 1, column 1";
}

// The JSON reader names the key path of the first fault; the command's one
// line around it is checked below.
void ExamToolTest::compileErrors()
{
    QFETCH(QByteArray, source);
    QFETCH(QString, description);
    Exam exam;
    const Error e = TestUtil::Raised([&] { ExamJson::FromJson(source, exam, "bad.json"); });
    QCOMPARE(e.Source(), QString("bad.json"));
    QVERIFY2(e.Description().startsWith(description), qPrintable(e.Description()));
}

void ExamToolTest::commandErrors_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("start");
    const QString missing = m_dir.filePath("missing");
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
    // The source is read whole before the output is opened.
    const QString faulty = Write("faulty.json", Header("[ 7 ]"));
    QTest::newRow("faulty source") << QStringList { "compile", faulty, missing + ".exam" }
                                   << "practorium-exam: " + faulty + ": questions[1]: expected an object";
    // Any damage is one line too (every kind is loaded in test_damagedexam).
    const QByteArray tiny = TestUtil::ReadAll(TEST_DATA_DIR "/tiny.exam");
    QTest::newRow("dump a file cut short") << QStringList { "dump", Write("cut.exam", tiny.left(tiny.size() / 2)) }
                                           << "practorium-exam: Exam::Save(): ";
    QTest::newRow("dump a hostile count") << QStringList { "dump", Write("hostile.exam", QByteArray(300, '\x7F')) }
                                          << "practorium-exam: Exam::Save(): The exam file is damaged: its header";
}

void ExamToolTest::commandErrors()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, start);
    QFile::remove(m_dir.filePath("missing.exam"));
    const Outcome outcome = RunTool(arguments);
    QVERIFY2(IsOneLineFailure(outcome), outcome.Err.constData());
    QVERIFY2(QString::fromUtf8(outcome.Err).startsWith(start), outcome.Err.constData());
    QVERIFY(!QFile::exists(m_dir.filePath("missing.exam")));
}

// A dump is handed on in bounded pieces as it is made, never held whole.
void ExamToolTest::dumpIsWrittenInPieces()
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

// Content mistakes the compiler cannot see: a missing picture, an item with no
// key, a hint on an item the session would treat as single-answer.
void ExamToolTest::sampleExamIsConsistent()
{
    Exam exam;
    ExamJson::FromJson(TestUtil::ReadAll(SAMPLE_DIR "/PRAC-101.json"), exam, "PRAC-101.json");
    QVERIFY(exam.Questions().Count() >= 25);
    for (const Question& question : exam.Questions()) {
        const QByteArray item = QByteArray::number(question.Number());
        QVERIFY2(question.AnswerCount() >= 1, item);
        QVERIFY2(!question.HasHint() || question.AnswerCount() >= 2, item);
        QVERIFY2(!question.HasExhibit() || QFileInfo(SAMPLE_DIR "/" + question.Exhibit()).size() > 0, item);
    }
}

QTEST_GUILESS_MAIN(ExamToolTest)
#include "ExamToolTest.moc"
