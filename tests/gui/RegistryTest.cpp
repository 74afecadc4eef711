#include "common/TestUtil.h"
#include "shell/Registry.h"

#include "model/Error.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <limits>
#include <memory>
#include <sys/stat.h>

using namespace Registry;
using namespace TestUtil;

namespace {

const QString Courier = QStringLiteral("Software\\Practorum\\PackCourier");

void WriteAll(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

mode_t Mode(const QString& path)
{
    struct stat info {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_mode & 07777 : 0;
}

QVariant Read(const QString& name, qint32* type = nullptr)
{
    return ReadValue(HKEY_CURRENT_USER, Courier, name, type);
}

} // namespace

class RegistryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void roundTrip_data();
    void roundTrip();
    void missingValueIsEmptyMissingKeyRaises();
    void deleteValue();
    void machineHiveIsNeverWritten();
    void createdOwnerOnly();
    void handWrittenStore();
    void damagedStoreKeepsGoodValues();
    void failedWriteKeepsStore_data();
    void failedWriteKeepsStore();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_userFolder;
    QString m_userStore;
    QString m_machineStore;
};

void RegistryTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_userFolder = m_dir->filePath("config/Practorium");
    SetStoreFolders(m_userFolder, m_dir->filePath("machine"));
    m_userStore = StorePath(HKEY_CURRENT_USER);
    m_machineStore = StorePath(HKEY_LOCAL_MACHINE);
}

void RegistryTest::cleanup()
{
    SetStoreFolders(QString(), QString());
    if (QFileInfo::exists(m_userFolder))
        QFile::setPermissions(m_userFolder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    m_dir.reset();
}

void RegistryTest::roundTrip_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("type");
    QTest::addColumn<QVariant>("expected"); // invalid: the value itself

    const QVariant same;
    const QString mixed = QString::fromUtf8("Grüße = ♞ C:\\path\nline two\r\tend ; # [x]");
    const qint32 lowest = std::numeric_limits<qint32>::min();
    const qint32 highest = std::numeric_limits<qint32>::max();
    const QByteArray bytes("\x00\xff\x10\x00", 4);
    QTest::newRow("text: unicode, =, backslash, line breaks") << "Note" << QVariant(mixed) << REG_SZ << same;
    QTest::newRow("text: blanks at both ends") << "Pad" << QVariant("  padded  ") << REG_SZ << same;
    QTest::newRow("text: escapes written literally") << "Lit" << QVariant("a\\n\\x41\\\\") << REG_SZ << same;
    QTest::newRow("text: empty") << "Empty" << QVariant(QString()) << REG_SZ << same;
    QTest::newRow("text: cut at NUL") << "Nul" << QVariant(QString("abc") + QChar(0) + "def") << REG_SZ
                                      << QVariant("abc");
    QTest::newRow("name: =, leading [ and blanks") << " [a=b] ;x " << QVariant("v") << REG_SZ << same;
    QTest::newRow("name: empty (default value)") << "" << QVariant("default") << REG_SZ << same;
    QTest::newRow("bytes with 00 and FF") << "Password" << QVariant(bytes) << REG_BINARY << same;
    QTest::newRow("bytes: empty") << "None" << QVariant(QByteArray()) << REG_BINARY << same;
    QTest::newRow("dword lowest") << "N" << QVariant(lowest) << REG_DWORD << same;
    QTest::newRow("dword highest") << "N" << QVariant(highest) << REG_DWORD << same;
    QTest::newRow("dword 0xFFFFFFFF reads as -1") << "N" << QVariant(0xFFFFFFFFu) << REG_DWORD << QVariant(-1);
}

void RegistryTest::roundTrip()
{
    QFETCH(QString, name);
    QFETCH(QVariant, value);
    QFETCH(int, type);
    QFETCH(QVariant, expected);
    if (!expected.isValid())
        expected = value;

    WriteValue(Courier, "Neighbour", "before", REG_SZ);
    WriteValue(Courier, name, QVariant("overwritten"), REG_SZ);
    WriteValue(Courier, name, value, type);
    WriteValue(Courier, "Neighbour2", "after", REG_SZ);

    qint32 readType = -1;
    const QVariant read = Read(name, &readType);
    QCOMPARE(readType, type);
    QCOMPARE(read.typeId(), expected.typeId());
    QCOMPARE(read, expected);
    QCOMPARE(Read("Neighbour").toString(), QString("before"));
    QCOMPARE(Read("Neighbour2").toString(), QString("after"));
    // One line per value: the overwrite replaced the first write.
    QCOMPARE(ReadAll(m_userStore).count('\n'), 4);
}

