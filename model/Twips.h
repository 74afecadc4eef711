#pragma once

#include <QtGlobal>

// Window geometry is kept in twips (1/1440 inch) and converted to pixels only
// at the widget boundary: 15 twips per device-independent pixel (96 dpi).
namespace Twips {
constexpr qint32 PerPixel = 15;
constexpr qint32 FromPixels(qint32 pixels) { return pixels * PerPixel; }
// Rounds to the nearest pixel.
constexpr qint32 ToPixels(double twips) { return qint32(twips >= 0 ? twips / PerPixel + 0.5 : twips / PerPixel - 0.5); }
} // namespace Twips

struct TwipsRect
{
    qint32 Left = 0;
    qint32 Top = 0;
    qint32 Right = 0;
    qint32 Bottom = 0;
    qint32 Width() const { return Right - Left; }
    qint32 Height() const { return Bottom - Top; }
    friend bool operator==(const TwipsRect&, const TwipsRect&) = default;
};
