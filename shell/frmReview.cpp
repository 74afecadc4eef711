#include "shell/frmReview.h"

#include "model/Exam.h"
#include "shell/Common.h"
#include "shell/Globals.h"
#include "shell/MessageSeam.h"
#include "shell/Resources.h"
#include "shell/frmReport.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QIcon>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QTimer>
#include <QVBoxLayout>

namespace {

const QString Checked = QStringLiteral("Checked");
const QString Incomplete = QStringLiteral("Incomplete");
const QString Complete = QStringLiteral("Complete");

QIcon StatusIcon(const QString& key)
{
    return LoadIcon(QStringLiteral(":/icons/") + key);
}

QString StatusTip(const QString& key)
{
    if (key == Checked)
        return QStringLiteral("Marked for review");
    if (key == Incomplete)
        return QStringLiteral("Not all required options are chosen");
    return QStringLiteral("Answered");
}

// One icon of the key above the list, with the number of items it stands for.
QWidget* LegendEntry(const QString& key, const QString& text, QWidget* parent)
{
    auto* entry = new QWidget(parent);
    auto* icon = new QLabel(entry);
    icon->setPixmap(StatusIcon(key).pixmap(QSize(16, 16), parent->devicePixelRatioF()));
    auto* label = new QLabel(text, entry);
    label->setObjectName(QStringLiteral("lblLegend") + key);
    auto* layout = new QHBoxLayout(entry);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(5);
    layout->addWidget(icon);
    layout->addWidget(label);
    return entry;
}

} // namespace

