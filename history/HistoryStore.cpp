#include "history/HistoryStore.h"

#include "model/IO.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

#include <atomic>

namespace {

// Columns of an attempt row in the order every query here selects them.
const QString AttemptColumns = QStringLiteral(
    "a.id, a.exam_code, a.exam_name, a.exam_path, a.exam_digest, a.started, a.ended, a.seconds_used, "
    "a.extra_time, a.is_study, a.is_retake, a.obtained, a.required, a.maximum, a.passed");

// Schema steps: step n takes a file from version n to n + 1. A file only ever
// moves forward through every step in order, so a new column is a new step,
// never an edit of an old one.
const QList<QStringList> MigrationSteps {
    {
        QStringLiteral("CREATE TABLE attempt ("
                       "id INTEGER PRIMARY KEY, exam_code TEXT NOT NULL, exam_name TEXT NOT NULL, "
                       "exam_digest BLOB NOT NULL, started INTEGER NOT NULL, ended INTEGER NOT NULL, "
                       "seconds_used INTEGER NOT NULL, extra_time INTEGER NOT NULL, is_study INTEGER NOT NULL, "
                       "obtained INTEGER NOT NULL, required INTEGER NOT NULL, maximum INTEGER NOT NULL, "
                       "passed INTEGER NOT NULL)"),
        QStringLiteral("CREATE INDEX attempt_by_exam ON attempt (exam_code, started)"),
        QStringLiteral("CREATE TABLE attempt_item ("
                       "attempt_id INTEGER NOT NULL, position INTEGER NOT NULL, number INTEGER NOT NULL, "
                       "answer TEXT NOT NULL, key TEXT NOT NULL, is_correct INTEGER NOT NULL, "
                       "is_marked INTEGER NOT NULL, PRIMARY KEY (attempt_id, position)) WITHOUT ROWID"),
    },
    {
        QStringLiteral("ALTER TABLE attempt ADD COLUMN exam_path TEXT NOT NULL DEFAULT ''"),
        QStringLiteral("ALTER TABLE attempt ADD COLUMN is_retake INTEGER NOT NULL DEFAULT 0"),
    },
};
static_assert(HistoryStore::SchemaVersion == 2, "one migration step per schema version");

QDateTime FromMsecs(qint64 msecs)
{
    return QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC);
}

QString SqlText(const QSqlQuery& query)
{
    // SQLite's own words; Qt's driver text ("Unable to fetch row") adds nothing.
    const QSqlError error = query.lastError();
    return (error.databaseText().isEmpty() ? error.text() : error.databaseText()).trimmed();
}

// SQLite keeps a null QString as NULL, which the NOT NULL columns refuse.
QString NotNull(const QString& text)
{
    return text.isNull() ? QStringLiteral("") : text;
}

QString CsvField(const QString& value)
{
    if (!value.contains(QLatin1Char(',')) && !value.contains(QLatin1Char('"')) && !value.contains(QLatin1Char('\n'))
        && !value.contains(QLatin1Char('\r')))
        return value;
    QString quoted = value;
    quoted.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

AttemptSummary SummaryOf(const QSqlQuery& q)
{
    AttemptSummary s;
    s.id = q.value(0).toLongLong();
    s.examCode = q.value(1).toString();
    s.examName = q.value(2).toString();
    s.started = FromMsecs(q.value(5).toLongLong());
    s.ended = FromMsecs(q.value(6).toLongLong());
    s.secondsUsed = q.value(7).toInt();
    s.extraTimeTaken = q.value(8).toBool();
    s.isStudy = q.value(9).toBool();
    s.isRetake = q.value(10).toBool();
    s.obtained = qint16(q.value(11).toInt());
    s.required = qint16(q.value(12).toInt());
    s.maximum = qint16(q.value(13).toInt());
    s.passed = q.value(14).toBool();
    return s;
}

} // namespace

QString HistoryStore::DefaultPath()
{
    return CombinePath(GetSpecialFolder(QStringLiteral("$(ProgramFiles)")), QStringLiteral("Practorium/history.sqlite"));
}

HistoryStore::HistoryStore(const QString& path)
    : m_path(path)
{
    static std::atomic<int> serial { 0 };
    m_connection = QStringLiteral("practorium-history-%1").arg(++serial);
}

HistoryStore::~HistoryStore()
{
    if (QSqlDatabase::contains(m_connection)) {
        QSqlDatabase::database(m_connection, false).close();
        QSqlDatabase::removeDatabase(m_connection);
    }
}

