// Measures importing large question banks: a 10,000-item GIFT file and a
// 10,000-item Moodle XML file (written by the project's own exporter) read,
// built into an exam and saved, in this process (best of three runs) and as
// the real `practorium-exam import` command (wall time and peak memory of the
// child process). Goals: under 1 s and under 200 MB each.
#include "BenchUtil.h"

#include "exchange/BankFormat.h"
#include "exchange/ExamBuilder.h"
#include "exchange/MoodleXml.h"
#include "model/Exam.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <cstdio>
#include <sys/resource.h>

using Bench::Sentence;

namespace {

constexpr int ItemCount = 10000;
constexpr double GoalMs = 1000;
constexpr double GoalMiB = 200;

// A bank like the ones teachers keep: titles, four options with a feedback on
// the right one, general feedback; every tenth item in HTML, every fifth with
// two right answers by weight.
QByteArray GiftBank()
{
    QRandomGenerator random(11);
    QString text;
    for (int i = 1; i <= ItemCount; ++i) {
        text += QStringLiteral("// item %1\n::Q%1:: ").arg(i);
        if (i % 10 == 0)
            text += QStringLiteral("[html]<p>") + Sentence(random, 150) + QStringLiteral("</p><p>Which <b>one</b>?</p>");
        else
            text += Sentence(random, 200);
        text += QStringLiteral(" {\n");
        for (int k = 0; k < 4; ++k) {
            const QString marker = i % 5 == 0 ? (k < 2 ? QStringLiteral("~%50%") : QStringLiteral("~%-100%"))
                                              : (k == 0 ? QStringLiteral("=") : QStringLiteral("~"));
            text += u'\t' + marker + Sentence(random, 40) + (k == 0 ? QStringLiteral(" # ") + Sentence(random, 60) : QString()) + u'\n';
        }
        text += QStringLiteral("\t####") + Sentence(random, 150) + QStringLiteral("\n}\n\n");
    }
    return text.toUtf8();
}

// The same kind of bank as Moodle XML: every text through the HTML reader,
// every tenth item with an embedded 2 KiB picture, feedback on the right
// option folded into the explanation as the exporter does.
QByteArray MoodleBank(const QString& folder)
{
    QRandomGenerator random(11);
    // A 1x1 GIF padded with comment blocks to a small diagram's size.
    QByteArray gif = QByteArray::fromHex("474946383961010001008000000000ffffff21fe");
    for (int block = 0; block < 8; ++block)
        gif += char(255) + QByteArray(255, 'c');
    gif += QByteArray::fromHex("002c00000000010001000002024401003b");
    QFile picture(folder + QStringLiteral("/pic.gif"));
    if (!picture.open(QIODevice::WriteOnly) || picture.write(gif) != gif.size())
        qFatal("cannot write the picture");
    picture.close();
    Exam exam;
    exam.SetCode(QStringLiteral("BENCH"));
    for (int i = 1; i <= ItemCount; ++i) {
        auto question = exam.Questions().Add();
        question->SetProblem(Sentence(random, 200));
        question->SetExplaination(Sentence(random, 150) + QStringLiteral("\nA. ") + Sentence(random, 60));
        if (i % 10 == 0)
            question->SetExhibit(QStringLiteral("pic.gif"));
        for (int k = 0; k < 4; ++k) {
            auto choice = question->Choices().Add();
            choice->SetStatement(Sentence(random, 40));
            choice->SetIsSolution(i % 5 == 0 ? k < 2 : k == 0);
        }
    }
    return exchange::WriteMoodleXml(exam, folder);
}

void ImportInProcess(const QByteArray& bytes, const QString& output)
{
    exchange::Bank bank;
    exchange::ReadFailure failure;
    if (!exchange::ReadBank(exchange::DetectFormat(bytes), bytes, bank, failure))
        qFatal("read failed: %s", qPrintable(failure.description));
    Exam exam;
    QVector<exchange::Picture> pictures;
    QVector<exchange::BankNote> notes;
    if (!exchange::BuildExam(bank, exchange::ImportOptions::ForSource(output), exam, pictures, notes, failure))
        qFatal("build failed: %s", qPrintable(failure.description));
    exam.Save(output);
}

void Measure(const char* name, const QString& source, const QString& folder)
{
    QFile file(source);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(source));
    const QByteArray bytes = file.readAll();
    const double inProcess = Bench::BestMs(3, [&]() { ImportInProcess(bytes, folder + QStringLiteral("/in-process.exam")); });

    QProcess tool;
    tool.setProcessChannelMode(QProcess::ForwardedOutputChannel);
    rusage before {};
    getrusage(RUSAGE_CHILDREN, &before);
    QElapsedTimer timer;
    timer.start();
    tool.start(QStringLiteral(EXAM_TOOL), { QStringLiteral("import"), source, folder + QStringLiteral("/tool.exam") });
    tool.waitForFinished(-1);
    const double toolMs = double(timer.nsecsElapsed()) / 1e6;
    rusage usage {};
    getrusage(RUSAGE_CHILDREN, &usage);
    // The peak of the largest child so far: measure the larger banks last.
    const double peakMiB = double(usage.ru_maxrss) / 1024;
    // Processor time of this command: on a loaded machine the wall time
    // mostly measures the wait for a processor.
    const auto ms = [](const rusage& u) {
        return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) * 1e3 + double(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e3;
    };
    const double cpuMs = ms(usage) - ms(before);
    std::printf("import %s: %d items, %.1f MiB source\n", name, ItemCount, double(bytes.size()) / (1024 * 1024));
    std::printf("  in process (read, build, save) %8.1f ms\n", inProcess);
    std::printf("  practorium-exam import          %8.1f ms  (goal < %.0f ms: %s), exit %d\n", toolMs, GoalMs,
        Bench::Verdict(toolMs, GoalMs), tool.exitCode());
    std::printf("  its processor time (user + sys)  %8.1f ms  (goal < %.0f ms: %s)\n", cpuMs, GoalMs, Bench::Verdict(cpuMs, GoalMs));
    std::printf("  peak memory of the command      %8.1f MiB (goal < %.0f MiB: %s)\n", peakMiB, GoalMiB,
        Bench::Verdict(peakMiB, GoalMiB));
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    const QString gift = dir.filePath(QStringLiteral("bank.gift"));
    QFile file(gift);
    if (!file.open(QIODevice::WriteOnly) || file.write(GiftBank()) < 0)
        qFatal("cannot write the bank");
    file.close();
    Measure("gift", gift, dir.path());

    // The peak memory printed next is the larger of the two commands'.
    const QString moodle = dir.filePath(QStringLiteral("bank.xml"));
    QFile xml(moodle);
    if (!xml.open(QIODevice::WriteOnly) || xml.write(MoodleBank(dir.path())) < 0)
        qFatal("cannot write the bank");
    xml.close();
    // PRACTORIUM_BENCH_KEEP=FOLDER keeps a copy of the Moodle bank there for profiling.
    if (const QString keep = qEnvironmentVariable("PRACTORIUM_BENCH_KEEP"); !keep.isEmpty())
        QFile::copy(moodle, keep + QStringLiteral("/bank.xml"));
    Measure("moodle-xml", moodle, dir.path());
    return 0;
}
