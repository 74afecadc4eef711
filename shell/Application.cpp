#include "shell/Application.h"

#include "model/Error.h"
#include "shell/Common.h"

#include <QWidget>

#include <cstdio>

Application::Application(int& argc, char** argv)
    : QApplication(argc, argv)
{
    setApplicationName(ApplicationTitle());
    setOrganizationName(ApplicationTitle());
}

bool Application::notify(QObject* receiver, QEvent* event)
{
    try {
        return QApplication::notify(receiver, event);
    } catch (...) {
        ReportUnhandled(Error::Current());
        End(1);
        return false;
    }
}

void Application::End(int exitCode)
{
    // Nothing that was under way can be trusted to go on, and nothing more is
    // asked: the windows are hidden, not closed, so no close handler puts
    // its question ("Are you sure you want to exit Practorium?", "... to
    // terminate the exam?") whose answer could no longer change anything.
    for (QWidget* window : topLevelWidgets())
        window->hide();
    exit(exitCode);
}

void Application::ReportUnhandled(const Error& error)
{
    std::fprintf(stderr, "practorium: run-time error %d (%s): %s\n", error.Number(), qPrintable(error.Source()),
        qPrintable(error.Description()));
    ShowMessage(QStringLiteral("Run-time error '{1}':{CRLF}{CRLF}{2}"), 16, { error.Number(), error.Description() });
}
