#include "session/frmExam.h"

#include "model/Error.h"
#include "model/Exam.h"
#include "session/frmExhibit.h"
#include "session/frmExplain.h"
#include "shell/Common.h"
#include "shell/Globals.h"
#include "shell/MessageSeam.h"
#include "shell/Panel.h"
#include "shell/frmReport.h"
#include "shell/frmReview.h"

#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QFrame>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QRadioButton>
#include <QScopeGuard>
#include <QScrollBar>
#include <QTimer>
#include <QVBoxLayout>

namespace {

// Page design, in twips where it is a length.
constexpr qint32 MarkTop = 120;
// lblQuestion's place in the content: a small inset keeps the text and the
// selectors off the frame's border.
constexpr qint32 QuestionInset = 180;
constexpr qreal PageFontPoints = 12;
constexpr qreal StatusFontPoints = 14;
constexpr int ButtonWidthPx = 120;
constexpr int ButtonHeightPx = 34;
constexpr int InfoWidthPx = 280;
constexpr int InfoHeightPx = 112;

const QColor CorrectColor(0, 128, 0);
const QColor IncorrectColor(255, 0, 0);

QRect ToPixels(const TwipsRect& rect)
{
    const int left = Twips::ToPixels(rect.Left);
    const int top = Twips::ToPixels(rect.Top);
    return QRect(left, top, Twips::ToPixels(rect.Right) - left, Twips::ToPixels(rect.Bottom) - top);
}

QPushButton* MakeButton(const QString& caption, const char* name, QWidget* parent)
{
    auto* button = new QPushButton(caption, parent);
    button->setObjectName(QLatin1String(name));
    button->setFixedSize(ButtonWidthPx, ButtonHeightPx);
    // Enter on a focused button presses that button; anywhere else it is Next.
    button->setAutoDefault(true);
    return button;
}

} // namespace

frmExam::frmExam(QWidget* catalogue)
    : QWidget(nullptr)
    , m_catalogue(catalogue)
{
    setObjectName(QStringLiteral("frmExam"));
    setWindowTitle(ApplicationTitle());
    BuildPage();
    m_tmrTimer = new QTimer(this);
    m_tmrTimer->setObjectName(QStringLiteral("tmrTimer"));
    m_tmrTimer->setInterval(1000);
    connect(m_tmrTimer, &QTimer::timeout, this, &frmExam::Tick);
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) {
        if (now && now->parentWidget() == m_picQuestion)
            EnsureVisible(now);
    });
}

frmExam::~frmExam() = default;

