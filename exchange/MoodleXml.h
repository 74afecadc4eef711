#pragma once

#include "exchange/Bank.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

class Exam;

namespace exchange {

// Moodle XML question banks (a <quiz> of <question> elements).
//
// Reading keeps multichoice (single and multiple answer) and truefalse
// questions; an answer whose `fraction` is above 0 is a solution. Texts in
// format="html" become plain text; other formats are taken as written. The
// first embedded <file encoding="base64"> picture of a question becomes its
// picture, later ones are counted in extraPictures. Categories are ignored;
// every other type is skipped with a note at the question's line.
//
// Refused with the failing line: a document type declaration (hence any
// entity), nesting deeper than GuardedXml::MaxDepth, a text longer than
// GuardedXml::MaxTextChars, base64 that does not decode, a picture file whose
// bytes are no picture, more than MaxMoodleItems questions, input larger
// than MaxMoodleBytes.
constexpr qsizetype MaxMoodleBytes = 64 * 1024 * 1024;
constexpr int MaxMoodleItems = 32767;

bool ReadMoodleXml(const QByteArray& bytes, Bank& out, ReadFailure& failure);

// The exam as Moodle XML: one category named after the exam's code, then one
// multichoice question per item in order, its exhibit (read from
// `exhibitFolder`) embedded as the question text's picture, its explanation
// as general feedback. An exhibit that cannot be read is left out with a
// line in `warnings`.
QByteArray WriteMoodleXml(const Exam& exam, const QString& exhibitFolder, QStringList* warnings = nullptr);

} // namespace exchange
