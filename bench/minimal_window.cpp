// The start-up baseline: a Qt Widgets program that shows an empty window and
// ends once its event loop has run.
#include <QApplication>
#include <QTimer>
#include <QWidget>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QWidget window;
    window.resize(760, 520);
    window.show();
    QTimer::singleShot(0, &app, [] { QApplication::exit(0); });
    return QApplication::exec();
}
