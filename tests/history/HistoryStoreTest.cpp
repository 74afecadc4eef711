#include "common/TestUtil.h"
#include "history/HistoryStore.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <sys/resource.h>
#include <unistd.h>

namespace {

// Items 1..n: every third answered wrongly, every seventh left unanswered.
SittingResult MakeAttempt(
    const QString& code, int items, qint16 obtained, qint64 startSecs, bool isRetake = false, bool isStudy = false)
{
    SittingResult r { code, "Name of " + code, "/exams/" + code + ".exam", QByteArray(32, char(0xA5)),
        QDateTime::fromSecsSinceEpoch(startSecs, Qt::UTC), QDateTime::fromSecsSinceEpoch(startSecs + 3723, Qt::UTC),
        3723, false, isStudy, isRetake, obtained, 700, 1000, obtained >= 700, {} };
    for (int i = 1; i <= items; ++i) {
        const QString key = i % 2 ? "1,3" : "2";
        const QString answer = i % 7 == 0 ? QString() : i % 3 == 0 ? "4" : key;
        r.items.append({ qint16(i), answer, key, answer == key, i % 5 == 0 });
    }
    return r;
}

// Every field as text, so one comparison shows the first difference.
QStringList Fields(const SittingResult& r)
{
    QStringList f { r.examCode, r.examName, r.examPath, r.examDigest.toHex(), r.started.toString(Qt::ISODateWithMs),
        r.ended.toString(Qt::ISODateWithMs) };
    for (int n : { r.secondsUsed, int(r.extraTimeTaken), int(r.isStudy), int(r.isRetake), int(r.obtained),
             int(r.required), int(r.maximum), int(r.passed) })
        f << QString::number(n);
    for (const SittingItemResult& i : r.items)
        f << QString("%1|%2|%3|%4|%5").arg(i.number).arg(i.answer, i.key).arg(i.isCorrect).arg(i.isMarked);
    return f;
}

bool RunSql(const QString& path, const QStringList& statements)
{
    bool ok = false;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "test-side");
        db.setDatabaseName(path);
        ok = db.open() && std::all_of(statements.begin(), statements.end(), [&](const QString& s) { return QSqlQuery(db).exec(s); });
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