void frmExam::BuildPage()
{
    // Without a floor the frame's height could turn negative.
    setMinimumSize(640, 480);

    QFont pageFont = font();
    pageFont.setPointSizeF(PageFontPoints);

    m_chkMarked = new QCheckBox(tr("&Mark this item for review"), this);
    m_chkMarked->setObjectName(QStringLiteral("chkMarked"));
    m_chkMarked->setFont(pageFont);

    m_lblTime = new QLabel(this);
    m_lblTime->setObjectName(QStringLiteral("lblTime"));
    QFont timeFont = pageFont;
    timeFont.setBold(true);
    m_lblTime->setFont(timeFont);
    m_lblTime->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    // Wide enough for any clock up to 99 hours, so the text never shifts.
    m_lblTime->resize(QFontMetrics(timeFont).horizontalAdvance(QStringLiteral("Time Remaining:  00:00:00")) + 8,
        m_lblTime->sizeHint().height());
    m_chkMarked->resize(m_chkMarked->sizeHint().width(), qMax(m_chkMarked->sizeHint().height(), m_lblTime->height()));
    m_lblTime->resize(m_lblTime->width(), m_chkMarked->height());

    m_picBorder = new QFrame(this);
    m_picBorder->setObjectName(QStringLiteral("picBorder"));
    m_picBorder->setFrameStyle(QFrame::Box | QFrame::Plain);
    m_picBorder->setLineWidth(1);
    m_picBorder->setForegroundRole(QPalette::Mid);
    m_picBorder->setBackgroundRole(QPalette::Base);
    m_picBorder->setAutoFillBackground(true);
    m_viewport = new QWidget(m_picBorder);
    m_viewport->setObjectName(QStringLiteral("viewport"));
    m_viewport->installEventFilter(this);

    m_picQuestion = new QWidget(m_viewport);
    m_picQuestion->setObjectName(QStringLiteral("picQuestion"));
    m_picQuestion->setFont(pageFont);
    m_picQuestion->installEventFilter(this);
    m_lblQuestion = new QLabel(m_picQuestion);
    m_lblQuestion->setObjectName(QStringLiteral("lblQuestion"));
    m_lblQuestion->setTextFormat(Qt::PlainText);
    m_lblQuestion->setWordWrap(true);
    m_lblQuestion->setAlignment(Qt::AlignLeft | Qt::AlignTop);

    m_vsbScroll = new QScrollBar(Qt::Vertical, m_viewport);
    m_vsbScroll->setObjectName(QStringLiteral("vsbScroll"));
    m_vsbScroll->setEnabled(false);
    m_vsbScroll->setRange(0, 0);
    connect(m_vsbScroll, &QScrollBar::valueChanged, this, &frmExam::ScrollTo);

    m_fraInfo = new Panel(m_viewport);
    m_fraInfo->setObjectName(QStringLiteral("fraInfo"));
    m_fraInfo->setFixedSize(InfoWidthPx, InfoHeightPx);
    m_fraInfo->SetBackColor(QColor(255, 255, 225));
    m_fraInfo->setCursor(Qt::SizeAllCursor);
    m_fraInfo->installEventFilter(this);
    m_lblAnswer = new QLabel(m_fraInfo);
    m_lblAnswer->setObjectName(QStringLiteral("lblAnswer"));
    m_lblAnswer->setTextFormat(Qt::PlainText);
    m_lblAnswer->setFont(pageFont);
    m_lblStatus = new QLabel(m_fraInfo);
    m_lblStatus->setObjectName(QStringLiteral("lblStatus"));
    m_lblStatus->setTextFormat(Qt::PlainText);
    QFont statusFont = pageFont;
    statusFont.setPointSizeF(StatusFontPoints);
    statusFont.setBold(true);
    m_lblStatus->setFont(statusFont);
    // The panel sits on the frame's Base background, which would make labels
    // paint in the Text role: the status colour lives in WindowText.
    m_lblStatus->setForegroundRole(QPalette::WindowText);
    m_cmdWhy = new QPushButton(tr("&Why?"), m_fraInfo);
    m_cmdWhy->setObjectName(QStringLiteral("cmdWhy"));
    m_cmdWhy->setAutoDefault(true);
    m_cmdWhy->setCursor(Qt::ArrowCursor);
    m_cmdWhy->hide();
    connect(m_cmdWhy, &QPushButton::clicked, this, &frmExam::cmdWhy_Click);
    auto* info = new QVBoxLayout(m_fraInfo);
    info->setContentsMargins(14, 10, 14, 10);
    info->addWidget(m_lblAnswer);
    info->addWidget(m_lblStatus);
    info->addWidget(m_cmdWhy, 0, Qt::AlignLeft);
    m_fraInfo->hide();

    m_cmdNext = MakeButton(tr("&Next"), "cmdNext", this);
    m_cmdNext->setDefault(true);
    m_cmdPrev = MakeButton(tr("&Previous"), "cmdPrev", this);
    m_cmdExhibit = MakeButton(tr("E&xhibit"), "cmdExhibit", this);
    m_cmdExhibit->hide();
    m_cmdReview = MakeButton(tr("&Review"), "cmdReview", this);
    connect(m_cmdNext, &QPushButton::clicked, this, &frmExam::cmdNext_Click);
    connect(m_cmdPrev, &QPushButton::clicked, this, &frmExam::cmdPrev_Click);
    connect(m_cmdExhibit, &QPushButton::clicked, this, &frmExam::cmdExhibit_Click);
    connect(m_cmdReview, &QPushButton::clicked, this, &frmExam::cmdReview_Click);

    setTabOrder(m_chkMarked, m_cmdNext);
    setTabOrder(m_cmdNext, m_cmdPrev);
    setTabOrder(m_cmdPrev, m_cmdExhibit);
    setTabOrder(m_cmdExhibit, m_cmdReview);

    // Row 1 is the template row of both kinds; its selectors also give the
    // width every row's selector takes, wide enough for any letter.
    ChoiceRow& first = RowAt(1);
    OptionAt(1)->setText(QStringLiteral("W."));
    CheckAt(1)->setText(QStringLiteral("W."));
    const QSize option = first.Option->sizeHint();
    const QSize check = first.Check->sizeHint();
    m_selectorWidth = Twips::FromPixels(qMax(option.width(), check.width()) + 6);
    m_selectorHeight = Twips::FromPixels(qMax(option.height(), check.height()));
    // A selector centres its caption on its height; the option text starts at
    // the same top, so it moves down by the difference to share the baseline.
    m_labelInset = qMax(0, (qMax(option.height(), check.height()) - QFontMetrics(pageFont).height()) / 2);
    first.Label->setContentsMargins(0, m_labelInset, 0, 0);
    first.Option->hide();
    first.Check->hide();
    first.Label->hide();
}

// ---------------------------------------------------------------------------
// Sitting

