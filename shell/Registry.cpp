#include "shell/Registry.h"

#include "model/Common.h"
#include "model/Error.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QtEndian>

#include <cerrno>
#include <cmath>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString SrcReadValue = QStringLiteral("Registry:ReadValue()");
const QString SrcWriteValue = QStringLiteral("Registry:WriteValue()");
const QString SrcDeleteValue = QStringLiteral("Registry:DeleteValue()");
const QString StoreFileName = QStringLiteral("registry.ini");

// The store holds a handful of settings; the cap keeps a damaged or hostile
// file from making the program read without bound.
constexpr qsizetype MaxStoreBytes = 1 << 20;

struct Folders
{
    QString User;
    QString Machine;
};

Folders& StoreFolders()
{
    static Folders folders;
    return folders;
}

// A failing step returns its errno value and sets errno (Fail); each public
// call sets it once more last of all, after its locals have been released
// (Settle), so the caller finds it there as after a failing system call.
qint32 Fail(qint32 code)
{
    errno = code;
    return code;
}

qint32 Settle(qint32 result)
{
    if (result != 0)
        errno = result;
    return result;
}

bool IsBlankChar(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char('\r');
}

QString TrimLine(const QString& text)
{
    qsizetype first = 0;
    qsizetype last = text.size();
    while (first < last && IsBlankChar(text[first]))
        ++first;
    while (last > first && IsBlankChar(text[last - 1]))
        --last;
    return text.mid(first, last - first);
}

bool SameName(const QString& a, const QString& b)
{
    return QString::compare(a, b, Qt::CaseInsensitive) == 0;
}

int HexDigit(QChar c)
{
    const ushort u = c.unicode();
    if (u >= '0' && u <= '9')
        return u - '0';
    if (u >= 'a' && u <= 'f')
        return u - 'a' + 10;
    if (u >= 'A' && u <= 'F')
        return u - 'A' + 10;
    return -1;
}

// Names need more escaping than texts: "=" ends a name, and a leading "[",
// ";" or "#" would read as a section or a comment.
QString EscapeText(const QString& text, bool isName)
{
    qsizetype first = 0;
    qsizetype last = text.size();
    while (first < last && text[first] == QLatin1Char(' '))
        ++first;
    while (last > first && text[last - 1] == QLatin1Char(' '))
        --last;
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        const ushort u = c.unicode();
        if (c == QLatin1Char('\\'))
            out += QLatin1String("\\\\");
        else if (c == QLatin1Char('\n'))
            out += QLatin1String("\\n");
        else if (c == QLatin1Char('\r'))
            out += QLatin1String("\\r");
        else if (c == QLatin1Char('\t'))
            out += QLatin1String("\\t");
        else if (u < 0x20 || u == 0x7F || (c == QLatin1Char(' ') && (i < first || i >= last))
            || (isName && (c == QLatin1Char('=') || (i == 0 && QStringLiteral("[;#").contains(c)))))
            out += QLatin1String("\\x") + QString::number(u, 16).toUpper().rightJustified(2, QLatin1Char('0'));
        else
            out += c;
    }
    return out;
}

QString UnescapeText(const QString& text)
{
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c != QLatin1Char('\\') || i + 1 == text.size()) {
            out += c;
            continue;
        }
        const QChar next = text[i + 1];
        if (next == QLatin1Char('\\')) {
            out += QLatin1Char('\\');
            ++i;
        } else if (next == QLatin1Char('n')) {
            out += QLatin1Char('\n');
            ++i;
        } else if (next == QLatin1Char('r')) {
            out += QLatin1Char('\r');
            ++i;
        } else if (next == QLatin1Char('t')) {
            out += QLatin1Char('\t');
            ++i;
        } else if (next == QLatin1Char('x') && i + 3 < text.size() && HexDigit(text[i + 2]) >= 0
            && HexDigit(text[i + 3]) >= 0) {
            out += QChar(HexDigit(text[i + 2]) * 16 + HexDigit(text[i + 3]));
            i += 3;
        } else {
            out += c; // a backslash that starts no escape stands for itself
        }
    }
    return out;
}

