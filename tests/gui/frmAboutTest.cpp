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
    void keysClose_data();
    void keysClose();
    void startSysInfo_data();
    void startSysInfo();
    void getKeyValue_data();
    void getKeyValue();

private:
    // Writes the machine store; "$DIR" stands for the test's folder.
    void WriteMachineStore(const QByteArray& lines, bool readOnly);
    // A stand-in program that leaves a file named after `marker` when run.
    QString MakeTool(const QString& path, const QString& marker);

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

QString frmAboutTest::MakeTool(const QString& path, const QString& marker)
{
    QFile tool(path);
    QDir().mkpath(QFileInfo(path).absolutePath());
    if (!tool.open(QIODevice::WriteOnly))
        return QString();
    tool.write("#!/bin/sh\necho ran > '" + QFile::encodeName(m_dir->filePath(marker)) + "'\n");
    tool.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

void frmAboutTest::showsVersionAndNotice()
{
    frmAbout about;
    about.show();
    QVERIFY(QTest::qWaitForWindowExposed(&about));
    QCOMPARE(about.windowTitle(), QString("About Practorium"));
    const auto* version = about.findChild<QLabel*>("lblVersion");
    QVERIFY(version);
    QVERIFY2(QRegularExpression("^Version: \\d+\\.\\d+ Build: \\d+$").match(version->text()).hasMatch(),
        qPrintable(version->text()));
    QVERIFY(about.findChild<QLabel*>("lblNotice")->text().contains(QString::number(QDate::currentDate().year())));
    const auto* logo = about.findChild<QLabel*>("picLogo");
    QVERIFY(!logo->pixmap().isNull());
    QVERIFY(qAbs(logo->geometry().center().x() - about.rect().center().x()) <= 1);
}

void frmAboutTest::keysClose_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<int>("result");
    QTest::newRow("Escape") << int(Qt::Key_Escape) << int(QDialog::Rejected);
    QTest::newRow("Enter") << int(Qt::Key_Enter) << int(QDialog::Accepted);
    QTest::newRow("Return with System Info focused") << int(Qt::Key_Return) << int(QDialog::Accepted);
}

void frmAboutTest::keysClose()
{
    QFETCH(int, key);
    frmAbout about;
    about.show();
    QVERIFY(QTest::qWaitForWindowActive(&about));
    if (key == Qt::Key_Return)
        about.findChild<QPushButton*>("cmdSysInfo")->setFocus();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key(key));
    QVERIFY(!about.isVisible());
    QTEST(about.result(), "result");
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
    const QStringList both { "hardinfo", "gnome-system-monitor" };
    QTest::newRow("hardinfo on PATH") << QByteArray() << false << both << "hardinfo";
    QTest::newRow("gnome-system-monitor on PATH") << QByteArray() << false << QStringList { both[1] } << both[1];
    QTest::newRow("program named in the store") << named << false << both << "store";
    QTest::newRow("folder named in the store") << folder << false << both << "MSINFO32.EXE";
    QTest::newRow("named folder without MSINFO32.EXE") << emptyFolder << false << both << "hardinfo";
    QTest::newRow("write-protected store") << named << true << both << "hardinfo";
    QTest::newRow("named program cannot start")
        << QByteArray("[SOFTWARE\\Microsoft\\Shared Tools\\MSINFO]\nPATH=$DIR/missing\n") << false << both << "";
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
    MakeTool(m_dir->filePath("tools/sysinfo tool"), "store");
    MakeTool(m_dir->filePath("tools/MSINFO32.EXE"), "MSINFO32.EXE");
    for (const QString& tool : onPath)
        QVERIFY(!MakeTool(m_dir->filePath("bin/" + tool), tool).isEmpty());

    frmAbout about;
    about.show();
    QTest::mouseClick(about.findChild<QPushButton*>("cmdSysInfo"), Qt::LeftButton);

    const QList<MessageSeam::Shown> shown = MessageSeam::TakeShown();
    if (ran.isEmpty()) {
        QCOMPARE(shown.size(), 1);
        QCOMPARE(shown[0].Text, QString("System Information Is Unavailable At This Time"));
        QCOMPARE(shown[0].Style, 0);
        QCOMPARE(shown[0].Caption, QString("Practorium"));
    } else {
        QVERIFY(shown.isEmpty());
        QTRY_VERIFY(QFile::exists(m_dir->filePath(ran)));
    }
    QVERIFY(about.isVisible());
}

void frmAboutTest::getKeyValue_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QString>("text");
    QTest::newRow("text") << QByteArray("PATH=sz:/usr/bin/tool") << true << "/usr/bin/tool";
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
    WriteMachineStore("[SOFTWARE\\Vendor]\n" + value + "\n", false);
    QString text = "stale";
    QTEST(frmAbout::GetKeyValue(HKEY_LOCAL_MACHINE, "software\\vendor", "PATH", text), "found");
    QTEST(text, "text");
    QVERIFY(!frmAbout::GetKeyValue(HKEY_LOCAL_MACHINE, "SOFTWARE\\Missing", "PATH", text));
}

QTEST_MAIN(frmAboutTest)
#include "frmAboutTest.moc"
