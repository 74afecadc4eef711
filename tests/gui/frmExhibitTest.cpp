#include "common/GuiUtil.h"
#include "common/TestUtil.h"
#include "model/Error.h"
#include "model/Exam.h"
#include "session/ExhibitGeometry.h"
#include "session/frmExhibit.h"
#include "session/frmExplain.h"
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

// The sitting's side windows: the exhibit and the explanation.
class frmExhibitTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        CurrentExam() = std::make_shared<Exam>();
        for (int i = 1; i <= 12; ++i)
            CurrentExam()->Questions().Add()->SetExplaination(QStringLiteral("Item %1 explained.").arg(i));
        CurrentExam()->Questions().ResetNumbers();
        CurrentExam()->Save(m_dir->filePath("pack.exam")); // pictures are looked up beside it
    }

    void cleanup() { CurrentExam().reset(); }

    // Twips throughout, with a 255-wide scroll bar and a 1215 x 375 close button.
    void layout_data()
    {
        // picture: width, height, screen height; expected: window size, viewport left and height, button place, scroll
        // max, step
        Columns<QList<int>, QList<int>>({ "picture", "expected" });
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
        // bytes: null: no file; error: 0: none; shown: whole and unscrolled; 20 x 10: the picture before stays
        Columns<QString, QByteArray, qint32, QSize>({ "name", "bytes", "error", "shown" });
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
        QTEST(Child<QLabel>(&window, "picExhibit")->pixmap().size(), "shown");
        QTEST(Child(&window, "picClipper")->size(), "shown");
        QVERIFY(Child(&window, "vsbScroll")->isHidden());
    }

    // The viewport is 70 % of the screen's available height in logical
    // pixels, whatever the scale factor (CTest runs this at 2 too); the range
    // covers the rest, the keys scroll, Escape closes.
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
        QTest::keyClick(&window, Qt::Key_Escape);
        QVERIFY(!window.isVisible());
    }

    void explanation_data()
    {
        // stored: as item 12's explanation; shown: item 2's stays when the number is out of range
        Columns<qint16, QString, QString>({ "number", "stored", "shown" });
        const QString sorry = QStringLiteral("Sorry! Explaination is not available for this question.");
        QTest::newRow("blanks trimmed, inner breaks kept")
            << qint16(12) << "   Option B is right.\r\n\r\nThe others are not.  " << "12 Option B is right.\n\nThe others are not.";
        QTest::newRow("only blanks") << qint16(12) << "     " << "12 " + sorry;
        QTest::newRow("markup is plain text") << qint16(12) << "<b>not bold</b> & <i>so on</i>" << "12 <b>not bold</b> & <i>so on</i>";
        QTest::newRow("number out of range: item before stays") << qint16(13) << "" << "2 Item 2 explained.";
    }

    // Escape closes it, and Enter presses Close, from the read-only text too.
    void explanation()
    {
        QFETCH(qint16, number);
        CurrentExam()->Questions().Item(12).SetExplaination(Data<QString>("stored"));
        frmExplain window;
        window.SetQuestionNumber(2);
        const Error error = TestUtil::Raised([&] { window.SetQuestionNumber(number); });
        QCOMPARE(error.Number(), number > 12 ? qint32(ErrorNumber::SubscriptOutOfRange) : 0);
        QTEST(window.windowTitle().remove("Explaination - Question: ") + " "
                + Child<QPlainTextEdit>(&window, "txtExplaination")->toPlainText(), "shown");
        for (Qt::Key key : { Qt::Key_Escape, Qt::Key_Return }) {
            window.show();
            window.activateWindow();
            QVERIFY(QTest::qWaitForWindowActive(&window));
            QTest::keyClick(QApplication::focusWidget(), key);
            QVERIFY(!window.isVisible());
        }
    }
private:
    std::unique_ptr<QTemporaryDir> m_dir;
};

QTEST_MAIN(frmExhibitTest)
#include "frmExhibitTest.moc"
