#include "common/TestUtil.h"
#include "shell/Common.h"
#include "shell/MessageSeam.h"

#include <QFile>
#include <QLabel>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

class ShellCommonTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void showMessage();
    void columnWidths_data();
    void columnWidths();
    void sizeColumnsOnList();
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

void ShellCommonTest::launchBrowser()
{
    QTemporaryDir bin;
    const auto restorePath = qScopeGuard([path = qgetenv("PATH")] { qputenv("PATH", path); });
    const QString record = bin.filePath("opened.txt");
    QVERIFY(TestUtil::WriteRecordingTool(bin.path(), "xdg-open", record));
    qputenv("PATH", bin.path().toUtf8() + ":/usr/bin:/bin");
    const QString url = "https://www.practorium.example/Products.asp?a=1&b=two words";
    LaunchBrowser(url);
    QTRY_VERIFY(QFile::exists(record));
    QFile opened(record);
    QVERIFY(opened.open(QIODevice::ReadOnly));
    QCOMPARE(QString::fromUtf8(opened.readAll()), url);
    QVERIFY(!QFile::exists(QDir(QDir::tempPath()).filePath("temp.htm")));

    QFile::remove(bin.filePath("xdg-open"));
    qputenv("PATH", bin.path().toUtf8());
    LaunchBrowser(url);
    const auto shown = MessageSeam::TakeShown();
    QCOMPARE(shown.size(), 1); // and nothing for the successful launch
    QCOMPARE(shown[0].Text, QString("Unable to launch the browser"));
    QCOMPARE(shown[0].Style, 48);
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
