#include "model/File.h"

#include "model/Ansi.h"
#include "model/Common.h"
#include "model/Error.h"

#include <QCoreApplication>
#include <QFile>
#include <QTimeZone>
#include <QtEndian>

#include <bit>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr qint64 BufferSize = 64 * 1024;
constexpr qint32 CopyBlockSize = 4096;

const QString SrcOpen = QStringLiteral("File::OpenFile()");
const QString SrcClose = QStringLiteral("File::CloseFile()");
const QString SrcFlush = QStringLiteral("File::Flush()");
const QString SrcSeek = QStringLiteral("File::SeekTo()");
const QString SrcGetAttr = QStringLiteral("File::GetAttributes()");
const QString SrcSetAttr = QStringLiteral("File::SetAttributes()");
const QString SrcRead = QStringLiteral("File::ReadData()");
const QString SrcWrite = QStringLiteral("File::WriteData()");
const QString SrcCopy = QStringLiteral("File::CopyTo()");

[[noreturn]] void RaiseUnsupported(const QString& source)
{
    Error::Raise(ErrorNumber::InvalidCall, source, QStringLiteral("Unsupported data type provided"));
}

[[noreturn]] void RaiseErrno(int code)
{
    errno = code;
    CheckApiResult(false);
    Q_UNREACHABLE();
}

QString CleanFileName(const QString& fileName)
{
    QString name = fileName;
    name.remove(QLatin1Char('"'));
    return TrimBlanks(name);
}

const QDate OleEpoch(1899, 12, 30);
constexpr qint64 MsPerDay = 86400000;


} // namespace

QDateTime OleDate::ToDateTime() const
{
    if (!std::isfinite(Days) || std::fabs(Days) > 3.0e6)
        return QDateTime();
    const double whole = std::trunc(Days);
    const qint64 msOfDay = std::llround(std::fabs(Days - whole) * double(MsPerDay));
    return QDateTime(OleEpoch.addDays(qint64(whole)), QTime(0, 0)).addMSecs(msOfDay);
}

OleDate OleDate::FromDateTime(const QDateTime& dateTime)
{
    const qint64 days = OleEpoch.daysTo(dateTime.date());
    const double fraction = double(dateTime.time().msecsSinceStartOfDay()) / double(MsPerDay);
    return OleDate { days >= 0 ? double(days) + fraction : double(days) - fraction };
}

File::~File()
{
    try {
        CloseFile();
    } catch (...) {
        // Closing on release must not throw; callers that care about a failed
        // final write call CloseFile themselves.
    }
}

bool File::OpenFile(const QString& fileName, qint32 mode, quint32 access, quint32 disposition)
{
    try {
        if (m_fd >= 0)
            CloseFile();
        m_name = CleanFileName(fileName);
        m_mode = mode;
        m_access = access;

        // Non-blocking so that a FIFO or device never stalls the open; what
        // the descriptor turns out to be is checked on it afterwards (fstat,
        // not a stat of the name, so the check is about what was opened).
        int flags = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
        const bool canRead = access & GenericRead;
        const bool canWrite = access & GenericWrite;
        flags |= canRead && canWrite ? O_RDWR : canWrite ? O_WRONLY : O_RDONLY;
        switch (disposition) {
        case CreateNew: flags |= O_CREAT | O_EXCL; break;
        case CreateAlways: flags |= O_CREAT | O_TRUNC; break;
        case OpenExisting: break;
        case OpenAlways: flags |= O_CREAT; break;
        case TruncateExisting: flags |= O_TRUNC; break;
        default: RaiseErrno(EINVAL);
        }
        if (m_name.isEmpty())
            RaiseErrno(ENOENT);
        int fd;
        do {
            fd = ::open(QFile::encodeName(m_name).constData(), flags, 0666);
        } while (fd < 0 && errno == EINTR);
        CheckApiResult(fd >= 0);

        // Only regular files hold records: a directory is EISDIR, anything
        // else (FIFO, socket, device) EINVAL.
        struct stat st {};
        if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
            const int code = S_ISDIR(st.st_mode) ? EISDIR : S_ISREG(st.st_mode) ? errno : EINVAL;
            ::close(fd);
            RaiseErrno(code);
        }
        m_fd = fd;
        m_pos = 0;
        m_size = st.st_size;
        m_bufferStart = 0;
        m_bufferLength = 0;
        m_dirty = false;
        m_shortRead = false;
        CacheAttributes(st, m_name);
        return true;
    } catch (...) {
        Error::Rethrow(SrcOpen);
    }
}

