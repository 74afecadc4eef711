#include "exchange/ExamBuilder.h"

#include "model/Ansi.h"
#include "model/Error.h"
#include "model/Exam.h"

#include <QBuffer>
#include <QFileInfo>
#include <QImageReader>

#include <algorithm>

namespace exchange {

namespace {

constexpr qsizetype MaxCount = 32767;
// Decoding a picture to check it may not take more than this (Qt's own limit
// for a single image is 256 MiB).
constexpr int PictureAllocationLimitMiB = 128;

QString OptionLetter(qsizetype index)
{
    return QChar(ushort(index + 65));
}

QString Explanation(const BankItem& item)
{
    QStringList lines;
    if (!item.generalFeedback.isEmpty())
        lines.append(item.generalFeedback);
    for (qsizetype i = 0; i < item.options.size(); ++i) {
        if (!item.options[i].feedback.isEmpty())
            lines.append(OptionLetter(i) + QStringLiteral(". ") + item.options[i].feedback);
    }
    return lines.join(u'\n');
}

} // namespace

ImportOptions ImportOptions::ForSource(const QString& sourcePath)
{
    ImportOptions options;
    options.name = QFileInfo(sourcePath).completeBaseName();
    options.code = options.name.toUpper();
    return options;
}

QString PictureExtension(const QByteArray& bytes)
{
    const char* format = nullptr;
    if (bytes.startsWith("\x89PNG\r\n\x1A\n"))
        format = "png";
    else if (bytes.startsWith("GIF87a") || bytes.startsWith("GIF89a"))
        format = "gif";
    else if (bytes.startsWith("\xFF\xD8\xFF"))
        format = "jpg";
    else if (bytes.startsWith("BM"))
        format = "bmp";
    if (format == nullptr)
        return QString();
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, format == QLatin1String("jpg") ? "jpeg" : format);
    reader.setAllocationLimit(PictureAllocationLimitMiB);
    return reader.read().isNull() ? QString() : QString::fromLatin1(format);
}

int CharactersLost(const QString& text)
{
    // Most texts are ASCII or Latin-1 letters, which the code page holds.
    const bool latin = std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() < 0x80 || (c.unicode() >= 0xA0 && c.unicode() <= 0xFF); });
    if (latin)
        return 0;
    const QByteArray bytes = Ansi::FromUnicode(text);
    int lost = 0;
    qsizetype at = 0;
    for (const char byte : bytes) {
        const QChar c = text.at(at);
        const bool pair = c.isHighSurrogate() && at + 1 < text.size() && text.at(at + 1).isLowSurrogate();
        if (byte == '?' && c != u'?')
            ++lost;
        at += pair ? 2 : 1;
    }
    return lost;
}

bool BuildExam(const Bank& bank, const ImportOptions& options, Exam& exam, QVector<Picture>& pictures,
    QVector<BankNote>& notes, ReadFailure& failure)
{
    failure = ReadFailure();
    pictures.clear();
    if (options.strict && bank.skipped > 0) {
        for (const BankNote& note : bank.notes) {
            if (note.isSkip || note.text.startsWith(QLatin1String("skipped "))) {
                failure = { note.location, note.text };
                return false;
            }
        }
        failure.description = QStringLiteral("%1 question(s) skipped").arg(bank.skipped);
        return false;
    }
    if (options.code.isEmpty() || options.code.contains(u'/') || options.code.contains(QChar(0))
        || options.code.startsWith(u'.')) {
        failure.description = QStringLiteral("the code \"%1\" cannot name exhibit files").arg(options.code);
        return false;
    }
    if (bank.items.isEmpty()) {
        failure.description = QStringLiteral("no question the exam file can hold");
        return false;
    }
    if (bank.items.size() > MaxCount) {
        failure.description = QStringLiteral("%1 items, more than the %2 an exam file holds").arg(bank.items.size()).arg(MaxCount);
        return false;
    }

    exam.Questions().Clear();
    exam.SetReserved(QByteArray());
    exam.SetCode(options.code);
    exam.SetName(options.name);
    exam.SetMaxScore(options.maxScore);
    exam.SetPassScore(options.passScore);
    const int minutes = options.durationMinutes > 0 ? options.durationMinutes : int(bank.items.size());
    exam.SetDuration(qint16(qBound(1, minutes, int(MaxCount))));

    for (qsizetype i = 0; i < bank.items.size(); ++i) {
        const BankItem& item = bank.items[i];
        if (item.options.size() > MaxCount) {
            failure = { item.location, QStringLiteral("%1 options, more than the %2 an item holds").arg(item.options.size()).arg(MaxCount) };
            return false;
        }
        Question& question = *exam.Questions().Add();
        question.SetNumber(qint16(i + 1));
        question.SetProblem(item.text);
        question.SetExplaination(Explanation(item));
        int lost = CharactersLost(question.Problem()) + CharactersLost(question.StoredExplaination());
        for (qsizetype k = 0; k < item.options.size(); ++k) {
            Choice& choice = *question.Choices().Add();
            choice.SetNumber(qint16(k + 1));
            choice.SetStatement(item.options[k].text);
            choice.SetIsSolution(item.options[k].isSolution);
            lost += CharactersLost(choice.Statement());
        }
        question.CalculateSolutionCount();
        question.SetHasHint(question.SolutionCount() > 1);
        if (question.SolutionCount() == 0)
            notes.append({ item.location, QStringLiteral("item %1 has no right option").arg(i + 1) });
        if (lost > 0) {
            notes.append({ item.location,
                QStringLiteral("item %1: %2 character(s) that Windows-1252 cannot hold became \"?\"").arg(i + 1).arg(lost) });
        }
        if (!item.picture.isEmpty()) {
            const QString extension = PictureExtension(item.picture);
            if (extension.isEmpty()) {
                failure = { item.location, QStringLiteral("item %1: the picture is not a PNG, GIF, JPEG or BMP picture").arg(i + 1) };
                return false;
            }
            const QString fileName = QStringLiteral("%1-%2.%3").arg(options.code).arg(i + 1).arg(extension);
            question.SetExhibit(fileName);
            pictures.append({ fileName, item.picture });
        }
        if (item.extraPictures > 0) {
            notes.append({ item.location,
                QStringLiteral("item %1: %2 more picture(s) dropped, an item shows one").arg(i + 1).arg(item.extraPictures) });
        }
    }
    return true;
}

} // namespace exchange
