#pragma once

#include <QByteArray>
#include <QString>

class Exam;

namespace exchange {

// The exam as GIFT (UTF-8), one multiple-choice question per item, titled with
// its number. A single solution is written "=", several as weights
// "~%50%" (wrong options "~%-100%"), so that the multiple-answer form the
// learning platforms use comes out. The explanation becomes the general
// feedback ("####"). An item with an exhibit is written as HTML with an
// <img> naming the exhibit's file, which the caller puts beside the output.
// Reading the result back with ReadGift gives the same items, options,
// solutions and explanations (texts trimmed at both ends); an item without
// options comes out as "{}", which reads back as an essay question.
QByteArray WriteGift(const Exam& exam);

// A text with GIFT's special characters escaped and line breaks as "\n".
QString EscapeGift(const QString& text);

} // namespace exchange
