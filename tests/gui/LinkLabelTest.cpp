#include "shell/LinkLabel.h"

#include "common/TestUtil.h"
#include "shell/MessageSeam.h"
#include "shell/Panel.h"
#include "shell/Resources.h"

#include <QApplication>
#include <QFile>
#include <QKeyEvent>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QVBoxLayout>

using TestUtil::ReadAll;

class LinkLabelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void linkFitsItsText_data();
    void linkFitsItsText();
    void defaultsAndRoundTrip();
    void activation_data();
    void activation();
    void clickOpensTrimmedAddress();
    void keyboardFocusIsVisible();
    void panelBorderOnEdges_data();
    void panelBorderOnEdges();
    void picturesLoad();

private:
    QByteArray m_path;
};

namespace {

bool IsLinkBlue(QRgb pixel)
{
    return qBlue(pixel) > 200 && qRed(pixel) < 90 && qGreen(pixel) < 90;
}

int BluePixelsInRow(const QImage& image, int y)
{
    int count = 0;
    for (int x = 0; x < image.width(); ++x)
        count += IsLinkBlue(image.pixel(x, y)) ? 1 : 0;
    return count;
}

} // namespace

void LinkLabelTest::init()
{
    MessageSeam::Intercept(true);
    m_path = qgetenv("PATH");
}

void LinkLabelTest::cleanup()
{
    qputenv("PATH", m_path);
    MessageSeam::Intercept(false);
}

void LinkLabelTest::linkFitsItsText_data()
{
    QTest::addColumn<QString>("caption");
    QTest::addColumn<int>("containerPointSize"); // 0: the application's font

    QTest::newRow("short caption") << "Go" << 0;
    QTest::newRow("longer caption") << "Download exams you have bought from our web site" << 0;
    QTest::newRow("markup shown as typed") << "<b>bold</b> & co" << 0;
    QTest::newRow("container font grows") << "About" << 30;
}

void LinkLabelTest::linkFitsItsText()
{
    QFETCH(QString, caption);
    QFETCH(int, containerPointSize);
    QWidget form;
    LinkLabel* link = new LinkLabel(&form);
    link->SetCaption("x");
    link->SetCaption(caption);
    if (containerPointSize > 0) {
        QFont font = form.font();
        font.setPointSize(containerPointSize);
        form.setFont(font);
    }
    // Refitted at once, without being shown; the label rounds the font's
    // fractional metrics up.
    const QFontMetrics metrics(link->Font());
    QVERIFY(qAbs(link->width() - metrics.horizontalAdvance(caption)) <= 1);
    QVERIFY(qAbs(link->height() - metrics.height()) <= 1);
}

void LinkLabelTest::defaultsAndRoundTrip()
{
    LinkLabel link;
    link.setObjectName("lnkProducts");
    QCOMPARE(link.Caption(), QString("lnkProducts"));
    // The underline is a blue row across (almost) the whole text.
    const QImage image = link.grab().toImage();
    int bluest = 0;
    for (int y = 0; y < image.height(); ++y)
        bluest = qMax(bluest, BluePixelsInRow(image, y));
    QVERIFY2(bluest >= image.width() * 9 / 10, qPrintable(QString::number(bluest)));

    link.SetCaption("Products");
    link.SetForeColor(Qt::darkGreen);
    QVariantMap store;
    link.WriteProperties(store);
    LinkLabel copy;
    copy.ReadProperties(store);
    QCOMPARE(copy.ForeColor(), QColor(Qt::darkGreen));
    QVERIFY(copy.Font().underline());
    QCOMPARE(copy.size(), link.size());
}

void LinkLabelTest::activation_data()
{
    const QString address = "https://www.practorium.example/Products.asp";
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("href");
    QTest::addColumn<int>("clicks");
    QTest::addColumn<int>("launches");

    QTest::newRow("left click") << "click" << address << 1 << 1;
    QTest::newRow("right click") << "right" << address << 0 << 0;
    QTest::newRow("Return") << "return" << address << 1 << 1;
    QTest::newRow("keypad Enter") << "enter" << address << 1 << 1;
    QTest::newRow("Space") << "space" << address << 1 << 1;
    QTest::newRow("held Space repeats") << "repeat" << address << 0 << 0;
    QTest::newRow("released off the text") << "dragoff" << address << 0 << 0;
    QTest::newRow("disabled") << "disabled" << address << 0 << 0;
    QTest::newRow("no address") << "click" << QString() << 1 << 0;
    QTest::newRow("address of spaces") << "click" << "    " << 1 << 0;
}

