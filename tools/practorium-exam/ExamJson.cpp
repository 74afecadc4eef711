#include "tools/practorium-exam/ExamJson.h"

#include "model/Error.h"
#include "model/Exam.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QJsonValue>
#include <QLocale>

#include <cmath>
#include <functional>
#include <initializer_list>
#include <optional>

namespace {

// ---------------------------------------------------------------- writing

void AppendText(QString& out, const QString& text)
{
    out += u'"';
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        switch (u) {
        case u'"':
            out += QStringLiteral("\\\"");
            break;
        case u'\\':
            out += QStringLiteral("\\\\");
            break;
        case u'\b':
            out += QStringLiteral("\\b");
            break;
        case u'\f':
            out += QStringLiteral("\\f");
            break;
        case u'\n':
            out += QStringLiteral("\\n");
            break;
        case u'\r':
            out += QStringLiteral("\\r");
            break;
        case u'\t':
            out += QStringLiteral("\\t");
            break;
        default:
            // DEL and the C1 range are legal JSON as they are, but invisible
            // in an editor; the five undefined code-page bytes read as C1
            // characters, so they would be easy to lose by hand.
            if (u < 0x20 || (u >= 0x7F && u <= 0x9F))
                out += QStringLiteral("\\u%1").arg(uint(u), 4, 16, QLatin1Char('0'));
            else
                out += c;
        }
    }
    out += u'"';
}

QString TextValue(const QString& text)
{
    QString value;
    AppendText(value, text);
    return value;
}

