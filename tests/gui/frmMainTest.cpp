#include "common/GuiUtil.h"
#include "common/TestUtil.h"
#include "model/Exam.h"
#include "shell/Globals.h"
#include "shell/FileDialogSeam.h"
#include "shell/LinkLabel.h"
#include "shell/frmImport.h"
#include "shell/frmMain.h"

#include <QtTest>
#include <QtWidgets>

using namespace GuiUtil;

// The catalogue window: its list, starting a sitting, importing a bank.
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
        Shown();
        CurrentExam().reset();
    }

    void catalogue_data()
    {
        // setup: folder|file|code, then the size a damaged file is cut to
        Columns<QStringList, QStringList, QString>({ "setup", "codes", "status" });
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
        for (const QString& entry : Data<QStringList>("setup")) {
            const QStringList parts = entry.split('|');
            Install(parts[0], parts[1], parts[2]);
            if (parts.size() > 3) // 10 bytes end inside the code
                QVERIFY(QFile::resize(m_exams + "/" + parts[0] + "/" + parts[1], parts[3].toInt()));
        }
        QDir().mkpath(m_exams + "/not-a-package");
        frmMain window;
        QTEST(Codes(Child<QTreeView>(&window, "lvwExams")), "codes");
        QTEST(Child<QLabel>(&window, "lblStatus")->text(), "status");
        QVERIFY(Shown().isEmpty());
    }

    void start_data()
    {
        Columns<QString>({ "how" });
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
            QVERIFY(!study[0][0].toBool() && !Child(&window, "chkMissedOnly")->isEnabled()); // no history yet: every item
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

    void isExamInstalled_data()
    {
        Columns<QString, bool>({ "code", "installed" });
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

    // The import flow, driven as a user would: the link, Ctrl+I or a drop,
    // the preview dialog, the question before replacing.
    void import_data()
    {
        // source: in tests/data/banks, or XML after "xml:"; preview: codes typed before Install, or "cancel";
        // replaceAnswer: to the replace question, 0 for none; codes: the catalogue afterwards
        Columns<QString, QString, QString, int, QString, QStringList, QStringList>(
            { "trigger", "source", "preview", "replaceAnswer", "message", "codes", "shows" });
        const QString moodle = "moodle-networking.xml";
        QTest::newRow("link, installed and selected") << "link" << moodle << "NET-XML" << 0 << "" << QStringList { "NET-XML", "OLD" }
            << QStringList { "moodle-networking.xml: 4 items found, 2 skipped.", "3 characters cannot be kept in an exam file and become \"?\".",
                   "Line 69: skipped shortanswer question \"Type the IPv4 loopback address of every \"" };
        QTest::newRow("Ctrl+I, QTI package") << "key" << "qti-package.zip" << "QTI" << 0 << "" << QStringList { "OLD", "QTI" }
                                             << QStringList { "Every character can be kept." };
        QTest::newRow("drop") << "drop" << moodle << "DROP" << 0 << "" << QStringList { "DROP", "OLD" } << QStringList();
        QTest::newRow("preview cancelled") << "link" << moodle << "cancel" << 0 << "" << QStringList { "OLD" } << QStringList();
        QTest::newRow("bad code refused, then installed") << "link" << moodle << "A.B|GOOD" << 0 << "The code may not contain"
                                                         << QStringList { "GOOD", "OLD" } << QStringList();
        QTest::newRow("existing code kept on No") << "link" << moodle << "OLD" << int(MessageSeam::No) << "already installed"
                                                 << QStringList { "OLD" } << QStringList();
        QTest::newRow("existing code replaced on Yes") << "link" << moodle << "OLD" << int(MessageSeam::Yes) << "already installed"
                                                      << QStringList { "OLD" } << QStringList();
        QTest::newRow("unreadable file") << "link" << "xml:<quiz><question>" << "" << 0 << "not well-formed" << QStringList { "OLD" } << QStringList();
        QTest::newRow("missing file") << "drop" << "no-such-file.xml" << "" << 0 << "cannot be imported" << QStringList { "OLD" } << QStringList();
    }

    void import()
    {
        QFETCH(QString, trigger);
        QFETCH(QString, source);
        QFETCH(QString, preview);
        QFETCH(int, replaceAnswer);
        QFETCH(QString, message);
        Install("OLD", "OLD.exam", "OLD");
        TestUtil::WriteFile(m_exams + "/OLD/old-only.gif", "");
        const QString path = source.startsWith("xml:") ? TestUtil::WriteFile(m_home->path() + "/bank.xml", source.mid(4).toUtf8())
                                                       : QStringLiteral(TEST_DATA_DIR "/banks/") + source;
        if (replaceAnswer)
            MessageSeam::SetNextAnswer(replaceAnswer);
        frmMain window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QStringList seen; // what the preview showed
        const auto previewDone = preview.isEmpty() ? std::make_shared<bool>(true)
                                                   : WhenModal<frmImport>([&](frmImport* dialog) { Answer(dialog, preview.split('|'), seen); });
        auto* list = Child<QTreeView>(&window, "lvwExams");
        if (trigger == "drop") {
            QMimeData data;
            data.setUrls({ QUrl::fromLocalFile(path) });
            const QPoint at = list->viewport()->rect().center();
            QDragEnterEvent enter(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            QDropEvent drop(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(list->viewport(), &enter);
            QApplication::sendEvent(list->viewport(), &drop);
            QVERIFY(enter.isAccepted() && drop.isAccepted());
        } else {
            FileDialogSeam::SetNextFileName(path);
            if (trigger == "key")
                QTest::keyClick(&window, Qt::Key_I, Qt::ControlModifier);
            else
                QTest::mouseClick(Child<LinkLabel>(&window, "lblImport"), Qt::LeftButton);
        }
        QTRY_VERIFY(*previewDone);
        QCOMPARE(seen.filter(QRegularExpression("^unnamed ")), QStringList());
        QTRY_COMPARE(Codes(list), Data<QStringList>("codes"));
        QStringList boxes;
        QTRY_VERIFY((boxes += Shown()).size() == !message.isEmpty()); // a drop imports once the drag is over
        QVERIFY2(message.isEmpty() || boxes[0].contains(message), qPrintable(boxes.join('\n')));
        for (const QString& line : Data<QStringList>("shows"))
            QVERIFY2(seen.contains(line), qPrintable(seen.join('\n')));
        const QString code = preview.section('|', -1);
        if (!boxes.isEmpty() && replaceAnswer == 0)
            return;
        // The package is in place, whole, and the catalogue points at it.
        QCOMPARE(QFile::exists(m_exams + "/OLD/old-only.gif"), code != "OLD" || replaceAnswer != MessageSeam::Yes);
        if (code == "cancel" || replaceAnswer == MessageSeam::No)
            return;
        QCOMPARE(list->currentIndex().data().toString(), code);
        Exam installed;
        installed.Load(m_exams + "/" + code + "/" + code + ".exam");
        QVERIFY(installed.Questions().Count() >= 2 && QFile::exists(m_exams + "/" + code + "/" + installed.Questions().Item(1).Exhibit()));
        QVERIFY(QDir(m_exams).entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot).filter(".import").isEmpty());
    }

private:
    static QStringList Codes(QTreeView* list)
    {
        QStringList codes;
        for (int row = 0; row < list->model()->rowCount(); ++row)
            codes << list->model()->index(row, 0).data().toString();
        codes.sort();
        return codes;
    }

    // Notes what the preview shows, then types each code and presses Install
    // (or Cancel). Out of the accessibility walk's reach (a file dialog opens
    // it), so its names are checked here: a nameless control shows in `seen`.
    static void Answer(frmImport* dialog, const QStringList& steps, QStringList& seen)
    {
        seen << Child<QLabel>(dialog, "lblSummary")->text() << Child<QLabel>(dialog, "lblLost")->text();
        auto* notes = Child<QListWidget>(dialog, "lstNotes");
        for (int i = 0; i < notes->count(); ++i)
            seen << notes->item(i)->text();
        for (QWidget* child : dialog->findChildren<QWidget*>()) {
            if (child->isVisible() && child->focusPolicy() != Qt::NoFocus
                && QAccessible::queryAccessibleInterface(child)->text(QAccessible::Name).isEmpty())
                seen << "unnamed " + child->objectName();
        }
        for (const QString& step : steps) {
            if (step == "cancel") {
                QTest::mouseClick(Child(dialog, "cmdCancel"), Qt::LeftButton);
                break;
            }
            auto* code = Child<QLineEdit>(dialog, "txtCode");
            code->selectAll();
            QTest::keyClicks(code, step);
            QTest::mouseClick(Child(dialog, "cmdInstall"), Qt::LeftButton);
        }
    }

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
