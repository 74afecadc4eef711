#include "model/Error.h"
#include "shell/Common.h"

#include <QApplication>

#include <cstdio>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(ApplicationTitle());
    try {
        // The main window with the exam catalogue comes next; until then the
        // program says so and ends.
        ShowMessage(QStringLiteral("The exam catalogue is not built yet.{CRLF}"
                                   "Practorium {1} can read exam files but cannot show them."),
            64, { QStringLiteral(PROJECT_VERSION) });
        return 0;
    } catch (const Error& e) {
        // Nothing trapped it: report and end with a failure status.
        std::fprintf(stderr, "practorium: error %d (%s): %s\n", e.Number(), qPrintable(e.Source()),
            qPrintable(e.Description()));
        ShowMessage(QStringLiteral("Error {1}: {2}"), 16, { e.Number(), e.Description() });
        return 1;
    }
}
