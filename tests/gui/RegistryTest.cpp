#include "shell/Registry.h"

#include "common/GuiUtil.h"
#include "common/TestUtil.h"

#include <QtTest>
#include <QtCore>

#include <cerrno>
#include <limits>
#include <memory>

using namespace Registry;
using namespace TestUtil;

namespace {

const QString Courier = QStringLiteral("Software\\Practorum\\PackCourier");

QVariant Read(const QString& name, qint32* t = nullptr) { return ReadValue(HKEY_CURRENT_USER, Courier, name, t); }

} // namespace

class RegistryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_userFolder = m_dir->filePath("config/Practorium");
        SetStoreFolders(m_userFolder, m_dir->filePath("machine"));
        m_userStore = StorePath(HKEY_CURRENT_USER);
    }

    void cleanup()
    {
        SetStoreFolders(QString(), QString());
        QFile::setPermissions(m_userFolder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    void roundTrip_data()
    {
        // expected: invalid: the value itself
        GuiUtil::Columns<QString, QVariant, int, QVariant>({ "name", "value", "type", "expected" });
        const QString mixed = QString::fromUtf8("  Grüße = ♞ C:\\path\nline two\r\tend ; # [x] a\\n\\x41\\\\  ");
        QTest::newRow("text: unicode, =, escapes, line breaks, blanks") << "Note" << QVariant(mixed) << REG_SZ << QVariant();
        QTest::newRow("cut at NUL") << "T" << QVariant(QString("abc") + QChar(0) + "def") << REG_SZ << QVariant("abc");
        QTest::newRow("name: =, leading [ and blanks") << " [a=b] ;x " << QVariant("v") << REG_SZ << QVariant();
        QTest::newRow("name: empty (default value)") << "" << QVariant("default") << REG_SZ << QVariant();
        QTest::newRow("bytes: 00 and FF") << "Key" << QVariant(QByteArray("\x00\xff\x10\x00", 4)) << REG_BINARY << QVariant();
        QTest::newRow("bytes: empty") << "None" << QVariant(QByteArray()) << REG_BINARY << QVariant();
        QTest::newRow("dword lowest") << "N" << QVariant(std::numeric_limits<qint32>::min()) << REG_DWORD << QVariant();
        QTest::newRow("dword 0xFFFFFFFF reads as -1") << "N" << QVariant(0xFFFFFFFFu) << REG_DWORD << QVariant(-1);
    }

    // Written over another value between two neighbours, read back alike.
    void roundTrip()
    {
        QFETCH(QString, name);
        QFETCH(QVariant, value);
        QFETCH(int, type);
        WriteValue(Courier, "Neighbour", "before", REG_SZ);
        WriteValue(Courier, name, QVariant("overwritten"), REG_SZ);
        WriteValue(Courier, name, value, type);
        WriteValue(Courier, "Neighbour2", "after", REG_SZ);
        qint32 readType = -1;
        const QVariant read = Read(name, &readType), wanted = GuiUtil::Data<QVariant>("expected").isValid() ? GuiUtil::Data<QVariant>("expected") : value;
        QVERIFY(readType == type && read.typeId() == wanted.typeId());
        QCOMPARE(read, wanted);
        QVERIFY(Read("Neighbour").toString() == "before" && Read("Neighbour2").toString() == "after");
        QCOMPARE(ReadAll(m_userStore).count('\n'), 4); // one line per value
    }

    void missingValueOrKey()
    {
        WriteValue(Courier, "User ID", "someone", REG_SZ);
        WriteValue(Courier, "Password", QByteArray("\x01\x02", 2), REG_BINARY);
        DeleteValue(Courier, "password"); // value names ignore case
        qint32 type = -1;
        QVERIFY(!Read("Password", &type).isValid() && type == REG_NONE && Read("User ID").toString() == "someone");
        DeleteValue(Courier, "User ID");
        // The key stays after its last value is gone; a key with a subkey exists too.
        QVERIFY(!Read("User ID").isValid() && !ReadValue(HKEY_CURRENT_USER, "SOFTWARE\\practorum", "x").isValid());
        const Error e = Raised([] { ReadValue(HKEY_CURRENT_USER, "Software\\Practorum\\Other", "User ID"); });
        QVERIFY(e.Number() == ENOENT && e.Source() == "Registry:ReadValue()" && e.Description().startsWith("System Error: 0x2\n"));
        QCOMPARE(Raised([] { ReadValue(0x80000000u, Courier, "User ID"); }).Number(), EBADF);
        const Error d = Raised([] { DeleteValue(Courier, "User ID"); });
        QVERIFY(d.Number() == ENOENT && d.Source() == "Registry:DeleteValue()");
        QCOMPARE(Raised([] { DeleteValue("Software\\Nowhere", "User ID"); }).Number(), ENOENT);
    }

    void machineHiveIsNeverWritten()
    {
        const QByteArray machine = "[SOFTWARE\\Vendor]\nPATH=sz:/usr/bin/tool\n";
        WriteFile(StorePath(HKEY_LOCAL_MACHINE), machine);
        QCOMPARE(ReadValue(HKEY_LOCAL_MACHINE, "SOFTWARE\\Vendor", "PATH").toString(), QString("/usr/bin/tool"));
        QCOMPARE(Raised([] { WriteValue("SOFTWARE\\Vendor", "PATH", "/bin/sh", REG_SZ, HKEY_LOCAL_MACHINE); }).Number(), EACCES);
        QCOMPARE(Raised([] { DeleteValue("SOFTWARE\\Vendor", "PATH", HKEY_LOCAL_MACHINE); }).Number(), EACCES);
        QCOMPARE(ReadAll(StorePath(HKEY_LOCAL_MACHINE)), machine);
    }

    // Made for the owner only, and put back so when another mode crept in.
    void createdOwnerOnly()
    {
        WriteValue(Courier, "User ID", "someone", REG_SZ);
        const auto readWrite = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;
        QVERIFY(QFile::permissions(m_userStore) == readWrite);
        QVERIFY(QFile::permissions(m_userFolder) == (readWrite | QFile::ExeOwner | QFile::ExeUser));
        QVERIFY(QFile::setPermissions(m_userStore, readWrite | QFile::ReadOther));
        WriteValue(Courier, "User ID", "other", REG_SZ);
        QVERIFY(QFile::permissions(m_userStore) == readWrite);
    }

    void handEditedAndDamagedStore()
    {
        const QByteArray junk("\x00\xff\xfe garbage \x01\x80=\xc3\n", 17);
        const QByteArray head = junk + "; settings written by hand\r\n[software\\practorum\\packcourier]\r\n";
        const QByteArray unreadable = "no equals sign here\n[unterminated section\nBad1=dword:12x\n";
        WriteFile(m_userStore, head + unreadable + "Bad2=dword:4294967296\nBad3=bin:0g\nBad4=bin:abc\n"
                "  Endpoint = http://127.0.0.1:8080/PackCourier.asp  \r\nuser id=sz:  someone@example.com\r\n"
                "Retries=dword:0x10\r\nKey=bin:0a, 0B ff\r\nPath=C:\\new\\x4\r\n" + junk);
        QVERIFY(Read("Endpoint") == "http://127.0.0.1:8080/PackCourier.asp" && Read("User ID") == "someone@example.com");
        QVERIFY(Read("Retries") == QVariant(16) && Read("Key") == QVariant(QByteArray("\x0a\x0b\xff", 3)));
        QCOMPARE(Read("Path").toString(), QString("C:\new\\x4"));
        for (const char* bad : { "Bad1", "Bad2", "Bad3", "Bad4" })
            QVERIFY2(!Read(bad).isValid(), bad);
        // Lines the program cannot read, comments included, are kept byte for byte.
        WriteValue(Courier, "Bad1", 7, REG_DWORD);
        const QByteArray after = ReadAll(m_userStore);
        QVERIFY(Read("Bad1") == QVariant(7) && after.startsWith(head) && after.contains(unreadable));
        // A store past its size limit is not read at all.
        WriteFile(m_userStore, after + QByteArray(2 << 20, ';'));
        QCOMPARE(Raised([] { Read("User ID"); }).Number(), EFBIG);
    }

    void failedWriteKeepsStore_data()
    {
        GuiUtil::Columns<QString, QVariant, int, int>({ "obstacle", "value", "type", "number" });
        QTest::newRow("read-only file") << "file" << QVariant("lost") << REG_SZ << EACCES;
        QTest::newRow("read-only folder") << "folder" << QVariant("lost") << REG_SZ << EACCES;
        QTest::newRow("folder path runs through a file") << "notdir" << QVariant("lost") << REG_SZ << ENOTDIR;
        QTest::newRow("store would pass its size limit") << "" << QVariant(QByteArray(600 * 1024, 'x')) << REG_BINARY << EFBIG;
        QTest::newRow("dword from text") << "" << QVariant("twelve") << REG_DWORD << int(ErrorNumber::TypeMismatch);
        QTest::newRow("dword of 2^32") << "" << QVariant(qint64(1) << 32) << REG_DWORD << int(ErrorNumber::Overflow);
    }

    void failedWriteKeepsStore()
    {
        QFETCH(QString, obstacle);
        WriteValue(Courier, "User ID", "kept", REG_SZ);
        const QByteArray before = ReadAll(m_userStore);
        if (obstacle == "file")
            QVERIFY(QFile::setPermissions(m_userStore, QFile::ReadOwner));
        else if (obstacle == "folder")
            QVERIFY(QFile::setPermissions(m_userFolder, QFile::ReadOwner | QFile::ExeOwner));
        else if (obstacle == "notdir")
            SetStoreFolders(WriteFile(m_dir->filePath("blocker"), "x") + "/Practorium", QString());
        QFETCH(QVariant, value);
        QFETCH(int, type);
        const Error e = Raised([&] { WriteValue(Courier, "User ID", value, type); });
        QTEST(e.Number(), "number");
        QVERIFY(e.Source() == "Registry:WriteValue()" && ReadAll(m_userStore) == before);
        QCOMPARE(QDir(m_userFolder).entryList(QDir::Files), QStringList { "registry.ini" });
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_userFolder;
    QString m_userStore;
};

QTEST_GUILESS_MAIN(RegistryTest)
#include "RegistryTest.moc"
