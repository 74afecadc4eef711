#include "common/DamagedVariants.h"
#include "common/TestUtil.h"
#include "model/Error.h"
#include "model/Exam.h"
#include "tools/practorium-exam/ExamJson.h"

#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>

// Every damaged variant of a valid exam must load or raise an error with the
// operation's source; none may crash, hang or allocate without bound. What
// loads must also dump (the exam tool's `dump` is Load and WriteJson) as JSON.
class DamagedExamTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void variants_data();
    void variants();

private:
    QTemporaryDir m_dir;
    rlimit m_oldLimit {};
};

// A count that claims gigabytes must not be believed: with the address space
// capped, an attempt to allocate it fails as error 7 and the test sees it.
void DamagedExamTest::initTestCase()
{
    QVERIFY(getrlimit(RLIMIT_AS, &m_oldLimit) == 0);
    QFile statm("/proc/self/statm");
    QVERIFY(statm.open(QIODevice::ReadOnly));
    const qint64 pages = statm.readAll().split(' ').value(0).toLongLong();
    QVERIFY(pages > 0);
    rlimit limit = m_oldLimit;
    limit.rlim_cur = rlim_t(pages) * 4096 + (256u << 20);
    QVERIFY(setrlimit(RLIMIT_AS, &limit) == 0);
}

void DamagedExamTest::cleanupTestCase()
{
    setrlimit(RLIMIT_AS, &m_oldLimit);
}

void DamagedExamTest::variants_data()
{
    QTest::addColumn<QByteArray>("bytes");
    for (const auto& variant : DamagedVariants::Make(TestUtil::ReadAll(TEST_DATA_DIR "/tiny.exam")))
        QTest::newRow(qPrintable(variant.Name)) << variant.Bytes;
}

void DamagedExamTest::variants()
{
    QFETCH(QByteArray, bytes);
    const QString path = TestUtil::WriteFile(m_dir.filePath("damaged.exam"), bytes);
    Exam exam;
    const bool truncated = QByteArray(QTest::currentDataTag()).startsWith("cut at");
    try {
        exam.Load(path);
        QVERIFY2(!truncated, "a file cut short loaded without an error");
        QVERIFY(exam.Questions().Count() * 24 <= bytes.size());
        QVERIFY(QJsonDocument::fromJson(ExamJson::ToJson(exam)).isObject());
    } catch (const Error& e) {
        QCOMPARE(e.Source(), QString("Exam::Save()"));
        QVERIFY2(e.Number() != ErrorNumber::OutOfMemory, qPrintable(e.Description()));
    }
    Exam header;
    try {
        header.LoadHeader(path);
        QVERIFY(header.Reserved().size() + header.Code().size() + header.Name().size() <= bytes.size());
    } catch (const Error& e) {
        QCOMPARE(e.Source(), QString("Exam::LoadHeader()"));
        QVERIFY2(e.Number() != ErrorNumber::OutOfMemory, qPrintable(e.Description()));
    }
}

QTEST_GUILESS_MAIN(DamagedExamTest)
#include "DamagedExamTest.moc"
