#include "common/GuiUtil.h"
#include "common/TestUtil.h"
#include "shell/Common.h"
#include "shell/LinkLabel.h"
#include "shell/Panel.h"
#include "shell/Resources.h"

#include <QtTest>
#include <QtWidgets>

#include <sys/stat.h>

using namespace GuiUtil;

// The shell's common seams and controls: message boxes, list columns, the
// browser launch behind a link, the link label and the bordered panel.
class ShellCommonTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        MessageSeam::Intercept(true);
        m_path = qgetenv("PATH");
    }

    void cleanup() { qputenv("PATH", m_path); }

    // Only "{CRLF}" in capitals breaks a line; answers come from the queue,
    // then the first button.
    void showMessage()
    {
        QCOMPARE(ShowMessage("{1}{crlf}{CRLF}{2}", 48, { "a", "b" }), int(MessageSeam::OK));
        QCOMPARE(ShowMessage(""), 0);
        MessageSeam::SetNextAnswer(MessageSeam::No);
        QVERIFY(ShowMessage("Are you sure?", 36) == 7 && ShowMessage("Again?", 36) == 6);
        const auto shown = MessageSeam::TakeShown();
        QVERIFY(shown.size() == 3 && shown[0].Text == "a{crlf}\r\nb" && shown[0].Style == 48 && shown[0].Caption == "Practorium");
    }

    void columnWidths()
    {
        QCOMPARE(ColumnWidths(1000.f, { 50, 50 }), QList<float>({ 450, 500 })); // the first of equals narrowed
        QCOMPARE(ColumnWidths(1000.f, { 0, 0 }), QList<float>({ 0, 0 }));
        QCOMPARE(ColumnWidths(1001.f, { 10, 90 }), QList<float>({ 100.1f, 850.9f }));
        QTreeWidget list;
        list.setColumnCount(2);
        list.resize(600, 100);
        SetColumnTag(&list, 0, 10);
        SetColumnTag(&list, 1, 90);
        SizeColumns(&list);
        QVERIFY(list.columnWidth(0) == 60 && list.columnWidth(1) == 537); // of 9000 twips: 900 and 8100 - 50
    }

    void launchBrowser_data()
    {
        QTest::addColumn<QString>("planted"); // what another user left as temp.htm in the shared folder
        QTest::addColumn<bool>("opener"); // whether xdg-open is on the PATH
        QTest::addColumn<QString>("box"); // the one box shown, empty for none
        QTest::newRow("nothing planted") << "" << true << "";
        QTest::newRow("file planted") << "file" << true << "";
        QTest::newRow("link planted") << "link" << true << "";
        QTest::newRow("link planted, no opener") << "link" << false << "48:Unable to launch the browser";
        QTest::newRow("temporary folder missing")
            << "missing" << true << "0:Cannot launch browser because an error occured writing to temporary file.";
    }

    // A link's address, trimmed, reaches the opener. The stand-in page never
    // lands in the shared temporary folder: what another user planted there
    // stays as it was, and the launch goes on.
    void launchBrowser()
    {
        QFETCH(QString, planted);
        QFETCH(bool, opener);
        QTemporaryDir bin, shared;
        const auto restore = qScopeGuard([tmp = qgetenv("TMPDIR")] { qputenv("TMPDIR", tmp); });
        const QString record = bin.filePath("opened.txt");
        if (opener)
            QVERIFY(TestUtil::WriteRecordingTool(bin.path(), "xdg-open", record));
        qputenv("PATH", bin.path().toUtf8() + (opener ? ":/usr/bin:/bin" : ""));
        const QString theirs = TestUtil::WriteFile(shared.filePath("theirs.txt"), "not yours");
        const QString page = shared.filePath("temp.htm");
        if (planted == "file")
            QVERIFY(QFile::copy(theirs, page));
        else if (planted == "link")
            QVERIFY(QFile::link(theirs, page));
        qputenv("TMPDIR", QFile::encodeName(planted == "missing" ? shared.filePath("gone") : shared.path()));
        const QStringList before = QDir(shared.path()).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
        if (planted != "missing") { // a private folder, made 0700
            const BrowserPage stand;
            const QFileInfo folder(QFileInfo(stand.Path()).path());
            struct stat status {};
            QVERIFY(folder.dir().path() == shared.path() && ::lstat(QFile::encodeName(folder.filePath()).constData(), &status) == 0);
            QVERIFY((status.st_mode & 07777) == 0700 && TestUtil::ReadAll(stand.Path()) == "<HTML></HTML>\n");
        }
        const QString url = "https://www.practorium.example/Products.asp?a=1&b=two words";
        LinkLabel link;
        link.SetHRef("  " + url + "  ");
        QTest::mouseClick(&link, Qt::LeftButton, {}, QPoint(2, 2));
        QTEST(Shown().join('|'), "box");
        if (opener && planted != "missing")
            QTRY_COMPARE(QString::fromUtf8(TestUtil::ReadAll(record)), url);
        QCOMPARE(QDir(shared.path()).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot), before);
        QCOMPARE(TestUtil::ReadAll(theirs), QByteArray("not yours"));
        if (planted == "file" || planted == "link")
            QVERIFY(QFileInfo(page).isSymLink() == (planted == "link") && TestUtil::ReadAll(page) == "not yours");
    }

    // Refitted at once, without being shown, to the caption in the
    // container's font; its properties round-trip.
    void linkFitsItsText()
    {
        for (const auto& [caption, points] : { std::pair { "Download exams you have bought from our web site", 12 },
                 std::pair { "<b>bold</b> & co", 12 }, std::pair { "About", 30 } }) {
            QWidget form;
            LinkLabel* link = new LinkLabel(&form);
            link->SetCaption("x");
            link->SetCaption(caption);
            QFont font = form.font();
            font.setPointSize(points); // after the caption
            form.setFont(font);
            const QFontMetrics metrics(link->Font()); // rounded up from fractional metrics
            QVERIFY2(qAbs(link->width() - metrics.horizontalAdvance(caption)) <= 1 && qAbs(link->height() - metrics.height()) <= 1, caption);
        }
        LinkLabel link, copy;
        link.SetForeColor(Qt::darkGreen);
        QVariantMap store;
        link.WriteProperties(store);
        store.remove("Caption"); // the default then
        copy.ReadProperties(store);
        QVERIFY(copy.ForeColor() == QColor(Qt::darkGreen) && copy.Font().underline() && copy.Caption() == "LinkLabel");
    }

    void linkActivation_data()
    {
        const QString address = "https://www.practorium.example/Products.asp";
        QTest::addColumn<QString>("href");
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<int>("key"); // pressed, 0 for none
        QTest::addColumn<int>("button"); // clicked on the text, 0 for none
        QTest::addColumn<int>("clicks");
        QTest::addColumn<int>("launches");
        QTest::newRow("left click") << address << true << 0 << int(Qt::LeftButton) << 1 << 1;
        QTest::newRow("right click") << address << true << 0 << int(Qt::RightButton) << 0 << 0;
        QTest::newRow("Return") << address << true << int(Qt::Key_Return) << 0 << 1 << 1;
        QTest::newRow("Space") << address << true << int(Qt::Key_Space) << 0 << 1 << 1;
        QTest::newRow("disabled") << address << false << int(Qt::Key_Return) << int(Qt::LeftButton) << 0 << 0;
        QTest::newRow("address of spaces") << "    " << true << 0 << int(Qt::LeftButton) << 1 << 0;
        QTest::newRow("press action") << address << true << 0 << 0 << 1 << 1;
        QTest::newRow("press action, disabled") << address << false << 0 << 0 << 0 << 0;
    }

    void linkActivation()
    {
        QFETCH(int, key);
        QFETCH(int, button);
        // With no opener on the path every launch shows a box at once, so the
        // boxes count the launches without waiting for a process.
        QTemporaryDir empty;
        qputenv("PATH", empty.path().toUtf8());
        LinkLabel link;
        link.SetHRef(Data<QString>("href"));
        link.SetEnabled(Data<bool>("enabled"));
        link.SetCaption("More exams online");
        QSignalSpy clicked(&link, &LinkLabel::clicked);
        if (key)
            QTest::keyClick(&link, Qt::Key(key));
        if (button)
            QTest::mouseClick(&link, Qt::MouseButton(button), {}, QPoint(link.width() / 2, link.height() / 2));
        if (!key && !button) { // a screen reader's press: named by the caption; answered first, then pressed
            QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(&link);
            QVERIFY(accessible->role() == QAccessible::Link && accessible->text(QAccessible::Name) == "More exams online");
            accessible->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
            QCOMPARE(clicked.count(), 0);
            QCoreApplication::processEvents();
        }
        QTEST(int(clicked.count()), "clicks");
        QTEST(int(Shown().size()), "launches");
    }

    // The border on the outermost pixels only, down to the smallest panel
    // with an inside; system colours when none are set.
    void panelBorderOnEdges()
    {
        for (const auto& [size, border, back] : { std::tuple { QSize(120, 60), QColor(), QColor() },
                 std::tuple { QSize(3, 3), QColor(Qt::red), QColor(Qt::yellow) } }) {
            Panel panel;
            panel.SetBorderColor(border);
            panel.SetBackColor(back);
            panel.resize(500, 500);
            panel.show();
            panel.resize(size);
            const QRgb borderPixel = (border.isValid() ? border : panel.palette().color(QPalette::WindowText)).rgb();
            const QRgb backPixel = (back.isValid() ? back : panel.palette().color(QPalette::Window)).rgb();
            const QImage image = panel.grab().toImage();
            QVERIFY(borderPixel != backPixel && image.size() == size);
            for (int y = 0; y < size.height(); ++y) {
                for (int x = 0; x < size.width(); ++x) {
                    const bool onEdge = x == 0 || y == 0 || x == size.width() - 1 || y == size.height() - 1;
                    if (image.pixel(x, y) != (onEdge ? borderPixel : backPixel))
                        QFAIL(qPrintable(QString("pixel %1,%2 is %3").arg(x).arg(y).arg(image.pixel(x, y), 8, 16)));
                }
            }
        }
    }

    void picturesLoad()
    {
        InitResources();
        for (auto name : { ":/Logo", ":/PRINTABLE_LOGO", ":/icons/Checked", ":/icons/Incomplete", ":/icons/Complete" })
            QVERIFY2(!QPixmap(name).isNull(), name);
    }

private:
    QByteArray m_path;
};

QTEST_MAIN(ShellCommonTest)
#include "ShellCommonTest.moc"
