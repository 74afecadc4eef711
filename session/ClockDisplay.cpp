#include "session/ClockDisplay.h"

#include "model/Common.h"

#include <QAccessible>
#include <QLabel>
#include <QTimer>

namespace {

constexpr int NoteMilliseconds = 6000;

// A warning colour readable on `background`, light or dark.
QColor WarningColor(const QColor& background)
{
    return background.lightness() < 128 ? QColor(255, 138, 101) : QColor(179, 38, 30);
}

} // namespace

ClockDisplay::ClockDisplay(const QFont& font, QWidget* window)
    : QObject(window)
{
    m_lblTime = new QLabel(window);
    m_lblTime->setObjectName(QStringLiteral("lblTime"));
    m_lblTime->setFont(font);
    m_lblTime->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    // Wide enough for any clock up to 99 hours, so the text never shifts.
    m_lblTime->resize(QFontMetrics(font).horizontalAdvance(QStringLiteral("Time Remaining:  00:00:00")) + 8,
        m_lblTime->sizeHint().height());

    m_lblNote = new QLabel(window);
    m_lblNote->setObjectName(QStringLiteral("lblNote"));
    m_lblNote->setFont(font);
    m_lblNote->setFrameStyle(QFrame::Box | QFrame::Plain);
    m_lblNote->setMargin(6);
    m_lblNote->setAutoFillBackground(true);
    m_lblNote->setBackgroundRole(QPalette::ToolTipBase);
    m_lblNote->setForegroundRole(QPalette::ToolTipText);
    m_lblNote->setFocusPolicy(Qt::NoFocus);
    m_lblNote->hide();
    m_tmrNote = new QTimer(this);
    m_tmrNote->setObjectName(QStringLiteral("tmrNote"));
    m_tmrNote->setSingleShot(true);
    m_tmrNote->setInterval(NoteMilliseconds);
    connect(m_tmrNote, &QTimer::timeout, m_lblNote, &QWidget::hide);
}

void ClockDisplay::Reset(qint16 seconds, bool visible)
{
    m_lblTime->setVisible(visible);
    m_tmrNote->stop();
    m_lblNote->hide();
    SetLowTime(false);
    m_lblTime->setText(
        FormatText(QStringLiteral("Time Remaining:  {1}"), { FormatDuration(qMax<qint32>(seconds, 0)) }));
    m_lblTime->setAccessibleName(m_lblTime->text());
}

void ClockDisplay::Show(const ExamSession::TickResult& tick, bool lowTime)
{
    m_lblTime->setText(tick.label);
    // Assistive technology hears the time at most once a minute, every
    // second of the last one; an own name keeps each tick's text quiet.
    if (tick.announce)
        m_lblTime->setAccessibleName(tick.label);
    SetLowTime(lowTime);
    if (!tick.note.isEmpty())
        ShowNote(tick.note);
}

void ClockDisplay::Stop()
{
    m_lblTime->hide();
    m_tmrNote->stop();
    m_lblNote->hide();
}

void ClockDisplay::SetLowTime(bool lowTime)
{
    // An empty palette inherits the window's again, theme changes included.
    QPalette palette;
    if (lowTime)
        palette.setColor(
            QPalette::WindowText, WarningColor(m_lblTime->parentWidget()->palette().color(QPalette::Window)));
    m_lblTime->setPalette(palette);
}

void ClockDisplay::ShowNote(const QString& text)
{
    m_lblNote->setText(text);
    m_lblNote->setAccessibleName(text);
    m_lblNote->adjustSize();
    // Under the time label, right-aligned with it; never given the focus.
    m_lblNote->move(m_lblTime->geometry().right() - m_lblNote->width(), m_lblTime->geometry().bottom() + 4);
    m_lblNote->show();
    m_lblNote->raise();
    QAccessibleEvent alert(m_lblNote, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
    m_tmrNote->start();
}
