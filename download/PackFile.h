#pragma once

#include <QString>

// Installs a pack that the candidate opened from a file, exactly as the
// download window installs a downloaded one (PackInstaller: whole, signed for
// its exam by a trusted key, run without freezing the windows), but from a
// private copy in the temporary folder, so the candidate's file is neither
// made executable nor changed. The exam ID is the file's name without its
// extension, as packs are named "<exam ID>.pack". Raises with the installer's
// reason when the pack is refused or not installed.
void InstallPackFile(const QString& packFile);
