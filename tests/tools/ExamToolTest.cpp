#include "common/TestUtil.h"
#include "model/Exam.h"
#include "tests/common/DamagedVariants.h"
#include "tools/practorium-exam/ExamJson.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Outcome
{
    bool Finished = false;
    QProcess::ExitStatus Status = QProcess::CrashExit;
    int ExitCode = -1;
    QByteArray Out;
    QByteArray Err;
};

// Runs the tool; a run that does not end within the limit is killed and
// reported as not finished.
Outcome RunTool(const QStringList& arguments, int timeoutMs = 10000)
{
    QProcess process;
    process.start(QStringLiteral(EXAM_TOOL), arguments);
    Outcome outcome;
    outcome.Finished = process.waitForFinished(timeoutMs);
    if (!outcome.Finished) {
        process.kill();
        process.waitForFinished(timeoutMs);
    }
    outcome.Status = process.exitStatus();
    outcome.ExitCode = process.exitCode();
    outcome.Out = process.readAllStandardOutput();
    outcome.Err = process.readAllStandardError();
    return outcome;
}

// A failure is exit status 1 and exactly one line on standard error that
// starts with the tool's name; nothing on standard output.
bool IsOneLineFailure(const Outcome& outcome)
{
    return outcome.Finished && outcome.Status == QProcess::NormalExit && outcome.ExitCode == 1
        && outcome.Out.isEmpty() && outcome.Err.startsWith("practorium-exam: ") && outcome.Err.endsWith('\n')
        && outcome.Err.count('\n') == 1;
}

QByteArray Header(const QByteArray& extraQuestionsJson)
{
    return QByteArray(R"({"code": "T-1", "name": "Tiny", "maxScore": 100, "passScore": 50, "duration": 10, "questions": )")
        + extraQuestionsJson + "}";
}

} // namespace

class ExamToolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void dumpLayoutAndDefaults();
    void roundTripIsByteExact_data();
    void roundTripIsByteExact();
    void nonCanonicalBooleanComesBackCanonical();
    void compileErrors_data();
    void compileErrors();
    void commandErrors_data();
    void commandErrors();
    void dumpSurvivesDamagedFiles();
    void sampleExamIsConsistent();

private:
    QString Write(const QString& name, const QByteArray& bytes);
    QByteArray Compile(const QByteArray& json, const QString& name);
    QTemporaryDir m_dir;
};

QString ExamToolTest::Write(const QString& name, const QByteArray& bytes)
{
    QFile file(m_dir.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write fixture");
    return file.fileName();
}

// Compiles `json` with the tool and returns the exam file's bytes.
QByteArray ExamToolTest::Compile(const QByteArray& json, const QString& name)
{
    const Outcome outcome = RunTool({ "compile", Write(name + ".json", json), m_dir.filePath(name + ".exam") });
    if (!outcome.Finished || outcome.ExitCode != 0 || !outcome.Err.isEmpty())
        qWarning("compile failed: %s", outcome.Err.constData());
    return TestUtil::ReadAll(m_dir.filePath(name + ".exam"));
}

void ExamToolTest::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY(QFile::exists(QStringLiteral(EXAM_TOOL)));
}

