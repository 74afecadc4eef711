#include "model/Error.h"
#include "model/Exam.h"
#include "session/ExhibitGeometry.h"
#include "session/frmExhibit.h"
#include "shell/Globals.h"

#include <QDataStream>
#include <QDir>
#include <QImage>
#include <QImageReader>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <cmath>
#include <memory>

class frmExhibitTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void layout_data();
    void layout();
    void loadsPicture_data();
    void loadsPicture();
    void badFile_data();
    void badFile();
    void tallPictureScrolls();

private:
    QString PicturePath(const QString& name) const { return m_dir->filePath(QStringLiteral("pack/") + name); }
    bool SavePicture(const QString& name, QSize size, const char* format) const
    {
        QImage picture(size, QImage::Format_RGB32);
        picture.fill(Qt::blue);
        return picture.save(PicturePath(name), format);
    }

    std::unique_ptr<QTemporaryDir> m_dir;
};

void frmExhibitTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir(m_dir->path()).mkpath(QStringLiteral("pack")));
    // Pictures are looked up beside the exam file that was loaded.
    Exam written;
    written.Questions().Add()->Choices().Add()->SetIsSolution(true);
    written.Save(PicturePath(QStringLiteral("pack.exam")));
    CurrentExam() = std::make_shared<Exam>();
    CurrentExam()->Load(PicturePath(QStringLiteral("pack.exam")));
}

void frmExhibitTest::cleanup()
{
    CurrentExam().reset();
    m_dir.reset();
}

// Twips throughout, with a 255-wide scroll bar and a 1215 x 375 close button.
void frmExhibitTest::layout_data()
{
    for (const char* column : { "pictureWidth", "pictureHeight", "screenHeight", "windowWidth", "windowHeight",
             "viewportLeft", "viewportHeight", "buttonLeft", "buttonTop", "scrollMax", "smallChange" })
        QTest::addColumn<int>(column);
    QTest::addColumn<bool>("scrolls");

    QTest::newRow("just below the limit") << 3000 << 6985 << 10000 << 3200 << 7910 << 100 << 6985 << 992 << 7135
                                          << 0 << 0 << false;
    QTest::newRow("exactly the limit") << 3000 << 7000 << 10000 << 3200 << 7925 << 100 << 7000 << 992 << 7150
                                       << 0 << 0 << false;
    QTest::newRow("just above the limit") << 3000 << 7015 << 10000 << 3455 << 7925 << 100 << 7000 << 1120 << 7150
                                          << 15 << 700 << true;
    QTest::newRow("very tall") << 3000 << 300000 << 10000 << 3455 << 7925 << 100 << 7000 << 1120 << 7150 << 293000
                               << 700 << true;
    // 768 pixels: the limit, 537.6 pixels, falls between whole pixels.
    QTest::newRow("limit between pixels") << 3000 << 8070 << 11520 << 3455 << 8989 << 100 << 8064 << 1120 << 8214
                                          << 6 << 806 << true;
    QTest::newRow("wide") << 30000 << 1500 << 10000 << 30200 << 2425 << 100 << 1500 << 14492 << 1650 << 0 << 0
                          << false;
    // Narrower than the button: the window keeps room for the whole button.
    QTest::newRow("one pixel") << 15 << 15 << 10000 << 1415 << 940 << 700 << 15 << 100 << 165 << 0 << 0 << false;
}

void frmExhibitTest::layout()
{
    QFETCH(int, pictureWidth);
    QFETCH(int, pictureHeight);
    QFETCH(int, screenHeight);
    QFETCH(bool, scrolls);

    const ExhibitLayout layout = ExhibitGeometry::Layout(pictureWidth, pictureHeight, screenHeight, 255, 1215, 375);
    QCOMPARE(layout.Scrolls, scrolls);
    QTEST(layout.WindowWidth, "windowWidth");
    QTEST(layout.WindowHeight, "windowHeight");
    QCOMPARE(layout.Viewport.Top, 0);
    QTEST(layout.Viewport.Left, "viewportLeft");
    QCOMPARE(layout.Viewport.Width(), pictureWidth);
    QTEST(layout.Viewport.Height(), "viewportHeight");
    QTEST(layout.CloseButton.Left, "buttonLeft");
    QTEST(layout.CloseButton.Top, "buttonTop");
    if (scrolls) {
        QTEST(layout.ScrollMax, "scrollMax");
        QTEST(layout.SmallChange, "smallChange");
        QCOMPARE(layout.LargeChange, layout.Viewport.Height());
        QCOMPARE(layout.ScrollBar, (TwipsRect { layout.WindowWidth - 255, 0, layout.WindowWidth, layout.WindowHeight }));
    }
}

