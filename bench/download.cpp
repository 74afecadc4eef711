// Measures the pack downloader: a 50 MB pack from the reference server on
// 127.0.0.1, from GetFile to DownloadComplete, against curl fetching the same
// address to a file; how long the event loop was kept waiting meanwhile
// (the longest interval of a 10 ms timer), which is what a window would feel;
// and the check of the pack's signature against the download itself.
#include "BenchUtil.h"

#include "download/Downloader.h"
#include "download/InternetTransfer.h"
#include "model/IO.h"
#include "model/Pack.h"
#include "model/PackSignature.h"
#include "tests/download/CourierProcess.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>

namespace {

constexpr qint64 BodySize = 50 * 1024 * 1024;
// The server signs the pack as it serves it.
constexpr qint64 PackSize = BodySize + PackSignature::TrailerBytes;
constexpr int Rounds = 3;

bool WritePack(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QByteArray block(1024 * 1024, Qt::Uninitialized);
    quint32 state = 12345;
    for (char& byte : block) {
        state = state * 1103515245u + 12345u;
        byte = char(state >> 24);
    }
    // A pack's first lines and its length, then bytes that no script reads.
    QByteArray script = QByteArray(Pack::Signature) + "skip=SKIPSKI\nsize=SIZESIZESI\nexit 0\n";
    script.replace("SKIPSKI", QByteArray::number(script.size() + 1).rightJustified(7, '0'));
    script.replace("SIZESIZESI", QByteArray::number(BodySize - script.size()).rightJustified(10, '0'));
    block.replace(0, script.size(), script);
    for (qint64 written = 0; written < BodySize; written += block.size())
        file.write(block.constData(), qMin<qint64>(block.size(), BodySize - written));
    return file.error() == QFile::NoError;
}

double CurlMs(const QString& url, const QString& file)
{
    QFile::remove(file);
    QElapsedTimer timer;
    timer.start();
    QProcess curl;
    curl.start(QStringLiteral("curl"), { QStringLiteral("-s"), QStringLiteral("-o"), file, url });
    if (!curl.waitForFinished(120000) || curl.exitCode() != 0)
        return -1;
    const double ms = timer.nsecsElapsed() / 1e6;
    return QFileInfo(file).size() == PackSize ? ms : -1;
}

struct Run
{
    double Ms = -1;
    double LongestGapMs = 0;
    int Chunks = 0;
    double VerifyMs = -1;
};

// One download; `statusTexts` also builds the three size texts on every
// chunk as the download window's status line does.
Run DownloaderMs(const QString& url, const QString& folder, bool statusTexts, const QByteArray& key)
{
    QFile::remove(folder + QStringLiteral("/bench.exe"));
    InternetTransfer transfer;
    Downloader downloader;
    downloader.Initialize(&transfer);
    Run run;
    QString shown;
    QObject::connect(&downloader, &Downloader::ChunkDownloaded, [&] {
        ++run.Chunks;
        if (statusTexts) {
            shown = FormatSize(downloader.FileSize(), 2) + FormatSize(downloader.Downloaded(), 2)
                + FormatSize(downloader.TransferRate(), 0);
        }
    });

    QEventLoop loop;
    QObject::connect(&downloader, &Downloader::DownloadComplete, &loop, &QEventLoop::quit);
    QElapsedTimer sinceTick;
    QTimer ticker;
    ticker.setTimerType(Qt::PreciseTimer);
    ticker.setInterval(10);
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        run.LongestGapMs = std::max(run.LongestGapMs, sinceTick.nsecsElapsed() / 1e6);
        sinceTick.restart();
    });

    QElapsedTimer timer;
    timer.start();
    sinceTick.start();
    ticker.start();
    downloader.GetFile(url, folder, QStringLiteral("bench.exe"));
    loop.exec();
    const double ms = timer.nsecsElapsed() / 1e6;
    ticker.stop();
    if (!downloader.IsWhole() || downloader.BytesWritten() != PackSize)
        return run;
    run.Ms = ms;
    // What the download window does before it runs a pack.
    timer.restart();
    const PackSignature::Result check = PackSignature::Verify(downloader.TargetFile(), QStringLiteral("bench"), { key });
    if (check.IsGood())
        run.VerifyMs = timer.nsecsElapsed() / 1e6;
    return run;
}

} // namespace

