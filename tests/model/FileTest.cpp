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

namespace {

QByteArray Hex(const char* hex)
{
    return QByteArray::fromHex(hex);
}

} // namespace

class FileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void encoding_data();
    void encoding();
    void reads_data();
    void reads();
    void hugeCountAllocatesOnlyWhatRemains();
    void textMode();
    void openErrors_data();
    void openErrors();
    void misuseRaises();
    void seekAndEof();
    void mixedReadWriteAcrossBuffer();
    void copyTo();
    void attributes();

private:
    QString PathOf(const QString& name) const { return m_dir->filePath(name); }
    QString WriteFile(const QString& name, const QByteArray& bytes) const;
    // Writes `bytes` to a new file and opens it for reading.
    void OpenFixture(File& file, const QByteArray& bytes, qint32 mode = File::BinaryMode);

    std::unique_ptr<QTemporaryDir> m_dir;
    int m_fixtures = 0;
};

QString FileTest::WriteFile(const QString& name, const QByteArray& bytes) const
{
    QFile file(PathOf(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write fixture");
    return file.fileName();
}

void FileTest::OpenFixture(File& file, const QByteArray& bytes, qint32 mode)
{
    const QString path = WriteFile(QString("fixture%1.bin").arg(++m_fixtures), bytes);
    file.OpenFile(path, mode, File::GenericRead, File::OpenExisting);
}

void FileTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void FileTest::encoding_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<qint32>("length");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QVariant>("readBack"); // what a read with the same length gives

    auto row = [](const char* name, QVariant value, qint32 length, const char* hex, QVariant back = {}) {
        QTest::newRow(name) << value << length << Hex(hex) << (back.isValid() ? back : value);
    };
    row("int16", QVariant::fromValue(qint16(-2)), 0, "feff");
    row("int32", QVariant::fromValue(qint32(0x01020304)), 0, "04030201");
    row("single", QVariant::fromValue(1.5f), 0, "0000c03f");
    row("double", QVariant::fromValue(-2.0), 0, "00000000000000c0");
    row("currency", QVariant::fromValue(Currency { 12345 }), 0, "3930000000000000");
    row("date noon 1 Jan 1900", QVariant::fromValue(OleDate { 2.5 }), 0, "0000000000000440");
    row("boolean true", QVariant::fromValue(true), 0, "ffff0000");
    row("boolean false", QVariant::fromValue(false), 0, "00000000");
    row("byte", QVariant::fromValue(quint8(0xAB)), 0, "ab");
    row("text with count", QString("ABC"), -1, "03000000414243");
    row("empty text with count", QString(""), -1, "00000000");
    row("Windows-1252 text", QString::fromUtf8("€üŸ"), -1, "0300000080fc9f");
    row("undefined bytes round-trip", QString(QChar(0x81)) + QChar(0x9D), -1, "02000000819d");
    row("outside the code page", QString::fromUtf8("\xF0\x9F\x98\x80x\xE4\xB8\xAD"), -1, "030000003f783f",
        QString("?x?"));
    row("fixed width pads", QString("ABC"), 5, "4142430000", QString("ABC") + QChar(0) + QChar(0));
    row("fixed width cuts", QString("ABCDE"), 2, "4142", QString("AB"));
    row("block with count", QByteArray("\x01\x02\x03"), -1, "03000000010203");
    row("block fixed width", QByteArray("\x01\x02\x03"), 2, "0102", QByteArray("\x01\x02"));
    row("empty block with count", QByteArray(), -1, "00000000");
    row("date from a QDateTime", QDateTime(QDate(1900, 1, 1), QTime(18, 0)), 0, "0000000000000640");
}

void FileTest::encoding()
{
    QFETCH(QVariant, value);
    QFETCH(qint32, length);
    QFETCH(QByteArray, bytes);
    const QString path = PathOf("value.bin");
    {
        File file;
        file.OpenFile(path, File::BinaryMode, File::GenericWrite, File::CreateAlways);
        file.WriteData(value, length);
    }
    QCOMPARE(ReadAll(path).toHex(), bytes.toHex());

    File file;
    file.OpenFile(path, File::BinaryMode, File::GenericRead, File::OpenExisting);
    QVariant back(value.metaType());
    file.ReadData(back, length);
    QTEST(back, "readBack");
    QVERIFY(file.Eof());
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
                   qint32 delivered) { QTest::newRow(name) << Hex(hex) << mode << length << before << after << delivered; };
    row("boolean high word only", "0000ffff", 1, 0, true, false, 4);
    row("boolean low bit", "01000000", 1, 0, false, true, 4);
    row("boolean top bit of low word", "00800000", 1, 0, false, true, 4);
    row("number cut by the end", "3412", 1, 0, qint32(-1), qint32(0x1234), 2);
    row("number past the end", "", 1, 0, 1.0, 0.0, 0);
    row("zero count keeps the text", "00000000", 1, -1, "kept", "kept", 4);
    row("negative count keeps the text", "ffffffff41", 1, -1, "kept", "kept", 4);
    row("count past the end gives what arrived", "0a0000004142", 1, -1, "", "AB", 2);
    row("binary zero length reads the target's width", "41424344", 1, 0, "xy", "AB", 2);
    row("binary zero length, empty target", "4142", 1, 0, "", "", 0);
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
    QVariant value = before;
    const qint32 delivered = file.ReadData(value, length);
    QTEST(value, "after");
    QTEST(delivered, "delivered");
}

