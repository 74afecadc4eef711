#include "history/frmHistory.h"

#include "shell/Common.h"
#include "shell/FileDialogSeam.h"
#include "shell/MessageSeam.h"

#include <QChart>
#include <QChartView>
#include <QComboBox>
#include <QDir>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QMetaMethod>
#include <QLineSeries>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <QValueAxis>

namespace {

constexpr int AttemptIdRole = Qt::UserRole;

QString TimeUsed(qint32 seconds)
{
    return QStringLiteral("%1:%2:%3")
        .arg(seconds / 3600)
        .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

QString AttemptDate(const QDateTime& when)
{
    return when.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

} // namespace

frmHistory::frmHistory(HistoryStore& store, QWidget* parent)
    : QDialog(parent)
    , m_store(store)
{
    setObjectName(QStringLiteral("frmHistory"));
    setWindowTitle(QStringLiteral("History"));
    resize(720, 560);
    setMinimumSize(520, 420);

    auto* lblExam = new QLabel(QStringLiteral("&Exam:"), this);
    m_cboExams = new QComboBox(this);
    m_cboExams->setObjectName(QStringLiteral("cboExams"));
    m_cboExams->setAccessibleName(QStringLiteral("Exam"));
    m_cboExams->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    lblExam->setBuddy(m_cboExams);

    m_lvwAttempts = new QTreeWidget(this);
    m_lvwAttempts->setObjectName(QStringLiteral("lvwAttempts"));
    m_lvwAttempts->setAccessibleName(QStringLiteral("Attempts"));
    m_lvwAttempts->setHeaderLabels(
        { QStringLiteral("Date"), QStringLiteral("Score"), QStringLiteral("Required"), QStringLiteral("Result"),
            QStringLiteral("Time used"), QStringLiteral("Mode") });
    m_lvwAttempts->setRootIsDecorated(false);
    m_lvwAttempts->setUniformRowHeights(true);
    m_lvwAttempts->setAlternatingRowColors(true);
    m_lvwAttempts->setAllColumnsShowFocus(true);
    m_lvwAttempts->setSelectionMode(QAbstractItemView::SingleSelection);
    m_lvwAttempts->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_lvwAttempts->installEventFilter(this);

    auto* chart = new QChart;
    // The chart paints its own ground: the light or dark one, as the window is.
    chart->setTheme(
        palette().color(QPalette::Window).lightness() < 128 ? QChart::ChartThemeDark : QChart::ChartThemeLight);
    chart->setTitle(QStringLiteral("Score trend"));
    chart->legend()->setAlignment(Qt::AlignBottom);
    chart->setMargins(QMargins(4, 4, 4, 4));
    m_chtTrend = new QChartView(chart, this);
    m_chtTrend->setObjectName(QStringLiteral("chtTrend"));
    m_chtTrend->setAccessibleName(QStringLiteral("Score trend"));
    // The view's drawing area takes the focus in its place.
    m_chtTrend->viewport()->setAccessibleName(QStringLiteral("Score trend chart"));
    m_chtTrend->setRenderHint(QPainter::Antialiasing);
    m_chtTrend->setMinimumHeight(200);

    m_lblStatus = new QLabel(this);
    m_lblStatus->setObjectName(QStringLiteral("lblStatus"));
    m_lblStatus->setWordWrap(true);
    m_lblStatus->hide();

    auto button = [this](const QString& caption, const char* name) {
        auto* b = new QPushButton(caption, this);
        b->setObjectName(QString::fromLatin1(name));
        b->setAutoDefault(false);
        return b;
    };
    m_cmdRetake = button(QStringLiteral("&Retake missed items"), "cmdRetake");
    m_cmdDelete = button(QStringLiteral("&Delete attempt"), "cmdDelete");
    m_cmdClear = button(QStringLiteral("C&lear exam history"), "cmdClear");
    m_cmdExport = button(QStringLiteral("E&xport CSV..."), "cmdExport");
    m_cmdClose = button(QStringLiteral("&Close"), "cmdClose");
    connect(m_cmdRetake, &QPushButton::clicked, this, &frmHistory::cmdRetake_Click);
    connect(m_cmdDelete, &QPushButton::clicked, this, &frmHistory::cmdDelete_Click);
    connect(m_cmdClear, &QPushButton::clicked, this, &frmHistory::cmdClear_Click);
    connect(m_cmdExport, &QPushButton::clicked, this, &frmHistory::cmdExport_Click);
    connect(m_cmdClose, &QPushButton::clicked, this, &QDialog::reject);

    auto* top = new QHBoxLayout;
    top->addWidget(lblExam);
    top->addWidget(m_cboExams, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_cmdRetake);
    buttons->addWidget(m_cmdDelete);
    buttons->addWidget(m_cmdClear);
    buttons->addStretch(1);
    buttons->addWidget(m_cmdExport);
    buttons->addWidget(m_cmdClose);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(m_lblStatus);
    layout->addWidget(m_lvwAttempts, 2);
    layout->addWidget(m_chtTrend, 3);
    layout->addLayout(buttons);

    connect(m_cboExams, &QComboBox::currentIndexChanged, this, &frmHistory::ShowAttempts);
    connect(m_lvwAttempts, &QTreeWidget::currentItemChanged, this, &frmHistory::UpdateButtons);
    RefreshExams();
}

void frmHistory::SelectExam(const QString& examCode)
{
    const int index = m_cboExams->findData(examCode);
    if (index >= 0)
        m_cboExams->setCurrentIndex(index);
}

void frmHistory::RefreshExams()
{
    const QString current = SelectedExamCode();
    const QList<std::pair<QString, QString>> exams = m_store.Exams();
    {
        const QSignalBlocker block(m_cboExams);
        m_cboExams->clear();
        for (const auto& [code, name] : exams)
            m_cboExams->addItem(name.isEmpty() ? code : code + QStringLiteral(" - ") + name, code);
        const int index = m_cboExams->findData(current);
        m_cboExams->setCurrentIndex(index >= 0 ? index : 0);
    }
    if (!m_store.IsAvailable()) {
        m_lblStatus->setText(QStringLiteral("History is not available: ") + m_store.LastError());
        m_lblStatus->show();
    } else if (exams.isEmpty()) {
        m_lblStatus->setText(QStringLiteral("No attempts have been recorded yet."));
        m_lblStatus->show();
    } else {
        m_lblStatus->hide();
    }
    ShowAttempts();
}

void frmHistory::ShowAttempts()
{
    const QList<AttemptSummary> attempts = SelectedExamCode().isEmpty() ? QList<AttemptSummary>()
                                                                         : m_store.Attempts(SelectedExamCode());
    m_lvwAttempts->clear();
    QList<QTreeWidgetItem*> rows;
    rows.reserve(attempts.size());
    for (const AttemptSummary& a : attempts) {
        auto* row = new QTreeWidgetItem({ AttemptDate(a.started), QString::number(a.obtained),
            QString::number(a.required), a.passed ? QStringLiteral("Pass") : QStringLiteral("Fail"),
            TimeUsed(a.secondsUsed),
            a.isStudy ? QStringLiteral("Study") : a.isRetake ? QStringLiteral("Retake") : QStringLiteral("Exam") });
        row->setData(0, AttemptIdRole, a.id);
        // The missed count decides whether a retake is offered.
        row->setData(1, AttemptIdRole, a.missedCount);
        for (int column = 1; column <= 2; ++column)
            row->setTextAlignment(column, Qt::AlignRight | Qt::AlignVCenter);
        rows.append(row);
    }
    m_lvwAttempts->addTopLevelItems(rows);
    // The latest attempt is the one most often asked about.
    if (!rows.isEmpty())
        m_lvwAttempts->setCurrentItem(rows.last());
    DrawTrend(attempts);
    UpdateButtons();
}

void frmHistory::DrawTrend(const QList<AttemptSummary>& attempts)
{
    QChart* chart = m_chtTrend->chart();
    chart->removeAllSeries();
    // The chart hands a removed axis back to its caller: deleted here, or every
    // redraw would leave the old pair behind.
    for (QAbstractAxis* axis : chart->axes()) {
        chart->removeAxis(axis);
        delete axis;
    }
    if (attempts.isEmpty())
        return;
    auto* score = new QLineSeries;
    score->setName(QStringLiteral("Score"));
    score->setPointsVisible(true);
    auto* required = new QLineSeries;
    required->setName(QStringLiteral("Required"));
    // Red, lighter on a dark chart so the line stands out from its ground.
    const bool dark = chart->theme() == QChart::ChartThemeDark;
    QPen dashed(dark ? QColor(0xF0, 0x70, 0x70) : QColor(0xC0, 0x30, 0x30));
    dashed.setStyle(Qt::DashLine);
    dashed.setWidth(2);
    required->setPen(dashed);
    // The required score runs from edge to edge, a half attempt's width
    // beyond the first and last, so one attempt still shows a line.
    const qsizetype n = attempts.size();
    required->append(0.5, attempts.first().required);
    qint16 top = 1;
    for (qsizetype i = 0; i < n; ++i) {
        score->append(double(i + 1), attempts[i].obtained);
        required->append(double(i + 1), attempts[i].required);
        top = std::max({ top, attempts[i].maximum, attempts[i].obtained, attempts[i].required });
    }
    required->append(double(n) + 0.5, attempts.last().required);
    chart->addSeries(score);
    chart->addSeries(required);
    auto* x = new QValueAxis;
    x->setTitleText(QStringLiteral("Attempt"));
    x->setLabelFormat(QStringLiteral("%d"));
    x->setRange(0.5, double(n) + 0.5);
    // A label on whole attempts only, at most about ten of them.
    x->setTickType(QValueAxis::TicksDynamic);
    x->setTickAnchor(1);
    x->setTickInterval(double((n + 9) / 10));
    auto* y = new QValueAxis;
    y->setTitleText(QStringLiteral("Score"));
    y->setLabelFormat(QStringLiteral("%d"));
    y->setRange(0, top);
    chart->addAxis(x, Qt::AlignBottom);
    chart->addAxis(y, Qt::AlignLeft);
    for (QAbstractSeries* series : chart->series()) {
        series->attachAxis(x);
        series->attachAxis(y);
    }
}

void frmHistory::UpdateButtons()
{
    const QTreeWidgetItem* row = m_lvwAttempts->currentItem();
    // Offered only where a missed item exists and something can start the
    // retake.
    m_cmdRetake->setEnabled(row && row->data(1, AttemptIdRole).toInt() > 0
        && isSignalConnected(QMetaMethod::fromSignal(&frmHistory::retakeRequested)));
    m_cmdDelete->setEnabled(row);
    m_cmdClear->setEnabled(m_lvwAttempts->topLevelItemCount() > 0);
    m_cmdExport->setEnabled(m_store.IsAvailable() && m_cboExams->count() > 0);
}

qint64 frmHistory::SelectedAttemptId() const
{
    const QTreeWidgetItem* row = m_lvwAttempts->currentItem();
    return row ? row->data(0, AttemptIdRole).toLongLong() : 0;
}

QString frmHistory::SelectedExamCode() const
{
    return m_cboExams->currentData().toString();
}

void frmHistory::cmdRetake_Click()
{
    const qint64 id = SelectedAttemptId();
    if (id == 0)
        return;
    const std::optional<SittingResult> attempt = m_store.Attempt(id);
    if (!attempt || MissedNumbers(*attempt).isEmpty())
        return;
    Q_EMIT retakeRequested(*attempt);
    accept();
}

void frmHistory::cmdDelete_Click()
{
    const QTreeWidgetItem* row = m_lvwAttempts->currentItem();
    if (!row)
        return;
    if (ShowMessage(QStringLiteral("Are you sure you want to delete the attempt of {1}?"), 36, { row->text(0) })
        != MessageSeam::Yes)
        return;
    m_store.DeleteAttempt(SelectedAttemptId());
    RefreshExams();
}

void frmHistory::cmdClear_Click()
{
    const QString code = SelectedExamCode();
    if (code.isEmpty())
        return;
    if (ShowMessage(QStringLiteral("Are you sure you want to delete all {1} attempts of {2}?"), 36,
            { m_lvwAttempts->topLevelItemCount(), code })
        != MessageSeam::Yes)
        return;
    m_store.ClearExam(code);
    RefreshExams();
}

void frmHistory::cmdExport_Click()
{
    const QString fileName = FileDialogSeam::SaveFileName(this, QStringLiteral("Export History"),
        QDir::home().filePath(QStringLiteral("Practorium history.csv")),
        QStringLiteral("Comma-separated values (*.csv);;All files (*)"));
    if (fileName.isEmpty())
        return;
    QString error;
    if (!m_store.ExportCsv(fileName, &error))
        ShowMessage(QStringLiteral("The history could not be exported to {1}.{CRLF}{2}"), 48, { fileName, error });
}

void frmHistory::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    UpdateButtons();
    m_lvwAttempts->setFocus();
}

bool frmHistory::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_lvwAttempts && event->type() == QEvent::KeyPress
        && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Delete) {
        cmdDelete_Click();
        return true;
    }
    return QDialog::eventFilter(watched, event);
}