bool File::CloseFile()
{
    if (m_fd < 0)
        return false;
    int writeError = 0;
    try {
        FlushWrites();
    } catch (const Error& e) {
        writeError = e.Number();
    }
    const bool closed = ::close(m_fd) == 0;
    m_fd = -1;
    m_bufferLength = 0;
    m_dirty = false;
    if (writeError) {
        try {
            RaiseErrno(writeError);
        } catch (...) {
            Error::Rethrow(SrcClose);
        }
    }
    return closed;
}

bool File::Flush()
{
    try {
        RequireOpen();
        FlushWrites();
        CheckApiResult(::fsync(m_fd) == 0 || errno == EINVAL);
        return true;
    } catch (...) {
        Error::Rethrow(SrcFlush);
    }
}

quint32 File::SeekTo(qint32 distance, quint32 method)
{
    try {
        RequireOpen();
        qint64 base = 0;
        switch (method) {
        case FromStart: base = 0; break;
        case FromCurrent: base = m_pos; break;
        case FromEnd: base = m_size; break;
        default: RaiseErrno(EINVAL);
        }
        const qint64 target = base + distance;
        if (target < 0)
            RaiseErrno(EINVAL);
        if (target != m_pos)
            FlushWrites();
        m_pos = target;
        return static_cast<quint32>(m_pos);
    } catch (...) {
        Error::Rethrow(SrcSeek);
    }
}

bool File::GetAttributes(const QString& path)
{
    try {
        const QString target = path.isEmpty() ? m_name : path;
        struct stat st {};
        CheckApiResult(!target.isEmpty() || (errno = ENOENT, false));
        CheckApiResult(::stat(QFile::encodeName(target).constData(), &st) == 0);
        CacheAttributes(st, target);
        return true;
    } catch (...) {
        Error::Rethrow(SrcGetAttr);
    }
}

void File::CacheAttributes(const struct stat& status, const QString& path)
{
    quint32 attributes = 0;
    if (S_ISDIR(status.st_mode))
        attributes |= AttrDirectory;
    if (!(status.st_mode & S_IWUSR))
        attributes |= AttrReadOnly;
    const QStringView base = QStringView(path).mid(path.lastIndexOf(QLatin1Char('/')) + 1);
    if (base.startsWith(QLatin1Char('.')) && base != QLatin1String(".") && base != QLatin1String(".."))
        attributes |= AttrHidden;
    m_attributes = attributes ? attributes : AttrNormal;
}

bool File::SetAttributes(const QString& path)
{
    try {
        // Of the attribute word only read-only has a counterpart on disk: the
        // owner's write bit. The other bits stay in the cached word.
        const QByteArray target = QFile::encodeName(path.isEmpty() ? m_name : path);
        struct stat st {};
        CheckApiResult(::stat(target.constData(), &st) == 0);
        const mode_t mode = IsReadOnly() ? (st.st_mode & ~S_IWUSR) : (st.st_mode | S_IWUSR);
        CheckApiResult(::chmod(target.constData(), mode & 07777) == 0);
        return true;
    } catch (...) {
        Error::Rethrow(SrcSetAttr);
    }
}

char* File::Buffer()
{
    if (!m_buffer)
        m_buffer.reset(new char[BufferSize]);
    return m_buffer.get();
}

void File::RequireOpen() const
{
    if (m_fd < 0)
        RaiseErrno(EBADF);
}

