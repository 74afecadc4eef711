#include "shell/Registry.h"

#include "common/TestUtil.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <limits>
#include <memory>

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

QVariant Read(const QString& name, qint32* t = nullptr) { return ReadValue(HKEY_CURRENT_USER, Courier, name, t); }

} // namespace

class RegistryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_userFolder = m_dir->filePath("config/Practorium");
        SetStoreFolders(m_userFolder, m_dir->filePath("machine"));
        m_userStore = StorePath(HKEY_CURRENT_USER);
    }

    void cleanup()
    {
        SetStoreFolders(QString(), QString());
        QFile::setPermissions(m_userFolder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        m_dir.reset();
    }

    void roundTrip_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<int>("type");
        QTest::addColumn<QVariant>("expected"); // invalid: the value itself
        const QVariant same;
        const QString mixed = QString::fromUtf8("  Grüße = ♞ C:\\path\nline two\r\tend ; # [x] a\\n\\x41\\\\  ");
        QTest::newRow("text: unicode, =, escapes, line breaks, blanks") << "Note" << QVariant(mixed) << REG_SZ << same;
        QTest::newRow("text: empty") << "Empty" << QVariant(QString()) << REG_SZ << same;
        QTest::newRow("cut at NUL") << "T" << QVariant(QString("abc") + QChar(0) + "def") << REG_SZ << QVariant("abc");
        QTest::newRow("name: =, leading [ and blanks") << " [a=b] ;x " << QVariant("v") << REG_SZ << same;
        QTest::newRow("name: empty (default value)") << "" << QVariant("default") << REG_SZ << same;
        QTest::newRow("bytes: 00 and FF") << "Key" << QVariant(QByteArray("\x00\xff\x10\x00", 4)) << REG_BINARY << same;
        QTest::newRow("bytes: empty") << "None" << QVariant(QByteArray()) << REG_BINARY << same;
        QTest::newRow("dword lowest") << "N" << QVariant(std::numeric_limits<qint32>::min()) << REG_DWORD << same;
        QTest::newRow("dword 0xFFFFFFFF reads as -1") << "N" << QVariant(0xFFFFFFFFu) << REG_DWORD << QVariant(-1);
    }

    void roundTrip()
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
        const QVariant read = Read(name, &readType);
        QCOMPARE(readType, type);
        const QVariant wanted = expected.isValid() ? expected : value;
        QCOMPARE(read.typeId(), wanted.typeId());
        QCOMPARE(read, wanted);
        QCOMPARE(Read("Neighbour").toString(), QString("before"));
        QCOMPARE(Read("Neighbour2").toString(), QString("after"));
        // One line per value: the overwrite replaced the first write.
        QCOMPARE(ReadAll(m_userStore).count('\n'), 4);
    }

    void missingValueOrKey()
    {
        WriteValue(Courier, "User ID", "someone", REG_SZ);
        WriteValue(Courier, "Password", QByteArray("\x01\x02", 2), REG_BINARY);
        DeleteValue(Courier, "password"); // value names ignore case
        qint32 type = -1;
        QVERIFY(!Read("Password", &type).isValid());
        QCOMPARE(type, REG_NONE);
        QCOMPARE(Read("User ID").toString(), QString("someone"));
        DeleteValue(Courier, "User ID");
        // The key stays after its last value is gone; a key with a subkey exists too.
        QVERIFY(!Read("User ID").isValid());
        QVERIFY(!ReadValue(HKEY_CURRENT_USER, "SOFTWARE\\practorum", "x").isValid());

        const Error e = Raised([] { ReadValue(HKEY_CURRENT_USER, "Software\\Practorum\\Other", "User ID"); });
        QCOMPARE(e.Number(), ENOENT);
        QCOMPARE(e.Source(), QString("Registry:ReadValue()"));
        QVERIFY2(e.Description().startsWith("System Error: 0x2\n"), qPrintable(e.Description()));
        QCOMPARE(Raised([] { ReadValue(0x80000000u, Courier, "User ID"); }).Number(), EBADF);
        const Error d = Raised([] { DeleteValue(Courier, "User ID"); });
        QCOMPARE(d.Number(), ENOENT);
        QCOMPARE(d.Source(), QString("Registry:DeleteValue()"));
        QCOMPARE(Raised([] { DeleteValue("Software\\Nowhere", "User ID"); }).Number(), ENOENT);
    }

    void machineHiveIsNeverWritten()
    {
        const QByteArray machine = "[SOFTWARE\\Vendor]\nPATH=sz:/usr/bin/tool\n";
        WriteAll(StorePath(HKEY_LOCAL_MACHINE), machine);
        QCOMPARE(ReadValue(HKEY_LOCAL_MACHINE, "SOFTWARE\\Vendor", "PATH").toString(), QString("/usr/bin/tool"));
        QCOMPARE(Raised([] { WriteValue("SOFTWARE\\Vendor", "PATH", "/bin/sh", REG_SZ, HKEY_LOCAL_MACHINE); }).Number(),
            EACCES);
        QCOMPARE(Raised([] { DeleteValue("SOFTWARE\\Vendor", "PATH", HKEY_LOCAL_MACHINE); }).Number(), EACCES);
        QCOMPARE(ReadAll(StorePath(HKEY_LOCAL_MACHINE)), machine);
    }

    void createdOwnerOnly()
    {
        WriteValue(Courier, "User ID", "someone", REG_SZ);
        const auto readWrite = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;
        QCOMPARE(QFile::permissions(m_userStore), readWrite);
        QCOMPARE(QFile::permissions(m_userFolder), readWrite | QFile::ExeOwner | QFile::ExeUser);
        QVERIFY(QFile::setPermissions(m_userStore, readWrite | QFile::ReadOther));
        WriteValue(Courier, "User ID", "other", REG_SZ);
        QCOMPARE(QFile::permissions(m_userStore), readWrite);
    }

    void handEditedAndDamagedStore()
    {
        const QByteArray junk("\x00\xff\xfe garbage \x01\x80=\xc3\n", 17);
        WriteAll(m_userStore,
            junk + "; settings written by hand\r\n"
                   "[software\\practorum\\packcourier]\r\n"
                   "no equals sign here\n"
                   "[unterminated section\n"
                   "Bad1=dword:12x\n"
                   "Bad2=dword:4294967296\n"
                   "Bad3=bin:0g\n"
                   "Bad4=bin:abc\n"
                   "  Endpoint = http://127.0.0.1:8080/PackCourier.asp  \r\n"
                   "user id=sz:  someone@example.com\r\n"
                   "Retries=dword:0x10\r\n"
                   "Key=bin:0a, 0B ff\r\n"
                   "Path=C:\\new\\x4\r\n"
                + junk);
        QCOMPARE(Read("Endpoint").toString(), QString("http://127.0.0.1:8080/PackCourier.asp"));
        QCOMPARE(Read("User ID").toString(), QString("someone@example.com"));
        QCOMPARE(Read("Retries"), QVariant(16));
        QCOMPARE(Read("Key"), QVariant(QByteArray("\x0a\x0b\xff", 3)));
        QCOMPARE(Read("Path").toString(), QString("C:\new\\x4"));
        for (const char* bad : { "Bad1", "Bad2", "Bad3", "Bad4" })
            QVERIFY2(!Read(bad).isValid(), bad);

        // Lines the program cannot read, comments included, are kept byte for byte.
        WriteValue(Courier, "Bad1", 7, REG_DWORD);
        QCOMPARE(Read("Bad1"), QVariant(7));
        const QByteArray after = ReadAll(m_userStore);
        QVERIFY(after.startsWith(junk + "; settings written by hand\r\n[software\\practorum\\packcourier]\r\n"));
        QVERIFY(after.contains("no equals sign here\n[unterminated section\nBad1=dword:12x\n"));

        // A store past its size limit is not read at all.
        WriteAll(m_userStore, after + QByteArray(2 << 20, ';'));
        QCOMPARE(Raised([] { Read("User ID"); }).Number(), EFBIG);
    }

    void failedWriteKeepsStore_data()
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
        QTest::newRow("dword of 2^32") << "" << QVariant(qint64(1) << 32) << REG_DWORD << int(ErrorNumber::Overflow);
    }

    void failedWriteKeepsStore()
    {
        QFETCH(QString, obstacle);
        QFETCH(QVariant, value);
        QFETCH(int, type);
        QFETCH(int, number);
        WriteValue(Courier, "User ID", "kept", REG_SZ);
        const QByteArray before = ReadAll(m_userStore);
        WriteAll(m_dir->filePath("blocker"), "x");
        if (obstacle == "file")
            QVERIFY(QFile::setPermissions(m_userStore, QFile::ReadOwner));
        else if (obstacle == "folder")
            QVERIFY(QFile::setPermissions(m_userFolder, QFile::ReadOwner | QFile::ExeOwner));
        else if (obstacle == "notdir")
            SetStoreFolders(m_dir->filePath("blocker/Practorium"), QString());

        const Error e = Raised([&] { WriteValue(Courier, "User ID", value, type); });
        QCOMPARE(e.Number(), number);
        QCOMPARE(e.Source(), QString("Registry:WriteValue()"));
        QCOMPARE(ReadAll(m_userStore), before);
        QCOMPARE(QDir(m_userFolder).entryList(QDir::Files), QStringList { "registry.ini" });
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_userFolder;
    QString m_userStore;
};

QTEST_GUILESS_MAIN(RegistryTest)
#include "RegistryTest.moc"
