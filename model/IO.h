#pragma once

#include <QString>
#include <QStringList>

// Path and folder helpers: folder macros, joins and splits on "/", the
// temporary folder and size texts. Free functions without state.

// The shell-folder identifier of a macro such as "$(PROGRAMFILES)" (trimmed,
// any case); 0 (the desktop) for anything else.
qint32 GetFolderID(const QString& macro);
// The folder a macro names on this system; empty when there is none.
QString GetSpecialFolder(const QString& macro);
// Trims the folder, adds "/" unless it ends with one, appends the name.
QString CombinePath(const QString& folder, const QString& name);
// True when the path (wildcards allowed) matches at least one entry.
bool FileExists(const QString& path);
// Names of the folder's subfolders, "." and ".." included.
QStringList GetSubFolders(const QString& folder);
QString GetFileName(const QString& path, bool stripExtension = false);
QString GetExtension(const QString& path);
// Replaces the extension of `path` (in place) and returns the result.
QString ChangeExtension(QString& path, const QString& extension);
QString GetTempFolder();
// "512 bytes", "1.5 KB", "0.98 MB": the unit by a decimal threshold on whole
// kilobytes, the value by a binary divisor, digits grouped by the locale.
QString FormatSize(double size, qint16 decimals);
