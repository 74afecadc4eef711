#include "common/TestUtil.h"
#include "model/Error.h"
#include "model/Exam.h"
#include "model/File.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace TestUtil;

namespace {

const QString Tiny = QStringLiteral(TEST_DATA_DIR "/tiny.exam");

// An item whose options are solutions where `key` says '1'.
std::shared_ptr<Question> MakeQuestion(const QString& key)
{
    auto question = std::make_shared<Question>();
    for (QChar c : key)
        question->Choices().Add()->SetIsSolution(c == QLatin1Char('1'));
    question->Choices().ResetNumbers();
    return question;
}

} // namespace

class ExamTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void loadsFixture();
    void saveReproducesFixture();
    void examWithoutQuestions();
    void loadReplacesQuestionsLoadHeaderKeepsThem();
    void sessionStateIsNotSaved();
    void correctAnswer_data();
    void correctAnswer();
    void collectionEdits();
    void calculateScore_data();
    void calculateScore();
    void calculateScoreErrors();
    void saveAndLoadErrors();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
};

void ExamTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
}

// tiny.exam is written by tests/data/make_tiny_exam.py, a separate
// implementation of the format and cipher.
void ExamTest::loadsFixture()
{
    Exam exam;
    QVERIFY(exam.Load(Tiny));
    QCOMPARE(exam.Reserved(), QByteArray::fromHex("010203"));
    QCOMPARE(exam.Code(), QString("TINY-1"));
    QCOMPARE(exam.Name(), QString("Tiny exam"));
    QCOMPARE(exam.Duration(), qint16(30));
    QCOMPARE(exam.Questions().Count(), 3);
    const Question& first = exam.Questions().Item(1);
    QCOMPARE(first.Problem(), QString("Which port does SSH use?"));
    QCOMPARE(first.Explaination(), QString("SSH listens on TCP port 22."));
    QCOMPARE(first.StoredExplaination(), QString("  SSH listens on TCP port 22.  "));
    QCOMPARE(first.CorrectAnswer(), QString("2"));
    QVERIFY(!first.HasExhibit());
    const Question& second = exam.Questions().Item(2);
    QVERIFY(second.HasHint());
    QCOMPARE(second.Exhibit(), QString("net.gif"));
    QCOMPARE(second.SolutionCount(), qint16(2));
    QCOMPARE(second.Choices().Item(3).Statement(), QString("192.168.0.0/16"));
    QCOMPARE(second.CorrectAnswer(), QString("1,3"));
    QCOMPARE(exam.Questions().Item(3).Problem(), QString::fromUtf8("Café – no key"));
    QCOMPARE(exam.Questions().Item(3).Choices().Count(), 0);
    QCOMPARE(exam.FileName(), Tiny);
}

void ExamTest::saveReproducesFixture()
{
    Exam exam;
    exam.Load(Tiny);
    const QString copy = m_dir->filePath("copy.exam");
    QCOMPARE(exam.Save(copy), false); // returns false even when it worked
    QCOMPARE(exam.FileName(), copy);
    QCOMPARE(ReadAll(copy).toHex(), ReadAll(Tiny).toHex());
}

void ExamTest::examWithoutQuestions()
{
    Exam exam;
    exam.SetCode("ABC-101");
    exam.SetName("Sample");
    exam.SetMaxScore(1000);
    exam.SetPassScore(700);
    exam.SetDuration(120);
    const QString path = m_dir->filePath("empty.exam");
    exam.Save(path);
    const QByteArray expected = QByteArray::fromHex("0000000007000000") + "ABC-101" + QByteArray::fromHex("06000000")
        + "Sample" + QByteArray::fromHex("e803bc027800" "00000000");
    QCOMPARE(ReadAll(path).toHex(' '), expected.toHex(' '));
    Exam back;
    back.Load(path);
    QCOMPARE(back.Questions().Count(), 0);
    QCOMPARE(back.PassScore(), qint16(700));
}

void ExamTest::loadReplacesQuestionsLoadHeaderKeepsThem()
{
    Exam exam;
    exam.Questions().Add(MakeQuestion("10"));
    exam.LoadHeader(Tiny);
    QCOMPARE(exam.Questions().Count(), 1);
    exam.Load(Tiny);
    QCOMPARE(exam.Questions().Count(), 3);
    exam.Load(Tiny);
    QCOMPARE(exam.Questions().Count(), 3);
}

void ExamTest::sessionStateIsNotSaved()
{
    Exam exam;
    exam.Load(Tiny);
    exam.Questions().Item(1).SetAnswer("2");
    exam.Questions().Item(1).SetIsMarked(true);
    exam.EndExam();
    const QString path = m_dir->filePath("after.exam");
    exam.Save(path);
    QCOMPARE(ReadAll(path), ReadAll(Tiny));
    Exam back;
    back.Load(path);
    QVERIFY(back.Questions().Item(1).Answer().isEmpty());
    QVERIFY(!back.Questions().Item(1).IsMarked());
    QVERIFY(!back.IsEnded());
}