void FileTest::hugeCountAllocatesOnlyWhatRemains()
{
    File file;
    OpenFixture(file, Hex("ffffff7f010203"));
    QVERIFY(!file.HadShortRead());
    QByteArray block;
    QCOMPARE(file.ReadData(block, -1), 3);
    QCOMPARE(block, Hex("010203"));
    QVERIFY(block.capacity() < 4096);
    QVERIFY(file.HadShortRead());
}

void FileTest::textMode()
{
    const QString path = PathOf("text.txt");
    {
        File file;
        file.OpenFile(path, File::TextMode, File::GenericWrite, File::CreateAlways);
        file.WriteData(qint32(-42), 0);
        file.WriteData(true, 0);
    }
    QCOMPARE(ReadAll(path), QByteArray("-42True"));
    File file;
    OpenFixture(file, "x1", File::TextMode);
    qint16 number = 0;
    const Error e = Raised([&] { file.ReadData(number); });
    QCOMPARE(e.Number(), ErrorNumber::TypeMismatch);
    QCOMPARE(e.Source(), QString("File::ReadData()"));
}

void FileTest::openErrors_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<quint32>("disposition");
    QTest::addColumn<qint32>("number");
    QTest::newRow("missing file") << "missing.exam" << File::OpenExisting << ENOENT;
    QTest::newRow("directory") << "sub" << File::OpenExisting << EISDIR;
    QTest::newRow("no read permission") << "secret.bin" << File::OpenExisting << EACCES;
    QTest::newRow("missing folder on create") << "nowhere/x.exam" << File::CreateAlways << ENOENT;
    QTest::newRow("empty name") << "" << File::OpenExisting << ENOENT;
}

void FileTest::openErrors()
{
    QFETCH(QString, name);
    QFETCH(quint32, disposition);
    QFETCH(qint32, number);
    if (number == EACCES && ::geteuid() == 0)
        QSKIP("root reads any file");
    QDir(m_dir->path()).mkdir("sub");
    QFile::setPermissions(WriteFile("secret.bin", "x"), QFileDevice::WriteOwner);
    File file;
    const Error e = Raised([&] {
        file.OpenFile(name.isEmpty() ? name : PathOf(name), File::BinaryMode, File::GenericRead, disposition);
    });
    QCOMPARE(e.Number(), number);
    QCOMPARE(e.Source(), QString("File::OpenFile()"));
    QVERIFY(e.Description().startsWith("System Error: 0x" + QString::number(number, 16).toUpper() + "\n"));
    QVERIFY(!file.IsOpen());
}

void FileTest::misuseRaises()
{
    File file;
    OpenFixture(file, "abc");
    Error e = Raised([&] { file.WriteData(qint32(1)); });
    QCOMPARE(e.Number(), EBADF);
    QCOMPARE(e.Source(), QString("File::WriteData()"));
    QCOMPARE(ReadAll(file.Name()), QByteArray("abc"));
    QCOMPARE(Raised([&] { file.SeekTo(-1, File::FromStart); }).Number(), EINVAL);

    file.OpenFile(PathOf("u.bin"), File::BinaryMode, File::GenericRead | File::GenericWrite, File::CreateAlways);
    for (QVariant value : { QVariant(), QVariant(QPoint(1, 2)), QVariant(QVariantList {}) }) {
        e = Raised([&] { file.WriteData(value, 0); });
        QCOMPARE(e.Number(), ErrorNumber::InvalidCall);
        QCOMPARE(e.Description(), QString("Unsupported data type provided"));
        QCOMPARE(e.Source(), QString("File::WriteData()"));
        QCOMPARE(Raised([&] { file.ReadData(value, 0); }).Source(), QString("File::ReadData()"));
    }
    QCOMPARE(file.Size(), 0u);
}