void frmExam::StartExam()
{
    if (!CurrentExam())
        return;
    const Exam& exam = *CurrentExam();
    if (exam.Questions().Count() == 0) {
        ShowMessage(QStringLiteral("This exam has no items and cannot be started."), 48);
        CurrentExam().reset();
        Q_EMIT finished();
        return;
    }
    m_currentIndex = 1;
    m_reviewMode = 0;
    m_secondsRemaining = RoundToInt16(double(exam.Duration()) * 60.0, QStringLiteral("frmExam::StartExam()"));

    // The same window may serve a second sitting: back to the taking state and
    // an empty page, which the first GotoQuestion saves over item 1.
    m_askingForTime = false;
    m_fraInfo->hide();
    m_lblTime->show();
    m_cmdWhy->hide();
    m_cmdReview->setEnabled(true);
    ClearChoices();
    m_chkMarked->setChecked(false);
    m_lblTime->setText(
        FormatText(QStringLiteral("Time Remaining:  {1}"), { FormatDuration(qMax<qint32>(m_secondsRemaining, 0)) }));

    const TwipsRect area = GetWorkArea();
    setGeometry(ToPixels(area));
    ArrangePage();
    GotoQuestion(1);

    if (m_catalogue)
        m_catalogue->hide();
    // Maximised, a window manager fits the frame and title bar into the work
    // area too; the geometry above is where the window returns when restored.
    showMaximized();
    activateWindow();
    FocusFirstChoice();
    m_tmrTimer->start();
}

void frmExam::GotoQuestion(qint16 index)
{
    const bool focusOnChoice = m_picQuestion->isAncestorOf(QApplication::focusWidget());
    {
        // Rows of the new item are built out of sight and drawn once.
        const bool updates = updatesEnabled();
        setUpdatesEnabled(false);
        const auto restore = qScopeGuard([this, updates] { setUpdatesEnabled(updates); });
        if (m_currentIndex > 0)
            SaveAnswer();
        m_currentIndex = index;
        ClearChoices();
        DisplayQuestion(CurrentQuestion());
        m_cmdPrev->setEnabled(!IsFirstQuestion());
        if (CurrentExam()->IsEnded())
            ShowStatus();
    }
    // Keyboard users stay among the options: the new item's first one.
    if (focusOnChoice)
        FocusFirstChoice();
}

void frmExam::FocusFirstChoice()
{
    if (m_rowCount < 1)
        return;
    QAbstractButton* first = m_rowsAreOptions ? static_cast<QAbstractButton*>(m_rows[0].Option) : m_rows[0].Check;
    if (first->isEnabled())
        first->setFocus(Qt::OtherFocusReason);
}

Question& frmExam::CurrentQuestion() const
{
    return CurrentExam()->Questions().Item(m_currentIndex);
}

void frmExam::SaveAnswer()
{
    Question& question = CurrentQuestion();
    question.SetAnswer(BuildAnswer(Selectors(question.AnswerCount() == 1)));
    question.SetIsMarked(m_chkMarked->isChecked());
}

void frmExam::ClearChoices()
{
    // Rows stay for the next item, hidden; hiding them is what the next item
    // sees, since LoadChoices resets every row it shows.
    for (qint32 i = 1; i <= qMax<qint32>(m_rowCount, 1); ++i) {
        ChoiceRow& row = m_rows[i - 1];
        if (row.Option)
            row.Option->hide();
        if (row.Check)
            row.Check->hide();
        row.Label->hide();
    }
    m_rowCount = 0;
    m_vsbScroll->setValue(0);
    m_picQuestion->move(0, 0);
}

void frmExam::DisplayQuestion(Question& question)
{
    const Exam& exam = *CurrentExam();
    CloseExhibit();
    m_lblQuestion->setText(question.Problem());

    QString title = FormatText(
        QStringLiteral("Exam: {1} - Item {2} of {3}"), { exam.Code(), question.Number(), exam.Questions().Count() });
    if (m_reviewMode == 1)
        title = FormatText(QStringLiteral("{1} - Reviewing All"), { title });
    else if (m_reviewMode == 2)
        title = FormatText(QStringLiteral("{1} - Reviewing Marked"), { title });
    setWindowTitle(title);

    LoadChoices(question);
    m_chkMarked->setChecked(question.IsMarked());
    m_cmdExhibit->setVisible(question.HasExhibit());
    m_chkMarked->setEnabled(!exam.IsEnded());
    ArrangeButtons();
}

