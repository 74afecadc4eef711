#include "common/GuiUtil.h"
#include "common/TestUtil.h"
#include "model/Error.h"
#include "model/Exam.h"
#include "session/ExhibitGeometry.h"
#include "session/frmExhibit.h"
#include "shell/Globals.h"

#include <QtTest>
#include <QtWidgets>

#include <cerrno>
#include <cmath>

using namespace GuiUtil;

namespace {

QByteArray Picture(const char* format, QSize size = QSize(40, 30))
{
    QImage picture(size, QImage::Format_RGB32);
    picture.fill(Qt::blue);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    return picture.save(&buffer, format) ? bytes : QByteArray();
}

} // namespace

class frmExhibitTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        CurrentExam() = std::make_shared<Exam>();
        CurrentExam()->Save(m_dir->filePath("pack.exam")); // pictures are looked up beside it
    }

    void cleanup() { CurrentExam().reset(); }

    // Twips throughout, with a 255-wide scroll bar and a 1215 x 375 close button.
    void layout_data()
    {
        QTest::addColumn<QList<int>>("picture"); // width, height, screen height
        QTest::addColumn<QList<int>>("expected"); // window size, viewport left and height, button place, scroll max, step
        // 70 % of 10000: 7000 high is shown whole, 7015 (one pixel more) scrolls.
        QTest::newRow("exactly the limit") << QList { 3000, 7000, 10000 } << QList { 3200, 7925, 100, 7000, 992, 7150, 0, 0 };
        QTest::newRow("just above the limit") << QList { 3000, 7015, 10000 } << QList { 3455, 7925, 100, 7000, 1120, 7150, 15, 700 };
        // 768 pixels: the limit, 537.6 pixels, falls between whole pixels.
        QTest::newRow("limit between pixels") << QList { 3000, 8070, 11520 } << QList { 3455, 8989, 100, 8064, 1120, 8214, 6, 806 };
        // Narrower than the button: the window keeps room for the whole button.
        QTest::newRow("one pixel") << QList { 15, 15, 10000 } << QList { 1415, 940, 700, 15, 100, 165, 0, 0 };
    }

    void layout()
    {
        QFETCH(QList<int>, picture);
        const ExhibitLayout out = ExhibitGeometry::Layout(picture[0], picture[1], picture[2], 255, 1215, 375);
        QTEST(QList<int>({ out.WindowWidth, out.WindowHeight, out.Viewport.Left, out.Viewport.Height(),
                  out.CloseButton.Left, out.CloseButton.Top, out.ScrollMax, out.SmallChange }), "expected");
    }

    void pictureFiles_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes"); // null: no file
        QTest::addColumn<qint32>("error"); // 0: none
        QTest::addColumn<QSize>("shown"); // whole and unscrolled; 20 x 10: the picture before stays
        const QByteArray gif = TestUtil::ReadAll(TEST_DATA_DIR "/exhibit.gif"); // Qt cannot write GIF
        const QSize whole(40, 30), before(20, 10);
        const qint32 invalid = ErrorNumber::InvalidPicture;
        QTest::newRow("bitmap") << "exhibit.bmp" << Picture("BMP") << 0 << whole;
        QTest::newRow("JPEG") << "exhibit.jpg" << Picture("JPG") << 0 << whole;
        QTest::newRow("GIF") << "exhibit.gif" << gif << 0 << whole;
        QTest::newRow("PNG named .gif: read by content") << "exhibit.gif" << Picture("PNG") << 0 << whole;
        QTest::newRow("missing") << "missing.gif" << QByteArray() << qint32(ENOENT) << before;
        QTest::newRow("empty") << "empty.gif" << QByteArray("") << invalid << before;
        QTest::newRow("text named .jpg") << "notes.jpg" << QByteArray("Not a picture at all.\n") << invalid << before;
        QTest::newRow("GIF cut short") << "cut.gif" << gif.left(20) << invalid << before;
        // A bare bitmap header claiming 40,000 x 40,000 pixels: refused unallocated.
        QByteArray huge("BM");
        QDataStream out(&huge, QIODevice::Append);
        out.setByteOrder(QDataStream::LittleEndian);
        out << quint32(54) << quint32(0) << quint32(54) << quint32(40) << qint32(40000) << qint32(40000) << quint16(1)
            << quint16(24) << quint32(0) << quint32(0) << quint32(0) << quint32(0) << quint32(0) << quint32(0);
        QTest::newRow("huge size claimed") << "huge.bmp" << huge << invalid << before;
    }

    void pictureFiles()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        TestUtil::WriteFile(m_dir->filePath("before.bmp"), Picture("BMP", QSize(20, 10)));
        if (!bytes.isNull())
            TestUtil::WriteFile(m_dir->filePath(name), bytes);
        frmExhibit window;
        window.SetExhibit("before.bmp");
        const Error error = TestUtil::Raised([&] { window.SetExhibit(name); });
        QTEST(error.Number(), "error");
        QCOMPARE(error.Source(), QString(error.Number() ? "frmExhibit::SetExhibit()" : ""));
        QTEST(Child<QLabel>(&window, "picExhibit")->pixmap().size(), "shown");
        QTEST(Child(&window, "picClipper")->size(), "shown");
        QVERIFY(Child(&window, "vsbScroll")->isHidden());
    }

    // The viewport is 70 % of the screen's available height in logical
    // pixels, whatever the scale factor (CTest runs this at 2 too); the range
    // covers the rest, the keys scroll, Close and Escape close.
    void tallPictureScrolls()
    {
        QImage tall(200, 20000, QImage::Format_RGB32);
        tall.fill(Qt::blue);
        QVERIFY(tall.save(m_dir->filePath("tall.png"), "PNG"));
        frmExhibit window;
        window.SetExhibit("tall.png");
        window.show();
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        auto* scroll = Child<QScrollBar>(&window, "vsbScroll");
        const auto* picture = Child(&window, "picExhibit");
        const auto* clipper = Child(&window, "picClipper");
        QCOMPARE(window.devicePixelRatio(), qEnvironmentVariableIsSet("QT_SCALE_FACTOR") ? qgetenv("QT_SCALE_FACTOR").toDouble() : 1.0);
        const QRect available = window.screen()->availableGeometry();
        const int viewportTwips = int(std::nearbyint(available.height() * 15 * 70 / 100.0));
        QVERIFY(window.height() <= available.height() && scroll->isVisible());
        QCOMPARE(scroll->maximum(), 20000 * 15 - viewportTwips);
        QVERIFY(qAbs(clipper->height() * 15 - viewportTwips) <= 15);
        QTest::keyClick(&window, Qt::Key_Down);
        QTest::keyClick(&window, Qt::Key_PageDown);
        QCOMPARE(scroll->value(), scroll->singleStep() + viewportTwips);
        QTest::keyClick(&window, Qt::Key_End);
        QCOMPARE(picture->y() + picture->height(), clipper->height());
        QTest::keyClick(&window, Qt::Key_Home);
        QCOMPARE(picture->y(), 0);
        QTest::mouseClick(Child(&window, "cmdClose"), Qt::LeftButton);
        QVERIFY(!window.isVisible());
        window.show();
        QTest::keyClick(&window, Qt::Key_Escape);
        QVERIFY(!window.isVisible());
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
};

QTEST_MAIN(frmExhibitTest)
#include "frmExhibitTest.moc"
