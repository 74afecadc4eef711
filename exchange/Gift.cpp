// GIFT: questions separated by blank lines, each an optional "::title::", an
// optional text format ("[html]", "[moodle]", "[plain]", "[markdown]"), the
// text and an answer block in braces. Lines starting with "//" are comments.
// The exam file holds multiple choice ("{=right ~wrong ~%50%half}") and
// true/false ("{T}", "{FALSE}"); the other types are skipped with a note.
// "\~ \= \# \{ \} \: \\" stand for the character itself and "\n" for a line
// break.

#include "exchange/BankFormat.h"
#include "exchange/Text.h"

#include <QRegularExpression>

namespace exchange {

namespace {

// A question longer than this is refused rather than parsed: no bank needs
// it, and a runaway file (one huge line) must fail early and cheaply.
constexpr qsizetype MaxQuestionChars = 4 * 1024 * 1024;
constexpr qsizetype MaxOptions = 32767;

// The position of the first `c` at or after `from` that no backslash escapes,
// -1 when none.
qsizetype FindUnescaped(QStringView text, QChar c, qsizetype from = 0)
{
    for (qsizetype i = from; i < text.size(); ++i) {
        if (text[i] == u'\\')
            ++i;
        else if (text[i] == c)
            return i;
    }
    return -1;
}

qsizetype FindUnescaped(QStringView text, QStringView what, qsizetype from = 0)
{
    for (qsizetype i = from; i < text.size(); ++i) {
        if (text[i] == u'\\')
            ++i;
        else if (text[i] == what[0] && text.sliced(i).startsWith(what))
            return i;
    }
    return -1;
}

QString Unescape(QStringView text)
{
    if (!text.contains(u'\\'))
        return text.toString();
    QString result;
    result.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == u'\\' && i + 1 < text.size()) {
            const QChar next = text[i + 1];
            if (QStringView(u"~=#{}:\\").contains(next)) {
                result += next;
                ++i;
                continue;
            }
            if (next == u'n') {
                result += u'\n';
                ++i;
                continue;
            }
        }
        result += text[i];
    }
    return result;
}

// One question: its lines joined, and the source line of each.
struct Chunk
{
    QString text;
    QVector<int> lines;

    int LineAt(qsizetype position) const
    {
        const qsizetype index = QStringView(text).first(qMin(position, text.size())).count(u'\n');
        return lines.value(index, lines.isEmpty() ? 0 : lines.last());
    }
};

class GiftReader
{
public:
    GiftReader(Bank& bank, ReadFailure& failure) : m_bank(bank), m_failure(failure) { }

    bool Read(const QString& text)
    {
        Chunk chunk;
        int lineNumber = 0;
        for (qsizetype start = 0; start <= text.size();) {
            qsizetype end = text.indexOf(u'\n', start);
            if (end < 0)
                end = text.size();
            const QStringView line = QStringView(text).sliced(start, end - start);
            start = end + 1;
            ++lineNumber;
            const QStringView trimmed = line.trimmed();
            if (trimmed.startsWith(u"//"))
                continue;
            if (trimmed.startsWith(u"$CATEGORY:")) {
                if (!Flush(chunk))
                    return false;
                continue;
            }
            if (trimmed.isEmpty()) {
                if (!Flush(chunk))
                    return false;
                continue;
            }
            if (chunk.text.size() + line.size() > MaxQuestionChars)
                return Fail(chunk.lines.value(0, lineNumber), QStringLiteral("question longer than %1 characters").arg(MaxQuestionChars));
            if (!chunk.lines.isEmpty())
                chunk.text += u'\n';
            chunk.text += line;
            chunk.lines.append(lineNumber);
        }
        return Flush(chunk);
    }

private:
    bool Fail(int line, const QString& description)
    {
        m_failure = { line, description };
        return false;
    }

    bool Flush(Chunk& chunk)
    {
        const bool ok = chunk.lines.isEmpty() || Question(chunk);
        chunk = Chunk();
        return ok;
    }

