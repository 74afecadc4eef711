#pragma once

#include <QHostAddress>
#include <QHttpServer>
#include <QString>

#include <optional>

class CourierStore;
struct CourierMessage;

// Ways in which the server can be told to misbehave, so that clients can be
// tested against a hostile or broken service. Message modes change the reply
// to every POST; pack modes change the answer to every pack request that a
// well-behaved server would have answered with the pack.
enum class Misbehaviour {
    None,
    ErrorReply,      // every message gets an ERROR reply
    EmptyBody,       // every message gets 200 with an empty body
    NotAMessage,     // every message gets 200 with an HTML page (no ";")
    HugeReply,       // the proper reply padded with a "pad" parameter to 10 MiB
    DropMidPack,     // half the pack, then the connection is closed
    LengthTooLarge,  // "content-length" 1000 more than the pack, then closed
    LengthTooSmall,  // "content-length" half the pack, the whole pack sent, then closed
    NotFoundPack,    // a 404 HTML page instead of any pack
    BadExamIds,      // LIST data starts with unsafe IDs; those IDs get a stub pack
    NeverAnswer,     // no request is ever answered; connections stay open
    AsIs,            // packs are sent byte for byte as they lie, unsigned ones unsigned
    HoldList,        // LIST is never answered, its connection left open; the rest as usual
};

std::optional<Misbehaviour> MisbehaviourFromName(const QString& name);
QString MisbehaviourNames();

// The download service over HTTP. One endpoint, "/PackCourier.asp":
//   POST, body = one message: LOGIN (email, pwd), LIST (sid), REPORT (sid,
//        list, time); the reply body is one message (see Reply()).
//   GET ?sid=S&eid=E: the pack "<packs folder>/<E>.pack" of an exam that the
//        session's account bought, with "content-length";
//        403 for a missing or expired session or an exam not bought,
//        400 for an exam ID that is not a plain file name, 404 when the
//        file is missing. Other paths and methods: 404.
//        A pack that is already signed is sent as it is; an unsigned one is
//        signed for the exam ID with the server's own key, into a copy kept
//        in `signedFolder` and made again when the pack changes.
class CourierServer
{
public:
    CourierServer(CourierStore& store, const QString& packsFolder, Misbehaviour mode, const QByteArray& secretKey = {},
        const QString& signedFolder = {});

    // The port listened on, or 0 when the address cannot be bound.
    quint16 Listen(const QHostAddress& address, quint16 port);

    // Exam IDs as vendors grant them and packs are named: plain file names
    // (not empty, no "/", no control character, not starting with "." or
    // "-") that cannot split a LIST, so no ",".
    static bool IsExamId(const QString& id);

    // The unsafe IDs that BadExamIds puts before the real ones: a path out of
    // the folder, an empty one, a sub-folder, "..", an absolute path and one
    // with a NUL.
    static QStringList BadExamIds();

private:
    void HandleRequest(const QHttpServerRequest& request, QHttpServerResponder&& responder);
    CourierMessage Reply(const QByteArray& body);
    void SendPack(const QHttpServerRequest& request, QHttpServerResponder&& responder);
    // The file to send for `path`: itself, or its signed copy. Raises when
    // the copy cannot be made.
    QString Signed(const QString& path, const QString& examID);

    CourierStore& m_store;
    QString m_packsFolder;
    Misbehaviour m_mode;
    QByteArray m_secretKey;
    QString m_signedFolder;
    QHttpServer m_server;
};
