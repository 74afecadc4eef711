// The reference download server and self-installing packs, driven from the
// outside: requests are written here by hand, packs are run with sh and tar.

#include "model/IO.h"
#include "model/Pack.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <memory>

namespace {

constexpr int WaitMs = 10000;
// The password travels escaped: "&", "=" and ";" must survive both codecs.
const QByteArray LoginBody = "LOGIN?email=alice&pwd=pa%26ss%3D%3Bword;";

struct Outcome
{
    int ExitCode = -1;
    QByteArray Out;
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
        return Outcome { -1, {}, "did not end" };
    }
    return Outcome { process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError() };
}

Outcome Courier(const QStringList& arguments)
{
    return Run(QStringLiteral(COURIER), arguments);
}

// The server in its own process; gone with the object.
class Server
{
public:
    bool Start(const QStringList& arguments)
    {
        m_process.setStandardErrorFile(QProcess::nullDevice());
        m_process.start(QStringLiteral(COURIER), arguments + QStringList { QStringLiteral("--port"), QStringLiteral("0") });
        while (!m_process.canReadLine()) {
            if (!m_process.waitForReadyRead(WaitMs))
                return false;
        }
        const QByteArray line = m_process.readLine().trimmed();
        if (!line.startsWith("listening on http://127.0.0.1:"))
            return false;
        Url = QUrl(QString::fromLatin1(line.mid(int(sizeof "listening on " - 1))));
        return Url.path() == QLatin1String("/PackCourier.asp");
    }
    ~Server()
    {
        m_process.kill();
        m_process.waitForFinished();
    }

    QUrl Url;

private:
    QProcess m_process;
};

struct Response
{
    int Status = 0;
    QByteArray ContentLength;
    QByteArray Body;
};

Response Fetch(QNetworkAccessManager& network, const QUrl& url, const QByteArray* body = nullptr)
{
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArray("application/x-www-form-urlencoded"));
    std::unique_ptr<QNetworkReply> reply(body ? network.post(request, *body) : network.get(request));
    QSignalSpy finished(reply.get(), &QNetworkReply::finished);
    if (!reply->isFinished() && !finished.wait(WaitMs))
        return {};
    return Response { reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), reply->rawHeader("content-length"),
        reply->readAll() };
}

QByteArray ReadFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
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
    void conversationIsRecorded();
    void packDownload_data();
    void packDownload();
    void messageModes_data();
    void messageModes();
    void packModes_data();
    void packModes();
    void badExamIds();
    void packInstallsAndOverwrites();
    void packFindsTheProgramsExamsFolder_data();
    void packFindsTheProgramsExamsFolder();
    void damagedPackChangesNothing_data();
    void damagedPackChangesNothing();
    void packErrors_data();
    void packErrors();

private:
    QString Path(const QString& name) const { return m_dir.filePath(name); }
    QString Login(const QUrl& url);
    QProcessEnvironment PackEnvironment(const QString& dataHome) const;
    void Install(const QString& dataHome);

    QTemporaryDir m_dir;
    QStringList m_database;
    QByteArray m_exhibit;
    QByteArray m_compiled;
    QByteArray m_pack;
    QNetworkAccessManager m_network;
    std::unique_ptr<Server> m_server;
};

void CourierTest::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_network.setProxy(QNetworkProxy::NoProxy);

    // Every byte value, so the archive is shown to carry binary files whole.
    for (int i = 0; i < 700; ++i)
        m_exhibit.append(char(i * 7 % 256));
    QVERIFY(WriteFile(Path(QStringLiteral("pic.gif")), m_exhibit));
    QVERIFY(WriteFile(Path(QStringLiteral("ct.json")), R"({"code": "CT-1", "name": "Courier test", "maxScore": 100,
        "passScore": 50, "duration": 10, "questions": [
          {"exhibit": "pic.gif", "problem": "Q1", "choices": [{"isSolution": true, "statement": "A"}]},
          {"exhibit": "pic.gif", "problem": "Q2", "choices": [{"isSolution": true, "statement": "B"}]}]})"));
    const QString tool = QStringLiteral(EXAM_TOOL);
    QCOMPARE(Run(tool, { "compile", Path("ct.json"), Path("ct.exam") }).ExitCode, 0);
    QCOMPARE(Run(tool, { "pack", Path("ct.json"), Path("ct.pack") }).ExitCode, 0);
    m_compiled = ReadFile(Path("ct.exam"));
    m_pack = ReadFile(Path("ct.pack"));
    QVERIFY(m_pack.startsWith(Pack::Signature));
    QVERIFY(QFileInfo(Path("ct.pack")).isExecutable());

    m_database = QStringList { QStringLiteral("--database"), Path("courier.sqlite") };
    QCOMPARE(Courier(m_database + QStringList { "add-account", "alice", "pa&ss=;word" }).ExitCode, 0);
    QCOMPARE(Courier(m_database + QStringList { "grant", "alice", "CT-1" }).ExitCode, 0);
    QCOMPARE(Courier(m_database + QStringList { "grant", "alice", "NOPACK-2" }).ExitCode, 0);
    QCOMPARE(Courier(m_database + QStringList { "grant", "alice", "../evil" }).ExitCode, 1);
    QCOMPARE(Courier(m_database + QStringList { "grant", "nobody", "CT-1" }).ExitCode, 1);
    QVERIFY(QDir().mkpath(Path("packs")));
    QVERIFY(QFile::copy(Path("ct.pack"), Path("packs/CT-1.pack")));

    m_server = std::make_unique<Server>();
    QVERIFY(m_server->Start(m_database + QStringList { "--packs", Path("packs") }));
}

