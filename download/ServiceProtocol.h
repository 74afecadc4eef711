#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantList>

// The conversation with the download service, without windows or network:
// it builds the request texts, turns reply texts into what the window must
// do, and keeps the session (session ID, download queue, installed list).
//
//   Start -> LOGIN; LOGIN "OK" -> LIST; LIST "OK" with data -> one download
//   per exam ID (the window fetches and installs, then calls ExamHandled or
//   ExamDeclined); queue empty -> REPORT; REPORT -> done.
//
// Each call returns a Decision: steps the window carries out in order.
class ServiceProtocol
{
public:
    // A reply body longer than this (in characters) is not parsed: it is
    // treated like any other unreadable reply. Real replies are a few hundred
    // characters; the cap keeps a hostile server from making the client decode
    // without bound.
    static constexpr qsizetype MaxReplyLength = 1024 * 1024;
    // Reply bodies are read in chunks of this many characters.
    static constexpr qint64 ReplyChunkSize = 1024;
    // Message style of the error boxes (OK button, critical icon).
    static constexpr int ErrorStyle = 16;

    struct Step
    {
        enum class Kind {
            ShowStatus,   // Text on the status line, size labels reset
            ShowError,    // a box: ShowMessage(Text, Style, Values)
            EndRun,       // ends the run, successful when Success
            AllowRetry,   // the action button back to "&Start", focus on the user ID
            CloseWindow,
            Send,         // post Text (a packed message) to the endpoint
            DownloadNext, // handle the exam at the front of the queue
        };
        Kind Action = Kind::ShowStatus;
        QString Text;
        int Style = 0;
        QVariantList Values;
        bool Success = false;

        bool operator==(const Step& other) const
        {
            return Action == other.Action && Text == other.Text && Style == other.Style && Values == other.Values
                && Success == other.Success;
        }
    };
    using Decision = QList<Step>;

    // Begins a run with the user ID and password as typed (both are trimmed of
    // spaces here): forgets the previous session and sends LOGIN.
    Decision Start(const QString& userId, const QString& password);
    // Starting a request failed at once with this description.
    Decision RequestFailed(const QString& description);
    // The transfer reported a transport failure (state 11).
    Decision TransportFailed(int responseCode, const QString& responseInfo);
    // A response arrived (state 12) with this body. An empty body does
    // nothing; an oversized or undecodable one ends the run with "Error
    // communicating to server"; otherwise the reply is dispatched by command.
    Decision ReplyReceived(const QString& body);
    // A reply that cannot be read: ends the run with "Error communicating to
    // server". ReplyReceived answers so for an undecodable body; the window
    // also for a body its transfer refused as too large.
    Decision ReplyUnreadable() const;
    // The exam at the front of the queue has been downloaded and installed
    // (or its installation failed): it leaves the queue, and the next exam
    // or the REPORT follows. `now` is the time the REPORT carries.
    Decision ExamHandled(bool installed, const QDateTime& now = QDateTime::currentDateTime());
    // The candidate chose not to overwrite the exam at the front of the queue.
    // When that empties the queue the run ends successfully without a REPORT,
    // even if earlier exams of the run were installed.
    Decision ExamDeclined();

    const QString& SessionID() const { return m_sessionID; }
    const QStringList& Queue() const { return m_queue; }
    // The exam at the front of the queue; empty when the queue is.
    QString CurrentExamID() const { return m_queue.isEmpty() ? QString() : m_queue.first(); }
    // "endpoint?sid=...&eid=..." for the exam at the front of the queue, the
    // values inserted as they are.
    QString DownloadAddress(const QString& endpoint) const;

    // Whether an exam ID may name a file in the temporary folder: not empty,
    // no "/", no "..", no NUL. Any other ID is refused as a failed
    // installation, so a hostile service cannot make the client write
    // elsewhere.
    static bool IsPlainFileName(const QString& examID);
    // The "time" of a REPORT: the date in the locale's short format, a blank,
    // and the time as HH:mm:ss (en_US: "11/21/26 22:34:35").
    static QString ReportTime(const QDateTime& now);
    // The one header of every message request.
    static QString RequestHeaders() { return QStringLiteral("Content-Type: application/x-www-form-urlencoded"); }

private:
    Decision Dispatch(const QString& body);
    Decision Report(const QDateTime& now);

    QString m_sessionID;
    QStringList m_queue;
    // Each installed exam ID followed by ",".
    QString m_installed;
};