void frmExam::LoadChoices(Question& question)
{
    const bool ended = CurrentExam()->IsEnded();
    m_rowsAreOptions = question.AnswerCount() == 1;
    if (m_rowsAreOptions)
        SetOption(OptionAt(1), false);
    else
        CheckAt(1)->setChecked(false);

    const Choices& choices = question.Choices();
    m_rowCount = qint32(choices.Count());
    qint32 i = 0;
    for (const Choice& choice : choices) {
        ++i;
        ChoiceRow& row = RowAt(i);
        QAbstractButton* selector = m_rowsAreOptions ? static_cast<QAbstractButton*>(OptionAt(i)) : CheckAt(i);
        selector->setEnabled(!ended);
        row.Label->setText(choice.Statement());
        selector->setText(QString(QChar(ushort(64 + choice.Number()))) + QLatin1Char('.'));
        if (m_rowsAreOptions)
            SetOption(row.Option, false);
        else
            row.Check->setChecked(false);
    }
    // Heights and places of every row at once, then the rows appear.
    ArrangeContent();
    for (i = 1; i <= m_rowCount; ++i) {
        ChoiceRow& row = m_rows[i - 1];
        if (m_rowsAreOptions)
            row.Option->show();
        else
            row.Check->show();
        row.Label->show();
    }

    // The same path as a click, so a check box answer passes the selection
    // limit again; a stored answer never exceeds it.
    for (qint16 number : ParseAnswer(question.Answer())) {
        if (number < 1 || number > m_rowCount)
            continue; // not an answer BuildAnswer can have produced for this item
        if (m_rowsAreOptions)
            SetOption(m_rows[number - 1].Option, true);
        else
            m_rows[number - 1].Check->setChecked(true);
    }
}

QString frmExam::BuildAnswer(const QList<QAbstractButton*>& selectors)
{
    QString answer;
    for (qsizetype i = 0; i < selectors.size(); ++i) {
        const QAbstractButton* selector = selectors[i];
        if (!selector)
            continue;
        bool selected = false;
        if (const auto* check = qobject_cast<const QCheckBox*>(selector))
            selected = check->checkState() == Qt::Checked;
        else
            selected = selector->isChecked();
        if (selected)
            answer += QString::number(i + 1) + QLatin1Char(',');
    }
    if (answer.size() > 1)
        answer.chop(1);
    return answer;
}

QList<qint16> frmExam::ParseAnswer(const QString& answer)
{
    QList<qint16> numbers;
    auto append = [&numbers](const QString& piece) {
        bool ok = false;
        const double value = TrimBlanks(piece).toDouble(&ok);
        if (!ok)
            Error::Raise(
                ErrorNumber::TypeMismatch, QStringLiteral("frmExam::ParseAnswer()"), QStringLiteral("Type mismatch"));
        numbers.append(RoundToInt16(value, QStringLiteral("frmExam::ParseAnswer()")));
    };
    QString rest = answer;
    qsizetype comma = rest.indexOf(QLatin1Char(','));
    while (comma >= 0) {
        append(rest.left(comma));
        rest = rest.mid(comma + 1);
        comma = rest.indexOf(QLatin1Char(','));
    }
    if (!rest.isEmpty())
        append(rest);
    return numbers;
}

// ---------------------------------------------------------------------------
// Option rows

frmExam::ChoiceRow& frmExam::RowAt(qint32 index)
{
    while (qint32(m_rows.size()) < index) {
        const qint32 number = qint32(m_rows.size()) + 1;
        ChoiceRow row;
        row.Label = new QLabel(m_picQuestion);
        row.Label->setObjectName(QStringLiteral("lblChoices%1").arg(number));
        row.Label->setTextFormat(Qt::PlainText);
        row.Label->setWordWrap(true);
        row.Label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        row.Label->setContentsMargins(0, m_labelInset, 0, 0);
        row.Label->setProperty("ChoiceIndex", number);
        row.Label->installEventFilter(this);
        m_rows.push_back(row);
    }
    return m_rows[index - 1];
}

QRadioButton* frmExam::OptionAt(qint32 index)
{
    ChoiceRow& row = RowAt(index);
    if (!row.Option) {
        row.Option = new QRadioButton(m_picQuestion);
        row.Option->setObjectName(QStringLiteral("optChoices%1").arg(index));
        row.Option->hide();
        setTabOrder(PreviousSelector(index, true), row.Option);
    }
    return row.Option;
}

QCheckBox* frmExam::CheckAt(qint32 index)
{
    ChoiceRow& row = RowAt(index);
    if (!row.Check) {
        row.Check = new QCheckBox(m_picQuestion);
        row.Check->setObjectName(QStringLiteral("chkChoices%1").arg(index));
        row.Check->hide();
        setTabOrder(PreviousSelector(index, false), row.Check);
        connect(row.Check, &QCheckBox::toggled, this, [this, index](bool checked) { CheckBoxToggled(index, checked); });
    }
    return row.Check;
}

