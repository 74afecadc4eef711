#pragma once

#include <QByteArray>
#include <QString>
#include <QStringView>

// Text in exam files and on the wire is Windows-1252 on every machine, one
// byte per character. A character outside the code page is written as "?"
// (a surrogate pair counts as one character). The five bytes the code page
// leaves undefined (0x81, 0x8D, 0x8F, 0x90, 0x9D) map to U+0081 ... U+009D and
// back, so any byte sequence survives a read and a write.
namespace Ansi {

QString ToUnicode(const char* bytes, qsizetype count);
inline QString ToUnicode(const QByteArray& bytes)
{
    return ToUnicode(bytes.constData(), bytes.size());
}

// ToUnicode of the bytes XORed with `mask` (a keystream at least `count`
// bytes long): deciphers and decodes a record text in one pass.
QString ToUnicodeMasked(const char* bytes, const char* mask, qsizetype count);

QByteArray FromUnicode(QStringView text);

} // namespace Ansi
