#pragma once

#include "model/Pack.h"
#include "model/PackSignature.h"

#include <QByteArray>
#include <QString>

class Exam;

// Building exam packs. A pack is the installer script below followed by an
// uncompressed ustar archive that holds, flat, the package's exam file and
// the exhibit pictures its questions name. The script unpacks the archive into
// a new folder inside the package folder, checks every member, and only then
// renames the files into place, so a damaged pack leaves an installed package
// as it was, and a second run replaces the files of the first. A signed pack
// has its signature after the archive (PackSignature.h); the script reads
// only the archive and accepts nothing else after it.
namespace Pack {

// Whether `name` can be a member of a pack and the name of a package folder:
// not empty, no "/", no control character (so no NUL and no line break), not
// starting with "." (hidden, "." and "..") or "-" (read as an option by the
// tools the script runs), and at most 100 bytes in UTF-8 (the ustar name
// field, since members are flat).
bool IsPlainName(const QString& name);

// The exam file of a package, named as the catalogue looks for it: the folder
// name up to its last "." (the whole name when it holds none) plus ".exam".
QString ExamFileName(const QString& package);

// The installer script of `package` for an archive of `archiveSize` bytes,
// ending in "exit 0" and a line break: the archive follows it directly.
QByteArray InstallerScript(const QString& package, const QString& examFile, qint64 archiveSize);

// Writes the pack of `exam` over `outputPath` (executable, replaced only when
// whole). The package folder is the exam's code. Exhibits are read from
// `exhibitFolder`. Problems of the exam's content are raised with `source`
// (the JSON file) and the key path ("questions[3].exhibit: ..."); file errors
// with the file's path as the source. With a `signer`, the pack is signed as
// it is written (see PackSignature.h).
void Build(Exam& exam, const QString& exhibitFolder, const QString& outputPath, const QString& source,
    PackSignature::Signer* signer = nullptr);

} // namespace Pack
