#pragma once

#include "exchange/Bank.h"

#include <QByteArray>
#include <QString>

#include <optional>

// The question-bank formats and the one entry that reads any of them.
namespace exchange {

enum class BankFormat { Aiken, Gift, MoodleXml, Qti, Csv };

// "aiken", "gift", "moodle-xml", "qti", "csv" (exactly these, lower case);
// nothing for any other name.
std::optional<BankFormat> ParseBankFormat(const QString& name);
QString BankFormatName(BankFormat format);

// The format of a source by its content: a Moodle XML <quiz> root, a QTI
// assessmentItem root or a zip that holds imsmanifest.xml, a CSV header line
// (a "question" and an "answer" column), Aiken's "ANSWER:" lines, else GIFT.
// Looks at the first 64 KiB only.
BankFormat DetectFormat(const QByteArray& bytes);

// Reads `bytes` in `format` into `out` (cleared first). False with `failure`
// filled when the source cannot be read at all; skipped questions and
// warnings are notes in `out`.
bool ReadBank(BankFormat format, const QByteArray& bytes, Bank& out, ReadFailure& failure);

// The readers of the text formats, with ReadBank's contract.
bool ReadAiken(const QByteArray& bytes, Bank& out, ReadFailure& failure);
bool ReadGift(const QByteArray& bytes, Bank& out, ReadFailure& failure);
bool ReadCsv(const QByteArray& bytes, Bank& out, ReadFailure& failure);

} // namespace exchange
