#include "common/TestUtil.h"
#include "history/HistorySettings.h"
#include "history/frmHistory.h"
#include "shell/FileDialogSeam.h"
#include "shell/MessageSeam.h"
#include "shell/Registry.h"

#include <QChartView>
#include <QComboBox>
#include <QLabel>
#include <QLineSeries>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

namespace {

// `missed` of the attempt's four items are answered wrongly.
SittingResult Attempt(const QString& code, qint16 obtained, int missed, qint64 startSecs)
{
    SittingResult r;
    r.examCode = code;
    r.examName = code + " exam";
    r.started = QDateTime::fromSecsSinceEpoch(startSecs, Qt::UTC);
    r.secondsUsed = 3723;
    r.obtained = obtained;
    r.required = 700;
    r.maximum = 1000;
    r.passed = obtained >= 700;
    for (int i = 1; i <= 4; ++i)
        r.items.append({ qint16(i * 10), i <= missed ? "2" : "1", "1", i > missed, false });
    return r;
}

template <typename T>
T* Child(QWidget& window, const char* name)
{
    T* child = window.findChild<T*>(name);
    if (!child)
        qFatal("no child %s", name);
    return child;
}

} // namespace

class frmHistoryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_store = std::make_unique<HistoryStore>(m_dir->filePath("history.sqlite"));
        // A: failed with two missed, passed with none missed, then a study
        // sitting with one missed; B: one attempt.
        m_store->Record(Attempt("A", 500, 2, 1'800'000'000));
        m_store->Record(Attempt("A", 1000, 0, 1'800'100'000));
        SittingResult study = Attempt("A", 750, 1, 1'800'200'000);
        study.isStudy = true;
        m_store->Record(study);
        QVERIFY2(m_store->Record(Attempt("B", 800, 1, 1'800'000'000)) > 0, qPrintable(m_store->LastError()));
        MessageSeam::Intercept(true);
        FileDialogSeam::Intercept(true);
        m_window = std::make_unique<frmHistory>(*m_store);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
    }

    void cleanup()
    {
        m_window.reset();
        m_store.reset();
        QVERIFY(MessageSeam::TakeShown().isEmpty());
    }

    void listAndTrend()
    {
        auto* exams = Child<QComboBox>(*m_window, "cboExams");
        QCOMPARE(exams->count(), 2);
        QCOMPARE(exams->currentText(), "A - A exam");
        auto* list = Child<QTreeWidget>(*m_window, "lvwAttempts");
        QCOMPARE(list->topLevelItemCount(), 3);
        QStringList first;
        for (int column = 1; column < list->columnCount(); ++column)
            first.append(list->topLevelItem(0)->text(column));
        QCOMPARE(first, (QStringList { "500", "700", "Fail", "1:02:03", "Exam" }));
        QCOMPARE(list->topLevelItem(2)->text(5), "Study");
        QCOMPARE(list->currentItem(), list->topLevelItem(2)); // the latest

        QChart* chart = Child<QChartView>(*m_window, "chtTrend")->chart();
        QCOMPARE(chart->series().size(), 2);
        auto* score = qobject_cast<QLineSeries*>(chart->series()[0]);
        auto* required = qobject_cast<QLineSeries*>(chart->series()[1]);
        QCOMPARE(score->points(), (QList<QPointF> { { 1, 500 }, { 2, 1000 }, { 3, 750 } }));
        QCOMPARE(required->points(), (QList<QPointF> { { 0.5, 700 }, { 1, 700 }, { 2, 700 }, { 3, 700 }, { 3.5, 700 } }));

        exams->setCurrentIndex(1);
        QCOMPARE(list->topLevelItemCount(), 1);
        QCOMPARE(qobject_cast<QLineSeries*>(chart->series()[0])->count(), 1);
    }

    void retake_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<QList<qint16>>("missed"); // empty: the button is disabled
        QTest::newRow("two missed") << 0 << QList<qint16> { 10, 20 };
        QTest::newRow("nothing missed") << 1 << QList<qint16> {};
        QTest::newRow("study sitting") << 2 << QList<qint16> { 10 };
    }

    void retake()
    {
        QFETCH(int, row);
        QFETCH(QList<qint16>, missed);
        auto* list = Child<QTreeWidget>(*m_window, "lvwAttempts");
        list->setCurrentItem(list->topLevelItem(row));
        auto* button = Child<QPushButton>(*m_window, "cmdRetake");
        QVERIFY(!button->isEnabled()); // nothing would start it
        QSignalSpy requested(m_window.get(), &frmHistory::retakeRequested);
        list->setCurrentItem(nullptr);
        list->setCurrentItem(list->topLevelItem(row));
        QCOMPARE(button->isEnabled(), !missed.isEmpty());
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(requested.count(), missed.isEmpty() ? 0 : 1);
        if (!missed.isEmpty()) {
            QCOMPARE(MissedNumbers(requested[0][0].value<SittingResult>()), missed);
            QVERIFY(!m_window->isVisible());
        }
    }

    void deleteAndClear_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<int>("answer");
        QTest::addColumn<QStringList>("left"); // exam codes, then A's scores
        QTest::newRow("delete, declined") << "cmdDelete" << int(MessageSeam::No) << QStringList { "A", "B", "500", "1000", "750" };
        QTest::newRow("delete the latest") << "cmdDelete" << int(MessageSeam::Yes) << QStringList { "A", "B", "500", "1000" };
        QTest::newRow("clear, declined") << "cmdClear" << int(MessageSeam::No) << QStringList { "A", "B", "500", "1000", "750" };
        QTest::newRow("clear A") << "cmdClear" << int(MessageSeam::Yes) << QStringList { "B" };
    }

    void deleteAndClear()
    {
        QFETCH(QString, button);
        QFETCH(int, answer);
        QFETCH(QStringList, left);
        MessageSeam::SetNextAnswer(answer);
        QTest::mouseClick(Child<QPushButton>(*m_window, qPrintable(button)), Qt::LeftButton);
        const QList<MessageSeam::Shown> shown = MessageSeam::TakeShown();
        QCOMPARE(shown.size(), 1);
        QCOMPARE(shown[0].Style, 36);
        QStringList now;
        for (const auto& [code, name] : m_store->Exams())
            now.append(code);
        for (const AttemptSummary& a : m_store->Attempts("A"))
            now.append(QString::number(a.obtained));
        QCOMPARE(now, left);
        // The window shows what the store holds.
        auto* list = Child<QTreeWidget>(*m_window, "lvwAttempts");
        auto* exams = Child<QComboBox>(*m_window, "cboExams");
        QCOMPARE(exams->count(), left.contains("A") ? 2 : 1);
        QCOMPARE(list->topLevelItemCount(), exams->currentData() == "A" ? left.size() - 2 : 1);
    }

    void exportCsv_data()
    {
        QTest::addColumn<QString>("fileName"); // relative to the test folder; empty: cancelled
        QTest::addColumn<bool>("written");
        QTest::addColumn<int>("boxes");
        QTest::newRow("saved") << "history.csv" << true << 0;
        QTest::newRow("cancelled") << "" << false << 0;
        QTest::newRow("folder missing") << "no/such/folder.csv" << false << 1;
    }

    void exportCsv()
    {
        QFETCH(QString, fileName);
        QFETCH(bool, written);
        QFETCH(int, boxes);
        const QString path = fileName.isEmpty() ? QString() : m_dir->filePath(fileName);
        FileDialogSeam::SetNextFileName(path);
        QTest::mouseClick(Child<QPushButton>(*m_window, "cmdExport"), Qt::LeftButton);
        QCOMPARE(FileDialogSeam::TakeAsked(), QStringList { "Export History" });
        QCOMPARE(MessageSeam::TakeShown().size(), boxes);
        if (written)
            QCOMPARE(TestUtil::ReadAll(path).count("\r\n"), 5); // header and four attempts
        else if (!path.isEmpty())
            QVERIFY(!QFile::exists(path));
    }

    void unavailableHistory()
    {
        m_window.reset();
        m_store.reset();
        QFile garbage(m_dir->filePath("history.sqlite"));
        QVERIFY(garbage.open(QIODevice::WriteOnly));
        garbage.write(QByteArray(4096, 'x'));
        garbage.close();
        HistoryStore store(garbage.fileName());
        frmHistory window(store);
        window.show();
        QVERIFY(Child<QLabel>(window, "lblStatus")->text().startsWith("History is not available: The history file"));
        QCOMPARE(Child<QComboBox>(window, "cboExams")->count(), 0);
        for (const char* button : { "cmdRetake", "cmdDelete", "cmdClear", "cmdExport" })
            QVERIFY2(!Child<QPushButton>(window, button)->isEnabled(), button);
    }

    void recordingSettings_data()
    {
        QTest::addColumn<QString>("settings"); // the key's lines in the settings file
        QTest::addColumn<bool>("exam");
        QTest::addColumn<bool>("study");
        QTest::newRow("no settings") << "" << true << false;
        QTest::newRow("recording off") << "Record Attempts=dword:0\nRecord Study=dword:1" << false << false;
        QTest::newRow("study recorded") << "Record Study=dword:1" << true << true;
        QTest::newRow("text values ignored") << "Record Attempts=0\nRecord Study=1" << true << false;
    }

    void recordingSettings()
    {
        QFETCH(QString, settings);
        Registry::SetStoreFolders(m_dir->path(), m_dir->filePath("machine"));
        QFile ini(Registry::StorePath(Registry::HKEY_CURRENT_USER));
        QVERIFY(ini.open(QIODevice::WriteOnly));
        ini.write(("[" + QString(HistorySettings::Key) + "]\n" + settings + "\n").toUtf8());
        ini.close();
        SittingResult sitting = Attempt("A", 1, 1, 1);
        QTEST(HistorySettings::ShouldRecord(sitting), "exam");
        sitting.isStudy = true;
        QTEST(HistorySettings::ShouldRecord(sitting), "study");
        Registry::SetStoreFolders({}, {});
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<HistoryStore> m_store;
    std::unique_ptr<frmHistory> m_window;
};

QTEST_MAIN(frmHistoryTest)
#include "frmHistoryTest.moc"
