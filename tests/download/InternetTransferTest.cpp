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

constexpr int PackSize = 2500;

QList<int> StatesSeen(const QSignalSpy& spy)
{
    QList<int> states;
    for (const QList<QVariant>& arguments : spy)
        states << arguments.at(0).toInt();
    return states;
}

} // namespace

class InternetTransferTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY2(QSslSocket::supportsSsl(), "no TLS backend: https endpoints would not work");
        qputenv("XDG_CONFIG_HOME", m_dir.filePath("config").toUtf8());
        qputenv("XDG_DATA_HOME", m_dir.filePath("data").toUtf8());
        m_server = std::make_unique<CourierProcess>(m_dir.filePath("courier"));
        QFile pack(m_server->PacksFolder() + "/101.pack");
        QVERIFY(pack.open(QIODevice::WriteOnly) && pack.write(QByteArray(PackSize, 'p')) == PackSize);
        pack.close();
        QVERIFY(m_server->AddAccount("bob", "secret", { "101" }));
        QVERIFY(m_server->Start());
        const QString sessionId = m_server->Login("bob", "secret");
        QVERIFY(!sessionId.isEmpty());
        m_packUrl = m_server->PackUrl(sessionId, "101");
    }

    void outcomes_data()
    {
        QTest::addColumn<QString>("url"); // or a local port that is "closed" or does not speak "tls"
        QTest::addColumn<qint64>("limit");
        QTest::addColumn<int>("state");
        QTest::addColumn<int>("code");
        const int error = InternetTransfer::icError;
        const int complete = InternetTransfer::icResponseCompleted;
        QTest::newRow("unknown session: 403") << m_server->PackUrl("nobody", "101") << qint64(PackSize) << complete << 403;
        QTest::newRow("body of exactly the limit") << m_packUrl << qint64(PackSize) << complete << 200;
        QTest::newRow("one byte over the limit") << m_packUrl << qint64(PackSize - 1) << error << int(InternetTransfer::BodyTooLargeError);
        QTest::newRow("refused port") << "closed" << qint64(PackSize) << error << 1;
        QTest::newRow("TLS handshake fails") << "tls" << qint64(PackSize) << error << 6;
    }

    // Any HTTP answer is state 12 with its status; a failed transport or a body
    // over the limit is state 11 with nothing to read.
    void outcomes()
    {
        QFETCH(QString, url);
        QFETCH(qint64, limit);
        QFETCH(int, state);
        QFETCH(int, code);
        QTcpServer listener;
        if (!url.startsWith("http")) {
            QVERIFY(listener.listen(QHostAddress::LocalHost, 0));
            const QString local = QStringLiteral("https://127.0.0.1:%1/PackCourier.asp").arg(listener.serverPort());
            if (url == "closed")
                listener.close();
            url = local;
            // Answers the TLS greeting with plain text.
            connect(&listener, &QTcpServer::newConnection, this, [&listener] {
                while (QTcpSocket* socket = listener.nextPendingConnection())
                    socket->write("HELLO, THIS IS NOT TLS\r\n\r\n");
            });
        }
        InternetTransfer transfer;
        transfer.SetTimeout(10000);
        transfer.SetMaximumBodySize(limit);
        QSignalSpy states(&transfer, &InternetTransfer::StateChanged);
        transfer.Execute(url, "GET");
        QCOMPARE(StatesSeen(states), QList<int>{ InternetTransfer::icRequesting });
        QTRY_VERIFY_WITH_TIMEOUT(!transfer.StillExecuting(), 10000);

        const QList<int> seen = StatesSeen(states);
        QCOMPARE(seen.last(), state);
        QCOMPARE(seen.count(InternetTransfer::icError) + seen.count(InternetTransfer::icResponseCompleted), 1);
        QCOMPARE(transfer.ResponseCode(), code);
        QVERIFY(!transfer.ResponseInfo().isEmpty());
        const QByteArray body = transfer.GetChunk(1 << 24);
        QVERIFY(state == InternetTransfer::icError ? body.isEmpty()
                                                   : body.contains(code == 200 ? QByteArray(PackSize, 'p') : QByteArray::number(code)));
    }

    void badCallsSendNothing_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QString>("headers");
        const QString url = "http://127.0.0.1/";
        QTest::newRow("relative URL") << "PackCourier.asp" << "GET" << QString();
        QTest::newRow("ftp URL") << "ftp://127.0.0.1/x" << "GET" << QString();
        QTest::newRow("unknown operation") << url << "DELETE" << QString();
        QTest::newRow("header without name") << url << "GET" << "Accept: */*\r\n: value";
        QTest::newRow("header without colon") << url << "GET" << "Accept */*";
    }

    void badCallsSendNothing()
    {
        QFETCH(QString, url);
        QFETCH(QString, operation);
        QFETCH(QString, headers);
        InternetTransfer transfer;
        QSignalSpy states(&transfer, &InternetTransfer::StateChanged);
        const Error e = Raised([&] { transfer.Execute(url, operation, {}, headers); });
        QCOMPARE(e.Number(), ErrorNumber::InvalidCall);
        QCOMPARE(e.Source(), "InternetTransfer::Execute()");
        QVERIFY(!transfer.StillExecuting());
        QCOMPARE(states.count(), 0);
    }

    void cancelIsSilent()
    {
        CourierProcess silent(m_dir.filePath("courier"));
        QVERIFY(silent.Start("never-answer"));
        InternetTransfer transfer;
        transfer.SetTimeout(50);
        QSignalSpy states(&transfer, &InternetTransfer::StateChanged);
        transfer.Execute(silent.PackUrl("0", "101"), "GET");
        transfer.Cancel();
        QVERIFY(!transfer.StillExecuting());
        states.clear();
        // Three timeouts long: the cancelled request reports nothing, not even
        // its timeout.
        QVERIFY(!states.wait(150));
    }

    // A second request is refused while one runs, and the first goes on; the
    // completion handler, where the protocol sends its next message, may start one.
    void oneRequestAtATime()
    {
        InternetTransfer transfer;
        QString reply;
        connect(&transfer, &InternetTransfer::StateChanged, this, [&](int state) {
            if (state != InternetTransfer::icResponseCompleted || !reply.isEmpty())
                return;
            for (QString chunk = transfer.GetChunkText(16); !chunk.isEmpty(); chunk = transfer.GetChunkText(16)) {
                QVERIFY(chunk.size() <= 16);
                reply += chunk;
            }
            QCOMPARE(Raised([&] { transfer.Execute(m_packUrl, "GET"); }).Number(), 0);
        });
        transfer.Execute(m_server->Endpoint(), "POST", "LOGIN?email=bob&pwd=secret;");
        QCOMPARE(Raised([&] { transfer.Execute(m_packUrl, "GET"); }).Description(), "Still executing last request");
        QTRY_VERIFY_WITH_TIMEOUT(!reply.isEmpty() && !transfer.StillExecuting(), 10000);
        QCOMPARE(transfer.GetChunk(1 << 20), QByteArray(PackSize, 'p'));
        QVERIFY2(reply.startsWith("LOGIN?status=OK&sid=") && reply.endsWith(u';'), qPrintable(reply));
    }

private:
    QTemporaryDir m_dir;
    std::unique_ptr<CourierProcess> m_server;
    QString m_packUrl;
};

QTEST_GUILESS_MAIN(InternetTransferTest)
#include "InternetTransferTest.moc"
