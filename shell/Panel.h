#pragma once

#include <QColor>
#include <QVariantMap>
#include <QWidget>

// A plain area with a background colour and a one-pixel border that always
// lies on the control's edges, whatever its size. Other controls can be
// placed on it.
//
// Colours: an invalid QColor stands for "the system colour", which follows
// the palette (BackColor: the window background; BorderColor: window text).
// The getters return the colour in effect.
class Panel : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(QColor BackColor READ BackColor WRITE SetBackColor)
    Q_PROPERTY(bool Enabled READ Enabled WRITE SetEnabled)
    Q_PROPERTY(QColor BorderColor READ BorderColor WRITE SetBorderColor)

public:
    explicit Panel(QWidget* parent = nullptr);

    QColor BackColor() const;
    void SetBackColor(const QColor& color);
    bool Enabled() const;
    void SetEnabled(bool enabled);
    // Redraws the control.
    void Refresh();
    QColor BorderColor() const;
    void SetBorderColor(const QColor& color);

    // Settings kept in a store: missing entries take their defaults (the
    // system colours, enabled). Writing puts every property under its name.
    void ReadProperties(const QVariantMap& store);
    void WriteProperties(QVariantMap& store) const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor m_backColor;
    QColor m_borderColor;
};