QWidget* frmExam::PreviousSelector(qint32 index, bool radio) const
{
    // Tab runs from the mark box through the options, top to bottom, to the
    // buttons: each new selector goes after the one above it.
    for (qint32 i = index - 1; i >= 1; --i) {
        const ChoiceRow& row = m_rows[i - 1];
        if (QWidget* above = radio ? static_cast<QWidget*>(row.Option) : row.Check)
            return above;
    }
    return m_chkMarked;
}

QList<QAbstractButton*> frmExam::Selectors(bool radio) const
{
    QList<QAbstractButton*> selectors;
    selectors.reserve(m_rowCount);
    for (qint32 i = 0; i < m_rowCount; ++i) {
        const ChoiceRow& row = m_rows[i];
        selectors.append(radio ? static_cast<QAbstractButton*>(row.Option) : row.Check);
    }
    return selectors;
}

void frmExam::SetOption(QRadioButton* option, bool on)
{
    if (!on && option->isChecked()) {
        // An auto-exclusive button refuses to be switched off directly.
        option->setAutoExclusive(false);
        option->setChecked(false);
        option->setAutoExclusive(true);
        return;
    }
    option->setChecked(on);
}

void frmExam::CheckBoxToggled(qint32 index, bool checked)
{
    // Unchecking can only lower the count; rows outside the item on screen
    // are being reset.
    if (!checked || index > m_rowCount || m_currentIndex < 1)
        return;
    const Question& question = CurrentQuestion();
    if (!question.HasHint())
        return;
    if (ItemCount(BuildAnswer(Selectors(false))) > question.AnswerCount()) {
        m_rows[index - 1].Check->setChecked(false);
        ShowMessage(QStringLiteral("You cannot select more than {1} options for this question. To select this "
                                   "option, please unselect another."),
            64, { question.AnswerCount() });
    }
}

void frmExam::LabelClicked(qint32 index)
{
    if (CurrentExam()->IsEnded() || index > m_rowCount)
        return;
    // More than one answer toggles the check box; otherwise the radio button
    // is set, even for an item without any answer, whose page shows check
    // boxes: that radio button is hidden and counts for nothing.
    QAbstractButton* selector = nullptr;
    if (CurrentQuestion().AnswerCount() > 1) {
        QCheckBox* check = CheckAt(index);
        check->setChecked(check->checkState() != Qt::Checked);
        selector = check;
    } else {
        selector = OptionAt(index);
        SetOption(OptionAt(index), true);
    }
    if (selector->isVisible())
        selector->setFocus(Qt::MouseFocusReason);
}

// ---------------------------------------------------------------------------
// Navigation

bool frmExam::IsFirstQuestion() const
{
    return m_currentIndex == 1;
}

bool frmExam::IsLastQuestion() const
{
    return m_currentIndex == CurrentExam()->Questions().Count();
}

bool frmExam::IsFirstMarked() const
{
    const Questions& questions = CurrentExam()->Questions();
    if (!CurrentQuestion().IsMarked())
        return false;
    for (qint32 i = 1; i < m_currentIndex; ++i) {
        if (questions.Item(i).IsMarked())
            return false;
    }
    return true;
}

bool frmExam::IsLastMarked() const
{
    const Questions& questions = CurrentExam()->Questions();
    if (!CurrentQuestion().IsMarked())
        return false;
    for (qsizetype i = m_currentIndex + 1; i <= questions.Count(); ++i) {
        if (questions.Item(i).IsMarked())
            return false;
    }
    return true;
}

void frmExam::GotoFirstMarked()
{
    const Questions& questions = CurrentExam()->Questions();
    for (qsizetype i = 1; i <= questions.Count(); ++i) {
        if (questions.Item(i).IsMarked()) {
            GotoQuestion(qint16(i));
            return;
        }
    }
}

void frmExam::GotoNextMarked()
{
    const Questions& questions = CurrentExam()->Questions();
    for (qsizetype i = m_currentIndex + 1; i <= questions.Count(); ++i) {
        if (questions.Item(i).IsMarked()) {
            GotoQuestion(qint16(i));
            return;
        }
    }
}

void frmExam::GotoPreviousMarked()
{
    const Questions& questions = CurrentExam()->Questions();
    for (qint32 i = m_currentIndex - 1; i >= 1; --i) {
        if (questions.Item(i).IsMarked()) {
            GotoQuestion(qint16(i));
            break;
        }
    }
    // Only going back applies the marked-item rule to Previous; going forward
    // leaves the first-item rule of GotoQuestion in force.
    m_cmdPrev->setEnabled(!IsFirstMarked());
}

void frmExam::PressReview()
{
    m_cmdReview->setEnabled(true);
    m_cmdReview->click();
}

void frmExam::cmdNext_Click()
{
    if (m_reviewMode != 2) {
        if (IsLastQuestion())
            PressReview();
        else
            GotoQuestion(m_currentIndex + 1);
    } else {
        if (IsLastMarked())
            PressReview();
        else
            GotoNextMarked();
    }
}

