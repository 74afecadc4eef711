#include "common/TestUtil.h"
#include "download/InternetTransfer.h"
#include "tests/download/CourierProcess.h"

#include <QFile>
#include <QSignalSpy>
#include <QSslSocket>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

using namespace TestUtil;

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
    void badCallsSendNothing_data();
    void badCallsSendNothing();
    void cancelIsSilentAndAllowsReuse();
    void oneRequestAtATime();

private:
    QString PackUrl() const { return m_server->PackUrl(m_sessionId, QStringLiteral("101")); }

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
    QVERIFY(m_server->AddAccount(User, Password, { QStringLiteral("101") }));
    QVERIFY(m_server->Start());
    m_sessionId = m_server->Login(User, Password);
    QVERIFY(!m_sessionId.isEmpty());
}

void InternetTransferTest::outcomes_data()
{
    QTest::addColumn<QString>("mode");   // how the server misbehaves, or where to connect instead
    QTest::addColumn<qint64>("limit");   // the body limit; -1 keeps the default
    QTest::addColumn<int>("state");
    QTest::addColumn<int>("code");
    const int error = InternetTransfer::icError;
    const int complete = InternetTransfer::icResponseCompleted;
    const int tooLarge = InternetTransfer::BodyTooLargeError;
    QTest::newRow("pack") << QString() << qint64(-1) << complete << 200;
    QTest::newRow("unknown session: 403") << QStringLiteral("bad-session") << qint64(-1) << complete << 403;
    QTest::newRow("body of exactly the limit") << QString() << qint64(PackSize) << complete << 200;
    QTest::newRow("one byte over the limit") << QString() << qint64(PackSize - 1) << error << tooLarge;
    QTest::newRow("10 MB reply") << QStringLiteral("huge-reply") << qint64(-1) << error << tooLarge;
    QTest::newRow("refused port") << QStringLiteral("closed-port") << qint64(-1) << error << 1;
    QTest::newRow("TLS handshake fails") << QStringLiteral("not-tls") << qint64(-1) << error << 6;
}

// Any HTTP answer is state 12 with its status; a failed transport or a body
// over the limit is state 11 with nothing to read. (A silent server and a cut
// body are state 11 as well: the downloader's and the window's tests see them.)
void InternetTransferTest::outcomes()
{
    QFETCH(QString, mode);
    QFETCH(qint64, limit);
    QFETCH(int, state);
    QFETCH(int, code);

    std::unique_ptr<CourierProcess> misbehaving;
    QTcpServer listener;
    QString url = PackUrl();
    if (mode == QLatin1String("bad-session")) {
        url = m_server->PackUrl(QStringLiteral("nobody"), QStringLiteral("101"));
    } else if (mode == QLatin1String("closed-port") || mode == QLatin1String("not-tls")) {
        QVERIFY(listener.listen(QHostAddress::LocalHost, 0));
        url = QStringLiteral("https://127.0.0.1:%1/PackCourier.asp").arg(listener.serverPort());
        if (mode == QLatin1String("closed-port"))
            listener.close();
        // Answers the TLS greeting with plain text.
        connect(&listener, &QTcpServer::newConnection, this, [&listener] {
            while (QTcpSocket* socket = listener.nextPendingConnection())
                socket->write("HELLO, THIS IS NOT TLS\r\n\r\n");
        });
    } else if (mode == QLatin1String("huge-reply")) {
        misbehaving = std::make_unique<CourierProcess>(m_dir.filePath(QStringLiteral("courier")));
        QVERIFY(misbehaving->Start(mode));
        url = misbehaving->Endpoint();
    }

    InternetTransfer transfer;
    transfer.SetTimeout(10000);
    if (limit >= 0)
        transfer.SetMaximumBodySize(limit);
    QSignalSpy states(&transfer, &InternetTransfer::StateChanged);
    if (mode == QLatin1String("huge-reply"))
        transfer.Execute(url, QStringLiteral("POST"), Login);
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
    const Error e = Raised([&] { transfer.Execute(url, operation, {}, headers); });
    QCOMPARE(e.Number(), ErrorNumber::InvalidCall);
    QCOMPARE(e.Source(), QStringLiteral("InternetTransfer::Execute()"));
    QVERIFY(!transfer.StillExecuting());
    QCOMPARE(states.count(), 0);
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
    transfer.Execute(PackUrl(), QStringLiteral("GET"));
    QVERIFY(WaitForEnd(transfer, states));
    QCOMPARE(StatesSeen(states).last(), int(InternetTransfer::icResponseCompleted));
    QCOMPARE(transfer.GetChunk(1 << 20).size(), PackSize);
}

// A second request is refused while one runs, and the first goes on
// undisturbed; from the completion handler (where the protocol reads the
// reply as text and sends its next message) the next one is accepted.
void InternetTransferTest::oneRequestAtATime()
{
    InternetTransfer transfer;
    QString reply;
    QByteArray pack;
    connect(&transfer, &InternetTransfer::StateChanged, this, [&](int state) {
        if (state != InternetTransfer::icResponseCompleted)
            return;
        if (!reply.isEmpty()) {
            pack = transfer.GetChunk(1 << 20);
            return;
        }
        for (QString chunk = transfer.GetChunkText(16); !chunk.isEmpty(); chunk = transfer.GetChunkText(16)) {
            QVERIFY(chunk.size() <= 16);
            reply += chunk;
        }
        if (!transfer.StillExecuting())
            transfer.Execute(PackUrl(), QStringLiteral("GET"));
    });
    transfer.Execute(m_server->Endpoint(), QStringLiteral("POST"), Login);
    QCOMPARE(Raised([&] { transfer.Execute(PackUrl(), QStringLiteral("GET")); }).Description(),
             QStringLiteral("Still executing last request"));
    QTRY_COMPARE_WITH_TIMEOUT(pack.size(), PackSize, 10000);
    QVERIFY2(reply.startsWith(QStringLiteral("LOGIN?status=OK&sid=")) && reply.endsWith(u';'), qPrintable(reply));
}

QTEST_GUILESS_MAIN(InternetTransferTest)
#include "InternetTransferTest.moc"
