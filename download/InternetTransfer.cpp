#include "download/InternetTransfer.h"

#include "model/Ansi.h"
#include "model/Error.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <QUrl>

namespace {

const QString SrcExecute = QStringLiteral("InternetTransfer::Execute()");

[[noreturn]] void RaiseInvalidCall(const QString& description)
{
    Error::Raise(ErrorNumber::InvalidCall, SrcExecute, description);
}

// Qt turns HTTP error statuses into reply errors; those replies are still
// complete answers from the server. Everything else (refused, closed early,
// TLS, malformed response, ...) is a failed transport.
bool IsHttpAnswer(QNetworkReply::NetworkError error)
{
    switch (error) {
    case QNetworkReply::NoError:
    case QNetworkReply::ContentAccessDenied:
    case QNetworkReply::ContentOperationNotPermittedError:
    case QNetworkReply::ContentNotFoundError:
    case QNetworkReply::AuthenticationRequiredError:
    case QNetworkReply::ContentConflictError:
    case QNetworkReply::ContentGoneError:
    case QNetworkReply::UnknownContentError:
    case QNetworkReply::ProtocolInvalidOperationError: // 400
    case QNetworkReply::InternalServerError:
    case QNetworkReply::OperationNotImplementedError:
    case QNetworkReply::ServiceUnavailableError:
    case QNetworkReply::UnknownServerError:
        return true;
    default:
        return false;
    }
}

} // namespace

InternetTransfer::InternetTransfer(QObject* parent)
    : QObject(parent)
    , m_manager(new QNetworkAccessManager(this))
    , m_timer(new QTimer(this))
{
    m_timer->setSingleShot(true);
    connect(m_timer, &QTimer::timeout, this, &InternetTransfer::OnTimeout);
}

InternetTransfer::~InternetTransfer()
{
    ReleaseReply();
}

void InternetTransfer::Execute(const QString& url, const QString& operation, const QByteArray& data,
                               const QString& requestHeaders)
{
    if (m_executing)
        RaiseInvalidCall(QStringLiteral("Still executing last request"));

    const QUrl target(url);
    const QString scheme = target.scheme();
    if (!target.isValid() || target.host().isEmpty()
        || (scheme != QLatin1String("http") && scheme != QLatin1String("https")))
        RaiseInvalidCall(QStringLiteral("Invalid URL: %1").arg(url));

    const QString verb = operation.trimmed().toUpper();
    if (verb != QLatin1String("GET") && verb != QLatin1String("POST") && verb != QLatin1String("PUT")
        && verb != QLatin1String("HEAD"))
        RaiseInvalidCall(QStringLiteral("Unknown operation: %1").arg(operation));

    QNetworkRequest request(target);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    // HTTP/1.1 on https as on http, so both frame a body and report a cut
    // one alike; one request at a time gains nothing from HTTP/2.
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    // Asking for the body as it is stored keeps "content-length" the number of
    // bytes we receive, so a pack can be checked against it, and leaves no
    // compressed body to inflate beyond the size limit.
    request.setRawHeader("Accept-Encoding", "identity");
    const QString headers = QString(requestHeaders).replace(QLatin1String("\r\n"), QLatin1String("\n"));
    for (const QString& line : headers.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        const qsizetype colon = line.indexOf(QLatin1Char(':'));
        const QString name = line.left(colon).trimmed();
        if (colon < 0 || name.isEmpty())
            RaiseInvalidCall(QStringLiteral("Invalid request header: %1").arg(line));
        request.setRawHeader(Ansi::FromUnicode(name), Ansi::FromUnicode(line.mid(colon + 1).trimmed()));
    }
    if (verb == QLatin1String("POST") && !request.hasRawHeader("Content-Type"))
        request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/x-www-form-urlencoded"));

    ReleaseReply();
    m_headersReported = false;
    m_responseCode = 0;
    m_responseInfo.clear();
    m_bodyTaken = 0;

    QNetworkReply* reply;
    if (verb == QLatin1String("GET"))
        reply = m_manager->get(request);
    else if (verb == QLatin1String("POST"))
        reply = m_manager->post(request, data);
    else if (verb == QLatin1String("PUT"))
        reply = m_manager->put(request, data);
    else
        reply = m_manager->head(request);
    m_reply = reply;
    if (m_readBufferSize > 0)
        reply->setReadBufferSize(m_readBufferSize);
    connect(reply, &QNetworkReply::metaDataChanged, this, &InternetTransfer::OnMetaDataChanged);
    connect(reply, &QNetworkReply::readyRead, this, &InternetTransfer::OnReadyRead);
    connect(reply, &QNetworkReply::finished, this, &InternetTransfer::OnFinished);
    connect(reply, &QNetworkReply::uploadProgress, this, &InternetTransfer::RestartTimeout);
    connect(reply, &QNetworkReply::downloadProgress, this, &InternetTransfer::RestartTimeout);

    m_executing = true;
    RestartTimeout();
    SetState(icRequesting);
}

