#include "common/TestUtil.h"
#include "model/Error.h"
#include "model/Exam.h"
#include "model/File.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <tuple>

using namespace TestUtil;

namespace {

const QString Tiny = QStringLiteral(TEST_DATA_DIR "/tiny.exam");

// An item whose options are solutions where `key` says '1'.
Question MakeQuestion(const QString& key)
{
    Question question;
    for (QChar c : key)
        question.Choices().Add()->SetIsSolution(c == QLatin1Char('1'));
    question.Choices().ResetNumbers();
    return question;
}

} // namespace

class ExamTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void fixture();
    void correctAnswer();
    void collectionEdits();
    void textsRoundTrip_data();
    void textsRoundTrip();
    void damaged_data();
    void damaged();
    void calculateScore_data();
    void calculateScore();
    void errors();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
};

void ExamTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
}

// tiny.exam is written by tests/data/make_tiny_exam.py, a separate
// implementation of the format and cipher. Loading the header keeps the
// items, a full load replaces them; the sitting's answers, marks and end are
// never written, so the exam saves back to the same bytes.
void ExamTest::fixture()
{
    Exam exam;
    exam.Questions().Add(MakeQuestion("10"));
    exam.LoadHeader(Tiny);
    QCOMPARE(exam.Questions().Count(), 1);
    QVERIFY(exam.Load(Tiny));
    QCOMPARE(exam.Reserved(), QByteArray::fromHex("010203"));
    QCOMPARE(exam.Code(), QString("TINY-1"));
    QCOMPARE(exam.Questions().Count(), 3);
    Question& first = exam.Questions().Item(1);
    QCOMPARE(first.Problem(), QString("Which port does SSH use?"));
    QCOMPARE(first.Explaination(), QString("SSH listens on TCP port 22."));
    QCOMPARE(first.StoredExplaination(), QString("  SSH listens on TCP port 22.  "));
    const Question& second = exam.Questions().Item(2);
    QVERIFY(second.HasHint() && !first.HasExhibit());
    QCOMPARE(second.Exhibit(), QString("net.gif"));
    QCOMPARE(second.Choices().Item(3).Statement(), QString("192.168.0.0/16"));
    QCOMPARE(exam.Questions().Item(3).Problem(), QString::fromUtf8("Café – no key"));
    QCOMPARE(exam.FileName(), Tiny);
    first.SetAnswer("2");
    first.SetIsMarked(true);
    exam.EndExam();
    const QString copy = m_dir->filePath("copy.exam");
    QCOMPARE(exam.Save(copy), false); // returns false even when it worked
    QCOMPARE(exam.FileName(), copy);
    QCOMPARE(ReadAll(copy).toHex(), ReadAll(Tiny).toHex());
}

// The key lists solutions in collection order; the stored solution count
// holds until it is recalculated.
void ExamTest::correctAnswer()
{
    const std::tuple<const char*, const char*, int> rows[] = { { "01011", "2,4,5", 3 }, { "000", "", 0 },
        { "0000000001", "10", 1 } };
    for (const auto& [key, expected, count] : rows) {
        Question question = MakeQuestion(key);
        QCOMPARE(question.CorrectAnswer(), QString(expected));
        QCOMPARE(question.AnswerCount(), count);
        QCOMPARE(question.SolutionCount(), qint16(0));
        question.CalculateSolutionCount();
        QCOMPARE(question.SolutionCount(), count);
    }
}

void ExamTest::collectionEdits()
{
    Choices choices;
    for (int i = 0; i < 4; ++i)
        choices.Add();
    choices.ResetNumbers();
    choices.RemoveObject(&choices.Item(2));
    QVERIFY(choices.Item(1).Number() == 1 && choices.Item(2).Number() == 3);
    choices.Remove(1);
    QCOMPARE(choices.Item(1).Number(), qint16(3)); // old number until ResetNumbers
    choices.ResetNumbers();
    QCOMPARE(choices.Item(1).Number(), qint16(1));
    QCOMPARE(Raised([&] { choices.Item(0); }).Number(), ErrorNumber::SubscriptOutOfRange);
    QCOMPARE(Raised([&] { choices.Item(3); }).Number(), ErrorNumber::SubscriptOutOfRange);
    while (choices.Count() < Choices::MaxCount)
        choices.Add();
    QCOMPARE(Raised([&] { choices.Add(); }).Number(), ErrorNumber::Overflow);
}

// Every text reads back as it was set, short or long, inside its record or
// not; the file holds its Windows-1252 bytes, "?" for what those cannot hold.
void ExamTest::textsRoundTrip_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("inFile");
    const QString high = QString::fromUtf8("€‚ƒ„…†‡ˆ‰Š‹ŒŽ‘’“”•–—˜™š›œžŸ ÿ") + QChar(0x81) + QChar(0x9D);
    QTest::newRow("empty") << "" << "";
    // Around the 15 bytes an option keeps inside it; past the kept keystream.
    for (int size : { 1, 14, 15, 16, 70000 })
        QTest::addRow("%d bytes", size) << QString(size, 'b') << QString(size, 'b');
    QTest::newRow("Windows-1252 high characters") << high << high;
    QTest::newRow("question mark") << "?" << "?";
    QTest::newRow("outside Windows-1252, short") << QString::fromUtf8("Ω?") << "??";
    QTest::newRow("outside Windows-1252, long") << QString::fromUtf8("😀 Ω ") + QString(20, 'f') << "? ? " + QString(20, 'f');
}

