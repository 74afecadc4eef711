#include "common/FifoGuard.h"
#include "common/TestUtil.h"
#include "model/Error.h"
#include "model/Exam.h"
#include "model/File.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <new>
#include <sys/resource.h>

using TestUtil::Raised;

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
    void sampleHeader();
    void hostileCounts();
    void truncatedHeader();
    void failures();

private:
    QString Write(const QString& name, const QByteArray& bytes) { return TestUtil::WriteFile(m_dir->filePath(name), bytes); }
    std::unique_ptr<QTemporaryDir> m_dir;
};

void ExamHeaderTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
}

// The name is kept as given, quotes and blanks included; the header written
// back from what was read is the same bytes.
void ExamHeaderTest::sampleHeader()
{
    Exam exam;
    const QString quoted = "  \"" + Write("ABC-101.exam", SampleHeader + QByteArray::fromHex("05000000")) + "\" ";
    QVERIFY(exam.LoadHeader(quoted));
    QCOMPARE(exam.Code(), QString("ABC-101"));
    QCOMPARE(exam.Name(), QString("Sample"));
    QCOMPARE(exam.MaxScore(), qint16(1000));
    QCOMPARE(exam.PassScore(), qint16(700));
    QCOMPARE(exam.Duration(), qint16(120));
    QCOMPARE(exam.FileName(), quoted);
    const QString path = m_dir->filePath("out.exam");
    {
        File file;
        file.OpenFile(path, File::BinaryMode, File::GenericWrite, File::CreateAlways);
        exam.WriteHeader(file);
    }
    QCOMPARE(TestUtil::ReadAll(path).toHex(' '), SampleHeader.toHex(' '));
    // The reserved block is skipped by its count, however large: the fields
    // after it are read, or come up short past the end.
    exam.LoadHeader(Write("r.exam", QByteArray::fromHex("03000000") + "abc" + SampleHeader.mid(4)));
    QVERIFY(exam.Reserved().isEmpty() && exam.Code() == "ABC-101" && exam.IsHeaderComplete());
    Exam huge;
    QVERIFY(huge.LoadHeader(Write("huge.exam", QByteArray::fromHex("ffffff7f") + SampleHeader)));
    QVERIFY(huge.Code().isEmpty() && !huge.IsHeaderComplete());
}

// A 4 GiB sparse file whose reserved-block and code counts are 0x7FFFFFFF:
// the block is skipped and the code is refused by its count, without reading
// gigabytes (a regression runs out of the address space the test allows).
void ExamHeaderTest::hostileCounts()
{
    const QString path = m_dir->filePath("sparse.exam");
    const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const char count[] = { char(0xFF), char(0xFF), char(0xFF), 0x7F };
    QVERIFY(fd >= 0);
    const bool written = ::ftruncate(fd, qint64(4) << 30) == 0 && ::pwrite(fd, count, 4, 0) == 4
        && ::pwrite(fd, count, 4, 4 + 0x7FFFFFFFLL) == 4;
    ::close(fd);
    QVERIFY(written);
    // AddressSanitizer reserves terabytes of address space up front.
#if !defined(__SANITIZE_ADDRESS__) && !(defined(__has_feature) && __has_feature(address_sanitizer))
    struct rlimit limit { 1u << 30, 1u << 30 };
    struct rlimit before {};
    ::getrlimit(RLIMIT_AS, &before);
    ::setrlimit(RLIMIT_AS, &limit);
#endif
    Exam exam;
    Error e(0, QString(), QString());
    try {
        e = TestUtil::Raised([&] { exam.LoadHeader(path); });
    } catch (const std::bad_alloc&) {
    }
#if !defined(__SANITIZE_ADDRESS__) && !(defined(__has_feature) && __has_feature(address_sanitizer))
    ::setrlimit(RLIMIT_AS, &before);
#endif
    QCOMPARE(e.Number(), ErrorNumber::DamagedFile);
    QCOMPARE(e.Source(), QString("Exam::LoadHeader()"));
    QCOMPARE(Raised([&] { exam.Load(path); }).Number(), ErrorNumber::DamagedFile);
}

// A file that ends inside the header is no error: each field holds what the
// short reads delivered, and the fields after the cut keep their defaults.
void ExamHeaderTest::truncatedHeader()
{
    for (int cut = 0; cut <= SampleHeader.size(); ++cut) {
        Exam exam;
        QVERIFY(exam.LoadHeader(Write("cut.exam", SampleHeader.left(cut))));
        QVERIFY(QString("ABC-101").startsWith(exam.Code()) && QString("Sample").startsWith(exam.Name()));
        QCOMPARE(exam.IsHeaderComplete(), cut == SampleHeader.size());
        QCOMPARE(exam.Code().isEmpty(), cut <= 8);
        QCOMPARE(exam.Name() == "Sample", cut >= 25);
        // The last field: complete, one byte of it (0x78), or nothing.
        QCOMPARE(exam.Duration(), qint16(cut > 29 ? 120 : 0));
        const int maxBytes = qBound(0, cut - 25, 2);
        QCOMPARE(exam.MaxScore(), qint16(maxBytes == 0 ? 0 : maxBytes == 1 ? 0xE8 : 1000));
    }
}

// A file that cannot be opened raises under each operation's name and
// leaves the exam as it was (the kinds of file are File's own test).
void ExamHeaderTest::failures()
{
    const QString fifo = TestUtil::MakeFifo(m_dir->filePath("fifo"));
    Exam exam;
    exam.SetCode("before");
    for (const bool header : { true, false }) {
        const Error e = TestUtil::RaisedWithoutBlocking(fifo, [&] { header ? exam.LoadHeader(fifo) : exam.Load(fifo); });
        QCOMPARE(e.Number(), EINVAL);
        QCOMPARE(e.Source(), QString(header ? "Exam::LoadHeader()" : "Exam::Save()"));
        QVERIFY(exam.Code() == "before" && exam.FileName().isEmpty());
    }
}

QTEST_GUILESS_MAIN(ExamHeaderTest)
#include "ExamHeaderTest.moc"
