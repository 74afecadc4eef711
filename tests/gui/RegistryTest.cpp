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
    void unwritableStoreKeepsContents_data();
    void unwritableStoreKeepsContents();
    void oversizedStore();
    void valueOfWrongKind_data();
    void valueOfWrongKind();

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
    QTest::addColumn<QVariant>("expected");

    const QString mixed = QString::fromUtf8("Grüße = ♞ C:\\path\nline two\r\tend ; # [x]");
    QTest::newRow("text") << "User ID" << QVariant("someone@example.com") << REG_SZ << QVariant("someone@example.com");
    QTest::newRow("text: unicode, =, backslash, line breaks") << "Note" << QVariant(mixed) << REG_SZ << QVariant(mixed);
    QTest::newRow("text: blanks at both ends") << "Pad" << QVariant("  padded  ") << REG_SZ << QVariant("  padded  ");
    QTest::newRow("text: escapes written literally") << "Lit" << QVariant("a\\n\\x41\\\\") << REG_SZ
                                                      << QVariant("a\\n\\x41\\\\");
    QTest::newRow("text: empty") << "Empty" << QVariant(QString()) << REG_SZ << QVariant(QString(""));
    QTest::newRow("text: cut at NUL") << "Nul" << QVariant(QString("abc") + QChar(0) + "def") << REG_SZ
                                      << QVariant("abc");
    QTest::newRow("name: =, leading [ and blanks") << " [a=b] ;x " << QVariant("v") << REG_SZ << QVariant("v");
    QTest::newRow("name: empty (default value)") << "" << QVariant("default") << REG_SZ << QVariant("default");
    QTest::newRow("bytes with 00 and FF") << "Password" << QVariant(QByteArray("\x00\xff\x10\x00", 4)) << REG_BINARY
                                          << QVariant(QByteArray("\x00\xff\x10\x00", 4));
    QTest::newRow("bytes: empty") << "None" << QVariant(QByteArray()) << REG_BINARY << QVariant(QByteArray());
    QTest::newRow("dword 0") << "N" << QVariant(0) << REG_DWORD << QVariant(0);
    QTest::newRow("dword negative") << "N" << QVariant(-5) << REG_DWORD << QVariant(-5);
    QTest::newRow("dword lowest") << "N" << QVariant(std::numeric_limits<qint32>::min()) << REG_DWORD
                                  << QVariant(std::numeric_limits<qint32>::min());
    QTest::newRow("dword highest") << "N" << QVariant(std::numeric_limits<qint32>::max()) << REG_DWORD
                                   << QVariant(std::numeric_limits<qint32>::max());
    QTest::newRow("dword 0xFFFFFFFF reads as -1") << "N" << QVariant(0xFFFFFFFFu) << REG_DWORD << QVariant(-1);
}

void RegistryTest::roundTrip()
{
    QFETCH(QString, name);
    QFETCH(QVariant, value);
    QFETCH(int, type);
    QFETCH(QVariant, expected);

    WriteValue(Courier, "Neighbour", "before", REG_SZ);
    WriteValue(Courier, name, QVariant("overwritten"), REG_SZ);
    WriteValue(Courier, name, value, type);
    WriteValue(Courier, "Neighbour2", "after", REG_SZ);

    qint32 readType = -1;
    const QVariant read = ReadValue(HKEY_CURRENT_USER, Courier, name, &readType);
    QCOMPARE(readType, type);
    QCOMPARE(read.typeId(), expected.typeId());
    QCOMPARE(read, expected);
    QCOMPARE(ReadValue(HKEY_CURRENT_USER, Courier, "Neighbour").toString(), QString("before"));
    QCOMPARE(ReadValue(HKEY_CURRENT_USER, Courier, "Neighbour2").toString(), QString("after"));
    // One line per value: the overwrite replaced the first write.
    QCOMPARE(ReadAll(m_userStore).count('\n'), 4);
}