qint64 File::ReadBytes(char* target, qint64 count)
{
    RequireOpen();
    if (!(m_access & GenericRead))
        RaiseErrno(EBADF);
    FlushWrites();
    qint64 delivered = 0;
    while (count > 0) {
        const qint64 bufferEnd = m_bufferStart + m_bufferLength;
        if (m_pos >= m_bufferStart && m_pos < bufferEnd) {
            const qint64 n = qMin(count, bufferEnd - m_pos);
            std::memcpy(target, m_buffer.get() + (m_pos - m_bufferStart), size_t(n));
            target += n;
            count -= n;
            delivered += n;
            m_pos += n;
            continue;
        }
        if (count >= BufferSize) {
            // Large blocks go straight to the caller's memory.
            const ssize_t got = ::pread(m_fd, target, size_t(count), m_pos);
            if (got < 0 && errno == EINTR)
                continue;
            CheckApiResult(got >= 0);
            if (got == 0)
                break;
            target += got;
            count -= got;
            delivered += got;
            m_pos += got;
            continue;
        }
        const ssize_t got = ::pread(m_fd, Buffer(), size_t(BufferSize), m_pos);
        if (got < 0 && errno == EINTR)
            continue;
        CheckApiResult(got >= 0);
        m_bufferStart = m_pos;
        m_bufferLength = got;
        if (got == 0)
            break;
    }
    if (count > 0)
        m_shortRead = true;
    return delivered;
}

void File::WriteBytes(const char* source, qint64 count)
{
    RequireOpen();
    if (!(m_access & GenericWrite))
        RaiseErrno(EBADF);
    if (count <= 0)
        return;
    if (!m_dirty || m_bufferStart + m_bufferLength != m_pos) {
        FlushWrites();
        m_bufferStart = m_pos;
        m_bufferLength = 0;
        m_dirty = true;
    }
    if (m_bufferLength + count > BufferSize) {
        FlushWrites();
        m_bufferStart = m_pos;
        m_bufferLength = 0;
        m_dirty = true;
    }
    if (count >= BufferSize) {
        m_dirty = false;
        while (count > 0) {
            const ssize_t put = ::pwrite(m_fd, source, size_t(count), m_pos);
            if (put < 0 && errno == EINTR)
                continue;
            CheckApiResult(put > 0);
            source += put;
            count -= put;
            m_pos += put;
        }
        m_bufferLength = 0;
    } else {
        std::memcpy(Buffer() + m_bufferLength, source, size_t(count));
        m_bufferLength += count;
        m_pos += count;
    }
    m_size = qMax(m_size, m_pos);
}

void File::FlushWrites()
{
    if (!m_dirty)
        return;
    // Whatever happens, these bytes are not written twice.
    m_dirty = false;
    const char* data = m_buffer.get();
    qint64 left = m_bufferLength;
    qint64 at = m_bufferStart;
    while (left > 0) {
        const ssize_t put = ::pwrite(m_fd, data, size_t(left), at);
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            m_bufferLength = 0;
        CheckApiResult(put > 0);
        data += put;
        left -= put;
        at += put;
    }
    // What was written stays valid as a read cache.
}

template <typename T>
qint32 File::ReadScalar(T& data)
{
    unsigned char bytes[sizeof(T)] = {};
    const qint64 delivered = ReadBytes(reinterpret_cast<char*>(bytes), sizeof(T));
    data = qFromLittleEndian<T>(bytes);
    return static_cast<qint32>(delivered);
}

template <typename T>
void File::WriteScalar(T data)
{
    unsigned char bytes[sizeof(T)];
    qToLittleEndian<T>(data, bytes);
    WriteBytes(reinterpret_cast<const char*>(bytes), sizeof(T));
}

// Reads `count` bytes into `bytes`, never more than remain, reusing its
// memory; returns the bytes read. A count past the end marks a short read.
qint64 File::ReadCapped(QByteArray& bytes, qint64 count)
{
    if (count > Remaining())
        m_shortRead = true;
    const qint64 toRead = qMax<qint64>(0, qMin<qint64>(count, Remaining()));
    bytes.resize(toRead);
    const qint64 delivered = toRead > 0 ? ReadBytes(bytes.data(), toRead) : 0;
    bytes.truncate(delivered);
    return delivered;
}

