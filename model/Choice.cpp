#include "model/Choice.h"

#include "model/CryptoAPI.h"
#include "model/File.h"

bool Choice::Serialize(File& file) const
{
    file.WriteData(m_number);
    file.WriteData(m_isSolution);
    CryptoAPI::WriteSecureBytes(file, m_statement.ToAnsi());
    return true;
}

bool Choice::Deserialize(File& file)
{
    file.ReadData(m_number);
    file.ReadData(m_isSolution);
    // One scratch block serves every option: the program reads on one thread.
    static QByteArray bytes;
    if (CryptoAPI::ReadSecureBytes(file, bytes))
        m_statement.SetAnsi(bytes);
    CryptoAPI::TrimScratch(bytes);
    return true;
}
