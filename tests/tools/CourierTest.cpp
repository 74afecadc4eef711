// The reference download server and self-installing packs, driven from the
// outside: requests are written here by hand, packs are run with sh and tar.

#include "common/TestUtil.h"
#include "model/IO.h"
#include "model/Pack.h"
#include "tests/download/CourierProcess.h"

#include <QDirIterator>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace TestUtil;

namespace {

constexpr int WaitMs = 10000;
// The password travels escaped: "&", "=" and ";" must survive both codecs.
const QByteArray LoginBody = "LOGIN?email=alice&pwd=pa%26ss%3D%3Bword;";

struct Outcome
{
    int ExitCode = -1;
    QByteArray Err;
};

Outcome Run(const QString& program, const QStringList& arguments, const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment(),
    const QString& folder = {})
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(folder);
    process.start(program, arguments);
    if (!process.waitForFinished(WaitMs) || process.exitStatus() != QProcess::NormalExit) {
        process.kill();
        process.waitForFinished();
        return Outcome { -1, "did not end" };
    }
    return Outcome { process.exitCode(), process.readAllStandardError() };
}

struct Response
{
    int Status = 0;
    QByteArray ContentLength;
    QByteArray Body;
};

// A GET, or a POST of `body`.
Response Fetch(QNetworkAccessManager& network, const QString& url, const QByteArray* body = nullptr)
{
    QNetworkRequest request { QUrl(url) };
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArray("application/x-www-form-urlencoded"));
    std::unique_ptr<QNetworkReply> reply(body ? network.post(request, *body) : network.get(request));
    QSignalSpy finished(reply.get(), &QNetworkReply::finished);
    if (!reply->isFinished() && !finished.wait(WaitMs))
        return {};
    return Response { reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), reply->rawHeader("content-length"),
        reply->readAll() };
}

bool WriteFile(const QString& path, const QByteArray& bytes, bool executable = false)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
        return false;
    return !executable || file.setPermissions(file.permissions() | QFileDevice::ExeOwner);
}

// Every file and folder below `root`, with the size of each file.
QStringList Snapshot(const QString& root)
{
    QStringList entries;
    QDirIterator it(root, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        entries.append(it.filePath() + (it.fileInfo().isFile() ? QStringLiteral(" %1").arg(it.fileInfo().size()) : QString()));
    }
    entries.sort();
    return entries;
}

// The pack with its first archive member renamed (and retyped), its header
// checksum made right again: the tampering a hostile server could do.
QByteArray WithFirstMember(QByteArray pack, const QByteArray& name, char type = '0', const QByteArray& link = {})
{
    const qsizetype header = pack.indexOf(QByteArray("ustar\0", 6)) - 257;
    pack.replace(header, 100, name + QByteArray(100 - name.size(), '\0'));
    pack[header + 156] = type;
    pack.replace(header + 157, 100, link + QByteArray(100 - link.size(), '\0'));
    pack.replace(header + 148, 8, QByteArray(8, ' '));
    unsigned sum = 0;
    for (qsizetype i = 0; i < 512; ++i)
        sum += static_cast<unsigned char>(pack.at(header + i));
    pack.replace(header + 148, 8, QByteArray::number(sum, 8).rightJustified(6, '0') + QByteArray("\0 ", 2));
    return pack;
}

} // namespace

class CourierTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void messages_data();
    void messages();
    void packDownload_data();
    void packDownload();
    void badExamIdsAreServedStubs();
    void packInstallsAndOverwrites();
    void packFindsTheProgramsExamsFolder_data();
    void packFindsTheProgramsExamsFolder();
    void damagedPackChangesNothing_data();
    void damagedPackChangesNothing();
    void packErrors_data();
    void packErrors();

private:
    QString Path(const QString& name) const { return m_dir.filePath(name); }
    // The session ID of alice's LOGIN, else empty.
    QString Login(const CourierProcess& server);
    QProcessEnvironment PackEnvironment(const QString& dataHome) const;
    void Install(const QString& dataHome);

    QTemporaryDir m_dir;
    QByteArray m_exhibit;
    QByteArray m_compiled;
    QByteArray m_pack;
    QNetworkAccessManager m_network;
    std::unique_ptr<CourierProcess> m_server;
};