void RegistryTest::missingValueIsEmptyMissingKeyRaises()
{
    WriteValue(Courier, "User ID", "someone", REG_SZ);
    qint32 type = -1;
    QVERIFY(!Read("Password", &type).isValid());
    QCOMPARE(type, REG_NONE);
    // A key exists when one of its subkeys does; key names ignore case.
    QVERIFY(!ReadValue(HKEY_CURRENT_USER, "SOFTWARE\\practorum", "x").isValid());

    const Error e = Raised([] { ReadValue(HKEY_CURRENT_USER, "Software\\Practorum\\Other", "User ID"); });
    QCOMPARE(e.Number(), ENOENT);
    QCOMPARE(e.Source(), QString("Registry:ReadValue()"));
    QVERIFY2(e.Description().startsWith("System Error: 0x2\n"), qPrintable(e.Description()));
    QCOMPARE(Raised([] { ReadValue(0x80000000u, Courier, "User ID"); }).Number(), EBADF);
}

void RegistryTest::deleteValue()
{
    WriteValue(Courier, "User ID", "someone", REG_SZ);
    WriteValue(Courier, "Password", QByteArray("\x01\x02", 2), REG_BINARY);
    DeleteValue(Courier, "password");
    QVERIFY(!Read("Password").isValid());
    QCOMPARE(Read("User ID").toString(), QString("someone"));

    DeleteValue(Courier, "User ID");
    // The key stays after its last value is gone.
    QVERIFY(!Read("User ID").isValid());
    const Error e = Raised([] { DeleteValue(Courier, "User ID"); });
    QCOMPARE(e.Number(), ENOENT);
    QCOMPARE(e.Source(), QString("Registry:DeleteValue()"));
    QCOMPARE(Raised([] { DeleteValue("Software\\Nowhere", "User ID"); }).Number(), ENOENT);
}

void RegistryTest::machineHiveIsNeverWritten()
{
    const QByteArray machine = "[SOFTWARE\\Vendor]\nPATH=sz:/usr/bin/tool\n";
    WriteAll(m_machineStore, machine);
    QCOMPARE(ReadValue(HKEY_LOCAL_MACHINE, "SOFTWARE\\Vendor", "PATH").toString(), QString("/usr/bin/tool"));
    QCOMPARE(Raised([] { WriteValue("SOFTWARE\\Vendor", "PATH", "/bin/sh", REG_SZ, HKEY_LOCAL_MACHINE); }).Number(),
        EACCES);
    QCOMPARE(Raised([] { DeleteValue("SOFTWARE\\Vendor", "PATH", HKEY_LOCAL_MACHINE); }).Number(), EACCES);
    QCOMPARE(ReadAll(m_machineStore), machine);
}

void RegistryTest::createdOwnerOnly()
{
    QVERIFY(!QFileInfo::exists(m_userFolder));
    WriteValue(Courier, "User ID", "someone", REG_SZ);
    QCOMPARE(Mode(m_userStore), mode_t(0600));
    QCOMPARE(Mode(m_userFolder), mode_t(0700));
    QVERIFY(QFile::setPermissions(m_userStore, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther));
    WriteValue(Courier, "User ID", "other", REG_SZ);
    QCOMPARE(Mode(m_userStore), mode_t(0600));
}

void RegistryTest::handWrittenStore()
{
    WriteAll(m_userStore,
        "; settings written by hand\r\n"
        "[software\\practorum\\packcourier]\r\n"
        "  Endpoint = http://127.0.0.1:8080/PackCourier.asp  \r\n"
        "user id=sz:  someone@example.com\r\n"
        "Port = qword:12\r\n"
        "Retries=dword:0x10\r\n"
        "Key=bin:0a, 0B ff\r\n"
        "Path=C:\\new\\x4\r\n");
    QCOMPARE(Read("Endpoint").toString(), QString("http://127.0.0.1:8080/PackCourier.asp"));
    QCOMPARE(Read("User ID").toString(), QString("someone@example.com"));
    QCOMPARE(Read("Port").toString(), QString("qword:12")); // an unknown prefix is part of the text
    QCOMPARE(Read("Retries"), QVariant(16));
    QCOMPARE(Read("Key"), QVariant(QByteArray("\x0a\x0b\xff", 3)));
    QCOMPARE(Read("Path").toString(), QString("C:\new\\x4"));

    WriteValue(Courier, "Password", QByteArray("\x01", 1), REG_BINARY);
    const QByteArray after = ReadAll(m_userStore);
    QVERIFY(after.startsWith("; settings written by hand\r\n[software\\practorum\\packcourier]\r\n"));
    QVERIFY(after.contains("Path=C:\\new\\x4\r\nPassword=bin:01\n"));
}

