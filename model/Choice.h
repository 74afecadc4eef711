#pragma once

#include "model/CompactText.h"

#include <QString>

class File;

// One answer option of an item. Record: Number (16-bit), IsSolution (4-byte
// boolean), Statement (enciphered text).
//
// Options are kept by value, 24 bytes each (a statement of up to 15 bytes
// inside them): an option costs about what its 10-byte record does. They
// serialize like every record but carry no virtual table for it.
class Choice
{
public:
    // Fewest bytes a record takes: number, boolean, empty text's count.
    static constexpr qint64 MinRecordSize = 2 + 4 + 4;

    qint16 Number() const { return m_number; }
    void SetNumber(qint16 number) { m_number = number; }
    QString Statement() const { return m_statement.ToString(); }
    void SetStatement(const QString& statement) { m_statement.Set(statement); }
    bool IsSolution() const { return m_isSolution; }
    void SetIsSolution(bool isSolution) { m_isSolution = isSolution; }

    bool Serialize(File& file) const;
    bool Deserialize(File& file);

private:
    CompactText m_statement;
    qint16 m_number = 0;
    bool m_isSolution = false;
};
static_assert(sizeof(Choice) <= 24);