void CourierTest::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_network.setProxy(QNetworkProxy::NoProxy);

    // Every byte value, so the archive is shown to carry binary files whole.
    for (int i = 0; i < 700; ++i)
        m_exhibit.append(char(i * 7 % 256));
    QVERIFY(WriteFile(Path("pic.gif"), m_exhibit));
    QVERIFY(WriteFile(Path("ct.json"), R"({"code": "CT-1", "name": "Courier test", "maxScore": 100,
        "passScore": 50, "duration": 10, "questions": [
          {"exhibit": "pic.gif", "problem": "Q1", "choices": [{"isSolution": true, "statement": "A"}]},
          {"exhibit": "pic.gif", "problem": "Q2", "choices": [{"isSolution": true, "statement": "B"}]}]})"));
    QCOMPARE(Run(EXAM_TOOL, { "compile", Path("ct.json"), Path("ct.exam") }).ExitCode, 0);
    QCOMPARE(Run(EXAM_TOOL, { "pack", Path("ct.json"), Path("ct.pack") }).ExitCode, 0);
    m_compiled = ReadAll(Path("ct.exam"));
    m_pack = ReadAll(Path("ct.pack"));
    QVERIFY(m_pack.startsWith(Pack::Signature));
    QVERIFY(QFileInfo(Path("ct.pack")).isExecutable());

    m_server = std::make_unique<CourierProcess>(m_dir.path(), Path("packs"));
    m_server->DiscardLog();
    QVERIFY(m_server->AddAccount("alice", "pa&ss=;word", { "CT-1", "NOPACK-2" }));
    QVERIFY(!m_server->Admin({ "grant", "alice", "../evil" }));
    QVERIFY(!m_server->Admin({ "grant", "nobody", "CT-1" }));
    QVERIFY(QFile::copy(Path("ct.pack"), Path("packs/CT-1.pack")));
    QVERIFY(m_server->Start());
    QVERIFY(m_server->Endpoint().startsWith("http://127.0.0.1:"));
}

QString CourierTest::Login(const CourierProcess& server)
{
    const QByteArray reply = Fetch(m_network, server.Endpoint(), &LoginBody).Body;
    return QRegularExpression("^LOGIN\\?status=OK&sid=([0-9a-f]{32});$").match(QString::fromLatin1(reply)).captured(1);
}

void CourierTest::messages_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QString>("expected"); // a regular expression for the whole reply

    QTest::newRow("login") << LoginBody << "LOGIN\\?status=OK&sid=[0-9a-f]{32};";
    QTest::newRow("user name in other case") << QByteArray("LOGIN?email=ALICE&pwd=pa%26ss%3D%3Bword;") << "LOGIN\\?status=OK&sid=[0-9a-f]{32};";
    QTest::newRow("wrong password") << QByteArray("LOGIN?email=alice&pwd=password;") << "LOGIN\\?status=FAILED;";
    QTest::newRow("password sent unescaped") << QByteArray("LOGIN?email=alice&pwd=pa&ss=;word;") << "LOGIN\\?status=FAILED;";
    QTest::newRow("unknown user") << QByteArray("LOGIN?email=mallory&pwd=x;") << "LOGIN\\?status=FAILED;";
    QTest::newRow("no parameters") << QByteArray("LOGIN;") << "LOGIN\\?status=FAILED;";
    QTest::newRow("list, bad sid") << QByteArray("LIST?sid=0123456789abcdef0123456789abcdef;") << "ERROR\\?code=401&description=[^;&]+;";
    QTest::newRow("report, no sid") << QByteArray("REPORT?list=CT-1&time=x;") << "ERROR\\?code=401&description=[^;&]+;";
    QTest::newRow("unknown command") << QByteArray("HELLO;") << "ERROR\\?code=400&description=Unknown command: HELLO;";
    QTest::newRow("no terminator") << QByteArray("LOGIN?email=alice") << "ERROR\\?code=400&description=[^;&]+;";
    QTest::newRow("piece without =") << QByteArray("LOGIN?email;") << "ERROR\\?code=400&description=[^;&]+;";
}

void CourierTest::messages()
{
    QFETCH(QByteArray, request);
    QFETCH(QString, expected);
    const Response response = Fetch(m_network, m_server->Endpoint(), &request);
    QCOMPARE(response.Status, 200);
    QVERIFY2(QRegularExpression(QRegularExpression::anchoredPattern(expected)).match(QString::fromLatin1(response.Body)).hasMatch(),
        response.Body.constData());
}

