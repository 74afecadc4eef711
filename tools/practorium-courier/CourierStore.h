#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// The server's state in one SQLite file: accounts, the exams each bought,
// sessions and the REPORTs received. Passwords are kept only as salted
// PBKDF2-HMAC-SHA256 digests. Failures raise an Error whose source is the
// operation ("CourierStore::Grant()").
class CourierStore
{
public:
    // A session is good for this long after LOGIN, long enough for a slow
    // download of many packs.
    static constexpr qint64 SessionSeconds = 24 * 60 * 60;

    struct Report
    {
        QString Received; // UTC, ISO 8601, when the server got it
        QString User;
        QString List;     // as sent: exam IDs joined by ","
        QString Time;     // as sent: the client's local date and time
    };

    // Opens the database file, creating it and its tables when missing.
    explicit CourierStore(const QString& path);
    ~CourierStore();
    CourierStore(const CourierStore&) = delete;
    CourierStore& operator=(const CourierStore&) = delete;

    // Creates the account, or gives an existing one a new password. User
    // names compare without regard to ASCII letter case.
    void SetPassword(const QString& user, const QString& password);
    // Records that the account bought the exam; granting twice is harmless.
    void Grant(const QString& user, const QString& examId);

    // The account whose password this is, or nothing. An unknown user costs
    // the same digest as a known one, so timing does not tell them apart.
    std::optional<qint64> Authenticate(const QString& user, const QString& password);
    // A new session of the account: 32 hexadecimal digits from the system's
    // random source.
    QString OpenSession(qint64 account);
    // The account of a session that exists and has not expired, or nothing.
    std::optional<qint64> SessionAccount(const QString& sessionId);

    // The account's exams in the order they were granted.
    QStringList BoughtExams(qint64 account);
    void RecordReport(qint64 account, const QString& sessionId, const QString& list, const QString& time);
    QList<Report> Reports();

private:
    QString m_connection;
};
