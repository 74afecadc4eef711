#include "shell/frmAbout.h"

#include "shell/MessageSeam.h"
#include "shell/Registry.h"

#include <QDate>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Registry;

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

    void showsVersionAndNotice()
    {
        frmAbout about;
        about.show();
        const QString text = about.findChild<QLabel*>("lblVersion")->text();
        QVERIFY2(QRegularExpression("^Version: \\d+\\.\\d+ Build: \\d+$").match(text).hasMatch(), qPrintable(text));
        // The notice's year follows the clock, not the build.
        QVERIFY(about.findChild<QLabel*>("lblNotice")->text().contains(QString::number(QDate::currentDate().year())));
        QVERIFY(!about.findChild<QLabel*>("picLogo")->pixmap().isNull());
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

    void startSysInfo()
    {
        QFETCH(QByteArray, store);
        QFETCH(bool, storeReadOnly);
        QFETCH(QStringList, onPath);
        QFETCH(QString, ran);
        Write("machine/registry.ini", store, storeReadOnly);
        // Each tool leaves a file of its own name when run.
        for (const QString& tool : onPath + QStringList { "tools/sys info", "tools/MSINFO32.EXE" })
            Write(tool, "#!/bin/sh\necho ran > '$DIR/" + QFileInfo(tool).fileName().toUtf8() + "'\n");
        frmAbout about;
        about.show();
        QTest::mouseClick(about.findChild<QPushButton*>("cmdSysInfo"), Qt::LeftButton);

        const QList<MessageSeam::Shown> shown = MessageSeam::TakeShown();
        QCOMPARE(shown.size(), ran.isEmpty() ? 1 : 0);
        for (const MessageSeam::Shown& box : shown) // OK button, no icon
            QVERIFY(box.Style == 0 && box.Text == "System Information Is Unavailable At This Time");
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
        QTest::newRow("number: all bits") << QByteArray("PATH=dword:0xFFFFFFFF") << true << "-1";
        QTest::newRow("1024 bytes fit") << "PATH=sz:" + QByteArray(1024, 'a') << true << QString(1024, 'a');
        QTest::newRow("1025 bytes do not") << "PATH=sz:" + QByteArray(1025, 'a') << false << "";
        QTest::newRow("missing value") << QByteArray("Other=sz:x") << false << "";
    }

    void getKeyValue()
    {
        QFETCH(QByteArray, value);
        Write("machine/registry.ini", "[SOFTWARE\\Vendor]\n" + value + "\n");
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
        QDir(m_dir->path()).mkpath(QFileInfo(path).path());
        QFile file(m_dir->filePath(path));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(bytes).replace("$DIR", QFile::encodeName(m_dir->path())));
        QVERIFY(file.setPermissions(readOnly ? QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther
                                             : QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }

    std::unique_ptr<QTemporaryDir> m_dir;
};

QTEST_MAIN(frmAboutTest)
#include "frmAboutTest.moc"