void CourierTest::packDownload_data()
{
    QTest::addColumn<bool>("goodSession");
    QTest::addColumn<QString>("eid");
    QTest::addColumn<int>("status");

    QTest::newRow("bought") << true << "CT-1" << 200;
    QTest::newRow("bad sid") << false << "CT-1" << 403;
    QTest::newRow("not bought") << true << "OTHER-3" << 403;
    QTest::newRow("bought, no pack file") << true << "NOPACK-2" << 404;
    QTest::newRow("path out of the folder") << true << "../packs/CT-1" << 400;
}

void CourierTest::packDownload()
{
    QFETCH(bool, goodSession);
    QFETCH(QString, eid);
    QFETCH(int, status);
    const QString sid = goodSession ? Login(*m_server) : QStringLiteral("0123456789abcdef0123456789abcdef");
    QVERIFY(!sid.isEmpty());
    const Response response = Fetch(m_network, m_server->PackUrl(sid, eid));
    QCOMPARE(response.Status, status);
    if (status == 200) {
        QCOMPARE(response.ContentLength, QByteArray::number(m_pack.size()));
        QVERIFY(response.Body == m_pack);
    }
}

// The hostile LIST names unsafe IDs; each is answered with something that
// looks like a pack, so a client that saved or ran one would be caught.
void CourierTest::badExamIdsAreServedStubs()
{
    CourierProcess server(m_dir.path(), Path("packs"));
    server.DiscardLog();
    QVERIFY(server.Start("bad-exam-ids"));
    const QString sid = Login(server);
    QVERIFY(!sid.isEmpty());
    const QByteArray list = "LIST?sid=" + sid.toLatin1() + ';';
    static const char expected[] = "LIST?status=OK&data=../evil,,sub/evil,..,/tmp/evil,nul\0evil,CT-1,NOPACK-2;";
    QCOMPARE(Fetch(m_network, server.Endpoint(), &list).Body, QByteArray(expected, sizeof expected - 1));
    const Response stub = Fetch(m_network, server.PackUrl(sid, "../evil"));
    QCOMPARE(stub.Status, 200);
    QVERIFY(stub.Body.startsWith(Pack::Signature));
    QVERIFY(Fetch(m_network, server.PackUrl(sid, "CT-1")).Body == m_pack);
}

QProcessEnvironment CourierTest::PackEnvironment(const QString& dataHome) const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), Path("home"));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), dataHome);
    return environment;
}

void CourierTest::Install(const QString& dataHome)
{
    const Outcome outcome = Run(Path("ct.pack"), {}, PackEnvironment(dataHome), m_dir.path());
    QVERIFY2(outcome.ExitCode == 0, outcome.Err.constData());
}

// A second run puts back what the package held, and nothing more.
void CourierTest::packInstallsAndOverwrites()
{
    const QString package = Path("installs/Practorium/Exams/CT-1");
    for (int run = 0; run < 2; ++run) {
        if (run == 1)
            QVERIFY(WriteFile(package + "/pic.gif", "changed"));
        Install(Path("installs"));
        QCOMPARE(QDir(package).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
            (QStringList { "CT-1.exam", "pic.gif" }));
        QVERIFY(ReadAll(package + "/CT-1.exam") == m_compiled);
        QVERIFY(ReadAll(package + "/pic.gif") == m_exhibit);
    }
}

void CourierTest::packFindsTheProgramsExamsFolder_data()
{
    QTest::addColumn<QString>("dataHome");
    QTest::newRow("XDG_DATA_HOME empty") << QString();
    QTest::newRow("XDG_DATA_HOME relative") << QStringLiteral("relative-data");
}

// The pack must install where the program looks (model/IO's folder lookup
// under the same environment); it runs in the temporary folder, where a
// relative path is resolved.
void CourierTest::packFindsTheProgramsExamsFolder()
{
    QFETCH(QString, dataHome);
    const QByteArray oldHome = qgetenv("HOME");
    const QByteArray oldData = qgetenv("XDG_DATA_HOME");
    qputenv("HOME", Path("home").toLocal8Bit());
    qputenv("XDG_DATA_HOME", dataHome.toLocal8Bit());
    const QString programFolder = GetSpecialFolder(QStringLiteral("$(ProgramFiles)"));
    qputenv("HOME", oldHome);
    qputenv("XDG_DATA_HOME", oldData);
    const QString expected = QDir(m_dir.path()).absoluteFilePath(programFolder + QStringLiteral("/Practorium/Exams/CT-1/CT-1.exam"));
    QVERIFY(!QFile::exists(expected));

    Install(dataHome);
    QVERIFY2(ReadAll(expected) == m_compiled, qPrintable(expected));
}