void ExamToolTest::dumpLayoutAndDefaults()
{
    // Question 1 spells out every key, with a stored solution count that the
    // choices contradict, 16-bit boundary values and characters JSON must
    // escape; question 2 and its choices lean on the defaults. The exact text
    // matters: authors read dumps, and a parsed comparison cannot see key order.
    Compile(R"({
        "reserved": "AAEC/w==", "code": "ABC-101", "name": "Sample",
        "maxScore": 32767, "passScore": -32768, "duration": 0,
        "questions": [
          { "number": -32768, "solutionCount": 3, "hasHint": true, "exhibit": "a.gif",
            "problem": "q\"\\/\t\u0000\u0081", "explanation": "  E  ",
            "choices": [ { "number": 7, "isSolution": true, "statement": "S" } ] },
          { "choices": [ {}, { "isSolution": true }, { "isSolution": true } ] },
          {}
        ] })",
        "every-key");
    const Outcome dump = RunTool({ "dump", m_dir.filePath("every-key.exam") });
    QCOMPARE(dump.ExitCode, 0);
    QCOMPARE(dump.Out, QByteArray(R"({
  "reserved": "AAEC/w==",
  "code": "ABC-101",
  "name": "Sample",
  "maxScore": 32767,
  "passScore": -32768,
  "duration": 0,
  "questions": [
    {
      "number": -32768,
      "solutionCount": 3,
      "hasHint": true,
      "exhibit": "a.gif",
      "problem": "q\"\\/\t\u0000\u0081",
      "explanation": "  E  ",
      "choices": [
        { "number": 7, "isSolution": true, "statement": "S" }
      ]
    },
    {
      "number": 2,
      "solutionCount": 2,
      "hasHint": false,
      "exhibit": "",
      "problem": "",
      "explanation": "",
      "choices": [
        { "number": 1, "isSolution": false, "statement": "" },
        { "number": 2, "isSolution": true, "statement": "" },
        { "number": 3, "isSolution": true, "statement": "" }
      ]
    },
    {
      "number": 3,
      "solutionCount": 0,
      "hasHint": false,
      "exhibit": "",
      "problem": "",
      "explanation": "",
      "choices": []
    }
  ]
}
)"));
}

void ExamToolTest::roundTripIsByteExact_data()
{
    QTest::addColumn<QByteArray>("source");
    QFile sample(QStringLiteral(SAMPLE_DIR "/PRAC-101.json"));
    QVERIFY(sample.open(QIODevice::ReadOnly));
    QTest::newRow("sample exam") << sample.readAll();
    // NUL, an undefined code-page byte, blanks kept at both ends, a character
    // outside the BMP (one "?") and one outside the code page.
    QTest::newRow("odd texts and reserved block") << Header(R"([
        { "exhibit": "x\ud83d\ude00y.gif", "problem": "a\u0000b\u0081c\u008dd",
          "explanation": "  \u2603 padded  ",
          "choices": [ { "statement": "\u0000" }, { "isSolution": true, "statement": "\u00e9\u20ac" } ] } ])")
                                                          .replace(R"("questions")", R"("reserved": "/wABgQ==", "questions")");
    QTest::newRow("no questions") << Header("[]");
    QByteArray every; // U+0000 to U+00FF, each escaped: control characters must stay escaped in a dump
    for (int c = 0; c < 0x100; ++c)
        every += "\\u" + QByteArray::number(c, 16).rightJustified(4, '0');
    QTest::newRow("every character below 256") << Header(R"([ { "problem": ")" + every + R"(" } ])");
}

void ExamToolTest::roundTripIsByteExact()
{
    QFETCH(QByteArray, source);
    const QByteArray first = Compile(source, "first");
    QVERIFY(!first.isEmpty());
    const Outcome dump = RunTool({ "dump", m_dir.filePath("first.exam") });
    QCOMPARE(dump.ExitCode, 0);
    for (const char byte : dump.Out)
        QVERIFY2(byte == '\n' || uchar(byte) >= 0x20, "raw control byte in the dump");
    QCOMPARE(Compile(dump.Out, "second"), first);
}

void ExamToolTest::nonCanonicalBooleanComesBackCanonical()
{
    QByteArray bytes = Compile(Header(R"([ { "hasHint": true } ])"), "hint");
    // Header 4 + 7 + 8 + 6, question count 4, number 2, solution count 2.
    const qsizetype hint = 4 + (4 + 3) + (4 + 4) + 6 + 4 + 2 + 2;
    QCOMPARE(bytes.mid(hint, 4), QByteArray::fromHex("ffff0000"));

    bytes.replace(hint, 4, QByteArray::fromHex("01000000"));
    const Outcome dump = RunTool({ "dump", Write("odd-hint.exam", bytes) });
    QCOMPARE(dump.ExitCode, 0);
    const QByteArray again = Compile(dump.Out, "canonical");
    QCOMPARE(again.mid(hint, 4), QByteArray::fromHex("ffff0000"));
}