QString CourierTest::Login(const QUrl& url)
{
    const QByteArray reply = Fetch(m_network, url, &LoginBody).Body;
    const QRegularExpressionMatch match = QRegularExpression(QStringLiteral("^LOGIN\\?status=OK&sid=([0-9a-f]{32});$")).match(QString::fromLatin1(reply));
    return match.captured(1);
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
    const Response response = Fetch(m_network, m_server->Url, &request);
    QCOMPARE(response.Status, 200);
    QVERIFY2(QRegularExpression(QRegularExpression::anchoredPattern(expected)).match(QString::fromLatin1(response.Body)).hasMatch(),
        response.Body.constData());
}

void CourierTest::conversationIsRecorded()
{
    const QString sid = Login(m_server->Url);
    QVERIFY(!sid.isEmpty());
    const QByteArray list = "LIST?sid=" + sid.toLatin1() + ';';
    QCOMPARE(Fetch(m_network, m_server->Url, &list).Body, QByteArray("LIST?status=OK&data=CT-1,NOPACK-2;"));
    // "%3B" in the time: the value is stored unescaped.
    const QByteArray report = "REPORT?sid=" + sid.toLatin1() + "&list=CT-1,NOPACK-2&time=11/21/26 22:34:35%3B;";
    QCOMPARE(Fetch(m_network, m_server->Url, &report).Body, QByteArray("REPORT;"));

    const Outcome reports = Courier(m_database + QStringList { "reports" });
    QCOMPARE(reports.ExitCode, 0);
    const QList<QByteArray> fields = reports.Out.trimmed().split('\n').last().split('\t');
    QCOMPARE(fields.size(), 4);
    QVERIFY(QDateTime::fromString(QString::fromLatin1(fields.at(0)), Qt::ISODate).isValid());
    QCOMPARE(fields.mid(1), (QList<QByteArray> { "alice", "CT-1,NOPACK-2", "11/21/26 22:34:35;" }));
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
    const QString sid = goodSession ? Login(m_server->Url) : QStringLiteral("0123456789abcdef0123456789abcdef");
    QVERIFY(!sid.isEmpty());
    QUrl url = m_server->Url;
    url.setQuery(QStringLiteral("sid=%1&eid=%2").arg(sid, eid));
    const Response response = Fetch(m_network, url);
    QCOMPARE(response.Status, status);
    if (status == 200) {
        QCOMPARE(response.ContentLength, QByteArray::number(m_pack.size()));
        QVERIFY(response.Body == m_pack);
    }
}

void CourierTest::messageModes_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("expected"); // a regular expression for the whole reply
    QTest::addColumn<int>("size");         // of the reply, -1 for any

    QTest::newRow("error-reply") << "error-reply" << "ERROR\\?code=503&description=[^;&]+;" << -1;
    QTest::newRow("empty-body") << "empty-body" << "" << 0;
    QTest::newRow("not-a-message") << "not-a-message" << "[^;]*<html>[^;]*" << -1;
    QTest::newRow("huge-reply") << "huge-reply" << "LOGIN\\?status=OK&sid=[0-9a-f]{32}&pad=x+;" << 10 * 1024 * 1024;
}

