#pragma once

// Registers the program's compiled-in pictures (":/Logo", ":/PRINTABLE_LOGO",
// ":/icons/Checked", ":/icons/Incomplete", ":/icons/Complete", each with an
// "@2x" twin for high-density screens).
//
// The pictures live in the shell library, which is static: the linker drops
// their registration unless something calls this. Every window that shows
// one of them calls it in its constructor; calls after the first do nothing.
void InitResources();

class QIcon;
class QPixmap;
class QString;

// One of the compiled-in PNG pictures. The format is fixed rather than
// detected, so Qt does not load every image plugin to ask whether it can read
// the picture: that scan costs more than the rest of the main window.
QPixmap LoadPicture(const QString& resource);
// The picture with its "@2x" twin, for use at any size and screen density.
QIcon LoadIcon(const QString& resource);
