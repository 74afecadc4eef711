#include "common/TestUtil.h"
#include "shell/Common.h"
#include "shell/MessageSeam.h"

#include <QFile>
#include <QLabel>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

#include <sys/stat.h>

class ShellCommonTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void showMessage();
    void columnWidths_data();
    void columnWidths();
    void sizeColumnsOnList();
    void launchBrowser_data();
    void launchBrowser();
    void placement();
};

void ShellCommonTest::initTestCase()
{
    MessageSeam::Intercept(true);
}

// Only "{CRLF}" in capitals breaks a line in a message box.
void ShellCommonTest::showMessage()
{
    const QString tmpl = "{1}{crlf}{CRLF}{2}";
    QCOMPARE(FormatText(tmpl, { "a", "b" }), QString("a\r\n\r\nb"));
    QCOMPARE(ShowMessage(tmpl, 48, { "a", "b" }), int(MessageSeam::OK));
    QCOMPARE(ShowMessage(""), 0);
    MessageSeam::SetNextAnswer(MessageSeam::No);
    QCOMPARE(ShowMessage("Are you sure?", 36), 7);
    QCOMPARE(ShowMessage("Again?", 36), 6); // queue empty: the first button
    const auto shown = MessageSeam::TakeShown();
    QCOMPARE(shown.size(), 3);
    QCOMPARE(shown[0].Text, QString("a{crlf}\r\nb"));
    QCOMPARE(shown[0].Style, 48);
    QCOMPARE(shown[0].Caption, QString("Practorium"));
}

void ShellCommonTest::columnWidths_data()
{
    QTest::addColumn<float>("width");
    QTest::addColumn<QList<float>>("percents");
    QTest::addColumn<QList<float>>("expected");
    QTest::newRow("first of equals narrowed") << 1000.f << QList<float> { 50, 50 } << QList<float> { 450, 500 };
    QTest::newRow("all zero: none narrowed") << 1000.f << QList<float> { 0, 0 } << QList<float> { 0, 0 };
    QTest::newRow("fractions kept") << 1001.f << QList<float> { 10, 90 } << QList<float> { 100.1f, 850.9f };
}

void ShellCommonTest::columnWidths()
{
    QFETCH(float, width);
    QFETCH(QList<float>, percents);
    QTEST(ColumnWidths(width, percents), "expected");
}

void ShellCommonTest::sizeColumnsOnList()
{
    QTreeWidget list;
    list.setColumnCount(2);
    list.resize(600, 100);
    SetColumnTag(&list, 0, 10);
    SetColumnTag(&list, 1, 90);
    SizeColumns(&list);
    // 9000 twips: 900 and 8100 - 50 twips, in pixels.
    QCOMPARE(list.columnWidth(0), 60);
    QCOMPARE(list.columnWidth(1), 537);
}

void ShellCommonTest::launchBrowser_data()
{
    QTest::addColumn<QString>("planted"); // what another user left as temp.htm in the shared folder
    QTest::addColumn<bool>("opener");     // whether xdg-open is on the PATH
    QTest::addColumn<QString>("box");     // the one box shown, empty for none
    QTest::newRow("nothing planted") << "" << true << "";
    QTest::newRow("file planted") << "file" << true << "";
    QTest::newRow("link planted") << "link" << true << "";
    QTest::newRow("link planted, no opener") << "link" << false << "48:Unable to launch the browser";
    QTest::newRow("temporary folder missing")
        << "missing" << true << "0:Cannot launch browser because an error occured writing to temporary file.";
}

// The stand-in page never lands in the shared temporary folder: whatever
// another user planted there stays as it was, and the launch goes on.
void ShellCommonTest::launchBrowser()
{
    QFETCH(QString, planted);
    QFETCH(bool, opener);
    QTemporaryDir bin, shared;
    const auto restore = qScopeGuard([path = qgetenv("PATH"), tmp = qgetenv("TMPDIR")] {
        qputenv("PATH", path);
        qputenv("TMPDIR", tmp);
    });
    const QString record = bin.filePath("opened.txt");
    if (opener)
        QVERIFY(TestUtil::WriteRecordingTool(bin.path(), "xdg-open", record));
    qputenv("PATH", bin.path().toUtf8() + (opener ? ":/usr/bin:/bin" : ""));
    const QString theirs = shared.filePath("theirs.txt");
    const QString page = shared.filePath("temp.htm");
    QFile file(theirs);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("not yours") == 9);
    file.close();
    if (planted == "file")
        QVERIFY(QFile::copy(theirs, page));
    else if (planted == "link")
        QVERIFY(QFile::link(theirs, page));
    qputenv("TMPDIR", QFile::encodeName(planted == "missing" ? shared.filePath("gone") : shared.path()));
    const QStringList before = QDir(shared.path()).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);

    if (planted != "missing") {
        const BrowserPage stand;
        const QFileInfo folder(QFileInfo(stand.Path()).path());
        QCOMPARE(folder.dir().path(), shared.path());
        struct stat status {};
        QCOMPARE(::lstat(QFile::encodeName(folder.filePath()).constData(), &status), 0);
        QCOMPARE(status.st_mode & 07777, mode_t(0700));
        QCOMPARE(TestUtil::ReadAll(stand.Path()), QByteArray("<HTML></HTML>\n"));
    }
    const QString url = "https://www.practorium.example/Products.asp?a=1&b=two words";
    LaunchBrowser(url);
    QStringList boxes;
    for (const MessageSeam::Shown& shown : MessageSeam::TakeShown())
        boxes << QString::number(shown.Style) + ":" + shown.Text;
    QTEST(boxes.join('|'), "box");
    if (opener && planted != "missing") {
        QTRY_VERIFY(QFile::exists(record));
        QCOMPARE(QString::fromUtf8(TestUtil::ReadAll(record)), url);
    }
    QCOMPARE(QDir(shared.path()).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot), before);
    QCOMPARE(TestUtil::ReadAll(theirs), QByteArray("not yours"));
    if (!planted.isEmpty() && planted != "missing") {
        QCOMPARE(QFileInfo(page).isSymLink(), planted == "link");
        QCOMPARE(TestUtil::ReadAll(page), QByteArray("not yours"));
    }
}

void ShellCommonTest::placement()
{
    QWidget container;
    container.resize(400, 300);
    QLabel control(&container);
    control.setGeometry(5, 40, 100, 20);
    CenterHorizontally(&container, &control);
    QCOMPARE(control.geometry(), QRect(150, 40, 100, 20));
    const TwipsRect area = GetWorkArea();
    const QRect pixels = QGuiApplication::primaryScreen()->availableGeometry();
    QCOMPARE(area.Width(), pixels.width() * 15);
    QCOMPARE(area.Height(), pixels.height() * 15);
}

QTEST_MAIN(ShellCommonTest)
#include "ShellCommonTest.moc"
