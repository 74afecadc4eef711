#pragma once

#include "model/SittingResult.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <optional>

// One recorded attempt as the History window lists it: the sitting's figures
// without its items.
struct AttemptSummary
{
    qint64 id = 0;
    QString examCode;
    QString examName;
    QDateTime started;
    QDateTime ended;
    qint32 secondsUsed = 0;
    bool extraTimeTaken = false;
    bool isStudy = false;
    bool isRetake = false;
    qint16 obtained = 0;
    qint16 required = 0;
    qint16 maximum = 0;
    bool passed = false;
    qint32 itemCount = 0;
    qint32 missedCount = 0; // answered wrongly or left unanswered
};

// The attempt history: every recorded sitting in one SQLite file, by default
// $XDG_DATA_HOME/Practorium/history.sqlite.
//
// The file is opened on first use. Each write is one transaction, so a
// failure leaves the file as it was before the write. A file the store cannot
// use (damaged, read-only, locked by another program for longer than the busy
// timeout, on a full disk, or written by a newer version of the program) is
// never changed, deleted or recreated: the store reports the failure once
// through the failure handler and from then on answers as an empty history
// and records nothing, so a sitting always goes on. Two programs may share
// the file: writes take the write lock at their start and wait for each other
// up to the busy timeout.
class HistoryStore
{
public:
    // The schema this program writes (PRAGMA user_version). A file with a
    // higher version is left alone; a lower one is migrated step by step.
    static constexpr int SchemaVersion = 2;

    static QString DefaultPath();

    explicit HistoryStore(const QString& path = DefaultPath());
    ~HistoryStore();
    HistoryStore(const HistoryStore&) = delete;
    HistoryStore& operator=(const HistoryStore&) = delete;

    QString Path() const { return m_path; }
    // How long a write waits for another program's lock, in milliseconds.
    void SetBusyTimeout(int milliseconds) { m_busyTimeoutMs = milliseconds; }
    // Called once, with a sentence saying what went wrong, when the store
    // becomes unavailable.
    void SetFailureHandler(std::function<void(const QString&)> handler) { m_onFailure = std::move(handler); }

    // Opens the file when it is not open yet, creating or migrating the
    // schema; false when the history is unavailable.
    bool Open();
    bool IsAvailable() const { return m_state != State::Failed; }
    // Why the store became unavailable; empty while it is available.
    QString LastError() const { return m_lastError; }

    // Records an ended sitting with its items; the new attempt's id, or 0
    // when it could not be recorded.
    qint64 Record(const SittingResult& result);

    // Codes and names of the exams with recorded attempts, the exam sat most
    // recently first; the name is the one of its latest attempt.
    QList<std::pair<QString, QString>> Exams();
    // The exam's attempts, oldest first.
    QList<AttemptSummary> Attempts(const QString& examCode);
    std::optional<SittingResult> Attempt(qint64 id);
    // The exam's latest attempt sat in exam mode (a retake counts, study does
    // not), with its items.
    std::optional<SittingResult> LastAttempt(const QString& examCode);

    bool DeleteAttempt(qint64 id);
    bool ClearExam(const QString& examCode);

    // Every attempt, one line each, as comma-separated values (RFC 4180:
    // CRLF line ends, fields with a comma, quote or line break quoted, quotes
    // doubled) under a header line. Times are UTC in ISO 8601.
    QByteArray ExportCsv();
    // Writes ExportCsv() to `filePath` through a temporary file, so a failed
    // write leaves an existing file unchanged; false with `error` set on
    // failure.
    bool ExportCsv(const QString& filePath, QString* error);

private:
    enum class State { Closed, Open, Failed };

    // `what` is a sentence without its full stop; `detail` is SQLite's reason.
    bool Fail(const QString& what, const QString& detail);
    // Runs `statements`, each with `value` bound, in one write transaction;
    // false (after Fail with `failure`) when any of them fails.
    bool WriteAll(const QString& failure, const QStringList& statements, const QVariant& value);
    bool Migrate();
    std::optional<SittingResult> ReadAttempt(const QString& whereClause, const QVariant& value);

    QString m_path;
    QString m_connection;
    State m_state = State::Closed;
    int m_busyTimeoutMs = 5000;
    QString m_lastError;
    std::function<void(const QString&)> m_onFailure;
};
