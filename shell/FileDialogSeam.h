#pragma once

#include <QString>

class QWidget;

// The one place where the program asks for a file to open or save, so tests can
// answer without a dialog, as MessageSeam does for message boxes.
class FileDialogSeam
{
public:
    // The chosen file, empty when the user cancels. While a test answer is
    // queued, returns it instead of showing the dialog.
    static QString OpenFileName(QWidget* parent, const QString& caption, const QString& filter);
    // Where to save, starting at `suggested`; empty when the user cancels. A
    // queued test answer is returned the same way.
    static QString SaveFileName(QWidget* parent, const QString& caption, const QString& suggested,
        const QString& filter);
    // The answer of the next OpenFileName or SaveFileName ("" for a cancelled dialog).
    static void SetNextFileName(const QString& path);
};
