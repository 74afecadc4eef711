#include "tools/practorium-courier/CourierServer.h"

#include "model/Error.h"
#include "model/Pack.h"
#include "model/PackSignature.h"
#include "tools/practorium-courier/CourierMessage.h"
#include "tools/practorium-courier/CourierStore.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QSaveFile>
#include <QTcpSocket>
#include <QUrlQuery>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <utility>

namespace {

using StatusCode = QHttpServerResponder::StatusCode;

const QString EndpointPath = QStringLiteral("/PackCourier.asp");
const QByteArray MessageType = "text/plain; charset=windows-1252";
const QByteArray PageType = "text/html; charset=utf-8";
const QByteArray PackType = "application/octet-stream";

constexpr qint64 HugeReplyBytes = 10 * 1024 * 1024;
// "content-length" that LengthTooLarge adds to the true size.
constexpr qint64 LengthExcess = 1000;

const std::array<std::pair<const char*, Misbehaviour>, 12> ModeNames { {
    { "error-reply", Misbehaviour::ErrorReply },
    { "empty-body", Misbehaviour::EmptyBody },
    { "not-a-message", Misbehaviour::NotAMessage },
    { "huge-reply", Misbehaviour::HugeReply },
    { "drop-mid-pack", Misbehaviour::DropMidPack },
    { "length-too-large", Misbehaviour::LengthTooLarge },
    { "length-too-small", Misbehaviour::LengthTooSmall },
    { "not-found-pack", Misbehaviour::NotFoundPack },
    { "bad-exam-ids", Misbehaviour::BadExamIds },
    { "never-answer", Misbehaviour::NeverAnswer },
    { "as-is", Misbehaviour::AsIs },
    { "hold-list", Misbehaviour::HoldList },
} };

void Log(const QString& text)
{
    const QByteArray line = (QDateTime::currentDateTime().toString(Qt::ISODate) + u' ' + text + u'\n').toLocal8Bit();
    std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
    std::fflush(stderr);
}

CourierMessage ErrorMessage(const QString& code, const QString& description)
{
    return CourierMessage { QStringLiteral("ERROR"),
        { { QStringLiteral("code"), code }, { QStringLiteral("description"), description } } };
}

QByteArray Page(const QString& title)
{
    // No ";" anywhere: a client that takes the page for a message must find
    // no message in it.
    return QStringLiteral("<!DOCTYPE html>\n<html><head><title>%1</title></head>\n"
                          "<body><h1>%1</h1><p>The PackCourier service cannot answer this request.</p></body></html>\n")
        .arg(title)
        .toUtf8();
}

// Answers on the raw connection with a chosen "content-length" and a chosen
// number of body bytes, then closes the connection: what QHttpServer's own
// writers, which always tell the truth, cannot be made to do. The file is read
// in blocks as the socket drains, so a large pack costs little memory.
void SendWithLength(QTcpSocket* socket, const QString& path, qint64 announced, qint64 bodyBytes)
{
    auto* file = new QFile(path, socket);
    if (!file->open(QIODevice::ReadOnly)) {
        socket->disconnectFromHost();
        return;
    }
    socket->write("HTTP/1.1 200 OK\r\nContent-Type: " + PackType + "\r\nContent-Length: " + QByteArray::number(announced)
        + "\r\nConnection: close\r\n\r\n");
    auto left = std::make_shared<qint64>(bodyBytes);
    auto pump = [socket, file, left]() {
        if (*left < 0)
            return;
        while (*left > 0 && socket->bytesToWrite() < 256 * 1024) {
            const QByteArray block = file->read(std::min<qint64>(*left, 64 * 1024));
            if (block.isEmpty())
                break;
            socket->write(block);
            *left -= block.size();
        }
        if (*left == 0 || file->atEnd()) {
            *left = -1;
            socket->disconnectFromHost();
        }
    };
    QObject::connect(socket, &QTcpSocket::bytesWritten, file, pump);
    pump();
}

} // namespace

