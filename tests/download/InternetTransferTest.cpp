#include "download/InternetTransfer.h"
#include "model/Error.h"
#include "tests/download/CourierProcess.h"

#include <QFile>
#include <QSignalSpy>
#include <QSslSocket>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString User = QStringLiteral("bob");
const QString Password = QStringLiteral("secret");
const QByteArray Login = "LOGIN?email=bob&pwd=secret;";
constexpr int PackSize = 2500;

QList<int> StatesSeen(const QSignalSpy& spy)
{
    QList<int> states;
    for (const QList<QVariant>& arguments : spy)
        states << arguments.at(0).toInt();
    return states;
}

bool WaitForEnd(InternetTransfer& transfer, QSignalSpy& states)
{
    while (transfer.StillExecuting()) {
        if (!states.wait(10000))
            return false;
    }
    return true;
}

} // namespace

class InternetTransferTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void outcomes_data();
    void outcomes();
    void replyReadAsTextInChunks();
    void badCallsSendNothing_data();
    void badCallsSendNothing();
    void secondRequestRefusedWhileExecuting();
    void cancelIsSilentAndAllowsReuse();
    void nextRequestFromCompletionHandler();

private:
    QTemporaryDir m_dir;
    std::unique_ptr<CourierProcess> m_server;
    QString m_sessionId;
};

void InternetTransferTest::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY2(QSslSocket::supportsSsl(), "no TLS backend: https endpoints would not work");
    qputenv("XDG_CONFIG_HOME", m_dir.filePath(QStringLiteral("config")).toUtf8());
    qputenv("XDG_DATA_HOME", m_dir.filePath(QStringLiteral("data")).toUtf8());
    m_server = std::make_unique<CourierProcess>(m_dir.filePath(QStringLiteral("courier")));
    QFile pack(m_server->PacksFolder() + QStringLiteral("/101.pack"));
    QVERIFY(pack.open(QIODevice::WriteOnly) && pack.write(QByteArray(PackSize, 'p')) == PackSize);
    pack.close();
    QVERIFY(m_server->Admin({ QStringLiteral("add-account"), User, Password }));
    QVERIFY(m_server->Admin({ QStringLiteral("grant"), User, QStringLiteral("101") }));
    QVERIFY(m_server->Start());
    m_sessionId = m_server->Login(User, Password);
    QVERIFY(!m_sessionId.isEmpty());
}

void InternetTransferTest::outcomes_data()
{
    QTest::addColumn<QString>("mode");   // the server's misbehaviour, or where to connect instead
    QTest::addColumn<QString>("request"); // "pack" (GET with a session) or "login" (POST)
    QTest::addColumn<qint64>("limit");    // the body limit; -1 keeps the default
    QTest::addColumn<int>("state");
    QTest::addColumn<int>("code");
    const int error = InternetTransfer::icError;
    const int complete = InternetTransfer::icResponseCompleted;
    const int tooLarge = InternetTransfer::BodyTooLargeError;
    const QString pack = QStringLiteral("pack");
    QTest::newRow("pack") << QString() << pack << qint64(-1) << complete << 200;
    QTest::newRow("unknown session: 403") << QStringLiteral("bad-session") << pack << qint64(-1) << complete << 403;
    QTest::newRow("404 page") << QStringLiteral("not-found-pack") << pack << qint64(-1) << complete << 404;
    QTest::newRow("body of exactly the limit") << QString() << pack << qint64(PackSize) << complete << 200;
    QTest::newRow("one byte over the limit") << QString() << pack << qint64(PackSize - 1) << error << tooLarge;
    QTest::newRow("10 MB reply") << QStringLiteral("huge-reply") << QStringLiteral("login") << qint64(-1) << error
                                 << tooLarge;
    QTest::newRow("refused port") << QStringLiteral("closed-http") << pack << qint64(-1) << error << 1;
    QTest::newRow("https to a refused port") << QStringLiteral("closed-https") << pack << qint64(-1) << error << 1;
    QTest::newRow("TLS handshake fails") << QStringLiteral("not-tls") << pack << qint64(-1) << error << 6;
    QTest::newRow("never answers") << QStringLiteral("never-answer") << pack << qint64(-1) << error
                                   << InternetTransfer::TimedOutError;
    QTest::newRow("dropped mid-pack") << QStringLiteral("drop-mid-pack") << pack << qint64(-1) << error << 2;
    QTest::newRow("longer length than body") << QStringLiteral("length-too-large") << pack << qint64(-1) << error << 2;
}

