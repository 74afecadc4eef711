#include "common/TestUtil.h"
#include "model/Error.h"
#include "model/File.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

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
    void booleanReadsLowWord_data();
    void booleanReadsLowWord();
    void textReads_data();
    void textReads();
    void hugeCountAllocatesOnlyWhatRemains();
    void shortReadBuildsFromArrivedBytes();
    void textMode();
    void openErrors_data();
    void openErrors();
    void unreadableFile();
    void quotedPathOpensSameFile();
    void unsupportedType();
    void writeOnReadOnlyHandle();
    void seekAndEof();
    void mixedReadWriteAcrossBuffer();
    void copyTo();
    void attributes();

private:
    QString PathOf(const QString& name) const { return m_dir->filePath(name); }
    QString WriteFile(const QString& name, const QByteArray& bytes) const;

    std::unique_ptr<QTemporaryDir> m_dir;
};

QString FileTest::WriteFile(const QString& name, const QByteArray& bytes) const
{
    QFile file(PathOf(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write fixture");
    return file.fileName();
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
        QVERIFY(file.OpenFile(path, File::BinaryMode, File::GenericWrite, File::CreateAlways));
        file.WriteData(value, length);
        QCOMPARE(file.Size(), quint32(bytes.size()));
    }
    QCOMPARE(ReadAll(path).toHex(), bytes.toHex());

    File file;
    file.OpenFile(path, File::BinaryMode, File::GenericRead, File::OpenExisting);
    QVariant back(value.metaType());
    if (value.typeId() == QMetaType::QString && length == 0)
        back = QString(bytes.size(), QLatin1Char(' ')); // fixed width from the target's length
    file.ReadData(back, length);
    QTEST(back, "readBack");
    QVERIFY(file.Eof());
}

void FileTest::booleanReadsLowWord_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("expected");
    QTest::newRow("high word only") << Hex("0000ffff") << false;
    QTest::newRow("low bit") << Hex("01000000") << true;
    QTest::newRow("top bit of low word") << Hex("00800000") << true;
}

void FileTest::booleanReadsLowWord()
{
    QFETCH(QByteArray, bytes);
    File file;
    file.OpenFile(WriteFile("bool.bin", bytes), File::BinaryMode, File::GenericRead, File::OpenExisting);
    bool value = !QTest::currentDataTag(); // anything: the read overwrites it
    QCOMPARE(file.ReadData(value), 4);
    QTEST(value, "expected");
}

void FileTest::textReads_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<qint32>("mode");
    QTest::addColumn<qint32>("length");
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");
    QTest::addColumn<qint32>("delivered");
    QTest::newRow("zero count keeps the value") << Hex("00000000") << 1 << -1 << "kept" << "kept" << 4;
    QTest::newRow("negative count keeps the value") << Hex("ffffffff41") << 1 << -1 << "kept" << "kept" << 4;
    QTest::newRow("count past the end gives what arrived") << Hex("0a0000004142") << 1 << -1 << "" << "AB" << 2;
    QTest::newRow("binary zero length reads the target's width") << Hex("41424344") << 1 << 0 << "xy" << "AB" << 2;
    QTest::newRow("binary zero length, empty target") << Hex("4142") << 1 << 0 << "" << "" << 0;
    QTest::newRow("text mode zero length reads the rest") << Hex("414243") << 0 << 0 << "" << "ABC" << 3;
    QTest::newRow("fixed width") << Hex("41424344") << 1 << 3 << "" << "ABC" << 3;
    QTest::newRow("count cut inside the prefix") << Hex("0300") << 1 << -1 << "kept" << "" << 0;
}

void FileTest::textReads()
{
    QFETCH(QByteArray, bytes);
    QFETCH(qint32, mode);
    QFETCH(qint32, length);
    QFETCH(QString, before);
    File file;
    file.OpenFile(WriteFile("text.bin", bytes), mode, File::GenericRead, File::OpenExisting);
    QString text = before;
    const qint32 delivered = file.ReadData(text, length);
    QTEST(text, "after");
    QTEST(delivered, "delivered");
}

