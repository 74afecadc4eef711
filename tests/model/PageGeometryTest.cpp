#include "session/PageGeometry.h"

#include <QTest>

using Point = PageGeometry::Point;
Q_DECLARE_METATYPE(Point)
Q_DECLARE_METATYPE(TwipsRect)
Q_DECLARE_METATYPE(PageGeometry::ScrollRange)

static TwipsRect Box(qint32 left, qint32 top, qint32 width, qint32 height)
{
    return TwipsRect { left, top, left + width, top + height };
}

class PageGeometryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void layoutPage_data();
    void layoutPage();
    void layoutChoices();
    void scrollFor();
    void rescaledScroll();
    void dragInfo();
};

void PageGeometryTest::layoutPage_data()
{
    QTest::addColumn<qint32>("windowWidth");
    QTest::addColumn<bool>("exhibit");
    QTest::addColumn<TwipsRect>("frame");
    QTest::addColumn<TwipsRect>("scrollBar");
    QTest::addColumn<Point>("infoHome");
    // Widths of the content and question text; lefts of the time and the
    // buttons Next, Previous, Exhibit (-1: hidden) and Review.
    QTest::addColumn<QList<qint32>>("measures");
    // Window 12000 high, mark box at 120, 360 high, buttons 510: frame from 580, 12000 - 580 - 510 - 100 =
    // 10810 high. Previous sits half-way between Next and Review, or at a third with Exhibit.
    QTest::newRow("1280 px wide, no exhibit")
        << 19200 << false << Box(96, 580, 19008, 10810) << Box(18738, 0, 240, 10780) << Point { 14488, 9050 }
        << QList<qint32> { 18409, 18041, 16024, 96, 8700, -1, 17304 };
    // 99 % of 10201 is 10098.99: the frame is 10099 wide, 51 from the left;
    // the button span 8299 splits at 2766.3 and 5532.7, to the nearest twip.
    QTest::newRow("odd width, exhibit") << 10201 << true << Box(51, 580, 10099, 10810) << Box(9829, 0, 240, 10780)
                                        << Point { 5579, 9050 }
                                        << QList<qint32> { 9767, 9572, 7070, 51, 2817, 5584, 8350 };
}

void PageGeometryTest::layoutPage()
{
    QFETCH(qint32, windowWidth);
    QFETCH(bool, exhibit);
    const PageGeometry::PageLayout out = PageGeometry::LayoutPage({ .WindowInnerWidth = windowWidth,
        .WindowInnerHeight = 12000,
        .MarkTop = 120,
        .MarkHeight = 360,
        .FrameBorder = 15,
        .ScrollBarWidth = 240,
        .TimeWidth = 3000,
        .InfoWidth = 4200,
        .InfoHeight = 1680,
        .ButtonHeight = 510,
        .ReviewWidth = 1800,
        .ExhibitVisible = exhibit });
    QTEST(out.Frame, "frame");
    QTEST(out.ScrollBar, "scrollBar");
    QTEST(out.InfoHome, "infoHome");
    QTEST(QList<qint32>({ out.ContentWidth, out.QuestionWidth, out.TimeLeft, out.Buttons.NextLeft, out.Buttons.PrevLeft,
              exhibit ? out.Buttons.ExhibitLeft : -1, out.Buttons.ReviewLeft }),
        "measures");
    QCOMPARE(out.Buttons.Top, 11490); // on the window's bottom edge, 100 below the frame
}

// Question text at 180,180, 10000 wide, 500 high: bottom 680. Rows start
// 200 below the previous text; the option texts are 10000 - (180 + 600) =
// 9220 wide, measured from the content's edge. Without rows the content is
// as tall as the text.
void PageGeometryTest::layoutChoices()
{
    const TwipsRect text = Box(180, 180, 10000, 500);
    QCOMPARE(PageGeometry::LayoutChoices(text, 600, 330, {}).Height, 500);
    const PageGeometry::Content content = PageGeometry::LayoutChoices(text, 600, 330, { 300, 600, 300 });
    QList<PageGeometry::Row> rows;
    for (const auto& [top, height] : { std::pair { 1180, 300 }, { 1680, 600 }, { 2480, 300 } })
        rows.append({ Box(180, top, 600, 330), Box(780, top, 9220, height) });
    QCOMPARE(content.Rows, rows);
    QCOMPARE(content.Height, 3780);
}

// A frame 5030 high outside, 5000 inside: Max is the overflow; content
// between the two heights enables a bar with nothing to scroll.
void PageGeometryTest::scrollFor()
{
    using Range = PageGeometry::ScrollRange;
    QCOMPARE(PageGeometry::ScrollFor(5030, 5000, 5000), Range {});
    QCOMPARE(PageGeometry::ScrollFor(5030, 5000, 5001), (Range { true, 0, -29, 503, 5030 }));
    QCOMPARE(PageGeometry::ScrollFor(5030, 5000, 12000), (Range { true, 0, 6970, 503, 5030 }));
}

// Text scaled from 100 % to 300 % and 75 % in the same frame: the content's
// height scales with it, the same share stays above the top, the end stays
// at the end.
void PageGeometryTest::rescaledScroll()
{
    const auto rescaled = [](qint32 value, qint32 percent) {
        const qint32 newHeight = 12000 * percent / 100;
        return PageGeometry::RescaledScroll(value, 12000, newHeight, PageGeometry::ScrollFor(5030, 5000, newHeight));
    };
    QCOMPARE(rescaled(3485, 300), 10455);
    QCOMPARE(rescaled(6970, 75), 3970);
}

// Pressed at 100,100 in the panel; frame 10000 x 6000 inside, scroll bar
// 240, panel 4200 x 1680: bounds 10..5550 across, 10..4310 down. A move onto
// a bound is taken, one past it is not.
void PageGeometryTest::dragInfo()
{
    const PageGeometry::DragBounds bounds = PageGeometry::InfoDragBounds(10000, 6000, 240, 4200, 1680);
    const auto drag = [&bounds](Point panel, Point pointer) {
        return PageGeometry::DragInfo(panel, pointer, Point { 100, 100 }, bounds);
    };
    QCOMPARE(drag({ 110, 4300 }, { 0, 110 }), (Point { 10, 4310 }));
    QCOMPARE(drag({ 110, 4300 }, { -1, 111 }), (Point { 110, 4300 }));
    QCOMPARE(drag({ 5500, 20 }, { 150, 90 }), (Point { 5550, 10 }));
    QCOMPARE(drag({ 5500, 20 }, { 151, 89 }), (Point { 5500, 20 }));
}

QTEST_GUILESS_MAIN(PageGeometryTest)
#include "PageGeometryTest.moc"
