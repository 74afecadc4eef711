#pragma once

#include "shell/MessageSeam.h"

#include <QApplication>
#include <QStringList>
#include <QTest>
#include <QTimer>
#include <QWidget>

#include <array>
#include <functional>
#include <memory>

// Helpers shared by the window tests.
namespace GuiUtil {

// The child `name` of `parent`; a missing one ends the program, since every
// later step would only fail less clearly.
template <typename T = QWidget>
T* Child(const QObject* parent, const QString& name)
{
    T* child = parent->findChild<T*>(name);
    if (!child)
        qFatal("no child %s", qPrintable(name));
    return child;
}

// Adds a column of each type, named in order, to the test's table.
template <typename... T>
void Columns(const std::array<const char*, sizeof...(T)>& names)
{
    std::size_t i = 0;
    (QTest::addColumn<T>(names[i++]), ...);
}

// The current test row's `name` column, where QFETCH cannot stand (in an
// expression).
template <typename T>
T Data(const char* name)
{
    return *static_cast<T*>(QTest::qData(name, qMetaTypeId<T>()));
}

// The boxes shown since the last call, each as "style:text".
inline QStringList Shown()
{
    QStringList texts;
    for (const MessageSeam::Shown& shown : MessageSeam::TakeShown())
        texts << QString::number(shown.Style) + QLatin1Char(':') + shown.Text;
    return texts;
}

// Runs `step` on the modal dialog of type T as soon as it is open and closes
// it if the step left it open; the flag returned turns true then.
template <typename T>
std::shared_ptr<bool> WhenModal(
    std::function<void(T*)> step = {}, std::shared_ptr<bool> done = std::make_shared<bool>(false), int tries = 500)
{
    QTimer::singleShot(0, qApp, [step, done, tries] {
        if (auto* dialog = qobject_cast<T*>(QApplication::activeModalWidget())) {
            if (step)
                step(dialog);
            if (dialog->isVisible())
                dialog->reject();
            *done = true;
        } else if (tries > 0) {
            WhenModal<T>(step, done, tries - 1);
        }
    });
    return done;
}

// The object names met pressing Tab from the focus until it comes back (at
// most `limit` stops), and then Shift+Tab the same way.
inline QStringList TabRing(int limit, Qt::KeyboardModifiers direction = Qt::NoModifier)
{
    QWidget* start = QApplication::focusWidget();
    QStringList seen;
    do {
        seen << QApplication::focusWidget()->objectName();
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab, direction);
    } while (QApplication::focusWidget() != start && seen.size() <= limit);
    return seen;
}

} // namespace GuiUtil
