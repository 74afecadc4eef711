#include "tools/practorium-exam/ExamJson.h"

#include "model/Error.h"
#include "model/Exam.h"

#include <QIODevice>
#include <QList>
#include <QLocale>
#include <QRegularExpression>

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdint>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

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

// The source's bytes one at a time for the parser, read in blocks, so a large
// source is never held whole. Either over bytes in memory or over a device.
class Input
{
public:
    Input(const char* begin, const char* end) : m_at(begin), m_end(end) { }
    Input(QIODevice& device, const QString& source) : m_device(&device), m_source(&source), m_block(BlockSize, '\0') { }

    bool AtEnd()
    {
        if (m_at == m_end && m_device)
            Fill();
        return m_at == m_end;
    }
    char Current() const { return *m_at; }
    void Advance() { ++m_at; }

    // An input iterator, as the parser takes one.
    class Iterator
    {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = char;
        using difference_type = std::ptrdiff_t;
        using pointer = const char*;
        using reference = char;

        Iterator() = default;
        explicit Iterator(Input* input) : m_input(input) { }
        char operator*() const { return m_input->Current(); }
        Iterator& operator++()
        {
            m_input->Advance();
            return *this;
        }
        bool operator==(const Iterator& other) const { return AtEnd() == other.AtEnd(); }

    private:
        bool AtEnd() const { return !m_input || m_input->AtEnd(); }
        Input* m_input = nullptr;
    };

private:
    static constexpr qsizetype BlockSize = 64 * 1024;
    void Fill()
    {
        const qint64 got = m_device->read(m_block.data(), BlockSize);
        if (got < 0)
            Error::Raise(ErrorNumber::InvalidCall, *m_source, m_device->errorString());
        m_at = m_block.constData();
        m_end = m_at + got;
    }

    const char* m_at = nullptr;
    const char* m_end = nullptr;
    QIODevice* m_device = nullptr;
    const QString* m_source = nullptr;
    QByteArray m_block;
};

// Builds the exam as the parser reports the source's values, one at a time:
// nothing of the source is kept but the exam itself. Each object is checked
// as its keys arrive (unknown or repeated keys, types, ranges) and when it
// ends (required keys). Errors raise under the source's name with the key
// path, positions counted from 1 as the exam counts them.
class ExamReader
{
public:
    ExamReader(Exam& exam, const QString& source) : m_exam(exam), m_source(source) { }

    bool null() { return Scalar(Value::Null); }
    bool boolean(bool value)
    {
        m_bool = value;
        return Scalar(Value::Boolean);
    }
    bool number_integer(std::int64_t value)
    {
        m_number = double(value);
        return Scalar(Value::Number);
    }
    bool number_unsigned(std::uint64_t value)
    {
        m_number = double(value);
        return Scalar(Value::Number);
    }
    bool number_float(double value, const std::string&)
    {
        m_number = value;
        return Scalar(Value::Number);
    }
    bool string(std::string& value)
    {
        if (!Skipping())
            m_text = QString::fromUtf8(value.data(), qsizetype(value.size()));
        return Scalar(Value::Text);
    }
    bool binary(nlohmann::json::binary_t&) { return Scalar(Value::Null); }

    bool start_object(std::size_t)
    {
        const Level level = Next();
        switch (level) {
        case Level::Skip:
            ++m_skip;
            return true;
        case Level::Root:
            m_exam.Questions().Clear();
            break;
        case Level::Question:
            m_question = m_exam.Questions().Add();
            break;
        case Level::Choice:
            m_choice = m_question->Choices().Add();
            break;
        default:
            Mismatch(level, Value::Object);
        }
        m_levels.append(Frame { level });
        return true;
    }

    bool key(std::string& name)
    {
        if (Skipping())
            return true;
        Frame& frame = m_levels.last();
        const QString key = QString::fromUtf8(name.data(), qsizetype(name.size()));
        const int index = KeyIndex(frame.level, key);
        if (index < 0)
            Fail(ErrorNumber::InvalidCall, PathOf(key), QStringLiteral("unknown key"));
        if (frame.seen & (1u << index))
            Fail(ErrorNumber::InvalidCall, PathOf(key), QStringLiteral("repeated key"));
        frame.seen |= 1u << index;
        frame.key = index;
        return true;
    }

