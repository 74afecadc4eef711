#include "common/GuiUtil.h"
#include "common/TestUtil.h"
#include "model/Exam.h"
#include "session/frmExam.h"
#include "shell/Application.h"
#include "shell/Globals.h"
#include "shell/frmMain.h"

#include <QtTest>
#include <QtWidgets>

namespace {

// Raises an error that nothing traps when it receives any posted event.
class Raiser : public QObject
{
public:
    bool event(QEvent* event) override
    {
        if (event->type() == QEvent::User)
            Error::Raise(0x80040123, QStringLiteral("Raiser"), QStringLiteral("Nobody traps this"));
        return QObject::event(event);
    }
};

} // namespace

// The top-level handler as the program meets it: an Application running its
// event loop with the real windows, an error escaping a handler.
class ApplicationTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void unhandledErrorEndsWithoutQuestions_data()
    {
        GuiUtil::Columns<QString, QString>({ "fault", "box" });
        QTest::newRow("item count damaged") << "count" << "Run-time error '-2147221503':\r\n\r\n";
        QTest::newRow("duration 547 minutes") << "duration" << "Run-time error '6':\r\n\r\nOverflow";
        QTest::newRow("raised during a sitting") << "sitting" << "Run-time error '-2147221213':\r\n\r\nNobody traps this";
    }

    // The error is reported once and the program ends with status 1: neither
    // the catalogue nor an open exam window asks whether to close.
    void unhandledErrorEndsWithoutQuestions()
    {
        QFETCH(QString, fault);
        QTemporaryDir home;
        qputenv("XDG_DATA_HOME", QFile::encodeName(home.path()));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.path() + "/config"));
        MessageSeam::Intercept(true);
        CurrentExam().reset();

        const QString path = home.path() + "/Practorium/Exams/E-1/E-1.exam";
        Exam exam;
        exam.SetCode("E-1");
        exam.SetName("Exam one");
        exam.SetDuration(fault == "duration" ? 547 : 60);
        exam.Questions().Add()->Choices().Add()->SetIsSolution(true);
        QDir().mkpath(QFileInfo(path).path());
        exam.Save(path);
        if (fault == "count") // the item count claims more than the file holds
            TestUtil::WriteFile(path, TestUtil::ReadAll(path).replace(4 + 4 + 3 + 4 + 8 + 6, 4, QByteArray::fromHex("ffffff7f")));

        // Wired as the program wires them.
        frmMain mainWindow;
        std::unique_ptr<frmExam> examWindow;
        QObject::connect(&mainWindow, &frmMain::examRequested, &mainWindow, [&] {
            if (!examWindow)
                examWindow = std::make_unique<frmExam>(&mainWindow);
            examWindow->StartExam();
        });
        mainWindow.show();
        QVERIFY(QTest::qWaitForWindowExposed(&mainWindow));
        Raiser raiser;
        QTimer::singleShot(0, &mainWindow, [&] {
            QTest::mouseClick(mainWindow.findChild<QPushButton*>("cmdStart"), Qt::LeftButton);
            if (fault == "sitting") {
                QVERIFY(examWindow && examWindow->isVisible());
                QCoreApplication::postEvent(&raiser, new QEvent(QEvent::User));
            }
        });
        QTimer::singleShot(60000, &mainWindow, [] { Application::exit(2); }); // only if it failed to end
        QCOMPARE(Application::exec(), 1);

        const QStringList shown = GuiUtil::Shown();
        QVERIFY2(shown.size() == 1 && shown[0].startsWith("16:" + GuiUtil::Data<QString>("box")), qPrintable(shown.join('\n')));
        QVERIFY(!mainWindow.isVisible() && (!examWindow || !examWindow->isVisible()));
    }
};

int main(int argc, char* argv[])
{
    Application app(argc, argv);
    ApplicationTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "ApplicationTest.moc"
