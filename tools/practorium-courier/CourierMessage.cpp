#include "tools/practorium-courier/CourierMessage.h"

#include "model/Ansi.h"

namespace {

QString EscapeValue(const QString& value)
{
    QString escaped;
    escaped.reserve(value.size());
    for (const QChar c : value) {
        switch (c.unicode()) {
        case u'%':
            escaped += QStringLiteral("%25");
            break;
        case u'?':
            escaped += QStringLiteral("%3F");
            break;
        case u'=':
            escaped += QStringLiteral("%3D");
            break;
        case u'&':
            escaped += QStringLiteral("%26");
            break;
        case u';':
            escaped += QStringLiteral("%3B");
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

// Only the five escapes are read back, in upper case; any other "%" stays as
// it stands.
QString UnescapeValue(const QString& value)
{
    QString plain;
    plain.reserve(value.size());
    for (qsizetype i = 0; i < value.size(); ++i) {
        if (value.at(i) == u'%' && i + 2 < value.size()) {
            const QStringView code = QStringView(value).mid(i + 1, 2);
            const char16_t c = code == u"25" ? u'%'
                : code == u"3F"              ? u'?'
                : code == u"3D"              ? u'='
                : code == u"26"              ? u'&'
                : code == u"3B"              ? u';'
                                             : u'\0';
            if (c != u'\0') {
                plain += QChar(c);
                i += 2;
                continue;
            }
        }
        plain += value.at(i);
    }
    return plain;
}

} // namespace

QString CourierMessage::Value(const QString& name) const
{
    for (const auto& [key, value] : Parameters) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return QString();
}

QByteArray CourierMessage::Encode() const
{
    QString text = Command;
    for (qsizetype i = 0; i < Parameters.size(); ++i) {
        text += i == 0 ? u'?' : u'&';
        text += Parameters.at(i).first + u'=' + EscapeValue(Parameters.at(i).second);
    }
    text += u';';
    return Ansi::FromUnicode(text);
}

std::optional<CourierMessage> CourierMessage::Decode(const QByteArray& body)
{
    const qsizetype end = body.indexOf(';');
    if (end < 0)
        return std::nullopt;
    const QString text = Ansi::ToUnicode(body.left(end));
    CourierMessage message;
    const qsizetype query = text.indexOf(u'?');
    message.Command = text.left(query);
    if (query < 0)
        return message;
    const QString section = text.mid(query + 1);
    if (section.isEmpty())
        return message;
    for (const QString& piece : section.split(u'&')) {
        const qsizetype equals = piece.indexOf(u'=');
        if (equals < 0)
            return std::nullopt;
        // A second "=" ends the value, as the client reads it too.
        const qsizetype next = piece.indexOf(u'=', equals + 1);
        const QString value = next < 0 ? piece.mid(equals + 1) : piece.mid(equals + 1, next - equals - 1);
        message.Parameters.append({ piece.left(equals), UnescapeValue(value) });
    }
    return message;
}
