// Measures how long the exam window takes to show another item: every item of
// a synthetic exam in turn (2,000 items of 4 options, then 200 of 50), each
// switch timed from GotoQuestion until the events it posted (layout, paint)
// have run, and the time of GotoQuestion alone beside it. The window is real, on the offscreen platform unless another
// is chosen.
#include "BenchUtil.h"

#include "model/Exam.h"
#include "session/frmExam.h"
#include "shell/Globals.h"
#include "shell/MessageSeam.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <vector>

using Bench::Sentence;

namespace {

constexpr int ShortItems = 2000;
constexpr int ShortOptions = 4;
constexpr int LongItems = 200;
constexpr int LongOptions = 50;
constexpr int Runs = 3;
constexpr int WindowWidth = 1366;
constexpr int WindowHeight = 728;
constexpr double ShortGoalMs = 4;
constexpr double LongGoalMs = 16;
// Growth with the item number: the last ten switches may take this much
// longer than the first ten, no more.
constexpr double GrowthGoal = 1.5;

std::shared_ptr<Exam> BuildExam()
{
    QRandomGenerator random(7);
    auto exam = std::make_shared<Exam>();
    exam->SetCode("BENCH-2");
    exam->SetName("Item switch benchmark");
    exam->SetMaxScore(1000);
    exam->SetPassScore(700);
    exam->SetDuration(120);
    for (int q = 0; q < ShortItems + LongItems; ++q) {
        const bool isLong = q >= ShortItems;
        auto question = exam->Questions().Add();
        question->SetProblem(Sentence(random, 200 + random.bounded(400)));
        // Single and multiple answers alternate, so both kinds of row are
        // built; every other item already carries an answer to restore.
        const int solutions = q % 2 ? 2 : 1;
        const int options = isLong ? LongOptions : ShortOptions;
        for (int c = 0; c < options; ++c) {
            auto choice = question->Choices().Add();
            choice->SetStatement(Sentence(random, 20 + random.bounded(80)));
            choice->SetIsSolution(c < solutions);
        }
        question->Choices().ResetNumbers();
        question->CalculateSolutionCount();
        if (q % 4 < 2)
            question->SetAnswer(solutions == 1 ? "1" : "1,3");
    }
    exam->Questions().ResetNumbers();
    return exam;
}

double Median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

double Percentile(std::vector<double> values, double percent)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const size_t at = std::min(values.size() - 1, size_t(percent / 100.0 * double(values.size())));
    return values[at];
}

void Report(const char* name, const std::vector<double>& times, double goalMs)
{
    const std::vector<double> first(times.begin(), times.begin() + 10);
    const std::vector<double> last(times.end() - 10, times.end());
    const double median = Median(times);
    const double growth = Median(last) / std::max(Median(first), 1e-6);
    std::printf("  %-22s %5zu switches  median %6.2f ms  p90 %6.2f ms  max %6.2f ms  goal < %.0f ms: %s\n", name,
        times.size(), median, Percentile(times, 90), *std::max_element(times.begin(), times.end()), goalMs,
        Bench::Verdict(median / goalMs, 1.0));
    std::printf("  %-22s first 10 median %6.2f ms  last 10 median %6.2f ms  ratio %.2f (goal <= %.1f): %s\n", "",
        Median(first), Median(last), growth, GrowthGoal, Bench::Verdict(growth, GrowthGoal));
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    MessageSeam::Intercept(true);

    CurrentExam() = BuildExam();
    frmExam window;
    window.StartExam();
    // The clock plays no part here.
    window.findChild<QTimer*>(QStringLiteral("tmrTimer"))->stop();
    QApplication::processEvents();
    // A common laptop screen's work area rather than the offscreen default.
    window.setGeometry(0, 0, WindowWidth, WindowHeight);
    QApplication::processEvents();

    // Every switch is timed in each of Runs passes and its best time kept:
    // the least disturbed pass says most about the code.
    const int switches = ShortItems + LongItems - 1;
    std::vector<double> best(switches, 1e300);
    std::vector<double> bestBuild(switches, 1e300);
    const qint64 rssBefore = Bench::StatusKiB("VmRSS");
    for (int run = 0; run < Runs; ++run) {
        window.GotoQuestion(1);
        QApplication::processEvents();
        for (int index = 2; index <= ShortItems + LongItems; ++index) {
            QElapsedTimer timer;
            timer.start();
            window.GotoQuestion(qint16(index));
            const double buildMs = double(timer.nsecsElapsed()) / 1e6;
            QApplication::processEvents();
            const double ms = double(timer.nsecsElapsed()) / 1e6;
            best[index - 2] = std::min(best[index - 2], ms);
            bestBuild[index - 2] = std::min(bestBuild[index - 2], buildMs);
        }
    }
    const std::vector<double> shortTimes(best.begin(), best.begin() + ShortItems - 1);
    const std::vector<double> longTimes(best.begin() + ShortItems - 1, best.end());
    const std::vector<double> shortBuild(bestBuild.begin(), bestBuild.begin() + ShortItems - 1);
    const std::vector<double> longBuild(bestBuild.begin() + ShortItems - 1, bestBuild.end());

    std::printf("item_switch: exam window, %d items of %d options then %d of %d, %dx%d px, platform %s, "
                "best of %d passes per switch\n",
        ShortItems, ShortOptions, LongItems, LongOptions, window.width(), window.height(),
        qPrintable(QApplication::platformName()), Runs);
    Report("4-option items", shortTimes, ShortGoalMs);
    Report("50-option items", longTimes, LongGoalMs);
    std::printf("  building the page alone (GotoQuestion, before layout and paint): median %.2f ms (4 options), "
                "%.2f ms (50 options)\n",
        Median(shortBuild), Median(longBuild));
    std::printf("  memory: VmRSS %lld KiB before the run, %lld KiB after, peak %lld KiB\n", rssBefore,
        Bench::StatusKiB("VmRSS"), Bench::StatusKiB("VmHWM"));
    return 0;
}
