#include "download/Downloader.h"
#include "download/InternetTransfer.h"
#include "model/Error.h"
#include "tests/download/CourierProcess.h"

#include <QFile>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

const QString User = QStringLiteral("bob");
const QString Password = QStringLiteral("secret");

// Exam IDs and sizes of the served packs.
const QMap<QString, int> Packs = {
    { QStringLiteral("empty"), 0 },
    { QStringLiteral("one"), 1 },
    { QStringLiteral("k1"), 1024 },
    { QStringLiteral("k1plus"), 1025 },
    { QStringLiteral("101"), 2500 },
    { QStringLiteral("k10"), 10240 },
    // More than the downloader lets wait unread: the connection has to pause
    // and go on.
    { QStringLiteral("big"), 1536 * 1024 + 7 },
};

// Bytes that differ from chunk to chunk, so a lost or repeated chunk shows.
QByteArray PackBytes(int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        bytes[i] = char(i * 7 + i / 1021);
    return bytes;
}

QByteArray FileBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The downloader's events in the order they come; chunks only counted.
struct Events
{
    explicit Events(Downloader& downloader)
    {
        QObject::connect(&downloader, &Downloader::DownloadStarted, [this] { Order << QStringLiteral("started"); });
        QObject::connect(&downloader, &Downloader::ChunkDownloaded, [this] { ++Chunks; });
        QObject::connect(&downloader, &Downloader::DownloadFailed, [this] { Order << QStringLiteral("failed"); });
        QObject::connect(&downloader, &Downloader::DownloadComplete, [this] { Order << QStringLiteral("complete"); });
    }
    bool Ended() const { return Order.contains(QStringLiteral("complete")); }

    QStringList Order;
    int Chunks = 0;
};

const QStringList Completed{ QStringLiteral("started"), QStringLiteral("complete") };
const QStringList FailedThenCompleted{ QStringLiteral("started"), QStringLiteral("failed"), QStringLiteral("complete") };

} // namespace

class DownloaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void chunkCounts_data();
    void chunkCounts();
    void brokenTransfers_data();
    void brokenTransfers();
    void cancel_data();
    void cancel();
    void rateMeter_data();
    void rateMeter();
    void badFileNamesStartNothing_data();
    void badFileNamesStartNothing();

private:
    QTemporaryDir m_dir;
    std::unique_ptr<CourierProcess> m_server;
    QString m_sessionId;
    std::unique_ptr<InternetTransfer> m_transfer;
    std::unique_ptr<Downloader> m_downloader;
    QString m_target;
};

