#pragma once

#include <QByteArray>
#include <QList>
#include <QtGlobal>

#include <functional>

class QApplication;
class QPalette;

// How large the sitting's text is drawn, in percent of the page design's
// sizes: the item text, its option texts and the explanation. Pure logic;
// the exam window applies it and the settings store keeps it.
namespace TextScale {

constexpr qint32 Normal = 100;
// The steps Ctrl+Plus and Ctrl+Minus walk through, smallest first.
const QList<qint32>& Steps();
qint32 Smallest();
qint32 Largest();
// The next step up or down from `percent`; the ends stay where they are. A
// percent between steps goes to the neighbouring step in that direction.
qint32 Larger(qint32 percent);
qint32 Smaller(qint32 percent);
// The step nearest to `percent` inside the range (the smaller of two equally
// near); used for a value written by hand.
qint32 NearestStep(qint32 percent);
// A point size scaled by `percent`.
qreal Points(qreal designPoints, qint32 percent);
// The stored value as the settings store gives it: a number (type 4, 4
// bytes, little-endian) or text (type 1, "125" or "125%"). Anything else,
// a value outside 75 to 300 or text that is no number, is damaged and reads
// as 100; a number between steps reads as the nearest step.
qint32 Parse(qint32 valueType, const QByteArray& data);

enum class Change { Larger, Smaller, Normal };
qint32 Apply(Change change, qint32 percent);

} // namespace TextScale

class QWidget;
namespace TextScale {
// Ctrl+Plus (also Ctrl+=, for keyboards with Plus on the equals key),
// Ctrl+Minus and Ctrl+0 on `window`, whatever has the focus in it.
void AddKeys(QWidget* window, std::function<void(Change)> changed);

} // namespace TextScale

// The display settings of the settings store:
//
//   [Software\Practorum\Display]
//   Text Scale=dword:125    the sitting's text size in percent (default 100)
//   Color Scheme=dark       light, dark or system (default system)
//
// A value that is missing or cannot be read counts as its default; the store
// is never written except by SetTextScale.
namespace DisplaySettings {

inline constexpr const char* Key = "Software\\Practorum\\Display";

qint32 StoredTextScale();
// Remembers the scale for the next sitting; a store that cannot be written
// keeps the old value and says nothing, for the sitting goes on.
void StoreTextScale(qint32 percent);

enum class ColorScheme { System, Light, Dark };
ColorScheme StoredColorScheme();
// "light", "dark", "system" in any case, blanks around ignored; anything
// else is System.
ColorScheme ParseColorScheme(const QString& text);
// The dark palette the Dark scheme uses.
QPalette DarkPalette();
// Light and Dark set the Fusion style with its light palette or DarkPalette()
// on the whole application; System leaves the desktop's style and palette.
void ApplyColorScheme(QApplication& application, ColorScheme scheme);

} // namespace DisplaySettings