void frmExhibitTest::loadsPicture_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("format"); // empty: the committed GIF (Qt cannot write GIF)
    QTest::addColumn<QColor>("colour");

    QTest::newRow("bitmap") << "exhibit.bmp" << QByteArray("BMP") << QColor(Qt::blue);
    QTest::newRow("JPEG") << "exhibit.jpg" << QByteArray("JPG") << QColor(Qt::blue);
    QTest::newRow("GIF") << "exhibit.gif" << QByteArray() << QColor(Qt::red);
    // Read by content, as the picture loader always has.
    QTest::newRow("PNG named .gif") << "exhibit.gif" << QByteArray("PNG") << QColor(Qt::blue);
}

void frmExhibitTest::loadsPicture()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, format);
    QFETCH(QColor, colour);
    QVERIFY2(QImageReader::supportedImageFormats().contains("gif"), "the GIF plugin is missing");
    if (format.isEmpty())
        QVERIFY(QFile::copy(QStringLiteral(TEST_DATA_DIR "/exhibit.gif"), PicturePath(name)));
    else
        QVERIFY(SavePicture(name, QSize(40, 30), format.constData()));

    frmExhibit window;
    window.SetExhibit(name);
    window.show();
    QCOMPARE(window.Exhibit(), PicturePath(name));
    const QImage shown = window.findChild<QLabel*>("picExhibit")->pixmap().toImage();
    QCOMPARE(shown.size(), QSize(40, 30));
    const QColor centre = shown.pixelColor(20, 15);
    QVERIFY2(qAbs(centre.red() - colour.red()) + qAbs(centre.blue() - colour.blue()) < 30, qPrintable(centre.name()));

    // The whole picture is seen, the button 10 pixels below it.
    const auto* clipper = window.findChild<QWidget*>("picClipper");
    auto* close = window.findChild<QPushButton*>("cmdClose");
    QCOMPARE(clipper->size(), QSize(40, 30));
    QVERIFY(!window.findChild<QScrollBar*>("vsbScroll")->isVisible());
    QCOMPARE(close->y(), 40);
    QVERIFY(window.rect().contains(close->geometry()));
    QTest::mouseClick(close, Qt::LeftButton);
    QVERIFY(!window.isVisible());
}

void frmExhibitTest::badFile_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("bytes"); // null: nothing written
    QTest::addColumn<qint32>("number");
    QTest::addColumn<QString>("description");

    const QString invalid = QStringLiteral("Invalid picture");
    QTest::newRow("missing") << "missing.gif" << QByteArray() << qint32(ENOENT)
                             << QStringLiteral("System Error: 0x2\nNo such file or directory");
    QTest::newRow("folder") << "folder.bmp" << QByteArray() << qint32(EISDIR)
                            << QStringLiteral("System Error: 0x15\nIs a directory");
    QTest::newRow("empty") << "empty.gif" << QByteArray("") << ErrorNumber::InvalidPicture << invalid;
    QTest::newRow("text named .jpg") << "notes.jpg" << QByteArray("Not a picture at all.\n")
                                     << ErrorNumber::InvalidPicture << invalid;
    QFile gif(QStringLiteral(TEST_DATA_DIR "/exhibit.gif"));
    QVERIFY(gif.open(QIODevice::ReadOnly));
    QTest::newRow("GIF cut short") << "cut.gif" << gif.read(20) << ErrorNumber::InvalidPicture << invalid;
    // A bare bitmap header claiming 40,000 x 40,000 pixels: refused, nothing
    // allocated for it.
    QByteArray huge("BM");
    QDataStream out(&huge, QIODevice::Append);
    out.setByteOrder(QDataStream::LittleEndian);
    out << quint32(54) << quint32(0) << quint32(54) << quint32(40) << qint32(40000) << qint32(40000) << quint16(1)
        << quint16(24) << quint32(0) << quint32(0) << quint32(0) << quint32(0) << quint32(0) << quint32(0);
    QTest::newRow("huge size claimed") << "huge.bmp" << huge << ErrorNumber::InvalidPicture << invalid;
}

