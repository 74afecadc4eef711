#include "shell/Panel.h"

#include <QPaintEvent>
#include <QPainter>

Panel::Panel(QWidget* parent)
    : QWidget(parent)
{
    // Every pixel is painted here, border included, so Qt need not clear
    // the area first.
    setAttribute(Qt::WA_OpaquePaintEvent);
}

QColor Panel::BackColor() const
{
    return m_backColor.isValid() ? m_backColor : palette().color(QPalette::Window);
}

void Panel::SetBackColor(const QColor& color)
{
    m_backColor = color;
    update();
}

bool Panel::Enabled() const
{
    return isEnabled();
}

void Panel::SetEnabled(bool enabled)
{
    setEnabled(enabled);
}

void Panel::Refresh()
{
    update();
}

QColor Panel::BorderColor() const
{
    return m_borderColor.isValid() ? m_borderColor : palette().color(QPalette::WindowText);
}

void Panel::SetBorderColor(const QColor& color)
{
    m_borderColor = color;
    update();
}

void Panel::ReadProperties(const QVariantMap& store)
{
    SetBackColor(store.value(QStringLiteral("BackColor"), QColor()).value<QColor>());
    SetEnabled(store.value(QStringLiteral("Enabled"), true).toBool());
    SetBorderColor(store.value(QStringLiteral("BorderColor"), QColor()).value<QColor>());
}

void Panel::WriteProperties(QVariantMap& store) const
{
    store.insert(QStringLiteral("BackColor"), m_backColor);
    store.insert(QStringLiteral("Enabled"), Enabled());
    store.insert(QStringLiteral("BorderColor"), m_borderColor);
}

void Panel::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    painter.fillRect(event->rect(), BackColor());
    // Drawn from the current size on every paint, so the border follows the
    // edges through any resize. A disabled panel keeps its colours: only
    // the controls on it show that they are disabled.
    painter.setPen(QPen(BorderColor(), 0));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}