frmReview::frmReview(Exam& exam, QWidget* owner)
    : QDialog(owner)
    , m_exam(exam)
{
    InitResources();
    setObjectName(QStringLiteral("frmReview"));
    setWindowTitle(FormatText(QStringLiteral("Item Review - {1}"), { exam.Code() }));
    resize(720, 480);
    setMinimumSize(480, 320);

    auto* heading = new QLabel(QStringLiteral("Review your answers. Pick an item to return to it."), this);
    QFont headingFont = heading->font();
    headingFont.setPointSizeF(headingFont.pointSizeF() * 1.15);
    headingFont.setBold(true);
    heading->setFont(headingFont);

    m_lvwReview = new QListWidget(this);
    m_lvwReview->setObjectName(QStringLiteral("lvwReview"));
    // Small icons flowing left to right, row after row, in item order.
    m_lvwReview->setViewMode(QListView::ListMode);
    m_lvwReview->setFlow(QListView::LeftToRight);
    m_lvwReview->setWrapping(true);
    m_lvwReview->setResizeMode(QListView::Adjust);
    m_lvwReview->setMovement(QListView::Static);
    m_lvwReview->setSelectionMode(QAbstractItemView::SingleSelection);
    m_lvwReview->setIconSize(QSize(16, 16));
    QFont listFont = m_lvwReview->font();
    listFont.setPointSizeF(listFont.pointSizeF() * 1.1);
    m_lvwReview->setFont(listFont);
    m_lvwReview->installEventFilter(this);
    m_lvwReview->setAccessibleName(tr("Items"));
    m_lvwReview->setAccessibleDescription(tr("Enter goes to the item; digits find an item by number"));
    connect(m_lvwReview, &QListWidget::itemDoubleClicked, this, &frmReview::lvwReview_DblClick);

    auto* prompt = new QLabel(QStringLiteral("Question &number:"), this);
    m_txtQuestion = new QLineEdit(this);
    m_txtQuestion->setObjectName(QStringLiteral("txtQuestion"));
    m_txtQuestion->setValidator(
        new QRegularExpressionValidator(QRegularExpression(QStringLiteral("[0-9]*")), m_txtQuestion));
    m_txtQuestion->setFixedWidth(m_txtQuestion->fontMetrics().horizontalAdvance(QStringLiteral("000000")) + 16);
    m_txtQuestion->installEventFilter(this);
    prompt->setBuddy(m_txtQuestion);
    connect(m_txtQuestion, &QLineEdit::textChanged, this, &frmReview::txtQuestion_Change);

    m_cmdGoTo = new QPushButton(QStringLiteral("&Go To"), this);
    m_cmdGoTo->setObjectName(QStringLiteral("cmdGoTo"));
    m_cmdGoTo->setDefault(true);
    m_cmdReviewAll = new QPushButton(QStringLiteral("Review &All"), this);
    m_cmdReviewAll->setObjectName(QStringLiteral("cmdReviewAll"));
    m_cmdReviewMarked = new QPushButton(QStringLiteral("Review &Marked"), this);
    m_cmdReviewMarked->setObjectName(QStringLiteral("cmdReviewMarked"));
    m_cmdEnd = new QPushButton(QStringLiteral("&End Exam"), this);
    m_cmdEnd->setObjectName(QStringLiteral("cmdEnd"));
    m_cmdReviewAll->setAccessibleDescription(tr("Next and Previous go through every item"));
    m_cmdReviewMarked->setAccessibleDescription(tr("Next and Previous go through the marked items only"));
    connect(m_cmdGoTo, &QPushButton::clicked, this, &frmReview::cmdGoTo_Click);
    connect(m_cmdReviewAll, &QPushButton::clicked, this, &frmReview::cmdReviewAll_Click);
    connect(m_cmdReviewMarked, &QPushButton::clicked, this, &frmReview::cmdReviewMarked_Click);
    connect(m_cmdEnd, &QPushButton::clicked, this, &frmReview::cmdEnd_Click);

    // Window load.
    m_cmdReviewMarked->setEnabled(false);
    if (m_exam.IsEnded())
        m_cmdEnd->setText(QStringLiteral("&View Report"));
    int marked = 0;
    int incomplete = 0;
    int widest = 0;
    const QFontMetrics metrics(listFont);
    qint16 position = 0;
    for (const Question& question : m_exam.Questions()) {
        ++position;
        const QString status = StatusKey(question);
        auto* entry = new QListWidgetItem(StatusIcon(status), EntryText(question), m_lvwReview);
        // Items are numbered 1..n in stored order, so the position is the
        // number; it is the position that the exam window goes to.
        entry->setData(IndexRole, position);
        entry->setData(StatusRole, status);
        entry->setToolTip(StatusTip(status));
        entry->setData(Qt::AccessibleTextRole, SpokenEntry(question));
        widest = std::max(widest, metrics.horizontalAdvance(entry->text()));
        if (status == Checked)
            ++marked;
        else if (status == Incomplete)
            ++incomplete;
        if (question.IsMarked())
            m_cmdReviewMarked->setEnabled(true);
    }
    // Equal cells keep the entries in tidy columns however long the answers.
    m_lvwReview->setGridSize(QSize(std::max(76, 16 + 8 + widest + 22), std::max(16, metrics.height()) + 14));

    const int complete = int(m_exam.Questions().Count()) - marked - incomplete;
    auto* legend = new QHBoxLayout;
    legend->setSpacing(18);
    legend->addWidget(LegendEntry(Checked, FormatText(QStringLiteral("{1} marked"), { marked }), this));
    legend->addWidget(LegendEntry(Incomplete, FormatText(QStringLiteral("{1} incomplete"), { incomplete }), this));
    legend->addWidget(LegendEntry(Complete, FormatText(QStringLiteral("{1} complete"), { complete }), this));
    legend->addStretch();
    m_lblSummary = new QLabel(FormatText(QStringLiteral("{1} items"), { m_exam.Questions().Count() }), this);
    m_lblSummary->setObjectName(QStringLiteral("lblSummary"));
    m_lblSummary->setForegroundRole(QPalette::PlaceholderText);
    legend->addWidget(m_lblSummary);

    auto* goTo = new QHBoxLayout;
    goTo->setSpacing(6);
    goTo->addWidget(prompt);
    goTo->addWidget(m_txtQuestion);
    goTo->addWidget(m_cmdGoTo);
    goTo->addStretch(1);
    goTo->addSpacing(12);
    goTo->addWidget(m_cmdReviewAll);
    goTo->addWidget(m_cmdReviewMarked);
    goTo->addSpacing(12);
    goTo->addWidget(m_cmdEnd);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 14, 16, 14);
    layout->setSpacing(10);
    layout->addWidget(heading);
    layout->addLayout(legend);
    layout->addWidget(m_lvwReview, 1);
    layout->addLayout(goTo);

    setTabOrder(m_txtQuestion, m_cmdGoTo);
    setTabOrder(m_cmdGoTo, m_lvwReview);
    setTabOrder(m_lvwReview, m_cmdReviewAll);
    setTabOrder(m_cmdReviewAll, m_cmdReviewMarked);
    setTabOrder(m_cmdReviewMarked, m_cmdEnd);
    m_txtQuestion->setFocus();
}

QString frmReview::StatusKey(const Question& question)
{
    if (question.IsMarked())
        return Checked;
    return ItemCount(question.Answer()) < question.AnswerCount() ? Incomplete : Complete;
}

