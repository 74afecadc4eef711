// Measures the catalogue: RefreshExamList over 1,000 installed exams against
// a bare LoadHeader loop over the same files, and the program's start-up to
// its main window against a minimal Qt program that shows an empty window.
#include "BenchUtil.h"

#include "model/Exam.h"
#include "shell/Globals.h"
#include "shell/frmMain.h"

#include <QApplication>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

namespace {

constexpr int ExamCount = 1000;

void InstallExams(const QString& examsFolder, int count)
{
    Exam exam;
    exam.SetName("Networking fundamentals for the working administrator");
    exam.SetMaxScore(1000);
    exam.SetPassScore(700);
    exam.SetDuration(90);
    for (int q = 0; q < 40; ++q) {
        auto question = exam.Questions().Add();
        question->SetProblem(QString(300, QLatin1Char('q')));
        for (int c = 0; c < 4; ++c)
            question->Choices().Add()->SetStatement(QString(60, QLatin1Char('c')));
    }
    for (int i = 0; i < count; ++i) {
        exam.SetCode(QStringLiteral("EX-%1").arg(i, 4, 10, QLatin1Char('0')));
        QDir().mkpath(examsFolder + "/" + exam.Code());
        exam.Save(examsFolder + "/" + exam.Code() + "/" + exam.Code() + ".exam");
    }
}

// Wall time of starting `program` until it exits on its own.
double StartupMs(const QString& program, const QProcessEnvironment& environment, const QStringList& arguments = {})
{
    return Bench::BestMs(1, [&] {
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(program, arguments);
        process.waitForFinished(-1);
    });
}

} // namespace

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    QTemporaryDir home;
    qputenv("XDG_DATA_HOME", home.path().toUtf8());
    qputenv("XDG_CONFIG_HOME", (home.path() + "/config").toUtf8());
    QApplication app(argc, argv);

    InstallExams(ExamsFolder(), ExamCount);
    const QStringList paths = GetInstalledExams();
    std::printf("catalogue: %d installed exams\n", int(paths.size()));

    // The two are timed in alternation, so that whatever else the machine
    // does falls on both alike; the best round of each counts.
    frmMain window;
    double bare = 1e300;
    double refresh = 1e300;
    for (int round = 0; round < 11; ++round) {
        bare = std::min(bare, Bench::BestMs(1, [&] {
            for (const QString& path : paths) {
                Exam exam;
                exam.LoadHeader(path);
            }
        }));
        refresh = std::min(refresh, Bench::BestMs(1, [&] { window.RefreshExamList(); }));
    }
    const double refreshRatio = refresh / bare;
    std::printf("(a) LoadHeader loop over the files:   %8.1f ms\n", bare);
    std::printf("    RefreshExamList (list filled):    %8.1f ms   ratio %.2f (goal <= 1.5: %s)\n", refresh,
        refreshRatio, Bench::Verdict(refreshRatio, 1.5));

    // Start-up with one installed exam, as a new user has.
    QTemporaryDir userHome;
    InstallExams(userHome.path() + "/Practorium/Exams", 1);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_DATA_HOME", userHome.path());
    environment.insert("XDG_CONFIG_HOME", userHome.path() + "/config");
    const QString dir = QCoreApplication::applicationDirPath();
    double minimal = 1e300;
    double program = 1e300;
    double withText = 1e300;
    for (int round = 0; round < 15; ++round) {
        minimal = std::min(minimal, StartupMs(dir + "/minimal_window", environment));
        program = std::min(program, StartupMs(dir + "/practorium_startup", environment));
        withText = std::min(withText, StartupMs(dir + "/minimal_window", environment, { "text" }));
    }
    const double startupRatio = program / minimal;
    std::printf("(b) minimal Qt program, empty window: %8.1f ms\n", minimal);
    std::printf("    Practorium to its main window:    %8.1f ms   ratio %.2f (goal <= 1.5: %s)\n", program,
        startupRatio, Bench::Verdict(startupRatio, 1.5));
    std::printf("    minimal program with one label:   %8.1f ms   (Practorium / this: %.2f; the difference to the\n"
                "    empty window is the font database, built the first time any text is shown)\n",
        withText, program / withText);
    return 0;
}
