#pragma once

#include "model/Twips.h"

#include <QList>

// The geometry of the exam page, in twips, free of widgets: frmExam measures
// its fixed elements, asks here where everything goes and converts the answer
// to pixels. Rectangles are relative to their container's client area.
class PageGeometry
{
public:
    struct Point
    {
        qint32 X = 0;
        qint32 Y = 0;
        friend bool operator==(const Point&, const Point&) = default;
    };

    // What the page arrangement depends on. The window's size is its client
    // size; the other sizes are the page design's fixed elements.
    struct PageInput
    {
        qint32 WindowInnerWidth = 0;
        qint32 WindowInnerHeight = 0;
        qint32 MarkTop = 0; // chkMarked
        qint32 MarkHeight = 0;
        qint32 FrameBorder = 0; // picBorder's border, on each side
        qint32 ScrollBarWidth = 0; // vsbScroll
        qint32 TimeWidth = 0; // lblTime
        qint32 InfoWidth = 0; // fraInfo
        qint32 InfoHeight = 0;
        qint32 ButtonHeight = 0; // cmdNext; the whole row shares its top
        qint32 ReviewWidth = 0; // cmdReview
        bool ExhibitVisible = false;
    };

    // Left edges of the button row, read left to right: Next, Previous,
    // (Exhibit), Review. ExhibitLeft is meaningless when the button is hidden.
    struct ButtonRow
    {
        qint32 Top = 0;
        qint32 NextLeft = 0;
        qint32 PrevLeft = 0;
        qint32 ExhibitLeft = 0;
        qint32 ReviewLeft = 0;
        friend bool operator==(const ButtonRow&, const ButtonRow&) = default;
    };

    struct PageLayout
    {
        TwipsRect Frame; // picBorder in the window
        qint32 FrameInnerWidth = 0;
        qint32 FrameInnerHeight = 0;
        qint32 ContentWidth = 0; // picQuestion sits at 0,0 in the frame; its height is the content's
        TwipsRect ScrollBar; // in the frame
        qint32 MarkLeft = 0;
        qint32 TimeLeft = 0;
        qint32 QuestionWidth = 0; // lblQuestion
        Point InfoHome; // fraInfo in the frame
        ButtonRow Buttons;
    };

    // The arrangement after every change of the window's size.
    static PageLayout LayoutPage(const PageInput& input);

    // The button row alone, re-arranged after every item because the Exhibit
    // button comes and goes: Previous (and Exhibit) split the span between the
    // left edges of Next and Review evenly.
    static ButtonRow LayoutButtons(qint32 frameLeft, qint32 frameWidth, qint32 windowInnerHeight, qint32 buttonHeight,
        qint32 reviewWidth, bool exhibitVisible);

    // One option row: the selector and the option text beside it.
    struct Row
    {
        TwipsRect Selector;
        TwipsRect Label;
        friend bool operator==(const Row&, const Row&) = default;
    };
    struct Content
    {
        QList<Row> Rows;
        qint32 Height = 0; // picQuestion's height
    };

    // Width of every option text; the same for all rows, so callers can
    // measure the texts' wrapped heights before laying the rows out.
    static qint32 ChoiceLabelWidth(const TwipsRect& question, qint32 selectorWidth);

    // The rows below the question text: the first 500 below its bottom, each
    // further one 200 below the previous text's bottom, the content ending
    // 1000 below the last text. Without rows the content is as tall as the
    // question text.
    static Content LayoutChoices(
        const TwipsRect& question, qint32 selectorWidth, qint32 selectorHeight, const QList<qint32>& labelHeights);

    // vsbScroll's settings for content of `contentHeight` in a frame of
    // `frameHeight` (outer) and `frameInnerHeight` (client). Content that fits
    // disables the bar; the other fields are then left at zero.
    struct ScrollRange
    {
        bool Enabled = false;
        qint32 Min = 0;
        qint32 Max = 0;
        qint32 SmallChange = 0;
        qint32 LargeChange = 0;
        friend bool operator==(const ScrollRange&, const ScrollRange&) = default;
    };
    static ScrollRange ScrollFor(qint32 frameHeight, qint32 frameInnerHeight, qint32 contentHeight);

    // The scroll value after the text size changed the content's height from
    // `oldHeight` to the height `range` was made for (`newHeight`): the same
    // share of the content stays above the frame's top, so the candidate
    // keeps their place, within the new range (0 when the content now fits).
    static qint32 RescaledScroll(qint32 value, qint32 oldHeight, qint32 newHeight, const ScrollRange& range);

    // fraInfo's home: the frame's lower right corner, 50 in from the bottom
    // and from the scroll bar.
    static Point InfoHome(
        qint32 frameInnerWidth, qint32 frameInnerHeight, qint32 scrollBarWidth, qint32 infoWidth, qint32 infoHeight);

    // The allowed positions of a dragged fraInfo, inclusive on both ends.
    struct DragBounds
    {
        qint32 MinLeft = 0;
        qint32 MaxLeft = 0;
        qint32 MinTop = 0;
        qint32 MaxTop = 0;
        friend bool operator==(const DragBounds&, const DragBounds&) = default;
    };
    static DragBounds InfoDragBounds(
        qint32 frameInnerWidth, qint32 frameInnerHeight, qint32 scrollBarWidth, qint32 infoWidth, qint32 infoHeight);

    // fraInfo's position after the pointer moved to `pointer` with the button
    // pressed at `press` (both panel-relative). Each axis follows the pointer
    // only while it stays inside the bounds; an axis that would leave them
    // keeps its old value rather than being clamped.
    static Point DragInfo(const Point& panel, const Point& pointer, const Point& press, const DragBounds& bounds);

    // value * percent / 100, computed in floating point, to the nearest twip.
    static qint32 PercentOf(qint32 value, double percent);
};
