#include "common/FifoGuard.h"
#include "common/TestUtil.h"
#include "model/Error.h"
#include "model/File.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <cerrno>
#include <unistd.h>

using TestUtil::Raised;
using TestUtil::ReadAll;

class FileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void encoding_data();
    void encoding();
    void reads_data();
    void reads();
    void openErrors();
    void misuseRaises();
    void mixedReadWriteSeekAndCopy();
    void attributes();

private:
    QString PathOf(const QString& name) const { return m_dir->filePath(name); }
    QString WriteFile(const QString& name, const QByteArray& bytes) const { return TestUtil::WriteFile(PathOf(name), bytes); }
    void OpenFixture(File& file, const QByteArray& bytes, qint32 mode = File::BinaryMode);

    std::unique_ptr<QTemporaryDir> m_dir;
    int m_fixtures = 0;
};

void FileTest::OpenFixture(File& file, const QByteArray& bytes, qint32 mode)
{
    const QString path = WriteFile(QString("fixture%1.bin").arg(++m_fixtures), bytes);
    file.OpenFile(path, mode, File::GenericRead, File::OpenExisting);
}

void FileTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
}

void FileTest::encoding_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<qint32>("length");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QVariant>("readBack"); // what a read with the same length gives
    QTest::addColumn<qint32>("mode");

    auto row = [](const char* name, QVariant value, qint32 length, const char* hex, QVariant back = {}) {
        QTest::newRow(name) << value << length << QByteArray::fromHex(hex) << (back.isValid() ? back : value)
                            << File::BinaryMode;
    };
    // Written in text mode, not read back.
    auto textRow = [](const char* name, QVariant value, qint32 length, const char* text) {
        QTest::newRow(name) << value << length << QByteArray(text) << QVariant() << File::TextMode;
    };
    row("int16", QVariant::fromValue(qint16(-2)), 0, "feff");
    row("currency", QVariant::fromValue(Currency { 12345 }), 0, "3930000000000000");
    row("date noon 1 Jan 1900", QVariant::fromValue(OleDate { 2.5 }), 0, "0000000000000440");
    row("boolean true", QVariant::fromValue(true), 0, "ffff0000");
    row("byte", QVariant::fromValue(quint8(0xAB)), 0, "ab");
    row("text with count", QString("ABC"), -1, "03000000414243");
    row("empty text with count", QString(""), -1, "00000000");
    row("Windows-1252 text", QString::fromUtf8("€üŸ"), -1, "0300000080fc9f");
    row("undefined bytes round-trip", QString(QChar(0x81)) + QChar(0x9D), -1, "02000000819d");
    row("outside the code page", QString::fromUtf8("\xF0\x9F\x98\x80x\xE4\xB8\xAD"), -1, "030000003f783f",
        QString("?x?"));
    row("fixed width pads", QString("ABC"), 5, "4142430000", QString("ABC") + QChar(0) + QChar(0));
    row("block with count", QByteArray("\x01\x02\x03"), -1, "03000000010203");
    row("block fixed width", QByteArray("\x01\x02\x03"), 2, "0102", QByteArray("\x01\x02"));
    row("date from a QDateTime", QDateTime(QDate(1900, 1, 1), QTime(18, 0)), 0, "0000000000000640");
    row("block with length 0 writes nothing", QByteArray("\x01\x02"), 0, "", QByteArray());
    textRow("text mode: count as text", QString("ABC"), -1, "3ABC");
    textRow("text mode: block's count as text", QByteArray("xy"), -1, "2xy");
    textRow("text mode: block with length 0 is a text", QByteArray("xy"), 0, "xy");
}

