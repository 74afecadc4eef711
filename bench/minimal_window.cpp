// The start-up baseline: a Qt Widgets program that shows an empty window and
// ends once its event loop has run. With the argument "text" the window holds
// one label, which is what it costs any program to show text at all (the
// font database is built on first use).
#include <QApplication>
#include <QLabel>
#include <QTimer>
#include <QWidget>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QWidget window;
    window.resize(760, 520);
    if (argc > 1 && QByteArray(argv[1]) == "text")
        new QLabel(QStringLiteral("Practorium"), &window);
    window.show();
    QTimer::singleShot(0, &app, [] { QApplication::exit(0); });
    return QApplication::exec();
}
