#include "session/PageGeometry.h"

#include <QTest>

using Point = PageGeometry::Point;
Q_DECLARE_METATYPE(Point)
Q_DECLARE_METATYPE(TwipsRect)

namespace {

TwipsRect Box(qint32 left, qint32 top, qint32 width, qint32 height)
{
    return TwipsRect { left, top, left + width, top + height };
}

} // namespace

class PageGeometryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void layoutPage_data();
    void layoutPage();
    void layoutButtons_data();
    void layoutButtons();
    void layoutChoices_data();
    void layoutChoices();
    void scrollFor_data();
    void scrollFor();
    void infoHomeAndBounds();
    void dragInfo_data();
    void dragInfo();
};

void PageGeometryTest::layoutPage_data()
{
    QTest::addColumn<qint32>("windowWidth");
    QTest::addColumn<qint32>("border");
    QTest::addColumn<TwipsRect>("frame");
    QTest::addColumn<qint32>("contentWidth");
    QTest::addColumn<qint32>("questionWidth");
    QTest::addColumn<TwipsRect>("scrollBar");
    QTest::addColumn<qint32>("timeLeft");
    QTest::addColumn<Point>("infoHome");
    // Window 12000 high; mark box at 120, 360 high; buttons 510 high; scroll
    // bar 240 wide; time label 3000 wide; panel 4200 x 1680.
    // Frame top 120 + 360 + 100 = 580, height 12000 - 580 - 510 - 100 = 10810.
    QTest::newRow("1280 px wide, 1 px border") << 19200 << 15 << Box(96, 580, 19008, 10810) << 18409 << 18041
                                               << Box(18738, 0, 240, 10780) << 16024 << Point { 14488, 9050 };
    QTest::newRow("no border") << 19200 << 0 << Box(96, 580, 19008, 10810) << 18438 << 18069
                               << Box(18768, 0, 240, 10810) << 16054 << Point { 14518, 9080 };
    // 99 % of 10201 is 10098.99: the frame is 10099 wide, 51 from the left.
    QTest::newRow("odd width") << 10201 << 15 << Box(51, 580, 10099, 10810) << 9767 << 9572 << Box(9829, 0, 240, 10780)
                               << 7070 << Point { 5579, 9050 };
}

void PageGeometryTest::layoutPage()
{
    QFETCH(qint32, windowWidth);
    QFETCH(qint32, border);
    PageGeometry::PageInput in;
    in.WindowInnerWidth = windowWidth;
    in.WindowInnerHeight = 12000;
    in.MarkTop = 120;
    in.MarkHeight = 360;
    in.FrameBorder = border;
    in.ScrollBarWidth = 240;
    in.TimeWidth = 3000;
    in.InfoWidth = 4200;
    in.InfoHeight = 1680;
    in.ButtonHeight = 510;
    in.ReviewWidth = 1800;
    const PageGeometry::PageLayout out = PageGeometry::LayoutPage(in);
    QTEST(out.Frame, "frame");
    QCOMPARE(out.FrameInnerWidth, out.Frame.Width() - 2 * border);
    QCOMPARE(out.FrameInnerHeight, out.Frame.Height() - 2 * border);
    QTEST(out.ContentWidth, "contentWidth");
    QTEST(out.QuestionWidth, "questionWidth");
    QTEST(out.ScrollBar, "scrollBar");
    QCOMPARE(out.MarkLeft, out.Frame.Left);
    QTEST(out.TimeLeft, "timeLeft");
    QTEST(out.InfoHome, "infoHome");
    // The row sits on the window's bottom edge, 100 below the frame.
    QCOMPARE(out.Buttons.Top, 11490);
    QCOMPARE(out.Buttons.Top - out.Frame.Bottom, 100);
}

void PageGeometryTest::layoutButtons_data()
{
    QTest::addColumn<qint32>("frameLeft");
    QTest::addColumn<qint32>("frameWidth");
    QTest::addColumn<bool>("exhibit");
    QTest::addColumn<qint32>("prev");
    QTest::addColumn<qint32>("exhibitLeft");
    QTest::addColumn<qint32>("review");
    // Review right-aligned with the frame: 100 + 9000 - 1500 = 7600; span 7500.
    QTest::newRow("without exhibit: Previous half-way") << 100 << 9000 << false << 3850 << 3850 << 7600;
    QTest::newRow("with exhibit: thirds") << 100 << 9000 << true << 2600 << 5100 << 7600;
    // A frame 2500 wide gives a span of 1000: thirds at 333.3 and 666.7.
    QTest::newRow("thirds round to the nearest twip") << 0 << 2500 << true << 333 << 667 << 1000;
}

void PageGeometryTest::layoutButtons()
{
    QFETCH(qint32, frameLeft);
    QFETCH(qint32, frameWidth);
    QFETCH(bool, exhibit);
    const PageGeometry::ButtonRow row = PageGeometry::LayoutButtons(frameLeft, frameWidth, 6000, 500, 1500, exhibit);
    QCOMPARE(row.Top, 5500);
    QCOMPARE(row.NextLeft, frameLeft);
    QTEST(row.PrevLeft, "prev");
    if (exhibit)
        QTEST(row.ExhibitLeft, "exhibitLeft");
    QTEST(row.ReviewLeft, "review");
}