void FileTest::encoding()
{
    QFETCH(QVariant, value);
    QFETCH(qint32, length);
    QFETCH(QByteArray, bytes);
    QFETCH(qint32, mode);
    File file;
    file.OpenFile(PathOf("value.bin"), mode, File::GenericRead | File::GenericWrite, File::CreateAlways);
    file.WriteData(value, length);
    if (mode == File::BinaryMode) {
        file.SeekTo(0, File::FromStart);
        QVariant back(value.metaType());
        file.ReadData(back, length);
        QTEST(back, "readBack");
        QVERIFY(file.Eof());
    }
    file.CloseFile();
    QCOMPARE(ReadAll(PathOf("value.bin")).toHex(), bytes.toHex());
}

void FileTest::reads_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<qint32>("mode");
    QTest::addColumn<qint32>("length");
    QTest::addColumn<QVariant>("before");
    QTest::addColumn<QVariant>("after");
    QTest::addColumn<qint32>("delivered");
    auto row = [](const char* name, const char* hex, qint32 mode, qint32 length, QVariant before, QVariant after,
                   qint32 delivered) {
        QTest::newRow(name) << QByteArray::fromHex(hex) << mode << length << before << after << delivered;
    };
    row("boolean high word only", "0000ffff", 1, 0, true, false, 4);
    row("boolean top bit of low word", "00800000", 1, 0, false, true, 4);
    row("zero count keeps the text", "00000000", 1, -1, "kept", "kept", 4);
    row("binary zero length reads the target's width", "41424344", 1, 0, "xy", "AB", 2);
    row("text mode zero length reads the rest", "414243", 0, 0, "", "ABC", 3);
    row("text mode number in blanks", "203132333420", 0, 0, qint16(0), qint16(1234), 6);
    row("fixed width", "41424344", 1, 3, "", "ABC", 3);
    row("count cut inside the prefix", "0300", 1, -1, "kept", "", 0);
}

void FileTest::reads()
{
    QFETCH(QByteArray, bytes);
    QFETCH(qint32, mode);
    QFETCH(qint32, length);
    QFETCH(QVariant, before);
    File file;
    OpenFixture(file, bytes, mode);
    QTEST(file.ReadData(before, length), "delivered");
    QTEST(before, "after");
}

// Each kind of name that cannot be opened gives its system error, without
// blocking on a FIFO and leaving the object closed.
void FileTest::openErrors()
{
    QDir(m_dir->path()).mkdir("sub");
    QFile::setPermissions(WriteFile("secret.bin", "x"), QFileDevice::WriteOwner);
    const QString fifo = TestUtil::MakeFifo(PathOf("fifo"));
    const std::pair<QString, qint32> rows[] = { { PathOf("missing.exam"), ENOENT }, { PathOf("sub"), EISDIR },
        { PathOf("secret.bin"), ::geteuid() == 0 ? 0 : EACCES }, { fifo, EINVAL }, { "/dev/null", EINVAL } };
    for (const auto& [name, number] : rows) {
        File file;
        const Error e = TestUtil::RaisedWithoutBlocking(
            fifo, [&] { file.OpenFile(name, File::BinaryMode, File::GenericRead, File::OpenExisting); });
        QCOMPARE(e.Number(), number); // root reads any file
        if (number != 0) {
            QCOMPARE(e.Source(), QString("File::OpenFile()"));
            QVERIFY(e.Description().startsWith("System Error: 0x" + QString::number(number, 16).toUpper() + "\n"));
            QVERIFY(!file.IsOpen());
        }
    }
}

void FileTest::misuseRaises()
{
    File file;
    OpenFixture(file, "abc");
    const Error e = Raised([&] { file.WriteData(qint32(1)); });
    QCOMPARE(e.Number(), EBADF);
    QCOMPARE(e.Source(), QString("File::WriteData()"));
    QCOMPARE(ReadAll(file.Name()), QByteArray("abc"));
    QCOMPARE(Raised([&] { file.SeekTo(-1, File::FromStart); }).Number(), EINVAL);
    OpenFixture(file, "x1", File::TextMode);
    qint16 number = 0;
    const Error text = Raised([&] { file.ReadData(number); });
    QCOMPARE(text.Number(), ErrorNumber::TypeMismatch);
    QCOMPARE(text.Source(), QString("File::ReadData()"));
    file.OpenFile(PathOf("u.bin"), File::TextMode, File::GenericRead | File::GenericWrite, File::CreateAlways);
    for (QVariant value : { QVariant(), QVariant(QPoint(1, 2)), QVariant(QVariantList {}) }) {
        const Error type = Raised([&] { file.WriteData(value, 0); });
        QCOMPARE(type.Description(), QString("Unsupported data type provided"));
        QCOMPARE(Raised([&] { file.ReadData(value, 0); }).Source(), QString("File::ReadData()"));
    }
    file.WriteData(qint32(-42), 0);
    file.WriteData(true, 0);
    file.CloseFile();
    QCOMPARE(ReadAll(PathOf("u.bin")), QByteArray("-42True"));
}