// Reads the bytes of a text or block. fixedCount is the count used when
// length is 0 in binary mode (-1: nothing to read). Returns false when the
// count is 0 or negative: nothing was read and the caller keeps its value.
// `delivered` is what the last read from the file delivered.
bool File::ReadTextBytes(QByteArray& bytes, qint32 length, qsizetype fixedCount, qint32& delivered)
{
    qint64 count;
    delivered = 0;
    if (length < 0) {
        qint32 prefix = 0;
        delivered = ReadScalar(prefix);
        count = prefix;
    } else if (length > 0) {
        count = length;
    } else if (m_mode == TextMode) {
        count = Remaining();
    } else {
        count = fixedCount;
    }
    if (count <= 0)
        return false;
    delivered = static_cast<qint32>(ReadCapped(bytes, count));
    return true;
}

void File::WriteTextBytes(const QByteArray& bytes, qint32 length, bool isBlock)
{
    if (length < 0) {
        // Through WriteData itself: in text mode the count is written as text.
        WriteData(static_cast<qint32>(bytes.size()));
        WriteBytes(bytes.constData(), bytes.size());
    } else if (length > 0) {
        const qint64 n = qMin<qint64>(length, bytes.size());
        WriteBytes(bytes.constData(), n);
        if (n < length) {
            const QByteArray padding(length - n, '\0');
            WriteBytes(padding.constData(), padding.size());
        }
    } else if (!isBlock || m_mode == TextMode) {
        // A block with length 0 writes nothing, unless text mode makes it a text.
        WriteBytes(bytes.constData(), bytes.size());
    }
}

template <typename T>
qint32 File::ReadNumberAsText(T& data, qint32 length)
{
    QByteArray bytes;
    qint32 result = 0;
    if (!ReadTextBytes(bytes, length, -1, result))
        return result;
    const QString text = Ansi::ToUnicode(bytes).trimmed();
    bool ok = false;
    if constexpr (std::is_same_v<T, bool>) {
        if (text.compare(QLatin1String("True"), Qt::CaseInsensitive) == 0) {
            data = true;
            ok = true;
        } else if (text.compare(QLatin1String("False"), Qt::CaseInsensitive) == 0) {
            data = false;
            ok = true;
        } else {
            const double value = QLocale::system().toDouble(text, &ok);
            data = value != 0.0;
        }
    } else {
        double value = QLocale::system().toDouble(text, &ok);
        if (!ok)
            value = text.toDouble(&ok);
        if (ok) {
            if constexpr (std::is_same_v<T, Currency>) {
                data.Scaled = std::llround(value * 10000.0);
            } else if constexpr (std::is_same_v<T, OleDate>) {
                data.Days = value;
            } else if constexpr (std::is_floating_point_v<T>) {
                data = static_cast<T>(value);
            } else {
                if (std::nearbyint(value) < double(std::numeric_limits<T>::min())
                    || std::nearbyint(value) > double(std::numeric_limits<T>::max()))
                    Error::Raise(ErrorNumber::Overflow, SrcRead, QStringLiteral("Overflow"));
                data = static_cast<T>(std::nearbyint(value));
            }
        }
    }
    if (!ok)
        Error::Raise(ErrorNumber::TypeMismatch, SrcRead, QStringLiteral("Type mismatch"));
    return result;
}