void frmExam::cmdPrev_Click()
{
    if (m_reviewMode != 2)
        GotoQuestion(m_currentIndex - 1);
    else
        GotoPreviousMarked();
}

void frmExam::cmdReview_Click()
{
    SaveAnswer();
    OpenReviewList();
    if (CurrentExam() && CurrentExam()->IsEnded())
        StartPostExamReview();
}

void frmExam::cmdExhibit_Click()
{
    OpenExhibit(CurrentQuestion().Exhibit());
}

void frmExam::cmdWhy_Click()
{
    OpenExplanation(m_currentIndex);
}

// ---------------------------------------------------------------------------
// Clock and the end of the exam

void frmExam::Tick()
{
    // The time question is asked once: ticks that arrive while it, or the
    // report after it, is open are dropped. After the end nothing is timed.
    if (m_askingForTime || !CurrentExam() || CurrentExam()->IsEnded())
        return;
    m_secondsRemaining = qint16(m_secondsRemaining - 1);
    if (m_secondsRemaining >= 0) {
        m_lblTime->setText(FormatText(QStringLiteral("Time Remaining:  {1}"), { FormatDuration(m_secondsRemaining) }));
        return;
    }
    m_askingForTime = true;
    const auto reset = qScopeGuard([this] { m_askingForTime = false; });
    if (AskForMoreTime() == MessageSeam::Yes) {
        m_secondsRemaining = 1800;
        return;
    }
    // Scored as last saved: the page on screen is not saved first.
    CurrentExam()->EndExam();
    OpenReport();
    StartPostExamReview();
}

int frmExam::AskForMoreTime()
{
    return ShowMessage(
        QStringLiteral("The time has elapsed for this exam. Would you like to continue for another 30 minutes?"), 36);
}

void frmExam::StartPostExamReview()
{
    m_tmrTimer->stop();
    m_fraInfo->show();
    m_fraInfo->raise();
    m_lblTime->hide();
    // Show the item on screen as the model holds it: read-only, with its
    // status. After a time-out the page may still show an unsaved choice that
    // the score did not see; it must not look as if it counted.
    const bool updates = updatesEnabled();
    setUpdatesEnabled(false);
    const auto restore = qScopeGuard([this, updates] { setUpdatesEnabled(updates); });
    ClearChoices();
    DisplayQuestion(CurrentQuestion());
    ShowStatus();
}

void frmExam::ShowStatus()
{
    const Question& question = CurrentQuestion();
    const QString key = question.CorrectAnswer();
    m_lblAnswer->setText(FormatText(QStringLiteral("Answer: {1}"), { AnswerLetters(key) }));
    const bool correct = question.Answer() == key;
    m_lblStatus->setText(correct ? QStringLiteral("CORRECT") : QStringLiteral("INCORRECT"));
    QPalette palette = m_lblStatus->palette();
    palette.setColor(QPalette::WindowText, correct ? CorrectColor : IncorrectColor);
    m_lblStatus->setPalette(palette);
    m_cmdWhy->setVisible(!question.Explaination().isEmpty());
}

void frmExam::closeEvent(QCloseEvent* event)
{
    if (CurrentExam() && !CurrentExam()->IsEnded()
        && ShowMessage(QStringLiteral("Are you sure you want to terminate the exam?"), 36) != MessageSeam::Yes) {
        event->ignore();
        return;
    }
    event->accept();
    Unload();
}

void frmExam::Unload()
{
    m_tmrTimer->stop();
    CloseExhibit();
    hide();
    CurrentExam().reset();
    m_currentIndex = 0;
    m_rowCount = 0;
    if (m_catalogue)
        m_catalogue->show();
    Q_EMIT finished();
}

// ---------------------------------------------------------------------------
// The windows opened from here

void frmExam::CloseExhibit()
{
    if (m_exhibit) {
        m_exhibit->close();
        delete m_exhibit.data();
    }
}

void frmExam::OpenExhibit(const QString& fileName)
{
    if (!m_exhibit)
        m_exhibit = new frmExhibit(this);
    try {
        m_exhibit->SetExhibit(fileName);
    } catch (...) {
        ShowMessage(QStringLiteral("The exhibit cannot be displayed because required files are missing or corrupt. "
                                   "Please reinstall the exam pack."),
            16);
        return;
    }
    m_exhibit->show();
    m_exhibit->raise();
}

void frmExam::OpenExplanation(qint16 number)
{
    frmExplain explain(this);
    explain.SetQuestionNumber(number);
    explain.exec();
}