    // The question text: the format marker decides whether it is HTML; with
    // none, text that holds tags or entities is taken as HTML.
    QString QuestionText(QStringView raw, int line)
    {
        QStringView text = raw.trimmed();
        enum Format { Auto, Html, Plain };
        struct Marker
        {
            const char16_t* marker;
            Format format;
        };
        static const Marker Markers[] = {
            { u"[html]", Html }, { u"[moodle]", Auto }, { u"[plain]", Plain }, { u"[markdown]", Plain },
        };
        Format format = Auto;
        for (const Marker& entry : Markers) {
            if (text.startsWith(QStringView(entry.marker), Qt::CaseInsensitive)) {
                text = text.sliced(QStringView(entry.marker).size());
                format = entry.format;
                break;
            }
        }
        const QString unescaped = Unescape(text);
        return PlainText(unescaped, format == Html || (format == Auto && LooksLikeHtml(unescaped)), line);
    }

    QString PlainText(const QString& text, int line) { return PlainText(text, LooksLikeHtml(text), line); }
    QString PlainText(const QString& text, bool html, int line)
    {
        if (!html)
            return text.trimmed();
        static const QRegularExpression Picture(QStringLiteral("<\\s*img\\b"), QRegularExpression::CaseInsensitiveOption);
        const qsizetype pictures = text.count(Picture);
        if (pictures > 0)
            m_bank.Warn(line, QStringLiteral("%1 picture(s) left out: GIFT holds no picture data").arg(pictures));
        return HtmlToPlainText(text);
    }

    bool Question(const Chunk& chunk)
    {
        const QString& text = chunk.text;
        const int line = chunk.lines.first();
        qsizetype offset = 0;  // of `body` in `text`
        while (offset < text.size() && text[offset].isSpace())
            ++offset;
        QStringView body = QStringView(text).sliced(offset);
        if (body.startsWith(u"::")) {
            const qsizetype close = FindUnescaped(body, u"::", 2);
            if (close < 0)
                return Fail(line, QStringLiteral("title without its closing \"::\""));
            offset += close + 2;
            body = body.sliced(close + 2);
        }

        const qsizetype open = FindUnescaped(body, u'{');
        const qsizetype strayClose = FindUnescaped(body.first(open < 0 ? body.size() : open), u'}');
        if (strayClose >= 0)
            return Fail(chunk.LineAt(offset + strayClose), QStringLiteral("\"}\" without \"{\""));
        if (open < 0) {
            m_bank.Skip(line, QStringLiteral("description"), QuestionText(body, line));
            return true;
        }
        const qsizetype close = FindUnescaped(body, u'}', open + 1);
        const qsizetype nested = FindUnescaped(body.first(close < 0 ? body.size() : close), u'{', open + 1);
        if (close < 0 || nested >= 0)
            return Fail(chunk.LineAt(offset + open), QStringLiteral("\"{\" without its closing \"}\""));
        const QStringView after = body.sliced(close + 1);
        const qsizetype extraOpen = FindUnescaped(after, u'{');
        const qsizetype extraClose = FindUnescaped(after, u'}');
        if (extraClose >= 0 && (extraOpen < 0 || extraClose < extraOpen))
            return Fail(chunk.LineAt(offset + close + 1 + extraClose), QStringLiteral("\"}\" without \"{\""));
        if (extraOpen >= 0 && FindUnescaped(after, u'}', extraOpen) < 0)
            return Fail(chunk.LineAt(offset + close + 1 + extraOpen), QStringLiteral("\"{\" without its closing \"}\""));

        const QStringView before = body.first(open);
        const QStringView block = body.sliced(open + 1, close - open - 1);
        if (!after.trimmed().isEmpty()) {
            const QString shown = before.trimmed().toString() + QStringLiteral(" _____ ") + after.trimmed().toString();
            m_bank.Skip(line, extraOpen >= 0 ? QStringLiteral("cloze") : QStringLiteral("missing word"), QuestionText(shown, line));
            return true;
        }

        BankItem item;
        item.location = line;
        item.text = QuestionText(before, line);
        const int blockLine = chunk.LineAt(offset + open);
        return Answers(block, blockLine, item);
    }