QString frmReview::EntryText(const Question& question)
{
    if (ItemCount(question.Answer()) >= 1)
        return FormatText(QStringLiteral("{1} - {2}"), { question.Number(), AnswerLetters(question.Answer()) });
    return QString::number(question.Number());
}

QString frmReview::SpokenEntry(const Question& question)
{
    const QString status = StatusKey(question);
    const QString state = status == Checked ? tr("marked") : status == Incomplete ? tr("incomplete") : tr("complete");
    const QString answer = ItemCount(question.Answer()) >= 1 ? tr("answered %1").arg(AnswerLetters(question.Answer()))
                                                             : tr("not answered");
    return tr("Item %1, %2, %3").arg(question.Number()).arg(answer, state);
}

QString frmReview::ConstrainNumber(const QString& text, qsizetype count)
{
    const QString trimmed = TrimBlanks(text);
    if (trimmed.isEmpty())
        return text;
    qsizetype digits = 0;
    while (digits < trimmed.size() && trimmed[digits] >= QLatin1Char('0') && trimmed[digits] <= QLatin1Char('9'))
        ++digits;
    // Past nine significant digits the value is above any item count.
    const QString value = trimmed.left(digits).remove(QRegularExpression(QStringLiteral("^0+")));
    if (value.size() > 9 || value.toLongLong() > count)
        return QString::number(count);
    if (value.isEmpty())
        return QStringLiteral("1");
    return text;
}

void frmReview::txtQuestion_Change()
{
    const QString text = m_txtQuestion->text();
    const QString constrained = ConstrainNumber(text, m_exam.Questions().Count());
    // Replacing the text changes it again; the replacement always keeps the
    // rule except in an exam without items, where 1 is above the count.
    if (constrained != text && ConstrainNumber(constrained, m_exam.Questions().Count()) == constrained)
        m_txtQuestion->setText(constrained);
}

void frmReview::cmdGoTo_Click()
{
    const QString text = TrimBlanks(m_txtQuestion->text());
    const qlonglong number = text.toLongLong();
    if (text.isEmpty() || number < 1 || number > m_exam.Questions().Count()) {
        ShowMessage(QStringLiteral("Please enter the question number into the given field."), 64);
        m_txtQuestion->setFocus();
        return;
    }
    Q_EMIT gotoRequested(qint16(number));
    accept();
}

void frmReview::lvwReview_DblClick(QListWidgetItem* item)
{
    if (!item)
        return;
    Q_EMIT gotoRequested(qint16(item->data(IndexRole).toInt()));
    accept();
}

void frmReview::cmdReviewAll_Click()
{
    Q_EMIT reviewAllRequested();
    accept();
}

void frmReview::cmdReviewMarked_Click()
{
    Q_EMIT reviewMarkedRequested();
    accept();
}

void frmReview::cmdEnd_Click()
{
    if (!m_exam.IsEnded()) {
        // Only Yes ends the exam; closing the box keeps it running.
        if (ShowMessage(QStringLiteral("Are you sure you want to end the exam?"), 36) != MessageSeam::Yes)
            return;
        m_exam.EndExam();
        m_cmdEnd->setText(QStringLiteral("&View Report"));
        Q_EMIT examEnded();
    }
    ShowReport();
}

void frmReview::ShowReport()
{
    hide();
    {
        frmReport report(m_exam, this);
        connect(&report, &frmReport::retakeRequested, this, &frmReview::retakeRequested);
        report.exec();
    }
    done(QDialog::Accepted);
}

bool frmReview::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_lvwReview && event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
            // Enter on an entry does what a double-click does.
            lvwReview_DblClick(m_lvwReview->currentItem());
            return true;
        }
        // Typed digits search the entries by number; other typed characters
        // are dropped. Keys that type nothing (arrows, Backspace) pass.
        const QString typed = key->text();
        if (!typed.isEmpty() && typed[0].isPrint() && !typed[0].isDigit())
            return true;
    } else if (watched == m_txtQuestion && event->type() == QEvent::FocusIn) {
        // After the click that gave the focus has placed the cursor.
        QTimer::singleShot(0, m_txtQuestion, &QLineEdit::selectAll);
    }
    return QDialog::eventFilter(watched, event);
}

void frmReview::changeEvent(QEvent* event)
{
    QDialog::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow()) {
        // The clock may have ended the exam while the list was open.
        if (m_exam.IsEnded())
            m_cmdEnd->setText(QStringLiteral("&View Report"));
        m_txtQuestion->setFocus(Qt::ActiveWindowFocusReason);
    }
}
