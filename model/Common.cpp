#include "model/Common.h"

#include "model/Error.h"

#include <QLocale>
#include <QProcess>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

const QString Crlf = QStringLiteral("\r\n");

template <typename Int>
Int RoundToInt(double value, const QString& source)
{
    const double rounded = std::nearbyint(value); // default rounding mode: ties to even
    if (!(rounded >= double(std::numeric_limits<Int>::min()) && rounded <= double(std::numeric_limits<Int>::max())))
        Error::Raise(ErrorNumber::Overflow, source, QStringLiteral("Overflow"));
    return static_cast<Int>(rounded);
}

} // namespace

QString ValueText(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("True") : QStringLiteral("False");
    case QMetaType::Float:
    case QMetaType::Double: {
        QLocale locale = QLocale::system();
        locale.setNumberOptions(QLocale::OmitGroupSeparator);
        return locale.toString(value.toDouble(), 'g', QLocale::FloatingPointShortest);
    }
    default:
        return value.toString();
    }
}

QString ExpandTemplate(const QString& messageTemplate, const QVariantList& values, bool crlfIgnoresCase)
{
    if (messageTemplate.isEmpty())
        return QString();
    QString text = messageTemplate;
    for (qsizetype i = 0; i < values.size(); ++i)
        text.replace(QLatin1Char('{') + QString::number(i + 1) + QLatin1Char('}'), ValueText(values.at(i)));
    text.replace(QStringLiteral("{CRLF}"), Crlf, crlfIgnoresCase ? Qt::CaseInsensitive : Qt::CaseSensitive);
    return text;
}

QString FormatText(const QString& messageTemplate, const QVariantList& values)
{
    return ExpandTemplate(messageTemplate, values, true);
}

QString SystemErrorText(qint32 code)
{
    // strerror_r (GNU form) never fails; glibc answers "Unknown error N" for
    // codes it has no text for.
    char buffer[256];
    const char* text = strerror_r(code, buffer, sizeof buffer);
    if (!text || !*text || std::strncmp(text, "Unknown error", 13) == 0)
        return QStringLiteral("Unknown error");
    return QString::fromLocal8Bit(text);
}

void RaiseSystemError(qint32 code)
{
    Error::Raise(code, QStringLiteral("CheckApiResult()"),
        QStringLiteral("System Error: 0x") + QString::number(quint32(code), 16).toUpper() + QLatin1Char('\n')
            + SystemErrorText(code));
}

void CheckApiResult(bool result)
{
    if (!result)
        RaiseSystemError(errno);
}

QStringList SplitCommandLine(const QString& commandLine)
{
    QStringList words;
    QString word;
    bool inWord = false;
    enum class Quote { None, Single, Double } quote = Quote::None;
    for (qsizetype i = 0; i < commandLine.size(); ++i) {
        const QChar c = commandLine[i];
        if (quote == Quote::Single) {
            if (c == QLatin1Char('\''))
                quote = Quote::None;
            else
                word += c;
        } else if (quote == Quote::Double) {
            if (c == QLatin1Char('"')) {
                quote = Quote::None;
            } else if (c == QLatin1Char('\\') && i + 1 < commandLine.size()
                && QStringLiteral("\"\\$`").contains(commandLine[i + 1])) {
                word += commandLine[++i];
            } else {
                word += c;
            }
        } else if (c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char('\n')) {
            if (inWord)
                words.append(std::exchange(word, QString()));
            inWord = false;
        } else {
            inWord = true;
            if (c == QLatin1Char('\''))
                quote = Quote::Single;
            else if (c == QLatin1Char('"'))
                quote = Quote::Double;
            else if (c == QLatin1Char('\\') && i + 1 < commandLine.size())
                word += commandLine[++i];
            else
                word += c;
        }
    }
    if (inWord)
        words.append(word);
    return words;
}

qint32 SyncShell(const QString& commandLine)
{
    QStringList arguments = SplitCommandLine(commandLine);
    const QString program = arguments.isEmpty() ? QString() : arguments.takeFirst();
    QProcess process;
    // The child shares our standard streams, as an inherited-handles start does.
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.setInputChannelMode(QProcess::ForwardedInputChannel);
    if (!program.isEmpty())
        process.start(program, arguments);
    if (program.isEmpty() || !process.waitForStarted(-1)) {
        Error::Raise(ErrorNumber::InvalidCall, QStringLiteral("SyncShell()"),
            QStringLiteral("Unable to execute command ") + commandLine);
    }
    process.waitForFinished(-1);
    if (process.exitStatus() == QProcess::CrashExit)
        return -1;
    return process.exitCode();
}

QString FormatDuration(qint32 seconds)
{
    const qint64 total = seconds; // qint64: -seconds of INT_MIN must not overflow
    const qint64 hours = total / 3600;
    const qint64 minutes = (total - hours * 3600) / 60;
    const qint64 rest = total % 60;
    auto part = [](qint64 n) {
        QString digits = QString::number(n < 0 ? -n : n).rightJustified(2, QLatin1Char('0'));
        return n < 0 ? QLatin1Char('-') + digits : digits;
    };
    return part(hours) + QLatin1Char(':') + part(minutes) + QLatin1Char(':') + part(rest);
}

float Percentage(float part, float whole)
{
    return part / whole * 100.0f;
}

float PercentOf(float value, float percent)
{
    return value * percent / 100.0f;
}

QString TrimBlanks(const QString& text)
{
    qsizetype first = 0;
    qsizetype last = text.size();
    while (first < last && text[first] == QLatin1Char(' '))
        ++first;
    while (last > first && text[last - 1] == QLatin1Char(' '))
        --last;
    if (first == 0 && last == text.size())
        return text; // shares the data: most texts have no blanks to trim
    return text.mid(first, last - first);
}

bool IsBlank(const QString& text)
{
    for (QChar c : text) {
        if (c != QLatin1Char(' '))
            return false;
    }
    return true;
}

QString TrimNull(QString& text)
{
    const qsizetype nul = text.indexOf(QChar(0));
    if (nul >= 0)
        text.truncate(nul);
    return text;
}

QString NullBuffer(qint32 length)
{
    return QString(qMax(length, 0), QChar(0));
}

qint32 ShiftLeft(qint16 value, qint16 bits)
{
    return RoundToInt32(double(value) * std::pow(2.0, double(bits)), QStringLiteral("ShiftLeft()"));
}

qint16 RoundToInt16(double value, const QString& source)
{
    return RoundToInt<qint16>(value, source);
}

qint32 RoundToInt32(double value, const QString& source)
{
    return RoundToInt<qint32>(value, source);
}
