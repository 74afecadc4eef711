#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

namespace exchange {

// A zip archive read whole into memory, never onto disk. Every regular file
// becomes an entry keyed by its path inside the archive ("items/q1.xml").
//
// Refused, with nothing returned: an entry whose path is absolute, has a
// drive letter or a ".." component; a symbolic or hard link or a device; two
// entries with one path; more than MaxEntries entries; an entry that declares
// or delivers more than MaxEntryBytes, or all of them together more than
// MaxTotalBytes; anything libarchive cannot read (damaged, encrypted).
class ZipArchive
{
public:
    static constexpr int MaxEntries = 10000;
    static constexpr qint64 MaxEntryBytes = 32 * 1024 * 1024;
    static constexpr qint64 MaxTotalBytes = 128 * 1024 * 1024;

    static bool IsZip(const QByteArray& bytes) { return bytes.startsWith("PK\x03\x04"); }

    // False with `error` set when the archive is refused.
    bool Read(const QByteArray& bytes, QString& error);

    const QHash<QString, QByteArray>& Entries() const { return m_entries; }
    bool Contains(const QString& path) const { return m_entries.contains(path); }
    QByteArray Entry(const QString& path) const { return m_entries.value(path); }

private:
    QHash<QString, QByteArray> m_entries;
};

} // namespace exchange
