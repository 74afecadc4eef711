#pragma once

#include "history/HistoryStore.h"

#include <QDialog>

class QChart;
class QChartView;
class QComboBox;
class QLabel;
class QPushButton;
class QTreeWidget;

// The History window: the recorded attempts of one exam at a time, their
// score trend against the required score, and what can be done with them
// (retake the missed items, delete, clear, export). It reads and writes
// through the store it is given; it starts no sitting itself but emits
// retakeRequested and closes. Retake is offered only while something is
// connected to retakeRequested.
class frmHistory : public QDialog
{
    Q_OBJECT

public:
    explicit frmHistory(HistoryStore& store, QWidget* parent = nullptr);

    // Shows the exam's attempts when it has any (else the first exam's).
    void SelectExam(const QString& examCode);

Q_SIGNALS:
    // The candidate asked to sit again the items missed in this attempt.
    void retakeRequested(const SittingResult& attempt);

private:
    void RefreshExams();
    void ShowAttempts();
    void DrawTrend(const QList<AttemptSummary>& attempts);
    void UpdateButtons();
    qint64 SelectedAttemptId() const;
    QString SelectedExamCode() const;

    void cmdRetake_Click();
    void cmdDelete_Click();
    void cmdClear_Click();
    void cmdExport_Click();

    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;

    HistoryStore& m_store;
    QComboBox* m_cboExams;
    QTreeWidget* m_lvwAttempts;
    QChartView* m_chtTrend;
    QLabel* m_lblStatus;
    QPushButton* m_cmdRetake;
    QPushButton* m_cmdDelete;
    QPushButton* m_cmdClear;
    QPushButton* m_cmdExport;
    QPushButton* m_cmdClose;
};
