#include "common/GuiUtil.h"
#include "common/TestUtil.h"
#include "history/HistorySettings.h"
#include "history/frmHistory.h"
#include "shell/FileDialogSeam.h"
#include "shell/Registry.h"

#include <QChartView>
#include <QLineSeries>
#include <QtTest>
#include <QtWidgets>

using namespace GuiUtil;

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
        m_list = Child<QTreeWidget>(m_window.get(), "lvwAttempts");
        m_exams = Child<QComboBox>(m_window.get(), "cboExams");
    }

    void cleanup()
    {
        m_window.reset();
        m_store.reset();
        QVERIFY(Shown().isEmpty());
    }

    // The latest attempt selected; the trend against the required score,
    // its line running past the first and last attempt.
    void listAndTrend()
    {
        QVERIFY(m_exams->count() == 2 && m_exams->currentText() == "A - A exam" && m_list->topLevelItemCount() == 3);
        QStringList first;
        for (int column = 1; column < m_list->columnCount(); ++column)
            first << m_list->topLevelItem(0)->text(column);
        QCOMPARE(first, (QStringList { "500", "700", "Fail", "1:02:03", "Exam" }));
        QVERIFY(m_list->topLevelItem(2)->text(5) == "Study" && m_list->currentItem() == m_list->topLevelItem(2));
        QChart* chart = Child<QChartView>(m_window.get(), "chtTrend")->chart();
        QCOMPARE(chart->series().size(), 2);
        QCOMPARE(qobject_cast<QLineSeries*>(chart->series()[0])->points(), (QList<QPointF> { { 1, 500 }, { 2, 1000 }, { 3, 750 } }));
        QCOMPARE(qobject_cast<QLineSeries*>(chart->series()[1])->points(),
            (QList<QPointF> { { 0.5, 700 }, { 1, 700 }, { 2, 700 }, { 3, 700 }, { 3.5, 700 } }));
        m_exams->setCurrentIndex(1);
        QVERIFY(m_list->topLevelItemCount() == 1 && qobject_cast<QLineSeries*>(chart->series()[0])->count() == 1);
    }

    void retake_data()
    {
        // missed: empty: the button is disabled
        Columns<int, QList<qint16>>({ "row", "missed" });
        QTest::newRow("two missed") << 0 << QList<qint16> { 10, 20 };
        QTest::newRow("nothing missed") << 1 << QList<qint16> {};
        QTest::newRow("study sitting") << 2 << QList<qint16> { 10 };
    }

    // Disabled with no attempt selected; enabled only when something was missed.
    void retake()
    {
        QFETCH(QList<qint16>, missed);
        auto* button = Child<QPushButton>(m_window.get(), "cmdRetake");
        QSignalSpy requested(m_window.get(), &frmHistory::retakeRequested);
        m_list->setCurrentItem(nullptr);
        QVERIFY(!button->isEnabled());
        m_list->setCurrentItem(m_list->topLevelItem(Data<int>("row")));
        QCOMPARE(button->isEnabled(), !missed.isEmpty());
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(requested.count(), missed.isEmpty() ? 0 : 1);
        QVERIFY(missed.isEmpty() || (MissedNumbers(requested[0][0].value<SittingResult>()) == missed && !m_window->isVisible()));
    }

    void deleteAndClear_data()
    {
        // attemptsOfA: in the store and in the list
        Columns<QString, int, int>({ "button", "answer", "attemptsOfA" });
        QTest::newRow("delete, declined") << "cmdDelete" << int(MessageSeam::No) << 3;
        QTest::newRow("delete the latest") << "cmdDelete" << int(MessageSeam::Yes) << 2;
        QTest::newRow("clear, declined") << "cmdClear" << int(MessageSeam::No) << 3;
        QTest::newRow("clear A") << "cmdClear" << int(MessageSeam::Yes) << 0;
    }

    void deleteAndClear()
    {
        QFETCH(int, attemptsOfA);
        MessageSeam::SetNextAnswer(Data<int>("answer"));
        QTest::mouseClick(Child(m_window.get(), Data<QString>("button")), Qt::LeftButton);
        QVERIFY(Shown().filter(QRegularExpression("^36:")).size() == 1);
        QVERIFY(m_store->Attempts("A").size() == attemptsOfA && m_store->Attempts("B").size() == 1);
        // B shown once A is gone.
        QVERIFY(m_exams->count() == (attemptsOfA ? 2 : 1) && m_list->topLevelItemCount() == (attemptsOfA ? attemptsOfA : 1));
    }

    void exportCsv_data()
    {
        // fileName: in the test folder; empty: cancelled
        Columns<QString, int, int>({ "fileName", "lines", "boxes" });
        QTest::newRow("saved") << "history.csv" << 5 << 0; // a header and four attempts
        QTest::newRow("folder missing") << "no/such/folder.csv" << 0 << 1;
    }

    void exportCsv()
    {
        QFETCH(QString, fileName);
        const QString path = fileName.isEmpty() ? QString() : m_dir->filePath(fileName);
        FileDialogSeam::SetNextFileName(path);
        QTest::mouseClick(Child(m_window.get(), "cmdExport"), Qt::LeftButton);
        QTEST(int(Shown().size()), "boxes");
        QTEST(int(TestUtil::ReadAll(path).count("\r\n")), "lines");
    }

    void unavailableHistory()
    {
        m_window.reset();
        m_store.reset();
        HistoryStore store(TestUtil::WriteFile(m_dir->filePath("history.sqlite"), QByteArray(4096, 'x')));
        frmHistory window(store);
        QVERIFY(Child<QLabel>(&window, "lblStatus")->text().startsWith("History is not available: The history file"));
        QCOMPARE(Child<QComboBox>(&window, "cboExams")->count(), 0);
        for (const char* button : { "cmdRetake", "cmdDelete", "cmdClear", "cmdExport" })
            QVERIFY2(!Child(&window, button)->isEnabled(), button);
    }

    void recordingSettings_data()
    {
        // settings: the key's lines in the settings file
        Columns<QString, bool, bool>({ "settings", "exam", "study" });
        QTest::newRow("no settings") << "" << true << false;
        QTest::newRow("recording off") << "Record Attempts=dword:0\nRecord Study=dword:1" << false << false;
        QTest::newRow("study recorded") << "Record Study=dword:1" << true << true;
        QTest::newRow("text values ignored") << "Record Attempts=0\nRecord Study=1" << true << false;
    }

    void recordingSettings()
    {
        Registry::SetStoreFolders(m_dir->path(), m_dir->filePath("machine"));
        TestUtil::WriteFile(Registry::StorePath(Registry::HKEY_CURRENT_USER),
            ("[" + QString(HistorySettings::Key) + "]\n" + Data<QString>("settings") + "\n").toUtf8());
        QTEST(HistorySettings::ShouldRecord(Attempt("A", 1, 1, 1)), "exam");
        QTEST(HistorySettings::ShouldRecord(Attempt("A", 1, 1, 1, true)), "study");
        Registry::SetStoreFolders({}, {});
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<HistoryStore> m_store;
    std::unique_ptr<frmHistory> m_window;
    QTreeWidget* m_list = nullptr;
    QComboBox* m_exams = nullptr;
};

QTEST_MAIN(frmHistoryTest)
#include "frmHistoryTest.moc"
