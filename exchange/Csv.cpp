// CSV as spreadsheets save it: a header line naming the columns, one question
// per record. Fields may be quoted ("..." with "" for a quote) and then hold
// the delimiter and line breaks. The delimiter is the one of ",", ";" and tab
// that the header line uses most.
//
// Columns (names case-insensitive): "question"; "answer" (or "answers"), the
// letters of the right options ("A" or "A,C"); options "A", "B", ... or
// "option A", "choice 1", ... in column order; "explanation" (or "feedback").
// Other columns are ignored with a note.

#include "exchange/BankFormat.h"
#include "exchange/Text.h"

#include <QRegularExpression>

namespace exchange {

namespace {

constexpr qsizetype MaxFieldChars = 4 * 1024 * 1024;
constexpr qsizetype MaxFields = 1024;

// Splits the text into records of fields, one record at a time.
class CsvParser
{
public:
    CsvParser(const QString& text, QChar delimiter) : m_text(text), m_delimiter(delimiter) { }

    bool AtEnd() const { return m_at >= m_text.size(); }
    int Line() const { return m_line; }

    // The next record; false with `error` on a quote that is never closed or
    // a field or record beyond the limits. `line` is where the record starts.
    bool Next(QStringList& fields, int& line, QString& error)
    {
        fields.clear();
        line = m_line;
        QString field;
        bool quoted = false, wasQuoted = false;
        for (; m_at < m_text.size(); ++m_at) {
            const QChar c = m_text[m_at];
            if (quoted) {
                if (c == u'"') {
                    if (m_at + 1 < m_text.size() && m_text[m_at + 1] == u'"') {
                        field += c;
                        ++m_at;
                    } else {
                        quoted = false;
                    }
                } else {
                    if (c == u'\n')
                        ++m_line;
                    field += c;
                }
            } else if (c == u'"' && field.isEmpty() && !wasQuoted) {
                quoted = wasQuoted = true;
            } else if (c == m_delimiter || c == u'\n') {
                fields.append(wasQuoted ? field : field.trimmed());
                field.clear();
                wasQuoted = false;
                if (fields.size() > MaxFields) {
                    error = QStringLiteral("more than %1 fields in a record").arg(MaxFields);
                    return false;
                }
                if (c == u'\n') {
                    ++m_line;
                    ++m_at;
                    return true;
                }
            } else {
                field += c;
            }
            if (field.size() > MaxFieldChars) {
                error = QStringLiteral("field longer than %1 characters").arg(MaxFieldChars);
                return false;
            }
        }
        if (quoted) {
            error = QStringLiteral("quoted field without its closing quote");
            return false;
        }
        fields.append(wasQuoted ? field : field.trimmed());
        return true;
    }

private:
    const QString& m_text;
    QChar m_delimiter;
    qsizetype m_at = 0;
    int m_line = 1;
};

QChar DetectDelimiter(QStringView header)
{
    QChar best = u',';
    qsizetype bestCount = 0;
    for (const QChar candidate : { u',', u';', u'\t' }) {
        qsizetype count = 0;
        bool quoted = false;
        for (const QChar c : header) {
            if (c == u'"')
                quoted = !quoted;
            else if (c == candidate && !quoted)
                ++count;
        }
        if (count > bestCount) {
            best = candidate;
            bestCount = count;
        }
    }
    return best;
}

QString CellText(const QString& cell)
{
    return LooksLikeHtml(cell) ? HtmlToPlainText(cell) : cell.trimmed();
}

} // namespace

bool ReadCsv(const QByteArray& bytes, Bank& out, ReadFailure& failure)
{
    const QString text = NormalizeLineEnds(DecodeText(bytes));
    const qsizetype headerEnd = text.indexOf(u'\n');
    CsvParser parser(text, DetectDelimiter(QStringView(text).first(headerEnd < 0 ? text.size() : headerEnd)));
    QStringList fields;
    int line = 0;
    QString error;
    if (!parser.Next(fields, line, error)) {
        failure = { line, error };
        return false;
    }

    static const QRegularExpression OptionName(QStringLiteral("^(?:(?:option|choice)\\s*)?([a-z]|[0-9]{1,2})$"));
    int questionColumn = -1, answerColumn = -1, explanationColumn = -1;
    QVector<int> optionColumns;
    for (int i = 0; i < fields.size(); ++i) {
        const QString name = fields[i].trimmed().toLower();
        if (name == QLatin1String("question"))
            questionColumn = i;
        else if (name == QLatin1String("answer") || name == QLatin1String("answers"))
            answerColumn = i;
        else if (name == QLatin1String("explanation") || name == QLatin1String("feedback"))
            explanationColumn = i;
        else if (OptionName.match(name).hasMatch() && name != QLatin1String("0"))
            optionColumns.append(i);
        else
            out.Warn(1, QStringLiteral("column \"%1\" ignored").arg(fields[i]));
    }
    if (questionColumn < 0 || answerColumn < 0 || optionColumns.isEmpty()) {
        failure = { 1, QStringLiteral("the header line needs a \"question\", an \"answer\" and option columns (\"A\", \"B\", ...)") };
        return false;
    }

    while (!parser.AtEnd()) {
        if (!parser.Next(fields, line, error)) {
            failure = { line, error };
            return false;
        }
        if (fields.join(QString()).trimmed().isEmpty())
            continue;
        BankItem item;
        item.location = line;
        item.text = CellText(fields.value(questionColumn));
        if (item.text.isEmpty()) {
            failure = { line, QStringLiteral("empty question") };
            return false;
        }
        qsizetype last = optionColumns.size() - 1;
        while (last >= 0 && fields.value(optionColumns[last]).trimmed().isEmpty())
            --last;
        for (qsizetype k = 0; k <= last; ++k) {
            const QString option = CellText(fields.value(optionColumns[k]));
            if (option.isEmpty()) {
                failure = { line, QStringLiteral("option %1 is empty but a later one is not").arg(QChar(ushort(65 + k))) };
                return false;
            }
            item.options.append({ option, false, QString() });
        }
        const QStringList letters = fields.value(answerColumn).split(QRegularExpression(QStringLiteral("[,;\\s]+")), Qt::SkipEmptyParts);
        if (letters.isEmpty()) {
            failure = { line, QStringLiteral("no right option in the answer column") };
            return false;
        }
        for (const QString& letter : letters) {
            const int index = letter.size() == 1 ? letter.at(0).toUpper().unicode() - 'A' : -1;
            if (index < 0 || index >= item.options.size()) {
                failure = { line, QStringLiteral("answer \"%1\" names no option of the question").arg(letter) };
                return false;
            }
            item.options[index].isSolution = true;
        }
        if (explanationColumn >= 0)
            item.generalFeedback = CellText(fields.value(explanationColumn));
        out.items.append(item);
    }
    return true;
}

} // namespace exchange
