#pragma once

#include <QByteArray>
#include <QString>

#include <cstdio>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

// Shared by the fuzz targets.
namespace FuzzUtil {

// A file that lives in memory (memfd), opened by the program under test
// through its /proc/self/fd path like any other regular file.
class MemFile
{
public:
    explicit MemFile(const QByteArray& bytes = QByteArray())
        : m_fd(::memfd_create("fuzz", MFD_CLOEXEC))
    {
        if (m_fd < 0 || ::write(m_fd, bytes.constData(), size_t(bytes.size())) != bytes.size())
            std::abort();
    }
    ~MemFile() { ::close(m_fd); }
    MemFile(const MemFile&) = delete;
    MemFile& operator=(const MemFile&) = delete;

    QString Path() const { return QStringLiteral("/proc/self/fd/%1").arg(m_fd); }
    QByteArray Bytes() const
    {
        QByteArray bytes(qsizetype(::lseek(m_fd, 0, SEEK_END)), '\0');
        if (::pread(m_fd, bytes.data(), size_t(bytes.size()), 0) != bytes.size())
            std::abort();
        return bytes;
    }

private:
    int m_fd;
};

// A broken property: say which and stop, so libFuzzer keeps the input.
[[noreturn]] inline void Broken(const char* property)
{
    std::fprintf(stderr, "property broken: %s\n", property);
    std::abort();
}

} // namespace FuzzUtil
