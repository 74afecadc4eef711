// The downloader and the transfer object under it, against the reference server on 127.0.0.1.

#include "common/TestUtil.h"
#include "download/Downloader.h"
#include "download/InternetTransfer.h"
#include "tests/download/CourierProcess.h"

#include <QSignalSpy>
#include <QSslSocket>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <memory>

using namespace TestUtil;

namespace {

// Exam IDs and sizes of the served packs.
const QMap<QString, int> Packs = {
    { "empty", 0 }, { "one", 1 }, { "k1", 1024 }, { "k1plus", 1025 }, { "k10", 10240 },
    // More than the downloader lets wait unread: the connection has to pause and go on.
    { "big", 1536 * 1024 + 7 },
};

// Bytes that differ from chunk to chunk, so a lost or repeated chunk shows.
QByteArray PackBytes(int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        bytes[i] = char(i * 7 + i / 1021);
    return bytes;
}

// The downloader's events in the order they come; chunks only counted.
struct Events
{
    explicit Events(Downloader& downloader)
    {
        QObject::connect(&downloader, &Downloader::DownloadStarted, [this] { Order << "started"; });
        QObject::connect(&downloader, &Downloader::ChunkDownloaded, [this] { ++Chunks; });
        QObject::connect(&downloader, &Downloader::DownloadFailed, [this] { Order << "failed"; });
        QObject::connect(&downloader, &Downloader::DownloadComplete, [this] { Order << "complete"; });
    }
    bool Ended() const { return Order.contains("complete"); }

    QStringList Order;
    int Chunks = 0;
};

const QStringList Completed { "started", "complete" };

QList<int> StatesSeen(const QSignalSpy& spy)
{
    QList<int> states;
    std::ranges::transform(spy, std::back_inserter(states), [](const QList<QVariant>& arguments) { return arguments.at(0).toInt(); });
    return states;
}

} // namespace

