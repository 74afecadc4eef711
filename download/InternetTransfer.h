#pragma once

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QString>

class QNetworkAccessManager;
class QNetworkReply;
class QTimer;

// One HTTP(S) request at a time, reported through numbered states the way the
// download window expects of its transfer objects: 5 when a request goes out,
// 8 when the response headers are in, 7 whenever body bytes can be read, 12
// when any HTTP response is complete (200, 404, 500 alike), 11 when the
// transport fails. Everything runs on the thread that owns the object.
//
// Choices worth knowing:
// - Timeout: the request fails (state 11, TimedOutError) when the server sends
//   nothing for Timeout milliseconds; it is an idle limit, not a limit on the
//   whole transfer, so a large pack on a slow line is not cut.
// - Body limit: a body larger than MaximumBodySize (default 1 MiB, more than
//   any service message) fails with BodyTooLargeError as soon as the announced
//   length or the bytes received pass it, and what came is dropped. A hostile
//   server therefore cannot make us hold more than about the limit.
// - Memory: the body is held once, in the reply, until GetChunk takes it out.
//   With ReadBufferSize set, the connection pauses while that many bytes wait
//   unread, so a reader that takes the body at each state 7 holds at most that
//   much whatever the body's size.
// - Redirects are not followed. The service has one configured address; a 3xx
//   answer is a complete response like any other (state 12 with its code) and
//   the caller treats it as the wrong answer it is.
// - TLS certificate errors are never ignored: they are transport failures.
// - HTTP/1.1 only, and the body is asked for uncompressed ("Accept-Encoding:
//   identity"), so "content-length" counts the bytes GetChunk hands out.
class InternetTransfer : public QObject
{
    Q_OBJECT

public:
    enum State {
        icNone = 0,
        icHostResolvingHost = 1,
        icHostResolved = 2,
        icConnecting = 3,
        icConnected = 4,
        icRequesting = 5,
        icRequestSent = 6,
        icReceivingResponse = 7,
        icResponseReceived = 8,
        icDisconnecting = 9,
        icDisconnected = 10,
        icError = 11,
        icResponseCompleted = 12,
    };

    // ResponseCode after state 11: the QNetworkReply::NetworkError of the
    // failure (1 refused, 2 closed by the server, 3 host not found, 6 TLS, ...)
    // or one of these.
    static constexpr int TimedOutError = 4;          // QNetworkReply::TimeoutError
    static constexpr int BodyTooLargeError = 0x1000; // the body passed MaximumBodySize

    static constexpr int DefaultTimeout = 60000;
    static constexpr qint64 DefaultMaximumBodySize = 1024 * 1024;

    explicit InternetTransfer(QObject* parent = nullptr);
    ~InternetTransfer() override;

    // Starts a request; "GET", "POST", "PUT" and "HEAD" (any case) are known.
    // Headers are "Name: value" lines separated by CRLF. A POST without a
    // Content-Type goes as application/x-www-form-urlencoded. Raises error 5
    // from "InternetTransfer::Execute()" when a request is still executing, the
    // URL is not an absolute http or https address, the operation is unknown or
    // a header line has no name; nothing is sent then.
    void Execute(const QString& url, const QString& operation, const QByteArray& data = {},
                 const QString& requestHeaders = {});
    bool StillExecuting() const;
    // Aborts the request and drops its body, silently: no state is reported.
    void Cancel();

    // The last state reported.
    int State() const { return m_state; }

    // A response header by name (any case); with no name every header as
    // "Name: value" lines joined by CRLF. Empty before the headers are in.
    QString GetHeader(const QString& name = {}) const;
    // Up to `size` further bytes of the body, removed from what is held; empty
    // when nothing is waiting (at the end once state 12 has been reported).
    QByteArray GetChunk(qint64 size);
    // The same as Windows-1252 text, one character per byte.
    QString GetChunkText(qint64 size);
    // Body bytes received and not yet taken.
    qint64 BytesAvailable() const;

    // Once the headers are in (state 8) the HTTP status code (200, 404, ...)
    // and its reason phrase; after state 11 the failure's code (see above) and
    // a description of it; 0 and empty before.
    int ResponseCode() const { return m_responseCode; }
    QString ResponseInfo() const { return m_responseInfo; }

    int Timeout() const { return m_timeout; }
    void SetTimeout(int milliseconds);
    // 0 means no limit. Applies to the next request.
    qint64 MaximumBodySize() const { return m_maximumBodySize; }
    void SetMaximumBodySize(qint64 bytes);
    // 0 (the default) means the whole body may wait for GetChunk until state
    // 12. Applies to the next request.
    qint64 ReadBufferSize() const { return m_readBufferSize; }
    void SetReadBufferSize(qint64 bytes);

Q_SIGNALS:
    void StateChanged(int state);

private:
    void OnMetaDataChanged();
    void OnReadyRead();
    void OnFinished();
    void OnTimeout();
    void RestartTimeout();
    // Ends the request with state 11 and the given code and description.
    void Fail(int code, const QString& description);
    bool CheckBodySize(qint64 bytes);
    void ReleaseReply();
    void SetState(int state);

    QNetworkAccessManager* m_manager;
    QTimer* m_timer;
    QPointer<QNetworkReply> m_reply;
    bool m_executing = false;
    bool m_headersReported = false;
    int m_state = icNone;
    int m_responseCode = 0;
    QString m_responseInfo;
    qint64 m_bodyTaken = 0;
    int m_timeout = DefaultTimeout;
    qint64 m_maximumBodySize = DefaultMaximumBodySize;
    qint64 m_readBufferSize = 0;
};