    bool end_object()
    {
        if (Skipping()) {
            --m_skip;
            return true;
        }
        const Frame frame = m_levels.last();
        for (int i = 0; i < int(KeysOf(frame.level).size()); ++i) {
            if (RequiredKey(frame.level, i) && !(frame.seen & (1u << i)))
                Fail(ErrorNumber::InvalidCall, PathOf(QLatin1String(KeysOf(frame.level)[i])),
                    QStringLiteral("required key is missing"));
        }
        if (frame.level == Level::Question) {
            // Read last: their defaults depend on the position and the choices.
            if (!(frame.seen & (1u << QuestionNumber)))
                m_question->SetNumber(qint16(m_exam.Questions().Count()));
            if (m_solutionCount)
                m_question->SetStoredSolutionCount(*m_solutionCount);
            else
                m_question->CalculateSolutionCount();
            m_solutionCount.reset();
            m_question->Choices().Squeeze();
        } else if (frame.level == Level::Choice && !(frame.seen & (1u << ChoiceNumber))) {
            m_choice->SetNumber(qint16(m_question->Choices().Count()));
        }
        m_levels.removeLast();
        EndValue();
        return true;
    }

    bool start_array(std::size_t)
    {
        const Level level = Next();
        if (level == Level::Skip)
            ++m_skip;
        else if (level == Level::Questions || level == Level::Choices)
            m_levels.append(Frame { level });
        else
            Mismatch(level, Value::Array);
        return true;
    }

    bool end_array()
    {
        if (Skipping()) {
            --m_skip;
            return true;
        }
        const Frame frame = m_levels.last();
        const qsizetype maxCount = Questions::MaxCount;
        if (frame.elements > maxCount) {
            Fail(ErrorNumber::Overflow, ArrayPath(),
                QStringLiteral("%1 items, more than the %2 an exam file can hold").arg(frame.elements).arg(maxCount));
        }
        if (frame.level == Level::Questions)
            m_exam.Questions().Squeeze();
        m_levels.removeLast();
        EndValue();
        return true;
    }

    template <typename Exception>
    bool parse_error(std::size_t position, const std::string&, const Exception& exception)
    {
        // The parser's own text says where: "... parse error at line 2,
        // column 11: syntax error while parsing ...".
        QString text = QString::fromUtf8(exception.what());
        static const QRegularExpression where(QStringLiteral("at (line \\d+, column \\d+): (.*)$"));
        const QRegularExpressionMatch match = where.match(text);
        const QString place = match.hasMatch() ? match.captured(1) : QStringLiteral("byte %1").arg(position);
        if (match.hasMatch())
            text = match.captured(2);
        else
            text.remove(QRegularExpression(QStringLiteral("^\\[[^\\]]*\\] ")));
        Error::Raise(ErrorNumber::InvalidCall, m_source, QStringLiteral("invalid JSON at %1: %2").arg(place, text));
    }

private:
    enum class Level { Root, Questions, Question, Choices, Choice, Value, Skip };
    enum class Value { Null, Boolean, Number, Text, Object, Array };
    enum RootKey { RootReserved, RootCode, RootName, RootMaxScore, RootPassScore, RootDuration, RootQuestions };
    enum QuestionKey { QuestionNumber, QuestionSolutionCount, QuestionHasHint, QuestionExhibit, QuestionProblem,
        QuestionExplanation, QuestionChoices };
    enum ChoiceKey { ChoiceNumber, ChoiceIsSolution, ChoiceStatement };

    struct Frame
    {
        Level level;
        int key = -1;          // the key whose value comes next (objects)
        quint32 seen = 0;      // keys met so far (objects)
        qsizetype elements = 0; // elements so far (arrays)
    };

    static const std::vector<const char*>& KeysOf(Level level)
    {
        static const std::vector<const char*> root { "reserved", "code", "name", "maxScore", "passScore", "duration",
            "questions" };
        static const std::vector<const char*> question { "number", "solutionCount", "hasHint", "exhibit", "problem",
            "explanation", "choices" };
        static const std::vector<const char*> choice { "number", "isSolution", "statement" };
        static const std::vector<const char*> none;
        return level == Level::Root ? root : level == Level::Question ? question : level == Level::Choice ? choice : none;
    }
    static int KeyIndex(Level level, const QString& key)
    {
        const std::vector<const char*>& keys = KeysOf(level);
        for (int i = 0; i < int(keys.size()); ++i) {
            if (key == QLatin1String(keys[i]))
                return i;
        }
        return -1;
    }
    static bool RequiredKey(Level level, int index) { return level == Level::Root && index != RootReserved; }

