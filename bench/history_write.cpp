// Measures recording one attempt of a 32,767-item exam in the attempt
// history (one transaction: the attempt row and every item row), on an open
// store whose file already holds earlier attempts, and reading it back.
#include "BenchUtil.h"

#include "history/HistoryStore.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

namespace {

constexpr int ItemCount = 32767;
constexpr int Runs = 7;

SittingResult LargeAttempt()
{
    SittingResult result;
    result.examCode = QStringLiteral("BENCH-1");
    result.examName = QStringLiteral("Benchmark exam");
    result.examPath = QStringLiteral("/tmp/BENCH-1/BENCH-1.exam");
    result.examDigest = QCryptographicHash::hash("bench", QCryptographicHash::Sha256);
    result.started = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);
    result.ended = result.started.addSecs(7000);
    result.secondsUsed = 7000;
    result.obtained = 640;
    result.required = 700;
    result.maximum = 1000;
    for (int i = 0; i < ItemCount; ++i) {
        // Answers of one to three options, about a third wrong or missing.
        const QString key = i % 5 == 0 ? QStringLiteral("1,3") : QString::number(i % 4 + 1);
        const QString answer = i % 3 == 0 ? QString::number((i + 1) % 4 + 1) : key;
        result.items.append({ qint16(i + 1), i % 17 == 0 ? QString() : answer, key, answer == key, i % 11 == 0 });
    }
    return result;
}

// The process's processor time in milliseconds: on a busy machine the wall
// time mostly says how long the process waited for a core.
double CpuMs()
{
    timespec now {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QTemporaryDir folder;
    HistoryStore store(folder.filePath(QStringLiteral("history.sqlite")));
    if (!store.Open()) {
        std::fprintf(stderr, "history_write: %s\n", qPrintable(store.LastError()));
        return 1;
    }
    const SittingResult attempt = LargeAttempt();
    std::vector<double> writes;
    std::vector<double> reads;
    std::vector<double> writeCpu;
    for (int run = 0; run < Runs; ++run) {
        qint64 id = 0;
        const double cpuBefore = CpuMs();
        writes.push_back(Bench::BestMs(1, [&] { id = store.Record(attempt); }));
        writeCpu.push_back(CpuMs() - cpuBefore);
        if (id == 0) {
            std::fprintf(stderr, "history_write: %s\n", qPrintable(store.LastError()));
            return 1;
        }
        reads.push_back(Bench::BestMs(1, [&] { store.LastAttempt(attempt.examCode); }));
    }
    const double writeMedian = Median(writes);
    std::printf("history_write: one attempt of %d items, %d runs on a growing file\n", ItemCount, Runs);
    std::printf("(a) Record:      median %7.1f ms  best %7.1f ms  (goal < 200 ms: %s)\n", writeMedian,
        *std::min_element(writes.begin(), writes.end()), writeMedian < 200 ? "met" : "MISSED");
    std::printf("    processor time: median %7.1f ms\n", Median(writeCpu));
    std::printf("(b) LastAttempt: median %7.1f ms  best %7.1f ms\n", Median(reads),
        *std::min_element(reads.begin(), reads.end()));
    return 0;
}
