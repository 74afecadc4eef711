#include "common/TestUtil.h"
#include "download/Downloader.h"
#include "download/InternetTransfer.h"
#include "tests/download/CourierProcess.h"

#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <memory>

using namespace TestUtil;

namespace {

const QString User = QStringLiteral("bob");
const QString Password = QStringLiteral("secret");

// Exam IDs and sizes of the served packs.
const QMap<QString, int> Packs = {
    { "empty", 0 }, { "one", 1 }, { "k1", 1024 }, { "k1plus", 1025 }, { "k10", 10240 },
    // More than the downloader lets wait unread: the connection has to pause
    // and go on.
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

const QStringList Completed{ "started", "complete" };

} // namespace

class DownloaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        qputenv("XDG_CONFIG_HOME", m_dir.filePath(QStringLiteral("config")).toUtf8());
        qputenv("XDG_DATA_HOME", m_dir.filePath(QStringLiteral("data")).toUtf8());
        m_server = std::make_unique<CourierProcess>(m_dir.filePath(QStringLiteral("courier")));
        QVERIFY(m_server->AddAccount(User, Password, Packs.keys()));
        for (auto pack = Packs.begin(); pack != Packs.end(); ++pack) {
            QFile file(m_server->PacksFolder() + u'/' + pack.key() + QStringLiteral(".pack"));
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(PackBytes(pack.value())) == pack.value());
        }
        QVERIFY(m_server->Start());
        m_sessionId = m_server->Login(User, Password);
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

    void chunkCounts_data()
    {
        QTest::addColumn<QString>("examId");
        QTest::addColumn<int>("chunks");
        QTest::newRow("empty body") << QStringLiteral("empty") << 0;
        QTest::newRow("one byte") << QStringLiteral("one") << 1;
        QTest::newRow("exactly one chunk") << QStringLiteral("k1") << 1;
        QTest::newRow("one byte into the second") << QStringLiteral("k1plus") << 2;
        QTest::newRow("paused and resumed") << QStringLiteral("big") << 1537;
    }

    void chunkCounts()
    {
        QFETCH(QString, examId);
        const int size = Packs.value(examId);
        Events events(*m_downloader);
        Fetch(examId, events);
        QCOMPARE(events.Order, Completed);
        QTEST(events.Chunks, "chunks");
        QCOMPARE(m_downloader->FileSize(), size);
        QCOMPARE(m_downloader->Downloaded(), size);
        QVERIFY(m_downloader->IsWhole());
        QVERIFY(!m_transfer->StillExecuting());
        QVERIFY(ReadAll(m_target + u'/' + examId + QStringLiteral(".exe")) == PackBytes(size));
    }

    // A file that cannot be written is an error event, never a whole file,
    // and the transfer still ends in one DownloadComplete. (The server's
    // broken transfers are the window's test: it shows what they lead to.)
    void unwritableTargetFails()
    {
        Events events(*m_downloader);
        // Without a file name the address gives it.
        m_downloader->GetFile(m_server->Endpoint(), m_target + "/missing", QString());
        QCOMPARE(m_downloader->FileName(), "PackCourier.asp");
        QTRY_VERIFY_WITH_TIMEOUT(events.Ended(), 10000);
        QCOMPARE(events.Order, QStringList({ "started", "failed", "complete" }));
        QVERIFY(!m_downloader->FailureDescription().isEmpty());
        QVERIFY(!m_downloader->IsWhole());
        QVERIFY(!m_transfer->StillExecuting());
    }

    void cancel_data()
    {
        QTest::addColumn<bool>("silentServer");
        QTest::newRow("at the first chunk") << false;
        // Long before the minute's timeout, with no chunk to wait for.
        QTest::newRow("while the server is silent") << true;
    }

    void cancel()
    {
        QFETCH(bool, silentServer);
        CourierProcess silent(m_dir.filePath(QStringLiteral("courier")));
        QString url = m_server->PackUrl(m_sessionId, QStringLiteral("big"));
        if (silentServer) {
            QVERIFY(silent.Start(QStringLiteral("never-answer")));
            url = silent.PackUrl(QStringLiteral("0"), QStringLiteral("big"));
        }
        Events events(*m_downloader);
        const auto cancelling = connect(m_downloader.get(), &Downloader::ChunkDownloaded, m_downloader.get(), &Downloader::Cancel);
        m_downloader->GetFile(url, m_target, QStringLiteral("big.exe"));
        if (silentServer)
            m_downloader->Cancel();
        QTRY_VERIFY_WITH_TIMEOUT(events.Ended(), 5000);
        QCOMPARE(events.Order, Completed);
        QCOMPARE(events.Chunks, silentServer ? 0 : 1);
        QVERIFY(m_downloader->Cancelled());
        QVERIFY(!m_downloader->IsWhole());
        QVERIFY(!m_transfer->StillExecuting());
        QVERIFY(ReadAll(m_downloader->TargetFile()) == PackBytes(silentServer ? 0 : 1024));

        // The same instance serves the next download in full.
        disconnect(cancelling);
        events.Order.clear();
        Fetch(QStringLiteral("k1plus"), events);
        QVERIFY(m_downloader->IsWhole());
    }

    void rateMeter_data()
    {
        QTest::addColumn<double>("start");
        QTest::addColumn<double>("step");
        QTest::addColumn<int>("rate");
        // The clock reads start + step at the first chunk, one step more at each
        // next. Chunks 1-4 fill the window opened at 100.25; chunk 5 at 101.25
        // closes it uncounted; chunks 6-9 fill the next and chunk 10 closes it.
        QTest::newRow("windows of a second") << 100.0 << 0.25 << 4096;
        QTest::newRow("ten chunks in half a second") << 100.0 << 0.05 << 0;
        // The window opens at 86399.75; after midnight the clock reads 0.0 to
        // 2.0, never past the old start plus one.
        QTest::newRow("across midnight") << 86399.5 << 0.25 << 0;
    }

    void rateMeter()
    {
        QFETCH(double, start);
        QFETCH(double, step);
        double now = start;
        m_downloader->SetClock([&] { return now = std::fmod(now + step, 86400.0); });
        Events events(*m_downloader);
        Fetch(QStringLiteral("k10"), events);
        QCOMPARE(events.Chunks, 10);
        QTEST(m_downloader->TransferRate(), "rate");
    }

    void badFileNamesStartNothing_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("fileName");
        const QString url = QStringLiteral("http://127.0.0.1:1/packs/101.exe");
        QTest::newRow("address ends in a slash") << QStringLiteral("http://127.0.0.1:1/packs/") << QString();
        QTest::newRow("parent folder") << url << QStringLiteral("..");
        QTest::newRow("this folder") << url << QStringLiteral(".");
        QTest::newRow("slash") << url << QStringLiteral("../101.exe");
        QTest::newRow("NUL") << url << QStringLiteral("101") + QChar(0) + QStringLiteral(".exe");
    }

    void badFileNamesStartNothing()
    {
        QFETCH(QString, url);
        QFETCH(QString, fileName);
        Events events(*m_downloader);
        const Error e = Raised([&] { m_downloader->GetFile(url, m_target, fileName); });
        QCOMPARE(e.Number(), ErrorNumber::InvalidCall);
        QCOMPARE(e.Source(), QStringLiteral("Downloader::GetFile()"));
        QVERIFY(events.Order.isEmpty());
        QVERIFY(!m_transfer->StillExecuting());
    }

private:
    // Downloads exam `examId` from the well-behaved server into the test's
    // folder and waits for the end.
    void Fetch(const QString& examId, Events& events)
    {
        m_downloader->GetFile(m_server->PackUrl(m_sessionId, examId), m_target, examId + QStringLiteral(".exe"));
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
