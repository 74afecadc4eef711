#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QMetaType>
#include <QString>
#include <QVariant>

#include <memory>

struct stat;

// Money: the value times 10,000 as a 64-bit integer (8 bytes on disk).
struct Currency
{
    qint64 Scaled = 0;
    friend bool operator==(const Currency&, const Currency&) = default;
};

// A point in time as days since 30 December 1899, the time of day being the
// fraction (8-byte double on disk). Before the epoch the fraction still counts
// forward from midnight: -1.25 is 29 December 1899, 06:00.
struct OleDate
{
    double Days = 0.0;
    QDateTime ToDateTime() const;
    static OleDate FromDateTime(const QDateTime& dateTime);
    friend bool operator==(const OleDate&, const OleDate&) = default;
};

Q_DECLARE_METATYPE(Currency)
Q_DECLARE_METATYPE(OleDate)

// One open file with typed reads and writes. The encoding of each value type
// is the exam file's encoding: little-endian numbers, 4-byte booleans, texts
// as Windows-1252 bytes with an optional 32-bit character count before them.
//
// Reads and writes go through an internal buffer; the file's size is taken
// when it is opened and followed by our own writes, so another process
// growing the file meanwhile is not seen. Every count read from the file is
// capped by the bytes that remain, so a damaged count never allocates more
// than the file holds.
class File
{
public:
    // Desired access, creation disposition and move method words.
    static constexpr quint32 GenericRead = 0x80000000u;
    static constexpr quint32 GenericWrite = 0x40000000u;
    static constexpr quint32 CreateNew = 1;
    static constexpr quint32 CreateAlways = 2;
    static constexpr quint32 OpenExisting = 3;
    static constexpr quint32 OpenAlways = 4;
    static constexpr quint32 TruncateExisting = 5;
    static constexpr quint32 FromStart = 0;
    static constexpr quint32 FromCurrent = 1;
    static constexpr quint32 FromEnd = 2;
    // Mode 0 is text mode: every value is read and written as text.
    static constexpr qint32 TextMode = 0;
    static constexpr qint32 BinaryMode = 1;

    // Attribute bits of the cached attribute word.
    static constexpr quint32 AttrReadOnly = 0x1;
    static constexpr quint32 AttrHidden = 0x2;
    static constexpr quint32 AttrSystem = 0x4;
    static constexpr quint32 AttrDirectory = 0x10;
    static constexpr quint32 AttrArchive = 0x20;
    static constexpr quint32 AttrNormal = 0x80;
    static constexpr quint32 AttrTemporary = 0x100;
    static constexpr quint32 AttrCompressed = 0x800;

    File() = default;
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    // Strips double quotes and surrounding blanks from the name, opens it and
    // reads its attributes. Raises "File::OpenFile()" on failure; a directory
    // cannot be opened.
    bool OpenFile(const QString& fileName, qint32 mode, quint32 access, quint32 disposition);
    // Writes what is buffered and closes. A failed write of buffered bytes
    // still closes the handle, then raises "File::CloseFile()".
    bool CloseFile();
    bool Flush();
    bool IsOpen() const { return m_fd >= 0; }
    // Returns the new position (low 32 bits); distance is signed 32-bit.
    quint32 SeekTo(qint32 distance, quint32 method);

    bool GetAttributes(const QString& path = QString());
    bool SetAttributes(const QString& path = QString());

    // Each read returns the bytes the last read from the file delivered; a
    // short read is no error, the value is built from the bytes that arrived
    // (the rest zero). `length` matters for texts and byte blocks only:
    // < 0 a 32-bit count comes first, > 0 that many bytes, 0 the current
    // length of `data` (texts) or nothing (blocks); in text mode 0 means the
    // rest of the file.
    qint32 ReadData(qint16& data, qint32 length = 0);
    qint32 ReadData(qint32& data, qint32 length = 0);
    qint32 ReadData(float& data, qint32 length = 0);
    qint32 ReadData(double& data, qint32 length = 0);
    qint32 ReadData(Currency& data, qint32 length = 0);
    qint32 ReadData(OleDate& data, qint32 length = 0);
    qint32 ReadData(bool& data, qint32 length = 0);
    qint32 ReadData(quint8& data, qint32 length = 0);
    qint32 ReadData(QString& data, qint32 length);
    qint32 ReadData(QByteArray& data, qint32 length);
    // Dispatches on the variant's current type; an unsupported type raises
    // error 5 "Unsupported data type provided".
    qint32 ReadData(QVariant& data, qint32 length);