void PageGeometryTest::layoutChoices_data()
{
    QTest::addColumn<QList<qint32>>("heights");
    QTest::addColumn<QList<qint32>>("tops");
    QTest::addColumn<qint32>("contentHeight");
    // Question text at 180,180, 10000 wide, 500 high: bottom 680.
    QTest::newRow("no rows: content as tall as the text") << QList<qint32> {} << QList<qint32> {} << 500;
    QTest::newRow("rows 200 below the previous text")
        << QList<qint32> { 300, 600, 300 } << QList<qint32> { 1180, 1680, 2480 } << 3780;
}

void PageGeometryTest::layoutChoices()
{
    QFETCH(QList<qint32>, heights);
    QFETCH(QList<qint32>, tops);
    const TwipsRect question = Box(180, 180, 10000, 500);
    QCOMPARE(PageGeometry::ChoiceLabelWidth(question, 600), 9220);
    const PageGeometry::Content content = PageGeometry::LayoutChoices(question, 600, 330, heights);
    QCOMPARE(content.Rows.size(), tops.size());
    for (qsizetype i = 0; i < tops.size(); ++i) {
        QCOMPARE(content.Rows[i].Selector, Box(180, tops[i], 600, 330));
        QCOMPARE(content.Rows[i].Label, Box(780, tops[i], 9220, heights[i]));
    }
    QTEST(content.Height, "contentHeight");
}

void PageGeometryTest::scrollFor_data()
{
    QTest::addColumn<qint32>("contentHeight");
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<qint32>("max");
    // Frame 5030 high outside, 5000 inside.
    QTest::newRow("fits exactly") << 5000 << false << 0;
    // The test uses the inner height, the range the outer one: content
    // between the two enables a bar with nothing to scroll.
    QTest::newRow("between inner and outer height") << 5001 << true << -29;
    QTest::newRow("taller: Max is the overflow") << 12000 << true << 6970;
}

void PageGeometryTest::scrollFor()
{
    QFETCH(qint32, contentHeight);
    QFETCH(bool, enabled);
    const PageGeometry::ScrollRange range = PageGeometry::ScrollFor(5030, 5000, contentHeight);
    QCOMPARE(range.Enabled, enabled);
    QTEST(range.Max, "max");
    if (enabled) {
        QCOMPARE(range.Min, 0);
        QCOMPARE(range.SmallChange, 503);
        QCOMPARE(range.LargeChange, 5030);
    }
}

void PageGeometryTest::infoHomeAndBounds()
{
    QCOMPARE(PageGeometry::InfoHome(10000, 6000, 240, 4200, 1680), (Point { 5510, 4270 }));
    QCOMPARE(
        PageGeometry::InfoDragBounds(10000, 6000, 240, 4200, 1680), (PageGeometry::DragBounds { 10, 5550, 10, 4310 }));
}

void PageGeometryTest::dragInfo_data()
{
    QTest::addColumn<Point>("panel");
    QTest::addColumn<Point>("pointer");
    QTest::addColumn<Point>("moved");
    // Pressed at 100,100 in the panel; bounds 10..5550 across, 10..4310 down.
    QTest::newRow("free move") << Point { 3000, 2000 } << Point { 150, 80 } << Point { 3050, 1980 };
    QTest::newRow("onto the left bound") << Point { 110, 2000 } << Point { 0, 100 } << Point { 10, 2000 };
    QTest::newRow("past the left bound: stays") << Point { 110, 2000 } << Point { -1, 100 } << Point { 110, 2000 };
    QTest::newRow("onto the right bound") << Point { 5500, 2000 } << Point { 150, 100 } << Point { 5550, 2000 };
    QTest::newRow("past the right bound: stays") << Point { 5500, 2000 } << Point { 151, 100 } << Point { 5500, 2000 };
    QTest::newRow("blocked across, follows down") << Point { 5500, 2000 } << Point { 300, 200 } << Point { 5500, 2100 };
    QTest::newRow("onto the bottom bound") << Point { 3000, 4300 } << Point { 100, 110 } << Point { 3000, 4310 };
    QTest::newRow("past the bottom bound: stays") << Point { 3000, 4300 } << Point { 100, 111 } << Point { 3000, 4300 };
    QTest::newRow("past the top bound: stays") << Point { 3000, 20 } << Point { 100, 89 } << Point { 3000, 20 };
}

void PageGeometryTest::dragInfo()
{
    QFETCH(Point, panel);
    QFETCH(Point, pointer);
    const PageGeometry::DragBounds bounds = PageGeometry::InfoDragBounds(10000, 6000, 240, 4200, 1680);
    QTEST(PageGeometry::DragInfo(panel, pointer, Point { 100, 100 }, bounds), "moved");
}

QTEST_GUILESS_MAIN(PageGeometryTest)
#include "PageGeometryTest.moc"