int main(int argc, char* argv[])
{
    QTemporaryDir home;
    qputenv("XDG_DATA_HOME", home.path().toUtf8());
    qputenv("XDG_CONFIG_HOME", (home.path() + QStringLiteral("/config")).toUtf8());
    QCoreApplication app(argc, argv);

    CourierProcess server(home.filePath(QStringLiteral("courier")));
    server.DiscardLog();
    if (!WritePack(server.PacksFolder() + QStringLiteral("/bench.pack"))
        || !server.Admin({ QStringLiteral("add-account"), QStringLiteral("bench"), QStringLiteral("bench") })
        || !server.Admin({ QStringLiteral("grant"), QStringLiteral("bench"), QStringLiteral("bench") }) || !server.Start()) {
        std::fprintf(stderr, "download: cannot start the reference server\n");
        return 1;
    }
    QByteArray keyText;
    server.Admin({ QStringLiteral("public-key") }, &keyText);
    const std::optional<QByteArray> key = PackSignature::ParsePublicKey(QString::fromLatin1(keyText));
    const QString sessionId = server.Login(QStringLiteral("bench"), QStringLiteral("bench"));
    if (sessionId.isEmpty() || !key) {
        std::fprintf(stderr, "download: cannot log on to the reference server\n");
        return 1;
    }
    const QString url = server.PackUrl(sessionId, QStringLiteral("bench"));
    const QString folder = home.path();
    const QString curlFile = home.filePath(QStringLiteral("curl.exe"));

    // Warm the page cache and the server once before anything is timed.
    CurlMs(url, curlFile);

    double curlBest = 1e300;
    Run plain;
    Run texts;
    plain.Ms = texts.Ms = plain.VerifyMs = 1e300;
    for (int round = 0; round < Rounds; ++round) {
        const double curl = CurlMs(url, curlFile);
        const Run ours = DownloaderMs(url, folder, false, *key);
        const Run window = DownloaderMs(url, folder, true, *key);
        if (curl < 0 || ours.Ms < 0 || window.Ms < 0 || ours.VerifyMs < 0 || window.VerifyMs < 0) {
            std::fprintf(stderr, "download: a transfer did not complete whole or its signature did not verify\n");
            return 1;
        }
        curlBest = std::min(curlBest, curl);
        plain.Ms = std::min(plain.Ms, ours.Ms);
        plain.LongestGapMs = std::max(plain.LongestGapMs, ours.LongestGapMs);
        plain.Chunks = ours.Chunks;
        plain.VerifyMs = std::min({ plain.VerifyMs, ours.VerifyMs, window.VerifyMs });
        texts.Ms = std::min(texts.Ms, window.Ms);
        texts.LongestGapMs = std::max(texts.LongestGapMs, window.LongestGapMs);
    }

    const double ratio = plain.Ms / curlBest;
    const double textsRatio = texts.Ms / curlBest;
    std::printf("download: a %lld MB pack from the reference server on 127.0.0.1, best of %d\n",
                PackSize / (1024 * 1024), Rounds);
    std::printf("    curl -s -o FILE URL:                   %8.1f ms\n", curlBest);
    std::printf("    GetFile to DownloadComplete:           %8.1f ms   ratio %.2f (goal <= 3: %s), %d chunks\n",
                plain.Ms, ratio, Bench::Verdict(ratio, 3.0), plain.Chunks);
    std::printf("    the same, status texts on each chunk:  %8.1f ms   ratio %.2f\n", texts.Ms, textsRatio);
    const double gap = std::max(plain.LongestGapMs, texts.LongestGapMs);
    std::printf("    longest event-loop wait (10 ms timer): %8.1f ms   (goal <= 50: %s)\n", gap,
                Bench::Verdict(gap, 50.0));
    const double verifyShare = plain.VerifyMs / plain.Ms;
    std::printf("    signature check of the downloaded pack: %8.1f ms   %.1f %% of the download (goal < 10 %%: %s)\n",
                plain.VerifyMs, 100 * verifyShare, Bench::Verdict(verifyShare, 0.1));
    std::printf("    peak resident memory:                  %8.1f MB\n", Bench::StatusKiB("VmHWM") / 1024.0);
    return 0;
}