QString BooleanValue(bool value)
{
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

void AppendKey(QString& out, const char* key)
{
    out += u'"';
    out += QLatin1String(key);
    out += QStringLiteral("\": ");
}

// `"key": value,` on a line of its own; the arrays come last in each object.
void AppendMember(QString& out, int indent, const char* key, const QString& value)
{
    out += QString(indent, u' ');
    AppendKey(out, key);
    out += value;
    out += QStringLiteral(",\n");
}

// An array member whose elements `appendElement(out, i)` writes at `indent` + 2,
// one a line; "[]" when there are none.
template <typename AppendElement>
void AppendArray(QString& out, int indent, const char* key, qsizetype count, AppendElement appendElement)
{
    out += QString(indent, u' ');
    AppendKey(out, key);
    if (count == 0) {
        out += QStringLiteral("[]\n");
        return;
    }
    out += QStringLiteral("[\n");
    for (qsizetype i = 1; i <= count; ++i) {
        out += QString(indent + 2, u' ');
        appendElement(out, i);
        out += i < count ? QStringLiteral(",\n") : QStringLiteral("\n");
    }
    out += QString(indent, u' ');
    out += QStringLiteral("]\n");
}

// A choice fits on one line, as authors tend to write it.
void AppendChoice(QString& out, const Choice& choice)
{
    out += QStringLiteral("{ ");
    AppendKey(out, "number");
    out += QString::number(choice.Number());
    out += QStringLiteral(", ");
    AppendKey(out, "isSolution");
    out += BooleanValue(choice.IsSolution());
    out += QStringLiteral(", ");
    AppendKey(out, "statement");
    AppendText(out, choice.Statement());
    out += QStringLiteral(" }");
}

void AppendQuestion(QString& out, const Question& question)
{
    out += QStringLiteral("{\n");
    AppendMember(out, 6, "number", QString::number(question.Number()));
    AppendMember(out, 6, "solutionCount", QString::number(question.SolutionCount()));
    AppendMember(out, 6, "hasHint", BooleanValue(question.HasHint()));
    AppendMember(out, 6, "exhibit", TextValue(question.Exhibit()));
    AppendMember(out, 6, "problem", TextValue(question.Problem()));
    AppendMember(out, 6, "explanation", TextValue(question.StoredExplaination()));
    AppendArray(out, 6, "choices", question.Choices().Count(),
        [&question](QString& o, qsizetype i) { AppendChoice(o, question.Choices().Item(i)); });
    out += QStringLiteral("    }");
}

// ---------------------------------------------------------------- reading

constexpr double Int16Min = -32768;
constexpr double Int16Max = 32767;

QString NumberText(double value)
{
    return QString::number(value, 'g', QLocale::FloatingPointShortest);
}

// One JSON object of the exam with its key path ("questions[3].choices[2]"),
// reading typed values by key and raising under the file's name.
class ObjectReader
{
public:
    ObjectReader(const QJsonObject& object, const QString& path, const QString& source,
        std::initializer_list<const char*> knownKeys)
        : m_object(object)
        , m_path(path)
        , m_source(source)
    {
        for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
            bool known = false;
            for (const char* key : knownKeys)
                known = known || it.key() == QLatin1String(key);
            if (!known)
                Fail(ErrorNumber::InvalidCall, PathOf(it.key()), QStringLiteral("unknown key"));
        }
    }

    bool Has(const char* key) const { return m_object.contains(QLatin1String(key)); }

    // A 16-bit integer; `fallback` empty means the key is required.
    qint16 Int16(const char* key, std::optional<qint16> fallback) const
    {
        if (!Has(key))
            return fallback ? *fallback : Missing(key);
        const QJsonValue value = m_object.value(QLatin1String(key));
        if (!value.isDouble()) {
            Fail(ErrorNumber::TypeMismatch, PathOf(key),
                QStringLiteral("expected a whole number from -32768 to 32767"));
        }
        const double number = value.toDouble();
        if (!std::isfinite(number) || number != std::trunc(number)) {
            Fail(ErrorNumber::TypeMismatch, PathOf(key),
                QStringLiteral("%1 is not a whole number").arg(NumberText(number)));
        }
        if (number < Int16Min || number > Int16Max) {
            Fail(ErrorNumber::Overflow, PathOf(key),
                QStringLiteral("%1 is outside the 16-bit range -32768 to 32767").arg(NumberText(number)));
        }
        return static_cast<qint16>(number);
    }

    QString Text(const char* key, bool required) const
    {
        if (!Has(key)) {
            if (required)
                Missing(key);
            return QString();
        }
        const QJsonValue value = m_object.value(QLatin1String(key));
        if (!value.isString())
            Fail(ErrorNumber::TypeMismatch, PathOf(key), QStringLiteral("expected a string"));
        return value.toString();
    }

    bool Boolean(const char* key) const
    {
        if (!Has(key))
            return false;
        const QJsonValue value = m_object.value(QLatin1String(key));
        if (!value.isBool())
            Fail(ErrorNumber::TypeMismatch, PathOf(key), QStringLiteral("expected true or false"));
        return value.toBool();
    }

    // The array's elements, each required to be an object, and at most
    // `maxCount` of them (the 16-bit position counters of the collections).
    QJsonArray Objects(const char* key, bool required, qsizetype maxCount) const
    {
        if (!Has(key)) {
            if (required)
                Missing(key);
            return QJsonArray();
        }
        const QJsonValue value = m_object.value(QLatin1String(key));
        if (!value.isArray())
            Fail(ErrorNumber::TypeMismatch, PathOf(key), QStringLiteral("expected an array"));
        const QJsonArray array = value.toArray();
        if (array.size() > maxCount) {
            Fail(ErrorNumber::Overflow, PathOf(key),
                QStringLiteral("%1 items, more than the %2 an exam file can hold").arg(array.size()).arg(maxCount));
        }
        for (qsizetype i = 0; i < array.size(); ++i) {
            if (!array.at(i).isObject())
                Fail(ErrorNumber::TypeMismatch, ElementPath(key, i), QStringLiteral("expected an object"));
        }
        return array;
    }

    QString PathOf(const QString& key) const { return m_path.isEmpty() ? key : m_path + u'.' + key; }
    QString PathOf(const char* key) const { return PathOf(QString::fromLatin1(key)); }
    // Positions count from 1, like the exam's own numbering.
    QString ElementPath(const char* key, qsizetype index) const
    {
        return PathOf(key) + QStringLiteral("[%1]").arg(index + 1);
    }

    [[noreturn]] void Fail(qint32 number, const QString& path, const QString& problem) const
    {
        Error::Raise(number, m_source, path + QStringLiteral(": ") + problem);
    }

private:
    [[noreturn]] qint16 Missing(const char* key) const
    {
        Fail(ErrorNumber::InvalidCall, PathOf(key), QStringLiteral("required key is missing"));
    }

    const QJsonObject& m_object;
    QString m_path;
    const QString& m_source;
};

void ReadChoice(const ObjectReader& reader, qsizetype position, Choice& choice)
{
    choice.SetNumber(reader.Int16("number", static_cast<qint16>(position)));
    choice.SetIsSolution(reader.Boolean("isSolution"));
    choice.SetStatement(reader.Text("statement", false));
}