void RegistryTest::damagedStoreKeepsGoodValues()
{
    static const char junkBytes[] = "\x00\xff\xfe garbage \x01\x80=\xc3\n";
    const QByteArray junk(junkBytes, sizeof junkBytes - 1);
    WriteAll(m_userStore,
        junk + "[Software\\Practorum\\PackCourier]\n"
               "no equals sign here\n"
               "[unterminated section\n"
               "Bad1=dword:12x\n"
               "Bad2=dword:4294967296\n"
               "Bad3=bin:0g\n"
               "Bad4=bin:abc\n"
               "User ID=sz:good\n"
               "Password=bin:00ff\n"
            + junk);
    QCOMPARE(Read("User ID").toString(), QString("good"));
    QCOMPARE(Read("Password"), QVariant(QByteArray("\x00\xff", 2)));
    for (const char* bad : { "Bad1", "Bad2", "Bad3", "Bad4" })
        QVERIFY2(!Read(bad).isValid(), bad);

    WriteValue(Courier, "Bad1", 7, REG_DWORD);
    QCOMPARE(Read("Bad1"), QVariant(7));
    // Lines the program cannot read are kept byte for byte.
    const QByteArray after = ReadAll(m_userStore);
    QVERIFY(after.startsWith(junk));
    QVERIFY(after.contains("Bad1=dword:12x\n"));

    // A store past its size limit is not read at all.
    WriteAll(m_userStore, after + QByteArray(2 << 20, ';'));
    QCOMPARE(Raised([] { Read("User ID"); }).Number(), EFBIG);
}

void RegistryTest::failedWriteKeepsStore_data()
{
    QTest::addColumn<QString>("obstacle");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("number");
    const QVariant text("lost");
    QTest::newRow("read-only file") << "file" << text << REG_SZ << EACCES;
    QTest::newRow("read-only folder") << "folder" << text << REG_SZ << EACCES;
    QTest::newRow("folder path runs through a file") << "notdir" << text << REG_SZ << ENOTDIR;
    QTest::newRow("store would pass its size limit")
        << "" << QVariant(QByteArray(600 * 1024, 'x')) << REG_BINARY << EFBIG;
    QTest::newRow("dword from text") << "" << QVariant("twelve") << REG_DWORD << int(ErrorNumber::TypeMismatch);
    QTest::newRow("dword above 32 bits") << "" << QVariant(qint64(1) << 32) << REG_DWORD << int(ErrorNumber::Overflow);
    QTest::newRow("bytes from text") << "" << QVariant("01ff") << REG_BINARY << int(ErrorNumber::TypeMismatch);
}

void RegistryTest::failedWriteKeepsStore()
{
    QFETCH(QString, obstacle);
    QFETCH(QVariant, value);
    QFETCH(int, type);
    QFETCH(int, number);

    WriteValue(Courier, "User ID", "kept", REG_SZ);
    const QByteArray before = ReadAll(m_userStore);
    if (obstacle == "file") {
        QVERIFY(QFile::setPermissions(m_userStore, QFile::ReadOwner));
    } else if (obstacle == "folder") {
        QVERIFY(QFile::setPermissions(m_userFolder, QFile::ReadOwner | QFile::ExeOwner));
    } else if (obstacle == "notdir") {
        WriteAll(m_dir->filePath("blocker"), "x");
        SetStoreFolders(m_dir->filePath("blocker/Practorium"), QString());
    }

    const Error e = Raised([&] { WriteValue(Courier, "User ID", value, type); });
    QCOMPARE(e.Number(), number);
    QCOMPARE(e.Source(), QString("Registry:WriteValue()"));
    if (!obstacle.isEmpty())
        QVERIFY(e.Description().startsWith("System Error: 0x" + QString::number(number, 16).toUpper() + "\n"));
    QCOMPARE(ReadAll(m_userStore), before);
    QCOMPARE(QDir(m_userFolder).entryList(QDir::Files), QStringList { "registry.ini" });
}

QTEST_GUILESS_MAIN(RegistryTest)
#include "RegistryTest.moc"
