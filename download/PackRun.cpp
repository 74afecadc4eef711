#include "download/PackRun.h"

#include "model/Common.h"
#include "model/Error.h"
#include "model/Pack.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

namespace {

const QString RunSource = QStringLiteral("RunPackFile()");

// Where the script of a pack declares its own length: the archive starts at
// byte "skip" (1-based) and is "size" bytes long. Both lines stand near the
// top of the script.
constexpr qint64 PackHeadBytes = 4096;

// A single-quoted word for SyncShell's shell-like splitting.
QString ShellQuote(const QString& text)
{
    QString quoted = text;
    quoted.replace(u'\'', QLatin1String("'\\''"));
    return u'\'' + quoted + u'\'';
}

// The number on the script line "<name>=<digits>", or -1.
qint64 ScriptNumber(const QByteArray& head, const QByteArray& name)
{
    const QByteArray marker = '\n' + name + '=';
    const qsizetype start = head.indexOf(marker);
    if (start < 0)
        return -1;
    const qsizetype from = start + marker.size();
    const qsizetype end = head.indexOf('\n', from);
    if (end < 0)
        return -1;
    const QByteArray digits = head.mid(from, end - from);
    for (char c : digits) {
        if (c < '0' || c > '9')
            return -1;
    }
    bool ok = false;
    const qint64 value = digits.toLongLong(&ok);
    return ok ? value : -1;
}

} // namespace

bool IsWholePackFile(const QString& path)
{
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray head = file.read(PackHeadBytes);
    if (!head.startsWith(QByteArray(Pack::Signature, Pack::SignatureLength)))
        return false;
    const qint64 skip = ScriptNumber(head, "skip");
    const qint64 size = ScriptNumber(head, "size");
    if (skip <= Pack::SignatureLength || size < 0)
        return false;
    // A server that announced too short a length can hand over a cut pack
    // that HTTP calls whole; the pack's own count catches it.
    return file.size() == skip - 1 + size;
}

void RunPackFile(const QString& packFile)
{
    if (!IsWholePackFile(packFile))
        Error::Raise(ErrorNumber::InvalidCall, RunSource, QStringLiteral("Not a whole pack"));
    QFile pack(packFile);
    if (!pack.setPermissions(pack.permissions() | QFileDevice::ExeOwner | QFileDevice::ReadOwner))
        Error::Raise(ErrorNumber::InvalidCall, RunSource, pack.errorString());
    SyncShell(ShellQuote(packFile));
}

void RunPackCopy(const QString& packFile)
{
    // Checked before the copy too, so that a file that is no pack is not
    // copied at all, however large it is.
    if (!IsWholePackFile(packFile))
        Error::Raise(ErrorNumber::InvalidCall, RunSource, QStringLiteral("Not a whole pack"));
    QTemporaryDir folder(QDir(QDir::tempPath()).filePath(QStringLiteral("practorium-pack-XXXXXX")));
    if (!folder.isValid())
        Error::Raise(ErrorNumber::InvalidCall, RunSource, folder.errorString());
    const QString copy = folder.filePath(QStringLiteral("exam.pack"));
    QFile source(packFile);
    if (!source.copy(copy))
        Error::Raise(ErrorNumber::InvalidCall, RunSource, source.errorString());
    RunPackFile(copy);
}