void CourierTest::messageModes()
{
    QFETCH(QString, mode);
    QFETCH(QString, expected);
    QFETCH(int, size);
    Server server;
    QVERIFY(server.Start(m_database + QStringList { "--packs", Path("packs"), "--misbehave", mode }));
    const Response response = Fetch(m_network, server.Url, &LoginBody);
    QCOMPARE(response.Status, 200);
    if (size >= 0)
        QCOMPARE(response.Body.size(), size);
    QVERIFY(QRegularExpression(QRegularExpression::anchoredPattern(expected), QRegularExpression::DotMatchesEverythingOption)
                .match(QString::fromLatin1(response.Body))
                .hasMatch());
}

void CourierTest::packModes_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<int>("status");
    // Of the pack's size: the "content-length" announced, the bytes sent.
    QTest::addColumn<double>("announced");
    QTest::addColumn<double>("sent");

    QTest::newRow("drop-mid-pack") << "drop-mid-pack" << 200 << 1.0 << 0.5;
    QTest::newRow("length-too-large") << "length-too-large" << 200 << -1.0 << 1.0;
    QTest::newRow("length-too-small") << "length-too-small" << 200 << 0.5 << 1.0;
    QTest::newRow("not-found-pack") << "not-found-pack" << 404 << 0.0 << 0.0;
}

// Read on a raw connection: only there do the announced length and the bytes
// that came show apart.
void CourierTest::packModes()
{
    QFETCH(QString, mode);
    QFETCH(int, status);
    QFETCH(double, announced);
    QFETCH(double, sent);
    Server server;
    QVERIFY(server.Start(m_database + QStringList { "--packs", Path("packs"), "--misbehave", mode }));
    const QString sid = Login(server.Url);
    QVERIFY(!sid.isEmpty());

    QTcpSocket socket;
    socket.connectToHost(server.Url.host(), quint16(server.Url.port()));
    QVERIFY(socket.waitForConnected(WaitMs));
    socket.write("GET /PackCourier.asp?sid=" + sid.toLatin1() + "&eid=CT-1 HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
    QByteArray received;
    qint64 headerEnd = -1;
    qint64 length = -1;
    while (socket.state() == QAbstractSocket::ConnectedState && socket.waitForReadyRead(WaitMs)) {
        received += socket.readAll();
        headerEnd = received.indexOf("\r\n\r\n");
        if (headerEnd >= 0) {
            const QRegularExpressionMatch match = QRegularExpression(QStringLiteral("\r\ncontent-length: *(\\d+)\r\n"), QRegularExpression::CaseInsensitiveOption)
                                                      .match(QString::fromLatin1(received.left(headerEnd + 2)));
            length = match.captured(1).toLongLong();
            // A well-behaved answer keeps the connection; its end is the length.
            if (status != 200 && received.size() - headerEnd - 4 >= length)
                break;
        }
    }
    received += socket.readAll();
    QVERIFY(headerEnd >= 0);
    QVERIFY(received.startsWith("HTTP/1.1 " + QByteArray::number(status) + ' '));
    if (status != 200)
        return;
    const qint64 size = m_pack.size();
    QCOMPARE(length, announced < 0 ? size + 1000 : qint64(size * announced));
    const QByteArray body = received.mid(headerEnd + 4);
    QCOMPARE(body.size(), qint64(size * sent));
    QVERIFY(m_pack.startsWith(body));
}

void CourierTest::badExamIds()
{
    Server server;
    QVERIFY(server.Start(m_database + QStringList { "--packs", Path("packs"), "--misbehave", "bad-exam-ids" }));
    const QString sid = Login(server.Url);
    QVERIFY(!sid.isEmpty());
    const QByteArray list = "LIST?sid=" + sid.toLatin1() + ';';
    static const char expected[] = "LIST?status=OK&data=../evil,,sub/evil,..,/tmp/evil,nul\0evil,CT-1,NOPACK-2;";
    QCOMPARE(Fetch(m_network, server.Url, &list).Body, QByteArray(expected, sizeof expected - 1));

    // An unsafe ID still gets something that looks like a pack; a bought one
    // the real pack.
    QUrl url = server.Url;
    url.setQuery(QStringLiteral("sid=%1&eid=../evil").arg(sid));
    const Response stub = Fetch(m_network, url);
    QCOMPARE(stub.Status, 200);
    QVERIFY(stub.Body.startsWith(Pack::Signature));
    url.setQuery(QStringLiteral("sid=%1&eid=CT-1").arg(sid));
    QVERIFY(Fetch(m_network, url).Body == m_pack);
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

void CourierTest::packInstallsAndOverwrites()
{
    const QString package = Path("installs/Practorium/Exams/CT-1");
    Install(Path("installs"));
    QCOMPARE(QDir(package).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), (QStringList { "CT-1.exam", "pic.gif" }));
    QVERIFY(ReadFile(package + "/CT-1.exam") == m_compiled);
    QVERIFY(ReadFile(package + "/pic.gif") == m_exhibit);

    // A second run puts back what the package held, and nothing more.
    QVERIFY(WriteFile(package + "/pic.gif", "changed"));
    Install(Path("installs"));
    QCOMPARE(QDir(package).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), (QStringList { "CT-1.exam", "pic.gif" }));
    QVERIFY(ReadFile(package + "/pic.gif") == m_exhibit);
    QVERIFY(ReadFile(package + "/CT-1.exam") == m_compiled);
}

