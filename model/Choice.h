#pragma once

#include "model/ISerializable.h"

#include <QString>

// One answer option of an item. Record: Number (16-bit), IsSolution (4-byte
// boolean), Statement (enciphered text).
class Choice : public ISerializable
{
public:
    // Fewest bytes a record takes: number, boolean, empty text's count.
    static constexpr qint64 MinRecordSize = 2 + 4 + 4;

    qint16 Number() const { return m_number; }
    void SetNumber(qint16 number) { m_number = number; }
    const QString& Statement() const { return m_statement; }
    void SetStatement(const QString& statement) { m_statement = statement; }
    bool IsSolution() const { return m_isSolution; }
    void SetIsSolution(bool isSolution) { m_isSolution = isSolution; }

    bool Serialize(File& file) const override;
    bool Deserialize(File& file) override;

private:
    qint16 m_number = 0;
    QString m_statement;
    bool m_isSolution = false;
};
