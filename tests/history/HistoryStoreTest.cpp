#include "common/TestUtil.h"
#include "history/HistoryStore.h"

#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

namespace {

// An attempt of `items` items where every third is answered wrongly and
// every seventh left unanswered.
SittingResult MakeAttempt(const QString& code, int items, qint16 obtained, qint64 startSecs)
{
    SittingResult r;
    r.examCode = code;
    r.examName = "Name of " + code;
    r.examPath = "/exams/" + code + "/" + code + ".exam";
    r.examDigest = QByteArray(32, char(0xA5));
    r.started = QDateTime::fromSecsSinceEpoch(startSecs, Qt::UTC);
    r.ended = r.started.addSecs(3723);
    r.secondsUsed = 3723;
    r.obtained = obtained;
    r.required = 700;
    r.maximum = 1000;
    r.passed = obtained >= 700;
    for (int i = 1; i <= items; ++i) {
        const QString key = i % 2 ? "1,3" : "2";
        const QString answer = i % 7 == 0 ? QString() : i % 3 == 0 ? "4" : key;
        r.items.append({ qint16(i), answer, key, answer == key, i % 5 == 0 });
    }
    return r;
}

void CompareResults(const SittingResult& got, const SittingResult& want)
{
    QCOMPARE(got.examCode, want.examCode);
    QCOMPARE(got.examName, want.examName);
    QCOMPARE(got.examPath, want.examPath);
    QCOMPARE(got.examDigest, want.examDigest);
    QCOMPARE(got.started, want.started);
    QCOMPARE(got.ended, want.ended);
    QCOMPARE(got.secondsUsed, want.secondsUsed);
    QCOMPARE(got.extraTimeTaken, want.extraTimeTaken);
    QCOMPARE(got.isStudy, want.isStudy);
    QCOMPARE(got.isRetake, want.isRetake);
    QCOMPARE(got.obtained, want.obtained);
    QCOMPARE(got.required, want.required);
    QCOMPARE(got.maximum, want.maximum);
    QCOMPARE(got.passed, want.passed);
    QCOMPARE(got.items.size(), want.items.size());
    for (qsizetype i = 0; i < got.items.size(); ++i) {
        QCOMPARE(got.items[i].number, want.items[i].number);
        QCOMPARE(got.items[i].answer, want.items[i].answer.isNull() ? QString("") : want.items[i].answer);
        QCOMPARE(got.items[i].key, want.items[i].key);
        QCOMPARE(got.items[i].isCorrect, want.items[i].isCorrect);
        QCOMPARE(got.items[i].isMarked, want.items[i].isMarked);
    }
}

// Runs SQL on the file through a connection of the test's own.
bool RunSql(const QString& path, const QStringList& statements)
{
    bool ok = true;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "test-side");
        db.setDatabaseName(path);
        ok = db.open();
        QSqlQuery q(db);
        for (const QString& statement : statements)
            ok = ok && q.exec(statement);
        db.close();
    }
    QSqlDatabase::removeDatabase("test-side");
    return ok;
}

} // namespace

class HistoryStoreTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_path = m_dir->filePath("data/Practorium/history.sqlite");
    }

    void roundTrip_data()
    {
        QTest::addColumn<SittingResult>("attempt");
        SittingResult exam = MakeAttempt("NET-1", 40, 640, 1'800'000'000);
        exam.extraTimeTaken = true;
        QTest::newRow("exam mode, extra time") << exam;
        SittingResult retake = MakeAttempt("NET-1", 3, 1000, 1'800'000'000);
        retake.isRetake = true;
        retake.examName = QString::fromUtf8("Réseau, \"avancé\" 日本");
        retake.examDigest.clear();
        QTest::newRow("retake, unicode name, no digest") << retake;
        SittingResult study = MakeAttempt("OS-2", 0, 0, 0);
        study.isStudy = true;
        study.examPath = QString();
        QTest::newRow("study mode without items or path") << study;
    }

    void roundTrip()
    {
        QFETCH(SittingResult, attempt);
        qint64 id = 0;
        {
            HistoryStore writer(m_path);
            id = writer.Record(attempt);
            QVERIFY2(id > 0, qPrintable(writer.LastError()));
        }
        // Read back through a new store, as the next start of the program does.
        HistoryStore reader(m_path);
        const std::optional<SittingResult> back = reader.Attempt(id);
        QVERIFY(back);
        CompareResults(*back, attempt);
        const QList<AttemptSummary> listed = reader.Attempts(attempt.examCode);
        QCOMPARE(listed.size(), 1);
        QCOMPARE(listed[0].itemCount, attempt.items.size());
        QCOMPARE(listed[0].missedCount, MissedNumbers(attempt).size());
        QCOMPARE(reader.Attempt(id + 1).has_value(), false);
    }

    // Which attempt is the last, what deleting and clearing leave.
    void attemptsOfAnExam()
    {
        HistoryStore store(m_path);
        const qint64 first = store.Record(MakeAttempt("A", 5, 300, 1000));
        const qint64 other = store.Record(MakeAttempt("B", 5, 900, 3500));
        SittingResult lastExam = MakeAttempt("A", 6, 800, 2000);
        lastExam.isRetake = true;
        const qint64 last = store.Record(lastExam);
        SittingResult study = MakeAttempt("A", 7, 100, 3000);
        study.isStudy = true;
        store.Record(study);
        // Recorded out of order: listed by start time.
        const qint64 earliest = store.Record(MakeAttempt("A", 5, 200, 500));
        QVERIFY(first && other && last && earliest);

        // The exam sat last comes first.
        QCOMPARE(store.Exams(), (QList<std::pair<QString, QString>> { { "B", "Name of B" }, { "A", "Name of A" } }));
        QList<qint16> scores;
        for (const AttemptSummary& a : store.Attempts("A"))
            scores.append(a.obtained);
        QCOMPARE(scores, (QList<qint16> { 200, 300, 800, 100 }));
        QCOMPARE(store.LastAttempt("A")->obtained, 800); // study does not count, a retake does
        QVERIFY(!store.LastAttempt("C"));

        QVERIFY(store.DeleteAttempt(last));
        QCOMPARE(store.LastAttempt("A")->obtained, 300);
        QVERIFY(!store.Attempt(last));
        QVERIFY(store.ClearExam("A"));
        QVERIFY(store.Attempts("A").isEmpty());
        QCOMPARE(store.Attempts("B").size(), 1);
        QCOMPARE(store.Attempt(other)->items.size(), 5);
        QVERIFY(store.IsAvailable());
    }

    void migratesOlderSchema()
    {
        // The first schema, as the first recording version of the program
        // wrote it, with one attempt.
        QDir().mkpath(QFileInfo(m_path).path());
        QVERIFY(RunSql(m_path,
            { "CREATE TABLE attempt (id INTEGER PRIMARY KEY, exam_code TEXT NOT NULL, exam_name TEXT NOT NULL, "
              "exam_digest BLOB NOT NULL, started INTEGER NOT NULL, ended INTEGER NOT NULL, seconds_used INTEGER "
              "NOT NULL, extra_time INTEGER NOT NULL, is_study INTEGER NOT NULL, obtained INTEGER NOT NULL, "
              "required INTEGER NOT NULL, maximum INTEGER NOT NULL, passed INTEGER NOT NULL)",
                "CREATE INDEX attempt_by_exam ON attempt (exam_code, started)",
                "CREATE TABLE attempt_item (attempt_id INTEGER NOT NULL, position INTEGER NOT NULL, number INTEGER "
                "NOT NULL, answer TEXT NOT NULL, key TEXT NOT NULL, is_correct INTEGER NOT NULL, is_marked INTEGER "
                "NOT NULL, PRIMARY KEY (attempt_id, position)) WITHOUT ROWID",
                "INSERT INTO attempt VALUES (7, 'OLD-1', 'Old', x'01', 1000, 2000, 1, 0, 0, 750, 700, 1000, 1)",
                "INSERT INTO attempt_item VALUES (7, 0, 3, '2', '1', 0, 1)", "PRAGMA user_version = 1" }));
        HistoryStore store(m_path);
        const std::optional<SittingResult> old = store.Attempt(7);
        QVERIFY2(old, qPrintable(store.LastError()));
        QCOMPARE(old->obtained, 750);
        QCOMPARE(old->examPath, QString(""));
        QCOMPARE(old->isRetake, false);
        QCOMPARE(MissedNumbers(*old), QList<qint16> { 3 });
        QVERIFY(store.Record(MakeAttempt("OLD-1", 2, 800, 3000)) > 0);
        QCOMPARE(store.Attempts("OLD-1").size(), 2);
    }

    // A file the store cannot use: it says so once, records nothing, and
    // leaves the file's bytes exactly as they were.
    void unusableFile_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("message");
        QTest::newRow("not a database") << "garbage" << "cannot be used";
        QTest::newRow("newer schema") << "newer" << "newer version of Practorium";
        QTest::newRow("someone else's database") << "foreign" << "is not a Practorium history";
        QTest::newRow("damaged pages") << "damaged" << "could not be recorded";
        QTest::newRow("locked by another program") << "locked" << "database is locked";
        QTest::newRow("read-only file") << "readonly" << "could not be recorded";
        QTest::newRow("folder cannot be made") << "blocked" << "could not be created";
    }

    void unusableFile()
    {
        QFETCH(QString, kind);
        QFETCH(QString, message);
        if (kind == "readonly" && geteuid() == 0)
            QSKIP("the superuser writes to read-only files");
        if (kind == "blocked") {
            QDir().mkpath(m_dir->filePath("data"));
            QFile blocker(m_dir->filePath("data/Practorium"));
            QVERIFY(blocker.open(QIODevice::WriteOnly));
        } else if (kind == "garbage") {
            QDir().mkpath(QFileInfo(m_path).path());
            QFile file(m_path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(QByteArray(8192, 'x'));
        } else if (kind == "newer" || kind == "foreign") {
            QDir().mkpath(QFileInfo(m_path).path());
            QVERIFY(RunSql(m_path,
                { "CREATE TABLE notes (text TEXT)", "INSERT INTO notes VALUES ('keep me')",
                    kind == "newer" ? "PRAGMA user_version = 3" : "SELECT 1" }));
        } else {
            HistoryStore earlier(m_path);
            for (int i = 0; i < 3; ++i)
                QVERIFY(earlier.Record(MakeAttempt("A", 200, 500, 1000 + i)) > 0);
        }
        if (kind == "damaged") {
            // Page 2 is the first table's root: overwrite it.
            QFile file(m_path);
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.seek(4096));
            file.write(QByteArray(4096, char(0xFF)));
        }
        if (kind == "readonly")
            QVERIFY(QFile::setPermissions(m_path, QFile::ReadOwner));

        std::unique_ptr<HistoryStore> holder;
        QSqlDatabase other;
        if (kind == "locked") {
            other = QSqlDatabase::addDatabase("QSQLITE", "other-program");
            other.setDatabaseName(m_path);
            QVERIFY(other.open());
            QVERIFY(QSqlQuery(other).exec("BEGIN EXCLUSIVE"));
        }
        const QByteArray before = TestUtil::ReadAll(m_path);

        HistoryStore store(m_path);
        store.SetBusyTimeout(0);
        QStringList reported;
        store.SetFailureHandler([&](const QString& text) { reported.append(text); });
        QCOMPARE(store.Record(MakeAttempt("A", 10, 500, 9000)), 0);
        QCOMPARE(store.Record(MakeAttempt("A", 10, 500, 9001)), 0);
        store.Attempts("A");
        QVERIFY(!store.DeleteAttempt(1));
        QVERIFY(!store.IsAvailable());
        QCOMPARE(reported.size(), 1);
        QVERIFY2(reported[0].contains(message), qPrintable(reported[0]));
        QCOMPARE(store.LastError(), reported[0]);
        QCOMPARE(TestUtil::ReadAll(m_path), before);

        if (kind == "locked") {
            QVERIFY(QSqlQuery(other).exec("COMMIT"));
            other.close();
            other = QSqlDatabase();
            QSqlDatabase::removeDatabase("other-program");
            QCOMPARE(HistoryStore(m_path).Attempts("A").size(), 3); // nothing was lost to the failed writes
        }
        if (kind == "newer" || kind == "foreign")
            QVERIFY(RunSql(m_path, { "SELECT text FROM notes" }));
    }

    // Two programs open on one file both record, whichever opened it first.
    void twoWriters()
    {
        HistoryStore first(m_path);
        HistoryStore second(m_path);
        QVERIFY(first.Open() && second.Open());
        QVERIFY(first.Record(MakeAttempt("A", 50, 100, 1)) > 0);
        QVERIFY(second.Record(MakeAttempt("A", 50, 200, 2)) > 0);
        QVERIFY(first.Record(MakeAttempt("A", 50, 300, 3)) > 0);
        QCOMPARE(second.Attempts("A").size(), 3);
        QCOMPARE(first.LastAttempt("A")->obtained, 300);
    }

    void csvQuoting_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("field");
        QTest::newRow("plain") << "Networking" << "Networking";
        QTest::newRow("comma") << "Routing, switching" << "\"Routing, switching\"";
        QTest::newRow("quotes doubled") << "The \"hard\" one" << "\"The \"\"hard\"\" one\"";
        QTest::newRow("line break") << "Two\nlines" << "\"Two\nlines\"";
        QTest::newRow("carriage return") << "A\rB" << "\"A\rB\"";
        QTest::newRow("empty") << "" << "";
    }

    void csvQuoting()
    {
        QFETCH(QString, name);
        QFETCH(QString, field);
        HistoryStore store(m_path);
        SittingResult r = MakeAttempt("NET-1", 7, 640, 1'800'000'000);
        r.examName = name;
        r.extraTimeTaken = true;
        const qint64 id = store.Record(r);
        const QString csv = QString::fromUtf8(store.ExportCsv());
        QVERIFY(csv.startsWith("Attempt,Exam code,Exam name,Started,Ended,Seconds used,Extra time,Mode,Obtained,"
                               "Required,Maximum,Result,Items,Missed\r\n"));
        QCOMPARE(csv.section("\r\n", 1),
            QString::number(id) + ",NET-1," + field
                + ",2027-01-15T08:00:00Z,2027-01-15T09:02:03Z,3723,Yes,Exam,640,700,1000,Fail,7,3\r\n");
    }

    void exportToFile()
    {
        HistoryStore store(m_path);
        store.Record(MakeAttempt("A", 3, 800, 1000));
        const QString target = m_dir->filePath("out.csv");
        QString error;
        QVERIFY(store.ExportCsv(target, &error));
        QCOMPARE(TestUtil::ReadAll(target), store.ExportCsv());
        QVERIFY(!store.ExportCsv(m_dir->filePath("missing/out.csv"), &error));
        QVERIFY(!error.isEmpty());
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_path;
};

QTEST_GUILESS_MAIN(HistoryStoreTest)
#include "HistoryStoreTest.moc"
