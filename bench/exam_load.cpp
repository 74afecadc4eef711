// Measures loading a large exam file against reading and deciphering the same
// bytes by hand, LoadHeader against a bare 4 KiB read, and the memory a
// loaded exam holds.
#include "BenchUtil.h"

#include "model/CryptoAPI.h"
#include "model/Exam.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtEndian>

#include <cstdio>
#include <memory>
#include <vector>
#include <fcntl.h>
#include <unistd.h>

using Bench::Sentence;

namespace {

constexpr int ItemCount = 32767;
constexpr int HeaderFiles = 1000;

void WriteLargeExam(const QString& path)
{
    QRandomGenerator random(42);
    Exam exam;
    exam.SetCode("BENCH-1");
    exam.SetName("Benchmark exam");
    exam.SetMaxScore(1000);
    exam.SetPassScore(700);
    exam.SetDuration(120);
    for (int q = 0; q < ItemCount; ++q) {
        auto question = exam.Questions().Add();
        question->SetProblem(Sentence(random, 200 + random.bounded(400)));
        question->SetExplaination(Sentence(random, 100 + random.bounded(500)));
        if (q % 10 == 0)
            question->SetExhibit("exhibit.gif");
        for (int c = 0; c < 4; ++c) {
            auto choice = question->Choices().Add();
            choice->SetStatement(Sentence(random, 20 + random.bounded(80)));
            choice->SetIsSolution(c == q % 4);
        }
        question->Choices().ResetNumbers();
        question->CalculateSolutionCount();
    }
    exam.Questions().ResetNumbers();
    exam.Save(path);
}

// The floor for a load: the whole file in memory, walked record by record,
// every enciphered text XORed with a keystream derived once.
qint64 ReadAndDecipher(const QString& path, const QByteArray& keystream)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    const QByteArray bytes = file.readAll();
    const char* at = bytes.constData();
    auto count = [&] {
        const qint32 n = qFromLittleEndian<qint32>(at);
        at += 4;
        return n;
    };
    qint64 checksum = 0;
    auto secure = [&] {
        const qint32 n = count();
        QByteArray text(at, n);
        char* data = text.data();
        for (qint32 i = 0; i < n; ++i)
            data[i] ^= keystream[i];
        checksum += text.size() ? text[0] : 0;
        at += n;
    };
    at += 4 + qFromLittleEndian<qint32>(at); // reserved
    at += 4 + qFromLittleEndian<qint32>(at); // code
    at += 4 + qFromLittleEndian<qint32>(at); // name
    at += 6;
    const qint32 questions = count();
    for (qint32 q = 0; q < questions; ++q) {
        at += 8;
        at += 4 + qFromLittleEndian<qint32>(at); // exhibit
        secure();
        secure();
        const qint32 choices = count();
        for (qint32 c = 0; c < choices; ++c) {
            at += 6;
            secure();
        }
    }
    return checksum;
}

void WriteSmallExams(const QString& folder)
{
    Exam exam;
    exam.SetName("A small exam with a name of ordinary length");
    exam.SetMaxScore(1000);
    exam.SetPassScore(700);
    exam.SetDuration(90);
    for (int q = 0; q < 20; ++q) {
        auto question = exam.Questions().Add();
        question->SetProblem(QString(300, QLatin1Char('x')));
        question->Choices().Add()->SetStatement(QString(60, QLatin1Char('y')));
    }
    for (int i = 0; i < HeaderFiles; ++i) {
        exam.SetCode(QStringLiteral("EX-%1").arg(i, 4, 10, QLatin1Char('0')));
        exam.Save(QDir(folder).filePath(exam.Code() + ".exam"));
    }
}

// Run in a child process so that building the exam does not count: prints
// the growth of the peak resident size while loading, in KiB.
int MeasureMemory(const QString& path)
{
    const qint64 before = Bench::StatusKiB("VmRSS");
    Exam exam;
    exam.Load(path);
    std::printf("%lld\n", Bench::StatusKiB("VmHWM") - before);
    return exam.Questions().Count() == ItemCount ? 0 : 1;
}

// A 4 GiB sparse file whose reserved-block and code counts are 0x7FFFFFFF.
bool WriteHostileExam(const QString& path)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const char count[] = { char(0xFF), char(0xFF), char(0xFF), 0x7F };
    const bool written = fd >= 0 && ::ftruncate(fd, qint64(4) << 30) == 0 && ::pwrite(fd, count, 4, 0) == 4
        && ::pwrite(fd, count, 4, 4 + 0x7FFFFFFFLL) == 4;
    if (fd >= 0)
        ::close(fd);
    return written;
}

