#include "download/frmExamDownloader.h"
#include "history/HistorySettings.h"
#include "history/HistoryStore.h"
#include "history/frmHistory.h"
#include "model/Error.h"
#include "model/Exam.h"
#include "session/frmExam.h"
#include "shell/Application.h"
#include "shell/Common.h"
#include "shell/Globals.h"
#include "shell/frmMain.h"

#include <QTimer>

#include <memory>
#include <optional>

int main(int argc, char* argv[])
{
    Application app(argc, argv);
    Application::setApplicationVersion(QStringLiteral(PROJECT_VERSION));
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
        mainWindow.show();
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
