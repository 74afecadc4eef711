#include "model/Exam.h"

#include "model/Common.h"
#include "model/Error.h"
#include "model/File.h"

namespace {

[[noreturn]] void RaiseDamagedHeader(const QString& what, qint32 count)
{
    Error::Raise(ErrorNumber::DamagedFile, QString(),
        QStringLiteral("The exam file is damaged: its header holds %1 of %2 bytes").arg(what).arg(count));
}

const QString SrcLoadHeader = QStringLiteral("Exam::LoadHeader()");
// Load raises under Save's name too; callers and logs know it by that name.
const QString SrcSave = QStringLiteral("Exam::Save()");
} // namespace

Exam::Exam() = default;
Exam::~Exam() = default;

void Exam::ReadHeader(File& file, ReservedBlock reserved)
{
    qint32 count = 0;
    file.ReadData(count);
    if (reserved == ReservedBlock::Skip) {
        // Skipped by its count: a hostile count in a sparse file costs a seek,
        // not a read of gigabytes. Past the end, the reads that follow come
        // up short and the header is incomplete.
        if (count > 0)
            file.SeekTo(count, File::FromCurrent);
    } else if (count > MaxReservedBlock) {
        RaiseDamagedHeader(QStringLiteral("a reserved block"), count);
    } else if (count > 0) {
        file.ReadData(m_reserved, count);
    }
    ReadHeaderText(file, m_code);
    ReadHeaderText(file, m_name);
    file.ReadData(m_maxScore);
    file.ReadData(m_passScore);
    m_headerComplete = file.ReadData(m_duration) == 2;
}

void Exam::ReadHeaderText(File& file, QString& text)
{
    qint32 count = 0;
    file.ReadData(count);
    if (count > MaxHeaderText)
        RaiseDamagedHeader(QStringLiteral("a text"), count);
    // As a counted text read: a count of 0 or less leaves the text as it was.
    if (count > 0)
        file.ReadData(text, count);
}

void Exam::WriteHeader(File& file) const
{
    file.WriteData(m_reserved, -1);
    file.WriteData(m_code, -1);
    file.WriteData(m_name, -1);
    file.WriteData(m_maxScore);
    file.WriteData(m_passScore);
    file.WriteData(m_duration);
}

bool Exam::LoadHeader(const QString& path)
{
    bool result = false;
    try {
        File file;
        file.OpenFile(path, File::BinaryMode, File::GenericRead, File::OpenExisting);
        ReadHeader(file, ReservedBlock::Skip);
        result = true;
        m_fileName = path;
    } catch (...) {
        // The File closes itself as the stack unwinds.
        Error::Rethrow(SrcLoadHeader);
    }
    return result;
}

bool Exam::Load(const QString& path)
{
    bool result = false;
    try {
        File file;
        file.OpenFile(path, File::BinaryMode, File::GenericRead, File::OpenExisting);
        m_questions.Clear();
        Deserialize(file);
        // A file cut short reads as partial values; a sitting on it would show
        // broken items, so it is reported as damaged instead.
        if (file.HadShortRead()) {
            Error::Raise(ErrorNumber::DamagedFile, QString(),
                QStringLiteral("The exam file is damaged: it ends inside a record"));
        }
        file.CloseFile();
        result = true;
        m_fileName = path;
    } catch (...) {
        Error::Rethrow(SrcSave);
    }
    return result;
}

bool Exam::Save(const QString& path)
{
    try {
        File file;
        file.OpenFile(path, File::BinaryMode, File::GenericWrite, File::CreateAlways);
        Serialize(file);
        m_fileName = path;
        // Closed here rather than on release so that a failed final write
        // raises instead of passing silently.
        file.CloseFile();
    } catch (...) {
        Error::Rethrow(SrcSave);
    }
    return false;
}

bool Exam::Serialize(File& file) const
{
    WriteHeader(file);
    m_questions.Serialize(file);
    return true;
}

bool Exam::Deserialize(File& file)
{
    ReadHeader(file);
    m_questions.Deserialize(file);
    return true;
}

qint16 Exam::CalculateScore() const
{
    qint16 correct = 0;
    for (const Question& question : m_questions) {
        if (question.Answer() == question.CorrectAnswer())
            ++correct;
    }
    const QString source = QStringLiteral("Exam::CalculateScore()");
    // Without items the division is 0 / 0, which is an overflow rather than a
    // division by zero.
    if (m_questions.Count() == 0)
        Error::Raise(ErrorNumber::Overflow, source, QStringLiteral("Overflow"));
    return RoundToInt16(double(correct) / double(m_questions.Count()) * double(m_maxScore), source);
}
