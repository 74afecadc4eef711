#include "model/Exam.h"

#include "model/Error.h"
#include "model/File.h"

Exam::Exam() = default;
Exam::~Exam() = default;

void Exam::ReadHeader(File& file)
{
    file.ReadData(m_reserved, -1);
    file.ReadData(m_code, -1);
    file.ReadData(m_name, -1);
    file.ReadData(m_maxScore);
    file.ReadData(m_passScore);
    file.ReadData(m_duration);
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
        ReadHeader(file);
        result = true;
        m_fileName = path;
    } catch (...) {
        // The File closes itself as the stack unwinds.
        Error::Rethrow(QStringLiteral("Exam::LoadHeader()"));
    }
    return result;
}
