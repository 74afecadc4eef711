#include "shell/Contrast.h"

#include <QPalette>
#include <QWidget>

#include <algorithm>
#include <cmath>

namespace {

double Linear(int channel)
{
    const double c = channel / 255.0;
    return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

QColor Mix(const QColor& from, const QColor& to, double share)
{
    const auto channel = [share](int a, int b) { return int(std::lround(a + (b - a) * share)); };
    return QColor(channel(from.red(), to.red()), channel(from.green(), to.green()), channel(from.blue(), to.blue()));
}

bool Reads(const QList<QColor>& texts, const QColor& background, double minimum)
{
    return std::all_of(
        texts.begin(), texts.end(), [&](const QColor& text) { return Contrast::Ratio(text, background) >= minimum; });
}

// The smallest share (in 1/256 steps) of `target` mixed into `background`
// that makes every text read; 2 when even `target` itself does not.
double ShareToward(const QList<QColor>& texts, const QColor& background, const QColor& target, double minimum)
{
    if (!Reads(texts, target, minimum))
        return 2.0;
    // Contrast is monotonic along the way for each text once past its own
    // luminance, so the first passing step from the background is found by
    // bisection over the steps that pass at the far end.
    int low = 0;
    int high = 256;
    while (low < high) {
        const int mid = (low + high) / 2;
        if (Reads(texts, Mix(background, target, mid / 256.0), minimum))
            high = mid;
        else
            low = mid + 1;
    }
    return low / 256.0;
}

} // namespace

double Contrast::RelativeLuminance(const QColor& color)
{
    const QColor rgb = color.toRgb();
    return 0.2126 * Linear(rgb.red()) + 0.7152 * Linear(rgb.green()) + 0.0722 * Linear(rgb.blue());
}

double Contrast::Ratio(const QColor& first, const QColor& second)
{
    const double a = RelativeLuminance(first);
    const double b = RelativeLuminance(second);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

QColor Contrast::ReadableBackground(const QList<QColor>& texts, const QColor& background, double minimum)
{
    const QColor ground = background.toRgb();
    if (Reads(texts, ground, minimum))
        return ground;
    const double towardBlack = ShareToward(texts, ground, Qt::black, minimum);
    const double towardWhite = ShareToward(texts, ground, Qt::white, minimum);
    if (towardBlack > 1.0 && towardWhite > 1.0)
        return ReadableText(texts.value(0)); // no grey reads for all: the best for the first
    return towardBlack <= towardWhite ? Mix(ground, Qt::black, towardBlack) : Mix(ground, Qt::white, towardWhite);
}

QColor Contrast::ReadableText(const QColor& background)
{
    return Ratio(Qt::black, background) >= Ratio(Qt::white, background) ? QColor(Qt::black) : QColor(Qt::white);
}

void Contrast::SetTextOnPlate(QWidget* label, const QColor& text, int backgroundRole)
{
    const QWidget* parent = label->parentWidget() ? label->parentWidget() : label;
    const QColor ground = parent->palette().color(QPalette::ColorRole(backgroundRole));
    const QColor plate = ReadableBackground({ text }, ground);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Window, plate);
    label->setPalette(palette);
    label->setBackgroundRole(QPalette::Window);
    label->setAutoFillBackground(plate != ground);
}