    // Read back by the next start of the program, field by field, and as the exported comma-separated line; a file of
    // the first schema (the current one less what version 2 added) is migrated once and recorded in after.
    void roundTrip_data()
    {
        QTest::addColumn<SittingResult>("attempt");
        QTest::addColumn<QString>("csv");
        SittingResult exam = MakeAttempt("NET-1", 130, 640, 1'800'000'000); // two blocks of rows and a part
        exam.extraTimeTaken = true;
        exam.examName = "Two\nlines";
        QTest::newRow("exam mode, extra time, 130 items")
            << exam << "1,NET-1,\"Two\nlines\",2027-01-15T08:00:00Z,2027-01-15T09:02:03Z,3723,Yes,Exam,640,700,1000,Fail,130,55";
        SittingResult retake = MakeAttempt("NET-1", 3, 1000, 1'800'000'000, true);
        retake.examName = QString::fromUtf8("Réseau, \"avancé\" 日本");
        retake.examDigest.clear();
        QTest::newRow("retake, quoted name, no digest")
            << retake << QString::fromUtf8("1,NET-1,\"Réseau, \"\"avancé\"\" 日本\",2027-01-15T08:00:00Z,2027-01-15T09:02:03Z,3723,No,Retake,1000,700,1000,Pass,3,1");
        SittingResult study = MakeAttempt("OS-2", 0, 0, 0, false, true);
        study.examPath = QString();
        study.examName = "A\rB";
        QTest::newRow("study mode without items or path")
            << study << "1,OS-2,\"A\rB\",1970-01-01T00:00:00Z,1970-01-01T01:02:03Z,3723,No,Study,0,700,1000,Fail,0,0";
        SittingResult old = MakeAttempt("OLD-1", 9, 750, 1000, true); // the first schema has no place for a retake
        QTest::newRow("first schema")
            << old << "1,OLD-1,Name of OLD-1,1970-01-01T00:16:40Z,1970-01-01T01:18:43Z,3723,No,Exam,750,700,1000,Pass,9,4";
    }

    void roundTrip()
    {
        QFETCH(SittingResult, attempt);
        const qint64 id = HistoryStore(m_path).Record(attempt);
        if (QTest::currentDataTag() == QByteArrayView("first schema")) {
            QVERIFY(RunSql(m_path, { "ALTER TABLE attempt DROP COLUMN exam_path", "ALTER TABLE attempt DROP COLUMN is_retake",
                                       "PRAGMA user_version = 1" }));
            attempt.examPath.clear();
            attempt.isRetake = false;
        }
        HistoryStore reader(m_path);
        QCOMPARE(Fields(reader.Attempt(id).value_or(SittingResult())), Fields(attempt));
        QVERIFY(!reader.Attempt(id + 1));
        QTEST(QString::fromUtf8(reader.ExportCsv()).section("\r\n", 1, 1), "csv");
        QVERIFY(id > 0 && HistoryStore(m_path).Record(attempt) > id);
    }

    // Two programs with the file open both record; what one wrote the other lists.
    void attemptsOfAnExam()
    {
        HistoryStore store(m_path), secondProgram(m_path);
        QVERIFY(store.Open() && secondProgram.Open());
        const qint64 first = store.Record(MakeAttempt("A", 5, 300, 1000));
        const qint64 other = secondProgram.Record(MakeAttempt("B", 5, 900, 3500));
        const qint64 last = store.Record(MakeAttempt("A", 6, 800, 2000, true));
        QVERIFY(first && other && last && store.Record(MakeAttempt("A", 7, 100, 3000, false, true))
            && secondProgram.Record(MakeAttempt("A", 5, 200, 500)));

        // The exam sat last comes first; attempts are listed by start, not by recording.
        QCOMPARE(store.Exams(), (QList<std::pair<QString, QString>> { { "B", "Name of B" }, { "A", "Name of A" } }));
        QList<qint16> scores;
        std::ranges::transform(store.Attempts("A"), std::back_inserter(scores), &AttemptSummary::obtained);
        QCOMPARE(scores, (QList<qint16> { 200, 300, 800, 100 }));
        QCOMPARE(store.LastAttempt("A")->obtained, 800); // study does not count, a retake does
        QVERIFY(!store.LastAttempt("C"));
        QVERIFY(store.DeleteAttempt(last) && store.LastAttempt("A")->obtained == 300);
        QVERIFY(store.ClearExam("A") && store.Attempts("A").isEmpty() && store.Attempt(other)->items.size() == 5);
    }

    // The store says so once and records nothing; what was there stays, the file's bytes and, once the obstacle is
    // gone, its attempts.
    void unusableFile_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("message");
        QTest::newRow("not a database") << "garbage" << "cannot be used: file is not a database.";
        QTest::newRow("newer schema") << "newer" << "written by a newer version of Practorium.";
        QTest::newRow("someone else's database") << "foreign" << "is not a Practorium history.";
        QTest::newRow("damaged pages") << "damaged" << "could not be recorded";
        QTest::newRow("locked by another program") << "locked" << "database is locked.";
        QTest::newRow("read-only file") << "readonly" << "readonly database.";
        QTest::newRow("full disk") << "full" << "could not be recorded";
        QTest::newRow("folder cannot be made") << "blocked" << "could not be created.";
    }

    void unusableFile()
    {
        QFETCH(QString, kind);
        if (kind == "readonly" && geteuid() == 0)
            QSKIP("the superuser writes to read-only files");
        const bool hasAttempts = QStringList { "damaged", "locked", "readonly", "full" }.contains(kind);
        const bool hasNotes = kind == "newer" || kind == "foreign";
        if (kind == "blocked") // a file where the folder should be
            TestUtil::WriteFile(m_dir->filePath("data/Practorium"), "x");
        else if (kind == "garbage")
            TestUtil::WriteFile(m_path, QByteArray(8192, 'x'));
        QDir().mkpath(QFileInfo(m_path).path());
        if (hasNotes)
            QVERIFY(RunSql(m_path, { "CREATE TABLE notes (text TEXT)", "INSERT INTO notes VALUES ('keep me')",
                                       kind == "newer" ? "PRAGMA user_version = 3" : "SELECT 1" }));
        for (int i = 0; hasAttempts && i < 3; ++i)
            QVERIFY(HistoryStore(m_path).Record(MakeAttempt("A", 200, 500, 1000 + i)) > 0);
        QFile file(m_path);
        if (kind == "damaged") // page 2 is the attempts table's root
            QVERIFY(file.open(QIODevice::ReadWrite) && file.seek(4096) && file.write(QByteArray(4096, char(0xFF))) == 4096);
        file.close();
        QVERIFY(kind != "readonly" || file.setPermissions(QFile::ReadOwner));
        QSqlDatabase other = QSqlDatabase::addDatabase("QSQLITE", "other-program");
        other.setDatabaseName(m_path);
        if (kind == "locked")
            QVERIFY(other.open() && QSqlQuery(other).exec("BEGIN EXCLUSIVE"));
        // A full disk as this process meets it: no file may grow past 32 KiB, less than the write-ahead log of a
        // 2,000-item attempt needs.
        rlimit unlimited {}, full {};
        QVERIFY(::getrlimit(RLIMIT_FSIZE, &unlimited) == 0 && ::getrlimit(RLIMIT_FSIZE, &full) == 0);
        full.rlim_cur = 32768;
        QVERIFY(kind != "full" || (::signal(SIGXFSZ, SIG_IGN) != SIG_ERR && ::setrlimit(RLIMIT_FSIZE, &full) == 0));
        const QByteArray before = TestUtil::ReadAll(m_path);

        HistoryStore store(m_path);
        store.SetBusyTimeout(0);
        QStringList reported;
        store.SetFailureHandler([&](const QString& text) { reported.append(text); });
        QCOMPARE(store.Record(MakeAttempt("A", 2000, 500, 9000)), 0);
        QCOMPARE(store.Record(MakeAttempt("A", 10, 500, 9001)), 0);
        ::setrlimit(RLIMIT_FSIZE, &unlimited);
        QVERIFY(store.Attempts("A").isEmpty() && !store.DeleteAttempt(1) && !store.IsAvailable());
        QFETCH(QString, message);
        QVERIFY2(reported.size() == 1 && reported[0].contains(message), qPrintable(reported.join('\n')));
        QCOMPARE(TestUtil::ReadAll(m_path), before);
        other.close();
        other = QSqlDatabase();
        QSqlDatabase::removeDatabase("other-program");
        if (hasAttempts && kind != "damaged")
            QCOMPARE(HistoryStore(m_path).Attempts("A").size(), 3);
        if (hasNotes)
            QVERIFY(RunSql(m_path, { "SELECT text FROM notes" }));
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_path;
};

QTEST_GUILESS_MAIN(HistoryStoreTest)
#include "HistoryStoreTest.moc"