void ExamToolTest::compileErrors_data()
{
    QTest::addColumn<QByteArray>("source");
    QTest::addColumn<QString>("description");

    const QByteArray valid = Header("[]");
    QTest::newRow("missing name") << QByteArray(valid).replace(R"("name": "Tiny",)", "")
                                  << "name: required key is missing";
    QTest::newRow("missing questions") << QByteArray(valid).replace(R"(, "questions": [])", "")
                                       << "questions: required key is missing";
    QTest::newRow("code not a string") << QByteArray(valid).replace(R"("T-1")", "5") << "code: expected a string";
    QTest::newRow("solution flag not boolean")
        << Header(R"([ {}, { "choices": [ {}, {}, { "isSolution": "yes" } ] } ])")
        << "questions[2].choices[3].isSolution: expected true or false";
    QTest::newRow("score above 16 bits") << QByteArray(valid).replace(R"("maxScore": 100)", R"("maxScore": 32768)")
                                         << "maxScore: 32768 is outside the 16-bit range -32768 to 32767";
    QTest::newRow("number below 16 bits") << Header(R"([ { "number": -32769 } ])")
                                          << "questions[1].number: -32769 is outside";
    QTest::newRow("huge number") << QByteArray(valid).replace(R"("duration": 10)", R"("duration": 1e300)") << "duration: 1e+300 is outside";
    QTest::newRow("not a whole number") << QByteArray(valid).replace(R"("passScore": 50)", R"("passScore": 1.5)")
                                        << "passScore: 1.5 is not a whole number";
    QTest::newRow("number as text") << Header(R"([ { "solutionCount": "1" } ])")
                                    << "questions[1].solutionCount: expected a whole number";
    QTest::newRow("base64 without padding") << QByteArray(valid).replace(R"("code")", R"("reserved": "QQ", "code")")
                                            << "reserved: expected base64 with padding";
    QTest::newRow("base64 stray characters") << QByteArray(valid).replace(R"("code")", R"("reserved": "Q@==", "code")")
                                             << "reserved: expected base64 with padding";
    QTest::newRow("misspelt key") << Header(R"([ { "choice": [] } ])") << "questions[1].choice: unknown key";
    QTest::newRow("question not an object") << Header("[ {}, 7 ]") << "questions[2]: expected an object";
    QTest::newRow("choices not an array") << Header(R"([ { "choices": {} } ])")
                                          << "questions[1].choices: expected an array";
    QByteArray tooMany = "[{}";
    for (int i = 0; i < 32767; ++i)
        tooMany += ",{}";
    QTest::newRow("more questions than 16 bits") << Header(tooMany + "]") << "questions: 32768 items";
    QTest::newRow("invalid JSON") << QByteArray("{\n  \"code\": }") << "invalid JSON at line 2, column";
    QTest::newRow("top level array") << QByteArray("[]") << "expected an object at the top level";
    QTest::newRow("empty file") << QByteArray() << "invalid JSON at line 1, column 1";
}

void ExamToolTest::compileErrors()
{
    QFETCH(QByteArray, source);
    QFETCH(QString, description);
    const QString sourcePath = Write("bad.json", source);
    const QString output = m_dir.filePath("bad.exam");
    QFile::remove(output);

    const Outcome outcome = RunTool({ "compile", sourcePath, output });
    QVERIFY2(IsOneLineFailure(outcome), outcome.Err.constData());
    const QString expectedStart = "practorium-exam: " + sourcePath + ": " + description;
    QVERIFY2(QString::fromUtf8(outcome.Err).startsWith(expectedStart), outcome.Err.constData());
    QVERIFY(!QFile::exists(output));
}