void frmExam::OpenReviewList()
{
    frmReview review(*CurrentExam(), this);
    connect(&review, &frmReview::reviewAllRequested, this, [this] {
        m_reviewMode = 1;
        GotoQuestion(1);
    });
    connect(&review, &frmReview::reviewMarkedRequested, this, [this] {
        m_reviewMode = 2;
        GotoFirstMarked();
    });
    connect(&review, &frmReview::gotoRequested, this, [this](qint16 index) { GotoQuestion(index); });
    connect(&review, &frmReview::examEnded, this, [this] { GotoQuestion(1); });
    review.exec();
}

void frmExam::OpenReport()
{
    frmReport report(*CurrentExam(), this);
    report.exec();
}

// ---------------------------------------------------------------------------
// Geometry

PageGeometry::PageInput frmExam::MeasurePage() const
{
    PageGeometry::PageInput in;
    in.WindowInnerWidth = Twips::FromPixels(width());
    in.WindowInnerHeight = Twips::FromPixels(height());
    in.MarkTop = MarkTop;
    in.MarkHeight = Twips::FromPixels(m_chkMarked->height());
    in.FrameBorder = Twips::FromPixels(m_picBorder->frameWidth());
    in.ScrollBarWidth = Twips::FromPixels(m_vsbScroll->sizeHint().width());
    in.TimeWidth = Twips::FromPixels(m_lblTime->width());
    in.InfoWidth = Twips::FromPixels(m_fraInfo->width());
    in.InfoHeight = Twips::FromPixels(m_fraInfo->height());
    in.ButtonHeight = Twips::FromPixels(m_cmdNext->height());
    in.ReviewWidth = Twips::FromPixels(m_cmdReview->width());
    in.ExhibitVisible = !m_cmdExhibit->isHidden();
    return in;
}

void frmExam::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    ArrangePage();
}

void frmExam::ArrangePage()
{
    m_layout = PageGeometry::LayoutPage(MeasurePage());
    const QRect frame = ToPixels(m_layout.Frame);
    m_picBorder->setGeometry(frame);
    m_viewport->setGeometry(m_picBorder->contentsRect());
    m_chkMarked->move(Twips::ToPixels(m_layout.MarkLeft), Twips::ToPixels(MarkTop));
    m_lblTime->move(Twips::ToPixels(m_layout.TimeLeft), Twips::ToPixels(MarkTop));
    m_vsbScroll->setGeometry(ToPixels(m_layout.ScrollBar));
    m_vsbScroll->raise();
    // The content shows from its top again; the scroll bar keeps its value
    // until it is next moved.
    m_picQuestion->move(0, 0);
    m_infoPosition = m_layout.InfoHome;
    m_fraInfo->move(Twips::ToPixels(m_infoPosition.X), Twips::ToPixels(m_infoPosition.Y));
    m_fraInfo->raise();
    ArrangeContent();
    ArrangeButtons();
}

void frmExam::ArrangeButtons()
{
    const PageGeometry::PageInput in = MeasurePage();
    m_layout.Buttons = PageGeometry::LayoutButtons(m_layout.Frame.Left, m_layout.Frame.Width(), in.WindowInnerHeight,
        in.ButtonHeight, in.ReviewWidth, in.ExhibitVisible);
    const int top = Twips::ToPixels(m_layout.Buttons.Top);
    m_cmdNext->move(Twips::ToPixels(m_layout.Buttons.NextLeft), top);
    m_cmdPrev->move(Twips::ToPixels(m_layout.Buttons.PrevLeft), top);
    m_cmdExhibit->move(Twips::ToPixels(m_layout.Buttons.ExhibitLeft), top);
    m_cmdReview->move(Twips::ToPixels(m_layout.Buttons.ReviewLeft), top);
}

void frmExam::ArrangeContent()
{
    TwipsRect question { QuestionInset, QuestionInset, QuestionInset + m_layout.QuestionWidth, QuestionInset };
    const int questionWidthPx = qMax(1, Twips::ToPixels(m_layout.QuestionWidth));
    m_questionHeight = Twips::FromPixels(m_lblQuestion->heightForWidth(questionWidthPx));
    question.Bottom = question.Top + m_questionHeight;
    m_lblQuestion->setGeometry(ToPixels(question));

    // Every option text wraps to the same width: measure them all, then place.
    const int labelWidthPx = qMax(1, Twips::ToPixels(PageGeometry::ChoiceLabelWidth(question, m_selectorWidth)));
    QList<qint32> heights;
    heights.reserve(m_rowCount);
    for (qint32 i = 0; i < m_rowCount; ++i) {
        m_rows[i].LabelHeight = Twips::FromPixels(m_rows[i].Label->heightForWidth(labelWidthPx));
        heights.append(m_rows[i].LabelHeight);
    }
    const PageGeometry::Content content
        = PageGeometry::LayoutChoices(question, m_selectorWidth, m_selectorHeight, heights);
    for (qint32 i = 0; i < m_rowCount; ++i) {
        ChoiceRow& row = m_rows[i];
        QAbstractButton* selector = m_rowsAreOptions ? static_cast<QAbstractButton*>(row.Option) : row.Check;
        selector->setGeometry(ToPixels(content.Rows[i].Selector));
        row.Label->setGeometry(ToPixels(content.Rows[i].Label));
    }
    m_contentHeight = content.Height;
    m_picQuestion->resize(Twips::ToPixels(m_layout.ContentWidth), Twips::ToPixels(m_contentHeight));
    UpdateScrollRange();
}