bool ParseDword(const QString& text, QByteArray& data)
{
    QString digits = TrimLine(text);
    bool negative = false;
    if (digits.startsWith(QLatin1Char('-')) || digits.startsWith(QLatin1Char('+'))) {
        negative = digits[0] == QLatin1Char('-');
        digits.remove(0, 1);
    }
    int base = 10;
    if (digits.startsWith(QLatin1String("0x"), Qt::CaseInsensitive)) {
        base = 16;
        digits.remove(0, 2);
    }
    if (digits.isEmpty() || digits.size() > (base == 16 ? 8 : 10))
        return false;
    qint64 value = 0;
    for (QChar c : digits) {
        const int digit = HexDigit(c);
        if (digit < 0 || digit >= base)
            return false;
        value = value * base + digit;
    }
    if (negative)
        value = -value;
    if (value < std::numeric_limits<qint32>::min() || value > std::numeric_limits<quint32>::max())
        return false;
    data.resize(4);
    qToLittleEndian(quint32(value), data.data());
    return true;
}

bool ParseHex(const QString& text, QByteArray& data)
{
    data.clear();
    int high = -1;
    for (QChar c : text) {
        if (c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char(','))
            continue;
        const int digit = HexDigit(c);
        if (digit < 0)
            return false;
        if (high < 0) {
            high = digit;
        } else {
            data.append(char(high * 16 + digit));
            high = -1;
        }
    }
    return high < 0;
}

// A payload as type and the bytes the registry would hold; false when its
// prefix promises a type that the rest does not give.
bool ParsePayload(const QString& payload, qint32& valueType, QByteArray& data)
{
    const qsizetype colon = payload.indexOf(QLatin1Char(':'));
    const QString prefix = colon > 0 ? TrimLine(payload.left(colon)).toLower() : QString();
    const QString rest = colon > 0 ? TrimLine(payload.mid(colon + 1)) : QString();
    if (prefix == QLatin1String("dword")) {
        valueType = Registry::REG_DWORD;
        return ParseDword(rest, data);
    }
    if (prefix == QLatin1String("bin")) {
        valueType = Registry::REG_BINARY;
        return ParseHex(rest, data);
    }
    valueType = Registry::REG_SZ;
    data = UnescapeText(prefix == QLatin1String("sz") ? rest : payload).toUtf8();
    return true;
}

QByteArray ValueLine(const QString& valueName, qint32 valueType, const QByteArray& data)
{
    QString payload;
    switch (valueType) {
    case Registry::REG_DWORD:
        payload = QStringLiteral("dword:") + QString::number(qFromLittleEndian<qint32>(data.constData()));
        break;
    case Registry::REG_BINARY:
        payload = QStringLiteral("bin:") + QString::fromLatin1(data.toHex());
        break;
    default:
        payload = QStringLiteral("sz:") + EscapeText(QString::fromUtf8(data), false);
        break;
    }
    return (EscapeText(valueName, true) + QLatin1Char('=') + payload).toUtf8();
}

// The store file as lines. Lines the program does not change are written
// back byte for byte, so comments and damaged lines survive a rewrite.
class StoreDocument
{
public:
    enum class Kind { Other, Section, Value };

    struct Line
    {
        QByteArray Raw;
        Kind Type = Kind::Other;
        QString Section; // the key the line belongs to; for a section line, its own path
        QString Name;
        qint32 ValueType = Registry::REG_NONE;
        QByteArray Data;
    };