// Any HTTP answer is state 12 with its status; a failed transport, a silent
// server or a body over the limit is state 11 with nothing to read.
void InternetTransferTest::outcomes()
{
    QFETCH(QString, mode);
    QFETCH(QString, request);
    QFETCH(qint64, limit);
    QFETCH(int, state);
    QFETCH(int, code);

    std::unique_ptr<CourierProcess> misbehaving;
    QTcpServer listener;
    QString url = m_server->PackUrl(m_sessionId, QStringLiteral("101"));
    if (mode == QLatin1String("bad-session")) {
        url = m_server->PackUrl(QStringLiteral("nobody"), QStringLiteral("101"));
    } else if (mode.startsWith(QLatin1String("closed-")) || mode == QLatin1String("not-tls")) {
        QVERIFY(listener.listen(QHostAddress::LocalHost, 0));
        url = QStringLiteral("https://127.0.0.1:%1/PackCourier.asp").arg(listener.serverPort());
        if (mode == QLatin1String("closed-http"))
            url.remove(4, 1);
        if (mode.startsWith(QLatin1String("closed-")))
            listener.close();
        // Answers the TLS greeting with plain text.
        connect(&listener, &QTcpServer::newConnection, this, [&listener] {
            while (QTcpSocket* socket = listener.nextPendingConnection())
                socket->write("HELLO, THIS IS NOT TLS\r\n\r\n");
        });
    } else if (!mode.isEmpty()) {
        misbehaving = std::make_unique<CourierProcess>(m_dir.filePath(QStringLiteral("courier")));
        QVERIFY(misbehaving->Start(mode));
        const bool answers = mode != QLatin1String("never-answer") && request == QLatin1String("pack");
        const QString sessionId = answers ? misbehaving->Login(User, Password) : QStringLiteral("0");
        QVERIFY(!sessionId.isEmpty());
        url = misbehaving->PackUrl(sessionId, QStringLiteral("101"));
    }

    InternetTransfer transfer;
    // Short only where nothing will come; elsewhere a loaded machine must
    // not turn into a timeout.
    transfer.SetTimeout(mode == QLatin1String("never-answer") ? 300 : 10000);
    if (limit >= 0)
        transfer.SetMaximumBodySize(limit);
    QSignalSpy states(&transfer, &InternetTransfer::StateChanged);
    if (request == QLatin1String("login"))
        transfer.Execute(url.section(u'?', 0, 0), QStringLiteral("POST"), Login);
    else
        transfer.Execute(url, QStringLiteral("GET"));
    QCOMPARE(StatesSeen(states), QList<int>{ InternetTransfer::icRequesting });
    QVERIFY(WaitForEnd(transfer, states));

    const QList<int> seen = StatesSeen(states);
    QCOMPARE(seen.last(), state);
    QCOMPARE(seen.count(InternetTransfer::icError) + seen.count(InternetTransfer::icResponseCompleted), 1);
    QCOMPARE(transfer.ResponseCode(), code);
    QVERIFY(!transfer.ResponseInfo().isEmpty());
    const QByteArray body = transfer.GetChunk(1 << 24);
    if (state == InternetTransfer::icError)
        QVERIFY(body.isEmpty());
    else if (code == 200)
        QCOMPARE(body, QByteArray(PackSize, 'p'));
    else
        QVERIFY(body.contains(QByteArray::number(code)));
}

void InternetTransferTest::replyReadAsTextInChunks()
{
    InternetTransfer transfer;
    QSignalSpy states(&transfer, &InternetTransfer::StateChanged);
    transfer.Execute(m_server->Endpoint(), QStringLiteral("post"), Login,
                     QStringLiteral("Content-Type: application/x-www-form-urlencoded"));
    QVERIFY(WaitForEnd(transfer, states));
    QString reply;
    for (QString chunk = transfer.GetChunkText(16); !chunk.isEmpty(); chunk = transfer.GetChunkText(16)) {
        QVERIFY(chunk.size() <= 16);
        reply += chunk;
    }
    QVERIFY2(reply.startsWith(QStringLiteral("LOGIN?status=OK&sid=")) && reply.endsWith(u';'), qPrintable(reply));
    QCOMPARE(transfer.GetHeader(QStringLiteral("CONTENT-length")).toInt(), reply.size());
    QVERIFY(transfer.GetHeader().contains(QStringLiteral("Content-Length: %1").arg(reply.size())));
}