bool HistoryStore::Fail(const QString& what, const QString& detail)
{
    if (m_state == State::Failed)
        return false;
    m_state = State::Failed;
    m_lastError = what + (detail.isEmpty() ? QStringLiteral(".") : QStringLiteral(": ") + detail + QLatin1Char('.'));
    if (QSqlDatabase::contains(m_connection)) {
        QSqlDatabase db = QSqlDatabase::database(m_connection, false);
        if (db.isOpen()) {
            QSqlQuery(db).exec(QStringLiteral("ROLLBACK"));
            db.close();
        }
    }
    if (m_onFailure)
        m_onFailure(m_lastError);
    return false;
}

bool HistoryStore::Open()
{
    if (m_state != State::Closed)
        return m_state == State::Open;
    const QString folder = QFileInfo(m_path).absolutePath();
    if (!QDir().mkpath(folder))
        return Fail(QStringLiteral("The history folder %1 could not be created").arg(folder), QString());

    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_connection);
    db.setDatabaseName(m_path);
    db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(m_busyTimeoutMs));
    const QString cannotUse = QStringLiteral("The history file %1 cannot be used").arg(m_path);
    if (!db.open())
        return Fail(cannotUse, db.lastError().databaseText().trimmed());

    QSqlQuery q(db);
    // Reading the version reads the file's header: a file that is not a
    // database fails here.
    if (!q.exec(QStringLiteral("PRAGMA user_version")) || !q.next())
        return Fail(cannotUse, SqlText(q));
    const int version = q.value(0).toInt();
    if (version > SchemaVersion)
        return Fail(QStringLiteral("The history file %1 was written by a newer version of Practorium").arg(m_path),
            QString());
    if (version == 0) {
        // Version 0 is a new, empty file; a database of someone else's with
        // tables of its own is left alone.
        if (!q.exec(QStringLiteral("SELECT count(*) FROM sqlite_master")) || !q.next())
            return Fail(cannotUse, SqlText(q));
        if (q.value(0).toInt() != 0)
            return Fail(QStringLiteral("The file %1 is not a Practorium history").arg(m_path), QString());
    }
    // A write-ahead log makes a commit one append instead of a journal file
    // written, synced and deleted; with synchronous=NORMAL a commit survives
    // a crash of the program and is only at risk from a power cut before the
    // next checkpoint. Readers and the other program's writer still take
    // turns through the busy timeout. A file on a read-only medium keeps its
    // journal mode: the write then fails in Record with its own message.
    q.exec(QStringLiteral("PRAGMA journal_mode = WAL"));
    q.exec(QStringLiteral("PRAGMA synchronous = NORMAL"));
    m_state = State::Open;
    return version == SchemaVersion || Migrate();
}

bool HistoryStore::Migrate()
{
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    QSqlQuery q(db);
    const QString cannotUpdate = QStringLiteral("The history file %1 could not be updated").arg(m_path);
    if (!q.exec(QStringLiteral("BEGIN IMMEDIATE")))
        return Fail(cannotUpdate, SqlText(q));
    // Another program may have migrated the file while this one waited.
    if (!q.exec(QStringLiteral("PRAGMA user_version")) || !q.next())
        return Fail(cannotUpdate, SqlText(q));
    const int version = q.value(0).toInt();
    if (version > SchemaVersion)
        return Fail(QStringLiteral("The history file %1 was written by a newer version of Practorium").arg(m_path),
            QString());
    for (int step = version; step < SchemaVersion; ++step)
        for (const QString& statement : MigrationSteps[step])
            if (!q.exec(statement))
                return Fail(cannotUpdate, SqlText(q));
    if (!q.exec(QStringLiteral("PRAGMA user_version = %1").arg(SchemaVersion)) || !q.exec(QStringLiteral("COMMIT")))
        return Fail(cannotUpdate, SqlText(q));
    return true;
}