    bool Skipping() const { return m_skip > 0; }

    // What the value that starts now is: the top level, an array's element
    // or an object's member. An element past the collections' limit, and all
    // within it, is skipped but counted, so the count can be reported.
    Level Next()
    {
        if (Skipping())
            return Level::Skip;
        if (m_levels.isEmpty())
            return Level::Root;
        Frame& frame = m_levels.last();
        switch (frame.level) {
        case Level::Questions:
        case Level::Choices:
            if (++frame.elements > Questions::MaxCount)
                return Level::Skip;
            return frame.level == Level::Questions ? Level::Question : Level::Choice;
        case Level::Root:
            return frame.key == RootQuestions ? Level::Questions : Level::Value;
        case Level::Question:
            return frame.key == QuestionChoices ? Level::Choices : Level::Value;
        default:
            return Level::Value;
        }
    }

    bool Scalar(Value value)
    {
        const Level level = Next();
        if (level == Level::Skip)
            return true;
        if (level != Level::Value)
            Mismatch(level, value);
        SetField(value);
        EndValue();
        return true;
    }

    // A value of the wrong kind where `level` was expected; a field's own
    // value is checked by its type below.
    [[noreturn]] void Mismatch(Level level, Value value)
    {
        switch (level) {
        case Level::Root:
            Error::Raise(ErrorNumber::TypeMismatch, m_source, QStringLiteral("expected an object at the top level"));
        case Level::Question:
        case Level::Choice:
            Fail(ErrorNumber::TypeMismatch, ObjectPath(), QStringLiteral("expected an object"));
        case Level::Questions:
        case Level::Choices:
            Fail(ErrorNumber::TypeMismatch, PathOf(QLatin1String(KeysOf(m_levels.last().level)[m_levels.last().key])),
                QStringLiteral("expected an array"));
        default:
            SetField(value);
            // Every field refuses a container; only the arrays above take one.
            Q_UNREACHABLE();
        }
    }

    // The value of the member whose key came last.
    void SetField(Value value)
    {
        const Frame& frame = m_levels.last();
        const char* key = KeysOf(frame.level)[frame.key];
        if (frame.level == Level::Root)
            RootValue(RootKey(frame.key), value, key);
        else if (frame.level == Level::Question)
            QuestionValue(QuestionKey(frame.key), value, key);
        else
            ChoiceValue(ChoiceKey(frame.key), value, key);
    }