namespace {

// How each value type sits on disk: the raw little-endian integer that holds
// its bytes, and the conversions both ways.
template <typename T>
struct Wire
{
    using Raw = T;
    static T Decode(Raw raw) { return raw; }
    static Raw Encode(T value) { return value; }
    static QString Text(T value) { return QString::number(value); }
};
template <>
struct Wire<float>
{
    using Raw = quint32;
    static float Decode(Raw raw) { return std::bit_cast<float>(raw); }
    static Raw Encode(float value) { return std::bit_cast<Raw>(value); }
    static QString Text(float value) { return ValueText(value); }
};
template <>
struct Wire<double>
{
    using Raw = quint64;
    static double Decode(Raw raw) { return std::bit_cast<double>(raw); }
    static Raw Encode(double value) { return std::bit_cast<Raw>(value); }
    static QString Text(double value) { return ValueText(value); }
};
template <>
struct Wire<Currency>
{
    using Raw = qint64;
    static Currency Decode(Raw raw) { return Currency { raw }; }
    static Raw Encode(Currency value) { return value.Scaled; }
    static QString Text(Currency value) { return ValueText(double(value.Scaled) / 10000.0); }
};
template <>
struct Wire<OleDate>
{
    using Raw = quint64;
    static OleDate Decode(Raw raw) { return OleDate { std::bit_cast<double>(raw) }; }
    static Raw Encode(OleDate value) { return std::bit_cast<Raw>(value.Days); }
    static QString Text(OleDate value) { return ValueText(value.Days); }
};
// Four bytes; true is FF FF in the low word, the high word is written as zero
// and ignored when read.
template <>
struct Wire<bool>
{
    using Raw = quint32;
    static bool Decode(Raw raw) { return (raw & 0xFFFFu) != 0; }
    static Raw Encode(bool value) { return value ? 0xFFFFu : 0u; }
    static QString Text(bool value) { return ValueText(value); }
};

} // namespace

template <typename T>
qint32 File::ReadTyped(T& data, qint32 length)
{
    try {
        if (m_mode == TextMode)
            return ReadNumberAsText(data, length);
        typename Wire<T>::Raw raw {};
        const qint32 delivered = ReadScalar(raw);
        data = Wire<T>::Decode(raw);
        return delivered;
    } catch (...) {
        Error::Rethrow(SrcRead);
    }
}

template <typename T>
void File::WriteTyped(T data, qint32 length)
{
    try {
        if (m_mode == TextMode)
            WriteTextBytes(Ansi::FromUnicode(Wire<T>::Text(data)), length);
        else
            WriteScalar(Wire<T>::Encode(data));
    } catch (...) {
        Error::Rethrow(SrcWrite);
    }
}

qint32 File::ReadData(qint16& data, qint32 length) { return ReadTyped(data, length); }
qint32 File::ReadData(qint32& data, qint32 length) { return ReadTyped(data, length); }
qint32 File::ReadData(float& data, qint32 length) { return ReadTyped(data, length); }
qint32 File::ReadData(double& data, qint32 length) { return ReadTyped(data, length); }
qint32 File::ReadData(Currency& data, qint32 length) { return ReadTyped(data, length); }
qint32 File::ReadData(OleDate& data, qint32 length) { return ReadTyped(data, length); }
qint32 File::ReadData(bool& data, qint32 length) { return ReadTyped(data, length); }
qint32 File::ReadData(quint8& data, qint32 length) { return ReadTyped(data, length); }
void File::WriteData(qint16 data, qint32 length) { WriteTyped(data, length); }
void File::WriteData(qint32 data, qint32 length) { WriteTyped(data, length); }
void File::WriteData(float data, qint32 length) { WriteTyped(data, length); }
void File::WriteData(double data, qint32 length) { WriteTyped(data, length); }
void File::WriteData(Currency data, qint32 length) { WriteTyped(data, length); }
void File::WriteData(OleDate data, qint32 length) { WriteTyped(data, length); }
void File::WriteData(bool data, qint32 length) { WriteTyped(data, length); }
void File::WriteData(quint8 data, qint32 length) { WriteTyped(data, length); }

qint32 File::ReadData(QString& data, qint32 length)
{
    try {
        QByteArray bytes;
        qint32 delivered = 0;
        if (ReadTextBytes(bytes, length, data.size(), delivered))
            data = Ansi::ToUnicode(bytes);
        return delivered;
    } catch (...) {
        Error::Rethrow(SrcRead);
    }
}

qint32 File::ReadData(QByteArray& data, qint32 length)
{
    try {
        qint32 delivered = 0;
        ReadTextBytes(data, length, -1, delivered);
        return delivered;
    } catch (...) {
        Error::Rethrow(SrcRead);
    }
}

