#include "shell/frmAbout.h"

#include "common/GuiUtil.h"
#include "common/TestUtil.h"
#include "shell/Registry.h"

#include <QtTest>
#include <QtWidgets>

using namespace Registry;
using namespace GuiUtil;

class frmAboutTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        SetStoreFolders(m_dir->filePath("user"), m_dir->filePath("machine"));
        qputenv("PATH", QFile::encodeName(m_dir->filePath("bin")));
        MessageSeam::Intercept(true);
    }

    void startSysInfo_data()
    {
        QTest::addColumn<QByteArray>("store");
        QTest::addColumn<bool>("storeReadOnly");
        QTest::addColumn<QStringList>("onPath"); // stand-in tools in the folder on PATH
        QTest::addColumn<QString>("ran"); // empty: the message is shown
        const QByteArray msinfo = "[SOFTWARE\\Microsoft\\Shared Tools\\MSINFO]\nPATH=$DIR/";
        const QByteArray location = "[SOFTWARE\\Microsoft\\Shared Tools Location]\nMSINFO=sz:$DIR/";
        const QStringList both { "bin/hardinfo", "bin/gnome-system-monitor" };
        QTest::newRow("hardinfo on PATH") << QByteArray() << false << both << "hardinfo";
        QTest::newRow("next tool on PATH") << QByteArray() << false << both.mid(1) << "gnome-system-monitor";
        QTest::newRow("program in the store") << msinfo + "tools/sys info\n" << false << both << "sys info";
        QTest::newRow("folder named in the store") << location + "tools\n" << false << both << "MSINFO32.EXE";
        QTest::newRow("named folder without MSINFO32.EXE") << location + "bin\n" << false << both << "hardinfo";
        QTest::newRow("write-protected store") << msinfo + "tools/sys info\n" << true << both << "hardinfo";
        QTest::newRow("named program cannot start") << msinfo + "missing\n" << false << both << "";
        QTest::newRow("no tool anywhere") << QByteArray() << false << QStringList() << "";
    }

    // Each stand-in tool leaves a file of its own name when run.
    void startSysInfo()
    {
        QFETCH(QString, ran);
        Write("machine/registry.ini", Data<QByteArray>("store"), Data<bool>("storeReadOnly"));
        for (const QString& tool : Data<QStringList>("onPath") + QStringList { "tools/sys info", "tools/MSINFO32.EXE" })
            Write(tool, "#!/bin/sh\necho ran > '$DIR/" + QFileInfo(tool).fileName().toUtf8() + "'\n");
        frmAbout about;
        about.show();
        // The notice's year follows the clock, not the build.
        QVERIFY(Child<QLabel>(&about, "lblNotice")->text().contains(QString::number(QDate::currentDate().year())));
        QTest::mouseClick(Child(&about, "cmdSysInfo"), Qt::LeftButton);
        QCOMPARE(Shown(), ran.isEmpty() ? QStringList { "0:System Information Is Unavailable At This Time" } : QStringList());
        if (!ran.isEmpty())
            QTRY_VERIFY(QFile::exists(m_dir->filePath(ran)));
        QVERIFY(about.isVisible());
    }

    void getKeyValue_data()
    {
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<bool>("found");
        QTest::addColumn<QString>("text");
        QTest::newRow("text: trailing NUL dropped") << QByteArray("PATH=sz:abc\\x00") << true << "abc";
        QTest::newRow("number: digits joined without leading zeros") << QByteArray("PATH=dword:0x0102") << true << "18";
        QTest::newRow("1024 bytes fit") << "PATH=sz:" + QByteArray(1024, 'a') << true << QString(1024, 'a');
        QTest::newRow("1025 bytes do not") << "PATH=sz:" + QByteArray(1025, 'a') << false << "";
        QTest::newRow("missing value") << QByteArray("Other=sz:x") << false << "";
    }

    void getKeyValue()
    {
        Write("machine/registry.ini", "[SOFTWARE\\Vendor]\n" + Data<QByteArray>("value") + "\n");
        QString text = "stale";
        QTEST(frmAbout::GetKeyValue(HKEY_LOCAL_MACHINE, "software\\vendor", "PATH", text), "found");
        QTEST(text, "text");
        QVERIFY(!frmAbout::GetKeyValue(HKEY_LOCAL_MACHINE, "SOFTWARE\\Missing", "PATH", text));
    }

private:
    // Writes `path` under the test's folder, "$DIR" in `bytes` standing for
    // that folder: read-only, or else executable for its owner.
    void Write(const QString& path, const QByteArray& bytes, bool readOnly = false)
    {
        QFile file(TestUtil::WriteFile(m_dir->filePath(path), QByteArray(bytes).replace("$DIR", QFile::encodeName(m_dir->path()))));
        QVERIFY(file.setPermissions(readOnly ? QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther
                                             : QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }

    std::unique_ptr<QTemporaryDir> m_dir;
};

QTEST_MAIN(frmAboutTest)
#include "frmAboutTest.moc"