    // A missing file is an empty store.
    qint32 Load(const QString& path)
    {
        m_lines.clear();
        const QByteArray native = QFile::encodeName(path);
        // O_NONBLOCK: a FIFO put in the store's place must not hang the program.
        const int fd = ::open(native.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (fd < 0)
            return errno == ENOENT ? 0 : Fail(errno);
        QByteArray content;
        struct stat info {};
        qint32 result = 0;
        if (::fstat(fd, &info) != 0)
            result = errno;
        else if (S_ISDIR(info.st_mode))
            result = EISDIR;
        else if (!S_ISREG(info.st_mode))
            result = EINVAL;
        char buffer[65536];
        while (result == 0) {
            const ssize_t got = ::read(fd, buffer, sizeof buffer);
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0)
                result = errno;
            else if (got == 0)
                break;
            else if (content.size() + got > MaxStoreBytes)
                result = EFBIG;
            else
                content.append(buffer, got);
        }
        ::close(fd);
        if (result != 0)
            return Fail(result);
        Parse(content);
        return 0;
    }

    qint32 Save(const QString& path) const
    {
        QByteArray content;
        for (const Line& line : m_lines)
            content += line.Raw + '\n';
        if (content.size() > MaxStoreBytes)
            return Fail(EFBIG);
        if (const qint32 result = MakeFolder(QFileInfo(path).absolutePath()))
            return result;
        QByteArray temporary = QFile::encodeName(path) + ".XXXXXX";
        const int fd = ::mkostemp(temporary.data(), O_CLOEXEC); // created 0600
        if (fd < 0)
            return Fail(errno);
        qint32 result = 0;
        for (qsizetype done = 0; result == 0 && done < content.size();) {
            const ssize_t put = ::write(fd, content.constData() + done, size_t(content.size() - done));
            if (put < 0 && errno != EINTR)
                result = errno;
            else if (put > 0)
                done += put;
        }
        if (result == 0 && ::fsync(fd) != 0)
            result = errno;
        if (::close(fd) != 0 && result == 0)
            result = errno;
        if (result == 0 && ::rename(temporary.constData(), QFile::encodeName(path).constData()) != 0)
            result = errno;
        if (result != 0) {
            ::unlink(temporary.constData());
            return Fail(result);
        }
        return 0;
    }

    bool HasKey(const QString& key) const
    {
        if (key.isEmpty())
            return true;
        const QString parent = key + QLatin1Char('\\');
        for (const Line& line : m_lines) {
            if (line.Type == Kind::Section
                && (SameName(line.Section, key) || line.Section.startsWith(parent, Qt::CaseInsensitive)))
                return true;
        }
        return false;
    }

    // The last of equal names counts, as a hand edit appended below an old
    // line is meant to.
    const Line* FindValue(const QString& key, const QString& valueName) const
    {
        const Line* found = nullptr;
        for (const Line& line : m_lines) {
            if (IsValueOf(line, key, valueName))
                found = &line;
        }
        return found;
    }

    void SetValue(const QString& key, const QString& valueName, qint32 valueType, const QByteArray& data)
    {
        Line value;
        value.Raw = ValueLine(valueName, valueType, data);
        value.Type = Kind::Value;
        value.Section = key;
        value.Name = valueName;
        value.ValueType = valueType;
        value.Data = data;

        qsizetype at = -1;
        for (qsizetype i = m_lines.size() - 1; i >= 0; --i) {
            if (!IsValueOf(m_lines[i], key, valueName))
                continue;
            if (at < 0)
                m_lines[at = i] = value;
            else
                m_lines.removeAt(i);
        }
        if (at >= 0)
            return;

        // A new value goes after the last entry of its key's (last) section,
        // before the blank lines that separate it from the next one.
        qsizetype section = -1;
        qsizetype end = m_lines.size();
        for (qsizetype i = 0; i < m_lines.size(); ++i) {
            if (m_lines[i].Type != Kind::Section)
                continue;
            if (key.isEmpty()) {
                end = i;
                break;
            }
            if (SameName(m_lines[i].Section, key)) {
                section = i;
                end = m_lines.size();
            } else if (section >= 0 && end == m_lines.size()) {
                end = i;
            }
        }
        if (key.isEmpty() || section >= 0) {
            while (end > section + 1 && IsBlankLine(m_lines[end - 1]))
                --end;
            m_lines.insert(end, value);
        } else {
            AppendSection(key);
            m_lines.append(value);
        }
    }