void ReadQuestion(const ObjectReader& reader, qsizetype position, Question& question, const QString& source)
{
    question.SetNumber(reader.Int16("number", static_cast<qint16>(position)));
    question.SetHasHint(reader.Boolean("hasHint"));
    question.SetExhibit(reader.Text("exhibit", false));
    question.SetProblem(reader.Text("problem", false));
    question.SetExplaination(reader.Text("explanation", false));

    const QJsonArray choices = reader.Objects("choices", false, Choices::MaxCount);
    for (qsizetype i = 0; i < choices.size(); ++i) {
        const QJsonObject object = choices.at(i).toObject();
        const ObjectReader choiceReader(
            object, reader.ElementPath("choices", i), source, { "number", "isSolution", "statement" });
        ReadChoice(choiceReader, i + 1, *question.Choices().Add());
    }

    // Read last: its default depends on the choices.
    if (reader.Has("solutionCount"))
        question.SetStoredSolutionCount(reader.Int16("solutionCount", std::nullopt));
    else
        question.CalculateSolutionCount();
}

// "line L, column C" of a byte offset, both from 1, for parse errors.
QString PlaceOf(const QByteArray& json, qsizetype offset)
{
    offset = qBound<qsizetype>(0, offset, json.size());
    const QByteArray before = json.left(offset);
    const qsizetype line = before.count('\n') + 1;
    const qsizetype column = offset - (before.lastIndexOf('\n') + 1) + 1;
    return QStringLiteral("line %1, column %2").arg(line).arg(column);
}

} // namespace

namespace ExamJson {

void WriteJson(const Exam& exam, const std::function<void(const QByteArray&)>& write)
{
    // Handed on in pieces of about this many characters (a question is never
    // split), so a dump holds one piece of its text at a time, not all of it.
    constexpr qsizetype PieceSize = 64 * 1024;
    QString out = QStringLiteral("{\n");
    AppendMember(out, 2, "reserved", TextValue(QString::fromLatin1(exam.Reserved().toBase64())));
    AppendMember(out, 2, "code", TextValue(exam.Code()));
    AppendMember(out, 2, "name", TextValue(exam.Name()));
    AppendMember(out, 2, "maxScore", QString::number(exam.MaxScore()));
    AppendMember(out, 2, "passScore", QString::number(exam.PassScore()));
    AppendMember(out, 2, "duration", QString::number(exam.Duration()));
    AppendArray(out, 2, "questions", exam.Questions().Count(), [&](QString& o, qsizetype i) {
        if (o.size() >= PieceSize) {
            write(o.toUtf8());
            o.resize(0); // keeps its capacity for the next piece
        }
        AppendQuestion(o, exam.Questions().Item(i));
    });
    out += QStringLiteral("}\n");
    write(out.toUtf8());
}

QByteArray ToJson(const Exam& exam)
{
    QByteArray json;
    WriteJson(exam, [&json](const QByteArray& piece) { json += piece; });
    return json;
}

void FromJson(QByteArray json, Exam& exam, const QString& source)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        Error::Raise(ErrorNumber::InvalidCall, source,
            QStringLiteral("invalid JSON at %1: %2").arg(PlaceOf(json, parseError.offset), parseError.errorString()));
    }
    // The document holds all it needs: the text goes before the exam grows.
    json = QByteArray();
    if (!document.isObject())
        Error::Raise(ErrorNumber::TypeMismatch, source, QStringLiteral("expected an object at the top level"));

    const QJsonObject root = document.object();
    const ObjectReader reader(root, QString(), source,
        { "reserved", "code", "name", "maxScore", "passScore", "duration", "questions" });

    const QString reserved = reader.Text("reserved", false);
    const auto decoded = QByteArray::fromBase64Encoding(reserved.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    // Only the one canonical spelling is accepted (padding present, no stray
    // bits), so that what a dump prints is what compile reads.
    if (!decoded || QString::fromLatin1(decoded.decoded.toBase64()) != reserved)
        reader.Fail(ErrorNumber::InvalidCall, QStringLiteral("reserved"), QStringLiteral("expected base64 with padding"));
    exam.SetReserved(decoded.decoded);

    exam.SetCode(reader.Text("code", true));
    exam.SetName(reader.Text("name", true));
    exam.SetMaxScore(reader.Int16("maxScore", std::nullopt));
    exam.SetPassScore(reader.Int16("passScore", std::nullopt));
    exam.SetDuration(reader.Int16("duration", std::nullopt));

    exam.Questions().Clear();
    const QJsonArray questions = reader.Objects("questions", true, Questions::MaxCount);
    for (qsizetype i = 0; i < questions.size(); ++i) {
        const QJsonObject object = questions.at(i).toObject();
        const ObjectReader questionReader(object, reader.ElementPath("questions", i), source,
            { "number", "solutionCount", "hasHint", "exhibit", "problem", "explanation", "choices" });
        ReadQuestion(questionReader, i + 1, *exam.Questions().Add(), source);
    }
}

} // namespace ExamJson
