#include "session/PageGeometry.h"

#include <algorithm>
#include <cmath>

namespace {

TwipsRect Box(qint32 left, qint32 top, qint32 width, qint32 height)
{
    return TwipsRect { left, top, left + width, top + height };
}

qint32 Nearest(double value)
{
    return qint32(std::lround(value));
}

} // namespace

qint32 PageGeometry::PercentOf(qint32 value, double percent)
{
    return Nearest(double(value) * percent / 100.0);
}

PageGeometry::PageLayout PageGeometry::LayoutPage(const PageInput& in)
{
    PageLayout out;
    const qint32 frameTop = in.MarkTop + in.MarkHeight + 100;
    const qint32 frameWidth = PercentOf(in.WindowInnerWidth, 99);
    const qint32 frameHeight = in.WindowInnerHeight - frameTop - in.ButtonHeight - 100;
    const qint32 frameLeft = Nearest((in.WindowInnerWidth - frameWidth) / 2.0);
    out.Frame = Box(frameLeft, frameTop, frameWidth, frameHeight);
    out.FrameInnerWidth = frameWidth - 2 * in.FrameBorder;
    out.FrameInnerHeight = frameHeight - 2 * in.FrameBorder;

    out.ContentWidth = PercentOf(out.FrameInnerWidth, 97);
    out.ScrollBar = Box(out.FrameInnerWidth - in.ScrollBarWidth, 0, in.ScrollBarWidth, out.FrameInnerHeight);
    out.MarkLeft = frameLeft;
    out.TimeLeft = frameLeft + out.FrameInnerWidth - in.TimeWidth - 50;
    // The content has no border: its inner width is its width.
    out.QuestionWidth = PercentOf(out.ContentWidth, 98);
    out.InfoHome = InfoHome(out.FrameInnerWidth, out.FrameInnerHeight, in.ScrollBarWidth, in.InfoWidth, in.InfoHeight);
    out.Buttons = LayoutButtons(
        frameLeft, frameWidth, in.WindowInnerHeight, in.ButtonHeight, in.ReviewWidth, in.ExhibitVisible);
    return out;
}

PageGeometry::ButtonRow PageGeometry::LayoutButtons(qint32 frameLeft, qint32 frameWidth, qint32 windowInnerHeight,
    qint32 buttonHeight, qint32 reviewWidth, bool exhibitVisible)
{
    ButtonRow row;
    row.Top = windowInnerHeight - buttonHeight;
    row.NextLeft = frameLeft;
    row.ReviewLeft = frameLeft + frameWidth - reviewWidth;
    const double span = row.ReviewLeft - row.NextLeft;
    if (exhibitVisible) {
        row.PrevLeft = Nearest(row.NextLeft + span / 3.0);
        row.ExhibitLeft = Nearest(row.NextLeft + 2.0 * span / 3.0);
    } else {
        row.PrevLeft = Nearest(row.NextLeft + span / 2.0);
        row.ExhibitLeft = row.PrevLeft;
    }
    return row;
}

qint32 PageGeometry::ChoiceLabelWidth(const TwipsRect& question, qint32 selectorWidth)
{
    // Measured from the content's left edge, not the question text's: with
    // the text inset, the option texts end short of its right edge by as much.
    return question.Width() - (question.Left + selectorWidth);
}

PageGeometry::Content PageGeometry::LayoutChoices(
    const TwipsRect& question, qint32 selectorWidth, qint32 selectorHeight, const QList<qint32>& labelHeights)
{
    Content content;
    content.Height = question.Height();
    content.Rows.reserve(labelHeights.size());
    const qint32 labelLeft = question.Left + selectorWidth;
    const qint32 labelWidth = ChoiceLabelWidth(question, selectorWidth);
    qint32 top = question.Bottom + 500;
    for (qint32 labelHeight : labelHeights) {
        Row row;
        row.Selector = Box(question.Left, top, selectorWidth, selectorHeight);
        row.Label = Box(labelLeft, top, labelWidth, labelHeight);
        content.Rows.append(row);
        content.Height = row.Label.Bottom + 1000;
        top = row.Label.Bottom + 200;
    }
    return content;
}

PageGeometry::ScrollRange PageGeometry::ScrollFor(qint32 frameHeight, qint32 frameInnerHeight, qint32 contentHeight)
{
    ScrollRange range;
    if (frameInnerHeight >= contentHeight)
        return range;
    range.Enabled = true;
    range.Min = 0;
    range.Max = contentHeight - frameHeight;
    range.SmallChange = PercentOf(frameHeight, 10);
    range.LargeChange = frameHeight;
    return range;
}

qint32 PageGeometry::RescaledScroll(qint32 value, qint32 oldHeight, qint32 newHeight, const ScrollRange& range)
{
    if (!range.Enabled || oldHeight <= 0 || value <= 0)
        return 0;
    const qint32 scaled = Nearest(double(value) * newHeight / oldHeight);
    return std::clamp(scaled, range.Min, range.Max);
}

PageGeometry::Point PageGeometry::InfoHome(
    qint32 frameInnerWidth, qint32 frameInnerHeight, qint32 scrollBarWidth, qint32 infoWidth, qint32 infoHeight)
{
    return Point { frameInnerWidth - infoWidth - scrollBarWidth - 50, frameInnerHeight - infoHeight - 50 };
}

PageGeometry::DragBounds PageGeometry::InfoDragBounds(
    qint32 frameInnerWidth, qint32 frameInnerHeight, qint32 scrollBarWidth, qint32 infoWidth, qint32 infoHeight)
{
    return DragBounds { 10, frameInnerWidth - scrollBarWidth - infoWidth - 10, 10, frameInnerHeight - infoHeight - 10 };
}

PageGeometry::Point PageGeometry::DragInfo(
    const Point& panel, const Point& pointer, const Point& press, const DragBounds& bounds)
{
    Point moved = panel;
    const qint32 left = panel.X + (pointer.X - press.X);
    const qint32 top = panel.Y + (pointer.Y - press.Y);
    if (left >= bounds.MinLeft && left <= bounds.MaxLeft)
        moved.X = left;
    if (top >= bounds.MinTop && top <= bounds.MaxTop)
        moved.Y = top;
    return moved;
}
