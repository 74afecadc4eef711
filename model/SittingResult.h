#pragma once

#include <QByteArray>
#include <QList>
#include <QDateTime>
#include <QString>
#include <QVector>

// What one ended sitting produced, handed by the exam window to whoever keeps
// the history. Plain values only, so the recorder needs no window and the
// window needs no database.
struct SittingItemResult
{
    qint16 number = 0;      // the item's Number in the sat exam's file
    QString answer;         // answer form ("1,3"); empty when unanswered
    QString key;            // the item's CorrectAnswer
    bool isCorrect = false;
    bool isMarked = false;
};

struct SittingResult
{
    QString examCode;
    QString examName;
    QString examPath;       // the exam file the sitting was loaded from
    QByteArray examDigest;  // SHA-256 of that file's bytes when the sitting began
    QDateTime started;
    QDateTime ended;
    qint32 secondsUsed = 0;
    bool extraTimeTaken = false;  // the 30 more minutes were accepted
    bool isStudy = false;         // study mode rather than exam mode
    bool isRetake = false;        // only the items missed in an earlier attempt
    qint16 obtained = 0;
    qint16 required = 0;
    qint16 maximum = 0;
    bool passed = false;
    QVector<SittingItemResult> items;
};

// The items a retake sits: those answered wrongly or left unanswered, in the
// order of the attempt.
inline QList<qint16> MissedNumbers(const SittingResult& result)
{
    QList<qint16> numbers;
    for (const SittingItemResult& item : result.items)
        if (!item.isCorrect)
            numbers.append(item.number);
    return numbers;
}
