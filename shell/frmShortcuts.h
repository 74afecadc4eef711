#pragma once

#include <QDialog>

// The keyboard shortcuts of the catalogue and of a sitting, opened with F1
// from either window. It is modeless, so the candidate can keep it beside
// the exam, and Escape or Close shuts it.
class frmShortcuts : public QDialog
{
    Q_OBJECT

public:
    explicit frmShortcuts(QWidget* owner);

    // Shows the owner's list, raising it when it is open already.
    static frmShortcuts* ShowFor(QWidget* owner);
    // Key and what it does, in the order shown.
    static QList<std::pair<QString, QString>> Entries();
    // Adds F1 to `window`, opening the list owned by it.
    static void AddHelpKey(QWidget* window);
};
