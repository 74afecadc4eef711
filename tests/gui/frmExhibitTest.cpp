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
    // Pictures are looked up beside the exam file, which lies in pack/.
    QString PicturePath(const QString& name) const { return m_dir->filePath(QStringLiteral("pack/") + name); }
    bool SavePicture(const QString& name, const char* format) const
    {
        QImage picture(40, 30, QImage::Format_RGB32);
        picture.fill(Qt::blue);
        return picture.save(PicturePath(name), format);
    }

    std::unique_ptr<QTemporaryDir> m_dir;
};

void frmExhibitTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir(m_dir->path()).mkpath(QStringLiteral("pack")));
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
    QTest::addColumn<QList<int>>("picture"); // width, height, screen height
    // Window width and height, viewport left and height, button left and top,
    // scroll range and small change.
    QTest::addColumn<QList<int>>("expected");
    // 70 % of 10000: 7000 high is shown whole, 7015 (one pixel more) scrolls.
    QTest::newRow("exactly the limit") << QList { 3000, 7000, 10000 }
                                       << QList { 3200, 7925, 100, 7000, 992, 7150, 0, 0 };
    QTest::newRow("just above the limit") << QList { 3000, 7015, 10000 }
                                          << QList { 3455, 7925, 100, 7000, 1120, 7150, 15, 700 };
    // 768 pixels: the limit, 537.6 pixels, falls between whole pixels.
    QTest::newRow("limit between pixels") << QList { 3000, 8070, 11520 }
                                          << QList { 3455, 8989, 100, 8064, 1120, 8214, 6, 806 };
    // Narrower than the button: the window keeps room for the whole button.
    QTest::newRow("one pixel") << QList { 15, 15, 10000 } << QList { 1415, 940, 700, 15, 100, 165, 0, 0 };
}

void frmExhibitTest::layout()
{
    QFETCH(QList<int>, picture);
    QFETCH(QList<int>, expected);
    const ExhibitLayout out = ExhibitGeometry::Layout(picture[0], picture[1], picture[2], 255, 1215, 375);
    QCOMPARE(out.Scrolls, expected[6] > 0);
    QCOMPARE(QList<int>({ out.WindowWidth, out.WindowHeight, out.Viewport.Left, out.Viewport.Height(),
                 out.CloseButton.Left, out.CloseButton.Top, out.ScrollMax, out.SmallChange }),
        expected);
}

void frmExhibitTest::loadsPicture_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("format"); // empty: the committed GIF (Qt cannot write GIF)
    QTest::newRow("bitmap") << "exhibit.bmp" << QByteArray("BMP");
    QTest::newRow("JPEG") << "exhibit.jpg" << QByteArray("JPG");
    QTest::newRow("GIF") << "exhibit.gif" << QByteArray();
    // Read by content, as the picture loader always has.
    QTest::newRow("PNG named .gif") << "exhibit.gif" << QByteArray("PNG");
}

void frmExhibitTest::loadsPicture()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, format);
    QVERIFY2(QImageReader::supportedImageFormats().contains("gif"), "the GIF plugin is missing");
    if (format.isEmpty())
        QVERIFY(QFile::copy(QStringLiteral(TEST_DATA_DIR "/exhibit.gif"), PicturePath(name)));
    else
        QVERIFY(SavePicture(name, format.constData()));

    frmExhibit window;
    window.SetExhibit(name);
    window.show();
    QCOMPARE(window.findChild<QLabel*>("picExhibit")->pixmap().size(), QSize(40, 30));
    // The whole picture is seen, the button below it.
    auto* close = window.findChild<QPushButton*>("cmdClose");
    QCOMPARE(window.findChild<QWidget*>("picClipper")->size(), QSize(40, 30));
    QVERIFY(!window.findChild<QScrollBar*>("vsbScroll")->isVisible());
    QCOMPARE(close->y(), 40);
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
    QVERIFY(SavePicture(QStringLiteral("good.bmp"), "BMP"));

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
    // The picture shown before stays.
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
    QVERIFY(qAbs(clipper->height() * 15 - viewportTwips) <= 15);
    QCOMPARE(scroll->geometry(), QRect(window.width() - scroll->width(), 0, scroll->width(), window.height()));

    QTest::keyClick(&window, Qt::Key_Down);
    QTest::keyClick(&window, Qt::Key_PageDown);
    QCOMPARE(scroll->value(), scroll->singleStep() + viewportTwips);
    // The end shows the picture's bottom edge at the viewport's bottom.
    QTest::keyClick(&window, Qt::Key_End);
    const QImage seen = clipper->grab().toImage();
    QCOMPARE(seen.pixelColor(100, seen.height() - 1), QColor(Qt::green));
    QCOMPARE(picture->y() + picture->height(), clipper->height());
    QTest::keyClick(&window, Qt::Key_Home);
    QCOMPARE(picture->y(), 0);
}

QTEST_MAIN(frmExhibitTest)
#include "frmExhibitTest.moc"