    void AddKey(const QString& key)
    {
        if (!HasKey(key))
            AppendSection(key);
    }

    bool RemoveValue(const QString& key, const QString& valueName)
    {
        return m_lines.removeIf([&](const Line& line) { return IsValueOf(line, key, valueName); }) > 0;
    }

private:
    static bool IsBlankLine(const Line& line) { return TrimLine(QString::fromUtf8(line.Raw)).isEmpty(); }

    // A new section goes at the end, a blank line apart from what precedes it.
    void AppendSection(const QString& key)
    {
        if (!m_lines.isEmpty() && !IsBlankLine(m_lines.last()))
            m_lines.append(Line());
        Line header;
        header.Raw = (QLatin1Char('[') + key + QLatin1Char(']')).toUtf8();
        header.Type = Kind::Section;
        header.Section = key;
        m_lines.append(header);
    }

    static bool IsValueOf(const Line& line, const QString& key, const QString& valueName)
    {
        return line.Type == Kind::Value && SameName(line.Section, key) && SameName(line.Name, valueName);
    }

    static qint32 MakeFolder(const QString& folder)
    {
        const QString clean = QDir::cleanPath(QDir(folder).absolutePath());
        QString path;
        for (const QString& part : clean.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
            path += QLatin1Char('/') + part;
            const QByteArray native = QFile::encodeName(path);
            struct stat info {};
            if (::stat(native.constData(), &info) == 0)
                continue;
            if (errno != ENOENT || ::mkdir(native.constData(), 0700) != 0)
                return Fail(errno);
        }
        return 0;
    }

    void Parse(const QByteArray& content)
    {
        QList<QByteArray> raws = content.split('\n');
        if (!raws.isEmpty() && raws.last().isEmpty())
            raws.removeLast();
        QString section;
        for (const QByteArray& raw : raws) {
            Line line;
            line.Raw = raw;
            line.Section = section;
            const QString text = TrimLine(QString::fromUtf8(raw));
            const qsizetype equals = text.indexOf(QLatin1Char('='));
            if (text.isEmpty() || text[0] == QLatin1Char(';') || text[0] == QLatin1Char('#')) {
                // comment or blank line
            } else if (text[0] == QLatin1Char('[')) {
                const qsizetype close = text.lastIndexOf(QLatin1Char(']'));
                if (close > 0) {
                    line.Type = Kind::Section;
                    line.Section = section = text.mid(1, close - 1);
                }
            } else if (equals >= 0 && ParsePayload(TrimLine(text.mid(equals + 1)), line.ValueType, line.Data)) {
                line.Type = Kind::Value;
                line.Name = UnescapeText(TrimLine(text.left(equals)));
            }
            m_lines.append(line);
        }
    }

    QList<Line> m_lines;
};

bool IsKnownHive(quint32 hive)
{
    return hive == Registry::HKEY_CURRENT_USER || hive == Registry::HKEY_LOCAL_MACHINE;
}

// Whether the user may change a hive's store: the file and its folder need
// the owner's write bit (the program's meaning of read-only, which also holds
// for root) and the system's leave to write.
qint32 CheckWriteRights(const QString& path)
{
    for (const QString& name : { path, QFileInfo(path).absolutePath() }) {
        const QByteArray native = QFile::encodeName(name);
        struct stat info {};
        if (::stat(native.constData(), &info) != 0) {
            if (errno == ENOENT)
                continue;
            return Fail(errno);
        }
        if (!(info.st_mode & S_IWUSR) || ::access(native.constData(), W_OK) != 0)
            return Fail(EACCES);
    }
    return 0;
}

qint32 LoadForKey(const Registry::Key& key, StoreDocument& store)
{
    if (!key.IsOpen || !IsKnownHive(key.Hive))
        return Fail(EBADF);
    return store.Load(Registry::StorePath(key.Hive));
}