void CourierTest::damagedPackChangesNothing_data()
{
    QTest::addColumn<QByteArray>("pack");
    QTest::addColumn<QByteArray>("message");

    QTest::newRow("member ../evil") << WithFirstMember(m_pack, "../evil") << QByteArray("refusing the archive member '../evil'");
    QTest::newRow("absolute member") << WithFirstMember(m_pack, "/tmp/evil") << QByteArray("refusing");
    QTest::newRow("hidden member") << WithFirstMember(m_pack, ".evil") << QByteArray("refusing");
    QTest::newRow("symbolic link member") << WithFirstMember(m_pack, "CT-1.exam", '2', "../../../../outside") << QByteArray();
    QTest::newRow("no exam file") << WithFirstMember(m_pack, "other.exam") << QByteArray("the pack holds no CT-1.exam");
    // The end of a tar archive is zero blocks: only the length check can
    // tell that some of them are missing.
    QTest::newRow("end cut off") << m_pack.left(m_pack.size() - 700) << QByteArray("incomplete or damaged");
    QTest::newRow("byte appended") << m_pack + 'x' << QByteArray("incomplete or damaged");
}

// An installed package stays as it was, nothing appears anywhere else, and
// the failure is said on standard error.
void CourierTest::damagedPackChangesNothing()
{
    QFETCH(QByteArray, pack);
    QFETCH(QByteArray, message);
    const QString dataHome = Path("damaged");
    if (!QFile::exists(dataHome))
        Install(dataHome);
    const QString packPath = Path("damaged.pack");
    QVERIFY(WriteFile(packPath, pack, true));
    const QStringList before = Snapshot(m_dir.path());

    const Outcome outcome = Run(packPath, {}, PackEnvironment(dataHome), m_dir.path());
    QVERIFY(outcome.ExitCode > 0);
    QVERIFY2(!outcome.Err.isEmpty() && outcome.Err.contains(message), outcome.Err.constData());
    QCOMPARE(Snapshot(m_dir.path()), before);
    QVERIFY(ReadAll(dataHome + "/Practorium/Exams/CT-1/CT-1.exam") == m_compiled);
}

void CourierTest::packErrors_data()
{
    QTest::addColumn<QByteArray>("code");
    QTest::addColumn<QByteArray>("exhibit");
    QTest::addColumn<QByteArray>("message");

    QTest::newRow("missing exhibit") << QByteArray("E-1") << QByteArray("absent.gif") << QByteArray("questions[1].exhibit: absent.gif: no such file");
    QTest::newRow("exhibit up a folder") << QByteArray("E-1") << QByteArray("../pic.gif") << QByteArray("not a plain file name");
    QTest::newRow("exhibit is the exam file") << QByteArray("E-1") << QByteArray("E-1.exam") << QByteArray("the exam file's own name");
    QTest::newRow("code with a slash") << QByteArray("E/1") << QByteArray() << QByteArray("cannot name a package folder");
    QTest::newRow("code ..") << QByteArray("..") << QByteArray() << QByteArray("cannot name a package folder");
    QTest::newRow("code with a line break") << QByteArray("E\\n1") << QByteArray() << QByteArray("cannot name a package folder");
    QTest::newRow("empty code") << QByteArray() << QByteArray() << QByteArray("cannot name a package folder");
}

// One line on standard error, exit status 1, and no output file.
void CourierTest::packErrors()
{
    QFETCH(QByteArray, code);
    QFETCH(QByteArray, exhibit);
    QFETCH(QByteArray, message);
    QVERIFY(WriteFile(Path("bad.json"), R"({"code": ")" + code + R"(", "name": "x", "maxScore": 1, "passScore": 1, "duration": 1,
        "questions": [{"exhibit": ")" + exhibit + R"("}]})"));
    const QString output = Path("bad.pack");
    QFile::remove(output);
    const Outcome outcome = Run(EXAM_TOOL, { "pack", Path("bad.json"), output });
    QCOMPARE(outcome.ExitCode, 1);
    QVERIFY(outcome.Err.startsWith("practorium-exam: "));
    QCOMPARE(outcome.Err.count('\n'), 1);
    QVERIFY2(outcome.Err.contains(message), outcome.Err.constData());
    QVERIFY(!QFile::exists(output));
}

QTEST_GUILESS_MAIN(CourierTest)
#include "CourierTest.moc"
