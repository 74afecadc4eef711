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

// Four items numbered 10..40, the first `missed` of them answered wrongly.
SittingResult Attempt(const QString& code, qint16 obtained, int missed, qint64 startSecs, bool study = false)
{
    SittingResult r { code, code + " exam", {}, {}, QDateTime::fromSecsSinceEpoch(startSecs, Qt::UTC), {}, 3723,
        false, study, false, obtained, 700, 1000, obtained >= 700, {} };
    for (int i = 1; i <= 4; ++i)
        r.items.append({ qint16(i * 10), i <= missed ? "2" : "1", "1", i > missed, false });
    return r;
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
        // A: failed with two missed, passed with none, a study sitting with one; B: one attempt.
        for (const SittingResult& r : { Attempt("A", 500, 2, 1'800'000'000), Attempt("A", 1000, 0, 1'800'100'000),
                 Attempt("A", 750, 1, 1'800'200'000, true), Attempt("B", 800, 1, 1'800'000'000) })
            QVERIFY(m_store->Record(r) > 0);
        MessageSeam::Intercept(true);
        m_window = std::make_unique<frmHistory>(*m_store);
        m_window->show();
        m_list = m_window->findChild<QTreeWidget*>("lvwAttempts");
    }

    void cleanup()
    {
        m_window.reset();
        m_store.reset();
        QVERIFY(MessageSeam::TakeShown().isEmpty());
    }

    void listAndTrend()
    {
        auto* exams = m_window->findChild<QComboBox*>("cboExams");
        QCOMPARE(exams->count(), 2);
        QCOMPARE(exams->currentText(), "A - A exam");
        QCOMPARE(m_list->topLevelItemCount(), 3);
        QStringList first;
        for (int column = 1; column < m_list->columnCount(); ++column)
            first << m_list->topLevelItem(0)->text(column);
        QCOMPARE(first, (QStringList { "500", "700", "Fail", "1:02:03", "Exam" }));
        QCOMPARE(m_list->topLevelItem(2)->text(5), "Study");
        QCOMPARE(m_list->currentItem(), m_list->topLevelItem(2)); // the latest

        QChart* chart = m_window->findChild<QChartView*>("chtTrend")->chart();
        QCOMPARE(chart->series().size(), 2);
        QCOMPARE(qobject_cast<QLineSeries*>(chart->series()[0])->points(),
            (QList<QPointF> { { 1, 500 }, { 2, 1000 }, { 3, 750 } }));
        QCOMPARE(qobject_cast<QLineSeries*>(chart->series()[1])->points(),
            (QList<QPointF> { { 0.5, 700 }, { 1, 700 }, { 2, 700 }, { 3, 700 }, { 3.5, 700 } }));
        exams->setCurrentIndex(1);
        QCOMPARE(m_list->topLevelItemCount(), 1);
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
        auto* button = m_window->findChild<QPushButton*>("cmdRetake");
        m_list->setCurrentItem(m_list->topLevelItem(row));
        QVERIFY(!button->isEnabled()); // nothing would start it
        QSignalSpy requested(m_window.get(), &frmHistory::retakeRequested);
        m_list->setCurrentItem(nullptr);
        m_list->setCurrentItem(m_list->topLevelItem(row));
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
        QTest::addColumn<int>("attemptsOfA"); // in the store and in the list
        QTest::newRow("delete, declined") << "cmdDelete" << int(MessageSeam::No) << 3;
        QTest::newRow("delete the latest") << "cmdDelete" << int(MessageSeam::Yes) << 2;
        QTest::newRow("clear, declined") << "cmdClear" << int(MessageSeam::No) << 3;
        QTest::newRow("clear A") << "cmdClear" << int(MessageSeam::Yes) << 0;
    }

    void deleteAndClear()
    {
        QFETCH(QString, button);
        QFETCH(int, answer);
        QFETCH(int, attemptsOfA);
        MessageSeam::SetNextAnswer(answer);
        QTest::mouseClick(m_window->findChild<QPushButton*>(qPrintable(button)), Qt::LeftButton);
        const QList<MessageSeam::Shown> shown = MessageSeam::TakeShown();
        QVERIFY(shown.size() == 1 && shown[0].Style == 36);
        QCOMPARE(m_store->Attempts("A").size(), attemptsOfA);
        QCOMPARE(m_store->Attempts("B").size(), 1);
        auto* exams = m_window->findChild<QComboBox*>("cboExams");
        QCOMPARE(exams->count(), attemptsOfA ? 2 : 1);
        QCOMPARE(m_list->topLevelItemCount(), attemptsOfA ? attemptsOfA : 1); // B shown once A is gone
    }

    void exportCsv_data()
    {
        QTest::addColumn<QString>("fileName"); // in the test folder; empty: cancelled
        QTest::addColumn<int>("lines");
        QTest::addColumn<int>("boxes");
        QTest::newRow("saved") << "history.csv" << 5 << 0; // a header and four attempts
        QTest::newRow("cancelled") << "" << 0 << 0;
        QTest::newRow("folder missing") << "no/such/folder.csv" << 0 << 1;
    }

    void exportCsv()
    {
        QFETCH(QString, fileName);
        const QString path = fileName.isEmpty() ? QString() : m_dir->filePath(fileName);
        FileDialogSeam::SetNextFileName(path);
        QTest::mouseClick(m_window->findChild<QPushButton*>("cmdExport"), Qt::LeftButton);
        QTEST(int(MessageSeam::TakeShown().size()), "boxes");
        QTEST(int(TestUtil::ReadAll(path).count("\r\n")), "lines");
    }

    void unavailableHistory()
    {
        m_window.reset();
        m_store.reset();
        QFile garbage(m_dir->filePath("history.sqlite"));
        QVERIFY(garbage.open(QIODevice::WriteOnly) && garbage.write(QByteArray(4096, 'x')) == 4096);
        garbage.close();
        HistoryStore store(garbage.fileName());
        frmHistory window(store);
        QVERIFY(window.findChild<QLabel*>("lblStatus")->text().startsWith("History is not available: The history file"));
        QCOMPARE(window.findChild<QComboBox*>("cboExams")->count(), 0);
        for (const char* button : { "cmdRetake", "cmdDelete", "cmdClear", "cmdExport" })
            QVERIFY2(!window.findChild<QPushButton*>(button)->isEnabled(), button);
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
        QTEST(HistorySettings::ShouldRecord(Attempt("A", 1, 1, 1)), "exam");
        QTEST(HistorySettings::ShouldRecord(Attempt("A", 1, 1, 1, true)), "study");
        Registry::SetStoreFolders({}, {});
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<HistoryStore> m_store;
    std::unique_ptr<frmHistory> m_window;
    QTreeWidget* m_list = nullptr;
};

QTEST_MAIN(frmHistoryTest)
#include "frmHistoryTest.moc"