// Loads the store of a key that is about to change.
qint32 LoadForChange(const Registry::Key& key, StoreDocument& store)
{
    if (const qint32 result = LoadForKey(key, store))
        return result;
    // The machine hive belongs to the system's administrator; the program
    // only ever reads it.
    if (key.Hive == Registry::HKEY_LOCAL_MACHINE || !(key.Access & Registry::KEY_SET_VALUE))
        return Fail(EACCES);
    return CheckWriteRights(Registry::StorePath(key.Hive));
}

QByteArray DwordBytes(const QVariant& value, const QString& source)
{
    qint64 number = 0;
    bool ok = false;
    if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float) {
        const double rounded = std::nearbyint(value.toDouble());
        ok = std::isfinite(rounded);
        if (ok && (rounded < double(std::numeric_limits<qint32>::min())
                || rounded > double(std::numeric_limits<quint32>::max())))
            Error::Raise(ErrorNumber::Overflow, source, QStringLiteral("Overflow"));
        number = qint64(rounded);
    } else if (value.typeId() == QMetaType::ULongLong) {
        const quint64 unsignedNumber = value.toULongLong(&ok);
        if (ok && unsignedNumber > std::numeric_limits<quint32>::max())
            Error::Raise(ErrorNumber::Overflow, source, QStringLiteral("Overflow"));
        number = qint64(unsignedNumber);
    } else {
        number = value.toLongLong(&ok);
    }
    if (!ok)
        Error::Raise(ErrorNumber::TypeMismatch, source, QStringLiteral("Type mismatch"));
    if (number < std::numeric_limits<qint32>::min() || number > std::numeric_limits<quint32>::max())
        Error::Raise(ErrorNumber::Overflow, source, QStringLiteral("Overflow"));
    QByteArray data(4, '\0');
    qToLittleEndian(quint32(number), data.data());
    return data;
}

} // namespace