void ExamToolTest::commandErrors_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("start");

    const QString missing = m_dir.filePath("missing");
    QTest::newRow("no arguments") << QStringList() << "practorium-exam: usage: practorium-exam compile";
    QTest::newRow("unknown command") << QStringList { "build" } << "practorium-exam: usage: ";
    QTest::newRow("compile without output") << QStringList { "compile", "a.json" }
                                            << "practorium-exam: usage: practorium-exam compile SOURCE.json";
    QTest::newRow("pack without output") << QStringList { "pack", "a.json" }
                                        << "practorium-exam: usage: practorium-exam pack SOURCE.json OUTPUT";
    QTest::newRow("missing source") << QStringList { "compile", missing + ".json", missing + ".exam" }
                                    << "practorium-exam: " + missing + ".json: ";
    QTest::newRow("output folder missing")
        << QStringList { "compile", QStringLiteral(SAMPLE_DIR "/PRAC-101.json"), missing + "/x.exam" }
        << "practorium-exam: Exam::Save(): System Error: 0x2 ";
    QTest::newRow("output is a folder")
        << QStringList { "compile", QStringLiteral(SAMPLE_DIR "/PRAC-101.json"), m_dir.path() }
        << "practorium-exam: Exam::Save(): ";
    QTest::newRow("dump missing file") << QStringList { "dump", missing + ".exam" } << "practorium-exam: Exam::Save(): ";
    QTest::newRow("dump a folder") << QStringList { "dump", m_dir.path() } << "practorium-exam: Exam::Save(): ";
}

void ExamToolTest::commandErrors()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, start);
    const Outcome outcome = RunTool(arguments);
    QVERIFY2(IsOneLineFailure(outcome), outcome.Err.constData());
    QVERIFY2(QString::fromUtf8(outcome.Err).startsWith(start), outcome.Err.constData());
}

void ExamToolTest::dumpSurvivesDamagedFiles()
{
    const QByteArray valid = Compile(Header(R"([
        { "exhibit": "a.gif", "problem": "P?", "explanation": "E",
          "choices": [ { "statement": "A" }, { "isSolution": true, "statement": "B" } ] },
        { "choices": [ { "isSolution": true, "statement": "C" } ] } ])"),
        "small");
    QVERIFY(valid.size() > 100 && valid.size() < 160);

    const QString path = m_dir.filePath("damaged.exam");
    for (const DamagedVariants::Variant& variant : DamagedVariants::Make(valid)) {
        Write("damaged.exam", variant.Bytes);
        const Outcome outcome = RunTool({ "dump", path });
        const QByteArray context = variant.Name.toUtf8() + ": " + outcome.Err;
        QVERIFY2(outcome.Finished, ("hangs: " + context).constData());
        QVERIFY2(outcome.Status == QProcess::NormalExit, ("crashes: " + context).constData());
        if (outcome.ExitCode == 0) {
            QJsonParseError error;
            const QJsonDocument document = QJsonDocument::fromJson(outcome.Out, &error);
            QVERIFY2(error.error == QJsonParseError::NoError && document.isObject(), context.constData());
            QVERIFY2(outcome.Err.isEmpty(), context.constData());
        } else {
            QVERIFY2(IsOneLineFailure(outcome), context.constData());
        }
    }
}

void ExamToolTest::sampleExamIsConsistent()
{
    // Content mistakes the compiler cannot see: a missing picture, an item
    // with no key, a hint on an item the session would treat as single-answer.
    Exam exam;
    QFile source(QStringLiteral(SAMPLE_DIR "/PRAC-101.json"));
    QVERIFY(source.open(QIODevice::ReadOnly));
    ExamJson::FromJson(source.readAll(), exam, source.fileName());
    QVERIFY(exam.Questions().Count() >= 25);
    for (const Question& question : exam.Questions()) {
        const QByteArray item = QByteArray::number(question.Number());
        QVERIFY2(question.AnswerCount() >= 1, item);
        QVERIFY2(!question.HasHint() || question.AnswerCount() >= 2, item);
        if (question.HasExhibit())
            QVERIFY2(QFileInfo(QStringLiteral(SAMPLE_DIR "/") + question.Exhibit()).size() > 0, item);
    }
}

QTEST_GUILESS_MAIN(ExamToolTest)
#include "ExamToolTest.moc"
