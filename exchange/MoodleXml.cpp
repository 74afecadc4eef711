#include "exchange/MoodleXml.h"

#include "exchange/GuardedXml.h"
#include "exchange/ExamBuilder.h"
#include "exchange/Text.h"
#include "model/Exam.h"

#include <QFile>
#include <QFileInfo>
#include <QXmlStreamWriter>

namespace exchange {

namespace {

// Largest exhibit embedded on export; exhibits are screen-sized pictures.
constexpr qint64 MaxExhibitBytes = 16 * 1024 * 1024;

struct EmbeddedFile
{
    QString name;
    QString base64;
    int line = 0;
};

struct Answer
{
    double fraction = 0;
    QString text;
    QString feedback;
};

// A <question> as read, before it is judged.
struct Question
{
    QString type;
    int line = 0;
    QString text;
    QString generalFeedback;
    QVector<Answer> answers;
    QVector<EmbeddedFile> files;
};

QString ToPlain(const QString& text, const QString& format)
{
    if (format.compare(QLatin1String("html"), Qt::CaseInsensitive) != 0)
        return text.trimmed();
    QString plain = HtmlToPlainText(text);
    // Pictures in the HTML are object characters in the plain text; the
    // first picture travels separately, the others are counted.
    plain.remove(QChar::ObjectReplacementCharacter);
    return plain.trimmed();
}

// An embedded <file>: its base64 text, collected for the picture rules.
bool ReadEmbeddedFile(GuardedXml& xml, QVector<EmbeddedFile>& files)
{
    EmbeddedFile file { xml.Attribute("name"), QString(), xml.Line() };
    const QString encoding = xml.Attribute("encoding");
    if (!xml.ReadText(file.base64))
        return false;
    if (!encoding.isEmpty() && encoding != u"base64")
        return xml.Fail(QStringLiteral("the file \"%1\" is in %2, not base64").arg(file.name, encoding));
    files.append(file);
    return true;
}

// A text-bearing element (<questiontext>, <generalfeedback>, <feedback>,
// <answer>): its <text> child as plain text, its <file> children collected.
bool ReadFormatted(GuardedXml& xml, QString& plain, QVector<EmbeddedFile>& files)
{
    const QString format = xml.Attribute("format");
    const int depth = xml.Depth();
    QString raw;
    while (xml.Next()) {
        if (xml.IsEnd() && xml.Depth() == depth)
            break;
        if (!xml.IsStart())
            continue;
        if (xml.Name() == u"text") {
            if (!xml.ReadText(raw))
                return false;
        } else if (xml.Name() == u"file") {
            if (!ReadEmbeddedFile(xml, files))
                return false;
        } else if (!xml.Skip()) {
            return false;
        }
    }
    if (xml.Failed())
        return false;
    plain = ToPlain(raw, format);
    return true;
}

bool ReadAnswer(GuardedXml& xml, Question& question)
{
    Answer answer;
    bool isNumber = false;
    answer.fraction = xml.Attribute("fraction").toDouble(&isNumber);
    if (!isNumber)
        answer.fraction = 0;
    const QString format = xml.Attribute("format");
    const int depth = xml.Depth();
    QString raw;
    while (xml.Next()) {
        if (xml.IsEnd() && xml.Depth() == depth)
            break;
        if (!xml.IsStart())
            continue;
        if (xml.Name() == u"text") {
            if (!xml.ReadText(raw))
                return false;
        } else if (xml.Name() == u"feedback") {
            if (!ReadFormatted(xml, answer.feedback, question.files))
                return false;
        } else if (xml.Name() == u"file") {
            if (!ReadEmbeddedFile(xml, question.files))
                return false;
        } else if (!xml.Skip()) {
            return false;
        }
    }
    if (xml.Failed())
        return false;
    answer.text = ToPlain(raw, format);
    question.answers.append(answer);
    return true;
}

bool ReadQuestion(GuardedXml& xml, Question& question)
{
    question.type = xml.Attribute("type");
    question.line = xml.Line();
    const int depth = xml.Depth();
    while (xml.Next()) {
        if (xml.IsEnd() && xml.Depth() == depth)
            return true;
        if (!xml.IsStart())
            continue;
        bool ok = true;
        if (xml.Name() == u"questiontext")
            ok = ReadFormatted(xml, question.text, question.files);
        else if (xml.Name() == u"generalfeedback")
            ok = ReadFormatted(xml, question.generalFeedback, question.files);
        else if (xml.Name() == u"answer")
            ok = ReadAnswer(xml, question);
        else
            ok = xml.Skip();
        if (!ok)
            return false;
    }
    return xml.Failed() ? false : xml.Fail(QStringLiteral("the document ends inside a question"));
}

bool HasPictureName(const QString& name)
{
    static const QStringList extensions { "png", "jpg", "jpeg", "gif", "bmp" };
    return extensions.contains(QFileInfo(name).suffix().toLower());
}

// Decodes the question's files: the first picture is the item's, later ones
// are counted; a file that is not a picture by name or content is noted.
bool TakePictures(const Question& question, BankItem& item, Bank& bank, ReadFailure& failure)
{
    for (const EmbeddedFile& file : question.files) {
        // Line breaks are usual in base64; anything outside its alphabet
        // (a character beyond Latin-1 reads as '?') fails the decoding.
        const QByteArray base64 = file.base64.toLatin1().simplified().replace(' ', QByteArray());
        auto decoded = QByteArray::fromBase64Encoding(base64, QByteArray::AbortOnBase64DecodingErrors);
        if (decoded.decodingStatus != QByteArray::Base64DecodingStatus::Ok) {
            failure = { file.line, QStringLiteral("the file \"%1\" is not valid base64").arg(file.name) };
            return false;
        }
        const bool isPicture = !PictureExtension(decoded.decoded).isEmpty();
        if (!isPicture && HasPictureName(file.name)) {
            failure = { file.line, QStringLiteral("the file \"%1\" is not a picture (PNG, JPEG, GIF or BMP)").arg(file.name) };
            return false;
        }
        if (!isPicture) {
            bank.Warn(file.line, QStringLiteral("left out the attachment \"%1\"").arg(file.name));
        } else if (item.picture.isEmpty()) {
            item.picture = decoded.decoded;
        } else {
            ++item.extraPictures;
        }
    }
    return true;
}

// Adds the question to the bank, or a note when the exam file cannot hold it.
bool TakeQuestion(const Question& question, Bank& bank, ReadFailure& failure)
{
    const QString type = question.type.isEmpty() ? QStringLiteral("multichoice") : question.type;
    if (type == u"category")
        return true;
    const bool isTrueFalse = type == u"truefalse";
    if ((type != u"multichoice" && !isTrueFalse) || question.answers.isEmpty()) {
        bank.Skip(question.line, type, question.text);
        return true;
    }
    if (bank.items.size() >= MaxMoodleItems) {
        failure = { question.line, QStringLiteral("more than %1 questions").arg(MaxMoodleItems) };
        return false;
    }
    BankItem item;
    item.text = question.text;
    item.generalFeedback = question.generalFeedback;
    item.location = question.line;
    if (!TakePictures(question, item, bank, failure))
        return false;
    if (isTrueFalse) {
        // Always "True" then "False", whatever order the answers came in;
        // answers not named true or false are taken in that order.
        item.options = { { QStringLiteral("True"), false, {} }, { QStringLiteral("False"), false, {} } };
        for (int i = 0; i < question.answers.size(); ++i) {
            const Answer& answer = question.answers[i];
            const QString name = answer.text.toLower();
            const int index = name == u"true" ? 0 : name == u"false" ? 1 : i;
            if (index > 1)
                continue;
            item.options[index].isSolution = answer.fraction > 0;
            item.options[index].feedback = answer.feedback;
        }
    } else {
        for (const Answer& answer : question.answers)
            item.options.append({ answer.text, answer.fraction > 0, answer.feedback });
    }
    bank.items.append(item);
    return true;
}

} // namespace

bool ReadMoodleXml(const QByteArray& bytes, Bank& out, ReadFailure& failure)
{
    out = Bank();
    failure = ReadFailure();
    if (bytes.size() > MaxMoodleBytes) {
        failure.description = QStringLiteral("larger than %1 MiB").arg(MaxMoodleBytes / (1024 * 1024));
        return false;
    }
    GuardedXml xml(bytes);
    bool sawRoot = false;
    while (xml.Next()) {
        if (!xml.IsStart())
            continue;
        if (!sawRoot) {
            if (xml.Name() != u"quiz") {
                xml.Fail(QStringLiteral("the document is <%1>, not a Moodle XML <quiz>").arg(xml.Name()));
                break;
            }
            sawRoot = true;
            continue;
        }
        if (xml.Name() != u"question") {
            if (!xml.Skip())
                break;
            continue;
        }
        Question question;
        if (!ReadQuestion(xml, question))
            break;
        if (!TakeQuestion(question, out, failure)) {
            out = Bank();
            return false;
        }
    }
    if (xml.Failed()) {
        failure = xml.Failure();
        out = Bank();
        return false;
    }
    if (!sawRoot) {
        failure.description = QStringLiteral("no <quiz> element");
        return false;
    }
    return true;
}

namespace {

// Leaves the element open for a <file> to follow.
void StartTextElement(QXmlStreamWriter& writer, const QString& element, const QString& format, const QString& text)
{
    writer.writeStartElement(element);
    writer.writeAttribute(QStringLiteral("format"), format);
    writer.writeTextElement(QStringLiteral("text"), text);
}

// Lines and runs of blanks are kept by the pre-wrap style, in Moodle and on
// the way back in alike.
QString QuestionHtml(const QString& text, const QString& pictureName)
{
    QString html = QStringLiteral("<div style=\"white-space: pre-wrap\">") + text.toHtmlEscaped() + QStringLiteral("</div>");
    if (!pictureName.isEmpty())
        html += QStringLiteral("<p><img src=\"@@PLUGINFILE@@/%1\" alt=\"\"></p>").arg(pictureName.toHtmlEscaped());
    return html;
}

QByteArray ReadExhibit(const QString& path, QString& error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        error = file.errorString();
        return {};
    }
    if (file.size() > MaxExhibitBytes) {
        error = QStringLiteral("larger than %1 MiB").arg(MaxExhibitBytes / (1024 * 1024));
        return {};
    }
    QByteArray bytes = file.readAll();
    if (PictureExtension(bytes).isEmpty()) {
        error = QStringLiteral("not a picture");
        return {};
    }
    return bytes;
}

QString Fraction(int solutions)
{
    // Moodle's grade list holds 50, 33.33333, 14.28571 and so on.
    return QString::number(100.0 / solutions, 'g', 7);
}

} // namespace