void CourierTest::packFindsTheProgramsExamsFolder_data()
{
    QTest::addColumn<QString>("dataHome");
    QTest::newRow("XDG_DATA_HOME set") << Path("xdg-set");
    QTest::newRow("XDG_DATA_HOME empty") << QString();
    QTest::newRow("XDG_DATA_HOME relative") << QStringLiteral("relative-data");
}

// The program's rule is whatever model/IO's folder lookup does under the same
// environment; the pack runs in the temporary folder, where a relative path
// is resolved.
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
    QVERIFY2(ReadFile(expected) == m_compiled, qPrintable(expected));
}

void CourierTest::damagedPackChangesNothing_data()
{
    QTest::addColumn<QByteArray>("pack");
    QTest::addColumn<QByteArray>("message");

    QTest::newRow("member ../evil") << WithFirstMember(m_pack, "../evil") << QByteArray("refusing the archive member '../evil'");
    QTest::newRow("absolute member") << WithFirstMember(m_pack, "/tmp/evil") << QByteArray("refusing");
    QTest::newRow("hidden member") << WithFirstMember(m_pack, ".evil") << QByteArray("refusing");
    QTest::newRow("member ..") << WithFirstMember(m_pack, "..") << QByteArray("refusing");
    QTest::newRow("symbolic link member") << WithFirstMember(m_pack, "CT-1.exam", '2', "../../../../outside") << QByteArray();
    QTest::newRow("no exam file") << WithFirstMember(m_pack, "other.exam") << QByteArray("the pack holds no CT-1.exam");
    // The end of a tar archive is zero blocks: only the length check can
    // tell that some of them are missing.
    QTest::newRow("end cut off") << m_pack.left(m_pack.size() - 700) << QByteArray("incomplete or damaged");
    QTest::newRow("cut in the middle") << m_pack.left(m_pack.size() / 2) << QByteArray("incomplete or damaged");
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
    QVERIFY(!outcome.Err.isEmpty());
    QVERIFY2(outcome.Err.contains(message), outcome.Err.constData());
    QCOMPARE(Snapshot(m_dir.path()), before);
    QVERIFY(ReadFile(dataHome + "/Practorium/Exams/CT-1/CT-1.exam") == m_compiled);
}

void CourierTest::packErrors_data()
{
    QTest::addColumn<QByteArray>("code");
    QTest::addColumn<QByteArray>("exhibit");
    QTest::addColumn<QByteArray>("message");

    QTest::newRow("missing exhibit") << QByteArray("E-1") << QByteArray("absent.gif") << QByteArray("questions[1].exhibit: absent.gif: no such file");
    QTest::newRow("exhibit in a sub-folder") << QByteArray("E-1") << QByteArray("packs/CT-1.pack") << QByteArray("not a plain file name");
    QTest::newRow("exhibit up a folder") << QByteArray("E-1") << QByteArray("../pic.gif") << QByteArray("not a plain file name");
    QTest::newRow("exhibit is the exam file") << QByteArray("E-1") << QByteArray("E-1.exam") << QByteArray("the exam file's own name");
    QTest::newRow("code with a slash") << QByteArray("E/1") << QByteArray() << QByteArray("cannot name a package folder");
    QTest::newRow("code ..") << QByteArray("..") << QByteArray() << QByteArray("cannot name a package folder");
    QTest::newRow("hidden code") << QByteArray(".E-1") << QByteArray() << QByteArray("cannot name a package folder");
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
    const Outcome outcome = Run(QStringLiteral(EXAM_TOOL), { "pack", Path("bad.json"), output });
    QCOMPARE(outcome.ExitCode, 1);
    QVERIFY(outcome.Err.startsWith("practorium-exam: "));
    QCOMPARE(outcome.Err.count('\n'), 1);
    QVERIFY2(outcome.Err.contains(message), outcome.Err.constData());
    QVERIFY(!QFile::exists(output));
}

QTEST_GUILESS_MAIN(CourierTest)
#include "CourierTest.moc"
