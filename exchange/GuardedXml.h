#pragma once

#include "exchange/Bank.h"

#include <QXmlStreamReader>
#include <QXmlStreamWriter>

namespace exchange {

// QXmlStreamReader with the limits every imported XML document gets: no
// document type declaration at all (so no entity can be declared, let alone
// expanded), a cap on element depth and on the characters of one text. The
// reader stops at the first fault and the failure names its line.
class GuardedXml
{
public:
    static constexpr int MaxDepth = 64;
    // One text node of a question bank: far beyond any real question, small
    // enough that a runaway text cannot hold the import hostage.
    static constexpr qsizetype MaxTextChars = 16 * 1024 * 1024;

    explicit GuardedXml(const QByteArray& bytes);

    // The next start element, end element or text, skipping comments and
    // processing instructions. False at the end of the document or on a
    // fault (then Failure() says why).
    bool Next();
    QXmlStreamReader::TokenType Token() const { return m_reader.tokenType(); }
    bool IsStart() const { return m_reader.isStartElement(); }
    bool IsEnd() const { return m_reader.isEndElement(); }
    QStringView Name() const { return m_reader.name(); }
    QString Attribute(const char* name) const { return m_reader.attributes().value(QLatin1StringView(name)).toString(); }
    int Depth() const { return m_depth; }
    int Line() const { return int(m_reader.lineNumber()); }

    // At a start element: every text inside it, child elements' texts
    // included, up to its end element.
    bool ReadText(QString& text);
    // At a start element: the element as XML text (for HTML bodies written
    // as XHTML elements), children included. `drop` is called at each
    // start element inside; when it returns true that element is left out.
    template <typename Drop>
    bool ReadMarkup(QString& markup, Drop drop);
    // At a start element: moves past its end element.
    bool Skip();
    // Writes the current start element (local name, attributes without a
    // namespace), end element or text to `writer`.
    void CopyCurrent(QXmlStreamWriter& writer);

    bool Failed() const { return m_failed; }
    // Stops reading with a failure at the current line.
    bool Fail(const QString& description);
    const ReadFailure& Failure() const { return m_failure; }

private:
    bool Advance();

    QXmlStreamReader m_reader;
    int m_depth = 0;
    bool m_failed = false;
    ReadFailure m_failure;
};

template <typename Drop>
bool GuardedXml::ReadMarkup(QString& markup, Drop drop)
{
    markup.clear();
    QXmlStreamWriter writer(&markup);
    const int depth = m_depth;
    int droppedAt = 0; // depth of the element being left out, 0 when none
    while (Advance()) {
        if (m_reader.isEndElement() && m_depth == depth)
            return true;
        if (m_reader.isStartElement() && droppedAt == 0 && drop())
            droppedAt = m_depth;
        if (droppedAt == 0) {
            CopyCurrent(writer);
        } else if (m_reader.isEndElement() && m_depth == droppedAt) {
            droppedAt = 0;
        }
        if (markup.size() > MaxTextChars)
            return Fail(QStringLiteral("a text is longer than %1 characters").arg(MaxTextChars));
    }
    return m_failed ? false : Fail(QStringLiteral("the document ends inside an element"));
}

} // namespace exchange
