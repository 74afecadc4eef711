#include "app/InstanceChannel.h"
#include "app/LaunchRequest.h"
#include "app/Launcher.h"
#include "common/FifoGuard.h"
#include "download/PackFile.h"
#include "model/PackSignature.h"
#include "shell/MessageSeam.h"
#include "shell/Registry.h"
#include "shell/frmMain.h"

#include <QDir>
#include <QLocalSocket>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeView>

using TestUtil::ReadAll;
using TestUtil::WriteFile;

class LaunchTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    QString Src(const QString& name) const { return m_home.filePath("src/" + name); }
    QString Exams() const { return m_home.filePath("data/Practorium/Exams"); }

    void Tool(const QStringList& arguments) { QCOMPARE(TestUtil::Run(EXAM_TOOL, arguments).ExitCode, 0); }

    // Opens `argument` (HOME standing for the test's home, also the working folder) as a later start would, answering
    // the boxes with `answers`.
    QList<MessageSeam::Shown> Open(frmMain& catalogue, QString argument, const QList<int>& answers = {})
    {
        for (int answer : answers)
            MessageSeam::SetNextAnswer(answer);
        Launcher(catalogue, InstallPackFile).Open(argument.replace("HOME", m_home.path()), m_home.path());
        return MessageSeam::TakeShown();
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_home.filePath("data")));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_home.filePath("config")));
        qputenv("TMPDIR", QFile::encodeName(m_home.filePath("tmp")));
        QDir().mkpath(m_home.filePath("tmp"));
        MessageSeam::Intercept(true);
        const QByteArray json = R"({"code": "LX-1", "name": "Launch %1", "maxScore": 1000, "passScore": 700, "duration": 60,
            "questions": [{"exhibit": "exhibit.gif", "problem": "Q", "choices": [{"statement": "A", "isSolution": true}]}]})";
        for (const QString v : { "1", "2" }) {
            WriteFile(Src("v" + v + ".json"), QString::fromLatin1(json).arg(v).toUtf8());
            Tool({ "compile", Src("v" + v + ".json"), Src("v" + v + ".exam") });
        }
        QVERIFY(QFile::copy(TEST_DATA_DIR "/exhibit.gif", Src("exhibit.gif")));
        // A pack signed by a key the store trusts, and its copy under another exam's name.
        Tool({ "keygen", Src("secret.key"), Src("public.key") });
        Registry::WriteValue(QStringLiteral("Software\\Practorum\\PackCourier"), QStringLiteral("Trusted Keys"),
            PackSignature::KeyText(PackSignature::ReadPublicKeyFile(Src("public.key"))), Registry::REG_SZ);
        Tool({ "pack", "--key", Src("secret.key"), "--id", "LX-1", Src("v1.json"), Src("LX-1.pack") });
        QVERIFY(QFile::copy(Src("LX-1.pack"), Src("LX-2.pack")));
        // Damaged and foreign files, and things that are no files at all.
        WriteFile(Src("cut.exam"), ReadAll(Src("v1.exam")).chopped(9));
        WriteFile(Src("notes.txt"), "plain text, long enough to hold counts that do not fit\n");
        WriteFile(Src("net-quiz.txt"), "Which layer routes packets?\nA. Network\nB. Link\nANSWER: A\n\n"
                                       "Which port does SSH use?\nA. 21\nB. 22\nANSWER: B\n");
        TestUtil::MakeFifo(Src("fifo.exam"));
        QDir().mkpath(Src("folder.exam"));
    }

    void init()
    {
        QDir(m_home.filePath("data")).removeRecursively();
        MessageSeam::TakeShown();
    }

    void commandLine_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("action");
        QTest::addColumn<QString>("file");
        using A = CommandLine::Action;
        QTest::newRow("file") << QStringList { "x.exam" } << int(A::Run) << "x.exam";
        QTest::newRow("help wins") << QStringList { "x.exam", "-h" } << int(A::Help) << "";
        QTest::newRow("after --") << QStringList { "--", "--version" } << int(A::Run) << "--version";
        QTest::newRow("two files") << QStringList { "a.exam", "b.exam" } << int(A::Usage) << "";
    }
    void commandLine()
    {
        QFETCH(QStringList, arguments);
        const CommandLine line = CommandLine::Parse(arguments);
        QTEST(int(line.action), "action");
        if (line.action == CommandLine::Action::Run)
            QTEST(line.file, "file");
    }

    // What each kind of file installs after which answers. Everything that is not an installable exam or a pack is
    // refused with its own reason, without blocking. The candidate's file is left as it was, and nothing is left in the
    // temporary folder.
    void installs_data()
    {
        QTest::addColumn<QString>("argument");
        QTest::addColumn<bool>("preinstalled"); // v1.exam installed first
        QTest::addColumn<QList<int>>("answers");
        QTest::addColumn<QString>("boxes"); // how many, the last one's style, part of its text
        QTest::addColumn<QString>("installed"); // code|source of its bytes
        const int y = MessageSeam::Yes, n = MessageSeam::No;
        const auto refused = [](const char* tag, const QString& argument, const QString& reason) {
            QTest::newRow(tag) << argument << false << QList<int> {} << "1 48: " + reason << "";
        };
        refused("missing", "src/none.exam", "does not exist");
        refused("folder", "src/folder.exam", "is a folder");
        refused("fifo", "src/fifo.exam", "not a regular file");
        refused("cut exam", "src/cut.exam", "damaged or incomplete");
        refused("text file", "src/notes.txt", "neither an exam file nor an exam pack");
        refused("web address", "https://example.org/v1.exam", "not a file on this computer");
        refused("other host", "file://elsewhere.example/tmp/v1.exam", "not a file on this computer");
        QTest::newRow("exam as a file URI") << "file://HOME/src/v1.exam" << false << QList<int> {} << "1 36: LX-1 \"Launch 1\""
                                            << "LX-1|v1.exam";
        QTest::newRow("replace, No keeps") << "src/v2.exam" << true << QList { y, n } << "2 36: already installed" << "LX-1|v1.exam";
        QTest::newRow("replace, Yes") << "HOME/src/v2.exam" << true << QList { y, y } << "2 36: already installed" << "LX-1|v2.exam";
        QTest::newRow("the installed file: only selected") << "HOME/data/Practorium/Exams/LX-1/LX-1.exam" << true << QList<int> {}
                                                           << "0 0: " << "LX-1|v1.exam";
        QTest::newRow("question bank") << "src/net-quiz.txt" << false << QList<int> {}
                                       << "1 36: as the exam NET-QUIZ \"net-quiz\"?\r\n\r\n2 items" << "NET-QUIZ|";
        QTest::newRow("pack, Yes") << "src/LX-1.pack" << false << QList { y } << "1 36: " << "LX-1|v1.exam";
        QTest::newRow("pack, No") << "src/LX-1.pack" << false << QList { n } << "1 36: " << "";
        // Refused (the signature's own cases are PackSignature's): the confirmation, then why.
        QTest::newRow("pack signed for another exam") << "src/LX-2.pack" << false << QList { y } << "2 16: was not installed" << "";
    }
    void installs()
    {
        QFETCH(QString, argument);
        QFETCH(bool, preinstalled);
        QFETCH(QList<int>, answers);
        QFETCH(QString, installed);
        frmMain catalogue;
        if (preinstalled)
            QCOMPARE(Open(catalogue, Src("v1.exam")).size(), 1);
        const QString source = QString(argument).replace("HOME", m_home.path()).remove("file://");
        const QByteArray before = QFileInfo(source).isFile() ? ReadAll(source) : QByteArray();
        QFETCH(QString, boxes);
        const QList<MessageSeam::Shown> shown = Open(catalogue, argument, answers);
        const MessageSeam::Shown last = shown.value(shown.size() - 1);
        const QString actual = QStringLiteral("%1 %2: %3").arg(shown.size()).arg(last.Style).arg(last.Text);
        QVERIFY2(actual.startsWith(boxes.section(": ", 0, 0) + ": ") && actual.contains(boxes.section(": ", 1)), qPrintable(actual));
        QCOMPARE(QFileInfo(source).isFile() ? ReadAll(source) : QByteArray(), before);
        QVERIFY(QDir(m_home.filePath("tmp")).entryList(QDir::NoDotAndDotDot | QDir::AllEntries).isEmpty());
        // The catalogue lists only exams whose header reads, so a selected code is an installed exam.
        const QString code = installed.section('|', 0, 0);
        QCOMPARE(QDir(Exams()).entryList(QDir::Dirs | QDir::NoDotAndDotDot), code.isEmpty() ? QStringList() : QStringList { code });
        QCOMPARE(catalogue.findChild<QTreeView*>("lvwExams")->currentIndex().data().toString(), code);
        if (code == "LX-1")
            QVERIFY(ReadAll(Exams() + "/LX-1/LX-1.exam") == ReadAll(Src(installed.section('|', 1)))
                && ReadAll(Exams() + "/LX-1/exhibit.gif") == ReadAll(Src("exhibit.gif")));
    }

    // A later start hands its file to the listening program; a request that never ends is cut off at its cap. (A socket
    // file left behind by a program that died is no obstacle: QLocalServer listens over it.)
    void instanceChannel()
    {
        const QString path = m_home.filePath("tmp/channel.socket");
        QVERIFY(!InstanceChannel::HandOver(path, "/x.exam", 100));
        InstanceChannel channel(path);
        QVERIFY(channel.Listen());
        QSignalSpy received(&channel, &InstanceChannel::fileReceived);
        auto handed = std::async(std::launch::async, [&] { return InstanceChannel::HandOver(path, "/tmp/ä b.exam"); });
        QVERIFY(received.wait());
        QCOMPARE(received.first().first().toString(), QStringLiteral("/tmp/ä b.exam"));
        QVERIFY(handed.get());

        QVERIFY(!InstanceChannel::HandOver(path, QString(InstanceChannel::MaxRequestBytes, u'x')));
        auto flood = std::async(std::launch::async, [&] {
            QLocalSocket socket;
            socket.connectToServer(path);
            socket.waitForConnected(5000);
            socket.write(QByteArray(InstanceChannel::MaxRequestBytes * 2, 'x'));
            socket.waitForBytesWritten(5000);
            return socket.waitForDisconnected(10000) || socket.state() == QLocalSocket::UnconnectedState;
        });
        while (flood.wait_for(std::chrono::milliseconds(0)) != std::future_status::ready)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
        QVERIFY(flood.get());
        QCOMPARE(received.size(), 1);
    }
};

QTEST_MAIN(LaunchTest)
#include "LaunchTest.moc"
