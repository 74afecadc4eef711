#include "download/PackFile.h"

#include "download/PackInstaller.h"
#include "model/Error.h"
#include "model/PackSignature.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

namespace {

const QString Source = QStringLiteral("InstallPackFile()");

[[noreturn]] void Refuse(const QString& reason)
{
    Error::Raise(ErrorNumber::InvalidCall, Source, reason);
}

} // namespace

void InstallPackFile(const QString& packFile)
{
    const QString examID = QFileInfo(packFile).completeBaseName();
    // Checked before the copy too, so a file that is no good pack is never
    // copied, however large it is.
    const PackSignature::Result check = PackSignature::Verify(packFile, examID, PackInstaller::TrustedKeys());
    if (!check.IsGood())
        Refuse(check.Reason);
    QTemporaryDir folder(QDir(QDir::tempPath()).filePath(QStringLiteral("practorium-pack-XXXXXX")));
    if (!folder.isValid())
        Refuse(folder.errorString());
    const QString copy = folder.filePath(QFileInfo(packFile).fileName());
    QFile source(packFile);
    if (!source.copy(copy))
        Refuse(source.errorString());
    PackInstaller installer;
    if (!installer.Install(copy, examID))
        Refuse(installer.Reason());
}
