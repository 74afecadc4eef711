#include "tools/practorium-courier/CourierStore.h"

#include "model/Error.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QPasswordDigestor>
#include <QRandomGenerator>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include <array>

namespace {

// About 0.1 s per digest on a current desktop; kept per account, so raising
// it later leaves older digests readable.
constexpr int DigestIterations = 100000;
constexpr int DigestBytes = 32;
constexpr int SaltBytes = 16;

const char* const Schema[] = {
    "PRAGMA foreign_keys = ON",
    "CREATE TABLE IF NOT EXISTS accounts ("
    " id INTEGER PRIMARY KEY,"
    " user TEXT NOT NULL UNIQUE COLLATE NOCASE,"
    " salt BLOB NOT NULL, digest BLOB NOT NULL, iterations INTEGER NOT NULL)",
    "CREATE TABLE IF NOT EXISTS purchases ("
    " account INTEGER NOT NULL REFERENCES accounts(id),"
    " exam TEXT NOT NULL,"
    " UNIQUE (account, exam))",
    "CREATE TABLE IF NOT EXISTS sessions ("
    " id TEXT PRIMARY KEY,"
    " account INTEGER NOT NULL REFERENCES accounts(id),"
    " created INTEGER NOT NULL)",
    "CREATE TABLE IF NOT EXISTS reports ("
    " id INTEGER PRIMARY KEY,"
    " account INTEGER NOT NULL REFERENCES accounts(id),"
    " session TEXT NOT NULL, received TEXT NOT NULL, list TEXT NOT NULL, time TEXT NOT NULL)",
};

QByteArray RandomBytes(int count)
{
    QByteArray bytes(count, '\0');
    for (char& byte : bytes)
        byte = char(QRandomGenerator::system()->bounded(256));
    return bytes;
}

QByteArray Digest(const QString& password, const QByteArray& salt, int iterations)
{
    return QPasswordDigestor::deriveKeyPbkdf2(QCryptographicHash::Sha256, password.toUtf8(), salt, iterations, DigestBytes);
}

// Compares every byte whatever the first difference, so the time taken says
// nothing about how much of a guess was right.
bool SameDigest(const QByteArray& a, const QByteArray& b)
{
    if (a.size() != b.size())
        return false;
    unsigned char difference = 0;
    for (qsizetype i = 0; i < a.size(); ++i)
        difference |= static_cast<unsigned char>(a.at(i) ^ b.at(i));
    return difference == 0;
}

QSqlQuery Run(const QString& connection, const QString& source, const QString& sql, const QVariantList& values = {})
{
    QSqlQuery query(QSqlDatabase::database(connection, false));
    if (!query.prepare(sql))
        Error::Raise(ErrorNumber::InvalidCall, source, query.lastError().text());
    for (const QVariant& value : values)
        query.addBindValue(value);
    if (!query.exec())
        Error::Raise(ErrorNumber::InvalidCall, source, query.lastError().text());
    return query;
}

} // namespace

CourierStore::CourierStore(const QString& path)
    : m_connection(QStringLiteral("courier-%1").arg(quintptr(this)))
{
    const QString source = QStringLiteral("CourierStore::Open()");
    const QString folder = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(folder))
        Error::Raise(ErrorNumber::InvalidCall, source, QStringLiteral("cannot create the folder %1").arg(folder));
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_connection);
        db.setDatabaseName(path);
        // The admin commands may write while the server runs.
        db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=5000"));
        if (!db.open()) {
            const QString problem = db.lastError().text();
            db = QSqlDatabase();
            QSqlDatabase::removeDatabase(m_connection);
            Error::Raise(ErrorNumber::InvalidCall, source, path + QStringLiteral(": ") + problem);
        }
    }
    try {
        for (const char* statement : Schema)
            Run(m_connection, source, QString::fromLatin1(statement));
    } catch (...) {
        QSqlDatabase::removeDatabase(m_connection);
        throw;
    }
}

CourierStore::~CourierStore()
{
    QSqlDatabase::database(m_connection, false).close();
    QSqlDatabase::removeDatabase(m_connection);
}