void frmExhibitTest::badFile()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, bytes);
    if (name == QLatin1String("folder.bmp"))
        QVERIFY(QDir().mkpath(PicturePath(name)));
    QFile file(PicturePath(name));
    if (!bytes.isNull())
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush());
    QVERIFY(SavePicture(QStringLiteral("good.bmp"), QSize(40, 30), "BMP"));

    frmExhibit window;
    window.SetExhibit(QStringLiteral("good.bmp"));
    const QSize before = window.size();
    try {
        window.SetExhibit(name);
        QFAIL("no error raised");
    } catch (const Error& e) {
        QTEST(e.Number(), "number");
        QCOMPARE(e.Source(), QStringLiteral("frmExhibit::SetExhibit()"));
        QTEST(e.Description(), "description");
    }
    // The failed path is remembered; the picture shown before stays.
    QCOMPARE(window.Exhibit(), PicturePath(name));
    QCOMPARE(window.findChild<QLabel*>("picExhibit")->pixmap().size(), QSize(40, 30));
    QCOMPARE(window.size(), before);
}

void frmExhibitTest::tallPictureScrolls()
{
    // Blue with a green band along the bottom edge.
    QImage tall(200, 20000, QImage::Format_RGB32);
    tall.fill(Qt::blue);
    for (int y = 19990; y < 20000; ++y)
        std::fill_n(reinterpret_cast<QRgb*>(tall.scanLine(y)), 200, qRgb(0, 255, 0));
    QVERIFY(tall.save(PicturePath(QStringLiteral("tall.png")), "PNG"));

    frmExhibit window;
    window.SetExhibit(QStringLiteral("tall.png"));
    window.show();
    window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    auto* scroll = window.findChild<QScrollBar*>("vsbScroll");
    const auto* picture = window.findChild<QLabel*>("picExhibit");
    auto* clipper = window.findChild<QWidget*>("picClipper");

    // The viewport is 70 % of the screen's height; the range covers the rest.
    const int viewportTwips = int(std::nearbyint(window.screen()->geometry().height() * 15 * 70 / 100.0));
    QVERIFY(scroll->isVisible());
    QCOMPARE(scroll->maximum(), 20000 * 15 - viewportTwips);
    QCOMPARE(scroll->pageStep(), viewportTwips);
    QVERIFY(qAbs(clipper->height() * 15 - viewportTwips) <= 15);
    QVERIFY(window.height() < window.screen()->geometry().height());
    QCOMPARE(scroll->geometry(), QRect(window.width() - scroll->width(), 0, scroll->width(), window.height()));

    QTest::keyClick(&window, Qt::Key_Down);
    QCOMPARE(scroll->value(), scroll->singleStep());
    QTest::keyClick(&window, Qt::Key_PageDown);
    QCOMPARE(scroll->value(), scroll->singleStep() + scroll->pageStep());
    QCOMPARE(picture->y(), -qRound(scroll->value() / 15.0));
    // The end shows the picture's bottom edge at the viewport's bottom.
    QTest::keyClick(&window, Qt::Key_End);
    QCOMPARE(picture->y() + picture->height(), clipper->height());
    const QImage seen = clipper->grab().toImage();
    QCOMPARE(seen.pixelColor(100, seen.height() - 1), QColor(Qt::green));
    QTest::keyClick(&window, Qt::Key_Home);
    QCOMPARE(picture->y(), 0);

    QTest::keyClick(&window, Qt::Key_Escape);
    QVERIFY(!window.isVisible());
}

QTEST_MAIN(frmExhibitTest)
#include "frmExhibitTest.moc"