    void RootValue(RootKey key, Value value, const char* path)
    {
        switch (key) {
        case RootReserved: {
            const QString reserved = Text(value, path);
            const auto decoded
                = QByteArray::fromBase64Encoding(reserved.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
            // Only the one canonical spelling is accepted (padding present, no
            // stray bits), so that what a dump prints is what compile reads.
            if (!decoded || QString::fromLatin1(decoded.decoded.toBase64()) != reserved)
                Fail(ErrorNumber::InvalidCall, PathOf(QLatin1String(path)), QStringLiteral("expected base64 with padding"));
            m_exam.SetReserved(decoded.decoded);
            break;
        }
        case RootCode:
            m_exam.SetCode(Text(value, path));
            break;
        case RootName:
            m_exam.SetName(Text(value, path));
            break;
        case RootMaxScore:
            m_exam.SetMaxScore(Int16(value, path));
            break;
        case RootPassScore:
            m_exam.SetPassScore(Int16(value, path));
            break;
        case RootDuration:
            m_exam.SetDuration(Int16(value, path));
            break;
        case RootQuestions:
            Fail(ErrorNumber::TypeMismatch, PathOf(QLatin1String(path)), QStringLiteral("expected an array"));
        }
    }

    void QuestionValue(QuestionKey key, Value value, const char* path)
    {
        switch (key) {
        case QuestionNumber:
            m_question->SetNumber(Int16(value, path));
            break;
        case QuestionSolutionCount:
            m_solutionCount = Int16(value, path);
            break;
        case QuestionHasHint:
            m_question->SetHasHint(Boolean(value, path));
            break;
        case QuestionExhibit:
            m_question->SetExhibit(Text(value, path));
            break;
        case QuestionProblem:
            m_question->SetProblem(Text(value, path));
            break;
        case QuestionExplanation:
            m_question->SetExplaination(Text(value, path));
            break;
        case QuestionChoices:
            Fail(ErrorNumber::TypeMismatch, PathOf(QLatin1String(path)), QStringLiteral("expected an array"));
        }
    }

    void ChoiceValue(ChoiceKey key, Value value, const char* path)
    {
        switch (key) {
        case ChoiceNumber:
            m_choice->SetNumber(Int16(value, path));
            break;
        case ChoiceIsSolution:
            m_choice->SetIsSolution(Boolean(value, path));
            break;
        case ChoiceStatement:
            m_choice->SetStatement(Text(value, path));
            break;
        }
    }

    qint16 Int16(Value value, const char* key) const
    {
        if (value != Value::Number)
            Fail(ErrorNumber::TypeMismatch, key, QStringLiteral("expected a whole number from -32768 to 32767"));
        if (!std::isfinite(m_number) || m_number != std::trunc(m_number))
            Fail(ErrorNumber::TypeMismatch, key, QStringLiteral("%1 is not a whole number").arg(NumberText(m_number)));
        if (m_number < Int16Min || m_number > Int16Max) {
            Fail(ErrorNumber::Overflow, key,
                QStringLiteral("%1 is outside the 16-bit range -32768 to 32767").arg(NumberText(m_number)));
        }
        return static_cast<qint16>(m_number);
    }
    const QString& Text(Value value, const char* key) const
    {
        if (value != Value::Text)
            Fail(ErrorNumber::TypeMismatch, key, QStringLiteral("expected a string"));
        return m_text;
    }
    bool Boolean(Value value, const char* key) const
    {
        if (value != Value::Boolean)
            Fail(ErrorNumber::TypeMismatch, key, QStringLiteral("expected true or false"));
        return m_bool;
    }

    // After a member's or element's value: the object waits for its next key.
    void EndValue()
    {
        if (!m_levels.isEmpty())
            m_levels.last().key = -1;
    }

    // "questions[3].choices[2]" for the innermost object, then its key.
    QString ObjectPath() const
    {
        QString path;
        for (const Frame& frame : m_levels) {
            if (frame.level == Level::Questions || frame.level == Level::Choices) {
                if (!path.isEmpty())
                    path += u'.';
                path += QLatin1String(frame.level == Level::Questions ? "questions" : "choices");
                path += QStringLiteral("[%1]").arg(frame.elements);
            }
        }
        return path;
    }
    QString PathOf(const QString& key) const
    {
        const QString path = ObjectPath();
        return path.isEmpty() ? key : path + u'.' + key;
    }
    // The innermost array's own path, without its position.
    QString ArrayPath() const
    {
        const QString path = ObjectPath();
        return path.left(path.lastIndexOf(u'['));
    }

    [[noreturn]] void Fail(qint32 number, const QString& path, const QString& problem) const
    {
        Error::Raise(number, m_source, path + QStringLiteral(": ") + problem);
    }
    // A member's value refused: the path is made only then.
    [[noreturn]] void Fail(qint32 number, const char* key, const QString& problem) const
    {
        Fail(number, PathOf(QLatin1String(key)), problem);
    }

    Exam& m_exam;
    const QString& m_source;
    QList<Frame> m_levels;
    qint32 m_skip = 0;
    Question* m_question = nullptr;
    Choice* m_choice = nullptr;
    std::optional<qint16> m_solutionCount;
    bool m_bool = false;
    double m_number = 0;
    QString m_text;
};

void Parse(Input& input, Exam& exam, const QString& source)
{
    ExamReader reader(exam, source);
    nlohmann::json::sax_parse(Input::Iterator(&input), Input::Iterator(), &reader);
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

void FromJson(const QByteArray& json, Exam& exam, const QString& source)
{
    Input input(json.constData(), json.constData() + json.size());
    Parse(input, exam, source);
}

void FromJson(QIODevice& json, Exam& exam, const QString& source)
{
    Input input(json, source);
    Parse(input, exam, source);
}

} // namespace ExamJson
