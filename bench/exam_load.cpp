// Measures loading a large exam file against reading and deciphering the same
// bytes by hand, LoadHeader against a bare 4 KiB read, the peak memory of
// Load, `practorium-exam dump` and `compile` against their input for an
// ordinary exam and for the smallest records the format allows, and the
// catalogue's cost of a hostile sparse file.
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
#include <sys/resource.h>
#include <sys/wait.h>
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

// The floor for a load: the whole file read with one call into a buffer that
// every run reuses (a fresh one costs a page fault per 4 KiB, which is not
// reading), walked record by record, every enciphered text XORed with the
// keystream into one reused buffer and counted, nothing kept. Load does the
// same work and keeps each text as its bytes.
qint64 ReadAndDecipher(const QString& path, const QByteArray& keystream)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    static QByteArray bytes;
    bytes.resize(file.size());
    file.read(bytes.data(), bytes.size());
    const char* at = bytes.constData();
    auto count = [&] {
        const qint32 n = qFromLittleEndian<qint32>(at);
        at += 4;
        return n;
    };
    static QByteArray text;
    qint64 checksum = 0;
    auto secure = [&] {
        const qint32 n = count();
        if (text.size() < n)
            text.resize(n);
        char* data = text.data();
        for (qint32 i = 0; i < n; ++i)
            data[i] = at[i] ^ keystream[i];
        checksum += n > 0 ? data[0] : 0;
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

// An exam whose items and options have no texts at all, written byte by byte:
// the smallest records the format has (an item 24 bytes, an option 10).
void WriteBareExam(const QString& path, int items, int options)
{
    QByteArray bytes;
    auto put = [&bytes](qint64 value, int size) {
        for (int i = 0; i < size; ++i)
            bytes.append(char((value >> (8 * i)) & 0xFF));
    };
    put(0, 4 * 3);              // reserved block, code, name: empty
    put(100, 2);                // maximum score
    put(70, 2);                 // passing score
    put(60, 2);                 // duration
    put(items, 4);
    for (int q = 1; q <= items; ++q) {
        put(q, 2);
        put(0, 2 + 4 + 4 * 3);  // solution count, hint, three empty texts
        put(options, 4);
        for (int c = 1; c <= options; ++c) {
            put(c, 2);
            put(0, 4 + 4);      // not a solution, empty statement
        }
    }
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write(bytes);
}

// The same options as the most compact JSON source can give them: "{}" each.
void WriteCompactJson(const QString& path, int items, int options)
{
    QByteArray json = R"({"code":"B","name":"B","maxScore":100,"passScore":70,"duration":60,"questions":[)";
    for (int q = 0; q < items; ++q) {
        json += q ? ",{\"choices\":[" : "{\"choices\":[";
        json += QByteArray("{},").repeated(options - 1) + "{}]}";
    }
    json += "]}";
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write(json);
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
    return exam.Questions().Count() > 0 ? 0 : 1;
}

double LoadPeakKiB(const QString& path)
{
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(), { "--measure-memory", path });
    child.waitForFinished(-1);
    return child.readAllStandardOutput().trimmed().toDouble();
}

// In a child process started afresh (so that it holds little memory of its
// own): runs the exam tool with `arguments`, its standard output into
// `output`, and prints the tool's peak resident size in KiB as the kernel
// counted it for that child (wait4), or -1 when the tool failed. A child
// forked from a large process would count that process's memory as its own.
int MeasureTool(const QStringList& arguments, const QString& output)
{
    QList<QByteArray> words { QByteArray(EXAM_TOOL) };
    for (const QString& argument : arguments)
        words.append(QFile::encodeName(argument));
    std::vector<char*> argv;
    for (QByteArray& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    const QByteArray out = QFile::encodeName(output);
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int fd = ::open(out.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ::dup2(fd, STDOUT_FILENO);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    int status = 0;
    struct rusage usage {};
    const bool ran = pid > 0 && ::wait4(pid, &status, 0, &usage) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    std::printf("%ld\n", ran ? usage.ru_maxrss : -1L);
    return 0;
}

double ToolPeakKiB(const QStringList& arguments, const QString& output = QStringLiteral("/dev/null"))
{
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(), QStringList { "--measure-tool", output } + arguments);
    child.waitForFinished(-1);
    return child.readAllStandardOutput().trimmed().toDouble();
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
    if (argc > 3 && QByteArray(argv[1]) == "--measure-tool")
        return MeasureTool(QCoreApplication::arguments().mid(3), QString::fromLocal8Bit(argv[2]));

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
    std::printf("(a) floor: one read, each text deciphered:  %8.1f ms\n", baseline);
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

    // Memory against the input: Load's growth of the peak while loading;
    // dump's and compile's peak as processes, less the same command's peak on
    // a tiny input (the program's own start-up), against the input's size.
    const QString emptyOptions = dir.filePath("empty-options.exam");
    WriteBareExam(emptyOptions, 64, 32767);
    const QString noOptions = dir.filePath("no-options.exam");
    WriteBareExam(noOptions, 32767, 0);
    const QString tiny = dir.filePath("tiny.exam");
    WriteBareExam(tiny, 1, 1);
    const QString tinyJson = dir.filePath("tiny.json");
    const double dumpBase = ToolPeakKiB({ "dump", tiny }, tinyJson);
    const double compileBase = ToolPeakKiB({ "compile", tinyJson, dir.filePath("out.exam") });
    std::printf("(d) peak memory against the input (goals: Load <= 2.5, dump <= 4, compile <= 10; "
                "tool start-up %.1f MiB dump, %.1f MiB compile, not counted):\n",
        dumpBase / 1024.0, compileBase / 1024.0);
    std::printf("    %-34s %9s %7s %7s %9s %8s\n", "file", "size MiB", "Load", "dump", "JSON MiB", "compile");
    bool met = true;
    auto row = [&](const char* label, const QString& exam) {
        const double size = double(QFileInfo(exam).size());
        const double load = LoadPeakKiB(exam) * 1024.0 / size;
        const QString json = exam + ".json";
        const double dump = (ToolPeakKiB({ "dump", exam }, json) - dumpBase) * 1024.0 / size;
        const double jsonSize = double(QFileInfo(json).size());
        const double compile = (ToolPeakKiB({ "compile", json, dir.filePath("out.exam") }) - compileBase) * 1024.0 / jsonSize;
        met = met && load <= 2.5 && dump <= 4 && compile <= 10;
        std::printf("    %-34s %9.1f %7.2f %7.2f %9.1f %8.2f\n", label, size / 1048576.0, load, dump,
            jsonSize / 1048576.0, compile);
    };
    row("ordinary (4 options an item)", large);
    row("64 items of 32,767 empty options", emptyOptions);
    row("32,767 items without options", noOptions);
    const QString compact = dir.filePath("compact.json");
    WriteCompactJson(compact, 128, 32767);
    const double compactSize = double(QFileInfo(compact).size());
    const double compactRatio
        = (ToolPeakKiB({ "compile", compact, dir.filePath("out.exam") }) - compileBase) * 1024.0 / compactSize;
    met = met && compactRatio <= 10;
    std::printf("    %-34s %9s %7s %7s %9.1f %8.2f\n", "the same options as {} in JSON", "", "", "",
        compactSize / 1048576.0, compactRatio);
    std::printf("    goals: %s\n", met ? "met" : "MISSED");

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
