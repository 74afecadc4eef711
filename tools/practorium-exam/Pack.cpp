#include "tools/practorium-exam/Pack.h"

#include "model/Ansi.h"
#include "model/Error.h"
#include "model/Exam.h"
#include "model/Question.h"

#include <QDateTime>
#include <QFile>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QStringList>
#include <QTemporaryDir>

#include <algorithm>

namespace {

constexpr qint64 BlockSize = 512;
constexpr int NameFieldSize = 100;
// The ustar size field holds 11 octal digits.
constexpr qint64 MaxMemberSize = (qint64(1) << 33) - 1;

// The script's values are filled in where these stand. "exit 0" must stay its
// last line: the shell stops reading there, and the archive starts right after.
constexpr char ScriptTemplate[] = R"SCRIPT(#!/bin/sh
# Practorium exam pack, format 1
#
# Installs an exam package into the exams folder of Practorium, found as the
# program finds it: ${XDG_DATA_HOME:-$HOME/.local/share}/Practorium/Exams.
# The package's files are the tar archive that follows this script. They are
# unpacked into a new folder inside the package folder, checked, and then
# renamed into place, so a damaged pack leaves an installed package as it was.
package=@PACKAGE@
exam=@EXAM@
skip=@SKIP@
size=@SIZE@

fail() {
    printf '%s: %s\n' "$0" "$1" >&2
    exit 1
}
# The unpacking folder goes whatever happens; so does a package folder that
# this run created and left empty.
tmp=
dir=
trap '[ -z "$tmp" ] || rm -rf "$tmp"; [ -z "$dir" ] || rmdir "$dir" 2>/dev/null' EXIT
trap 'exit 1' HUP INT TERM
set -f
IFS='
'
archive() { tail -c +"$skip" "$0" | head -c "$size"; }

# After the archive comes nothing, or the signature of a signed pack, which
# the program that downloads the pack checks before running it.
rest=$(($(wc -c <"$0") - (skip - 1 + size)))
[ "$(archive | wc -c)" -eq "$size" ] || fail "the pack is incomplete or damaged"
[ "$rest" -eq 0 ] || [ "$rest" -eq @TRAILER@ ] || fail "the pack is incomplete or damaged"
names=$(archive | tar -t --quoting-style=literal) || fail "cannot read the pack's archive"
for name in $names; do
    case $name in
    .* | -* | */*) fail "refusing the archive member '$name'" ;;
    esac
done

dir=${XDG_DATA_HOME:-$HOME/.local/share}/Practorium/Exams/$package
mkdir -p "$dir" || fail "cannot create $dir"
mkdir "$dir/.install-$$" || fail "cannot create $dir/.install-$$"
tmp=$dir/.install-$$
archive | tar -x -C "$tmp" --no-same-owner --no-same-permissions || fail "cannot unpack into $dir"
for name in $names; do
    [ -f "$tmp/$name" ] && [ ! -h "$tmp/$name" ] || fail "the archive member '$name' is not a plain file"
done
[ -f "$tmp/$exam" ] || fail "the pack holds no $exam"
for name in $names; do
    mv -f "$tmp/$name" "$dir/$name" || fail "cannot move $name into $dir"
done
exit 0
)SCRIPT";

// A single-quoted shell word: the only character that needs care is the quote.
QByteArray ShellQuote(const QString& text)
{
    QByteArray quoted = QFile::encodeName(text);
    quoted.replace('\'', "'\\''");
    return '\'' + quoted + '\'';
}

qint64 PaddedSize(qint64 size)
{
    return (size + BlockSize - 1) / BlockSize * BlockSize;
}

// Writes `value` as zero-padded octal digits filling `width - 1` bytes, then a NUL.
void PutOctal(char* field, int width, qint64 value)
{
    for (int i = width - 2; i >= 0; --i) {
        field[i] = char('0' + (value & 7));
        value >>= 3;
    }
    field[width - 1] = '\0';
}

// One ustar header of a regular file, owner-readable and -writable, readable
// by everyone; owner and group are left to the one who unpacks.
QByteArray MemberHeader(const QByteArray& name, qint64 size, qint64 mtime)
{
    QByteArray header(BlockSize, '\0');
    char* h = header.data();
    std::copy(name.cbegin(), name.cend(), h);
    PutOctal(h + 100, 8, 0644);
    PutOctal(h + 108, 8, 0);
    PutOctal(h + 116, 8, 0);
    PutOctal(h + 124, 12, size);
    PutOctal(h + 136, 12, mtime);
    h[156] = '0';
    std::copy_n("ustar\0" "00", 8, h + 257);
    // The checksum counts its own field as eight blanks.
    std::fill_n(h + 148, 8, ' ');
    unsigned sum = 0;
    for (const char c : header)
        sum += static_cast<unsigned char>(c);
    PutOctal(h + 148, 7, sum);
    h[155] = ' ';
    return header;
}

struct Member
{
    QString Name;
    QString Path;
    qint64 Size = 0;
};

// Writes and, for a signed pack, feeds the signature's digest.
void WriteAll(QSaveFile& output, const QByteArray& bytes, PackSignature::Signer* signer)
{
    if (output.write(bytes) != bytes.size())
        Error::Raise(ErrorNumber::InvalidCall, output.fileName(), output.errorString());
    if (signer)
        signer->Add(bytes);
}

// Copies the member's file in blocks, so an exhibit of any size costs no more
// memory than one block; a file that changed size since it was measured is an
// error rather than a member that disagrees with its header.
void CopyMember(QSaveFile& output, const Member& member, PackSignature::Signer* signer)
{
    QFile input(member.Path);
    if (!input.open(QIODevice::ReadOnly))
        Error::Raise(ErrorNumber::InvalidCall, member.Path, input.errorString());
    qint64 left = member.Size;
    while (left > 0) {
        const QByteArray block = input.read(std::min<qint64>(left, 64 * 1024));
        if (block.isEmpty()) {
            Error::Raise(ErrorNumber::InvalidCall, member.Path,
                input.error() != QFileDevice::NoError ? input.errorString() : QStringLiteral("the file became shorter while it was read"));
        }
        WriteAll(output, block, signer);
        left -= block.size();
    }
    if (!input.read(1).isEmpty())
        Error::Raise(ErrorNumber::InvalidCall, member.Path, QStringLiteral("the file became longer while it was read"));
    WriteAll(output, QByteArray(PaddedSize(member.Size) - member.Size, '\0'), signer);
}

Member MeasuredMember(const QString& name, const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists() || !info.isFile())
        Error::Raise(ErrorNumber::InvalidCall, path, QStringLiteral("no such file"));
    if (info.size() > MaxMemberSize)
        Error::Raise(ErrorNumber::Overflow, path, QStringLiteral("too large for a pack"));
    return Member { name, path, info.size() };
}

} // namespace

namespace Pack {

bool IsPlainName(const QString& name)
{
    if (name.isEmpty() || name.startsWith(u'.') || name.startsWith(u'-') || name.contains(u'/'))
        return false;
    const bool hasControl = std::any_of(name.cbegin(), name.cend(), [](QChar c) {
        return c.unicode() < 0x20 || c.unicode() == 0x7F;
    });
    return !hasControl && QFile::encodeName(name).size() <= NameFieldSize;
}

QString ExamFileName(const QString& package)
{
    const qsizetype dot = package.lastIndexOf(u'.');
    return (dot >= 0 ? package.left(dot) : package) + QStringLiteral(".exam");
}

QByteArray InstallerScript(const QString& package, const QString& examFile, qint64 archiveSize)
{
    QByteArray base(ScriptTemplate);
    base.replace("@PACKAGE@", ShellQuote(package));
    base.replace("@EXAM@", ShellQuote(examFile));
    base.replace("@SIZE@", QByteArray::number(archiveSize));
    base.replace("@TRAILER@", QByteArray::number(PackSignature::TrailerBytes));
    // The archive's offset is part of the script it follows; a few rounds
    // settle the number of its digits.
    qint64 skip = 1;
    QByteArray script;
    for (;;) {
        script = QByteArray(base).replace("@SKIP@", QByteArray::number(skip));
        if (script.size() + 1 == skip)
            return script;
        skip = script.size() + 1;
    }
}

void Build(Exam& exam, const QString& exhibitFolder, const QString& outputPath, const QString& source,
    PackSignature::Signer* signer)
{
    // The folder is named after the code as the exam file stores it, which is
    // what the catalogue reads back and compares with the exam ID.
    const QString package = Ansi::ToUnicode(Ansi::FromUnicode(exam.Code()));
    const QString examFile = ExamFileName(package);
    if (!IsPlainName(package) || !IsPlainName(examFile)) {
        Error::Raise(ErrorNumber::InvalidCall, source,
            QStringLiteral("code: \"%1\" cannot name a package folder (a plain file name is needed)").arg(package));
    }

    QTemporaryDir work;
    if (!work.isValid())
        Error::Raise(ErrorNumber::InvalidCall, QStringLiteral("temporary folder"), work.errorString());
    const QString compiled = work.filePath(examFile);
    exam.Save(compiled);

    QList<Member> members { MeasuredMember(examFile, compiled) };
    QStringList named { examFile };
    qsizetype position = 0;
    for (const Question& question : exam.Questions()) {
        ++position;
        const QString name = question.Exhibit();
        const QString key = QStringLiteral("questions[%1].exhibit: ").arg(position);
        if (name == examFile)
            Error::Raise(ErrorNumber::InvalidCall, source, key + QStringLiteral("\"%1\" is the exam file's own name").arg(name));
        if (name.isEmpty() || named.contains(name))
            continue;
        if (!IsPlainName(name))
            Error::Raise(ErrorNumber::InvalidCall, source, key + QStringLiteral("\"%1\" is not a plain file name").arg(name));
        const QString path = QDir(exhibitFolder).filePath(name);
        if (!QFileInfo(path).isFile())
            Error::Raise(ErrorNumber::InvalidCall, source, key + QStringLiteral("%1: no such file beside the source").arg(name));
        members.append(MeasuredMember(name, path));
        named.append(name);
    }

    // Members and the two closing zero blocks.
    qint64 archiveSize = 2 * BlockSize;
    for (const Member& member : members)
        archiveSize += BlockSize + PaddedSize(member.Size);

    QSaveFile output(outputPath);
    if (!output.open(QIODevice::WriteOnly))
        Error::Raise(ErrorNumber::InvalidCall, outputPath, output.errorString());
    WriteAll(output, InstallerScript(package, examFile, archiveSize), signer);
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    for (const Member& member : members) {
        WriteAll(output, MemberHeader(QFile::encodeName(member.Name), member.Size, now), signer);
        CopyMember(output, member, signer);
    }
    WriteAll(output, QByteArray(2 * BlockSize, '\0'), signer);
    if (signer)
        WriteAll(output, signer->Trailer(), nullptr);
    output.setPermissions(output.permissions() | QFileDevice::ExeOwner | QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    if (!output.commit())
        Error::Raise(ErrorNumber::InvalidCall, outputPath, output.errorString());
}

} // namespace Pack
