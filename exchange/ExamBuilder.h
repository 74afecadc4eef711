#pragma once

#include "exchange/Bank.h"

#include <QByteArray>
#include <QString>
#include <QVector>

class Exam;

namespace exchange {

// How a bank becomes an exam.
struct ImportOptions
{
    QString code, name;
    qint16 maxScore = 1000, passScore = 700;
    int durationMinutes = 0;  // 0: one minute per item, at least 1
    bool strict = false;      // the first skipped question is a failure

    // The defaults for a source file: its base name upper-cased as the code,
    // the base name as the name.
    static ImportOptions ForSource(const QString& sourcePath);
};

// An exhibit to write beside the exam file: its file name (no folder) and
// its bytes as they came from the source.
struct Picture
{
    QString fileName;
    QByteArray bytes;
};

// The file name extension of a picture by its content ("png", "gif", "jpg",
// "bmp"), empty when the bytes are not a whole picture Qt can read in one of
// these formats.
QString PictureExtension(const QByteArray& bytes);

// Fills `exam` (replacing its header and items) from `bank`. Items and
// options keep the bank's order; an item with more than one solution gets
// hasHint; the explanation is the general feedback followed by one line
// "<letter>. <feedback>" per option with feedback of its own. An item's
// first picture becomes its exhibit `<code>-<n>.<ext>` (n the item's number)
// and is returned in `pictures`. Warnings (characters Windows-1252 cannot
// hold, dropped pictures, items without a solution) are appended to `notes`.
// False with `failure` when there is no item, when `options.strict` and a
// question was skipped, when a picture is not a picture, or when the exam
// file cannot hold the bank (more than 32,767 items or options).
bool BuildExam(const Bank& bank, const ImportOptions& options, Exam& exam, QVector<Picture>& pictures,
    QVector<BankNote>& notes, ReadFailure& failure);

// How many characters of `text` Windows-1252 cannot hold (each becomes "?";
// a surrogate pair counts once).
int CharactersLost(const QString& text);

} // namespace exchange
