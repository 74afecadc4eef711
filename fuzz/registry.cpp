// The settings store's reader on arbitrary INI text. Property: a value the
// program writes reads back as written, and the values read before the
// write read the same afterwards.
#include "FuzzUtil.h"

#include "model/Error.h"
#include "shell/Registry.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

namespace {

struct Read
{
    qint32 result = 0;
    qint32 type = 0;
    QByteArray data;
    bool operator==(const Read&) const = default;
};

Read Query(const QString& subkey, const QString& name)
{
    Read read;
    Registry::Key key;
    read.result = Registry::OpenKey(Registry::HKEY_CURRENT_USER, subkey, Registry::KEY_READ, key);
    if (read.result == 0)
        read.result = Registry::QueryValue(key, name, read.type, read.data);
    Registry::CloseKey(key);
    return read;
}

// The key and value name to look up: the first "[section]" of the text and
// the name of the line after it, so the fuzzer can reach what it wrote.
void Target(const QString& text, QString& subkey, QString& name)
{
    const qsizetype open = text.indexOf(u'[');
    const qsizetype close = open < 0 ? -1 : text.indexOf(u']', open);
    subkey = close < 0 ? QStringLiteral("Software\\Practorum") : text.mid(open + 1, close - open - 1);
    const qsizetype line = text.indexOf(u'\n', qMax<qsizetype>(close, 0));
    const qsizetype equals = line < 0 ? -1 : text.indexOf(u'=', line);
    name = equals < 0 ? QStringLiteral("Endpoint") : text.mid(line + 1, equals - line - 1).trimmed();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static QTemporaryDir folder(QDir::tempPath() + QStringLiteral("/practorium-fuzz-XXXXXX"));
    static const bool pointed = (Registry::SetStoreFolders(folder.path(), folder.path() + "/machine"), true);
    (void)pointed;
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    {
        QFile store(folder.filePath(QStringLiteral("registry.ini")));
        if (!store.open(QIODevice::WriteOnly | QIODevice::Truncate) || store.write(bytes) != bytes.size())
            std::abort();
    }
    QString subkey, name;
    Target(QString::fromUtf8(bytes), subkey, name);
    const Read before = Query(subkey, name);
    try {
        Registry::ReadValue(Registry::HKEY_CURRENT_USER, subkey, name);
    } catch (const Error&) {
    }

    const QString written = QStringLiteral("fuzz value\\x=[;]\n");
    Registry::Key key;
    if (Registry::CreateKey(Registry::HKEY_CURRENT_USER, subkey, key) != 0)
        return 0; // e.g. a store over its size limit
    const qint32 set = Registry::SetValue(key, QStringLiteral(" Fuzz=name "), Registry::REG_SZ, written.toUtf8());
    Registry::CloseKey(key);
    if (set != 0)
        return 0;
    const Read back = Query(subkey, QStringLiteral(" Fuzz=name "));
    if (back.result != 0 || back.type != Registry::REG_SZ || back.data != written.toUtf8())
        FuzzUtil::Broken("a written value reads back");
    if (name.compare(QStringLiteral(" Fuzz=name "), Qt::CaseInsensitive) != 0 && Query(subkey, name) != before)
        FuzzUtil::Broken("a write leaves other values as they were");
    return 0;
}
