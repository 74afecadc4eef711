#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

// A question bank read from another program's format, before it becomes an
// exam: texts are still Unicode, pictures still bytes. Readers fill it; the
// exam builder applies the exam file's limits (Windows-1252, one exhibit per
// item, defaults for code, name, scores and duration).
namespace exchange {

struct BankOption
{
    QString text;        // plain text (HTML already turned into text)
    bool isSolution = false;
    QString feedback;    // the option's own feedback, empty when none
};

struct BankItem
{
    QString text;                // the item's plain text, pictures removed
    QVector<BankOption> options; // source order
    QString generalFeedback;     // the explanation before the per-option lines
    QByteArray picture;          // the first picture's bytes, empty when none
    int extraPictures = 0;       // further pictures that were dropped
    int location = 0;            // 1-based line in the source, else position
};

// A message about the source: a skipped question or any other warning. The
// location is a line where the format has lines, else the item's position.
struct BankNote
{
    int location = 0;
    QString text;  // e.g. `skipped essay question "Describe the OSI ..."`
    bool isSkip = false;  // a question left out (Bank::Skip), not a warning
};

struct Bank
{
    QVector<BankItem> items;
    QVector<BankNote> notes;
    int skipped = 0;  // questions of a type the exam file cannot hold

    // Records a question of `type` ("essay", "matching", ...) that the exam
    // file cannot hold: counts it and adds the note
    // `skipped <type> question "<first 40 characters of its text>"`.
    void Skip(int location, const QString& type, const QString& questionText)
    {
        QString start = questionText.simplified();
        if (start.size() > 40)
            start.truncate(start.at(39).isHighSurrogate() ? 39 : 40);
        notes.append({ location, QStringLiteral("skipped %1 question \"%2\"").arg(type, start), true });
        ++skipped;
    }
    void Warn(int location, const QString& text) { notes.append({ location, text, false }); }
};

// Why a source could not be read at all: the reader stops at the first such
// fault and nothing is written.
struct ReadFailure
{
    int location = 0;  // 1-based line (or position); 0 when none applies
    QString description;
};

}  // namespace exchange
