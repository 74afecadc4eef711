#pragma once

#include <QApplication>

class Error;

// The program's application object: the one place where an error that no
// window trapped ends up. It is reported with its number and description and
// the program ends with a failure status, asking nothing more.
class Application : public QApplication
{
    Q_OBJECT

public:
    Application(int& argc, char** argv);

    bool notify(QObject* receiver, QEvent* event) override;

    // Shows the unhandled error (through the message seam) and on stderr.
    static void ReportUnhandled(const Error& error);
    // Ends the program after an unhandled error: every window is hidden
    // without being asked to close, and every running event loop returns,
    // exec() with `exitCode`.
    static void End(int exitCode);
};
