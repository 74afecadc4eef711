#include "exchange/ZipArchive.h"

#include <QStringList>

#include <archive.h>
#include <archive_entry.h>

#include <memory>

namespace exchange {

namespace {

// "dir/./a.xml" -> "dir/a.xml"; empty for a path that may not be used.
QString SafePath(QString path)
{
    path.replace(u'\\', u'/');
    if (path.startsWith(u'/') || (path.size() > 1 && path[1] == u':'))
        return {};
    QStringList parts;
    for (const QString& part : path.split(u'/', Qt::SkipEmptyParts)) {
        if (part == u"..")
            return {};
        if (part != u".")
            parts.append(part);
    }
    return parts.join(u'/');
}

} // namespace

bool ZipArchive::Read(const QByteArray& bytes, QString& error)
{
    m_entries.clear();
    std::unique_ptr<archive, decltype(&archive_read_free)> zip(archive_read_new(), archive_read_free);
    archive_read_support_format_zip(zip.get());
    if (archive_read_open_memory(zip.get(), bytes.constData(), size_t(bytes.size())) != ARCHIVE_OK) {
        error = QStringLiteral("not a readable zip archive: %1").arg(QString::fromLocal8Bit(archive_error_string(zip.get())));
        return false;
    }
    auto refuse = [&](const QString& why) {
        m_entries.clear();
        error = why;
        return false;
    };
    qint64 total = 0;
    int count = 0;
    archive_entry* entry = nullptr;
    QByteArray chunk(64 * 1024, Qt::Uninitialized);
    for (;;) {
        const int status = archive_read_next_header(zip.get(), &entry);
        if (status == ARCHIVE_EOF)
            break;
        if (status != ARCHIVE_OK)
            return refuse(QStringLiteral("damaged zip archive: %1").arg(QString::fromLocal8Bit(archive_error_string(zip.get()))));
        if (++count > MaxEntries)
            return refuse(QStringLiteral("more than %1 entries in the zip archive").arg(MaxEntries));
        const char* utf8 = archive_entry_pathname_utf8(entry);
        const QString raw = utf8 ? QString::fromUtf8(utf8) : QString::fromLocal8Bit(archive_entry_pathname(entry));
        const QString path = SafePath(raw);
        if (path.isEmpty())
            return refuse(QStringLiteral("the zip entry \"%1\" points outside the archive").arg(raw));
        const mode_t type = archive_entry_filetype(entry);
        if (type == AE_IFDIR)
            continue;
        if (type != AE_IFREG || archive_entry_hardlink(entry) || archive_entry_symlink(entry))
            return refuse(QStringLiteral("the zip entry \"%1\" is a link or a device, not a file").arg(raw));
        if (m_entries.contains(path))
            return refuse(QStringLiteral("the zip archive holds \"%1\" twice").arg(path));
        if (archive_entry_size_is_set(entry) && archive_entry_size(entry) > MaxEntryBytes)
            return refuse(QStringLiteral("the zip entry \"%1\" is larger than %2 MiB").arg(path).arg(MaxEntryBytes >> 20));
        // Declared sizes can lie: the bytes delivered are counted too.
        QByteArray data;
        for (;;) {
            const la_ssize_t got = archive_read_data(zip.get(), chunk.data(), size_t(chunk.size()));
            if (got < 0) {
                return refuse(QStringLiteral("the zip entry \"%1\" cannot be read: %2")
                                  .arg(path, QString::fromLocal8Bit(archive_error_string(zip.get()))));
            }
            if (got == 0)
                break;
            if (data.size() + got > MaxEntryBytes)
                return refuse(QStringLiteral("the zip entry \"%1\" is larger than %2 MiB").arg(path).arg(MaxEntryBytes >> 20));
            total += got;
            if (total > MaxTotalBytes)
                return refuse(QStringLiteral("the zip archive unpacks to more than %1 MiB").arg(MaxTotalBytes >> 20));
            data.append(chunk.constData(), got);
        }
        m_entries.insert(path, data);
    }
    return true;
}

} // namespace exchange
