#include "common/TestUtil.h"
#include "model/Exam.h"
#include "shell/FileDialogSeam.h"
#include "shell/MessageSeam.h"
#include "shell/frmImport.h"
#include "shell/frmMain.h"
#include "shell/LinkLabel.h"

#include <QAccessible>
#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QTreeView>

// The import flow of the main window, driven as a user would: the link,
// Ctrl+I or a drop, the preview dialog, the question before replacing.
class frmImportTest : public QObject
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
        MessageSeam::TakeShown();
    }

    void import_data()
    {
        QTest::addColumn<QString>("trigger");  // link, key or drop
        QTest::addColumn<QString>("source");   // a file in tests/data/banks, or literal XML after "xml:"
        QTest::addColumn<QString>("preview");  // what the user does: "CODE" to install as CODE, "cancel", "" when no preview
        QTest::addColumn<int>("replaceAnswer"); // answer to the replace question, 0 when none is expected
        QTest::addColumn<QString>("message");  // the box expected, "" for none
        QTest::addColumn<QStringList>("codes"); // the catalogue afterwards
        QTest::addColumn<QStringList>("shows"); // lines the preview shows
        const QString moodle = "moodle-networking.xml";
        QTest::newRow("link, installed and selected") << "link" << moodle << "NET-XML" << 0 << "" << QStringList { "NET-XML", "OLD" }
            << QStringList { "moodle-networking.xml: 4 items found, 2 skipped.",
                   "3 characters cannot be kept in an exam file and become \"?\".",
                   "Line 69: skipped shortanswer question \"Type the IPv4 loopback address of every \"" };
        QTest::newRow("Ctrl+I, QTI package") << "key" << "qti-package.zip" << "QTI" << 0 << "" << QStringList { "OLD", "QTI" }
            << QStringList { "qti-package.zip: 2 items found, 1 skipped.", "Every character can be kept.",
                   "Item 3: skipped textEntry question \"The loopback interface is called .\"" };
        QTest::newRow("drop") << "drop" << moodle << "DROP" << 0 << "" << QStringList { "DROP", "OLD" } << QStringList();
        QTest::newRow("preview cancelled") << "link" << moodle << "cancel" << 0 << "" << QStringList { "OLD" } << QStringList();
        QTest::newRow("bad code refused, then installed") << "link" << moodle << "A.B|GOOD" << 0
                                                         << "The code may not contain" << QStringList { "GOOD", "OLD" } << QStringList();
        QTest::newRow("existing code kept on No") << "link" << moodle << "OLD" << int(MessageSeam::No)
                                                 << "already installed" << QStringList { "OLD" } << QStringList();
        QTest::newRow("existing code replaced on Yes") << "link" << moodle << "OLD" << int(MessageSeam::Yes)
                                                      << "already installed" << QStringList { "OLD" } << QStringList();
        QTest::newRow("unreadable file") << "link" << "xml:<quiz><question>" << "" << 0
                                         << "not well-formed" << QStringList { "OLD" } << QStringList();
        QTest::newRow("no usable item") << "drop" << "xml:<quiz><question type=\"essay\"><questiontext><text>Why?</text>"
                                                     "</questiontext></question></quiz>"
                                        << "" << 0 << "cannot be imported" << QStringList { "OLD" } << QStringList();
        QTest::newRow("missing file") << "link" << "no-such-file.xml" << "" << 0 << "cannot be imported" << QStringList { "OLD" } << QStringList();
    }

    void import()
    {
        QFETCH(QString, trigger);
        QFETCH(QString, source);
        QFETCH(QString, preview);
        QFETCH(int, replaceAnswer);
        QFETCH(QString, message);
        InstallOld();
        QString path = QStringLiteral(TEST_DATA_DIR "/banks/") + source;
        if (source.startsWith("xml:")) {
            path = m_home->path() + "/bank.xml";
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(source.mid(4).toUtf8());
        }
        if (replaceAnswer)
            MessageSeam::SetNextAnswer(replaceAnswer);

        frmMain window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QStringList seen; // what the preview showed
        bool previewDone = preview.isEmpty();
        if (!preview.isEmpty()) {
            // The preview is modal: answer it once it is up.
            QTimer::singleShot(0, this, [&] { AnswerPreview(preview.split('|'), seen, previewDone); });
        }
        auto* list = window.findChild<QTreeView*>("lvwExams");
        if (trigger == "drop") {
            QMimeData data;
            data.setUrls({ QUrl::fromLocalFile(path) });
            const QPoint at = list->viewport()->rect().center();
            QDragEnterEvent enter(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(list->viewport(), &enter);
            QVERIFY(enter.isAccepted());
            QDropEvent drop(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(list->viewport(), &drop);
            QVERIFY(drop.isAccepted());
        } else {
            FileDialogSeam::SetNextFileName(path);
            if (trigger == "key")
                QTest::keyClick(&window, Qt::Key_I, Qt::ControlModifier);
            else
                QTest::mouseClick(window.findChild<LinkLabel*>("lblImport"), Qt::LeftButton);
        }
        QTRY_VERIFY(previewDone);
        QCOMPARE(seen.filter(QRegularExpression("^unnamed ")), QStringList());
        QFETCH(QStringList, codes);
        QTRY_COMPARE(Codes(list), codes);

        QStringList boxes;
        auto collect = [&boxes] {
            for (const MessageSeam::Shown& box : MessageSeam::TakeShown())
                boxes << box.Text;
            return !boxes.isEmpty();
        };
        if (message.isEmpty())
            collect();
        else
            QTRY_VERIFY(collect()); // a drop imports once the drag is over
        QCOMPARE(boxes.size(), message.isEmpty() ? 0 : 1);
        if (!message.isEmpty())
            QVERIFY2(boxes[0].contains(message), qPrintable(boxes[0]));
        QFETCH(QStringList, shows);
        for (const QString& line : shows)
            QVERIFY2(seen.contains(line), qPrintable(seen.join('\n')));
        const QString code = preview.section('|', -1);
        if (!boxes.isEmpty() && replaceAnswer == 0)
            return;
        // The package is in place, whole, and the catalogue points at it.
        const bool replaced = replaceAnswer == MessageSeam::Yes;
        QCOMPARE(QFile::exists(m_exams + "/OLD/old-only.gif"), code != "OLD" || !replaced);
        if (code == "cancel" || replaceAnswer == MessageSeam::No)
            return;
        QCOMPARE(list->currentIndex().data().toString(), code);
        Exam installed;
        installed.Load(m_exams + "/" + code + "/" + code + ".exam");
        QVERIFY(installed.Questions().Count() >= 2);
        QVERIFY(QFile::exists(m_exams + "/" + code + "/" + installed.Questions().Item(1).Exhibit()));
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

    void AnswerPreview(const QStringList& steps, QStringList& seen, bool& done)
    {
        auto* dialog = qobject_cast<frmImport*>(QApplication::activeModalWidget());
        if (!dialog) {
            QTimer::singleShot(10, this, [=, this, &seen, &done] { AnswerPreview(steps, seen, done); });
            return;
        }
        seen << dialog->findChild<QLabel*>("lblSummary")->text() << dialog->findChild<QLabel*>("lblLost")->text();
        auto* notes = dialog->findChild<QListWidget*>("lstNotes");
        for (int i = 0; i < notes->count(); ++i)
            seen << notes->item(i)->text();
        // Out of the accessibility walk's reach (a file dialog opens it), so
        // its names are checked here: a nameless control shows in `seen`.
        for (QWidget* child : dialog->findChildren<QWidget*>()) {
            QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(child);
            if (child->isVisible() && child->focusPolicy() != Qt::NoFocus
                && accessible->text(QAccessible::Name).isEmpty())
                seen << "unnamed " + child->objectName();
        }
        for (const QString& step : steps) {
            if (step == "cancel") {
                QTest::mouseClick(dialog->findChild<QPushButton*>("cmdCancel"), Qt::LeftButton);
                break;
            }
            auto* code = dialog->findChild<QLineEdit*>("txtCode");
            code->selectAll();
            QTest::keyClicks(code, step);
            QTest::mouseClick(dialog->findChild<QPushButton*>("cmdInstall"), Qt::LeftButton);
        }
        done = true;
    }

    void InstallOld()
    {
        QDir().mkpath(m_exams + "/OLD");
        Exam exam;
        exam.SetCode("OLD");
        exam.SetName("Old exam");
        exam.Questions().Add()->Choices().Add()->SetIsSolution(true);
        exam.Save(m_exams + "/OLD/OLD.exam");
        QFile marker(m_exams + "/OLD/old-only.gif");
        QVERIFY(marker.open(QIODevice::WriteOnly));
    }

    std::unique_ptr<QTemporaryDir> m_home;
    QString m_exams;
};

QTEST_MAIN(frmImportTest)
#include "frmImportTest.moc"
