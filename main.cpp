#include "app/InstanceChannel.h"
#include "app/LaunchRequest.h"
#include "app/Launcher.h"
#include "download/PackFile.h"
#include "download/frmExamDownloader.h"
#include "history/HistorySettings.h"
#include "history/HistoryStore.h"
#include "history/frmHistory.h"
#include "model/Error.h"
#include "model/Exam.h"
#include "session/frmExam.h"
#include "shell/Application.h"
#include "shell/Common.h"
#include "shell/DisplaySettings.h"
#include "shell/Globals.h"
#include "shell/frmMain.h"

#include <QDir>
#include <QTimer>

#include <cstdio>
#include <memory>
#include <optional>

namespace {

void Print(FILE* stream, const QString& text)
{
    std::fputs(qPrintable(text + u'\n'), stream);
}

// --help and --version are answered before any window system is touched, so
// they work without a display.
std::optional<int> AnswerWithoutWindow(int argc, char* argv[])
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    const CommandLine line = CommandLine::Parse(arguments);
    if (line.action == CommandLine::Action::Help) {
        Print(stdout, CommandLine::HelpText());
        return 0;
    }
    if (line.action == CommandLine::Action::Version) {
        Print(stdout, QStringLiteral("Practorium " PROJECT_VERSION));
        return 0;
    }
    return std::nullopt;
}

} // namespace

int main(int argc, char* argv[])
{
    if (const std::optional<int> status = AnswerWithoutWindow(argc, argv))
        return *status;
    Application app(argc, argv);
    Application::setApplicationVersion(QStringLiteral(PROJECT_VERSION));
    // Lets Wayland compositors match the windows to the desktop entry and icon.
    Application::setDesktopFileName(QStringLiteral("org.practorium.Practorium"));
    DisplaySettings::ApplyColorScheme(app, DisplaySettings::StoredColorScheme());
    // Qt has taken its own options (-platform, -style, ...) out by now.
    const CommandLine line = CommandLine::Parse(Application::arguments().mid(1));
    if (line.action == CommandLine::Action::Usage) {
        Print(stderr, QStringLiteral("practorium: ") + line.error);
        Print(stderr, CommandLine::HelpText());
        return 2;
    }
    const QString file = LaunchRequest::Absolute(line.file, QDir::currentPath());
    InstanceChannel channel;
    if (!file.isEmpty() && InstanceChannel::HandOver(channel.SocketPath(), file))
        return 0;
    try {
        frmMain mainWindow;
        // The attempt history, opened on first use. When it cannot be used it
        // says so once and the program goes on without it.
        HistoryStore history;
        history.SetFailureHandler([](const QString& reason) {
            ShowMessage(QStringLiteral("{1}{CRLF}Practorium goes on without the attempt history."), 48, { reason });
        });
        // One exam window serves every sitting; it hides the catalogue while
        // an exam runs and shows it again when the candidate leaves. It is
        // built when first needed, not at start-up.
        std::unique_ptr<frmExam> examWindow;
        const auto exam = [&]() -> frmExam& {
            if (!examWindow) {
                examWindow = std::make_unique<frmExam>(&mainWindow);
                frmExam* window = examWindow.get();
                QObject::connect(window, &frmExam::retakeRequested, window, [window](const SittingResult& result) {
                    window->StartRetake(result.examPath, result.examDigest, MissedNumbers(result));
                });
                QObject::connect(window, &frmExam::sittingEnded, window, [&history](const SittingResult& result) {
                    if (HistorySettings::ShouldRecord(result))
                        history.Record(result);
                });
            }
            return *examWindow;
        };
        QObject::connect(&mainWindow, &frmMain::examRequested, &mainWindow, [&] { exam().StartExam(); });
        // "Only items missed last time" studies the items missed in the
        // exam's last recorded attempt; with none missed, every item.
        mainWindow.SetMissedOnlyAvailable(HistorySettings::IsRecordingOn());
        QObject::connect(&mainWindow, &frmMain::studyRequested, &mainWindow, [&](bool missedOnly) {
            QList<qint16> numbers;
            if (missedOnly) {
                if (const std::optional<SittingResult> last = history.LastAttempt(CurrentExam()->Code()))
                    numbers = MissedNumbers(*last);
            }
            exam().StartStudy(numbers);
        });
        QObject::connect(&mainWindow, &frmMain::downloadRequested, &mainWindow, [&mainWindow] {
            frmExamDownloader downloader(&mainWindow);
            downloader.exec();
            mainWindow.RefreshExamList();
        });
        QObject::connect(&mainWindow, &frmMain::historyRequested, &mainWindow, [&] {
            std::optional<SittingResult> retake;
            frmHistory window(history, &mainWindow);
            QObject::connect(&window, &frmHistory::retakeRequested, &window,
                [&retake](const SittingResult& attempt) { retake = attempt; });
            window.exec();
            // Started once the History window is gone; StartRetake refuses an
            // exam file changed since the attempt.
            if (retake)
                exam().StartRetake(retake->examPath, retake->examDigest, MissedNumbers(*retake));
        });
        QObject::connect(&mainWindow, &frmMain::exitConfirmed, &app, [] {
            Application::closeAllWindows();
            Application::quit();
        });

        Launcher launcher(mainWindow, InstallPackFile);
        channel.Listen();
        QObject::connect(&channel, &InstanceChannel::fileReceived, &mainWindow, [&](const QString& handed) {
            // While an exam runs the catalogue is hidden; the file waits for
            // no one and is not taken.
            if (!mainWindow.isVisible()) {
                ShowMessage(QStringLiteral("Practorium is running an exam. Open \"{1}\" again when the exam is over."),
                    48, { handed });
                return;
            }
            mainWindow.raise();
            mainWindow.activateWindow();
            launcher.Open(handed, QDir::rootPath());
        });
        mainWindow.show();
        if (!file.isEmpty())
            QTimer::singleShot(0, &mainWindow, [&] { launcher.Open(file, QDir::currentPath()); });
#ifdef PRACTORIUM_STARTUP_BENCH
        // The start-up benchmark's build: end as soon as the window is up.
        QTimer::singleShot(0, &app, [] { Application::exit(0); });
#endif
        return Application::exec();
    } catch (...) {
        Application::ReportUnhandled(Error::Current());
        return 1;
    }
}