void frmExam::UpdateScrollRange()
{
    const PageGeometry::ScrollRange range
        = PageGeometry::ScrollFor(m_layout.Frame.Height(), m_layout.FrameInnerHeight, m_contentHeight);
    m_vsbScroll->setEnabled(range.Enabled);
    m_vsbScroll->setRange(range.Min, range.Max);
    m_vsbScroll->setSingleStep(qMax(1, range.SmallChange));
    m_vsbScroll->setPageStep(qMax(1, range.LargeChange));
}

void frmExam::ScrollTo(qint32 value)
{
    m_picQuestion->move(0, -Twips::ToPixels(value));
}

void frmExam::EnsureVisible(QWidget* child)
{
    if (!m_vsbScroll->isEnabled())
        return;
    const qint32 top = Twips::FromPixels(child->y());
    const qint32 bottom = Twips::FromPixels(child->y() + child->height());
    const qint32 value = m_vsbScroll->value();
    if (top < value)
        m_vsbScroll->setValue(top - 200);
    else if (bottom > value + m_layout.FrameInnerHeight)
        m_vsbScroll->setValue(bottom - m_layout.FrameInnerHeight + 200);
}

void frmExam::DragInfoPanel(QEvent* event)
{
    const auto* mouse = static_cast<QMouseEvent*>(event);
    const QPoint at = mouse->position().toPoint();
    const PageGeometry::Point pointer { Twips::FromPixels(at.x()), Twips::FromPixels(at.y()) };
    if (event->type() == QEvent::MouseButtonPress && mouse->button() == Qt::LeftButton) {
        m_infoPress = pointer;
    } else if (event->type() == QEvent::MouseMove && (mouse->buttons() & Qt::LeftButton)) {
        const PageGeometry::DragBounds bounds = PageGeometry::InfoDragBounds(m_layout.FrameInnerWidth,
            m_layout.FrameInnerHeight, m_layout.ScrollBar.Width(), Twips::FromPixels(m_fraInfo->width()),
            Twips::FromPixels(m_fraInfo->height()));
        m_infoPosition = PageGeometry::DragInfo(m_infoPosition, pointer, m_infoPress, bounds);
        m_fraInfo->move(Twips::ToPixels(m_infoPosition.X), Twips::ToPixels(m_infoPosition.Y));
    }
}

// ---------------------------------------------------------------------------
// Events

bool frmExam::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseMove:
        if (watched == m_fraInfo) {
            DragInfoPanel(event);
            return false;
        }
        if (auto* label = qobject_cast<QLabel*>(watched); label && label->parentWidget() == m_picQuestion) {
            const auto* mouse = static_cast<QMouseEvent*>(event);
            if (mouse->button() != Qt::LeftButton)
                break;
            if (event->type() == QEvent::MouseButtonPress) {
                m_pressedLabel = label;
            } else if (event->type() == QEvent::MouseButtonRelease) {
                // A click is a press and a release on the same label.
                const bool click = m_pressedLabel == label && label->rect().contains(mouse->position().toPoint());
                m_pressedLabel = nullptr;
                const qint32 index = label->property("ChoiceIndex").toInt();
                if (click && index > 0)
                    LabelClicked(index);
            }
            return true;
        }
        break;
    case QEvent::Wheel:
        if ((watched == m_viewport || watched == m_picQuestion) && m_vsbScroll->isEnabled()) {
            QCoreApplication::sendEvent(m_vsbScroll, event);
            return true;
        }
        break;
    default:
        break;
    }
    return QWidget::eventFilter(watched, event);
}

void frmExam::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (m_cmdNext->isEnabled() && (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier) {
            m_cmdNext->click();
            return;
        }
        break;
    case Qt::Key_PageDown:
        m_vsbScroll->triggerAction(QAbstractSlider::SliderPageStepAdd);
        return;
    case Qt::Key_PageUp:
        m_vsbScroll->triggerAction(QAbstractSlider::SliderPageStepSub);
        return;
    default:
        break;
    }
    QWidget::keyPressEvent(event);
}
