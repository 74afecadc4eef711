#pragma once

#include <QString>

// Running an exam pack: the one path by which the download window and a pack
// opened from the file manager install a pack, so both check it the same way.

// Whether `path` holds a whole pack: it starts with the pack's first lines and
// is exactly as long as its script says (script plus archive).
bool IsWholePackFile(const QString& path);

// Runs the whole pack `packFile` and waits for it to end, after making it
// executable for its owner. Raises when it is not a whole pack or cannot be
// made executable. The pack's exit code is not examined: the catalogue shows
// what got installed.
void RunPackFile(const QString& packFile);

// Runs a pack that belongs to the user (one opened from the file manager)
// without touching it: it is checked, copied into a private folder in the
// temporary folder, run from there as RunPackFile runs it, and the copy is
// deleted. Raises as RunPackFile does.
void RunPackCopy(const QString& packFile);