void RegistryTest::missingValueIsEmptyMissingKeyRaises()
{
    WriteValue(Courier, "User ID", "someone", REG_SZ);
    qint32 type = -1;
    QVERIFY(!ReadValue(HKEY_CURRENT_USER, Courier, "Password", &type).isValid());
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
    QVERIFY(!ReadValue(HKEY_CURRENT_USER, Courier, "Password").isValid());
    QCOMPARE(ReadValue(HKEY_CURRENT_USER, Courier, "User ID").toString(), QString("someone"));

    DeleteValue(Courier, "User ID");
    // The key stays after its last value is gone.
    QVERIFY(!ReadValue(HKEY_CURRENT_USER, Courier, "User ID").isValid());
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

    Error e = Raised([] { WriteValue("SOFTWARE\\Vendor", "PATH", "/bin/sh", REG_SZ, HKEY_LOCAL_MACHINE); });
    QCOMPARE(e.Number(), EACCES);
    QCOMPARE(e.Source(), QString("Registry:WriteValue()"));
    QVERIFY(e.Description().startsWith("System Error: 0xD\n"));
    e = Raised([] { DeleteValue("SOFTWARE\\Vendor", "PATH", HKEY_LOCAL_MACHINE); });
    QCOMPARE(e.Number(), EACCES);
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
    auto read = [](const QString& name) { return ReadValue(HKEY_CURRENT_USER, Courier, name); };
    QCOMPARE(read("Endpoint").toString(), QString("http://127.0.0.1:8080/PackCourier.asp"));
    QCOMPARE(read("User ID").toString(), QString("someone@example.com"));
    QCOMPARE(read("Port").toString(), QString("qword:12")); // an unknown prefix is part of the text
    QCOMPARE(read("Retries"), QVariant(16));
    QCOMPARE(read("Key"), QVariant(QByteArray("\x0a\x0b\xff", 3)));
    QCOMPARE(read("Path").toString(), QString("C:\new\\x4"));

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
    QCOMPARE(ReadValue(HKEY_CURRENT_USER, Courier, "User ID").toString(), QString("good"));
    QCOMPARE(ReadValue(HKEY_CURRENT_USER, Courier, "Password"), QVariant(QByteArray("\x00\xff", 2)));
    for (const char* bad : { "Bad1", "Bad2", "Bad3", "Bad4" })
        QVERIFY2(!ReadValue(HKEY_CURRENT_USER, Courier, bad).isValid(), bad);

    WriteValue(Courier, "Bad1", 7, REG_DWORD);
    QCOMPARE(ReadValue(HKEY_CURRENT_USER, Courier, "Bad1"), QVariant(7));
    // Lines the program cannot read are kept byte for byte.
    const QByteArray after = ReadAll(m_userStore);
    QVERIFY(after.startsWith(junk));
    QVERIFY(after.contains("Bad1=dword:12x\n"));
}

void RegistryTest::unwritableStoreKeepsContents_data()
{
    QTest::addColumn<QString>("obstacle");
    QTest::addColumn<int>("number");
    QTest::newRow("read-only file") << "file" << EACCES;
    QTest::newRow("read-only folder") << "folder" << EACCES;
    QTest::newRow("folder path runs through a file") << "notdir" << ENOTDIR;
}

void RegistryTest::unwritableStoreKeepsContents()
{
    QFETCH(QString, obstacle);
    QFETCH(int, number);

    WriteValue(Courier, "User ID", "kept", REG_SZ);
    const QByteArray before = ReadAll(m_userStore);
    if (obstacle == "file") {
        QVERIFY(QFile::setPermissions(m_userStore, QFile::ReadOwner));
    } else if (obstacle == "folder") {
        QVERIFY(QFile::setPermissions(m_userFolder, QFile::ReadOwner | QFile::ExeOwner));
    } else {
        WriteAll(m_dir->filePath("blocker"), "x");
        SetStoreFolders(m_dir->filePath("blocker/Practorium"), QString());
    }

    const Error e = Raised([] { WriteValue(Courier, "User ID", "lost", REG_SZ); });
    QCOMPARE(e.Number(), number);
    QCOMPARE(e.Source(), QString("Registry:WriteValue()"));
    QVERIFY(e.Description().startsWith("System Error: 0x" + QString::number(number, 16).toUpper() + "\n"));
    QCOMPARE(ReadAll(m_userStore), before);
    QCOMPARE(QDir(m_userFolder).entryList(QDir::Files), QStringList { "registry.ini" });
}

void RegistryTest::oversizedStore()
{
    WriteValue(Courier, "User ID", "kept", REG_SZ);
    const QByteArray before = ReadAll(m_userStore);
    Error e = Raised([] { WriteValue(Courier, "Blob", QByteArray(600 * 1024, 'x'), REG_BINARY); });
    QCOMPARE(e.Number(), EFBIG);
    QCOMPARE(ReadAll(m_userStore), before);

    WriteAll(m_userStore, before + QByteArray(2 << 20, ';'));
    e = Raised([] { ReadValue(HKEY_CURRENT_USER, Courier, "User ID"); });
    QCOMPARE(e.Number(), EFBIG);
}

void RegistryTest::valueOfWrongKind_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("number");
    QTest::newRow("dword from text") << QVariant("twelve") << REG_DWORD << int(ErrorNumber::TypeMismatch);
    QTest::newRow("dword above 32 bits") << QVariant(qint64(1) << 32) << REG_DWORD << int(ErrorNumber::Overflow);
    QTest::newRow("bytes from text") << QVariant("01ff") << REG_BINARY << int(ErrorNumber::TypeMismatch);
}

void RegistryTest::valueOfWrongKind()
{
    QFETCH(QVariant, value);
    QFETCH(int, type);
    const Error e = Raised([&] { WriteValue(Courier, "Value", value, type); });
    QTEST(e.Number(), "number");
    QCOMPARE(e.Source(), QString("Registry:WriteValue()"));
    QVERIFY(!QFileInfo::exists(m_userStore));
}

QTEST_GUILESS_MAIN(RegistryTest)
#include "RegistryTest.moc"