qint64 HistoryStore::Record(const SittingResult& result)
{
    if (!Open())
        return 0;
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    QSqlQuery q(db);
    const QString cannotRecord = QStringLiteral("The attempt could not be recorded in %1").arg(m_path);
    // IMMEDIATE takes the write lock now, so two programs wait for each other
    // here rather than failing halfway through.
    if (!q.exec(QStringLiteral("BEGIN IMMEDIATE")))
        return Fail(cannotRecord, SqlText(q));
    q.prepare(QStringLiteral(
        "INSERT INTO attempt (exam_code, exam_name, exam_path, exam_digest, started, ended, seconds_used, "
        "extra_time, is_study, is_retake, obtained, required, maximum, passed) "
        "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"));
    const QVariantList values { NotNull(result.examCode), NotNull(result.examName), NotNull(result.examPath),
        result.examDigest.isNull() ? QByteArray("") : result.examDigest, result.started.toMSecsSinceEpoch(),
        result.ended.toMSecsSinceEpoch(), result.secondsUsed, int(result.extraTimeTaken), int(result.isStudy),
        int(result.isRetake), result.obtained, result.required, result.maximum, int(result.passed) };
    for (int i = 0; i < values.size(); ++i)
        q.bindValue(i, values[i]);
    if (!q.exec())
        return Fail(cannotRecord, SqlText(q));
    const qint64 id = q.lastInsertId().toLongLong();

    // Rows go in blocks of many per statement: executing a statement once
    // per item costs about as much as inserting the rows.
    constexpr qsizetype RowsPerBlock = 64;
    const auto insertFor = [&](qsizetype rows) {
        QSqlQuery statement(db);
        statement.prepare(QStringLiteral("INSERT INTO attempt_item (attempt_id, position, number, answer, key, "
                                         "is_correct, is_marked) VALUES ")
            + QStringList(rows, QStringLiteral("(?, ?, ?, ?, ?, ?, ?)")).join(QStringLiteral(", ")));
        return statement;
    };
    QSqlQuery block = insertFor(RowsPerBlock);
    for (qsizetype first = 0; first < result.items.size(); first += RowsPerBlock) {
        const qsizetype rows = std::min(RowsPerBlock, result.items.size() - first);
        QSqlQuery last;
        QSqlQuery& item = rows == RowsPerBlock ? block : (last = insertFor(rows));
        for (qsizetype row = 0; row < rows; ++row) {
            const SittingItemResult& r = result.items[first + row];
            const int at = int(row) * 7;
            item.bindValue(at, id);
            item.bindValue(at + 1, qint64(first + row));
            item.bindValue(at + 2, r.number);
            item.bindValue(at + 3, NotNull(r.answer));
            item.bindValue(at + 4, NotNull(r.key));
            item.bindValue(at + 5, int(r.isCorrect));
            item.bindValue(at + 6, int(r.isMarked));
        }
        if (!item.exec())
            return Fail(cannotRecord, SqlText(item));
    }
    if (!q.exec(QStringLiteral("COMMIT")))
        return Fail(cannotRecord, SqlText(q));
    return id;
}

QList<std::pair<QString, QString>> HistoryStore::Exams()
{
    QList<std::pair<QString, QString>> exams;
    if (!Open())
        return exams;
    QSqlQuery q(QSqlDatabase::database(m_connection, false));
    // SQLite takes the bare column of the row that gave max() to the group.
    if (!q.exec(QStringLiteral("SELECT exam_code, exam_name, max(started) FROM attempt GROUP BY exam_code "
                               "ORDER BY max(started) DESC, exam_code"))) {
        Fail(QStringLiteral("The history file %1 cannot be read").arg(m_path), SqlText(q));
        return {};
    }
    while (q.next())
        exams.append({ q.value(0).toString(), q.value(1).toString() });
    return exams;
}

QList<AttemptSummary> HistoryStore::Attempts(const QString& examCode)
{
    QList<AttemptSummary> attempts;
    if (!Open())
        return attempts;
    QSqlQuery q(QSqlDatabase::database(m_connection, false));
    q.prepare(QStringLiteral("SELECT %1, count(i.position), count(i.position) - total(i.is_correct) "
                             "FROM attempt a LEFT JOIN attempt_item i ON i.attempt_id = a.id "
                             "WHERE a.exam_code = ? GROUP BY a.id ORDER BY a.started, a.id")
                  .arg(AttemptColumns));
    q.addBindValue(examCode);
    if (!q.exec()) {
        Fail(QStringLiteral("The history file %1 cannot be read").arg(m_path), SqlText(q));
        return {};
    }
    while (q.next()) {
        AttemptSummary s = SummaryOf(q);
        s.itemCount = q.value(15).toInt();
        s.missedCount = q.value(16).toInt();
        attempts.append(s);
    }
    return attempts;
}

