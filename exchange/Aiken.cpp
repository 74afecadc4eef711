// Aiken: one question per block, its text on the first lines, then options
// "A. text" or "A) text", then "ANSWER: B". Blank lines are ignored.
//
//   What is the default port of SSH?
//   A. 21
//   B) 22
//   ANSWER: B

#include "exchange/BankFormat.h"
#include "exchange/Text.h"

#include <QRegularExpression>

namespace exchange {

bool ReadAiken(const QByteArray& bytes, Bank& out, ReadFailure& failure)
{
    static const QRegularExpression OptionLine(QStringLiteral("^([A-Z])[.)]\\s+(.*)$"));
    static const QRegularExpression AnswerLine(QStringLiteral("^ANSWER\\s*:\\s*(.*)$"));
    const QString text = NormalizeLineEnds(DecodeText(bytes));

    BankItem item;
    QString letters;  // of the options so far, in order
    QStringList questionLines;
    int lineNumber = 0;
    const auto fail = [&failure](int line, const QString& description) {
        failure = { line, description };
        return false;
    };

    for (qsizetype start = 0; start <= text.size();) {
        qsizetype end = text.indexOf(u'\n', start);
        if (end < 0)
            end = text.size();
        const QString line = QStringView(text).sliced(start, end - start).trimmed().toString();
        start = end + 1;
        ++lineNumber;
        if (line.isEmpty())
            continue;

        const QRegularExpressionMatch answer = AnswerLine.match(line);
        if (answer.hasMatch()) {
            if (questionLines.isEmpty())
                return fail(lineNumber, QStringLiteral("\"ANSWER:\" line without a question"));
            if (item.options.isEmpty())
                return fail(lineNumber, QStringLiteral("\"ANSWER:\" line before any option"));
            const QStringList given = answer.captured(1).split(QRegularExpression(QStringLiteral("[,\\s]+")), Qt::SkipEmptyParts);
            if (given.isEmpty())
                return fail(lineNumber, QStringLiteral("\"ANSWER:\" names no option"));
            for (const QString& letter : given) {
                const qsizetype index = letter.size() == 1 ? letters.indexOf(letter.at(0).toUpper()) : -1;
                if (index < 0)
                    return fail(lineNumber, QStringLiteral("\"ANSWER: %1\" names no option of the question").arg(letter));
                item.options[index].isSolution = true;
            }
            item.text = questionLines.join(u'\n');
            out.items.append(item);
            item = BankItem();
            letters.clear();
            questionLines.clear();
            continue;
        }

        const QRegularExpressionMatch option = questionLines.isEmpty() ? QRegularExpressionMatch() : OptionLine.match(line);
        if (option.hasMatch()) {
            const QChar letter = option.captured(1).at(0);
            if (letters.contains(letter))
                return fail(lineNumber, QStringLiteral("option %1 given twice").arg(letter));
            letters += letter;
            item.options.append({ option.captured(2), false, QString() });
        } else if (item.options.isEmpty()) {
            if (questionLines.isEmpty())
                item.location = lineNumber;
            questionLines.append(line);
        } else {
            return fail(lineNumber, QStringLiteral("expected an option (\"A. ...\") or an \"ANSWER:\" line"));
        }
    }
    if (!questionLines.isEmpty())
        return fail(item.location, QStringLiteral("question without an \"ANSWER:\" line"));
    return true;
}

} // namespace exchange