void InternetTransferTest::badCallsSendNothing_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("headers");
    const QString url = QStringLiteral("http://127.0.0.1/");
    QTest::newRow("empty URL") << QString() << QStringLiteral("GET") << QString();
    QTest::newRow("relative URL") << QStringLiteral("PackCourier.asp") << QStringLiteral("GET") << QString();
    QTest::newRow("ftp URL") << QStringLiteral("ftp://127.0.0.1/x") << QStringLiteral("GET") << QString();
    QTest::newRow("unknown operation") << url << QStringLiteral("DELETE") << QString();
    QTest::newRow("header without name") << url << QStringLiteral("GET") << QStringLiteral("Accept: */*\r\n: value");
    QTest::newRow("header without colon") << url << QStringLiteral("GET") << QStringLiteral("Accept */*");
}

void InternetTransferTest::badCallsSendNothing()
{
    QFETCH(QString, url);
    QFETCH(QString, operation);
    QFETCH(QString, headers);
    InternetTransfer transfer;
    QSignalSpy states(&transfer, &InternetTransfer::StateChanged);
    try {
        transfer.Execute(url, operation, {}, headers);
        QFAIL("no error raised");
    } catch (const Error& error) {
        QCOMPARE(error.Number(), ErrorNumber::InvalidCall);
        QCOMPARE(error.Source(), QStringLiteral("InternetTransfer::Execute()"));
    }
    QVERIFY(!transfer.StillExecuting());
    QCOMPARE(states.count(), 0);
}

void InternetTransferTest::secondRequestRefusedWhileExecuting()
{
    InternetTransfer transfer;
    QSignalSpy states(&transfer, &InternetTransfer::StateChanged);
    transfer.Execute(m_server->PackUrl(m_sessionId, QStringLiteral("101")), QStringLiteral("GET"));
    try {
        transfer.Execute(m_server->Endpoint(), QStringLiteral("POST"), Login);
        QFAIL("no error raised");
    } catch (const Error& error) {
        QCOMPARE(error.Description(), QStringLiteral("Still executing last request"));
    }
    // The first request goes on undisturbed.
    QVERIFY(WaitForEnd(transfer, states));
    QCOMPARE(transfer.GetChunk(1 << 20).size(), PackSize);
}

void InternetTransferTest::cancelIsSilentAndAllowsReuse()
{
    CourierProcess silent(m_dir.filePath(QStringLiteral("courier")));
    QVERIFY(silent.Start(QStringLiteral("never-answer")));
    InternetTransfer transfer;
    transfer.SetTimeout(50);
    QSignalSpy states(&transfer, &InternetTransfer::StateChanged);
    transfer.Execute(silent.PackUrl(QStringLiteral("0"), QStringLiteral("101")), QStringLiteral("GET"));
    transfer.Cancel();
    QVERIFY(!transfer.StillExecuting());
    states.clear();
    // Three timeouts long: the cancelled request reports nothing, not even
    // its timeout.
    QVERIFY(!states.wait(150));

    transfer.SetTimeout(InternetTransfer::DefaultTimeout);
    transfer.Execute(m_server->PackUrl(m_sessionId, QStringLiteral("101")), QStringLiteral("GET"));
    QVERIFY(WaitForEnd(transfer, states));
    QCOMPARE(StatesSeen(states).last(), int(InternetTransfer::icResponseCompleted));
    QCOMPARE(transfer.GetChunk(1 << 20).size(), PackSize);
}

// The protocol reads a reply and sends its next message from the same
// handler.
void InternetTransferTest::nextRequestFromCompletionHandler()
{
    InternetTransfer transfer;
    QList<QByteArray> bodies;
    connect(&transfer, &InternetTransfer::StateChanged, this, [&](int state) {
        if (state != InternetTransfer::icResponseCompleted)
            return;
        bodies << transfer.GetChunk(1 << 20);
        if (bodies.size() == 1 && !transfer.StillExecuting())
            transfer.Execute(m_server->PackUrl(m_sessionId, QStringLiteral("101")), QStringLiteral("GET"));
    });
    transfer.Execute(m_server->Endpoint(), QStringLiteral("POST"), Login);
    QTRY_COMPARE_WITH_TIMEOUT(bodies.size(), 2, 10000);
    QVERIFY(bodies.at(0).startsWith("LOGIN?status=OK"));
    QCOMPARE(bodies.at(1).size(), PackSize);
}

QTEST_GUILESS_MAIN(InternetTransferTest)
#include "InternetTransferTest.moc"
