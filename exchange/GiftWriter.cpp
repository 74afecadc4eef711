#include "exchange/GiftWriter.h"

#include "exchange/Text.h"
#include "model/Exam.h"

#include <QRegularExpression>

namespace exchange {

namespace {

// Plain text as HTML that HtmlToPlainText turns back into the same text:
// markup characters (and "%", which would start a weight) as entities, in a
// span that keeps blanks, tabs and line breaks as they are.
QString PlainToHtml(const QString& text)
{
    QString html = QStringLiteral("<span style=\"white-space:pre-wrap\">");
    html.reserve(text.size() + 64);
    for (const QChar c : text) {
        if (c == u'<')
            html += QStringLiteral("&lt;");
        else if (c == u'>')
            html += QStringLiteral("&gt;");
        else if (c == u'&')
            html += QStringLiteral("&amp;");
        else if (c == u'%')
            html += QStringLiteral("&#37;");
        else
            html += c;
    }
    return html + QStringLiteral("</span>");
}

QString Weight(qint16 solutions)
{
    return QString::number(100.0 / solutions, 'f', 5).remove(QRegularExpression(QStringLiteral("\\.?0+$")));
}

} // namespace

QString EscapeGift(const QString& text)
{
    QString escaped;
    escaped.reserve(text.size() + 8);
    for (const QChar c : text) {
        if (c == u'\n')
            escaped += QStringLiteral("\\n");
        else if (QStringView(u"~=#{}:\\").contains(c))
            escaped += u'\\' + QString(c);
        else
            escaped += c;
    }
    return escaped;
}

// An answer or feedback text. The reader takes these as HTML when they hold
// markup, and reads a leading "%" as a weight and "->" as a matching pair, so
// such texts are written as HTML that reads back as the same text.
static QString Text(const QString& text)
{
    const QString trimmed = text.trimmed();
    const bool html = LooksLikeHtml(trimmed) || trimmed.contains(QStringLiteral("->")) || trimmed.startsWith(u'%');
    return EscapeGift(html ? PlainToHtml(trimmed) : trimmed);
}

QByteArray WriteGift(const Exam& exam)
{
    QString out;
    out += QStringLiteral("// %1: %2\n\n").arg(EscapeGift(exam.Code()), EscapeGift(exam.Name()).replace(u'\n', u' '));
    for (const Question& question : exam.Questions()) {
        const QString problem = question.Problem().trimmed();
        out += QStringLiteral("::%1:: ").arg(question.Number());
        if (question.HasExhibit()) {
            out += QStringLiteral("[html]") + EscapeGift(PlainToHtml(problem))
                + QStringLiteral("<br/><img src=\"%1\"/>").arg(EscapeGift(question.Exhibit().toHtmlEscaped()));
        } else if (problem.startsWith(u'[') || LooksLikeHtml(problem)) {
            out += QStringLiteral("[plain]") + EscapeGift(problem);
        } else {
            out += EscapeGift(problem);
        }
        out += QStringLiteral(" {\n");
        qint16 solutions = 0;
        bool anyWrong = false;
        for (const Choice& choice : question.Choices()) {
            solutions += choice.IsSolution() ? 1 : 0;
            anyWrong = anyWrong || !choice.IsSolution();
        }
        for (const Choice& choice : question.Choices()) {
            QString marker;
            if (solutions == 1 && anyWrong)
                marker = choice.IsSolution() ? QStringLiteral("=") : QStringLiteral("~");
            else
                marker = choice.IsSolution() ? QStringLiteral("~%") + Weight(solutions) + u'%' : QStringLiteral("~%-100%");
            out += u'\t' + marker + Text(choice.Statement()) + u'\n';
        }
        const QString explanation = question.Explaination();
        if (!explanation.isEmpty())
            out += QStringLiteral("\t####") + Text(explanation) + u'\n';
        out += QStringLiteral("}\n\n");
    }
    return out.toUtf8();
}

} // namespace exchange