namespace Registry {

void SetStoreFolders(const QString& userFolder, const QString& machineFolder)
{
    StoreFolders() = Folders { userFolder, machineFolder };
}

QString StorePath(quint32 hive)
{
    const Folders& folders = StoreFolders();
    if (hive == HKEY_CURRENT_USER) {
        const QString folder = !folders.User.isEmpty()
            ? folders.User
            : QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/Practorium");
        return QDir(folder).filePath(StoreFileName);
    }
    if (hive == HKEY_LOCAL_MACHINE) {
        const QString folder = !folders.Machine.isEmpty() ? folders.Machine : QStringLiteral("/etc/xdg/Practorium");
        return QDir(folder).filePath(StoreFileName);
    }
    return QString();
}

qint32 OpenKey(quint32 hive, const QString& subkey, quint32 access, Key& key)
{
    key = Key();
    return Settle([&]() -> qint32 {
        if (!IsKnownHive(hive))
            return EBADF;
        StoreDocument store;
        if (const qint32 result = store.Load(StorePath(hive)))
            return result;
        if (!store.HasKey(subkey))
            return ENOENT;
        if (access & KEY_WRITE_RIGHTS) {
            if (const qint32 result = CheckWriteRights(StorePath(hive)))
                return result;
        }
        key = Key { hive, subkey, access, true };
        return 0;
    }());
}

qint32 CreateKey(quint32 hive, const QString& subkey, Key& key)
{
    key = Key();
    return Settle([&]() -> qint32 {
        if (!IsKnownHive(hive))
            return EBADF;
        for (QChar c : subkey) {
            if (c.unicode() < 0x20) // would break the section line
                return EINVAL;
        }
        const Key opened { hive, subkey, KEY_ALL_ACCESS, true };
        StoreDocument store;
        if (const qint32 result = LoadForChange(opened, store))
            return result;
        if (!store.HasKey(subkey)) {
            store.AddKey(subkey);
            if (const qint32 result = store.Save(StorePath(hive)))
                return result;
        }
        key = opened;
        return 0;
    }());
}

qint32 QueryValue(const Key& key, const QString& valueName, qint32& valueType, QByteArray& data, qsizetype capacity)
{
    return Settle([&]() -> qint32 {
        StoreDocument store;
        if (const qint32 result = LoadForKey(key, store))
            return result;
        const StoreDocument::Line* value = store.FindValue(key.Path, valueName);
        if (!value)
            return ENOENT;
        if (capacity >= 0 && value->Data.size() > capacity)
            return EOVERFLOW;
        valueType = value->ValueType;
        data = value->Data;
        return 0;
    }());
}

qint32 SetValue(const Key& key, const QString& valueName, qint32 valueType, const QByteArray& data)
{
    return Settle([&]() -> qint32 {
        if (valueType != REG_SZ && valueType != REG_BINARY && !(valueType == REG_DWORD && data.size() == 4))
            return EINVAL;
        StoreDocument store;
        if (const qint32 result = LoadForChange(key, store))
            return result;
        store.SetValue(key.Path, valueName, valueType, data);
        return store.Save(StorePath(key.Hive));
    }());
}

qint32 RemoveValue(const Key& key, const QString& valueName)
{
    return Settle([&]() -> qint32 {
        StoreDocument store;
        if (const qint32 result = LoadForChange(key, store))
            return result;
        if (!store.RemoveValue(key.Path, valueName))
            return ENOENT;
        return store.Save(StorePath(key.Hive));
    }());
}

void CloseKey(Key& key)
{
    key = Key();
}

void CheckRegistryResult(qint32 result)
{
    CheckApiResult(result == 0);
}

QVariant ReadValue(quint32 hive, const QString& subkey, const QString& valueName, qint32* valueType)
{
    Key key;
    try {
        CheckRegistryResult(OpenKey(hive, subkey, KEY_ALL_ACCESS, key));
        qint32 type = REG_NONE;
        QByteArray data;
        // Not checked: a missing value leaves the type at REG_NONE and so
        // reads as an empty variant.
        QueryValue(key, valueName, type, data);
        QVariant value;
        switch (type) {
        case REG_SZ: {
            QString text = QString::fromUtf8(data);
            value = TrimNull(text);
            break;
        }
        case REG_DWORD:
            value = qFromLittleEndian<qint32>(data.constData());
            break;
        case REG_BINARY:
            value = data;
            break;
        default:
            break;
        }
        CloseKey(key);
        if (valueType)
            *valueType = type;
        return value;
    } catch (...) {
        CloseKey(key);
        Error::Rethrow(SrcReadValue);
    }
}

void WriteValue(const QString& subkey, const QString& valueName, const QVariant& value, qint32 valueType, quint32 hive)
{
    Key key;
    try {
        // The value is converted before the key is touched, so a value of the
        // wrong kind leaves the store as it was.
        QByteArray data;
        switch (valueType) {
        case REG_DWORD:
            data = DwordBytes(value, SrcWriteValue);
            break;
        case REG_SZ:
            if (value.isValid() && !value.canConvert<QString>())
                Error::Raise(ErrorNumber::TypeMismatch, SrcWriteValue, QStringLiteral("Type mismatch"));
            data = value.toString().toUtf8();
            break;
        case REG_BINARY:
            if (value.typeId() != QMetaType::QByteArray)
                Error::Raise(ErrorNumber::TypeMismatch, SrcWriteValue, QStringLiteral("Type mismatch"));
            data = value.toByteArray();
            break;
        default:
            break;
        }
        CheckRegistryResult(CreateKey(hive, subkey, key));
        if (valueType == REG_DWORD || valueType == REG_SZ || valueType == REG_BINARY)
            CheckRegistryResult(SetValue(key, valueName, valueType, data));
        CloseKey(key);
    } catch (...) {
        CloseKey(key);
        Error::Rethrow(SrcWriteValue);
    }
}

void DeleteValue(const QString& subkey, const QString& valueName, quint32 hive)
{
    Key key;
    try {
        CheckRegistryResult(OpenKey(hive, subkey, KEY_ALL_ACCESS, key));
        CheckRegistryResult(RemoveValue(key, valueName));
        CloseKey(key);
    } catch (...) {
        CloseKey(key);
        Error::Rethrow(SrcDeleteValue);
    }
}

} // namespace Registry