bool InternetTransfer::StillExecuting() const
{
    return m_executing;
}

void InternetTransfer::Cancel()
{
    m_timer->stop();
    ReleaseReply();
    m_executing = false;
    m_state = icNone;
}

QString InternetTransfer::GetHeader(const QString& name) const
{
    if (!m_reply || !m_headersReported)
        return {};
    if (!name.isEmpty())
        return Ansi::ToUnicode(m_reply->rawHeader(Ansi::FromUnicode(name)));
    QStringList lines;
    for (const auto& [headerName, value] : m_reply->rawHeaderPairs())
        lines << Ansi::ToUnicode(headerName) + QLatin1String(": ") + Ansi::ToUnicode(value);
    return lines.join(QLatin1String("\r\n"));
}

QByteArray InternetTransfer::GetChunk(qint64 size)
{
    if (!m_reply || size <= 0)
        return {};
    QByteArray chunk = m_reply->read(size);
    m_bodyTaken += chunk.size();
    return chunk;
}

QString InternetTransfer::GetChunkText(qint64 size)
{
    return Ansi::ToUnicode(GetChunk(size));
}

qint64 InternetTransfer::BytesAvailable() const
{
    return m_reply ? m_reply->bytesAvailable() : 0;
}

void InternetTransfer::SetTimeout(int milliseconds)
{
    m_timeout = qMax(milliseconds, 1);
    if (m_timer->isActive())
        RestartTimeout();
}

void InternetTransfer::SetMaximumBodySize(qint64 bytes)
{
    m_maximumBodySize = qMax<qint64>(bytes, 0);
}

void InternetTransfer::SetReadBufferSize(qint64 bytes)
{
    m_readBufferSize = qMax<qint64>(bytes, 0);
}

void InternetTransfer::OnMetaDataChanged()
{
    QNetworkReply* reply = m_reply;
    if (!reply || sender() != reply)
        return;
    RestartTimeout();
    // Refuse an announced body over the limit before any of it arrives.
    const QVariant length = reply->header(QNetworkRequest::ContentLengthHeader);
    if (length.isValid() && !CheckBodySize(length.toLongLong()))
        return;
    if (m_headersReported)
        return;
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid())
        return;
    m_headersReported = true;
    m_responseCode = status.toInt();
    m_responseInfo = Ansi::ToUnicode(reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toByteArray());
    SetState(icResponseReceived);
}

void InternetTransfer::OnReadyRead()
{
    QNetworkReply* reply = m_reply;
    if (!reply || sender() != reply)
        return;
    RestartTimeout();
    // downloadProgress would tell the total received too, but it may come
    // after readyRead; the running total is what we hold plus what we gave.
    if (!CheckBodySize(m_bodyTaken + reply->bytesAvailable()))
        return;
    if (!m_headersReported) {
        OnMetaDataChanged();
        if (m_reply != reply)
            return;
    }
    SetState(icReceivingResponse);
}

void InternetTransfer::OnFinished()
{
    QNetworkReply* reply = m_reply;
    if (!reply || sender() != reply)
        return;
    m_timer->stop();
    const QNetworkReply::NetworkError error = reply->error();
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid() || !IsHttpAnswer(error)) {
        Fail(error == QNetworkReply::NoError ? int(QNetworkReply::UnknownNetworkError) : int(error),
             reply->errorString());
        return;
    }
    if (!CheckBodySize(m_bodyTaken + reply->bytesAvailable()))
        return;
    m_headersReported = true;
    m_responseCode = status.toInt();
    m_responseInfo = Ansi::ToUnicode(reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toByteArray());
    m_executing = false;
    SetState(icResponseCompleted);
}

void InternetTransfer::OnTimeout()
{
    if (m_executing)
        Fail(TimedOutError, QStringLiteral("Operation timed out"));
}

void InternetTransfer::RestartTimeout()
{
    if (m_executing)
        m_timer->start(m_timeout);
}

bool InternetTransfer::CheckBodySize(qint64 bytes)
{
    if (m_maximumBodySize <= 0 || bytes <= m_maximumBodySize)
        return true;
    Fail(BodyTooLargeError, QStringLiteral("The reply is larger than %1 bytes").arg(m_maximumBodySize));
    return false;
}

void InternetTransfer::Fail(int code, const QString& description)
{
    m_timer->stop();
    ReleaseReply();
    m_executing = false;
    m_responseCode = code;
    m_responseInfo = description;
    SetState(icError);
}

void InternetTransfer::ReleaseReply()
{
    QNetworkReply* reply = m_reply;
    m_reply = nullptr;
    if (!reply)
        return;
    disconnect(reply, nullptr, this, nullptr);
    if (reply->isRunning())
        reply->abort();
    reply->deleteLater();
}

void InternetTransfer::SetState(int state)
{
    m_state = state;
    Q_EMIT StateChanged(state);
}
