#pragma once

#include "model/ISerializable.h"
#include "model/Questions.h"

#include <QByteArray>
#include <QString>

class File;

// The exam document: header, items, and the state of the sitting on it.
// The file is the header (reserved block, code, name, maximum score, passing
// score, duration), then the Questions record; nothing follows.
class Exam : public ISerializable
{
public:
    Exam();
    ~Exam();
    Exam(const Exam&) = delete;
    Exam& operator=(const Exam&) = delete;

    // Reads only the header of `path`, skipping the reserved block (Reserved
    // is left as it was). A file that ends inside the header leaves the
    // fields the short reads produced; a missing or unreadable file, or one
    // that is not a regular file, raises under "Exam::LoadHeader()", and so
    // does a code or name longer than MaxHeaderText bytes (a damaged header).
    // FileName keeps `path` as given.
    bool LoadHeader(const QString& path);

    // Replaces the questions with the file's (a reserved block over
    // MaxReservedBlock is a damaged file). Errors raise under
    // "Exam::Save()" (the same name as Save's); a file that ends inside a
    // record is an error too (unlike LoadHeader, which keeps partial values).
    bool Load(const QString& path);
    // Writes the exam over `path`. Returns false even on success: success is
    // the absence of a raised error ("Exam::Save()").
    bool Save(const QString& path);

    bool Serialize(File& file) const override;
    bool Deserialize(File& file) override;

    // Correct items / items * MaxScore, rounded half to even. An item is
    // correct when its Answer equals its CorrectAnswer exactly; there is no
    // partial credit. With no items (0 / 0), or a result outside 16 bits,
    // raises error 6 (Overflow).
    qint16 CalculateScore() const;

    ::Questions& Questions() { return m_questions; }
    const ::Questions& Questions() const { return m_questions; }

    const QString& Code() const { return m_code; }
    void SetCode(const QString& code) { m_code = code; }
    const QString& Name() const { return m_name; }
    void SetName(const QString& name) { m_name = name; }
    // Minutes allowed for a sitting.
    qint16 Duration() const { return m_duration; }
    void SetDuration(qint16 minutes) { m_duration = minutes; }
    qint16 MaxScore() const { return m_maxScore; }
    void SetMaxScore(qint16 score) { m_maxScore = score; }
    qint16 PassScore() const { return m_passScore; }
    void SetPassScore(qint16 score) { m_passScore = score; }
    // The opaque leading block of the file, written back unchanged.
    const QByteArray& Reserved() const { return m_reserved; }
    void SetReserved(const QByteArray& bytes) { m_reserved = bytes; }
    bool IsEnded() const { return m_isEnded; }
    const QString& FileName() const { return m_fileName; }

    void EndExam() { m_isEnded = true; }

    // Whether the last header read got every byte up to the duration. Reads
    // stop short only at the end of the file, so the last field arriving
    // whole means every field before it did too.
    bool IsHeaderComplete() const { return m_headerComplete; }

    // Longest code or name a header may hold, in bytes; real ones are a line.
    static constexpr qint32 MaxHeaderText = 64 * 1024;
    // Longest reserved block Load reads, in bytes; longer is a damaged file.
    static constexpr qint32 MaxReservedBlock = 16 * 1024 * 1024;

    enum class ReservedBlock { Read, Skip };
    // The header record at the file's position, shared with the full record.
    void ReadHeader(File& file, ReservedBlock reserved = ReservedBlock::Read);
    void WriteHeader(File& file) const;

private:
    static void ReadHeaderText(File& file, QString& text);

    QString m_code;
    QString m_name;
    qint16 m_duration = 0;
    qint16 m_maxScore = 0;
    qint16 m_passScore = 0;
    QByteArray m_reserved;
    bool m_isEnded = false;
    bool m_headerComplete = false;
    QString m_fileName;
    ::Questions m_questions;
};