std::optional<Misbehaviour> MisbehaviourFromName(const QString& name)
{
    for (const auto& [text, mode] : ModeNames) {
        if (name == QLatin1String(text))
            return mode;
    }
    return std::nullopt;
}

QString MisbehaviourNames()
{
    QStringList names;
    for (const auto& entry : ModeNames)
        names.append(QLatin1String(entry.first));
    return names.join(QStringLiteral(", "));
}

bool CourierServer::IsExamId(const QString& id)
{
    if (id.isEmpty() || id.startsWith(u'.') || id.startsWith(u'-') || id.contains(u'/') || id.contains(u','))
        return false;
    return std::none_of(id.cbegin(), id.cend(), [](QChar c) { return c.unicode() < 0x20 || c.unicode() == 0x7F; });
}

QStringList CourierServer::BadExamIds()
{
    return { QStringLiteral("../evil"), QString(), QStringLiteral("sub/evil"), QStringLiteral(".."),
        QStringLiteral("/tmp/evil"), QStringLiteral("nul") + QChar(0) + QStringLiteral("evil") };
}

CourierServer::CourierServer(CourierStore& store, const QString& packsFolder, Misbehaviour mode,
    const QByteArray& secretKey, const QString& signedFolder)
    : m_store(store)
    , m_packsFolder(packsFolder)
    , m_mode(mode)
    , m_secretKey(secretKey)
    , m_signedFolder(signedFolder)
{
    m_server.route(EndpointPath, [this](const QHttpServerRequest& request, QHttpServerResponder&& responder) {
        HandleRequest(request, std::move(responder));
    });
}

quint16 CourierServer::Listen(const QHostAddress& address, quint16 port)
{
    return m_server.listen(address, port);
}

void CourierServer::HandleRequest(const QHttpServerRequest& request, QHttpServerResponder&& responder)
{
    if (m_mode == Misbehaviour::NeverAnswer) {
        // A responder that goes without writing leaves the connection open
        // and silent until the client gives up.
        Log(QStringLiteral("%1: not answered").arg(request.url().toString()));
        return;
    }
    // The route's pattern is a regular expression, in which "." is any
    // character.
    if (request.url().path() != EndpointPath) {
        responder.write(Page(QStringLiteral("404 Not Found")), PageType, StatusCode::NotFound);
        return;
    }
    switch (request.method()) {
    case QHttpServerRequest::Method::Get:
        SendPack(request, std::move(responder));
        return;
    case QHttpServerRequest::Method::Post:
        break;
    default:
        responder.write(Page(QStringLiteral("405 Method Not Allowed")), PageType, StatusCode::MethodNotAllowed);
        return;
    }

    switch (m_mode) {
    case Misbehaviour::ErrorReply:
        responder.write(ErrorMessage(QStringLiteral("503"),
                            QStringLiteral("The PackCourier service is closed for maintenance. Please try again later."))
                            .Encode(),
            MessageType);
        return;
    case Misbehaviour::EmptyBody:
        responder.write(QByteArray(), MessageType);
        return;
    case Misbehaviour::NotAMessage:
        responder.write(Page(QStringLiteral("Service Unavailable")), PageType);
        return;
    default:
        break;
    }

    if (m_mode == Misbehaviour::HoldList) {
        const std::optional<CourierMessage> message = CourierMessage::Decode(request.body());
        if (message && message->Command == QLatin1String("LIST")) {
            Log(QStringLiteral("LIST: held"));
            return;
        }
    }
    CourierMessage reply = Reply(request.body());
    if (m_mode == Misbehaviour::HugeReply) {
        // One more parameter, which the client does not read, brings the
        // whole reply to exactly 10 MiB: a well-formed message that only a
        // size limit can refuse.
        const qint64 padding = HugeReplyBytes - reply.Encode().size() - qsizetype(sizeof "&pad=" - 1);
        reply.Parameters.append({ QStringLiteral("pad"), QString(padding, u'x') });
    }
    responder.write(reply.Encode(), MessageType);
}