void FileTest::hugeCountAllocatesOnlyWhatRemains()
{
    File file;
    file.OpenFile(WriteFile("huge.bin", Hex("ffffff7f010203")), File::BinaryMode, File::GenericRead,
        File::OpenExisting);
    QByteArray block;
    QCOMPARE(file.ReadData(block, -1), 3);
    QCOMPARE(block, Hex("010203"));
    QVERIFY(block.capacity() < 4096);
}

void FileTest::shortReadBuildsFromArrivedBytes()
{
    File file;
    file.OpenFile(WriteFile("short.bin", Hex("3412")), File::BinaryMode, File::GenericRead, File::OpenExisting);
    qint32 value = -1;
    QVERIFY(!file.HadShortRead());
    QCOMPARE(file.ReadData(value), 2);
    QCOMPARE(value, 0x1234);
    QVERIFY(file.HadShortRead());
    double real = 1.0;
    QCOMPARE(file.ReadData(real), 0);
    QCOMPARE(real, 0.0);
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
    WriteFile("number.txt", " 1234 ");
    File file;
    file.OpenFile(PathOf("number.txt"), File::TextMode, File::GenericRead, File::OpenExisting);
    qint16 number = 0;
    file.ReadData(number);
    QCOMPARE(number, qint16(1234));
    WriteFile("junk.txt", "x1");
    file.OpenFile(PathOf("junk.txt"), File::TextMode, File::GenericRead, File::OpenExisting);
    try {
        file.ReadData(number);
        QFAIL("nothing raised");
    } catch (const Error& e) {
        QCOMPARE(e.Number(), ErrorNumber::TypeMismatch);
        QCOMPARE(e.Source(), QString("File::ReadData()"));
    }
}

void FileTest::openErrors_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<quint32>("disposition");
    QTest::addColumn<qint32>("number");
    QTest::newRow("missing file") << "missing.exam" << File::OpenExisting << ENOENT;
    QTest::newRow("directory") << "sub" << File::OpenExisting << EISDIR;
    QTest::newRow("missing folder on create") << "nowhere/x.exam" << File::CreateAlways << ENOENT;
    QTest::newRow("empty name") << "" << File::OpenExisting << ENOENT;
}

void FileTest::openErrors()
{
    QFETCH(QString, name);
    QFETCH(quint32, disposition);
    QFETCH(qint32, number);
    QDir(m_dir->path()).mkdir("sub");
    File file;
    try {
        file.OpenFile(name.isEmpty() ? name : PathOf(name), File::BinaryMode, File::GenericRead, disposition);
        QFAIL("nothing raised");
    } catch (const Error& e) {
        QCOMPARE(e.Number(), number);
        QCOMPARE(e.Source(), QString("File::OpenFile()"));
        QVERIFY(e.Description().startsWith("System Error: 0x" + QString::number(number, 16).toUpper() + "\n"));
    }
    QVERIFY(!file.IsOpen());
}

void FileTest::unreadableFile()
{
    if (::geteuid() == 0)
        QSKIP("root reads any file");
    const QString path = WriteFile("secret.bin", "x");
    QFile::setPermissions(path, QFileDevice::WriteOwner);
    File file;
    try {
        file.OpenFile(path, File::BinaryMode, File::GenericRead, File::OpenExisting);
        QFAIL("nothing raised");
    } catch (const Error& e) {
        QCOMPARE(e.Number(), EACCES);
        QCOMPARE(e.Source(), QString("File::OpenFile()"));
    }
}

void FileTest::quotedPathOpensSameFile()
{
    const QString path = WriteFile("q.bin", Hex("0700"));
    File file;
    QVERIFY(file.OpenFile("  \"" + path + "\" ", File::BinaryMode, File::GenericRead, File::OpenExisting));
    QCOMPARE(file.Name(), path);
    qint16 value = 0;
    file.ReadData(value);
    QCOMPARE(value, qint16(7));
}

