#include "shell/DisplaySettings.h"

#include "shell/Registry.h"

#include <QApplication>
#include <QPalette>
#include <QShortcut>
#include <QWidget>
#include <QStyle>
#include <QStyleFactory>

#include <algorithm>
#include <cstring>

const QList<qint32>& TextScale::Steps()
{
    static const QList<qint32> steps { 75, 90, 100, 110, 125, 150, 175, 200, 250, 300 };
    return steps;
}

qint32 TextScale::Smallest()
{
    return Steps().first();
}

qint32 TextScale::Largest()
{
    return Steps().last();
}

qint32 TextScale::Larger(qint32 percent)
{
    for (qint32 step : Steps()) {
        if (step > percent)
            return step;
    }
    return Largest();
}

qint32 TextScale::Smaller(qint32 percent)
{
    for (auto step = Steps().crbegin(); step != Steps().crend(); ++step) {
        if (*step < percent)
            return *step;
    }
    return Smallest();
}

qint32 TextScale::NearestStep(qint32 percent)
{
    qint32 nearest = Smallest();
    for (qint32 step : Steps()) {
        if (qAbs(qint64(step) - percent) < qAbs(qint64(nearest) - percent))
            nearest = step;
    }
    return nearest;
}

qreal TextScale::Points(qreal designPoints, qint32 percent)
{
    return designPoints * percent / 100.0;
}

qint32 TextScale::Parse(qint32 valueType, const QByteArray& data)
{
    qint64 percent = -1;
    if (valueType == Registry::REG_DWORD && data.size() == 4) {
        qint32 number = 0;
        std::memcpy(&number, data.constData(), 4); // little-endian, as every target of this program
        percent = number;
    } else if (valueType == Registry::REG_SZ && data.size() <= 16) {
        QByteArray text = data.trimmed();
        if (text.endsWith('%'))
            text.chop(1);
        bool ok = false;
        percent = text.trimmed().toInt(&ok);
        if (!ok)
            percent = -1;
    }
    if (percent < Smallest() || percent > Largest())
        return Normal;
    return NearestStep(qint32(percent));
}

qint32 TextScale::Apply(Change change, qint32 percent)
{
    switch (change) {
    case Change::Larger:
        return Larger(percent);
    case Change::Smaller:
        return Smaller(percent);
    case Change::Normal:
        break;
    }
    return Normal;
}

void TextScale::AddKeys(QWidget* window, std::function<void(Change)> changed)
{
    // Ctrl+Shift+= reaches a shortcut as Ctrl+Plus as well: a second entry
    // for it would make the two ambiguous, and neither would fire.
    const std::pair<QKeySequence, Change> keys[] = {
        { QKeySequence(Qt::CTRL | Qt::Key_Plus), Change::Larger },
        { QKeySequence(Qt::CTRL | Qt::Key_Equal), Change::Larger },
        { QKeySequence(Qt::CTRL | Qt::Key_Minus), Change::Smaller },
        { QKeySequence(Qt::CTRL | Qt::Key_0), Change::Normal },
    };
    for (const auto& [sequence, change] : keys) {
        auto* shortcut = new QShortcut(sequence, window);
        QObject::connect(shortcut, &QShortcut::activated, window, [changed, change = change] { changed(change); });
    }
}

namespace {

// Reads with read-only rights, so a store the user may not change still counts.
bool ReadDisplayValue(const char* name, qint32& type, QByteArray& data)
{
    Registry::Key key;
    if (Registry::OpenKey(
            Registry::HKEY_CURRENT_USER, QString::fromLatin1(DisplaySettings::Key), Registry::KEY_READ, key)
        != 0)
        return false;
    // Nothing sensible is longer; a longer value is damaged.
    const qint32 result = Registry::QueryValue(key, QString::fromLatin1(name), type, data, 64);
    Registry::CloseKey(key);
    return result == 0;
}

} // namespace

qint32 DisplaySettings::StoredTextScale()
{
    qint32 type = Registry::REG_NONE;
    QByteArray data;
    if (!ReadDisplayValue("Text Scale", type, data))
        return TextScale::Normal;
    return TextScale::Parse(type, data);
}

void DisplaySettings::StoreTextScale(qint32 percent)
{
    Registry::Key key;
    if (Registry::CreateKey(Registry::HKEY_CURRENT_USER, QString::fromLatin1(Key), key) != 0)
        return;
    QByteArray data(4, '\0');
    std::memcpy(data.data(), &percent, 4);
    Registry::SetValue(key, QStringLiteral("Text Scale"), Registry::REG_DWORD, data);
    Registry::CloseKey(key);
}

DisplaySettings::ColorScheme DisplaySettings::ParseColorScheme(const QString& text)
{
    const QString name = text.trimmed().toLower();
    if (name == QLatin1String("light"))
        return ColorScheme::Light;
    if (name == QLatin1String("dark"))
        return ColorScheme::Dark;
    return ColorScheme::System;
}

DisplaySettings::ColorScheme DisplaySettings::StoredColorScheme()
{
    qint32 type = Registry::REG_NONE;
    QByteArray data;
    if (!ReadDisplayValue("Color Scheme", type, data) || type != Registry::REG_SZ)
        return ColorScheme::System;
    return ParseColorScheme(QString::fromUtf8(data));
}

QPalette DisplaySettings::DarkPalette()
{
    // Fusion draws the outlines of boxes, radio buttons and frames darker
    // than the window: the page and fields are lighter than the window, so
    // those outlines show against both. Text on every ground here is above
    // 7:1; disabled text stays above 3:1.
    const QColor window(37, 37, 40);
    const QColor base(50, 50, 54);
    const QColor text(232, 232, 232);
    QPalette palette(text, QColor(62, 62, 66), QColor(90, 90, 96), QColor(20, 20, 22), QColor(100, 100, 106), text,
        Qt::white, base, window);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::AlternateBase, QColor(58, 58, 62));
    palette.setColor(QPalette::ToolTipBase, QColor(66, 62, 40));
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::PlaceholderText, QColor(168, 168, 172));
    palette.setColor(QPalette::Highlight, QColor(53, 104, 184));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(138, 180, 248));
    palette.setColor(QPalette::LinkVisited, QColor(197, 160, 248));
    const QColor disabled(128, 128, 132);
    for (QPalette::ColorRole role : { QPalette::WindowText, QPalette::Text, QPalette::ButtonText })
        palette.setColor(QPalette::Disabled, role, disabled);
    // No etched shadow under disabled text.
    palette.setColor(QPalette::Disabled, QPalette::Light, window);
    return palette;
}

void DisplaySettings::ApplyColorScheme(QApplication& application, ColorScheme scheme)
{
    if (scheme == ColorScheme::System)
        return;
    // Fusion draws with the palette alone, so either scheme looks the same on
    // every desktop; the desktop's own style may paint its own colours.
    if (QStyle* fusion = QStyleFactory::create(QStringLiteral("Fusion")))
        application.setStyle(fusion);
    application.setPalette(scheme == ColorScheme::Dark ? DarkPalette() : application.style()->standardPalette());
}
