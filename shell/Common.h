#pragma once

#include "model/Common.h"
#include "model/Twips.h"

#include <QList>

#include <memory>

class QTemporaryDir;
class QTreeView;
class QWidget;

// The widget half of the shared toolbox; the rest is in model/Common.h.

// The caption of every message box.
QString ApplicationTitle();

// Expands the template as FormatText does, except that only "{CRLF}" in
// capitals is a line break, and shows it through the message seam. Styles:
// 16 critical, 36 Yes/No question, 48 exclamation, 64 information. An empty
// template shows nothing and returns 0.
int ShowMessage(const QString& messageTemplate, int style = 0, const QVariantList& values = {});

// Opens `url` with xdg-open, detached, after writing the stand-in page that
// shows a page can be written (BrowserPage). The browser is handed the
// address, never the page, so the page is gone again when this returns.
// Failures are shown, never raised.
void LaunchBrowser(const QString& url);

// LaunchBrowser's stand-in page "temp.htm", holding "<HTML></HTML>" and a line
// feed. It is written in a folder of its own, made under the temporary folder
// with a fresh name that only this user may enter (0700), and created there
// as a new file, never over an existing one and never through a link, so
// another user can neither block it nor turn it against a file of ours. The
// folder and the page go with the object.
class BrowserPage
{
public:
    BrowserPage();
    ~BrowserPage();
    BrowserPage(const BrowserPage&) = delete;
    BrowserPage& operator=(const BrowserPage&) = delete;

    // The page's path; empty when it could not be written.
    const QString& Path() const { return m_path; }

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_path;
};

// The header role that holds a column's width in percent of the list.
constexpr int ColumnTagRole = 0x0100; // Qt::UserRole
void SetColumnTag(QTreeView* list, int column, float percent);
// Column widths in twips for a list `listWidth` twips wide: each column gets
// its percentage; the widest (the first of equals) is 50 twips narrower so
// no horizontal scroll bar appears.
QList<float> ColumnWidths(float listWidth, const QList<float>& percents);
// Applies ColumnWidths to the list's columns; errors are ignored.
void SizeColumns(QTreeView* list);

void CenterHorizontally(QWidget* container, QWidget* control);

// The primary screen less panels and docks, in twips.
TwipsRect GetWorkArea();
