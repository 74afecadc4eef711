#include "exchange/BankFormat.h"

#include "exchange/MoodleXml.h"
#include "exchange/Qti.h"
#include "exchange/Text.h"

#include <QRegularExpression>
#include <QXmlStreamReader>

namespace exchange {

namespace {

constexpr qsizetype SniffBytes = 64 * 1024;

struct FormatName
{
    BankFormat format;
    const char* name;
};
constexpr FormatName FormatNames[] = {
    { BankFormat::Aiken, "aiken" },
    { BankFormat::Gift, "gift" },
    { BankFormat::MoodleXml, "moodle-xml" },
    { BankFormat::Qti, "qti" },
    { BankFormat::Csv, "csv" },
};

// The local name of the first element of an XML text, empty when the text
// is not XML (or has no element within the sniffed bytes).
QString RootElement(const QString& text)
{
    QXmlStreamReader reader(text);
    while (!reader.atEnd()) {
        if (reader.readNext() == QXmlStreamReader::StartElement)
            return reader.name().toString();
    }
    return QString();
}

bool IsCsvHeader(const QString& line)
{
    static const QRegularExpression Separator(QStringLiteral("[,;\\t]"));
    bool question = false, answer = false;
    for (QString field : line.split(Separator)) {
        field = field.trimmed().remove(u'"').toLower();
        question = question || field == QLatin1String("question");
        answer = answer || field == QLatin1String("answer") || field == QLatin1String("answers");
    }
    return question && answer;
}

} // namespace

std::optional<BankFormat> ParseBankFormat(const QString& name)
{
    for (const FormatName& entry : FormatNames) {
        if (name == QLatin1String(entry.name))
            return entry.format;
    }
    return std::nullopt;
}

QString BankFormatName(BankFormat format)
{
    for (const FormatName& entry : FormatNames) {
        if (entry.format == format)
            return QLatin1String(entry.name);
    }
    return QString();
}

BankFormat DetectFormat(const QByteArray& bytes)
{
    const QByteArray head = bytes.left(SniffBytes);
    if (head.startsWith("PK\x03\x04"))
        return bytes.contains("imsmanifest.xml") ? BankFormat::Qti : BankFormat::Gift;
    // A cut in the middle of a UTF-8 sequence would make the head look like
    // Windows-1252, which is harmless for the markers looked for here.
    const QString text = NormalizeLineEnds(DecodeText(head));
    const QString start = text.trimmed();
    if (start.startsWith(u'<')) {
        const QString root = RootElement(start);
        if (root == QLatin1String("quiz"))
            return BankFormat::MoodleXml;
        if (root == QLatin1String("assessmentItem"))
            return BankFormat::Qti;
    }
    if (IsCsvHeader(start.section(u'\n', 0, 0)))
        return BankFormat::Csv;
    static const QRegularExpression AnswerLine(QStringLiteral("^ANSWER\\s*:\\s*[A-Z]"),
        QRegularExpression::MultilineOption);
    if (text.contains(AnswerLine))
        return BankFormat::Aiken;
    return BankFormat::Gift;
}

bool ReadBank(BankFormat format, const QByteArray& bytes, Bank& out, ReadFailure& failure)
{
    out = Bank();
    failure = ReadFailure();
    switch (format) {
    case BankFormat::Aiken:
        return ReadAiken(bytes, out, failure);
    case BankFormat::Gift:
        return ReadGift(bytes, out, failure);
    case BankFormat::Csv:
        return ReadCsv(bytes, out, failure);
    case BankFormat::MoodleXml:
        return ReadMoodleXml(bytes, out, failure);
    case BankFormat::Qti:
        return ReadQti(bytes, out, failure);
    }
    failure.description = QStringLiteral("unknown question-bank format %1").arg(int(format));
    return false;
}

} // namespace exchange
