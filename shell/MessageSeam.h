#pragma once

#include <QList>
#include <QString>

// The one place where message boxes appear. Every box of the program, whether
// through ShowMessage or shown directly, passes here, so tests can record the
// boxes and answer them without a window.
class MessageSeam
{
public:
    // Button codes returned by a box.
    enum Button { OK = 1, Cancel = 2, Abort = 3, Retry = 4, Ignore = 5, Yes = 6, No = 7 };
    // Styles in use: button set (low nibble) plus icon.
    enum Style { OkOnly = 0, Critical = 16, Question = 32, Exclamation = 48, Information = 64, YesNo = 4 };

    struct Shown
    {
        QString Text;
        int Style = 0;
        QString Caption;
    };

    // Shows a box with `text`, the buttons and icon of `style` and `caption`,
    // and returns the button pressed.
    static int Show(const QString& text, int style, const QString& caption);

    // While intercepting, boxes are recorded instead of shown and answered
    // with the queued answers in order, else with the box's first button.
    static void Intercept(bool on);
    static bool IsIntercepting();
    static void SetNextAnswer(int button);
    // The boxes recorded since the last call, oldest first.
    static QList<Shown> TakeShown();
};
