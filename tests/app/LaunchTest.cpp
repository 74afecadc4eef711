#include "app/InstanceChannel.h"
#include "app/LaunchRequest.h"
#include "app/Launcher.h"
#include "common/TestUtil.h"
#include "download/PackFile.h"
#include "model/Common.h"
#include "model/Exam.h"
#include "model/Question.h"
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

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <future>

using TestUtil::ReadAll;
using TestUtil::WriteFile;

class LaunchTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    QString Src(const QString& name) const { return m_home.filePath("src/" + name); }
    QString Exams() const { return m_home.filePath("data/Practorium/Exams"); }

    void Tool(const QStringList& arguments) { QCOMPARE(TestUtil::Run(EXAM_TOOL, arguments).ExitCode, 0); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_home.filePath("data")));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_home.filePath("config")));
        qputenv("TMPDIR", QFile::encodeName(m_home.filePath("tmp")));
        QDir().mkpath(m_home.filePath("tmp"));
        MessageSeam::Intercept(true);
        const QByteArray json = R"({"code": "LX-1", "name": "Launch %1", "maxScore": 1000, "passScore": 700,
            "duration": 60, "questions": [{"exhibit": "exhibit.gif", "problem": "Q",
            "choices": [{"statement": "A", "isSolution": true}]}]})";
        WriteFile(Src("v1.json"), QString::fromLatin1(json).arg(1).toUtf8());
        WriteFile(Src("v2.json"), QString::fromLatin1(json).arg(2).toUtf8());
        QVERIFY(QFile::copy(TEST_DATA_DIR "/exhibit.gif", Src("exhibit.gif")));
        Tool({ "compile", Src("v1.json"), Src("v1.exam") });
        Tool({ "compile", Src("v2.json"), Src("v2.exam") });
        // Packs signed by a key the store trusts, and one that is not signed.
        Tool({ "keygen", Src("secret.key"), Src("public.key") });
        Registry::WriteValue(QStringLiteral("Software\\Practorum\\PackCourier"), QStringLiteral("Trusted Keys"),
            PackSignature::KeyText(PackSignature::ReadPublicKeyFile(Src("public.key"))), Registry::REG_SZ);
        Tool({ "pack", "--key", Src("secret.key"), "--id", "LX-1", Src("v1.json"), Src("LX-1.pack") });
        QDir().mkpath(Src("unsigned"));
        Tool({ "pack", Src("v1.json"), Src("unsigned/LX-1.pack") });
        // Damaged and foreign files, and things that are no files at all.
        const QByteArray exam = ReadAll(Src("v1.exam"));
        WriteFile(Src("cut.exam"), exam.left(exam.size() - 9));
        WriteFile(Src("empty.exam"), {});
        WriteFile(Src("notes.txt"), "plain text, long enough to hold counts that do not fit\n");
        const QByteArray pack = ReadAll(Src("LX-1.pack"));
        WriteFile(Src("cut.pack"), pack.left(pack.size() - 100));
        WriteFile(Src("LX-2.pack"), pack);
        QVERIFY(::mkfifo(QFile::encodeName(Src("fifo.exam")).constData(), 0600) == 0);
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
        QTest::newRow("none") << QStringList {} << int(A::Run) << "";
        QTest::newRow("file") << QStringList { "x.exam" } << int(A::Run) << "x.exam";
        QTest::newRow("help wins") << QStringList { "x.exam", "-h" } << int(A::Help) << "";
        QTest::newRow("version") << QStringList { "--version" } << int(A::Version) << "";
        QTest::newRow("after --") << QStringList { "--", "--version" } << int(A::Run) << "--version";
        QTest::newRow("unknown option") << QStringList { "--install" } << int(A::Usage) << "";
        QTest::newRow("two files") << QStringList { "a.exam", "b.exam" } << int(A::Usage) << "a.exam";
    }
    void commandLine()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, action);
        QFETCH(QString, file);
        const CommandLine line = CommandLine::Parse(arguments);
        QCOMPARE(int(line.action), action);
        if (line.action == CommandLine::Action::Run)
            QCOMPARE(line.file, file);
    }

    // Everything that is not an installable exam or a pack is refused with
    // its own reason, without blocking, and nothing is installed.
    void refused_data()
    {
        QTest::addColumn<QString>("argument");
        QTest::addColumn<QString>("reason");
        QTest::newRow("missing") << "src/none.exam" << "does not exist";
        QTest::newRow("folder") << "src/folder.exam" << "is a folder";
        QTest::newRow("fifo") << "src/fifo.exam" << "not a regular file";
        QTest::newRow("cut exam") << "src/cut.exam" << "damaged or incomplete";
        QTest::newRow("empty exam") << "src/empty.exam" << "damaged or incomplete";
        QTest::newRow("text file") << "src/notes.txt" << "neither an exam file nor an exam pack";
        QTest::newRow("web address") << "https://example.org/v1.exam" << "not a file on this computer";
        QTest::newRow("other host") << "file://elsewhere.example/tmp/v1.exam" << "not a file on this computer";
    }
    void refused()
    {
        QFETCH(QString, argument);
        QFETCH(QString, reason);
        const LaunchRequest request = LaunchRequest::Examine(argument, m_home.path());
        QCOMPARE(int(request.kind()), int(LaunchRequest::Kind::Refused));
        const QString shown = FormatText(request.Problem(), request.ProblemValues());
        QVERIFY2(shown.contains(reason), qPrintable(shown));

        frmMain catalogue;
        Launcher(catalogue, InstallPackFile).Open(argument, m_home.path());
        const QList<MessageSeam::Shown> boxes = MessageSeam::TakeShown();
        QCOMPARE(boxes.size(), 1);
        QCOMPARE(boxes.first().Style, 48);
        QVERIFY(!QFileInfo::exists(Exams()));
    }

    // An exam (here as a file URI) is offered with its code and name,
    // installed with its exhibit and selected; a second copy asks before it
    // replaces the first, and a No keeps the installed bytes.
    void installExam()
    {
        frmMain catalogue;
        Launcher launcher(catalogue, InstallPackFile);
        launcher.Open("file://" + Src("v1.exam"), "/");
        QList<MessageSeam::Shown> boxes = MessageSeam::TakeShown();
        QCOMPARE(boxes.size(), 1);
        QVERIFY(boxes.first().Text.contains("LX-1 \"Launch 1\""));
        const QString installed = Exams() + "/LX-1/LX-1.exam";
        QCOMPARE(ReadAll(installed), ReadAll(Src("v1.exam")));
        QCOMPARE(ReadAll(Exams() + "/LX-1/exhibit.gif"), ReadAll(Src("exhibit.gif")));
        auto* list = catalogue.findChild<QTreeView*>("lvwExams");
        QCOMPARE(list->currentIndex().data().toString(), QStringLiteral("LX-1"));

        MessageSeam::SetNextAnswer(MessageSeam::Yes);
        MessageSeam::SetNextAnswer(MessageSeam::No);
        launcher.Open("src/v2.exam", m_home.path());
        boxes = MessageSeam::TakeShown();
        QCOMPARE(boxes.size(), 2);
        QVERIFY(boxes.last().Text.contains("already installed"));
        QCOMPARE(ReadAll(installed), ReadAll(Src("v1.exam")));

        MessageSeam::SetNextAnswer(MessageSeam::Yes);
        MessageSeam::SetNextAnswer(MessageSeam::Yes);
        launcher.Open(Src("v2.exam"), "/");
        QCOMPARE(MessageSeam::TakeShown().size(), 2);
        QCOMPARE(ReadAll(installed), ReadAll(Src("v2.exam")));

        // The installed file itself: nothing to ask, it is only selected.
        launcher.Open(installed, "/");
        QCOMPARE(MessageSeam::TakeShown().size(), 0);
    }

    // A question bank of another program becomes an exam named after its
    // file; the candidate is told how many items it gets.
    void importBank()
    {
        WriteFile(Src("net-quiz.txt"),
            "Which layer routes packets?\nA. Network\nB. Link\nANSWER: A\n\n"
            "Which port does SSH use?\nA. 21\nB. 22\nANSWER: B\n");
        frmMain catalogue;
        Launcher(catalogue, InstallPackFile).Open(Src("net-quiz.txt"), "/");
        const QList<MessageSeam::Shown> boxes = MessageSeam::TakeShown();
        QCOMPARE(boxes.size(), 1);
        QVERIFY(boxes.first().Text.contains("as the exam NET-QUIZ \"net-quiz\""));
        QVERIFY(boxes.first().Text.contains("2 items"));
        Exam exam;
        exam.Load(Exams() + "/NET-QUIZ/NET-QUIZ.exam");
        QCOMPARE(exam.Questions().Count(), 2);
        QCOMPARE(exam.Questions().Item(2).CorrectAnswer(), QStringLiteral("2"));
    }

    // A pack runs only after a Yes and only when whole; the candidate's file
    // is left as it was.
    void runPack_data()
    {
        QTest::addColumn<QString>("pack");
        QTest::addColumn<int>("answer");
        QTest::addColumn<bool>("installs");
        QTest::newRow("whole, yes") << "LX-1.pack" << int(MessageSeam::Yes) << true;
        QTest::newRow("whole, no") << "LX-1.pack" << int(MessageSeam::No) << false;
        QTest::newRow("cut") << "cut.pack" << int(MessageSeam::Yes) << false;
        QTest::newRow("unsigned") << "unsigned/LX-1.pack" << int(MessageSeam::Yes) << false;
        QTest::newRow("signed for another exam") << "LX-2.pack" << int(MessageSeam::Yes) << false;
    }
    void runPack()
    {
        QFETCH(QString, pack);
        QFETCH(int, answer);
        QFETCH(bool, installs);
        const QByteArray before = ReadAll(Src(pack));
        const QFile::Permissions permissions = QFile::permissions(Src(pack));
        frmMain catalogue;
        MessageSeam::SetNextAnswer(answer);
        Launcher(catalogue, InstallPackFile).Open(Src(pack), "/");
        const QList<MessageSeam::Shown> boxes = MessageSeam::TakeShown();
        // A refused pack: the confirmation, then why it was not installed.
        QCOMPARE(boxes.size(), answer == MessageSeam::Yes && !installs ? 2 : 1);
        QCOMPARE(QFileInfo::exists(Exams() + "/LX-1/LX-1.exam"), installs);
        QCOMPARE(ReadAll(Src(pack)), before);
        QCOMPARE(QFile::permissions(Src(pack)), permissions);
        QVERIFY(QDir(m_home.filePath("tmp")).entryList(QDir::NoDotAndDotDot | QDir::AllEntries).isEmpty());
    }

    // A later start hands its file to the listening program; a socket left
    // behind by a program that died is taken over; a request that never ends
    // is cut off at its cap.
    void instanceChannel()
    {
        const QString path = m_home.filePath("tmp/channel.socket");
        QVERIFY(!InstanceChannel::HandOver(path, "/x.exam", 100));
        {
            // A stale socket: bound, then its process "died" without unlinking.
            const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
            sockaddr_un address = {};
            address.sun_family = AF_UNIX;
            qstrncpy(address.sun_path, QFile::encodeName(path).constData(), sizeof address.sun_path);
            QVERIFY(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0);
            ::close(fd);
        }
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
