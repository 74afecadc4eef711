#pragma once

#include <QStringList>

// The question-bank commands of practorium-exam. Each takes the arguments
// after its command word; failures raise an Error (reported by main as its
// one line), warnings go to standard error as they come.
//
//   import [--format aiken|gift|moodle-xml|qti|csv] [--code CODE] [--name NAME]
//          [--max-score N] [--pass-score N] [--duration MINUTES] [--strict]
//          SOURCE OUTPUT.exam
//   export --format gift|moodle-xml FILE.exam OUTPUT
namespace BankCommands {

extern const char* const ImportUsage;
extern const char* const ExportUsage;

// Writes OUTPUT.exam and its exhibits `<CODE>-<n>.<ext>` beside it, all or
// nothing. Standard error gets one line per skipped question and warning,
// "practorium-exam: SOURCE:LINE: <text>", then "imported N items, skipped M".
void Import(const QStringList& arguments);

// Writes the exam in the format; GIFT gets its exhibits copied beside
// OUTPUT, Moodle XML carries them embedded.
void Export(const QStringList& arguments);

} // namespace BankCommands