class DownloaderTest : public QObject
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
        QVERIFY(m_server->AddAccount("bob", "secret", Packs.keys()));
        for (auto pack = Packs.begin(); pack != Packs.end(); ++pack)
            WriteFile(m_server->PacksFolder() + u'/' + pack.key() + ".pack", PackBytes(pack.value()));
        QVERIFY(m_server->Start());
        m_sessionId = m_server->Login("bob", "secret");
        QVERIFY(!m_sessionId.isEmpty());
    }

    void init()
    {
        m_downloader.reset();
        m_transfer = std::make_unique<InternetTransfer>();
        m_downloader = std::make_unique<Downloader>();
        m_downloader->Initialize(m_transfer.get());
        m_target = m_dir.filePath(QString::fromLatin1(QTest::currentTestFunction()) + u'-' + QString::fromLatin1(QTest::currentDataTag()));
        QVERIFY(QDir().mkpath(m_target));
    }

    void transferOutcomes_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<qint64>("limit");
        QTest::addColumn<int>("state");
        QTest::addColumn<int>("code");
        const int error = InternetTransfer::icError;
        const int complete = InternetTransfer::icResponseCompleted;
        const QString k1 = m_server->PackUrl(m_sessionId, "k1");
        QTest::newRow("unknown session: 403") << m_server->PackUrl("nobody", "k1") << qint64(1024) << complete << 403;
        QTest::newRow("body of exactly the limit") << k1 << qint64(1024) << complete << 200;
        QTest::newRow("one byte over the limit") << k1 << qint64(1023) << error << int(InternetTransfer::BodyTooLargeError);
        QTest::newRow("refused port") << "http://127.0.0.1:1/PackCourier.asp" << qint64(1024) << error << 1;
    }

    // Any HTTP answer is state 12 with its status; a failed transport or a body over the limit is state 11 with nothing
    // to read.
    void transferOutcomes()
    {
        QFETCH(QString, url);
        QFETCH(int, state);
        QFETCH(int, code);
        QFETCH(qint64, limit);
        InternetTransfer transfer;
        transfer.SetTimeout(10000);
        transfer.SetMaximumBodySize(limit);
        QSignalSpy states(&transfer, &InternetTransfer::StateChanged);
        transfer.Execute(url, "GET");
        QCOMPARE(Raised([&] { transfer.Execute(url, "GET"); }).Description(), "Still executing last request");
        QCOMPARE(StatesSeen(states), QList<int> { InternetTransfer::icRequesting });
        QTRY_VERIFY_WITH_TIMEOUT(!transfer.StillExecuting(), 10000);
        const QList<int> seen = StatesSeen(states);
        QCOMPARE(seen.last(), state);
        QCOMPARE(seen.count(InternetTransfer::icError) + seen.count(InternetTransfer::icResponseCompleted), 1);
        QCOMPARE(transfer.ResponseCode(), code);
        QVERIFY(!transfer.ResponseInfo().isEmpty());
        const QByteArray body = transfer.GetChunk(1 << 24);
        QVERIFY(state == InternetTransfer::icError ? body.isEmpty() : body.contains(code == 200 ? PackBytes(1024) : QByteArray::number(code)));
    }

    // Calls the transfer or the downloader refuses start nothing.
    void badCallsStartNothing_data()
    {
        QTest::addColumn<bool>("getFile"); // else Execute
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("argument"); // the operation, or the file name
        QTest::addColumn<QString>("headers");
        const QString url = "http://127.0.0.1:1/packs/101.exe";
        QTest::newRow("relative URL") << false << "PackCourier.asp" << "GET" << QString();
        QTest::newRow("ftp URL") << false << "ftp://127.0.0.1/x" << "GET" << QString();
        QTest::newRow("unknown operation") << false << url << "DELETE" << QString();
        QTest::newRow("header without name") << false << url << "GET" << "Accept: */*\r\n: value";
        QTest::newRow("header without colon") << false << url << "GET" << "Accept */*";
        QTest::newRow("address ends in a slash") << true << "http://127.0.0.1:1/packs/" << QString() << QString();
        QTest::newRow("parent folder") << true << url << ".." << QString();
        QTest::newRow("this folder") << true << url << "." << QString();
        QTest::newRow("slash") << true << url << "../101.exe" << QString();
        QTest::newRow("NUL") << true << url << QStringLiteral("101") + QChar(0) + QStringLiteral(".exe") << QString();
    }

    void badCallsStartNothing()
    {
        QFETCH(bool, getFile);
        QFETCH(QString, url);
        QFETCH(QString, argument);
        QFETCH(QString, headers);
        Events events(*m_downloader);
        QSignalSpy states(m_transfer.get(), &InternetTransfer::StateChanged);
        const Error e = Raised([&] {
            getFile ? m_downloader->GetFile(url, m_target, argument) : m_transfer->Execute(url, argument, {}, headers);
        });
        QCOMPARE(e.Number(), ErrorNumber::InvalidCall);
        QCOMPARE(e.Source(), getFile ? "Downloader::GetFile()" : "InternetTransfer::Execute()");
        QVERIFY(events.Order.isEmpty() && states.isEmpty() && !m_transfer->StillExecuting());
    }

    void chunkCounts_data()
    {
        QTest::addColumn<QString>("examId");
        QTest::addColumn<int>("chunks");
        QTest::newRow("empty body") << "empty" << 0;
        QTest::newRow("one byte") << "one" << 1;
        QTest::newRow("exactly one chunk") << "k1" << 1;
        QTest::newRow("one byte into the second") << "k1plus" << 2;
        QTest::newRow("paused and resumed") << "big" << 1537;
    }

    void chunkCounts()
    {
        QFETCH(QString, examId);
        const int size = Packs.value(examId);
        Events events(*m_downloader);
        Fetch(examId, events);
        QCOMPARE(events.Order, Completed);
        QTEST(events.Chunks, "chunks");
        QVERIFY(m_downloader->FileSize() == size && m_downloader->Downloaded() == size);
        QVERIFY(m_downloader->IsWhole() && !m_transfer->StillExecuting());
        QVERIFY(ReadAll(m_target + u'/' + examId + ".exe") == PackBytes(size));
    }

    void cancel_data()
    {
        QTest::addColumn<bool>("silentServer");
        QTest::newRow("at the first chunk") << false;
        // Long before the minute's timeout, with no chunk to wait for.
        QTest::newRow("while the server is silent") << true;
    }

    // The download ends at once and its transfer reports nothing afterwards, not even its timeout (waited for three
    // times over); the same instance serves the next download in full.
    void cancel()
    {
        QFETCH(bool, silentServer);
        CourierProcess silent(m_dir.filePath("courier"));
        QString url = m_server->PackUrl(m_sessionId, "big");
        if (silentServer) {
            QVERIFY(silent.Start("never-answer"));
            url = silent.PackUrl("0", "big");
            m_transfer->SetTimeout(50);
        }
        Events events(*m_downloader);
        QSignalSpy states(m_transfer.get(), &InternetTransfer::StateChanged);
        const auto cancelling = connect(m_downloader.get(), &Downloader::ChunkDownloaded, m_downloader.get(), &Downloader::Cancel);
        m_downloader->GetFile(url, m_target, "big.exe");
        if (silentServer)
            m_downloader->Cancel();
        QTRY_VERIFY_WITH_TIMEOUT(events.Ended(), 5000);
        QCOMPARE(events.Order, Completed);
        QCOMPARE(events.Chunks, silentServer ? 0 : 1);
        QVERIFY(m_downloader->Cancelled() && !m_downloader->IsWhole() && !m_transfer->StillExecuting());
        QVERIFY(ReadAll(m_downloader->TargetFile()) == PackBytes(silentServer ? 0 : 1024));
        states.clear();
        QVERIFY(!states.wait(150));

        disconnect(cancelling);
        m_transfer->SetTimeout(10000);
        events.Order.clear();
        Fetch("k1plus", events);
        QVERIFY(m_downloader->IsWhole());
    }

    void rateMeter_data()
    {
        QTest::addColumn<double>("start");
        QTest::addColumn<double>("step");
        QTest::addColumn<int>("rate");
        // The clock reads start + step at the first chunk, one step more at each next. Chunks 1-4 fill the window
        // opened at 100.25; chunk 5 at 101.25 closes it uncounted; chunks 6-9 fill the next and chunk 10 closes it.
        QTest::newRow("windows of a second") << 100.0 << 0.25 << 4096;
        QTest::newRow("ten chunks in half a second") << 100.0 << 0.05 << 0;
        // The window opens at 86399.75; after midnight the clock reads 0.0 to 2.0, never past the old start plus one.
        QTest::newRow("across midnight") << 86399.5 << 0.25 << 0;
    }

    void rateMeter()
    {
        QFETCH(double, start);
        QFETCH(double, step);
        double now = start;
        m_downloader->SetClock([&] { return now = std::fmod(now + step, 86400.0); });
        Events events(*m_downloader);
        Fetch("k10", events);
        QCOMPARE(events.Chunks, 10);
        QTEST(m_downloader->TransferRate(), "rate");
    }

private:
    // Downloads exam `examId` from the well-behaved server into the test's folder and waits for the end.
    void Fetch(const QString& examId, Events& events)
    {
        m_downloader->GetFile(m_server->PackUrl(m_sessionId, examId), m_target, examId + ".exe");
        QTRY_VERIFY_WITH_TIMEOUT(events.Ended(), 20000);
    }

    QTemporaryDir m_dir;
    std::unique_ptr<CourierProcess> m_server;
    QString m_sessionId;
    std::unique_ptr<InternetTransfer> m_transfer;
    std::unique_ptr<Downloader> m_downloader;
    QString m_target;
};

QTEST_GUILESS_MAIN(DownloaderTest)
#include "DownloaderTest.moc"
