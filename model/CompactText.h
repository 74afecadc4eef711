#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringView>

#include <array>
#include <cstdint>

// Texts of the content model are kept as the bytes they take in an exam file
// (Windows-1252, one byte a character) and decoded on access, so a loaded exam
// costs about its file's size. A text set from code that holds a character
// Windows-1252 cannot hold is kept as UTF-16 instead, so it reads back as it
// went in; only the file write maps such a character to "?".

// One text in 16 bytes: up to InlineCapacity bytes inside the object, longer
// ones in one heap block of exactly their size.
class CompactText
{
public:
    static constexpr qsizetype InlineCapacity = 15;

    CompactText() noexcept { m_inline.fill(0); }
    explicit CompactText(QStringView text)
        : CompactText()
    {
        Set(text);
    }
    CompactText(const CompactText& other);
    CompactText(CompactText&& other) noexcept;
    CompactText& operator=(const CompactText& other);
    CompactText& operator=(CompactText&& other) noexcept;
    ~CompactText() { Release(); }

    QString ToString() const;
    void Set(QStringView text);
    // Windows-1252 bytes as a file holds them.
    void SetAnsi(QByteArrayView bytes);
    // Makes it a Windows-1252 text of `size` bytes, as yet unset, and returns
    // them to be filled.
    char* Prepare(qsizetype size);
    // The bytes an exam file holds for it (a character outside Windows-1252
    // as "?").
    QByteArray ToAnsi() const;
    bool IsEmpty() const { return Size() == 0; }

    friend bool operator==(const CompactText& a, const CompactText& b)
    {
        return a.IsWide() == b.IsWide() && a.Bytes() == b.Bytes();
    }

private:
    // The last byte tags the form: HeapBit for a heap block, WideBit for
    // UTF-16 bytes, and for an inline text its byte count in the low bits.
    static constexpr quint8 HeapBit = 0x80;
    static constexpr quint8 WideBit = 0x40;
    static constexpr quint8 SizeMask = 0x1F;

    struct Heap
    {
        char* data;
        quint32 size;
    };

    quint8 Tag() const { return quint8(m_inline[15]); }
    bool IsHeap() const { return Tag() & HeapBit; }
    bool IsWide() const { return Tag() & WideBit; }
    qsizetype Size() const;
    QByteArrayView Bytes() const;
    void Assign(QByteArrayView bytes, bool wide);
    void Release();

    union {
        std::array<char, 16> m_inline;
        Heap m_heap;
    };
};
static_assert(sizeof(CompactText) == 16);

// N texts behind one pointer (8 bytes; none at all while every text is
// empty): a block of N 32-bit sizes, then the texts' bytes one after the
// other. A size's top bit marks UTF-16 bytes. Setting a text rebuilds the
// block, so it suits texts set once and read often.
template <int N>
class PackedTexts
{
public:
    PackedTexts() = default;
    PackedTexts(const PackedTexts& other) { CopyFrom(other); }
    PackedTexts(PackedTexts&& other) noexcept : m_block(other.m_block) { other.m_block = nullptr; }
    PackedTexts& operator=(const PackedTexts& other)
    {
        if (this != &other) {
            Free();
            CopyFrom(other);
        }
        return *this;
    }
    PackedTexts& operator=(PackedTexts&& other) noexcept
    {
        std::swap(m_block, other.m_block);
        return *this;
    }
    ~PackedTexts() { Free(); }

    QString Get(int index) const;
    bool IsEmpty(int index) const { return Size(index) == 0; }
    void Set(int index, QStringView text);
    // Replaces the texts whose entry is not null with those Windows-1252
    // bytes, in one new block; the others are kept.
    void SetAnsi(const std::array<const QByteArray*, N>& texts);
    QByteArray ToAnsi(int index) const;

private:
    static constexpr quint32 WideBit = 0x80000000u;
    struct Text
    {
        QByteArrayView bytes;
        bool wide;
    };
    qsizetype Size(int index) const { return m_block ? SizeWord(index) & ~WideBit : 0; }
    quint32 SizeWord(int index) const;
    Text At(int index) const;
    void Build(const std::array<Text, N>& texts);
    void CopyFrom(const PackedTexts& other);
    void Free();

    char* m_block = nullptr;
};

namespace CompactTextDetail {
void CopyBytes(char* target, const char* source, qsizetype count);
// Windows-1252 bytes of `text` when every character has one; false otherwise.
bool EncodeExact(QStringView text, QByteArray& bytes);
QString Decode(QByteArrayView bytes, bool wide);
QByteArray ToAnsi(QByteArrayView bytes, bool wide);
char* Allocate(qsizetype size);
void Free(char* block);
} // namespace CompactTextDetail

extern template class PackedTexts<4>;
