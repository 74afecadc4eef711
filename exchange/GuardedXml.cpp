#include "exchange/GuardedXml.h"

namespace exchange {

GuardedXml::GuardedXml(const QByteArray& bytes)
    : m_reader(bytes)
{
}

bool GuardedXml::Fail(const QString& description)
{
    if (!m_failed) {
        m_failed = true;
        m_failure.location = Line();
        m_failure.description = description;
    }
    return false;
}

// Every token passes here: depth is kept for start and end elements alike,
// also inside ReadText, ReadMarkup and Skip.
bool GuardedXml::Advance()
{
    if (m_failed)
        return false;
    if (m_reader.isEndElement())
        --m_depth;
    m_reader.readNext();
    switch (m_reader.tokenType()) {
    case QXmlStreamReader::Invalid:
        return Fail(QStringLiteral("not well-formed XML: %1").arg(m_reader.errorString()));
    case QXmlStreamReader::DTD:
        return Fail(QStringLiteral("a document type declaration is not accepted (it could declare entities)"));
    case QXmlStreamReader::EntityReference:
        return Fail(QStringLiteral("the entity \"%1\" is not accepted").arg(m_reader.name()));
    case QXmlStreamReader::StartElement:
        if (++m_depth > MaxDepth)
            return Fail(QStringLiteral("elements are nested more than %1 deep").arg(MaxDepth));
        return true;
    case QXmlStreamReader::EndDocument:
        return false;
    default:
        return true;
    }
}

bool GuardedXml::Next()
{
    while (Advance()) {
        if (m_reader.isStartElement() || m_reader.isEndElement() || m_reader.isCharacters())
            return true;
    }
    return false;
}

bool GuardedXml::ReadText(QString& text)
{
    text.clear();
    const int depth = m_depth;
    while (Advance()) {
        if (m_reader.isEndElement() && m_depth == depth)
            return true;
        if (m_reader.isCharacters()) {
            if (text.size() + m_reader.text().size() > MaxTextChars)
                return Fail(QStringLiteral("a text is longer than %1 characters").arg(MaxTextChars));
            text += m_reader.text();
        }
    }
    return m_failed ? false : Fail(QStringLiteral("the document ends inside an element"));
}

bool GuardedXml::Skip()
{
    const int depth = m_depth;
    while (Advance()) {
        if (m_reader.isEndElement() && m_depth == depth)
            return true;
    }
    return m_failed ? false : Fail(QStringLiteral("the document ends inside an element"));
}

// Plain local names, no namespace prefixes: the markup goes to an HTML
// reader, which knows <p> but not <qti:p>.
void GuardedXml::CopyCurrent(QXmlStreamWriter& writer)
{
    if (m_reader.isStartElement()) {
        writer.writeStartElement(m_reader.name().toString());
        for (const QXmlStreamAttribute& attribute : m_reader.attributes()) {
            if (attribute.namespaceUri().isEmpty())
                writer.writeAttribute(attribute.name().toString(), attribute.value().toString());
        }
    } else if (m_reader.isEndElement()) {
        writer.writeEndElement();
    } else if (m_reader.isCharacters()) {
        writer.writeCharacters(m_reader.text().toString());
    }
}

} // namespace exchange