void LinkLabelTest::activation()
{
    QFETCH(QString, action);
    QFETCH(QString, href);
    QFETCH(int, clicks);
    QFETCH(int, launches);
    // With no opener on the path every launch shows a box at once, so the
    // boxes count the launches without waiting for a process.
    QTemporaryDir empty;
    qputenv("PATH", empty.path().toUtf8());
    LinkLabel link;
    link.SetCaption("Products");
    link.SetHRef(href);
    QSignalSpy clicked(&link, &LinkLabel::clicked);
    const QPoint inside(link.width() / 2, link.height() / 2);

    if (action == "click") {
        QTest::mouseClick(&link, Qt::LeftButton, {}, inside);
    } else if (action == "right") {
        QTest::mouseClick(&link, Qt::RightButton, {}, inside);
    } else if (action == "return") {
        QTest::keyClick(&link, Qt::Key_Return);
    } else if (action == "enter") {
        QTest::keyClick(&link, Qt::Key_Enter, Qt::KeypadModifier);
    } else if (action == "space") {
        QTest::keyClick(&link, Qt::Key_Space);
    } else if (action == "repeat") {
        QKeyEvent repeat(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier, " ", true);
        QApplication::sendEvent(&link, &repeat);
    } else if (action == "dragoff") {
        QTest::mousePress(&link, Qt::LeftButton, {}, inside);
        QTest::mouseRelease(&link, Qt::LeftButton, {}, QPoint(link.width() + 20, inside.y()));
    } else if (action == "disabled") {
        link.SetEnabled(false);
        QTest::mouseClick(&link, Qt::LeftButton, {}, inside);
        QTest::keyClick(&link, Qt::Key_Return);
    }
    QCOMPARE(clicked.count(), clicks);
    QCOMPARE(MessageSeam::TakeShown().size(), launches);
}

void LinkLabelTest::clickOpensTrimmedAddress()
{
    // A stand-in opener that records the address it was given.
    QTemporaryDir bin;
    const QByteArray record = bin.filePath("opened.txt").toUtf8();
    QFile opener(bin.filePath("xdg-open"));
    QVERIFY(opener.open(QIODevice::WriteOnly));
    opener.write("#!/bin/sh\nprintf '%s' \"$1\" > '" + record + ".part' && mv '" + record + ".part' '" + record
        + "'\n");
    opener.close();
    opener.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    qputenv("PATH", bin.path().toUtf8() + ":/usr/bin:/bin");

    LinkLabel link;
    link.SetHRef("  https://www.practorium.example/Products.asp?a=1 b  ");
    QTest::mouseClick(&link, Qt::LeftButton, {}, QPoint(2, 2));
    QTRY_VERIFY(QFile::exists(record));
    QCOMPARE(ReadAll(record), QByteArray("https://www.practorium.example/Products.asp?a=1 b"));
    QVERIFY(MessageSeam::TakeShown().isEmpty());
}

void LinkLabelTest::keyboardFocusIsVisible()
{
    QWidget form;
    QVBoxLayout* layout = new QVBoxLayout(&form);
    QLineEdit* edit = new QLineEdit(&form);
    LinkLabel* link = new LinkLabel(&form);
    link->SetCaption("Download");
    layout->addWidget(edit);
    layout->addWidget(link);
    form.show();
    QVERIFY(QTest::qWaitForWindowActive(&form));
    edit->setFocus();
    // The text stays clear of the top row; the dotted ring runs along it.
    QCOMPARE(BluePixelsInRow(link->grab().toImage(), 0), 0);

    QTest::keyClick(edit, Qt::Key_Tab);
    QVERIFY(link->hasFocus());
    QVERIFY(BluePixelsInRow(link->grab().toImage(), 0) >= link->width() / 3);
}

void LinkLabelTest::panelBorderOnEdges_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QColor>("border"); // invalid: the system colour
    QTest::addColumn<QColor>("back");

    QTest::newRow("system colours") << QSize(120, 60) << QColor() << QColor();
    QTest::newRow("smallest with an inside") << QSize(3, 3) << QColor(Qt::red) << QColor(Qt::yellow);
    QTest::newRow("wide strip") << QSize(400, 4) << QColor(Qt::blue) << QColor(Qt::white);
}

void LinkLabelTest::panelBorderOnEdges()
{
    QFETCH(QSize, size);
    QFETCH(QColor, border);
    QFETCH(QColor, back);
    Panel panel;
    panel.SetBorderColor(border);
    panel.SetBackColor(back);
    panel.resize(500, 500);
    panel.show();
    panel.resize(size);
    const QRgb borderPixel = (border.isValid() ? border : panel.palette().color(QPalette::WindowText)).rgb();
    const QRgb backPixel = (back.isValid() ? back : panel.palette().color(QPalette::Window)).rgb();
    QVERIFY(borderPixel != backPixel);

    const QImage image = panel.grab().toImage();
    QCOMPARE(image.size(), size);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            const bool onEdge = x == 0 || y == 0 || x == size.width() - 1 || y == size.height() - 1;
            const QRgb expected = onEdge ? borderPixel : backPixel;
            if (image.pixel(x, y) != expected)
                QFAIL(qPrintable(QString("pixel %1,%2 is %3").arg(x).arg(y).arg(image.pixel(x, y), 8, 16)));
        }
    }
}

void LinkLabelTest::picturesLoad()
{
    InitResources();
    const QPixmap logo(":/Logo");
    QVERIFY(!logo.isNull());
    // The high-density logo is the same picture at twice the size.
    QCOMPARE(QPixmap(":/Logo@2x").size(), logo.size() * 2);
    QVERIFY(!QPixmap(":/PRINTABLE_LOGO").isNull());
    for (const char* icon : { ":/icons/Checked", ":/icons/Incomplete", ":/icons/Complete" })
        QVERIFY2(QPixmap(icon).size() == QSize(16, 16), icon);
}

QTEST_MAIN(LinkLabelTest)
#include "LinkLabelTest.moc"