// Reads and writes share one buffer: interleave them across its 64 KiB
// boundary, then compare what reached the disk and a copy made in blocks.
void FileTest::mixedReadWriteSeekAndCopy()
{
    File file;
    OpenFixture(file, {});
    QVERIFY(file.Eof());
    QByteArray expected(200000, '\0');
    for (int i = 0; i < expected.size(); ++i)
        expected[i] = char(i * 7);
    const QString path = WriteFile("mixed.bin", expected);
    file.OpenFile(path, File::BinaryMode, File::GenericRead | File::GenericWrite, File::OpenExisting);
    QVERIFY(!file.Eof());
    QByteArray block;
    QCOMPARE(file.ReadData(block, 70000), 70000);
    file.WriteData(qint32(0x11223344)); // lands at 70000
    expected.replace(70000, 4, "\x44\x33\x22\x11");
    QCOMPARE(file.SeekTo(-4474, File::FromCurrent), 65530u);
    file.WriteData(QByteArray(100, 'z'), 100);
    expected.replace(65530, 100, QByteArray(100, 'z'));
    qint32 next = 0;
    file.ReadData(next);
    QCOMPARE(next, qFromLittleEndian<qint32>(expected.constData() + 65630));
    QCOMPARE(file.SeekTo(0, File::FromEnd), 200000u);
    file.WriteData(QByteArray(70000, 'e'), -1); // larger than the buffer, grows the file
    expected += QByteArray::fromHex("70110100") + QByteArray(70000, 'e');
    QCOMPARE(file.Size(), quint32(expected.size()));
    file.SeekTo(100, File::FromStart);
    {
        File target;
        target.OpenFile(PathOf("copy.bin"), File::BinaryMode, File::GenericWrite, File::CreateAlways);
        file.CopyTo(target);
        QVERIFY(file.Eof());
        file.CopyTo(target); // at the end: nothing more
    }
    QCOMPARE(file.SeekTo(500000, File::FromStart), 500000u);
    quint8 byte = 1;
    QCOMPARE(file.ReadData(byte), 0);
    file.CloseFile();
    QCOMPARE(ReadAll(path), expected);
    QCOMPARE(ReadAll(PathOf("copy.bin")), expected.mid(100));
}

// Attributes map from stat; only the owner's write bit reaches the disk.
void FileTest::attributes()
{
    const QString plain = WriteFile("plain.bin", "x");
    File file;
    QVERIFY(file.GetAttributes(plain) && file.IsNormal() && !file.IsReadOnly() && !file.IsHidden());
    file.GetAttributes(m_dir->path());
    QVERIFY(file.IsDirectory() && !file.IsNormal());
    file.GetAttributes(WriteFile(".hidden", "x"));
    QVERIFY(file.IsHidden());
    file.SetReadOnly(true);
    file.SetArchive(true);
    QVERIFY(file.SetAttributes(plain) && file.GetAttributes(plain));
    QVERIFY(file.IsReadOnly() && !file.IsArchive());
    QCOMPARE(Raised([&] { file.GetAttributes(PathOf("missing")); }).Source(), QString("File::GetAttributes()"));
}

QTEST_GUILESS_MAIN(FileTest)
#include "FileTest.moc"