QByteArray WriteMoodleXml(const Exam& exam, const QString& exhibitFolder, QStringList* warnings)
{
    QByteArray bytes;
    QXmlStreamWriter writer(&bytes);
    writer.setAutoFormatting(true);
    writer.writeStartDocument();
    writer.writeStartElement(QStringLiteral("quiz"));

    writer.writeStartElement(QStringLiteral("question"));
    writer.writeAttribute(QStringLiteral("type"), QStringLiteral("category"));
    writer.writeStartElement(QStringLiteral("category"));
    writer.writeTextElement(QStringLiteral("text"), QStringLiteral("$course$/top/") + exam.Code());
    writer.writeEndElement();
    StartTextElement(writer, QStringLiteral("info"), QStringLiteral("plain_text"), exam.Name());
    writer.writeEndElement(); // info
    writer.writeEndElement(); // question

    int position = 0;
    for (const ::Question& question : exam.Questions()) {
        ++position;
        QByteArray picture;
        QString pictureName;
        if (question.HasExhibit()) {
            QString error;
            // Exhibits are file names beside the exam; a path is not followed.
            if (question.Exhibit().contains(u'/') || question.Exhibit().startsWith(u'.'))
                error = QStringLiteral("not a file name beside the exam");
            else
                picture = ReadExhibit(exhibitFolder + u'/' + question.Exhibit(), error);
            if (picture.isEmpty()) {
                if (warnings)
                    warnings->append(QStringLiteral("item %1: exhibit \"%2\" left out: %3").arg(position).arg(question.Exhibit(), error));
            } else {
                pictureName = QFileInfo(question.Exhibit()).fileName();
            }
        }
        const int solutions = question.AnswerCount();
        writer.writeStartElement(QStringLiteral("question"));
        writer.writeAttribute(QStringLiteral("type"), QStringLiteral("multichoice"));
        writer.writeStartElement(QStringLiteral("name"));
        writer.writeTextElement(QStringLiteral("text"), QStringLiteral("%1 %2").arg(exam.Code()).arg(position));
        writer.writeEndElement();
        StartTextElement(writer, QStringLiteral("questiontext"), QStringLiteral("html"), QuestionHtml(question.Problem(), pictureName));
        if (!picture.isEmpty()) {
            writer.writeStartElement(QStringLiteral("file"));
            writer.writeAttribute(QStringLiteral("name"), pictureName);
            writer.writeAttribute(QStringLiteral("path"), QStringLiteral("/"));
            writer.writeAttribute(QStringLiteral("encoding"), QStringLiteral("base64"));
            writer.writeCharacters(QString::fromLatin1(picture.toBase64()));
            writer.writeEndElement();
        }
        writer.writeEndElement(); // questiontext
        StartTextElement(writer, QStringLiteral("generalfeedback"), QStringLiteral("plain_text"), question.StoredExplaination());
        writer.writeEndElement();
        writer.writeTextElement(QStringLiteral("defaultgrade"), QStringLiteral("1"));
        writer.writeTextElement(QStringLiteral("penalty"), QStringLiteral("0"));
        writer.writeTextElement(QStringLiteral("hidden"), QStringLiteral("0"));
        writer.writeTextElement(QStringLiteral("single"), solutions > 1 ? QStringLiteral("false") : QStringLiteral("true"));
        writer.writeTextElement(QStringLiteral("shuffleanswers"), QStringLiteral("false"));
        writer.writeTextElement(QStringLiteral("answernumbering"), QStringLiteral("ABCD"));
        const QString right = solutions > 1 ? Fraction(solutions) : QStringLiteral("100");
        for (const Choice& choice : question.Choices()) {
            writer.writeStartElement(QStringLiteral("answer"));
            writer.writeAttribute(QStringLiteral("fraction"), choice.IsSolution() ? right : QStringLiteral("0"));
            writer.writeAttribute(QStringLiteral("format"), QStringLiteral("plain_text"));
            writer.writeTextElement(QStringLiteral("text"), choice.Statement());
            writer.writeEndElement();
        }
        writer.writeEndElement(); // question
    }
    writer.writeEndElement(); // quiz
    writer.writeEndDocument();
    return bytes;
}

} // namespace exchange
