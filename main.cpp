#include "download/frmExamDownloader.h"
#include "history/HistoryStore.h"
#include "history/frmHistory.h"
#include "model/Error.h"
#include "session/frmExam.h"
#include "shell/Application.h"
#include "shell/Common.h"
#include "shell/frmMain.h"

#include <QTimer>

#include <memory>

int main(int argc, char* argv[])
{
    Application app(argc, argv);
    Application::setApplicationVersion(QStringLiteral(PROJECT_VERSION));
    try {
        frmMain mainWindow;
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
            }
            return *examWindow;
        };
        QObject::connect(&mainWindow, &frmMain::examRequested, &mainWindow, [&] { exam().StartExam(); });
        // Only the items missed last time come with the attempt history;
        // until it is there the choice stays off and every item is studied.
        QObject::connect(&mainWindow, &frmMain::studyRequested, &mainWindow, [&](bool) { exam().StartStudy(); });
        QObject::connect(&mainWindow, &frmMain::downloadRequested, &mainWindow, [&mainWindow] {
            frmExamDownloader downloader(&mainWindow);
            downloader.exec();
            mainWindow.RefreshExamList();
        });
        // The attempt history, opened on first use. When it cannot be used it
        // says so once and the program goes on without it.
        HistoryStore history;
        history.SetFailureHandler([](const QString& reason) {
            ShowMessage(QStringLiteral("{1}{CRLF}Practorium goes on without the attempt history."), 48, { reason });
        });
        QObject::connect(&mainWindow, &frmMain::historyRequested, &mainWindow, [&] {
            frmHistory window(history, &mainWindow);
            window.exec();
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
