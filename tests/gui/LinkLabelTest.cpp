#include "shell/LinkLabel.h"

#include "common/TestUtil.h"
#include "shell/MessageSeam.h"
#include "shell/Panel.h"
#include "shell/Resources.h"

#include <QAccessible>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

class LinkLabelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        MessageSeam::Intercept(true);
        m_path = qgetenv("PATH");
    }

    void cleanup() { qputenv("PATH", m_path); }

    void linkFitsItsText_data()
    {
        QTest::addColumn<QString>("caption");
        QTest::addColumn<int>("containerPointSize"); // set after the caption
        QTest::newRow("longer caption") << "Download exams you have bought from our web site" << 12;
        QTest::newRow("markup shown as typed") << "<b>bold</b> & co" << 12;
        QTest::newRow("large container font") << "About" << 30;
    }

    void linkFitsItsText()
    {
        QFETCH(QString, caption);
        QFETCH(int, containerPointSize);
        QWidget form;
        LinkLabel* link = new LinkLabel(&form);
        link->SetCaption("x");
        link->SetCaption(caption);
        QFont font = form.font();
        font.setPointSize(containerPointSize);
        form.setFont(font);
        // Refitted at once, without being shown; the label rounds the font's
        // fractional metrics up.
        const QFontMetrics metrics(link->Font());
        QVERIFY(qAbs(link->width() - metrics.horizontalAdvance(caption)) <= 1);
        QVERIFY(qAbs(link->height() - metrics.height()) <= 1);
    }

    void defaultsAndRoundTrip()
    {
        LinkLabel link;
        link.setObjectName("lnkProducts");
        QCOMPARE(link.Caption(), QString("lnkProducts"));
        // The underline is a blue row across (almost) the whole text.
        const QImage image = link.grab().toImage();
        const auto isBlue = [](QColor c) { return c.blue() > 200 && c.red() < 90 && c.green() < 90; };
        int bluest = 0;
        for (int y = 0; y < image.height(); ++y) {
            int blue = 0;
            for (int x = 0; x < image.width(); ++x)
                blue += isBlue(image.pixelColor(x, y)) ? 1 : 0;
            bluest = qMax(bluest, blue);
        }
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
        store.remove("Caption");
        copy.ReadProperties(store);
        QCOMPARE(copy.Caption(), QString("LinkLabel"));
    }

    void activation_data()
    {
        const QString address = "https://www.practorium.example/Products.asp";
        QTest::addColumn<QString>("href");
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<int>("key"); // pressed, 0 for none
        QTest::addColumn<int>("button"); // clicked on the text, 0 for none
        QTest::addColumn<bool>("press"); // a screen reader's press action
        QTest::addColumn<int>("clicks");
        QTest::addColumn<int>("launches");
        QTest::newRow("left click") << address << true << 0 << int(Qt::LeftButton) << false << 1 << 1;
        QTest::newRow("right click") << address << true << 0 << int(Qt::RightButton) << false << 0 << 0;
        QTest::newRow("Return") << address << true << int(Qt::Key_Return) << 0 << false << 1 << 1;
        QTest::newRow("Space") << address << true << int(Qt::Key_Space) << 0 << false << 1 << 1;
        QTest::newRow("disabled") << address << false << int(Qt::Key_Return) << int(Qt::LeftButton) << false << 0 << 0;
        QTest::newRow("address of spaces") << "    " << true << 0 << int(Qt::LeftButton) << false << 1 << 0;
        QTest::newRow("press action") << address << true << 0 << 0 << true << 1 << 1;
        QTest::newRow("press action, disabled") << address << false << 0 << 0 << true << 0 << 0;
    }

    void activation()
    {
        QFETCH(QString, href);
        QFETCH(bool, enabled);
        QFETCH(int, key);
        QFETCH(int, button);
        // With no opener on the path every launch shows a box at once, so the
        // boxes count the launches without waiting for a process.
        QTemporaryDir empty;
        qputenv("PATH", empty.path().toUtf8());
        LinkLabel link;
        link.SetHRef(href);
        link.SetEnabled(enabled);
        QSignalSpy clicked(&link, &LinkLabel::clicked);
        if (key)
            QTest::keyClick(&link, Qt::Key(key));
        if (button)
            QTest::mouseClick(&link, Qt::MouseButton(button), {}, QPoint(link.width() / 2, link.height() / 2));
        QFETCH(bool, press);
        if (press) {
            // A link named by its caption, as a screen reader lists it.
            link.SetCaption("More exams online");
            QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(&link);
            QVERIFY(accessible && accessible->role() == QAccessible::Link);
            QCOMPARE(accessible->text(QAccessible::Name), QString("More exams online"));
            accessible->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
            QCOMPARE(clicked.count(), 0); // answered first, then pressed
            QCoreApplication::processEvents();
        }
        QTEST(int(clicked.count()), "clicks");
        QTEST(int(MessageSeam::TakeShown().size()), "launches");
    }

    void clickOpensTrimmedAddress()
    {
        // A stand-in opener that records the address it was given.
        QTemporaryDir bin;
        const QString record = bin.filePath("opened.txt");
        QVERIFY(TestUtil::WriteRecordingTool(bin.path(), "xdg-open", record));
        qputenv("PATH", bin.path().toUtf8() + ":/usr/bin:/bin");

        LinkLabel link;
        link.SetHRef("  https://www.practorium.example/Products.asp?a=1 b  ");
        QTest::mouseClick(&link, Qt::LeftButton, {}, QPoint(2, 2));
        QTRY_COMPARE(TestUtil::ReadAll(record), QByteArray("https://www.practorium.example/Products.asp?a=1 b"));
        QVERIFY(MessageSeam::TakeShown().isEmpty());
    }

    void panelBorderOnEdges_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QColor>("border"); // invalid: the system colour
        QTest::addColumn<QColor>("back");
        QTest::newRow("system colours") << QSize(120, 60) << QColor() << QColor();
        QTest::newRow("smallest with an inside") << QSize(3, 3) << QColor(Qt::red) << QColor(Qt::yellow);
    }

    void panelBorderOnEdges()
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
                if (image.pixel(x, y) != (onEdge ? borderPixel : backPixel))
                    QFAIL(qPrintable(QString("pixel %1,%2 is %3").arg(x).arg(y).arg(image.pixel(x, y), 8, 16)));
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

QTEST_MAIN(LinkLabelTest)
#include "LinkLabelTest.moc"