std::optional<SittingResult> HistoryStore::ReadAttempt(const QString& whereClause, const QVariant& value)
{
    if (!Open())
        return std::nullopt;
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    const QString cannotRead = QStringLiteral("The history file %1 cannot be read").arg(m_path);
    QSqlQuery q(db);
    q.prepare(QStringLiteral("SELECT %1 FROM attempt a WHERE %2 ORDER BY a.started DESC, a.id DESC LIMIT 1")
                  .arg(AttemptColumns, whereClause));
    q.addBindValue(value);
    if (!q.exec()) {
        Fail(cannotRead, SqlText(q));
        return std::nullopt;
    }
    if (!q.next())
        return std::nullopt;
    const AttemptSummary s = SummaryOf(q);
    SittingResult result;
    result.examCode = s.examCode;
    result.examName = s.examName;
    result.examPath = q.value(3).toString();
    result.examDigest = q.value(4).toByteArray();
    result.started = s.started;
    result.ended = s.ended;
    result.secondsUsed = s.secondsUsed;
    result.extraTimeTaken = s.extraTimeTaken;
    result.isStudy = s.isStudy;
    result.isRetake = s.isRetake;
    result.obtained = s.obtained;
    result.required = s.required;
    result.maximum = s.maximum;
    result.passed = s.passed;

    QSqlQuery items(db);
    items.setForwardOnly(true);
    items.prepare(QStringLiteral("SELECT number, answer, key, is_correct, is_marked FROM attempt_item "
                                 "WHERE attempt_id = ? ORDER BY position"));
    items.addBindValue(s.id);
    if (!items.exec()) {
        Fail(cannotRead, SqlText(items));
        return std::nullopt;
    }
    while (items.next())
        result.items.append({ qint16(items.value(0).toInt()), items.value(1).toString(), items.value(2).toString(),
            items.value(3).toBool(), items.value(4).toBool() });
    return result;
}

std::optional<SittingResult> HistoryStore::Attempt(qint64 id)
{
    return ReadAttempt(QStringLiteral("a.id = ?"), id);
}

std::optional<SittingResult> HistoryStore::LastAttempt(const QString& examCode)
{
    return ReadAttempt(QStringLiteral("a.exam_code = ? AND a.is_study = 0"), examCode);
}

bool HistoryStore::DeleteAttempt(qint64 id)
{
    return WriteAll(QStringLiteral("The attempt could not be deleted from %1").arg(m_path),
        { QStringLiteral("DELETE FROM attempt_item WHERE attempt_id = ?"),
            QStringLiteral("DELETE FROM attempt WHERE id = ?") },
        id);
}

bool HistoryStore::ClearExam(const QString& examCode)
{
    return WriteAll(QStringLiteral("The history of %1 could not be cleared from %2").arg(examCode, m_path),
        { QStringLiteral("DELETE FROM attempt_item WHERE attempt_id IN (SELECT id FROM attempt WHERE exam_code = ?)"),
            QStringLiteral("DELETE FROM attempt WHERE exam_code = ?") },
        examCode);
}

bool HistoryStore::WriteAll(const QString& failure, const QStringList& statements, const QVariant& value)
{
    if (!Open())
        return false;
    QSqlQuery q(QSqlDatabase::database(m_connection, false));
    if (!q.exec(QStringLiteral("BEGIN IMMEDIATE")))
        return Fail(failure, SqlText(q));
    for (const QString& statement : statements) {
        q.prepare(statement);
        q.addBindValue(value);
        if (!q.exec())
            return Fail(failure, SqlText(q));
    }
    return q.exec(QStringLiteral("COMMIT")) || Fail(failure, SqlText(q));
}

QByteArray HistoryStore::ExportCsv()
{
    QString csv = QStringLiteral("Attempt,Exam code,Exam name,Started,Ended,Seconds used,Extra time,Mode,"
                                 "Obtained,Required,Maximum,Result,Items,Missed\r\n");
    for (const auto& [code, name] : Exams()) {
        for (const AttemptSummary& a : Attempts(code)) {
            const QString mode = a.isStudy ? QStringLiteral("Study")
                : a.isRetake               ? QStringLiteral("Retake")
                                           : QStringLiteral("Exam");
            const QStringList fields { QString::number(a.id), CsvField(a.examCode), CsvField(a.examName),
                a.started.toString(Qt::ISODate), a.ended.toString(Qt::ISODate), QString::number(a.secondsUsed),
                a.extraTimeTaken ? QStringLiteral("Yes") : QStringLiteral("No"), mode, QString::number(a.obtained),
                QString::number(a.required), QString::number(a.maximum),
                a.passed ? QStringLiteral("Pass") : QStringLiteral("Fail"), QString::number(a.itemCount),
                QString::number(a.missedCount) };
            csv += fields.join(QLatin1Char(',')) + QStringLiteral("\r\n");
        }
    }
    return csv.toUtf8();
}

bool HistoryStore::ExportCsv(const QString& filePath, QString* error)
{
    const QByteArray csv = ExportCsv();
    QSaveFile file(filePath);
    if (!file.open(QIODevice::WriteOnly) || file.write(csv) != csv.size() || !file.commit()) {
        if (error)
            *error = file.errorString();
        return false;
    }
    return true;
}
