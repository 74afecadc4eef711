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
    // Read straight into the statement and deciphered there: no copy.
    struct Target
    {
        CompactText* text;
        char* data = nullptr;
        qint64 count = 0;
    } target { &m_statement };
    const qint64 delivered = file.ReadCountedInto(
        [](void* context, qint64 count) {
            auto* t = static_cast<Target*>(context);
            t->count = count;
            return t->data = t->text->Prepare(count);
        },
        &target);
    if (target.data) {
        CryptoAPI::ApplyRecordCipher(target.data, delivered);
        if (delivered < target.count)
            m_statement.SetAnsi(QByteArrayView(target.data, delivered));
    }
    return true;
}