void ExamTest::correctAnswer_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<int>("count");
    QTest::newRow("one solution") << "0100" << "2" << 1;
    QTest::newRow("several, in collection order") << "01011" << "2,4,5" << 3;
    QTest::newRow("no solution") << "000" << "" << 0;
    QTest::newRow("no options") << "" << "" << 0;
    QTest::newRow("ten options") << "0000000001" << "10" << 1;
}

void ExamTest::correctAnswer()
{
    QFETCH(QString, key);
    auto question = MakeQuestion(key);
    QTEST(question->CorrectAnswer(), "expected");
    QTEST(int(question->AnswerCount()), "count");
    QCOMPARE(question->SolutionCount(), qint16(0)); // stored value until recalculated
    question->CalculateSolutionCount();
    QTEST(int(question->SolutionCount()), "count");
}

void ExamTest::collectionEdits()
{
    Choices choices;
    auto shared = std::make_shared<Choice>();
    choices.Add();
    choices.Add(shared);
    choices.Add();
    choices.Add(shared);
    choices.ResetNumbers();
    QCOMPARE(shared->Number(), qint16(4)); // the last position that holds it
    choices.RemoveObject(shared.get());
    QCOMPARE(choices.Count(), 2);
    choices.Remove(1);
    QCOMPARE(choices.Item(1).Number(), qint16(3)); // old number until ResetNumbers
    choices.ResetNumbers();
    QCOMPARE(choices.Item(1).Number(), qint16(1));
    for (qsizetype bad : { qsizetype(0), qsizetype(2) }) {
        try {
            choices.Item(bad);
            QFAIL("nothing raised");
        } catch (const Error& e) {
            QCOMPARE(e.Number(), ErrorNumber::SubscriptOutOfRange);
        }
    }
}

void ExamTest::calculateScore_data()
{
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QStringList>("answers");
    QTest::addColumn<qint16>("maxScore");
    QTest::addColumn<qint16>("expected");
    QTest::newRow("2 of 3") << QStringList { "10", "01", "10" } << QStringList { "1", "2", "2" } << qint16(1000)
                            << qint16(667);
    QTest::newRow("1 of 8 rounds 12.5 to even") << QStringList(8, "10") << QStringList { "1" } << qint16(100)
                                               << qint16(12);
    QTest::newRow("3 of 8 rounds 37.5 to even") << QStringList(8, "10") << QStringList { "1", "1", "1" }
                                               << qint16(100) << qint16(38);
    QTest::newRow("all correct") << QStringList { "101", "010" } << QStringList { "1,3", "2" } << qint16(1000)
                                 << qint16(1000);
    QTest::newRow("one of three boxes missing") << QStringList { "1011" } << QStringList { "1,3" } << qint16(1000)
                                                << qint16(0);
    QTest::newRow("extra box ticked") << QStringList { "101" } << QStringList { "1,2,3" } << qint16(1000)
                                      << qint16(0);
    QTest::newRow("right boxes, wrong order") << QStringList { "101" } << QStringList { "3,1" } << qint16(1000)
                                              << qint16(0);
    QTest::newRow("unanswered") << QStringList { "10", "01" } << QStringList {} << qint16(1000) << qint16(0);
    QTest::newRow("no key, unanswered counts") << QStringList { "00", "01" } << QStringList {} << qint16(1000)
                                               << qint16(500);
    QTest::newRow("answer with a blank") << QStringList { "11" } << QStringList { "1, 2" } << qint16(1000)
                                         << qint16(0);
}

void ExamTest::calculateScore()
{
    QFETCH(QStringList, keys);
    QFETCH(QStringList, answers);
    QFETCH(qint16, maxScore);
    Exam exam;
    exam.SetMaxScore(maxScore);
    for (qsizetype i = 0; i < keys.size(); ++i) {
        auto question = exam.Questions().Add(MakeQuestion(keys[i]));
        question->SetAnswer(answers.value(i));
    }
    QTEST(exam.CalculateScore(), "expected");
}

void ExamTest::calculateScoreErrors()
{
    Exam exam;
    exam.SetMaxScore(1000);
    try {
        exam.CalculateScore();
        QFAIL("no items: nothing raised");
    } catch (const Error& e) {
        QCOMPARE(e.Number(), ErrorNumber::Overflow);
    }
    exam.SetMaxScore(32767);
    exam.Questions().Add(MakeQuestion(""));
    QCOMPARE(exam.CalculateScore(), qint16(32767));
}

void ExamTest::saveAndLoadErrors()
{
    Exam exam;
    for (const QString& path : { m_dir->filePath("missing.exam"), m_dir->path() }) {
        try {
            exam.Load(path);
            QFAIL("load: nothing raised");
        } catch (const Error& e) {
            QCOMPARE(e.Source(), QString("Exam::Save()"));
        }
    }
    try {
        exam.Save(m_dir->filePath("no/such/folder.exam"));
        QFAIL("save: nothing raised");
    } catch (const Error& e) {
        QCOMPARE(e.Source(), QString("Exam::Save()"));
        QCOMPARE(e.Number(), ENOENT);
    }
    QVERIFY(exam.FileName().isEmpty());
}

QTEST_GUILESS_MAIN(ExamTest)
#include "ExamTest.moc"
