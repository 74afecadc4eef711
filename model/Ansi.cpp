#include "model/Ansi.h"

#include <array>

namespace {

// Code points of bytes 0x80..0x9F; the rest of Windows-1252 is Latin-1.
constexpr std::array<char16_t, 32> HighControls = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

char EncodeUnit(char16_t unit)
{
    if (unit < 0x80 || (unit >= 0xA0 && unit <= 0xFF))
        return static_cast<char>(unit);
    for (std::size_t i = 0; i < HighControls.size(); ++i) {
        if (HighControls[i] == unit)
            return static_cast<char>(0x80 + i);
    }
    return '?';
}

} // namespace

namespace Ansi {

QString ToUnicode(const char* bytes, qsizetype count)
{
    QString text(count, Qt::Uninitialized);
    char16_t* out = reinterpret_cast<char16_t*>(text.data());
    const auto* in = reinterpret_cast<const unsigned char*>(bytes);
    for (qsizetype i = 0; i < count; ++i) {
        const unsigned char b = in[i];
        out[i] = (b >= 0x80 && b < 0xA0) ? HighControls[b - 0x80] : char16_t(b);
    }
    return text;
}

QString ToUnicodeMasked(const char* bytes, const char* mask, qsizetype count)
{
    QString text(count, Qt::Uninitialized);
    char16_t* out = reinterpret_cast<char16_t*>(text.data());
    const auto* in = reinterpret_cast<const unsigned char*>(bytes);
    const auto* key = reinterpret_cast<const unsigned char*>(mask);
    for (qsizetype i = 0; i < count; ++i) {
        const unsigned char b = in[i] ^ key[i];
        out[i] = (b >= 0x80 && b < 0xA0) ? HighControls[b - 0x80] : char16_t(b);
    }
    return text;
}

QByteArray FromUnicode(QStringView text)
{
    QByteArray bytes(text.size(), Qt::Uninitialized);
    char* out = bytes.data();
    qsizetype n = 0;
    const qsizetype size = text.size();
    for (qsizetype i = 0; i < size; ++i) {
        const char16_t unit = text[i].unicode();
        if (QChar::isHighSurrogate(unit) && i + 1 < size && QChar::isLowSurrogate(text[i + 1].unicode())) {
            ++i; // one character outside the code page: one "?"
            out[n++] = '?';
        } else if (QChar::isSurrogate(unit)) {
            out[n++] = '?';
        } else {
            out[n++] = EncodeUnit(unit);
        }
    }
    bytes.truncate(n);
    return bytes;
}

} // namespace Ansi
