#include "shell/MessageSeam.h"

#include <QApplication>
#include <QMessageBox>

namespace {

struct SeamState
{
    bool intercepting = false;
    QList<int> answers;
    QList<MessageSeam::Shown> shown;
};

SeamState& State()
{
    static SeamState state;
    return state;
}

int FirstButton(int style)
{
    switch (style & 0xF) {
    case 2: return MessageSeam::Abort;
    case 3:
    case 4: return MessageSeam::Yes;
    case 5: return MessageSeam::Retry;
    default: return MessageSeam::OK;
    }
}

QMessageBox::StandardButtons ButtonsOf(int style)
{
    switch (style & 0xF) {
    case 1: return QMessageBox::Ok | QMessageBox::Cancel;
    case 2: return QMessageBox::Abort | QMessageBox::Retry | QMessageBox::Ignore;
    case 3: return QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
    case 4: return QMessageBox::Yes | QMessageBox::No;
    case 5: return QMessageBox::Retry | QMessageBox::Cancel;
    default: return QMessageBox::Ok;
    }
}

QMessageBox::Icon IconOf(int style)
{
    switch (style & 0x70) {
    case 16: return QMessageBox::Critical;
    case 32: return QMessageBox::Question;
    case 48: return QMessageBox::Warning;
    case 64: return QMessageBox::Information;
    default: return QMessageBox::NoIcon;
    }
}

int CodeOf(int standardButton)
{
    switch (standardButton) {
    case QMessageBox::Ok: return MessageSeam::OK;
    case QMessageBox::Cancel: return MessageSeam::Cancel;
    case QMessageBox::Abort: return MessageSeam::Abort;
    case QMessageBox::Retry: return MessageSeam::Retry;
    case QMessageBox::Ignore: return MessageSeam::Ignore;
    case QMessageBox::Yes: return MessageSeam::Yes;
    case QMessageBox::No: return MessageSeam::No;
    default: return MessageSeam::Cancel;
    }
}

} // namespace

int MessageSeam::Show(const QString& text, int style, const QString& caption)
{
    SeamState& state = State();
    if (state.intercepting) {
        state.shown.append(Shown { text, style, caption });
        return state.answers.isEmpty() ? FirstButton(style) : state.answers.takeFirst();
    }
    QMessageBox box(IconOf(style), caption, text, ButtonsOf(style), QApplication::activeWindow());
    const int pressed = box.exec();
    // Closing a Yes/No box with the window manager answers No, not Cancel.
    if (pressed == QMessageBox::Cancel && !(ButtonsOf(style) & QMessageBox::Cancel))
        return (style & 0xF) == 4 ? No : OK;
    return CodeOf(pressed);
}

void MessageSeam::Intercept(bool on)
{
    State() = SeamState { on, {}, {} };
}

bool MessageSeam::IsIntercepting()
{
    return State().intercepting;
}

void MessageSeam::SetNextAnswer(int button)
{
    State().answers.append(button);
}

QList<MessageSeam::Shown> MessageSeam::TakeShown()
{
    return std::exchange(State().shown, {});
}
