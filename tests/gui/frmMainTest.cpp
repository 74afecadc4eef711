#include "model/Exam.h"
#include "shell/Globals.h"
#include "shell/LinkLabel.h"
#include "shell/MessageSeam.h"
#include "shell/frmMain.h"

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QCheckBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeView>

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
        QTest::newRow("one exam, no singular") << QStringList { "A-1|A-1.exam|A-1" } << QStringList { "A-1" } << one;
        QTest::newRow("folder X.Y holds X.exam")
            << QStringList { "NET.201|NET.exam|NET", "OS.1|OS.1.exam|OS" } << QStringList { "NET" } << one;
        QTest::newRow("duplicate codes both listed") << QStringList { "A|A.exam|SAME", "B|B.exam|SAME" }
                                                     << QStringList { "SAME", "SAME" } << "2 Exams Installed  |  ";
        QTest::newRow("silent skips") << QStringList { "GOOD|GOOD.exam|GOOD", "empty|other.exam|X",
            "cut|cut.exam|CUT-CODE|10", "zero|zero.exam|ZERO|0" } << QStringList { "GOOD" } << one;
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
        auto* list = window.findChild<QTreeView*>("lvwExams");
        QStringList codes;
        for (int row = 0; row < list->model()->rowCount(); ++row)
            codes.append(list->model()->index(row, 0).data().toString());
        codes.sort();
        QTEST(codes, "codes");
        QTEST(window.findChild<QLabel*>("lblStatus")->text(), "status");
        QVERIFY(MessageSeam::TakeShown().isEmpty());
    }

    void start_data()
    {
        QTest::addColumn<QString>("how");
        QTest::newRow("double-click") << "double-click";
        QTest::newRow("Enter key") << "Enter";
        QTest::newRow("Study, Alt+S") << "study";
    }

    void start()
    {
        QFETCH(QString, how);
        frmMain window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QSignalSpy requested(&window, &frmMain::examRequested);
        QSignalSpy study(&window, &frmMain::studyRequested);
        auto* start = window.findChild<QPushButton*>("cmdStart");
        auto* list = window.findChild<QTreeView*>("lvwExams");
        // An empty list gives its message first, never the one for a missing selection.
        QTest::mouseClick(start, Qt::LeftButton);
        Install("B-2", "B-2.exam", "B-2");
        window.RefreshExamList();
        list->clearSelection();
        QTest::mouseClick(start, Qt::LeftButton);
        const auto shown = MessageSeam::TakeShown();
        QCOMPARE(shown.size(), 2);
        QCOMPARE(shown[0].Text, QString("No exams are available. Please install your exam pack(s)."));
        QCOMPARE(shown[0].Style, 48);
        QCOMPARE(shown[1].Text, QString("Please select an exam to start"));
        QVERIFY(!CurrentExam());

        const QPoint row = list->visualRect(list->model()->index(0, 1)).center();
        if (how == "study") {
            list->setCurrentIndex(list->model()->index(0, 0));
            auto* studyButton = window.findChild<QPushButton*>("cmdStudy");
            QCOMPARE(studyButton->shortcut(), QKeySequence("Alt+S"));
            QTest::mouseClick(studyButton, Qt::LeftButton);
            QCOMPARE(study.count(), 1);
            QCOMPARE(study[0][0].toBool(), false); // no history yet: every item
            QVERIFY(!window.findChild<QCheckBox*>("chkMissedOnly")->isEnabled());
        } else if (how == "double-click") { // a real double-click starts with a click; mouseDClick alone sends no press
            QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, row);
            QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, row);
        } else {
            list->setCurrentIndex(list->model()->index(0, 0));
            list->setFocus();
            QTest::keyClick(list, Qt::Key_Return);
        }
        QCOMPARE(requested.count() + study.count(), 1);
        QVERIFY(CurrentExam() && CurrentExam()->Questions().Count() == 1); // the whole exam, not just its header
        QVERIFY(window.isEnabled()); // busy state ended
        QVERIFY(!QApplication::overrideCursor());
    }

    void historyRequested()
    {
        frmMain window;
        window.show();
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QSignalSpy requested(&window, &frmMain::historyRequested);
        QTest::mouseClick(window.findChild<LinkLabel*>("lblHistory"), Qt::LeftButton);
        QTest::keyClick(&window, Qt::Key_H, Qt::ControlModifier);
        QCOMPARE(requested.count(), 2); // the link, then Ctrl+H
    }

    void exitCancelledThenConfirmed()
    {
        frmMain window;
        window.show();
        QSignalSpy confirmed(&window, &frmMain::exitConfirmed);
        for (const int answer : { MessageSeam::No, MessageSeam::Yes }) {
            MessageSeam::SetNextAnswer(answer);
            QTest::mouseClick(window.findChild<QPushButton*>("cmdExit"), Qt::LeftButton);
            const auto shown = MessageSeam::TakeShown();
            QCOMPARE(shown.size(), 1);
            QCOMPARE(shown[0].Text, QString("Are you sure you want to exit Practorium?"));
            QCOMPARE(shown[0].Style, 36);
            QCOMPARE(confirmed.count(), answer == MessageSeam::Yes ? 1 : 0);
            QCOMPARE(window.isVisible(), answer == MessageSeam::No);
        }
    }

    void busyKeepsDisabledWindowDisabled()
    {
        QWidget enabled, disabled;
        enabled.show();
        disabled.show();
        disabled.setEnabled(false);
        BeginBusy();
        QVERIFY(!enabled.isEnabled());
        QCOMPARE(QApplication::overrideCursor()->shape(), Qt::WaitCursor);
        EndBusy();
        QVERIFY(enabled.isEnabled());
        QVERIFY(!disabled.isEnabled());
        QVERIFY(!QApplication::overrideCursor());
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
        QFETCH(QString, code);
        QTEST(IsExamInstalled(code), "installed");
    }

    void answerLetters_data()
    {
        QTest::addColumn<QString>("list");
        QTest::addColumn<QString>("letters");
        QTest::addColumn<int>("count");
        QTest::newRow("empty") << "" << "" << 0;
        QTest::newRow("one") << "2" << "B" << 1;
        QTest::newRow("two") << "1,3" << "A,C" << 2;
        QTest::newRow("lone comma") << "," << "?,?" << 2;
    }

    void answerLetters()
    {
        QFETCH(QString, list);
        QTEST(AnswerLetters(list), "letters");
        QTEST(int(ItemCount(list)), "count");
    }

private:
    // Installs an exam file at <exams>/<folder>/<file> with this code.
    void Install(const QString& folder, const QString& file, const QString& code)
    {
        QDir().mkpath(m_exams + "/" + folder);
        Exam exam;
        exam.SetCode(code);
        exam.SetName("Name of " + code);
        exam.Questions().Add()->Choices().Add()->SetIsSolution(true);
        exam.Save(m_exams + "/" + folder + "/" + file);
    }

    std::unique_ptr<QTemporaryDir> m_home;
    QString m_exams;
};

QTEST_MAIN(frmMainTest)
#include "frmMainTest.moc"
