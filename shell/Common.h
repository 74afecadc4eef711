#pragma once

#include "model/Common.h"
#include "model/Twips.h"

#include <QList>

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

// Opens `url` with xdg-open, detached. Failures are shown, never raised.
void LaunchBrowser(const QString& url);

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