void DownloaderTest::initTestCase()
{
    QVERIFY(m_dir.isValid());
    qputenv("XDG_CONFIG_HOME", m_dir.filePath(QStringLiteral("config")).toUtf8());
    qputenv("XDG_DATA_HOME", m_dir.filePath(QStringLiteral("data")).toUtf8());
    m_server = std::make_unique<CourierProcess>(m_dir.filePath(QStringLiteral("courier")));
    QVERIFY(m_server->Admin({ QStringLiteral("add-account"), User, Password }));
    for (auto pack = Packs.begin(); pack != Packs.end(); ++pack) {
        QFile file(m_server->PacksFolder() + u'/' + pack.key() + QStringLiteral(".pack"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(PackBytes(pack.value())) == pack.value());
        QVERIFY(m_server->Admin({ QStringLiteral("grant"), User, pack.key() }));
    }
    QVERIFY(m_server->Start());
    m_sessionId = m_server->Login(User, Password);
    QVERIFY(!m_sessionId.isEmpty());
}

void DownloaderTest::init()
{
    m_downloader.reset();
    m_transfer = std::make_unique<InternetTransfer>();
    m_downloader = std::make_unique<Downloader>();
    m_downloader->Initialize(m_transfer.get());
    m_target = m_dir.filePath(QStringLiteral("%1-%2").arg(QLatin1String(QTest::currentTestFunction()),
                                                          QLatin1String(QTest::currentDataTag())));
    QVERIFY(QDir().mkpath(m_target));
}

void DownloaderTest::chunkCounts_data()
{
    QTest::addColumn<QString>("examId");
    QTest::addColumn<int>("chunks");
    QTest::newRow("empty body") << QStringLiteral("empty") << 0;
    QTest::newRow("one byte") << QStringLiteral("one") << 1;
    QTest::newRow("exactly one chunk") << QStringLiteral("k1") << 1;
    QTest::newRow("one byte into the second") << QStringLiteral("k1plus") << 2;
    QTest::newRow("1024, 1024 and 452") << QStringLiteral("101") << 3;
    QTest::newRow("paused and resumed") << QStringLiteral("big") << 1537;
}

void DownloaderTest::chunkCounts()
{
    QFETCH(QString, examId);
    QFETCH(int, chunks);
    const int size = Packs.value(examId);
    Events events(*m_downloader);
    m_downloader->GetFile(m_server->PackUrl(m_sessionId, examId), m_target, examId + QStringLiteral(".exe"));
    QCOMPARE(events.Order, QStringList{ QStringLiteral("started") });
    QTRY_VERIFY_WITH_TIMEOUT(events.Ended(), 20000);

    QCOMPARE(events.Order, Completed);
    QCOMPARE(events.Chunks, chunks);
    QCOMPARE(m_downloader->FileSize(), size);
    QCOMPARE(m_downloader->Downloaded(), size);
    QVERIFY(m_downloader->IsWhole());
    QVERIFY(!m_transfer->StillExecuting());
    QVERIFY(FileBytes(m_target + u'/' + examId + QStringLiteral(".exe")) == PackBytes(size));
}

void DownloaderTest::brokenTransfers_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("fileSize"); // -1: whatever the page's length is
    QTest::addColumn<bool>("failed");
    QTest::addColumn<bool>("whole");
    // Announced 1250 of 2500: HTTP ends the body at the announced length, so
    // what arrives is consistent and this layer cannot tell the rest existed.
    QTest::newRow("length too small") << QStringLiteral("length-too-small") << 200 << 1250 << false << true;
    QTest::newRow("length too large") << QStringLiteral("length-too-large") << 200 << 3500 << true << false;
    QTest::newRow("dropped mid-pack") << QStringLiteral("drop-mid-pack") << 200 << 2500 << true << false;
    QTest::newRow("404 page") << QStringLiteral("not-found-pack") << 404 << -1 << false << false;
    QTest::newRow("never answers") << QStringLiteral("never-answer") << 0 << 0 << true << false;
    QTest::newRow("refused port") << QStringLiteral("closed-port") << 0 << 0 << true << false;
    QTest::newRow("folder missing") << QStringLiteral("missing-folder") << 200 << 2500 << true << false;
}

// A cut or refused transfer is an error event and never a whole file; every
// transfer still ends in one DownloadComplete.
void DownloaderTest::brokenTransfers()
{
    QFETCH(QString, mode);
    QFETCH(int, status);
    QFETCH(int, fileSize);
    QFETCH(bool, failed);
    QFETCH(bool, whole);
    std::unique_ptr<CourierProcess> server;
    QString url = m_server->PackUrl(m_sessionId, QStringLiteral("101"));
    QString target = m_target;
    if (mode == QLatin1String("closed-port")) {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        url = QStringLiteral("http://127.0.0.1:%1/packs/101.exe").arg(probe.serverPort());
    } else if (mode == QLatin1String("missing-folder")) {
        target += QStringLiteral("/missing");
    } else {
        server = std::make_unique<CourierProcess>(m_dir.filePath(QStringLiteral("courier")));
        QVERIFY(server->Start(mode));
        const QString sessionId =
            mode == QLatin1String("never-answer") ? QStringLiteral("0") : server->Login(User, Password);
        QVERIFY(!sessionId.isEmpty());
        url = server->PackUrl(sessionId, QStringLiteral("101"));
    }
    m_transfer->SetTimeout(mode == QLatin1String("never-answer") ? 300 : 10000);
    Events events(*m_downloader);
    // No file name for the refused port: it comes from the address.
    m_downloader->GetFile(url, target, mode == QLatin1String("closed-port") ? QString() : QStringLiteral("101.exe"));
    QCOMPARE(m_downloader->FileName(), QStringLiteral("101.exe"));
    QTRY_VERIFY_WITH_TIMEOUT(events.Ended(), 10000);

    QCOMPARE(events.Order, failed ? FailedThenCompleted : Completed);
    QCOMPARE(m_downloader->Failed(), failed);
    QCOMPARE(!m_downloader->FailureDescription().isEmpty(), failed);
    QCOMPARE(m_downloader->StatusCode(), status);
    if (fileSize >= 0)
        QCOMPARE(m_downloader->FileSize(), fileSize);
    QVERIFY(m_downloader->Downloaded() <= m_downloader->FileSize());
    QCOMPARE(m_downloader->IsWhole(), whole);
    QVERIFY(!m_transfer->StillExecuting());
    const QByteArray written = FileBytes(m_downloader->TargetFile());
    QCOMPARE(written.size(), m_downloader->BytesWritten());
    if (status == 200)
        QVERIFY(written == PackBytes(2500).left(written.size()));
    if (status == 0)
        QVERIFY(!QFile::exists(m_downloader->TargetFile()));
}

