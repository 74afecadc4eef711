#include "model/Error.h"
#include "model/Exam.h"
#include "model/File.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>

namespace {

// The header of "ABC-101" / "Sample" / 1000 / 700 / 120 after an empty
// reserved block, as the catalogue reads it.
const QByteArray SampleHeader = QByteArray::fromHex("00000000"
                                                    "07000000")
    + "ABC-101" + QByteArray::fromHex("06000000") + "Sample" + QByteArray::fromHex("e803bc027800");

} // namespace

class ExamHeaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void readsSampleHeader();
    void writesSampleHeader();
    void reservedBlockIsKept();
    void truncatedHeader_data();
    void truncatedHeader();
    void hugeReservedCount();
    void failures_data();
    void failures();
    void fileNameKeepsPathAsGiven();

private:
    QString Write(const QString& name, const QByteArray& bytes);
    std::unique_ptr<QTemporaryDir> m_dir;
};

QString ExamHeaderTest::Write(const QString& name, const QByteArray& bytes)
{
    QFile file(m_dir->filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write fixture");
    return file.fileName();
}

void ExamHeaderTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
}

void ExamHeaderTest::readsSampleHeader()
{
    Exam exam;
    const QString path = Write("ABC-101.exam", SampleHeader + QByteArray::fromHex("05000000"));
    QVERIFY(exam.LoadHeader(path));
    QCOMPARE(exam.Code(), QString("ABC-101"));
    QCOMPARE(exam.Name(), QString("Sample"));
    QCOMPARE(exam.MaxScore(), qint16(1000));
    QCOMPARE(exam.PassScore(), qint16(700));
    QCOMPARE(exam.Duration(), qint16(120));
    QVERIFY(exam.Reserved().isEmpty());
    QCOMPARE(exam.FileName(), path);
}

void ExamHeaderTest::writesSampleHeader()
{
    Exam exam;
    exam.SetCode("ABC-101");
    exam.SetName("Sample");
    exam.SetMaxScore(1000);
    exam.SetPassScore(700);
    exam.SetDuration(120);
    const QString path = m_dir->filePath("out.exam");
    {
        File file;
        file.OpenFile(path, File::BinaryMode, File::GenericWrite, File::CreateAlways);
        exam.WriteHeader(file);
    }
    QFile written(path);
    QVERIFY(written.open(QIODevice::ReadOnly));
    QCOMPARE(written.readAll().toHex(' '), SampleHeader.toHex(' '));
}

void ExamHeaderTest::reservedBlockIsKept()
{
    const QByteArray reserved = QByteArray::fromHex("00ff10");
    Exam exam;
    exam.LoadHeader(Write("r.exam", QByteArray::fromHex("03000000") + reserved + SampleHeader.mid(4)));
    QCOMPARE(exam.Reserved(), reserved);
    QCOMPARE(exam.Code(), QString("ABC-101"));
    QCOMPARE(exam.Duration(), qint16(120));
}

void ExamHeaderTest::truncatedHeader_data()
{
    QTest::addColumn<int>("cut");
    for (int cut = 0; cut <= SampleHeader.size(); ++cut)
        QTest::addRow("cut at %d", cut) << cut;
}

// A file that ends inside the header is no error: each field holds what the
// short reads delivered, and the fields after the cut keep their defaults.
void ExamHeaderTest::truncatedHeader()
{
    QFETCH(int, cut);
    Exam exam;
    QVERIFY(exam.LoadHeader(Write("cut.exam", SampleHeader.left(cut))));
    QVERIFY(QString("ABC-101").startsWith(exam.Code()));
    QVERIFY(QString("Sample").startsWith(exam.Name()));
    QCOMPARE(exam.IsHeaderComplete(), cut == SampleHeader.size());
    QCOMPARE(exam.Code().isEmpty(), cut <= 8);
    QCOMPARE(exam.Name() == "Sample", cut >= 25);
    // The last field: complete, one byte of it (0x78), or nothing.
    const int durationBytes = qBound(0, cut - 29, 2);
    QCOMPARE(exam.Duration(), qint16(durationBytes == 0 ? 0 : 120));
    const int maxBytes = qBound(0, cut - 25, 2);
    QCOMPARE(exam.MaxScore(), qint16(maxBytes == 0 ? 0 : maxBytes == 1 ? 0xE8 : 1000));
}

void ExamHeaderTest::hugeReservedCount()
{
    Exam exam;
    QVERIFY(exam.LoadHeader(Write("huge.exam", QByteArray::fromHex("ffffff7f") + "abc")));
    QCOMPARE(exam.Reserved(), QByteArray("abc"));
    QVERIFY(exam.Code().isEmpty());
}

void ExamHeaderTest::failures_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<qint32>("number");
    QTest::newRow("missing file") << "missing.exam" << ENOENT;
    QTest::newRow("directory") << "folder" << EISDIR;
}

void ExamHeaderTest::failures()
{
    QFETCH(QString, name);
    QDir(m_dir->path()).mkdir("folder");
    Exam exam;
    exam.SetCode("before");
    try {
        exam.LoadHeader(m_dir->filePath(name));
        QFAIL("nothing raised");
    } catch (const Error& e) {
        QTEST(e.Number(), "number");
        QCOMPARE(e.Source(), QString("Exam::LoadHeader()"));
        QVERIFY(e.Description().startsWith("System Error: 0x"));
    }
    QCOMPARE(exam.Code(), QString("before"));
    QVERIFY(exam.FileName().isEmpty());
}

void ExamHeaderTest::fileNameKeepsPathAsGiven()
{
    const QString quoted = "  \"" + Write("q.exam", SampleHeader) + "\" ";
    Exam exam;
    QVERIFY(exam.LoadHeader(quoted));
    QCOMPARE(exam.FileName(), quoted);
    QCOMPARE(exam.Code(), QString("ABC-101"));
}

QTEST_GUILESS_MAIN(ExamHeaderTest)
#include "ExamHeaderTest.moc"
