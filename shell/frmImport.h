#pragma once

#include "exchange/Bank.h"

#include <QDialog>

class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;

// The preview of an imported question bank before it is installed: how
// many items were found and skipped, every note with its line (or item
// position), the characters Windows-1252 cannot hold, and the code and name,
// which the user may change. Install accepts only a code that can name a
// package folder.
class frmImport : public QDialog
{
    Q_OBJECT

public:
    struct Summary
    {
        QString source;            // file name shown in the title line
        int items = 0;
        int skipped = 0;
        int charactersLost = 0;
        QVector<exchange::BankNote> notes; // the reader's, then the builder's
        bool locationsAreItems = false;    // positions, not lines
    };

    frmImport(const Summary& summary, const QString& code, const QString& name, QWidget* parent = nullptr);

    QString Code() const;
    QString Name() const;

private:
    void cmdInstall_Click();

    QLineEdit* m_txtCode;
    QLineEdit* m_txtName;
};

// The whole import of one file from the main window: read and build, show
// the preview, ask before replacing an installed code, install. Every
// problem is a message box; returns the installed exam file's path, empty
// when nothing was installed.
QString ImportQuestions(QWidget* parent, const QString& path);

// The file dialog filter of the formats ImportQuestions reads.
QString ImportFileFilter();
