#include "session/ExhibitGeometry.h"

#include "model/Common.h"

#include <algorithm>

namespace ExhibitGeometry {

namespace {
const QString SrcLayout = QStringLiteral("ExhibitGeometry::Layout()");
}

double MaxPictureHeight(qint32 screenHeight)
{
    return screenHeight * HeightLimitPercent / 100.0;
}

ExhibitLayout Layout(qint32 pictureWidth, qint32 pictureHeight, qint32 screenHeight, qint32 scrollBarWidth,
    qint32 buttonWidth, qint32 buttonHeight)
{
    ExhibitLayout layout;
    layout.WindowWidth = std::max(pictureWidth, buttonWidth) + SideMargin;
    // Centred before any scroll bar widens the window: the added width then
    // holds the scroll bar and the picture stays where it was.
    layout.Viewport.Left = (layout.WindowWidth - pictureWidth) / 2;
    layout.Viewport.Right = layout.Viewport.Left + pictureWidth;

    const double maxHeight = MaxPictureHeight(screenHeight);
    qint32 viewportHeight = pictureHeight;
    if (pictureHeight > maxHeight) {
        viewportHeight = RoundToInt32(maxHeight, SrcLayout);
        layout.Scrolls = true;
        layout.WindowWidth += scrollBarWidth;
        layout.WindowHeight = viewportHeight + buttonHeight + VerticalMargin;
        // Down the whole right edge, beside the close button too.
        layout.ScrollBar = { layout.WindowWidth - scrollBarWidth, 0, layout.WindowWidth, layout.WindowHeight };
        layout.ScrollMax = pictureHeight - viewportHeight;
        layout.SmallChange = RoundToInt32(viewportHeight * 10 / 100.0, SrcLayout);
        layout.LargeChange = viewportHeight;
    } else {
        layout.WindowHeight = pictureHeight + buttonHeight + VerticalMargin;
    }
    layout.Viewport.Top = 0;
    layout.Viewport.Bottom = viewportHeight;

    layout.CloseButton.Top = viewportHeight + ButtonGap;
    layout.CloseButton.Left = (layout.WindowWidth - buttonWidth) / 2;
    layout.CloseButton.Right = layout.CloseButton.Left + buttonWidth;
    layout.CloseButton.Bottom = layout.CloseButton.Top + buttonHeight;
    return layout;
}

qint32 PictureTopPixels(qint32 scrollValue, qint32 pictureHeightPixels, qint32 viewportHeightPixels)
{
    const qint32 hidden = std::max(0, pictureHeightPixels - viewportHeightPixels);
    return -std::clamp(Twips::ToPixels(scrollValue), 0, hidden);
}

} // namespace ExhibitGeometry
