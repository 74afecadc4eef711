#pragma once

#include "session/ExamSession.h"

#include <QObject>

class QFont;
class QLabel;
class QTimer;
class QWidget;

// The exam window's clock as the candidate sees it: lblTime with the
// remaining time, in a warning colour while time is low, and lblNote, the
// short note under it at the low-time cue, gone again after a few seconds
// (tmrNote). Neither takes the focus or asks anything. Both labels are
// children of the window, which places lblTime; the note follows it.
class ClockDisplay : public QObject
{
    Q_OBJECT

public:
    ClockDisplay(const QFont& font, QWidget* window);

    QLabel* TimeLabel() const { return m_lblTime; }
    // A new sitting: `seconds` shown (told to assistive technology too), the
    // normal colour, no note; the label hidden when the sitting has no clock.
    void Reset(qint16 seconds, bool visible);
    // One tick's time, its colour while `lowTime`, and the note it brings.
    void Show(const ExamSession::TickResult& tick, bool lowTime);
    // The sitting has ended: no time and no note any more.
    void Stop();

private:
    void SetLowTime(bool lowTime);
    void ShowNote(const QString& text);

    QLabel* m_lblTime = nullptr;
    QLabel* m_lblNote = nullptr;
    QTimer* m_tmrNote = nullptr;
};