CourierMessage CourierServer::Reply(const QByteArray& body)
{
    const std::optional<CourierMessage> request = CourierMessage::Decode(body);
    if (!request) {
        Log(QStringLiteral("POST: not a message"));
        return ErrorMessage(QStringLiteral("400"), QStringLiteral("The request is not a message of this service."));
    }
    const QString& command = request->Command;
    if (command == QLatin1String("LOGIN")) {
        const QString user = request->Value(QStringLiteral("email"));
        const std::optional<qint64> account = m_store.Authenticate(user, request->Value(QStringLiteral("pwd")));
        Log(QStringLiteral("LOGIN %1: %2").arg(user, account ? QStringLiteral("OK") : QStringLiteral("FAILED")));
        if (!account)
            return CourierMessage { command, { { QStringLiteral("status"), QStringLiteral("FAILED") } } };
        return CourierMessage { command,
            { { QStringLiteral("status"), QStringLiteral("OK") }, { QStringLiteral("sid"), m_store.OpenSession(*account) } } };
    }
    if (command != QLatin1String("LIST") && command != QLatin1String("REPORT")) {
        Log(QStringLiteral("POST %1: unknown command").arg(command));
        return ErrorMessage(QStringLiteral("400"), QStringLiteral("Unknown command: %1").arg(command));
    }

    const QString sid = request->Value(QStringLiteral("sid"));
    const std::optional<qint64> account = m_store.SessionAccount(sid);
    if (!account) {
        Log(QStringLiteral("%1: no session %2").arg(command, sid));
        return ErrorMessage(QStringLiteral("401"), QStringLiteral("Your session has expired. Please start again."));
    }
    if (command == QLatin1String("LIST")) {
        QStringList exams = m_store.BoughtExams(*account);
        if (m_mode == Misbehaviour::BadExamIds)
            exams = BadExamIds() + exams;
        Log(QStringLiteral("LIST: %1").arg(exams.join(u',')));
        return CourierMessage { command,
            { { QStringLiteral("status"), QStringLiteral("OK") }, { QStringLiteral("data"), exams.join(u',') } } };
    }
    const QString list = request->Value(QStringLiteral("list"));
    m_store.RecordReport(*account, sid, list, request->Value(QStringLiteral("time")));
    Log(QStringLiteral("REPORT: %1").arg(list));
    return CourierMessage { command, {} };
}

