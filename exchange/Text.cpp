#include "exchange/Text.h"

#include "model/Ansi.h"

#include <QRegularExpression>
#include <QStringDecoder>
#include <QTextDocument>

namespace exchange {

QString DecodeText(const QByteArray& bytes)
{
    const auto starts = [&bytes](const char* mark, qsizetype size) {
        return bytes.size() >= size && std::equal(mark, mark + size, bytes.constData());
    };
    if (starts("\xEF\xBB\xBF", 3))
        return QString::fromUtf8(bytes.constData() + 3, bytes.size() - 3);
    if (starts("\xFF\xFE", 2) || starts("\xFE\xFF", 2)) {
        QStringDecoder decoder(starts("\xFF\xFE", 2) ? QStringConverter::Utf16LE : QStringConverter::Utf16BE);
        return decoder.decode(QByteArrayView(bytes).sliced(2));
    }
    QStringDecoder utf8(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    QString text = utf8.decode(bytes);
    if (!utf8.hasError())
        return text;
    return Ansi::ToUnicode(bytes);
}

QString HtmlToPlainText(const QString& html)
{
    // One document per thread, reused: building one costs more than
    // parsing a question's worth of HTML.
    thread_local QTextDocument document;
    document.setUndoRedoEnabled(false);
    document.setHtml(html);
    QString text = document.toPlainText();
    // Pictures stand in the document as object replacement characters.
    text.remove(QChar::ObjectReplacementCharacter);
    return text.trimmed();
}

bool LooksLikeHtml(const QString& text)
{
    static const QRegularExpression Markup(QStringLiteral(
        "<\\s*/?\\s*[A-Za-z][A-Za-z0-9]*(\\s[^<>]*)?/?\\s*>|&(#[0-9]{1,7}|#[xX][0-9A-Fa-f]{1,6}|[A-Za-z][A-Za-z0-9]{1,31});"));
    return text.contains(Markup);
}

QString NormalizeLineEnds(QString text)
{
    if (text.contains(u'\r')) {
        text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
        text.replace(u'\r', u'\n');
    }
    return text;
}

} // namespace exchange