void FileTest::unsupportedType()
{
    File file;
    file.OpenFile(PathOf("u.bin"), File::BinaryMode, File::GenericRead | File::GenericWrite, File::CreateAlways);
    for (const QVariant& value : { QVariant(), QVariant(QPoint(1, 2)), QVariant(QVariantList {}) }) {
        try {
            file.WriteData(value, 0);
            QFAIL("write: nothing raised");
        } catch (const Error& e) {
            QCOMPARE(e.Number(), 5);
            QCOMPARE(e.Description(), QString("Unsupported data type provided"));
            QCOMPARE(e.Source(), QString("File::WriteData()"));
        }
        QVariant target = value;
        try {
            file.ReadData(target, 0);
            QFAIL("read: nothing raised");
        } catch (const Error& e) {
            QCOMPARE(e.Source(), QString("File::ReadData()"));
        }
    }
    QCOMPARE(file.Size(), 0u);
}

void FileTest::writeOnReadOnlyHandle()
{
    File file;
    file.OpenFile(WriteFile("ro.bin", "abc"), File::BinaryMode, File::GenericRead, File::OpenExisting);
    try {
        file.WriteData(qint32(1));
        QFAIL("nothing raised");
    } catch (const Error& e) {
        QCOMPARE(e.Number(), EBADF);
        QCOMPARE(e.Source(), QString("File::WriteData()"));
    }
    QCOMPARE(ReadAll(file.Name()), QByteArray("abc"));
}

void FileTest::seekAndEof()
{
    File file;
    file.OpenFile(WriteFile("empty.bin", {}), File::BinaryMode, File::GenericRead, File::OpenExisting);
    QVERIFY(file.Eof());
    file.OpenFile(WriteFile("ten.bin", "0123456789"), File::BinaryMode, File::GenericRead, File::OpenExisting);
    QVERIFY(!file.Eof());
    QCOMPARE(file.SeekTo(-3, File::FromEnd), 7u);
    QCOMPARE(file.SeekTo(2, File::FromCurrent), 9u);
    QCOMPARE(file.Position(), 9u);
    QCOMPARE(file.SeekTo(20, File::FromStart), 20u);
    QVERIFY(file.Eof());
    quint8 byte = 1;
    QCOMPARE(file.ReadData(byte), 0);
    try {
        file.SeekTo(-1, File::FromStart);
        QFAIL("nothing raised");
    } catch (const Error& e) {
        QCOMPARE(e.Number(), EINVAL);
    }
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
    source.OpenFile(WriteFile("src.bin", bytes), File::BinaryMode, File::GenericRead, File::OpenExisting);
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
    QVERIFY(file.IsNormal());
    QVERIFY(!file.IsReadOnly() && !file.IsHidden() && !file.IsDirectory());
    QVERIFY(file.GetAttributes(m_dir->path()));
    QVERIFY(file.IsDirectory() && !file.IsNormal());
    file.GetAttributes(WriteFile(".hidden", "x"));
    QVERIFY(file.IsHidden());

    file.GetAttributes(plain);
    file.SetReadOnly(true);
    file.SetArchive(true); // no counterpart on disk; stays in the cached word
    QVERIFY(file.IsArchive());
    QVERIFY(file.SetAttributes(plain));
    QVERIFY(!(QFile::permissions(plain) & QFileDevice::WriteOwner));
    file.GetAttributes(plain);
    QVERIFY(file.IsReadOnly() && !file.IsArchive());
    file.SetReadOnly(false);
    file.SetAttributes(plain);
    QVERIFY(QFile::permissions(plain) & QFileDevice::WriteOwner);

    try {
        file.GetAttributes(PathOf("missing"));
        QFAIL("nothing raised");
    } catch (const Error& e) {
        QCOMPARE(e.Number(), ENOENT);
        QCOMPARE(e.Source(), QString("File::GetAttributes()"));
    }
}

QTEST_GUILESS_MAIN(FileTest)
#include "FileTest.moc"
