#include "download/Message.h"

namespace {

[[noreturn]] void RaiseInvalidCall()
{
    Error::Raise(ErrorNumber::InvalidCall, QString(), QStringLiteral("Invalid procedure call or argument"));
}

// The escaped characters with their escapes, in the order Escape applies
// them. "%" must come first so the percent signs of later escapes stay as
// they are; Unescape walks the list backwards so "%25" is decoded last.
struct EscapePair
{
    QChar Character;
    QLatin1String Escaped;
};
constexpr EscapePair EscapeOrder[] = {
    { u'%', QLatin1String("%25") },
    { u'?', QLatin1String("%3F") },
    { u'=', QLatin1String("%3D") },
    { u'&', QLatin1String("%26") },
    { u';', QLatin1String("%3B") },
};

} // namespace

Parameter& Parameters::Add(const QString& name, const QString& value)
{
    const QString key = Key(name);
    std::shared_ptr<Parameter>& item = m_keys[key];
    if (!item) {
        item = std::make_shared<Parameter>();
        m_items.append(Entry { key, item });
    }
    item->SetName(name);
    item->SetValue(value);
    return *item;
}

void Parameters::Remove(const QString& name)
{
    const QString key = Key(name);
    if (!m_keys.remove(key))
        RaiseInvalidCall();
    for (qsizetype i = 0; i < m_items.size(); ++i) {
        if (m_items[i].Key == key) {
            m_items.removeAt(i);
            break;
        }
    }
}

void Parameters::RemoveAt(qint32 index)
{
    if (index < 1 || index > m_items.size())
        Error::Raise(ErrorNumber::SubscriptOutOfRange, QString(), QStringLiteral("Subscript out of range"));
    m_keys.remove(m_items[index - 1].Key);
    m_items.removeAt(index - 1);
}

qint32 Parameters::GetIndex(const QString& name) const
{
    for (qsizetype i = 0; i < m_items.size(); ++i) {
        if (m_items[i].Item->Name().compare(name, Qt::CaseInsensitive) == 0)
            return static_cast<qint32>(i + 1);
    }
    return Count() + 1;
}

void Parameters::Clear()
{
    m_items.clear();
    m_keys.clear();
}

Parameter& Parameters::Item(const QString& name) const
{
    const auto it = m_keys.constFind(Key(name));
    if (it == m_keys.cend())
        RaiseInvalidCall();
    return **it;
}

void MESSAGE::Pack()
{
    try {
        if (m_command.isEmpty())
            Error::Raise(NoCommand, QString(), QStringLiteral("No command specified for the message"));
        QString text = m_command;
        if (m_parameters.Count() > 0) {
            text += u'?';
            for (const Parameter& parameter : m_parameters)
                text += parameter.Name() + u'=' + Escape(parameter.value()) + u'&';
            text.chop(1);
        }
        text += u';';
        m_text = text;
    } catch (...) {
        Error::Rethrow(QStringLiteral("Message::Pack()"));
    }
}

void MESSAGE::UnPack(const QString& text)
{
    try {
        m_text = text;
        m_parameters.Clear();
        m_command.clear();

        const qsizetype terminator = text.indexOf(u';');
        const qsizetype question = text.indexOf(u'?');
        if (terminator < 0)
            Error::Raise(InvalidMessage, QString(), QStringLiteral("Invalid message"));
        if (question < 0) {
            m_command = text.left(terminator);
            return;
        }
        m_command = text.left(question);
        // A ";" before the "?" leaves no room for a parameter section: the
        // substring it would need has a negative length.
        const qsizetype sectionLength = terminator - question - 1;
        if (sectionLength < 0)
            RaiseInvalidCall();
        const QStringView section = QStringView(text).mid(question + 1, sectionLength);
        if (section.isEmpty())
            return;
        for (const QStringView piece : section.tokenize(u'&')) {
            // Only the first two parts of "name=value=..." count.
            const qsizetype equals = piece.indexOf(u'=');
            if (equals < 0)
                Error::Raise(DecodingError, QString(), QStringLiteral("Error decoding parameters"));
            QStringView value = piece.mid(equals + 1);
            const qsizetype nextEquals = value.indexOf(u'=');
            if (nextEquals >= 0)
                value = value.left(nextEquals);
            m_parameters.Add(piece.left(equals).toString(), Unescape(value.toString()));
        }
    } catch (...) {
        Error::Rethrow(QStringLiteral("Message::UnPack()"));
    }
}

QString MESSAGE::Escape(const QString& value)
{
    QString result = value;
    for (const EscapePair& pair : EscapeOrder)
        result.replace(pair.Character, pair.Escaped);
    return result;
}

QString MESSAGE::Unescape(const QString& value)
{
    QString result = value;
    for (auto it = std::rbegin(EscapeOrder); it != std::rend(EscapeOrder); ++it)
        result.replace(it->Escaped, QString(it->Character), Qt::CaseSensitive);
    return result;
}
