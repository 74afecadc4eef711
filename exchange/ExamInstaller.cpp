#include "exchange/ExamInstaller.h"

#include "model/Error.h"
#include "model/Exam.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QTemporaryDir>

namespace exchange {

QString PackageCodeProblem(const QString& code)
{
    if (code.trimmed().isEmpty())
        return QStringLiteral("The code is empty.");
    if (code != code.trimmed() || code.contains(u'/') || code.contains(u'\\') || code.contains(u'.'))
        return QStringLiteral("The code may not contain \".\", \"/\", \"\\\" or blanks at either end.");
    return {};
}

bool InstallExamPackage(const QString& examsFolder, Exam& exam, const QVector<Picture>& pictures, QString& error)
{
    const QString code = exam.Code();
    error = PackageCodeProblem(code);
    if (!error.isEmpty())
        return false;
    if (!QDir().mkpath(examsFolder)) {
        error = QStringLiteral("cannot create the exams folder %1").arg(examsFolder);
        return false;
    }
    // Hidden, so the catalogue never lists a half-written package.
    QTemporaryDir staging(examsFolder + QStringLiteral("/.import-XXXXXX"));
    if (!staging.isValid()) {
        error = staging.errorString();
        return false;
    }
    try {
        exam.Save(staging.filePath(code + QStringLiteral(".exam")));
    } catch (const Error& e) {
        error = e.Description();
        return false;
    }
    for (const Picture& picture : pictures) {
        QSaveFile file(staging.filePath(picture.fileName));
        if (!file.open(QIODevice::WriteOnly) || file.write(picture.bytes) != picture.bytes.size() || !file.commit()) {
            error = QStringLiteral("%1: %2").arg(picture.fileName, file.errorString());
            return false;
        }
    }
    const QString target = examsFolder + u'/' + code;
    QDir exams(examsFolder);
    QString old;
    if (QFileInfo::exists(target)) {
        old = QStringLiteral("%1/.replaced-%2").arg(staging.path(), code);
        if (!exams.rename(target, old)) {
            error = QStringLiteral("cannot move the installed package %1 aside").arg(target);
            return false;
        }
    }
    // The old package waits inside the staging folder: once the staging
    // folder is the package, one removal clears it.
    if (!exams.rename(staging.path(), target)) {
        if (!old.isEmpty())
            exams.rename(old, target);
        error = QStringLiteral("cannot move the new package to %1").arg(target);
        return false;
    }
    staging.setAutoRemove(false);
    // The staging folder was private (0700); a package is as readable as the
    // packs install them.
    QFile::setPermissions(target, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner
            | QFileDevice::ReadGroup | QFileDevice::ExeGroup | QFileDevice::ReadOther | QFileDevice::ExeOther);
    if (!old.isEmpty())
        QDir(target + QStringLiteral("/.replaced-") + code).removeRecursively();
    return true;
}

} // namespace exchange