void FileTest::seekAndEof()
{
    File file;
    OpenFixture(file, {});
    QVERIFY(file.Eof());
    // Quotes and blanks around a name are no part of it.
    const QString path = WriteFile("ten.bin", "0123456789");
    QVERIFY(file.OpenFile("  \"" + path + "\" ", File::BinaryMode, File::GenericRead, File::OpenExisting));
    QCOMPARE(file.Name(), path);
    QVERIFY(!file.Eof());
    QCOMPARE(file.SeekTo(-3, File::FromEnd), 7u);
    QCOMPARE(file.SeekTo(2, File::FromCurrent), 9u);
    QCOMPARE(file.SeekTo(20, File::FromStart), 20u);
    QVERIFY(file.Eof());
    quint8 byte = 1;
    QCOMPARE(file.ReadData(byte), 0);
}

// Reads and writes share one buffer: interleave them across its 64 KiB
// boundary and compare with what reached the disk.
void FileTest::mixedReadWriteAcrossBuffer()
{
    QByteArray expected(200000, '\0');
    for (int i = 0; i < expected.size(); ++i)
        expected[i] = char(i * 7);
    const QString path = WriteFile("mixed.bin", expected);
    File file;
    file.OpenFile(path, File::BinaryMode, File::GenericRead | File::GenericWrite, File::OpenExisting);
    QByteArray block;
    QCOMPARE(file.ReadData(block, 70000), 70000);
    QCOMPARE(block, expected.left(70000));
    file.WriteData(qint32(0x11223344)); // lands at 70000
    expected.replace(70000, 4, Hex("44332211"));
    file.SeekTo(65530, File::FromStart);
    file.WriteData(QByteArray(100, 'z'), 100);
    expected.replace(65530, 100, QByteArray(100, 'z'));
    qint32 next = 0;
    file.ReadData(next);
    QCOMPARE(next, qFromLittleEndian<qint32>(expected.constData() + 65630));
    file.SeekTo(0, File::FromEnd);
    file.WriteData(QByteArray(70000, 'e'), -1); // larger than the buffer, grows the file
    expected += Hex("70110100") + QByteArray(70000, 'e');
    QCOMPARE(file.Size(), quint32(expected.size()));
    file.SeekTo(0, File::FromStart);
    QByteArray all;
    file.ReadData(all, expected.size());
    QCOMPARE(all, expected);
    file.CloseFile();
    QCOMPARE(ReadAll(path), expected);
}

void FileTest::copyTo()
{
    QByteArray bytes(10000, 'a');
    bytes[9999] = 'z';
    File source;
    OpenFixture(source, bytes);
    source.SeekTo(100, File::FromStart);
    {
        File target;
        target.OpenFile(PathOf("dst.bin"), File::BinaryMode, File::GenericWrite, File::CreateAlways);
        source.CopyTo(target);
        QVERIFY(source.Eof());
        source.CopyTo(target); // at the end: nothing more
    }
    QCOMPARE(ReadAll(PathOf("dst.bin")), bytes.mid(100));
}

void FileTest::attributes()
{
    const QString plain = WriteFile("plain.bin", "x");
    File file;
    QVERIFY(file.GetAttributes(plain));
    QVERIFY(file.IsNormal() && !file.IsReadOnly() && !file.IsHidden() && !file.IsDirectory());
    file.GetAttributes(m_dir->path());
    QVERIFY(file.IsDirectory() && !file.IsNormal());
    file.GetAttributes(WriteFile(".hidden", "x"));
    QVERIFY(file.IsHidden());

    file.GetAttributes(plain);
    file.SetReadOnly(true);
    file.SetArchive(true); // no counterpart on disk: lost on the next read
    QVERIFY(file.SetAttributes(plain));
    QVERIFY(!(QFile::permissions(plain) & QFileDevice::WriteOwner));
    file.GetAttributes(plain);
    QVERIFY(file.IsReadOnly() && !file.IsArchive());
    file.SetReadOnly(false);
    file.SetAttributes(plain);
    QVERIFY(QFile::permissions(plain) & QFileDevice::WriteOwner);

    const Error e = Raised([&] { file.GetAttributes(PathOf("missing")); });
    QCOMPARE(e.Number(), ENOENT);
    QCOMPARE(e.Source(), QString("File::GetAttributes()"));
}

QTEST_GUILESS_MAIN(FileTest)
#include "FileTest.moc"