// In a child process, as the catalogue does at start-up: reads the header of
// every exam in `folder`, keeping those that read whole. Prints the time in
// ms, the exams listed and the peak resident size in KiB.
int MeasureCatalogue(const QString& folder)
{
    QElapsedTimer timer;
    timer.start();
    int listed = 0;
    for (const QString& name : QDir(folder).entryList({ "*.exam" }, QDir::Files)) {
        Exam exam;
        try {
            if (exam.LoadHeader(QDir(folder).filePath(name)) && exam.IsHeaderComplete())
                ++listed;
        } catch (...) {
        }
    }
    std::printf("%.1f %d %lld\n", double(timer.nsecsElapsed()) / 1e6, listed, Bench::StatusKiB("VmHWM"));
    return 0;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    if (argc == 3 && QByteArray(argv[1]) == "--measure-memory")
        return MeasureMemory(QString::fromLocal8Bit(argv[2]));
    if (argc == 3 && QByteArray(argv[1]) == "--measure-catalogue")
        return MeasureCatalogue(QString::fromLocal8Bit(argv[2]));

    QTemporaryDir dir;
    const QString large = dir.filePath("large.exam");
    WriteLargeExam(large);
    const qint64 fileSize = QFileInfo(large).size();
    std::printf("exam_load: %d items, 4 options each, %.1f MiB\n", ItemCount, double(fileSize) / 1048576.0);

    QByteArray keystream(4096, '\0');
    CryptoAPI::Encrypt(keystream, CryptoAPI::RecordPassPhrase());
    const double baseline = Bench::BestMs(5, [&] { ReadAndDecipher(large, keystream); });
    // Each run loads into a fresh exam; freeing it afterwards is not loading.
    std::vector<std::unique_ptr<Exam>> loaded;
    const double load = Bench::BestMs(5, [&] {
        loaded.push_back(std::make_unique<Exam>());
        loaded.back()->Load(large);
    });
    loaded.clear();
    const double loadRatio = load / baseline;
    std::printf("(a) read whole file and decipher every text: %8.1f ms\n", baseline);
    std::printf("(b) Exam::Load:                              %8.1f ms   ratio %.2f (goal <= 2.0: %s)\n", load,
        loadRatio, Bench::Verdict(loadRatio, 2.0));

    const QString small = dir.filePath("small");
    QDir().mkpath(small);
    WriteSmallExams(small);
    const QStringList names = QDir(small).entryList({ "*.exam" }, QDir::Files);
    const double bare = Bench::BestMs(5, [&] {
        char buffer[4096];
        for (const QString& name : names) {
            const int fd = ::open(QFile::encodeName(QDir(small).filePath(name)).constData(), O_RDONLY);
            if (fd >= 0) {
                [[maybe_unused]] const ssize_t got = ::read(fd, buffer, sizeof buffer);
                ::close(fd);
            }
        }
    });
    const double headers = Bench::BestMs(5, [&] {
        for (const QString& name : names) {
            Exam exam;
            exam.LoadHeader(QDir(small).filePath(name));
        }
    });
    const double headerRatio = headers / bare;
    std::printf("(c) read first 4 KiB of %d files:         %8.1f ms\n", int(names.size()), bare);
    std::printf("    Exam::LoadHeader of the same files:     %8.1f ms   ratio %.2f (goal <= 1.5: %s)\n", headers,
        headerRatio, Bench::Verdict(headerRatio, 1.5));

    QProcess child;
    child.start(QCoreApplication::applicationFilePath(), { "--measure-memory", large });
    child.waitForFinished(-1);
    const double peakKiB = child.readAllStandardOutput().trimmed().toDouble();
    const double memoryRatio = peakKiB * 1024.0 / double(fileSize);
    std::printf("(d) peak memory while loading:              %8.1f MiB  ratio %.2f of the file (goal <= 2.5: %s)\n",
        peakKiB / 1024.0, memoryRatio, Bench::Verdict(memoryRatio, 2.5));

    if (!WriteHostileExam(QDir(small).filePath("hostile.exam"))) {
        std::printf("(e) cannot write the sparse file\n");
        return 1;
    }
    QProcess catalogue;
    catalogue.start(QCoreApplication::applicationFilePath(), { "--measure-catalogue", small });
    catalogue.waitForFinished(-1);
    const QList<QByteArray> figures = catalogue.readAllStandardOutput().trimmed().split(' ');
    const double catalogueMs = figures.value(0).toDouble();
    const double catalogueMiB = figures.value(2).toDouble() / 1024.0;
    std::printf("(e) catalogue of %d exams and a 4 GiB sparse file with hostile counts: %d listed in %.1f ms, "
                "peak %.1f MiB (goal < 1000 ms and < 100 MiB: %s)\n",
        int(names.size()), figures.value(1).toInt(), catalogueMs, catalogueMiB,
        catalogueMs < 1000 && catalogueMiB < 100 ? "met" : "MISSED");
    return 0;
}