    bool Answers(QStringView block, int line, BankItem& item)
    {
        const qsizetype general = FindUnescaped(block, u"####");
        if (general >= 0) {
            item.generalFeedback = FeedbackText(block.sliced(general + 4), line);
            block = block.first(general);
        }
        const QStringView trimmed = block.trimmed();
        if (trimmed.isEmpty()) {
            m_bank.Skip(item.location, QStringLiteral("essay"), item.text);
            return true;
        }
        if (trimmed.startsWith(u'#')) {
            m_bank.Skip(item.location, QStringLiteral("numerical"), item.text);
            return true;
        }
        if (TrueFalse(trimmed, line, item))
            return true;

        if (trimmed[0] != u'=' && trimmed[0] != u'~')
            return Fail(line, QStringLiteral("an answer must start with \"=\" or \"~\""));
        // Where each answer starts: every "=" or "~" that no backslash escapes.
        QVector<qsizetype> starts;
        for (qsizetype i = 0; i < trimmed.size(); ++i) {
            if (trimmed[i] == u'\\')
                ++i;
            else if (trimmed[i] == u'=' || trimmed[i] == u'~')
                starts.append(i);
        }
        if (starts.size() > MaxOptions)
            return Fail(line, QStringLiteral("more than %1 answers").arg(MaxOptions));
        starts.append(trimmed.size());
        bool anyWrong = false, matching = false;
        for (qsizetype k = 0; k + 1 < starts.size(); ++k) {
            const QChar marker = trimmed[starts[k]];
            QStringView answer = trimmed.sliced(starts[k] + 1, starts[k + 1] - starts[k] - 1);
            BankOption option;
            bool hasWeight = false;
            double weight = 0;
            static const QRegularExpression WeightPattern(QStringLiteral("^%\\s*(-?[0-9]+(?:\\.[0-9]+)?)\\s*%"));
            const QRegularExpressionMatch weightMatch = WeightPattern.match(answer);
            if (weightMatch.hasMatch()) {
                hasWeight = true;
                weight = weightMatch.captured(1).toDouble();
                answer = answer.sliced(weightMatch.capturedLength(0));
            }
            const qsizetype hash = FindUnescaped(answer, u'#');
            if (hash >= 0) {
                option.feedback = FeedbackText(answer.sliced(hash + 1), line);
                answer = answer.first(hash);
            }
            matching = matching || FindUnescaped(answer, u"->") >= 0;
            anyWrong = anyWrong || marker == u'~';
            option.isSolution = hasWeight ? weight > 0 : marker == u'=';
            option.text = PlainText(Unescape(answer), line);
            item.options.append(option);
        }
        if (matching)
            m_bank.Skip(item.location, QStringLiteral("matching"), item.text);
        else if (!anyWrong)
            m_bank.Skip(item.location, QStringLiteral("short answer"), item.text);
        else
            m_bank.items.append(item);
        return true;
    }

    // "{T}", "{TRUE}", "{F}", "{FALSE}", each optionally followed by
    // "#feedback when wrong#feedback when right".
    bool TrueFalse(QStringView block, int line, BankItem& item)
    {
        const qsizetype hash = FindUnescaped(block, u'#');
        const QString head = block.first(hash < 0 ? block.size() : hash).trimmed().toString().toUpper();
        if (head != QLatin1String("T") && head != QLatin1String("TRUE") && head != QLatin1String("F")
            && head != QLatin1String("FALSE")) {
            return false;
        }
        const bool isTrue = head.startsWith(u'T');
        QString wrongFeedback, rightFeedback;
        if (hash >= 0) {
            const QStringView rest = block.sliced(hash + 1);
            const qsizetype second = FindUnescaped(rest, u'#');
            wrongFeedback = FeedbackText(second < 0 ? rest : rest.first(second), line);
            if (second >= 0)
                rightFeedback = FeedbackText(rest.sliced(second + 1), line);
        }
        item.options = {
            { QStringLiteral("True"), isTrue, isTrue ? rightFeedback : wrongFeedback },
            { QStringLiteral("False"), !isTrue, isTrue ? wrongFeedback : rightFeedback },
        };
        m_bank.items.append(item);
        return true;
    }

    QString FeedbackText(QStringView raw, int line)
    {
        return PlainText(Unescape(raw.trimmed()), line);
    }

    Bank& m_bank;
    ReadFailure& m_failure;
};

} // namespace

bool ReadGift(const QByteArray& bytes, Bank& out, ReadFailure& failure)
{
    GiftReader reader(out, failure);
    return reader.Read(NormalizeLineEnds(DecodeText(bytes)));
}

} // namespace exchange
