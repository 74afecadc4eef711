#include "exchange/Qti.h"

#include "exchange/GuardedXml.h"
#include "exchange/ExamBuilder.h"
#include "exchange/Text.h"
#include "exchange/ZipArchive.h"

#include <QDir>
#include <QHash>
#include <QSet>
#include <QXmlStreamWriter>

#include <functional>

namespace exchange {

namespace {

// Where an item's picture comes from: bytes for a src, or a reason it is not
// there (a single document has no package to take pictures from).
using PictureSource = std::function<bool(const QString& src, QByteArray& bytes, QString& why)>;

struct Choice
{
    QString identifier;
    QString markup;
    QString feedback;
};

QString Plain(const QString& markup)
{
    QString plain = HtmlToPlainText(markup);
    plain.remove(QChar::ObjectReplacementCharacter);
    return plain.trimmed();
}

// Values of <correctResponse>, else the keys a <mapping> scores above 0.
bool ReadDeclaration(GuardedXml& xml, QSet<QString>& correct)
{
    QSet<QString> mapped;
    const int depth = xml.Depth();
    while (xml.Next()) {
        if (xml.IsEnd() && xml.Depth() == depth)
            break;
        if (!xml.IsStart())
            continue;
        if (xml.Name() == u"value" && xml.Depth() == depth + 2) {
            QString value;
            if (!xml.ReadText(value))
                return false;
            correct.insert(value.trimmed());
        } else if (xml.Name() == u"mapEntry") {
            if (xml.Attribute("mappedValue").toDouble() > 0)
                mapped.insert(xml.Attribute("mapKey").trimmed());
        }
    }
    if (correct.isEmpty())
        correct = mapped;
    return !xml.Failed();
}

struct ItemBody
{
    QString markup;            // the text: body and prompt, interactions left out
    QVector<Choice> choices;
    int choiceInteractions = 0;
    QString maxChoices;
    QString responseIdentifier;
    QStringList otherInteractions;
    QStringList pictures;      // src of every <img>, in order
};

// Splits the body into its text, the choices and their inline feedback.
// Each part is written as markup to its own writer and turned into plain
// text afterwards.
bool ReadItemBody(GuardedXml& xml, ItemBody& body)
{
    QXmlStreamWriter bodyWriter(&body.markup);
    std::unique_ptr<QXmlStreamWriter> choiceWriter;
    std::unique_ptr<QXmlStreamWriter> feedbackWriter;
    int choiceDepth = 0;   // depth of the open simpleChoice, 0 when none
    int feedbackDepth = 0; // of the open feedbackInline
    int interactionDepth = 0;
    const int depth = xml.Depth();
    while (xml.Next()) {
        if (xml.IsEnd() && xml.Depth() == depth)
            return true;
        const QStringView name = xml.Name();
        if (xml.IsStart()) {
            if (name == u"img") {
                body.pictures.append(xml.Attribute("src"));
                if (!xml.Skip())
                    return false;
                continue;
            }
            if (name == u"choiceInteraction" && interactionDepth == 0) {
                if (++body.choiceInteractions == 1) {
                    body.maxChoices = xml.Attribute("maxChoices");
                    body.responseIdentifier = xml.Attribute("responseIdentifier");
                }
                interactionDepth = xml.Depth();
                continue;
            }
            if (name.endsWith(u"Interaction")) {
                body.otherInteractions.append(name.chopped(11).toString());
                if (!xml.Skip())
                    return false;
                continue;
            }
            if (name == u"simpleChoice" && interactionDepth && !choiceDepth) {
                body.choices.append({ xml.Attribute("identifier"), QString(), QString() });
                choiceWriter = std::make_unique<QXmlStreamWriter>(&body.choices.last().markup);
                choiceDepth = xml.Depth();
                continue;
            }
            if (name == u"feedbackInline" && choiceDepth && !feedbackDepth) {
                feedbackWriter = std::make_unique<QXmlStreamWriter>(&body.choices.last().feedback);
                feedbackDepth = xml.Depth();
                continue;
            }
            if (name == u"feedbackBlock" || name == u"feedbackInline" || name == u"rubricBlock") {
                // Shown only on some outcome: not part of the question.
                if (!xml.Skip())
                    return false;
                continue;
            }
        } else if (xml.IsEnd()) {
            if (xml.Depth() == feedbackDepth) {
                feedbackWriter.reset();
                feedbackDepth = 0;
                continue;
            }
            if (xml.Depth() == choiceDepth) {
                choiceWriter.reset();
                choiceDepth = 0;
                continue;
            }
            if (xml.Depth() == interactionDepth) {
                interactionDepth = 0;
                continue;
            }
        }
        // A choice's text belongs to the choice; anything else inside the
        // interaction (its prompt) to the question.
        if (feedbackDepth)
            xml.CopyCurrent(*feedbackWriter);
        else if (choiceDepth)
            xml.CopyCurrent(*choiceWriter);
        else
            xml.CopyCurrent(bodyWriter);
        if (body.markup.size() > GuardedXml::MaxTextChars)
            return xml.Fail(QStringLiteral("the item body is longer than %1 characters").arg(GuardedXml::MaxTextChars));
    }
    return xml.Failed() ? false : xml.Fail(QStringLiteral("the document ends inside the item body"));
}

// One assessmentItem document into the bank. `location` is the item's
// position in a package, 0 for a single document (then lines are used).
bool ReadItem(const QByteArray& bytes, int location, const PictureSource& pictures, Bank& bank, ReadFailure& failure)
{
    GuardedXml xml(bytes);
    while (xml.Next() && !xml.IsStart()) { }
    if (xml.Failed()) {
        failure = xml.Failure();
        return false;
    }
    if (!xml.IsStart() || xml.Name() != u"assessmentItem") {
        failure = { xml.Line(), QStringLiteral("not a QTI assessmentItem") };
        return false;
    }
    const int itemLine = xml.Line();
    const QString title = xml.Attribute("title");
    QHash<QString, QSet<QString>> declarations;
    ItemBody body;
    QStringList modal;
    while (xml.Next()) {
        if (xml.IsEnd() && xml.Depth() == 1)
            break;
        if (!xml.IsStart())
            continue;
        bool ok = true;
        if (xml.Name() == u"responseDeclaration") {
            ok = ReadDeclaration(xml, declarations[xml.Attribute("identifier")]);
        } else if (xml.Name() == u"itemBody") {
            ok = ReadItemBody(xml, body);
        } else if (xml.Name() == u"modalFeedback") {
            QString markup;
            ok = xml.ReadMarkup(markup, [&] { return xml.Name() == u"img"; });
            if (ok && !Plain(markup).isEmpty())
                modal.append(Plain(markup));
        } else {
            ok = xml.Skip();
        }
        if (!ok)
            break;
    }
    if (xml.Failed()) {
        failure = xml.Failure();
        return false;
    }
    const int at = location ? location : itemLine;
    const QString text = Plain(body.markup);
    if (body.choiceInteractions != 1 || !body.otherInteractions.isEmpty() || body.choices.isEmpty()) {
        QString type = body.choiceInteractions + body.otherInteractions.size() > 1 ? QStringLiteral("composite")
            : !body.otherInteractions.isEmpty()                                     ? body.otherInteractions.first()
            : body.choiceInteractions == 1                                          ? QStringLiteral("empty choice")
                                                                                    : QStringLiteral("interactionless");
        bank.Skip(at, type, text.isEmpty() ? title : text);
        return true;
    }
    if (bank.items.size() >= MaxQtiItems) {
        failure = { at, QStringLiteral("more than %1 items").arg(MaxQtiItems) };
        return false;
    }
    BankItem item;
    item.text = text;
    item.location = at;
    item.generalFeedback = modal.join(u'\n');
    const QSet<QString> correct = declarations.value(body.responseIdentifier);
    for (const Choice& choice : body.choices)
        item.options.append({ Plain(choice.markup), correct.contains(choice.identifier), Plain(choice.feedback) });
    for (const QString& src : body.pictures) {
        if (!item.picture.isEmpty()) {
            ++item.extraPictures;
            continue;
        }
        QString why;
        if (!pictures(src, item.picture, why))
            bank.Warn(at, QStringLiteral("left out the picture \"%1\": %2").arg(src, why));
    }
    bank.items.append(item);
    return true;
}

// Item resources of the manifest in order, as archive paths.
bool ReadManifest(const QByteArray& bytes, const QString& base, QStringList& items, ReadFailure& failure)
{
    GuardedXml xml(bytes);
    while (xml.Next()) {
        if (!xml.IsStart() || xml.Name() != u"resource")
            continue;
        if (xml.Attribute("type").startsWith(u"imsqti_item_xmlv2p")) {
            const QString path = QDir::cleanPath(base + xml.Attribute("href"));
            if (path.startsWith(u"../") || path.startsWith(u'/') || path == u"..") {
                xml.Fail(QStringLiteral("the resource \"%1\" points outside the package").arg(xml.Attribute("href")));
                break;
            }
            items.append(path);
        }
    }
    if (xml.Failed()) {
        failure = xml.Failure();
        failure.description = QStringLiteral("imsmanifest.xml:%1: %2").arg(failure.location).arg(failure.description);
        failure.location = 0;
        return false;
    }
    return true;
}

bool ReadPackage(const QByteArray& bytes, Bank& bank, ReadFailure& failure)
{
    ZipArchive zip;
    if (!zip.Read(bytes, failure.description))
        return false;
    // The manifest nearest the root; resource paths are relative to it.
    QString manifest;
    for (auto it = zip.Entries().cbegin(); it != zip.Entries().cend(); ++it) {
        if ((it.key() == u"imsmanifest.xml" || it.key().endsWith(u"/imsmanifest.xml"))
            && (manifest.isEmpty() || it.key().size() < manifest.size()))
            manifest = it.key();
    }
    if (manifest.isEmpty()) {
        failure.description = QStringLiteral("the zip archive holds no imsmanifest.xml");
        return false;
    }
    const QString base = manifest.chopped(int(sizeof("imsmanifest.xml")) - 1);
    QStringList items;
    if (!ReadManifest(zip.Entry(manifest), base, items, failure))
        return false;
    for (int i = 0; i < items.size(); ++i) {
        const QString& path = items[i];
        if (!zip.Contains(path)) {
            failure = { i + 1, QStringLiteral("the package lists \"%1\" but does not hold it").arg(path) };
            return false;
        }
        const QString folder = path.contains(u'/') ? path.left(path.lastIndexOf(u'/') + 1) : QString();
        ReadFailure pictureFailure;
        PictureSource fromPackage = [&](const QString& src, QByteArray& picture, QString& why) {
            const QString picturePath = QDir::cleanPath(folder + src);
            if (src.contains(u':') || picturePath.startsWith(u"../") || picturePath.startsWith(u'/')) {
                why = QStringLiteral("not inside the package");
                return false;
            }
            if (!zip.Contains(picturePath)) {
                why = QStringLiteral("not in the package");
                return false;
            }
            picture = zip.Entry(picturePath);
            if (PictureExtension(picture).isEmpty()) {
                picture.clear();
                pictureFailure = { i + 1, QStringLiteral("%1: \"%2\" is not a picture (PNG, JPEG, GIF or BMP)").arg(path, picturePath) };
                why = pictureFailure.description;
                return false;
            }
            return true;
        };
        ReadFailure itemFailure;
        const bool ok = ReadItem(zip.Entry(path), i + 1, fromPackage, bank, itemFailure);
        if (!pictureFailure.description.isEmpty()) {
            failure = pictureFailure;
            return false;
        }
        if (!ok) {
            failure = { i + 1, QStringLiteral("%1:%2: %3").arg(path).arg(itemFailure.location).arg(itemFailure.description) };
            return false;
        }
    }
    return true;
}

} // namespace

bool ReadQti(const QByteArray& bytes, Bank& out, ReadFailure& failure)
{
    out = Bank();
    failure = ReadFailure();
    bool ok = false;
    if (ZipArchive::IsZip(bytes)) {
        ok = ReadPackage(bytes, out, failure);
    } else {
        PictureSource none = [](const QString&, QByteArray&, QString& why) {
            why = QStringLiteral("a single item document carries no pictures");
            return false;
        };
        ok = ReadItem(bytes, 0, none, out, failure);
    }
    if (!ok)
        out = Bank();
    return ok;
}

} // namespace exchange
