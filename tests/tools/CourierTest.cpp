// The reference download server and self-installing packs, driven from the outside: requests are written here by hand,
// packs are run with sh and tar.

#include "common/TestUtil.h"
#include "model/IO.h"
#include "model/Pack.h"
#include "tests/download/CourierProcess.h"

#include <QDirIterator>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <numeric>

using namespace TestUtil;

namespace {

// A GET, or a POST of `body`; the HTTP status and the body.
std::pair<int, QByteArray> Fetch(QNetworkAccessManager& network, const QString& url, const QByteArray* body = nullptr)
{
    QNetworkRequest request { QUrl(url) };
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArray("application/x-www-form-urlencoded"));
    std::unique_ptr<QNetworkReply> reply(body ? network.post(request, *body) : network.get(request));
    QSignalSpy finished(reply.get(), &QNetworkReply::finished);
    if (!reply->isFinished() && !finished.wait(10000))
        return {};
    return { reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), reply->readAll() };
}

// Every file and folder below `root`, with the size of each file.
QStringList Snapshot(const QString& root)
{
    QStringList entries;
    const auto filter = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
    for (QDirIterator it(root, filter, QDirIterator::Subdirectories); it.hasNext();) {
        const QFileInfo entry = it.nextFileInfo();
        entries.append(entry.filePath() + (entry.isFile() ? QStringLiteral(" %1").arg(entry.size()) : QString()));
    }
    entries.sort();
    return entries;
}

// The pack with its first archive member renamed (and retyped), its header checksum made right again: the tampering a
// hostile server could do.
QByteArray WithFirstMember(QByteArray pack, const QByteArray& name, char type = '0', const QByteArray& link = {})
{
    const qsizetype header = pack.indexOf(QByteArray("ustar\0", 6)) - 257;
    pack.replace(header, 100, name + QByteArray(100 - name.size(), '\0'));
    pack[header + 156] = type;
    pack.replace(header + 157, 100, link + QByteArray(100 - link.size(), '\0'));
    pack.replace(header + 148, 8, QByteArray(8, ' '));
    const QByteArrayView block = QByteArrayView(pack).sliced(header, 512);
    const unsigned sum = std::accumulate(block.begin(), block.end(), 0u, [](unsigned s, char c) { return s + uchar(c); });
    pack.replace(header + 148, 8, QByteArray::number(sum, 8).rightJustified(6, '0') + QByteArray("\0 ", 2));
    return pack;
}

} // namespace

class CourierTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        // Packs and the folder lookup below see this home, not the user's.
        qputenv("HOME", QFile::encodeName(Path("home")));
        m_network.setProxy(QNetworkProxy::NoProxy);
        // Every byte value, so the archive is shown to carry binary files whole.
        for (int i = 0; i < 700; ++i)
            m_exhibit.append(char(i * 7 % 256));
        WriteFile(Path("pic.gif"), m_exhibit);
        WriteFile(Path("ct.json"), R"({"code": "CT-1", "name": "Courier test", "maxScore": 100, "passScore": 50, "duration": 10,
            "questions": [{"exhibit": "pic.gif", "problem": "Q1", "choices": [{"isSolution": true, "statement": "A"}]},
                          {"exhibit": "pic.gif", "problem": "Q2", "choices": [{"isSolution": true, "statement": "B"}]}]})");
        QCOMPARE(Run(EXAM_TOOL, { "compile", Path("ct.json"), Path("ct.exam") }).ExitCode, 0);
        QCOMPARE(Run(EXAM_TOOL, { "pack", Path("ct.json"), Path("ct.pack") }).ExitCode, 0);
        m_compiled = ReadAll(Path("ct.exam"));
        m_pack = ReadAll(Path("ct.pack"));
        m_server = std::make_unique<CourierProcess>(m_dir.path(), Path("packs"));
        m_server->DiscardLog();
        QVERIFY(m_server->AddAccount("alice", "pa&ss=;word", { "CT-1", "NOPACK-2" }));
        QVERIFY(!m_server->Admin({ "grant", "alice", "../evil" }) && !m_server->Admin({ "grant", "nobody", "CT-1" }));
        QVERIFY(QFile::copy(Path("ct.pack"), Path("packs/CT-1.pack")));
        QVERIFY(m_server->Start() && m_server->Endpoint().startsWith("http://127.0.0.1:"));
        // The password travels escaped: "&", "=" and ";" must survive both codecs.
        const QByteArray login = "LOGIN?email=alice&pwd=pa%26ss%3D%3Bword;";
        const QString reply = QString::fromLatin1(Fetch(m_network, m_server->Endpoint(), &login).second);
        m_sessionId = QRegularExpression("^LOGIN\\?status=OK&sid=([0-9a-f]{32});$").match(reply).captured(1);
        QVERIFY2(!m_sessionId.isEmpty(), qPrintable(reply));
    }

    // What the server serves it signs with a key of its own beside its database (the window's runs install what it
    // signed), readable only by its owner.
    void cleanupTestCase()
    {
        QCOMPARE(QFile::permissions(Path("signing.key")) & 0x0077, QFileDevice::Permissions {});
        QVERIFY(m_server && m_server->Stop());
    }

    void requests_data()
    {
        QTest::addColumn<QByteArray>("request"); // a POST body, or the query of a GET
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("expected"); // a regular expression for the whole reply
        QTest::newRow("unknown user") << QByteArray("LOGIN?email=mallory&pwd=x;") << 200 << "LOGIN\\?status=FAILED;";
        QTest::newRow("list, bad sid") << QByteArray("LIST?sid=0123456789abcdef0123456789abcdef;") << 200 << "ERROR\\?code=401&description=[^;&]+;";
        QTest::newRow("unknown command") << QByteArray("HELLO;") << 200 << "ERROR\\?code=400&description=Unknown command: HELLO;";
        QTest::newRow("no terminator") << QByteArray("LOGIN?email=alice") << 200 << "ERROR\\?code=400&description=[^;&]+;";
        QTest::newRow("pack, bad sid") << QByteArray("?sid=0123456789abcdef0123456789abcdef&eid=CT-1") << 403 << ".*";
        QTest::newRow("pack not bought") << QByteArray("?sid=SID&eid=OTHER-3") << 403 << ".*";
        QTest::newRow("bought, no pack file") << QByteArray("?sid=SID&eid=NOPACK-2") << 404 << ".*";
        QTest::newRow("pack path out of the folder") << QByteArray("?sid=SID&eid=../packs/CT-1") << 400 << ".*";
    }

    void requests()
    {
        QFETCH(QByteArray, request);
        QFETCH(QString, expected);
        request.replace("SID", m_sessionId.toLatin1());
        const QString url = m_server->Endpoint();
        const auto [status, body] = request.startsWith('?') ? Fetch(m_network, url + request) : Fetch(m_network, url, &request);
        QTEST(status, "status");
        const QRegularExpression pattern(QRegularExpression::anchoredPattern(expected), QRegularExpression::DotMatchesEverythingOption);
        QVERIFY2(pattern.match(QString::fromLatin1(body)).hasMatch(), body.constData());
    }

    // The pack installs where the program's folder lookup points under the same environment (it runs in the temporary
    // folder, where a relative path is resolved); a second run puts back what the package held, and nothing more.
    void packInstalls_data()
    {
        QTest::addColumn<QString>("dataHome");
        QTest::newRow("XDG_DATA_HOME empty") << QString();
        QTest::newRow("XDG_DATA_HOME relative") << QStringLiteral("relative-data");
        QTest::newRow("over a changed package") << Path("installs");
    }

    void packInstalls()
    {
        QFETCH(QString, dataHome);
        qputenv("XDG_DATA_HOME", QFile::encodeName(dataHome));
        const QString package = QDir(m_dir.path()).absoluteFilePath(GetSpecialFolder("$(ProgramFiles)") + "/Practorium/Exams/CT-1");
        QVERIFY(!QFile::exists(package));
        if (dataHome.startsWith('/')) {
            Install(dataHome);
            WriteFile(package + "/pic.gif", "changed");
        }
        Install(dataHome);
        QCOMPARE(QDir(package).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), (QStringList { "CT-1.exam", "pic.gif" }));
        QVERIFY(ReadAll(package + "/CT-1.exam") == m_compiled && ReadAll(package + "/pic.gif") == m_exhibit);
    }

    void damagedPackChangesNothing_data()
    {
        QTest::addColumn<QByteArray>("pack");
        QTest::addColumn<QByteArray>("message");
        QTest::newRow("member ../evil") << WithFirstMember(m_pack, "../evil") << QByteArray("refusing the archive member '../evil'");
        QTest::newRow("absolute member") << WithFirstMember(m_pack, "/tmp/evil") << QByteArray("refusing");
        QTest::newRow("symbolic link member") << WithFirstMember(m_pack, "CT-1.exam", '2', "../../../../outside") << QByteArray();
        QTest::newRow("no exam file") << WithFirstMember(m_pack, "other.exam") << QByteArray("the pack holds no CT-1.exam");
        // The end of a tar archive is zero blocks: only the length check can tell that some of them are missing.
        QTest::newRow("end cut off") << m_pack.left(m_pack.size() - 700) << QByteArray("incomplete or damaged");
        QTest::newRow("byte appended") << m_pack + 'x' << QByteArray("incomplete or damaged");
    }

    // An installed package stays as it was, nothing appears anywhere else, and the failure is said on standard error.
    void damagedPackChangesNothing()
    {
        QFETCH(QByteArray, pack);
        QFETCH(QByteArray, message);
        const QString dataHome = Path("damaged");
        if (!QFile::exists(dataHome))
            Install(dataHome);
        WriteFile(Path("damaged.pack"), pack);
        QVERIFY(QFile::setPermissions(Path("damaged.pack"), QFile::permissions(Path("ct.pack"))));
        const QStringList before = Snapshot(m_dir.path());
        const RunResult outcome = RunPack(Path("damaged.pack"), dataHome);
        QVERIFY2(outcome.ExitCode > 0 && !outcome.Err.isEmpty() && outcome.Err.contains(message), outcome.Err.constData());
        QCOMPARE(Snapshot(m_dir.path()), before);
        QVERIFY(ReadAll(dataHome + "/Practorium/Exams/CT-1/CT-1.exam") == m_compiled);
    }

private:
    QString Path(const QString& name) const { return m_dir.filePath(name); }

    // Runs a pack in the temporary folder with `dataHome` as XDG_DATA_HOME.
    RunResult RunPack(const QString& pack, const QString& dataHome)
    {
        return Run(pack, {}, m_dir.path(), { "XDG_DATA_HOME=" + dataHome });
    }

    // Runs the good pack.
    void Install(const QString& dataHome)
    {
        const RunResult outcome = RunPack(Path("ct.pack"), dataHome);
        QVERIFY2(outcome.ExitCode == 0, outcome.Err.constData());
    }

    QTemporaryDir m_dir;
    QByteArray m_exhibit;
    QByteArray m_compiled;
    QByteArray m_pack;
    QNetworkAccessManager m_network;
    std::unique_ptr<CourierProcess> m_server;
    QString m_sessionId;
};

QTEST_GUILESS_MAIN(CourierTest)
#include "CourierTest.moc"
