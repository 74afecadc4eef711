#include "common/GuiUtil.h"
#include "model/Exam.h"
#include "shell/Globals.h"
#include "shell/LinkLabel.h"
#include "shell/frmMain.h"

#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTreeView>

using namespace GuiUtil;

class frmMainTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_home = std::make_unique<QTemporaryDir>();
        qputenv("XDG_DATA_HOME", m_home->path().toUtf8());
        qputenv("XDG_CONFIG_HOME", (m_home->path() + "/config").toUtf8());
        m_exams = m_home->path() + "/Practorium/Exams";
        MessageSeam::Intercept(true);
        CurrentExam().reset();
    }

    void catalogue_data()
    {
        QTest::addColumn<QStringList>("setup"); // folder|file|code, then the size a damaged file is cut to
        QTest::addColumn<QStringList>("codes");
        QTest::addColumn<QString>("status");
        const QString one = "1 Exams Installed  |  ";
        QTest::newRow("no exams folder") << QStringList {} << QStringList {} << "0 Exams Installed  |  ";
        QTest::newRow("folder X.Y holds X.exam") << QStringList { "NET.201|NET.exam|NET", "OS.1|OS.1.exam|OS" } << QStringList { "NET" } << one;
        QTest::newRow("duplicate codes both listed")
            << QStringList { "A|A.exam|SAME", "B|B.exam|SAME" } << QStringList { "SAME", "SAME" } << "2 Exams Installed  |  ";
        QTest::newRow("silent skips") << QStringList { "GOOD|GOOD.exam|GOOD", "empty|other.exam|X", "cut|cut.exam|CUT-CODE|10",
            "zero|zero.exam|ZERO|0" } << QStringList { "GOOD" } << one;
    }

    void catalogue()
    {
        QFETCH(QStringList, setup);
        for (const QString& entry : setup) {
            const QStringList parts = entry.split('|');
            Install(parts[0], parts[1], parts[2]);
            if (parts.size() > 3) // 10 bytes end inside the code
                QVERIFY(QFile::resize(m_exams + "/" + parts[0] + "/" + parts[1], parts[3].toInt()));
        }
        QDir().mkpath(m_exams + "/not-a-package");
        frmMain window;
        auto* list = Child<QTreeView>(&window, "lvwExams");
        QStringList codes;
        for (int row = 0; row < list->model()->rowCount(); ++row)
            codes.append(list->model()->index(row, 0).data().toString());
        codes.sort();
        QTEST(codes, "codes");
        QTEST(Child<QLabel>(&window, "lblStatus")->text(), "status");
        QVERIFY(Shown().isEmpty());
    }

    void start_data()
    {
        QTest::addColumn<QString>("how");
        QTest::newRow("double-click") << "double-click";
        QTest::newRow("Enter key") << "Enter";
        QTest::newRow("Study, Alt+S") << "study";
    }

    // An empty list says so, never that nothing is selected; then the whole
    // exam is loaded for the sitting, the window no longer busy.
    void start()
    {
        QFETCH(QString, how);
        frmMain window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QSignalSpy requested(&window, &frmMain::examRequested);
        QSignalSpy study(&window, &frmMain::studyRequested);
        auto* list = Child<QTreeView>(&window, "lvwExams");
        QTest::mouseClick(Child(&window, "cmdStart"), Qt::LeftButton);
        Install("B-2", "B-2.exam", "B-2");
        window.RefreshExamList();
        list->clearSelection();
        QTest::mouseClick(Child(&window, "cmdStart"), Qt::LeftButton);
        QCOMPARE(Shown(), QStringList({ "48:No exams are available. Please install your exam pack(s).", "48:Please select an exam to start" }));
        QVERIFY(!CurrentExam());
        const QPoint row = list->visualRect(list->model()->index(0, 1)).center();
        list->setCurrentIndex(list->model()->index(0, 0));
        if (how == "study") {
            QTest::keyClick(&window, Qt::Key_S, Qt::AltModifier);
            QTRY_COMPARE(study.count(), 1); // a mnemonic presses after a short flash
            QVERIFY(!study[0][0].toBool()); // no history yet: every item
            QVERIFY(!Child(&window, "chkMissedOnly")->isEnabled());
        } else if (how == "double-click") { // a real double-click starts with a click
            QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, row);
            QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, row);
        } else {
            list->setFocus();
            QTest::keyClick(list, Qt::Key_Return);
        }
        QCOMPARE(requested.count() + study.count(), 1);
        QVERIFY(CurrentExam() && CurrentExam()->Questions().Count() == 1); // the whole exam, not just its header
        QVERIFY(window.isEnabled() && !QApplication::overrideCursor());
    }

    void historyAndExit()
    {
        frmMain window;
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QSignalSpy history(&window, &frmMain::historyRequested);
        QTest::mouseClick(Child<LinkLabel>(&window, "lblHistory"), Qt::LeftButton);
        QTest::keyClick(&window, Qt::Key_H, Qt::ControlModifier);
        QCOMPARE(history.count(), 2);
        QSignalSpy confirmed(&window, &frmMain::exitConfirmed);
        for (const int answer : { MessageSeam::No, MessageSeam::Yes }) {
            MessageSeam::SetNextAnswer(answer);
            QTest::mouseClick(Child(&window, "cmdExit"), Qt::LeftButton);
            QCOMPARE(Shown(), QStringList { "36:Are you sure you want to exit Practorium?" });
            QVERIFY(confirmed.count() == (answer == MessageSeam::Yes) && window.isVisible() == (answer == MessageSeam::No));
        }
    }

    void busyKeepsDisabledWindowDisabled()
    {
        QWidget enabled, disabled;
        enabled.show();
        disabled.show();
        disabled.setEnabled(false);
        BeginBusy();
        QVERIFY(!enabled.isEnabled() && QApplication::overrideCursor()->shape() == Qt::WaitCursor);
        EndBusy();
        QVERIFY(enabled.isEnabled() && !disabled.isEnabled() && !QApplication::overrideCursor());
    }

    void isExamInstalled_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<bool>("installed");
        QTest::newRow("case and blanks ignored") << "  abc-1 " << true;
        QTest::newRow("second of duplicates") << "DUP" << true;
        QTest::newRow("prefix is not a match") << "ABC" << false;
    }

    void isExamInstalled()
    {
        Install("ABC-1", "ABC-1.exam", "ABC-1");
        Install("D1", "D1.exam", "DUP");
        Install("D2", "D2.exam", "DUP");
        QTEST(IsExamInstalled(Data<QString>("code")), "installed");
    }

    void answerLetters()
    {
        QCOMPARE(QStringList({ AnswerLetters(""), AnswerLetters("2"), AnswerLetters("1,3"), AnswerLetters(",") }),
            QStringList({ "", "B", "A,C", "?,?" }));
        QCOMPARE(QList<int>({ ItemCount(""), ItemCount("2"), ItemCount("1,3"), ItemCount(",") }), QList<int>({ 0, 1, 2, 2 }));
    }

private:
    // Installs an exam file at <exams>/<folder>/<file> with this code.
    void Install(const QString& folder, const QString& file, const QString& code)
    {
        QDir().mkpath(m_exams + "/" + folder);
        Exam exam;
        exam.SetCode(code);
        exam.Questions().Add()->Choices().Add()->SetIsSolution(true);
        exam.Save(m_exams + "/" + folder + "/" + file);
    }

    std::unique_ptr<QTemporaryDir> m_home;
    QString m_exams;
};

QTEST_MAIN(frmMainTest)
#include "frmMainTest.moc"
