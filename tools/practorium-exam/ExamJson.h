#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

class Exam;
class QIODevice;

// The JSON form of an exam file, as exam authors write it and as `dump`
// prints it. Keys come in the order of the file's fields:
//
//   reserved, code, name, maxScore, passScore, duration, questions[
//     number, solutionCount, hasHint, exhibit, problem, explanation, choices[
//       number, isSolution, statement ] ]
//
// Texts are the stored ones (the explanation untrimmed), so that compiling a
// dump gives the file back byte for byte whenever its booleans were canonical.
namespace ExamJson {

// UTF-8 JSON with every key, two-space indentation, each choice on one line
// and a final line break. Numbers are plain integers; `reserved` is base64
// with padding. C0 and C1 control characters (NUL, U+0081 ...) are written as
// \u00XX so they survive the trip and stay visible.
QByteArray ToJson(const Exam& exam);
// The same text handed to `write` in pieces of about 64 KiB as it is made.
void WriteJson(const Exam& exam, const std::function<void(const QByteArray&)>& write);

// Replaces the exam's header and questions with those described by `json`.
// Only code, name, maxScore, passScore, duration and questions are required;
// a missing `number` is the 1-based position, a missing `solutionCount` the
// number of solution choices, any other missing key is empty, false or [].
// Raises an Error with `source` (the JSON file's name) and a description
// "<key path>: <problem>", the path counting positions from 1 as the exam
// does: `questions[3].choices[2].isSolution: expected true or false`. Unknown
// keys are errors too, so a misspelt key cannot silently fall back to its
// default, and so are repeated keys. The source is read as a stream of
// values (the JSON is never held as a document), so an error is the first
// one met in reading order; on an error the exam holds what was read so far.
void FromJson(const QByteArray& json, Exam& exam, const QString& source);
// The same, reading `json` in blocks as it goes: a source of any size costs
// the exam it describes and one block.
void FromJson(QIODevice& json, Exam& exam, const QString& source);

} // namespace ExamJson
