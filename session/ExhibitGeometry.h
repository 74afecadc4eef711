#pragma once

#include "model/Twips.h"

// The layout of the exhibit window, in twips, as pure arithmetic so that it
// can be checked without a screen.
//
// The window is as wide as the picture plus a margin of 100 on either side
// (never narrower than the close button with the same margins, so a tiny
// picture still shows a whole button) and as tall as the picture plus the close button and its margins, up to a
// picture height of 70 % of the screen height; a taller picture is shown
// through a viewport of that height with a scroll bar added at the right.
//
// The window size here is the size Qt gives the client area: the window
// manager draws its decoration outside it, so the margins below and beside
// the picture are exactly these.
struct ExhibitLayout
{
    qint32 WindowWidth = 0;
    qint32 WindowHeight = 0;
    // Where the picture is seen; the picture itself sits at its top left.
    TwipsRect Viewport;
    TwipsRect CloseButton;
    // The scroll bar and its range (the minimum is 0); only when Scrolls.
    bool Scrolls = false;
    TwipsRect ScrollBar;
    qint32 ScrollMax = 0;
    qint32 SmallChange = 0;
    qint32 LargeChange = 0;
};

namespace ExhibitGeometry {

// Room beside the picture, split evenly left and right.
constexpr qint32 SideMargin = 200;
// From the viewport's bottom to the close button's top.
constexpr qint32 ButtonGap = 150;
// Window height beyond the viewport and the close button: the gap above the
// button and the room below it.
constexpr qint32 VerticalMargin = 550;
// Share of the screen height a picture may take before it scrolls.
constexpr double HeightLimitPercent = 70.0;

// The tallest picture shown whole on a screen `screenHeight` twips tall; a
// picture strictly taller than this scrolls.
double MaxPictureHeight(qint32 screenHeight);

// Lays out a picture of the given size on a screen `screenHeight` tall with a
// scroll bar `scrollBarWidth` wide and a close button of the given size.
ExhibitLayout Layout(qint32 pictureWidth, qint32 pictureHeight, qint32 screenHeight, qint32 scrollBarWidth,
    qint32 buttonWidth, qint32 buttonHeight);

// The picture's top in pixels inside the viewport for a scroll bar value in
// twips: value 0 shows its top edge, the maximum its bottom edge exactly at
// the viewport's bottom, however twips round to pixels on the way.
qint32 PictureTopPixels(qint32 scrollValue, qint32 pictureHeightPixels, qint32 viewportHeightPixels);

} // namespace ExhibitGeometry
