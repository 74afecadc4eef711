#include "model/Choice.h"

#include "model/CryptoAPI.h"
#include "model/File.h"

bool Choice::Serialize(File& file) const
{
    file.WriteData(m_number);
    file.WriteData(m_isSolution);
    CryptoAPI::WriteSecureData(file, m_statement);
    return true;
}

bool Choice::Deserialize(File& file)
{
    file.ReadData(m_number);
    file.ReadData(m_isSolution);
    CryptoAPI::ReadSecureData(file, m_statement);
    return true;
}
