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
    void init();
    void cleanup();
    void showsVersionAndNotice();
    void returnClosesEvenFromSysInfo();
    void startSysInfo_data();
    void startSysInfo();
    void getKeyValue_data();
    void getKeyValue();

private:
    // Writes the machine store; "$DIR" stands for the test's folder.
    void WriteMachineStore(const QByteArray& lines, bool readOnly = false);
    // A stand-in program at `path` (under the test's folder) that leaves a
    // file named `marker` there when run.
    void MakeTool(const QString& path, const QString& marker);

    std::unique_ptr<QTemporaryDir> m_dir;
    QByteArray m_path;
};

void frmAboutTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    SetStoreFolders(m_dir->filePath("user"), m_dir->filePath("machine"));
    QDir(m_dir->path()).mkpath("bin");
    m_path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(m_dir->filePath("bin")));
    MessageSeam::Intercept(true);
}

void frmAboutTest::cleanup()
{
    MessageSeam::Intercept(false);
    qputenv("PATH", m_path);
    SetStoreFolders(QString(), QString());
    m_dir.reset();
}

void frmAboutTest::WriteMachineStore(const QByteArray& lines, bool readOnly)
{
    QDir(m_dir->path()).mkpath("machine");
    QFile file(StorePath(HKEY_LOCAL_MACHINE));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(lines).replace("$DIR", QFile::encodeName(m_dir->path())));
    file.close();
    if (readOnly)
        QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
}

void frmAboutTest::MakeTool(const QString& path, const QString& marker)
{
    QDir(m_dir->path()).mkpath(QFileInfo(path).path());
    QFile tool(m_dir->filePath(path));
    QVERIFY(tool.open(QIODevice::WriteOnly));
    tool.write("#!/bin/sh\necho ran > '" + QFile::encodeName(m_dir->filePath(marker)) + "'\n");
    tool.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

void frmAboutTest::showsVersionAndNotice()
{
    frmAbout about;
    about.show();
    const QString version = about.findChild<QLabel*>("lblVersion")->text();
    QVERIFY2(QRegularExpression("^Version: \\d+\\.\\d+ Build: \\d+$").match(version).hasMatch(), qPrintable(version));
    // The notice's year follows the clock, not the build.
    QVERIFY(about.findChild<QLabel*>("lblNotice")->text().contains(QString::number(QDate::currentDate().year())));
    QVERIFY(!about.findChild<QLabel*>("picLogo")->pixmap().isNull());
}

void frmAboutTest::returnClosesEvenFromSysInfo()
{
    frmAbout about;
    about.show();
    QVERIFY(QTest::qWaitForWindowActive(&about));
    auto* sysInfo = about.findChild<QPushButton*>("cmdSysInfo");
    sysInfo->setFocus();
    QTest::keyClick(sysInfo, Qt::Key_Return);
    QVERIFY(!about.isVisible());
    QCOMPARE(about.result(), int(QDialog::Accepted));
    QVERIFY(MessageSeam::TakeShown().isEmpty());
}

void frmAboutTest::startSysInfo_data()
{
    QTest::addColumn<QByteArray>("store");
    QTest::addColumn<bool>("storeReadOnly");
    QTest::addColumn<QStringList>("onPath");
    QTest::addColumn<QString>("ran"); // empty: the message is shown

    const QByteArray named = "[SOFTWARE\\Microsoft\\Shared Tools\\MSINFO]\nPATH=$DIR/tools/sysinfo tool\n";
    const QByteArray folder = "[SOFTWARE\\Microsoft\\Shared Tools Location]\nMSINFO=sz:$DIR/tools\n";
    const QByteArray emptyFolder = "[SOFTWARE\\Microsoft\\Shared Tools Location]\nMSINFO=sz:$DIR/bin\n";
    const QByteArray missing = "[SOFTWARE\\Microsoft\\Shared Tools\\MSINFO]\nPATH=$DIR/missing\n";
    const QStringList both { "hardinfo", "gnome-system-monitor" };
    QTest::newRow("hardinfo on PATH") << QByteArray() << false << both << "hardinfo";
    QTest::newRow("gnome-system-monitor on PATH") << QByteArray() << false << QStringList { both[1] } << both[1];
    QTest::newRow("program named in the store") << named << false << both << "store";
    QTest::newRow("folder named in the store") << folder << false << both << "MSINFO32.EXE";
    QTest::newRow("named folder without MSINFO32.EXE") << emptyFolder << false << both << "hardinfo";
    QTest::newRow("write-protected store") << named << true << both << "hardinfo";
    QTest::newRow("named program cannot start") << missing << false << both << "";
    QTest::newRow("no tool anywhere") << QByteArray() << false << QStringList() << "";
}

void frmAboutTest::startSysInfo()
{
    QFETCH(QByteArray, store);
    QFETCH(bool, storeReadOnly);
    QFETCH(QStringList, onPath);
    QFETCH(QString, ran);

    if (!store.isEmpty())
        WriteMachineStore(store, storeReadOnly);
    MakeTool("tools/sysinfo tool", "store");
    MakeTool("tools/MSINFO32.EXE", "MSINFO32.EXE");
    for (const QString& tool : onPath)
        MakeTool("bin/" + tool, tool);

    frmAbout about;
    about.show();
    QTest::mouseClick(about.findChild<QPushButton*>("cmdSysInfo"), Qt::LeftButton);

    const QList<MessageSeam::Shown> shown = MessageSeam::TakeShown();
    QCOMPARE(shown.size(), ran.isEmpty() ? 1 : 0);
    if (ran.isEmpty()) {
        QCOMPARE(shown[0].Text, QString("System Information Is Unavailable At This Time"));
        QCOMPARE(shown[0].Style, 0);
    } else {
        QTRY_VERIFY(QFile::exists(m_dir->filePath(ran)));
    }
    QVERIFY(about.isVisible());
}

void frmAboutTest::getKeyValue_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QString>("text");
    QTest::newRow("text: trailing NUL dropped") << QByteArray("PATH=sz:abc\\x00") << true << "abc";
    QTest::newRow("number: digits joined without leading zeros") << QByteArray("PATH=dword:0x0102") << true << "18";
    QTest::newRow("number: all bits") << QByteArray("PATH=dword:0xFFFFFFFF") << true << "-1";
    QTest::newRow("bytes: no text") << QByteArray("PATH=bin:41") << true << "";
    QTest::newRow("1024 bytes fit") << "PATH=sz:" + QByteArray(1024, 'a') << true << QString(1024, 'a');
    QTest::newRow("1025 bytes do not") << "PATH=sz:" + QByteArray(1025, 'a') << false << "";
    QTest::newRow("missing value") << QByteArray("Other=sz:x") << false << "";
}

void frmAboutTest::getKeyValue()
{
    QFETCH(QByteArray, value);
    WriteMachineStore("[SOFTWARE\\Vendor]\n" + value + "\n");
    QString text = "stale";
    QTEST(frmAbout::GetKeyValue(HKEY_LOCAL_MACHINE, "software\\vendor", "PATH", text), "found");
    QTEST(text, "text");
    QVERIFY(!frmAbout::GetKeyValue(HKEY_LOCAL_MACHINE, "SOFTWARE\\Missing", "PATH", text));
}

QTEST_MAIN(frmAboutTest)
#include "frmAboutTest.moc"