void DownloaderTest::cancel_data()
{
    QTest::addColumn<bool>("silentServer");
    QTest::newRow("at the first chunk") << false;
    // Long before the minute's timeout, with no chunk to wait for.
    QTest::newRow("while the server is silent") << true;
}

void DownloaderTest::cancel()
{
    QFETCH(bool, silentServer);
    std::unique_ptr<CourierProcess> silent;
    QString url = m_server->PackUrl(m_sessionId, QStringLiteral("big"));
    if (silentServer) {
        silent = std::make_unique<CourierProcess>(m_dir.filePath(QStringLiteral("courier")));
        QVERIFY(silent->Start(QStringLiteral("never-answer")));
        url = silent->PackUrl(QStringLiteral("0"), QStringLiteral("big"));
    }
    Events events(*m_downloader);
    const QMetaObject::Connection cancelling =
        connect(m_downloader.get(), &Downloader::ChunkDownloaded, m_downloader.get(), &Downloader::Cancel);
    m_downloader->GetFile(url, m_target, QStringLiteral("big.exe"));
    if (silentServer)
        m_downloader->Cancel();
    QTRY_VERIFY_WITH_TIMEOUT(events.Ended(), 5000);

    QCOMPARE(events.Order, Completed);
    QCOMPARE(events.Chunks, silentServer ? 0 : 1);
    QVERIFY(m_downloader->Cancelled());
    QVERIFY(!m_downloader->IsWhole());
    QVERIFY(!m_transfer->StillExecuting());
    QVERIFY(FileBytes(m_downloader->TargetFile()) == PackBytes(silentServer ? 0 : 1024));

    // The same instance serves the next download in full.
    disconnect(cancelling);
    events.Order.clear();
    m_downloader->GetFile(m_server->PackUrl(m_sessionId, QStringLiteral("101")), m_target, QStringLiteral("101.exe"));
    QTRY_VERIFY_WITH_TIMEOUT(events.Ended(), 10000);
    QVERIFY(m_downloader->IsWhole());
}

void DownloaderTest::rateMeter_data()
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

void DownloaderTest::rateMeter()
{
    QFETCH(double, start);
    QFETCH(double, step);
    QFETCH(int, rate);
    double now = start;
    m_downloader->SetClock([&] {
        now += step;
        if (now >= 86400.0)
            now -= 86400.0;
        return now;
    });
    Events events(*m_downloader);
    m_downloader->GetFile(m_server->PackUrl(m_sessionId, QStringLiteral("k10")), m_target, QStringLiteral("k10.exe"));
    QTRY_VERIFY_WITH_TIMEOUT(events.Ended(), 10000);
    QCOMPARE(events.Chunks, 10);
    QCOMPARE(m_downloader->TransferRate(), rate);
}

void DownloaderTest::badFileNamesStartNothing_data()
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

void DownloaderTest::badFileNamesStartNothing()
{
    QFETCH(QString, url);
    QFETCH(QString, fileName);
    Events events(*m_downloader);
    try {
        m_downloader->GetFile(url, m_target, fileName);
        QFAIL("no error raised");
    } catch (const Error& error) {
        QCOMPARE(error.Number(), ErrorNumber::InvalidCall);
        QCOMPARE(error.Source(), QStringLiteral("Downloader::GetFile()"));
    }
    QVERIFY(events.Order.isEmpty());
    QVERIFY(!m_transfer->StillExecuting());
}

QTEST_GUILESS_MAIN(DownloaderTest)
#include "DownloaderTest.moc"