qint32 File::ReadData(QVariant& data, qint32 length)
{
    auto as = [&](auto value) {
        const qint32 delivered = ReadData(value, length);
        data = QVariant::fromValue(value);
        return delivered;
    };
    const int type = data.typeId();
    if (type == QMetaType::Short)
        return as(qint16(data.value<qint16>()));
    if (type == QMetaType::Int)
        return as(qint32(data.toInt()));
    if (type == QMetaType::Float)
        return as(data.toFloat());
    if (type == QMetaType::Double)
        return as(data.toDouble());
    if (type == QMetaType::Bool)
        return as(data.toBool());
    if (type == QMetaType::UChar)
        return as(data.value<quint8>());
    if (type == QMetaType::QString)
        return as(data.toString());
    if (type == QMetaType::QByteArray)
        return as(data.toByteArray());
    if (type == qMetaTypeId<Currency>())
        return as(data.value<Currency>());
    if (type == qMetaTypeId<OleDate>())
        return as(data.value<OleDate>());
    if (type == QMetaType::QDateTime) {
        OleDate date = OleDate::FromDateTime(data.toDateTime());
        const qint32 delivered = ReadData(date, length);
        data = date.ToDateTime();
        return delivered;
    }
    RaiseUnsupported(SrcRead);
}

void File::WriteData(const QVariant& data, qint32 length)
{
    const int type = data.typeId();
    if (type == QMetaType::Short)
        return WriteData(data.value<qint16>(), length);
    if (type == QMetaType::Int)
        return WriteData(qint32(data.toInt()), length);
    if (type == QMetaType::Float)
        return WriteData(data.toFloat(), length);
    if (type == QMetaType::Double)
        return WriteData(data.toDouble(), length);
    if (type == QMetaType::Bool)
        return WriteData(data.toBool(), length);
    if (type == QMetaType::UChar)
        return WriteData(data.value<quint8>(), length);
    if (type == QMetaType::QString)
        return WriteData(data.toString(), length);
    if (type == QMetaType::QByteArray)
        return WriteData(data.toByteArray(), length);
    if (type == qMetaTypeId<Currency>())
        return WriteData(data.value<Currency>(), length);
    if (type == qMetaTypeId<OleDate>())
        return WriteData(data.value<OleDate>(), length);
    if (type == QMetaType::QDateTime)
        return WriteData(OleDate::FromDateTime(data.toDateTime()), length);
    RaiseUnsupported(SrcWrite);
}

void File::WriteData(const QString& data, qint32 length)
{
    try {
        WriteTextBytes(Ansi::FromUnicode(data), length);
    } catch (...) {
        Error::Rethrow(SrcWrite);
    }
}

void File::WriteData(const QByteArray& data, qint32 length)
{
    try {
        WriteTextBytes(data, length, true);
    } catch (...) {
        Error::Rethrow(SrcWrite);
    }
}

qint64 File::ReadCountedBytes(QByteArray& bytes)
{
    try {
        qint32 count = 0;
        ReadScalar(count);
        return ReadCapped(bytes, count);
    } catch (...) {
        Error::Rethrow(SrcRead);
    }
}

qint64 File::ReadCountedInto(char* (*target)(void*, qint64), void* context)
{
    try {
        qint32 count = 0;
        ReadScalar(count);
        if (count > Remaining())
            m_shortRead = true;
        const qint64 toRead = qMax<qint64>(0, qMin<qint64>(count, Remaining()));
        return toRead > 0 ? ReadBytes(target(context, toRead), toRead) : 0;
    } catch (...) {
        Error::Rethrow(SrcRead);
    }
}

void File::CopyTo(File& target)
{
    try {
        QByteArray block;
        while (!Eof()) {
            const qint32 delivered = ReadData(block, CopyBlockSize);
            if (delivered <= 0)
                break; // the file shrank under us
            target.WriteData(block, delivered);
            if (QCoreApplication::instance())
                QCoreApplication::processEvents();
        }
    } catch (...) {
        Error::Rethrow(SrcCopy);
    }
}