void ExamTest::textsRoundTrip()
{
    QFETCH(QString, text);
    QFETCH(QString, inFile);
    Exam exam;
    Question& question = *exam.Questions().Add();
    question.SetExhibit(text);
    question.SetExplaination(text);
    question.SetAnswer(text);
    for (int i = 0; i < 20; ++i) // the options move as their array grows
        question.Choices().Add()->SetStatement(i == 0 ? text : "o");
    const Question copy = question;
    question.SetProblem(text); // rebuilds the item's texts
    for (const Question* q : { &std::as_const(question), &copy }) {
        QCOMPARE(QStringList({ q->Exhibit(), q->StoredExplaination(), q->Answer(), q->Choices().Item(1).Statement() }),
            QStringList(4, text));
        QCOMPARE(q->Choices().Item(20).Statement(), QString("o"));
    }
    exam.Save(m_dir->filePath("texts.exam"));
    exam.Load(m_dir->filePath("texts.exam"));
    const Question& read = exam.Questions().Item(1);
    QCOMPARE(QStringList({ read.Exhibit(), read.Problem(), read.StoredExplaination(), read.Choices().Item(1).Statement() }),
        QStringList(4, inFile));
    QVERIFY(read.Answer().isEmpty() && copy.Problem().isEmpty());
}

// One row for each way a file can be damaged; the fuzz targets try the rest.
void ExamTest::damaged_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<qint32>("number");
    // A header of empty texts, then one item without texts or options: its
    // count at 18, the problem's at 34, the options' at 42.
    const QByteArray header(18, '\0');
    const QByteArray valid = header + QByteArray::fromHex("01000000") + QByteArray(24, '\0');
    const auto with = [&valid](qsizetype at, const char* hex) {
        return QByteArray(valid).replace(at, 4, QByteArray::fromHex(hex));
    };
    QTest::newRow("valid") << valid << 0;
    QTest::newRow("negative option count: none") << with(42, "ffffffff") << 0;
    QTest::newRow("ends inside a record") << valid.left(valid.size() - 1) << ErrorNumber::DamagedFile;
    QTest::newRow("more items than the file holds") << with(18, "ffffff7f") << ErrorNumber::DamagedFile;
    QTest::newRow("text longer than the file") << with(34, "ffffff7f") << ErrorNumber::DamagedFile;
    QTest::newRow("more options than the file holds") << with(42, "ffffff7f") << ErrorNumber::DamagedFile;
    QTest::newRow("32,768 items") << header + QByteArray::fromHex("00800000") + QByteArray(32768 * 24, '\0') << ErrorNumber::Overflow;
}

void ExamTest::damaged()
{
    QFETCH(QByteArray, bytes);
    const QString path = TestUtil::WriteFile(m_dir->filePath("damaged.exam"), bytes);
    Exam exam;
    const Error e = Raised([&] { exam.Load(path); });
    QTEST(e.Number(), "number");
    QCOMPARE(e.Source(), QString(e.Number() ? "Exam::Save()" : ""));
    if (e.Number() == 0)
        QCOMPARE(exam.Questions().Count(), 1);
}

// An item scores only when the answer text equals the key exactly: no partial credit.
void ExamTest::calculateScore_data()
{
    using L = QStringList;
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QStringList>("answers");
    QTest::addColumn<int>("maxScore");
    QTest::addColumn<int>("expected");
    QTest::newRow("2 of 3") << L { "10", "01", "10" } << L { "1", "2", "2" } << 1000 << 667;
    QTest::newRow("1 of 8 rounds 12.5 to even") << L(8, "10") << L { "1" } << 100 << 12;
    QTest::newRow("3 of 8 rounds 37.5 to even") << L(8, "10") << L { "1", "1", "1" } << 100 << 38;
    QTest::newRow("extra box ticked") << L { "101" } << L { "1,2,3" } << 1000 << 0;
    QTest::newRow("right boxes, wrong order") << L { "101" } << L { "3,1" } << 1000 << 0;
    QTest::newRow("no key, unanswered counts") << L { "00", "01" } << L {} << 1000 << 500;
    QTest::newRow("largest score") << L { "" } << L {} << 32767 << 32767;
}

void ExamTest::calculateScore()
{
    QFETCH(QStringList, keys);
    QFETCH(QStringList, answers);
    QFETCH(int, maxScore);
    Exam exam;
    exam.SetMaxScore(qint16(maxScore));
    for (qsizetype i = 0; i < keys.size(); ++i)
        exam.Questions().Add(MakeQuestion(keys[i]))->SetAnswer(answers.value(i));
    QTEST(int(exam.CalculateScore()), "expected");
}

void ExamTest::errors()
{
    Exam exam;
    exam.SetMaxScore(1000);
    QCOMPARE(Raised([&] { exam.CalculateScore(); }).Number(), ErrorNumber::Overflow); // 0 / 0 items
    const Error e = Raised([&] { exam.Save(m_dir->filePath("no/such/folder.exam")); });
    QCOMPARE(e.Source(), QString("Exam::Save()"));
    QCOMPARE(e.Number(), ENOENT);
    QVERIFY(exam.FileName().isEmpty());
}

QTEST_GUILESS_MAIN(ExamTest)
#include "ExamTest.moc"