void CourierStore::SetPassword(const QString& user, const QString& password)
{
    const QString source = QStringLiteral("CourierStore::SetPassword()");
    if (user.isEmpty())
        Error::Raise(ErrorNumber::InvalidCall, source, QStringLiteral("the user name is empty"));
    const QByteArray salt = RandomBytes(SaltBytes);
    Run(m_connection, source,
        QStringLiteral("INSERT INTO accounts (user, salt, digest, iterations) VALUES (?, ?, ?, ?)"
                       " ON CONFLICT (user) DO UPDATE SET salt = excluded.salt, digest = excluded.digest,"
                       " iterations = excluded.iterations"),
        { user, salt, Digest(password, salt, DigestIterations), DigestIterations });
}

void CourierStore::Grant(const QString& user, const QString& examId)
{
    const QString source = QStringLiteral("CourierStore::Grant()");
    QSqlQuery account = Run(m_connection, source, QStringLiteral("SELECT id FROM accounts WHERE user = ?"), { user });
    if (!account.next())
        Error::Raise(ErrorNumber::InvalidCall, source, QStringLiteral("no account %1").arg(user));
    Run(m_connection, source, QStringLiteral("INSERT OR IGNORE INTO purchases (account, exam) VALUES (?, ?)"),
        { account.value(0), examId });
}

std::optional<qint64> CourierStore::Authenticate(const QString& user, const QString& password)
{
    QSqlQuery query = Run(m_connection, QStringLiteral("CourierStore::Authenticate()"),
        QStringLiteral("SELECT id, salt, digest, iterations FROM accounts WHERE user = ?"), { user });
    if (!query.next()) {
        Digest(password, QByteArray(SaltBytes, '\0'), DigestIterations);
        return std::nullopt;
    }
    const int iterations = query.value(3).toInt();
    if (iterations < 1)
        return std::nullopt;
    if (!SameDigest(Digest(password, query.value(1).toByteArray(), iterations), query.value(2).toByteArray()))
        return std::nullopt;
    return query.value(0).toLongLong();
}

QString CourierStore::OpenSession(qint64 account)
{
    std::array<quint32, 4> words {};
    QRandomGenerator::system()->fillRange(words.data(), words.size());
    QString id;
    for (const quint32 word : words)
        id += QStringLiteral("%1").arg(word, 8, 16, QLatin1Char('0'));
    Run(m_connection, QStringLiteral("CourierStore::OpenSession()"),
        QStringLiteral("INSERT INTO sessions (id, account, created) VALUES (?, ?, ?)"),
        { id, account, QDateTime::currentSecsSinceEpoch() });
    return id;
}

std::optional<qint64> CourierStore::SessionAccount(const QString& sessionId)
{
    QSqlQuery query = Run(m_connection, QStringLiteral("CourierStore::SessionAccount()"),
        QStringLiteral("SELECT account FROM sessions WHERE id = ? AND created > ?"),
        { sessionId, QDateTime::currentSecsSinceEpoch() - SessionSeconds });
    if (!query.next())
        return std::nullopt;
    return query.value(0).toLongLong();
}

QStringList CourierStore::BoughtExams(qint64 account)
{
    QSqlQuery query = Run(m_connection, QStringLiteral("CourierStore::BoughtExams()"),
        QStringLiteral("SELECT exam FROM purchases WHERE account = ? ORDER BY rowid"), { account });
    QStringList exams;
    while (query.next())
        exams.append(query.value(0).toString());
    return exams;
}

void CourierStore::RecordReport(qint64 account, const QString& sessionId, const QString& list, const QString& time)
{
    Run(m_connection, QStringLiteral("CourierStore::RecordReport()"),
        QStringLiteral("INSERT INTO reports (account, session, received, list, time) VALUES (?, ?, ?, ?, ?)"),
        { account, sessionId, QDateTime::currentDateTimeUtc().toString(Qt::ISODate), list, time });
}

QList<CourierStore::Report> CourierStore::Reports()
{
    QSqlQuery query = Run(m_connection, QStringLiteral("CourierStore::Reports()"),
        QStringLiteral("SELECT r.received, a.user, r.list, r.time FROM reports r JOIN accounts a ON a.id = r.account"
                       " ORDER BY r.id"));
    QList<Report> reports;
    while (query.next()) {
        reports.append(Report { query.value(0).toString(), query.value(1).toString(), query.value(2).toString(),
            query.value(3).toString() });
    }
    return reports;
}