    void WriteData(qint16 data, qint32 length = 0);
    void WriteData(qint32 data, qint32 length = 0);
    void WriteData(float data, qint32 length = 0);
    void WriteData(double data, qint32 length = 0);
    void WriteData(Currency data, qint32 length = 0);
    void WriteData(OleDate data, qint32 length = 0);
    void WriteData(bool data, qint32 length = 0);
    void WriteData(quint8 data, qint32 length = 0);
    void WriteData(const QString& data, qint32 length);
    void WriteData(const QByteArray& data, qint32 length);
    void WriteData(const QVariant& data, qint32 length);
    // Without these, a string literal or char* would silently pick the bool
    // overload.
    void WriteData(const char* data, qint32 length) = delete;
    qint32 ReadData(char*& data, qint32 length) = delete;

    // Reads a 32-bit count and then that many bytes (no more than remain) into
    // `bytes`, reusing its memory. Returns the bytes read; 0 and `bytes`
    // emptied when the count is 0 or negative.
    qint64 ReadCountedBytes(QByteArray& bytes);
    // The same into the memory `target(context, n)` gives for the n bytes
    // that will be read (n > 0; not called when there are none), so a caller
    // that keeps the bytes needs no copy of them.
    qint64 ReadCountedInto(char* (*target)(void* context, qint64 count), void* context);

    // Copies from the current position to the end in blocks of up to 4096
    // bytes, letting pending events run after each block.
    void CopyTo(File& target);

    const QString& Name() const { return m_name; }
    void SetName(const QString& name) { m_name = name; }
    quint32 Size() const { return static_cast<quint32>(m_size); }
    quint32 Position() const { return static_cast<quint32>(m_pos); }
    // EOF is a macro of the C library, hence the name.
    bool Eof() const { return static_cast<qint32>(Position()) >= static_cast<qint32>(Size()); }
    quint32 Access() const { return m_access; }
    qint32 Mode() const { return m_mode; }
    // Whether any read since the file was opened stopped short at its end.
    bool HadShortRead() const { return m_shortRead; }
    // Bytes between the position and the end: the cap of every counted read.
    qint64 Remaining() const { return m_size > m_pos ? m_size - m_pos : 0; }

    quint32 Attributes() const { return m_attributes; }
    bool IsArchive() const { return m_attributes & AttrArchive; }
    bool IsCompressed() const { return m_attributes & AttrCompressed; }
    bool IsDirectory() const { return m_attributes & AttrDirectory; }
    bool IsHidden() const { return m_attributes & AttrHidden; }
    bool IsNormal() const { return m_attributes & AttrNormal; }
    bool IsReadOnly() const { return m_attributes & AttrReadOnly; }
    bool IsSystem() const { return m_attributes & AttrSystem; }
    bool IsTemporary() const { return m_attributes & AttrTemporary; }
    // Setters change the cached word only; SetAttributes writes it out.
    void SetArchive(bool value) { SetFlag(AttrArchive, value); }
    void SetCompressed(bool value) { SetFlag(AttrCompressed, value); }
    void SetHidden(bool value) { SetFlag(AttrHidden, value); }
    void SetNormal(bool value) { SetFlag(AttrNormal, value); }
    void SetReadOnly(bool value) { SetFlag(AttrReadOnly, value); }
    void SetSystem(bool value) { SetFlag(AttrSystem, value); }

private:
    void SetFlag(quint32 bit, bool value) { m_attributes = value ? (m_attributes | bit) : (m_attributes & ~bit); }

    // Raw transfers at the position; both raise system errors.
    qint64 ReadBytes(char* target, qint64 count);
    void WriteBytes(const char* source, qint64 count);
    void FlushWrites();
    void RequireOpen() const;
    char* Buffer();
    void CacheAttributes(const struct stat& status, const QString& path);

    template <typename T>
    qint32 ReadTyped(T& data, qint32 length);
    template <typename T>
    void WriteTyped(T data, qint32 length);
    template <typename T>
    qint32 ReadScalar(T& data);
    template <typename T>
    void WriteScalar(T data);
    template <typename T>
    qint32 ReadNumberAsText(T& data, qint32 length);
    bool ReadTextBytes(QByteArray& bytes, qint32 length, qsizetype fixedCount, qint32& delivered);
    qint64 ReadCapped(QByteArray& bytes, qint64 count);
    void WriteTextBytes(const QByteArray& bytes, qint32 length, bool isBlock = false);

    int m_fd = -1;
    QString m_name;
    qint32 m_mode = BinaryMode;
    quint32 m_access = 0;
    quint32 m_attributes = 0;

    qint64 m_pos = 0;
    qint64 m_size = 0;
    // The buffer holds either file bytes from m_bufferStart (read cache) or,
    // when m_dirty, bytes still to be written at m_bufferStart.
    // Allocated on first use, uninitialised: most files read are far smaller.
    std::unique_ptr<char[]> m_buffer;
    qint64 m_bufferStart = 0;
    qint64 m_bufferLength = 0;
    bool m_dirty = false;
    bool m_shortRead = false;
};
