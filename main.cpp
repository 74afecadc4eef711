#include "model/Error.h"
#include "model/Exam.h"
#include "shell/Application.h"
#include "shell/Common.h"
#include "shell/Globals.h"
#include "shell/frmMain.h"

#include <QTimer>

int main(int argc, char* argv[])
{
    Application app(argc, argv);
    Application::setApplicationVersion(QStringLiteral(PROJECT_VERSION));
    try {
        frmMain mainWindow;
        QObject::connect(&mainWindow, &frmMain::exitConfirmed, &app, [] {
            Application::closeAllWindows();
            Application::quit();
        });
        // Stand-ins until the exam and download windows exist.
        QObject::connect(&mainWindow, &frmMain::examRequested, &mainWindow, [] {
            const Exam& exam = *CurrentExam();
            ShowMessage(QStringLiteral("{1} - {2} is loaded with {3} items.{CRLF}{CRLF}"
                                       "The exam window comes with the next version of Practorium."),
                64, { exam.Code(), exam.Name(), exam.Questions().Count() });
            CurrentExam().reset();
        });
        QObject::connect(&mainWindow, &frmMain::downloadRequested, &mainWindow, [&mainWindow] {
            ShowMessage(QStringLiteral("Downloading exams comes with the next version of Practorium."), 64);
            mainWindow.RefreshExamList();
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
