#include "model/CompactText.h"

#include "model/Ansi.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace CompactTextDetail {

// memcpy with a null source is undefined even for no bytes, and an empty view
// has one.
void CopyBytes(char* target, const char* source, qsizetype count)
{
    if (count > 0)
        std::memcpy(target, source, size_t(count));
}

bool EncodeExact(QStringView text, QByteArray& bytes)
{
    bytes = Ansi::FromUnicode(text);
    if (bytes.size() != text.size())
        return false; // a surrogate pair became one "?"
    // Only an unmapped character turns into a "?" that was not one before.
    const char* out = bytes.constData();
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (out[i] == '?' && text[i] != u'?')
            return false;
    }
    return true;
}

QString Decode(QByteArrayView bytes, bool wide)
{
    if (!wide)
        return Ansi::ToUnicode(bytes.data(), bytes.size());
    QString text(bytes.size() / 2, Qt::Uninitialized);
    CopyBytes(reinterpret_cast<char*>(text.data()), bytes.data(), text.size() * 2);
    return text;
}

QByteArray ToAnsi(QByteArrayView bytes, bool wide)
{
    if (!wide)
        return bytes.toByteArray();
    return Ansi::FromUnicode(Decode(bytes, true));
}

char* Allocate(qsizetype size)
{
    auto* block = static_cast<char*>(std::malloc(size_t(size)));
    if (!block)
        throw std::bad_alloc();
    return block;
}

void Free(char* block)
{
    std::free(block);
}

} // namespace CompactTextDetail

using namespace CompactTextDetail;

CompactText::CompactText(const CompactText& other)
    : CompactText()
{
    Assign(other.Bytes(), other.IsWide());
}

CompactText::CompactText(CompactText&& other) noexcept
{
    m_inline = other.m_inline;
    other.m_inline.fill(0);
}

CompactText& CompactText::operator=(const CompactText& other)
{
    if (this != &other)
        Assign(other.Bytes(), other.IsWide());
    return *this;
}

CompactText& CompactText::operator=(CompactText&& other) noexcept
{
    std::swap(m_inline, other.m_inline);
    return *this;
}

qsizetype CompactText::Size() const
{
    return IsHeap() ? qsizetype(m_heap.size) : qsizetype(Tag() & SizeMask);
}

QByteArrayView CompactText::Bytes() const
{
    return IsHeap() ? QByteArrayView(m_heap.data, m_heap.size) : QByteArrayView(m_inline.data(), Tag() & SizeMask);
}

QString CompactText::ToString() const
{
    return Decode(Bytes(), IsWide());
}

QByteArray CompactText::ToAnsi() const
{
    return CompactTextDetail::ToAnsi(Bytes(), IsWide());
}

void CompactText::Set(QStringView text)
{
    QByteArray bytes;
    if (EncodeExact(text, bytes))
        Assign(bytes, false);
    else
        Assign(QByteArrayView(reinterpret_cast<const char*>(text.utf16()), text.size() * 2), true);
}

char* CompactText::Prepare(qsizetype size)
{
    Release();
    if (size <= InlineCapacity) {
        m_inline[15] = char(quint8(size));
        return m_inline.data();
    }
    m_heap.data = Allocate(size);
    m_heap.size = quint32(size);
    m_inline[15] = char(HeapBit);
    return m_heap.data;
}

void CompactText::SetAnsi(QByteArrayView bytes)
{
    Assign(bytes, false);
}

void CompactText::Assign(QByteArrayView bytes, bool wide)
{
    const quint8 wideBit = wide ? WideBit : 0;
    if (bytes.size() <= InlineCapacity) {
        std::array<char, 16> fresh {};
        CopyBytes(fresh.data(), bytes.data(), bytes.size());
        fresh[15] = char(quint8(bytes.size()) | wideBit);
        Release();
        m_inline = fresh;
        return;
    }
    char* data = Allocate(bytes.size());
    CopyBytes(data, bytes.data(), bytes.size());
    Release();
    m_inline.fill(0);
    m_heap.data = data;
    m_heap.size = quint32(bytes.size());
    m_inline[15] = char(HeapBit | wideBit);
}

void CompactText::Release()
{
    if (IsHeap())
        Free(m_heap.data);
    m_inline.fill(0);
}

// ---------------------------------------------------------------- PackedTexts

template <int N>
quint32 PackedTexts<N>::SizeWord(int index) const
{
    quint32 word;
    std::memcpy(&word, m_block + index * sizeof(quint32), sizeof word);
    return word;
}

template <int N>
typename PackedTexts<N>::Text PackedTexts<N>::At(int index) const
{
    if (!m_block)
        return { QByteArrayView(), false };
    qsizetype offset = N * qsizetype(sizeof(quint32));
    for (int i = 0; i < index; ++i)
        offset += Size(i);
    return { QByteArrayView(m_block + offset, Size(index)), bool(SizeWord(index) & WideBit) };
}

template <int N>
QString PackedTexts<N>::Get(int index) const
{
    const Text text = At(index);
    return Decode(text.bytes, text.wide);
}

template <int N>
QByteArray PackedTexts<N>::ToAnsi(int index) const
{
    const Text text = At(index);
    return CompactTextDetail::ToAnsi(text.bytes, text.wide);
}

template <int N>
void PackedTexts<N>::Build(const std::array<Text, N>& texts)
{
    qsizetype total = 0;
    for (const Text& text : texts)
        total += text.bytes.size();
    char* block = nullptr;
    if (total > 0) {
        block = Allocate(N * qsizetype(sizeof(quint32)) + total);
        char* at = block + N * sizeof(quint32);
        for (int i = 0; i < N; ++i) {
            const quint32 word = quint32(texts[i].bytes.size()) | (texts[i].wide ? WideBit : 0);
            std::memcpy(block + i * sizeof(quint32), &word, sizeof word);
            CopyBytes(at, texts[i].bytes.data(), texts[i].bytes.size());
            at += texts[i].bytes.size();
        }
    }
    Free();
    m_block = block;
}

template <int N>
void PackedTexts<N>::Set(int index, QStringView text)
{
    QByteArray bytes;
    const bool wide = !EncodeExact(text, bytes);
    const QByteArrayView view = wide ? QByteArrayView(reinterpret_cast<const char*>(text.utf16()), text.size() * 2)
                                     : QByteArrayView(bytes);
    const Text old = At(index);
    if (old.wide == wide && old.bytes == view)
        return;
    std::array<Text, N> texts;
    for (int i = 0; i < N; ++i)
        texts[i] = i == index ? Text { view, wide } : At(i);
    Build(texts);
}

template <int N>
void PackedTexts<N>::SetAnsi(const std::array<const QByteArray*, N>& replacements)
{
    std::array<Text, N> texts;
    for (int i = 0; i < N; ++i)
        texts[i] = replacements[i] ? Text { QByteArrayView(*replacements[i]), false } : At(i);
    Build(texts);
}

template <int N>
void PackedTexts<N>::CopyFrom(const PackedTexts& other)
{
    std::array<Text, N> texts;
    for (int i = 0; i < N; ++i)
        texts[i] = other.At(i);
    Build(texts);
}

template <int N>
void PackedTexts<N>::Free()
{
    CompactTextDetail::Free(m_block);
    m_block = nullptr;
}

template class PackedTexts<4>;
