#pragma once

#include <QColor>
#include <QList>

class QPalette;
class QWidget;

// Contrast between text and its background, as WCAG 2.x measures it: the
// relative luminance of each sRGB colour, then (lighter + 0.05) / (darker +
// 0.05), from 1:1 to 21:1. The program keeps its described colours (the
// verdicts, the report's bars and headline, the catalogue's rows) exactly and
// moves the background instead when a theme puts them on one too close.
namespace Contrast {

// Text this far from its background reads for everyone (WCAG AA, body text).
constexpr double Minimum = 4.5;

double RelativeLuminance(const QColor& color);
double Ratio(const QColor& first, const QColor& second);

// The background nearest to `background` on which every colour of `texts`
// reaches `minimum`: `background` itself when it already does, otherwise it
// mixed toward black or toward white, whichever needs the smaller share (a
// tie goes to black). Some colour always qualifies, black or white.
QColor ReadableBackground(const QList<QColor>& texts, const QColor& background, double minimum = Minimum);

// Black or white, whichever reads better on `background`.
QColor ReadableText(const QColor& background);

// Gives `label` the colour `text` on the nearest background of its own
// `minimum` from the background it sits on (`role` of its parent's palette).
// The label then paints that background itself, a plate behind the text,
// only where the theme's own would not do.
void SetTextOnPlate(QWidget* label, const QColor& text, int backgroundRole);

} // namespace Contrast
