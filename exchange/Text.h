#pragma once

#include <QByteArray>
#include <QString>

// Text helpers shared by the question-bank readers and writers.
namespace exchange {

// The text of a source file: UTF-8 (with or without a byte-order mark) when
// the bytes are valid UTF-8, UTF-16 when they start with its byte-order mark
// (either byte order), else Windows-1252, which every byte sequence is. The
// byte-order mark is not part of the text.
QString DecodeText(const QByteArray& bytes);

// HTML as plain text, through Qt's document classes: paragraphs, list items
// and line breaks become line breaks, entities are decoded, pictures, scripts
// and style sheets vanish; blanks at both ends are trimmed. Works in a
// program with only a QCoreApplication.
QString HtmlToPlainText(const QString& html);

// Whether a text holds an HTML tag or entity, for formats whose texts may be
// either plain or HTML without saying which.
bool LooksLikeHtml(const QString& text);

// The text with line ends (CR LF, CR) made LF.
QString NormalizeLineEnds(QString text);

} // namespace exchange