void CourierServer::SendPack(const QHttpServerRequest& request, QHttpServerResponder&& responder)
{
    const QUrlQuery query = request.query();
    const QString sid = query.queryItemValue(QStringLiteral("sid"), QUrl::FullyDecoded);
    const QString eid = query.queryItemValue(QStringLiteral("eid"), QUrl::FullyDecoded);
    const std::optional<qint64> account = m_store.SessionAccount(sid);
    if (!account) {
        Log(QStringLiteral("GET %1: no session").arg(eid));
        responder.write(Page(QStringLiteral("403 Forbidden")), PageType, StatusCode::Forbidden);
        return;
    }
    if (m_mode == Misbehaviour::NotFoundPack) {
        Log(QStringLiteral("GET %1: 404 on purpose").arg(eid));
        responder.write(Page(QStringLiteral("404 Not Found")), PageType, StatusCode::NotFound);
        return;
    }
    const QStringList bought = m_store.BoughtExams(*account);
    if (m_mode == Misbehaviour::BadExamIds && !bought.contains(eid)) {
        // Looks like a pack, and leaves "<file>.ran" beside itself when run:
        // a client that saved it anywhere, or ran it, can be caught at it.
        Log(QStringLiteral("GET %1: stub pack").arg(eid));
        responder.write(QByteArray(Pack::Signature) + ": >\"$0.ran\"\nexit 0\n", PackType);
        return;
    }
    if (!IsExamId(eid)) {
        Log(QStringLiteral("GET %1: not an exam ID").arg(eid));
        responder.write(Page(QStringLiteral("400 Bad Request")), PageType, StatusCode::BadRequest);
        return;
    }
    if (!bought.contains(eid)) {
        Log(QStringLiteral("GET %1: not bought").arg(eid));
        responder.write(Page(QStringLiteral("403 Forbidden")), PageType, StatusCode::Forbidden);
        return;
    }
    const QString path = QDir(m_packsFolder).filePath(eid + QStringLiteral(".pack"));
    const QFileInfo info(path);
    if (!info.isFile()) {
        Log(QStringLiteral("GET %1: no file %2").arg(eid, path));
        responder.write(Page(QStringLiteral("404 Not Found")), PageType, StatusCode::NotFound);
        return;
    }
    QString served;
    try {
        served = Signed(path, eid);
    } catch (...) {
        Log(QStringLiteral("GET %1: cannot sign %2: %3").arg(eid, path, Error::Current().Description()));
        responder.write(Page(QStringLiteral("500 Internal Server Error")), PageType, StatusCode::InternalServerError);
        return;
    }
    const qint64 size = QFileInfo(served).size();
    QTcpSocket* socket = responder.socket();
    switch (m_mode) {
    case Misbehaviour::DropMidPack:
        Log(QStringLiteral("GET %1: dropped after %2 of %3 bytes").arg(eid).arg(size / 2).arg(size));
        SendWithLength(socket, served, size, size / 2);
        return;
    case Misbehaviour::LengthTooLarge:
        Log(QStringLiteral("GET %1: %2 bytes announced as %3").arg(eid).arg(size).arg(size + LengthExcess));
        SendWithLength(socket, served, size + LengthExcess, size);
        return;
    case Misbehaviour::LengthTooSmall:
        Log(QStringLiteral("GET %1: %2 bytes announced as %3").arg(eid).arg(size).arg(size / 2));
        SendWithLength(socket, served, size / 2, size);
        return;
    default:
        break;
    }
    Log(QStringLiteral("GET %1: %2 bytes").arg(eid).arg(size));
    // QHttpServer streams a file in blocks and announces its size.
    responder.write(new QFile(served), { { "Content-Type", PackType } });
}

QString CourierServer::Signed(const QString& path, const QString& examID)
{
    const QFileInfo source(path);
    // Anything but a whole unsigned pack goes out as it is: signed packs,
    // and whatever a test put there on purpose.
    if (m_mode == Misbehaviour::AsIs || m_secretKey.isEmpty() || PackSignature::BodySize(path) != source.size())
        return path;
    const QString copy = QDir(m_signedFolder).filePath(examID + QStringLiteral(".pack"));
    const QFileInfo signedCopy(copy);
    if (signedCopy.isFile() && signedCopy.size() == source.size() + PackSignature::TrailerBytes
        && signedCopy.lastModified() >= source.lastModified())
        return copy;

    QDir().mkpath(m_signedFolder);
    PackSignature::Signer signer(m_secretKey, examID);
    QFile input(path);
    QSaveFile output(copy);
    if (!input.open(QIODevice::ReadOnly) || !output.open(QIODevice::WriteOnly))
        Error::Raise(ErrorNumber::InvalidCall, copy, input.isOpen() ? output.errorString() : input.errorString());
    QByteArray block(1024 * 1024, Qt::Uninitialized);
    for (;;) {
        const qint64 got = input.read(block.data(), block.size());
        if (got < 0)
            Error::Raise(ErrorNumber::InvalidCall, path, input.errorString());
        if (got == 0)
            break;
        signer.Add(block.constData(), got);
        if (output.write(block.constData(), got) != got)
            Error::Raise(ErrorNumber::InvalidCall, copy, output.errorString());
    }
    const QByteArray trailer = signer.Trailer();
    if (output.write(trailer) != trailer.size() || !output.commit())
        Error::Raise(ErrorNumber::InvalidCall, copy, output.errorString());
    Log(QStringLiteral("signed %1 for %2").arg(path, examID));
    return copy;
}
