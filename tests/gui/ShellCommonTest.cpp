#include "common/GuiUtil.h"
#include "common/TestUtil.h"
#include "shell/Common.h"
#include "shell/Registry.h"
#include "shell/frmAbout.h"
#include "shell/LinkLabel.h"
#include "shell/Resources.h"

#include <QtTest>
#include <QtWidgets>

#include <sys/stat.h>

using namespace GuiUtil;

// The shell's common seams: message boxes, and outside programs started for
// the candidate (the browser behind a link, the about box's system information).
class ShellCommonTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        MessageSeam::Intercept(true);
        m_path = qgetenv("PATH");
    }

    void cleanup()
    {
        qputenv("PATH", m_path);
        Registry::SetStoreFolders({}, {});
    }

    // Only "{CRLF}" in capitals breaks a line; answers come from the queue,
    // then the first button.
    void showMessage()
    {
        QCOMPARE(ShowMessage("{1}{crlf}{CRLF}{2}", 48, { "a", "b" }), int(MessageSeam::OK));
        QCOMPARE(ShowMessage(""), 0);
        MessageSeam::SetNextAnswer(MessageSeam::No);
        QVERIFY(ShowMessage("Are you sure?", 36) == 7 && ShowMessage("Again?", 36) == 6);
        const auto shown = MessageSeam::TakeShown();
        QVERIFY(shown.size() == 3 && shown[0].Text == "a{crlf}\r\nb" && shown[0].Style == 48 && shown[0].Caption == "Practorium");
    }

    void launchBrowser_data()
    {
        // planted: what another user left as temp.htm in the shared folder; opener: whether xdg-open is on the PATH;
        // box: the one box shown, empty for none
        Columns<QString, bool, QString>({ "planted", "opener", "box" });
        QTest::newRow("nothing planted") << "" << true << "";
        QTest::newRow("file planted") << "file" << true << "";
        QTest::newRow("link planted") << "link" << true << "";
        QTest::newRow("link planted, no opener") << "link" << false << "48:Unable to launch the browser";
        QTest::newRow("temporary folder missing")
            << "missing" << true << "0:Cannot launch browser because an error occured writing to temporary file.";
    }

    // A link's address, trimmed, reaches the opener. The stand-in page never
    // lands in the shared temporary folder: what another user planted there
    // stays as it was, and the launch goes on.
    void launchBrowser()
    {
        QFETCH(QString, planted);
        QFETCH(bool, opener);
        QTemporaryDir bin, shared;
        const auto restore = qScopeGuard([tmp = qgetenv("TMPDIR")] { qputenv("TMPDIR", tmp); });
        const QString record = bin.filePath("opened.txt");
        if (opener)
            QVERIFY(TestUtil::WriteRecordingTool(bin.path(), "xdg-open", record));
        qputenv("PATH", bin.path().toUtf8() + (opener ? ":/usr/bin:/bin" : ""));
        const QString theirs = TestUtil::WriteFile(shared.filePath("theirs.txt"), "not yours");
        const QString page = shared.filePath("temp.htm");
        if (planted == "file")
            QVERIFY(QFile::copy(theirs, page));
        else if (planted == "link")
            QVERIFY(QFile::link(theirs, page));
        qputenv("TMPDIR", QFile::encodeName(planted == "missing" ? shared.filePath("gone") : shared.path()));
        const QStringList before = QDir(shared.path()).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
        if (planted != "missing") { // a private folder, made 0700
            const BrowserPage stand;
            const QFileInfo folder(QFileInfo(stand.Path()).path());
            struct stat status {};
            QVERIFY(folder.dir().path() == shared.path() && ::lstat(QFile::encodeName(folder.filePath()).constData(), &status) == 0);
            QVERIFY((status.st_mode & 07777) == 0700 && TestUtil::ReadAll(stand.Path()) == "<HTML></HTML>\n");
        }
        const QString url = "https://www.practorium.example/Products.asp?a=1&b=two words";
        LinkLabel link;
        link.SetHRef("  " + url + "  ");
        QTest::mouseClick(&link, Qt::LeftButton, {}, QPoint(2, 2));
        QTEST(Shown().join('|'), "box");
        if (opener && planted != "missing")
            QTRY_COMPARE(QString::fromUtf8(TestUtil::ReadAll(record)), url);
        QCOMPARE(QDir(shared.path()).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot), before);
        QCOMPARE(TestUtil::ReadAll(theirs), QByteArray("not yours"));
        if (planted == "file" || planted == "link")
            QVERIFY(QFileInfo(page).isSymLink() == (planted == "link") && TestUtil::ReadAll(page) == "not yours");
    }

    void linkActivation_data()
    {
        const QString address = "https://www.practorium.example/Products.asp";
        // key: pressed, 0 for none; button: clicked on the text, 0 for none
        Columns<QString, bool, int, int, int, int>({ "href", "enabled", "key", "button", "clicks", "launches" });
        QTest::newRow("left click") << address << true << 0 << int(Qt::LeftButton) << 1 << 1;
        QTest::newRow("right click") << address << true << 0 << int(Qt::RightButton) << 0 << 0;
        QTest::newRow("Return") << address << true << int(Qt::Key_Return) << 0 << 1 << 1;
        QTest::newRow("Space") << address << true << int(Qt::Key_Space) << 0 << 1 << 1;
        QTest::newRow("disabled") << address << false << int(Qt::Key_Return) << int(Qt::LeftButton) << 0 << 0;
        QTest::newRow("address of spaces") << "    " << true << 0 << int(Qt::LeftButton) << 1 << 0;
        QTest::newRow("press action") << address << true << 0 << 0 << 1 << 1;
        QTest::newRow("press action, disabled") << address << false << 0 << 0 << 0 << 0;
    }

    void linkActivation()
    {
        QFETCH(int, key);
        QFETCH(int, button);
        // With no opener on the path every launch shows a box at once, so the
        // boxes count the launches without waiting for a process.
        QTemporaryDir empty;
        qputenv("PATH", empty.path().toUtf8());
        LinkLabel link;
        link.SetHRef(Data<QString>("href"));
        link.SetEnabled(Data<bool>("enabled"));
        link.SetCaption("More exams online");
        QSignalSpy clicked(&link, &LinkLabel::clicked);
        if (key)
            QTest::keyClick(&link, Qt::Key(key));
        if (button)
            QTest::mouseClick(&link, Qt::MouseButton(button), {}, QPoint(link.width() / 2, link.height() / 2));
        if (!key && !button) { // a screen reader's press: named by the caption; answered first, then pressed
            QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(&link);
            QVERIFY(accessible->role() == QAccessible::Link && accessible->text(QAccessible::Name) == "More exams online");
            accessible->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
            QCOMPARE(clicked.count(), 0);
            QCoreApplication::processEvents();
        }
        QTEST(int(clicked.count()), "clicks");
        QTEST(int(Shown().size()), "launches");
    }

    void startSysInfo_data()
    {
        // onPath: stand-in tools in the folder on PATH; ran: empty: the message is shown
        Columns<QByteArray, bool, QStringList, QString>({ "store", "storeReadOnly", "onPath", "ran" });
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

    // The about box's system information: the program the store names, or
    // else the first tool on the PATH; each stand-in leaves a file of its
    // own name when run.
    void startSysInfo()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        Registry::SetStoreFolders(m_dir->filePath("user"), m_dir->filePath("machine"));
        qputenv("PATH", QFile::encodeName(m_dir->filePath("bin")));
        QFETCH(QString, ran);
        Write("machine/registry.ini", Data<QByteArray>("store"), Data<bool>("storeReadOnly"));
        for (const QString& tool : Data<QStringList>("onPath") + QStringList { "tools/sys info", "tools/MSINFO32.EXE" })
            Write(tool, "#!/bin/sh\necho ran > '$DIR/" + QFileInfo(tool).fileName().toUtf8() + "'\n");
        frmAbout about;
        about.show();
        QTest::mouseClick(Child(&about, "cmdSysInfo"), Qt::LeftButton);
        QCOMPARE(Shown(), ran.isEmpty() ? QStringList { "0:System Information Is Unavailable At This Time" } : QStringList());
        QTRY_VERIFY(ran.isEmpty() || QFile::exists(m_dir->filePath(ran)));
        QVERIFY(about.isVisible());
    }

    void picturesLoad()
    {
        InitResources();
        for (auto name : { ":/Logo", ":/PRINTABLE_LOGO", ":/icons/Checked", ":/icons/Incomplete", ":/icons/Complete" })
            QVERIFY2(!QPixmap(name).isNull(), name);
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
    QByteArray m_path;
};

QTEST_MAIN(ShellCommonTest)
#include "ShellCommonTest.moc"
