#include "session/frmExam.h"

#include "model/Error.h"
#include "model/Exam.h"
#include "model/FileDigest.h"
#include "session/QuestionPanel.h"
#include "session/frmExhibit.h"
#include "session/frmExplain.h"
#include "shell/Common.h"
#include "shell/Globals.h"
#include "shell/DisplaySettings.h"
#include "shell/MessageSeam.h"
#include "shell/frmReport.h"
#include "shell/frmReview.h"
#include "shell/frmShortcuts.h"

#include <QAbstractSpinBox>
#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QShortcut>
#include <QTextEdit>
#include <QTimer>

namespace {

// Page design, in twips where it is a length.
constexpr qint32 MarkTop = 120;
constexpr qreal PageFontPoints = 12;
constexpr int ButtonWidthPx = 120;
constexpr int ButtonHeightPx = 34;
constexpr int NoteMilliseconds = 6000;

// Whether `widget` takes typed text, and so keeps every key to itself.
bool IsTextField(const QWidget* widget)
{
    if (!widget)
        return false;
    if (const auto* combo = qobject_cast<const QComboBox*>(widget))
        return combo->isEditable();
    return qobject_cast<const QLineEdit*>(widget) || qobject_cast<const QTextEdit*>(widget)
        || qobject_cast<const QPlainTextEdit*>(widget) || qobject_cast<const QAbstractSpinBox*>(widget);
}

// A warning colour readable on `background`, light or dark.
QColor WarningColor(const QColor& background)
{
    return background.lightness() < 128 ? QColor(255, 138, 101) : QColor(179, 38, 30);
}

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
    m_chkMarked->setAccessibleDescription(tr("Marked items can be revisited from the review list"));

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

    m_lblNote = new QLabel(this);
    m_lblNote->setObjectName(QStringLiteral("lblNote"));
    m_lblNote->setFont(timeFont);
    m_lblNote->setFrameStyle(QFrame::Box | QFrame::Plain);
    m_lblNote->setMargin(6);
    m_lblNote->setAutoFillBackground(true);
    m_lblNote->setBackgroundRole(QPalette::ToolTipBase);
    m_lblNote->setForegroundRole(QPalette::ToolTipText);
    m_lblNote->setFocusPolicy(Qt::NoFocus);
    m_lblNote->hide();
    m_tmrNote = new QTimer(this);
    m_tmrNote->setObjectName(QStringLiteral("tmrNote"));
    m_tmrNote->setSingleShot(true);
    m_tmrNote->setInterval(NoteMilliseconds);
    connect(m_tmrNote, &QTimer::timeout, m_lblNote, &QWidget::hide);

    m_picBorder = new QuestionPanel(m_chkMarked, this);
    connect(m_picBorder, &QuestionPanel::labelClicked, this, &frmExam::LabelClicked);
    connect(m_picBorder, &QuestionPanel::boxChecked, this, &frmExam::BoxChecked);
    connect(m_picBorder, &QuestionPanel::whyClicked, this, &frmExam::cmdWhy_Click);
    connect(m_picBorder, &QuestionPanel::checkClicked, this, &frmExam::cmdCheck_Click);
    connect(m_picBorder, &QuestionPanel::strikeRequested, this, &frmExam::ToggleStrike);

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

    // The mark box, the options and the information panel (the panel's own
    // order), then the buttons from left to right.
    setTabOrder(m_picBorder->LastInTabOrder(), m_cmdNext);
    setTabOrder(m_cmdNext, m_cmdPrev);
    setTabOrder(m_cmdPrev, m_cmdExhibit);
    setTabOrder(m_cmdExhibit, m_cmdReview);

    // Shortcuts, not key handlers: the focused radio button would otherwise
    // take Ctrl+arrows as its own moves. A text field overrides them.
    for (const QKeyCombination keys : { Qt::CTRL | Qt::Key_Right, Qt::CTRL | Qt::Key_Left, Qt::CTRL | Qt::Key_End }) {
        auto* shortcut = new QShortcut(QKeySequence(keys), this);
        connect(shortcut, &QShortcut::activated, this, [this, keys] { RunKey(keys.key(), keys.keyboardModifiers()); });
    }
    TextScale::AddKeys(this, [this](TextScale::Change change) {
        SetTextScale(TextScale::Apply(change, m_textScale));
        DisplaySettings::StoreTextScale(m_textScale);
    });
    frmShortcuts::AddHelpKey(this);
}

void frmExam::SetTextScale(qint32 percent)
{
    m_textScale = percent;
    m_picBorder->SetTextScale(percent);
}

// ---------------------------------------------------------------------------
// Sitting

void frmExam::StartExam()
{
    Begin(ExamSession::Kind::Exam, {});
}

void frmExam::StartStudy(const QList<qint16>& onlyNumbers)
{
    if (!CurrentExam())
        return;
    const QByteArray digest = FileSha256(CurrentExam()->FileName());
    QList<qint16> original;
    if (!onlyNumbers.isEmpty())
        original = ExamSession::RestrictTo(*CurrentExam(), onlyNumbers);
    Begin(ExamSession::Kind::Study, original, digest);
}

void frmExam::StartRetake(const QString& examPath, const QByteArray& expectedDigest, const QList<qint16>& numbers)
{
    const QByteArray digest = FileSha256(examPath);
    if (digest.isEmpty() || digest != expectedDigest) {
        ShowMessage(QStringLiteral("The exam file {1} cannot be read or has changed since that attempt, so its missed "
                                   "items cannot be retaken."),
            48, { examPath });
        return;
    }
    auto exam = std::make_shared<Exam>();
    try {
        exam->Load(examPath);
    } catch (const Error& error) {
        ShowMessage(QStringLiteral("The exam file {1} cannot be read:{CRLF}{2}"), 16, { examPath, error.Description() });
        return;
    }
    const qsizetype total = exam->Questions().Count();
    const QList<qint16> original = ExamSession::RestrictTo(*exam, numbers);
    if (original.isEmpty()) {
        ShowMessage(QStringLiteral("There are no missed items to retake."), 64);
        return;
    }
    exam->SetDuration(ExamSession::ScaledMinutes(exam->Duration(), total, original.size()));
    CurrentExam() = exam;
    Begin(ExamSession::Kind::Retake, original, digest);
}

void frmExam::Begin(ExamSession::Kind kind, const QList<qint16>& original, QByteArray digest)
{
    if (!CurrentExam())
        return;
    if (CurrentExam()->Questions().Count() == 0) {
        ShowMessage(QStringLiteral("This exam has no items and cannot be started."), 48);
        CurrentExam().reset();
        Q_EMIT finished();
        return;
    }
    m_session.Start(*CurrentExam(), kind, original);
    if (digest.isEmpty())
        digest = FileSha256(CurrentExam()->FileName());
    m_session.SetSource(CurrentExam()->FileName(), digest);
    m_retakeAsked = false;

    // The same window may serve a second sitting: back to the taking state and
    // an empty page, which the first GotoQuestion saves over item 1.
    m_picBorder->SetInfoVisible(m_session.IsStudy());
    m_lblTime->setVisible(!m_session.IsStudy());
    m_cmdReview->setEnabled(true);
    m_picBorder->ClearChoices();
    m_chkMarked->setChecked(false);
    m_tmrNote->stop();
    m_lblNote->hide();
    ShowLowTime(false);
    m_lblTime->setText(
        FormatText(QStringLiteral("Time Remaining:  {1}"), { FormatDuration(qMax<qint32>(m_session.SecondsRemaining(), 0)) }));
    m_lblTime->setAccessibleName(m_lblTime->text());

    m_textScale = DisplaySettings::StoredTextScale();
    m_picBorder->SetTextScale(m_textScale);
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
    m_picBorder->FocusFirstChoice();
    // The sitting is led by keyboard as much as by mouse: the focus shows
    // from the start, not only after the first Tab.
    setAttribute(Qt::WA_KeyboardFocusChange);
    m_tmrTimer->start();
}

void frmExam::GotoQuestion(qint16 index)
{
    const bool focusOnChoice = m_picBorder->HasChoiceFocus();
    // Updates stay on: nothing is painted before the event loop runs, and
    // then only what changed. Turning them off and on again would repaint the
    // whole window twice per item (the window as one opaque area, then the
    // rows over it), four times the pixels and a wait on the painting threads.
    if (m_session.CurrentIndex() > 0)
        SaveAnswer();
    m_session.SetCurrentIndex(index);
    ClearChoices();
    DisplayQuestion(CurrentQuestion());
    m_cmdPrev->setEnabled(m_session.PrevEnabledAfterGoto());
    if (m_session.ShowsStatus())
        ShowStatus();
    else if (m_session.IsStudy())
        m_picBorder->ShowCheck();
    // Keyboard users stay among the options: the new item's first one.
    if (focusOnChoice)
        m_picBorder->FocusFirstChoice();
}

Question& frmExam::CurrentQuestion() const
{
    return m_session.CurrentQuestion();
}

void frmExam::SaveAnswer()
{
    m_session.SaveAnswer(m_picBorder->Answer(CurrentQuestion().AnswerCount() == 1), m_chkMarked->isChecked());
}

void frmExam::ClearChoices()
{
    m_picBorder->ClearChoices();
}

void frmExam::DisplayQuestion(Question& question)
{
    CloseExhibit();
    m_picBorder->SetQuestion(question.Problem());
    setWindowTitle(m_session.Title(question));
    LoadChoices(question);
    ShowStruck();
    m_chkMarked->setChecked(question.IsMarked());
    m_cmdExhibit->setVisible(question.HasExhibit());
    m_chkMarked->setEnabled(m_session.MarkEnabled());
    // The page is arranged afresh: the information panel goes home too.
    ArrangeButtons();
    m_picBorder->HomeInfo();
}

void frmExam::LoadChoices(Question& question)
{
    QList<QuestionPanel::ChoiceText> choices;
    choices.reserve(question.Choices().Count());
    for (const Choice& choice : question.Choices())
        choices.append({ choice.Number(), choice.Statement() });
    m_picBorder->LoadChoices(
        question.AnswerCount() == 1, choices, m_session.RowsEnabled(), ParseAnswer(question.Answer()));
}

QString frmExam::BuildAnswer(const QList<QAbstractButton*>& selectors)
{
    return QuestionPanel::BuildAnswer(selectors);
}

void frmExam::BoxChecked(qint32 index)
{
    // Unchecking can only lower the count, so only a check is looked at.
    if (m_session.CurrentIndex() < 1)
        return;
    const Question& question = CurrentQuestion();
    if (ExamSession::ExceedsLimit(question.HasHint(), question.AnswerCount(), m_picBorder->Answer(false))) {
        m_picBorder->UncheckBox(index);
        ShowMessage(ExamSession::LimitMessage(), 64, { question.AnswerCount() });
    }
}

void frmExam::LabelClicked(qint32 index)
{
    switch (ExamSession::LabelClick(!m_session.RowsEnabled(), CurrentQuestion().AnswerCount())) {
    case ExamSession::LabelAction::Ignore:
        break;
    case ExamSession::LabelAction::ToggleCheckBox:
        m_picBorder->ToggleCheckBox(index);
        break;
    case ExamSession::LabelAction::SetOption:
        m_picBorder->SelectOption(index);
        break;
    }
}

// ---------------------------------------------------------------------------
// Navigation

void frmExam::Apply(const ExamSession::Move& move)
{
    if (move.action == ExamSession::Move::Goto)
        GotoQuestion(move.index);
    else if (move.action == ExamSession::Move::OpenReview)
        PressReview();
    if (move.prevEnabled)
        m_cmdPrev->setEnabled(*move.prevEnabled);
}

void frmExam::GotoFirstMarked()
{
    Apply(m_session.FirstMarked());
}

void frmExam::GotoNextMarked()
{
    Apply(m_session.NextMarked());
}

void frmExam::GotoPreviousMarked()
{
    Apply(m_session.PreviousMarked());
}

void frmExam::PressReview()
{
    m_cmdReview->setEnabled(true);
    m_cmdReview->click();
}

void frmExam::cmdNext_Click()
{
    Apply(m_session.Next());
}

void frmExam::cmdPrev_Click()
{
    Apply(m_session.Prev());
}

void frmExam::cmdReview_Click()
{
    SaveAnswer();
    OpenReviewList();
    if (CurrentExam() && CurrentExam()->IsEnded())
        StartPostExamReview();
    RetakeIfAsked();
}

void frmExam::cmdCheck_Click()
{
    if (!m_session.IsStudy() || m_session.ShowsStatus())
        return;
    // Saved as on any change of item, then shown again locked, with its verdict.
    m_session.Check();
    GotoQuestion(m_session.CurrentIndex());
    m_cmdNext->setFocus(Qt::OtherFocusReason);
}

void frmExam::cmdExhibit_Click()
{
    OpenExhibit(CurrentQuestion().Exhibit());
}

void frmExam::cmdWhy_Click()
{
    OpenExplanation(m_session.CurrentIndex());
}

// ---------------------------------------------------------------------------
// Clock and the end of the exam

void frmExam::Tick()
{
    const ExamSession::TickResult tick = m_session.Tick();
    if (tick.action == ExamSession::TickResult::ShowTime) {
        m_lblTime->setText(tick.label);
        // Assistive technology hears the time at most once a minute, every
        // second of the last one; an own name keeps each tick's text quiet.
        if (tick.announce)
            m_lblTime->setAccessibleName(tick.label);
        ShowLowTime(tick.lowTimeCue);
    }
    if (tick.action != ExamSession::TickResult::AskForMoreTime
        || m_session.AnswerTimeQuestion(AskForMoreTime() == MessageSeam::Yes) == ExamSession::TimeAnswer::Continue)
        return;
    EndSitting();
    OpenReport();
    StartPostExamReview();
    RetakeIfAsked();
}

void frmExam::EndSitting()
{
    m_result = m_session.Result();
    Q_EMIT sittingEnded(m_result);
}

void frmExam::RetakeIfAsked()
{
    if (!m_retakeAsked)
        return;
    m_retakeAsked = false;
    Q_EMIT retakeRequested(m_result);
}

int frmExam::AskForMoreTime()
{
    return ShowMessage(
        QStringLiteral("The time has elapsed for this exam. Would you like to continue for another 30 minutes?"), 36);
}

void frmExam::StartPostExamReview()
{
    m_session.StartPostExamReview();
    m_tmrTimer->stop();
    m_picBorder->SetInfoVisible(true);
    m_lblTime->hide();
    m_tmrNote->stop();
    m_lblNote->hide();
    // Show the item on screen as the model holds it: read-only, with its
    // status. After a time-out the page may still show an unsaved choice that
    // the score did not see; it must not look as if it counted.
    ClearChoices();
    DisplayQuestion(CurrentQuestion());
    ShowStatus();
}

void frmExam::ShowStatus()
{
    m_picBorder->ShowStatus(ExamSession::StatusOf(CurrentQuestion()));
    m_picBorder->SetRowMarks(ExamSession::RowMarks(CurrentQuestion()));
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
    m_session = ExamSession();
    m_picBorder->ClearChoices();
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
    explain.SetTextScale(m_textScale);
    // Its own text-size keys change the sitting's size too.
    connect(&explain, &frmExplain::textScaleChanged, this, [this](qint32 percent) {
        SetTextScale(percent);
        DisplaySettings::StoreTextScale(percent);
    });
    explain.exec();
}

void frmExam::OpenReviewList(bool askToEnd)
{
    frmReview review(*CurrentExam(), this);
    if (askToEnd)
        QTimer::singleShot(0, &review, &frmReview::cmdEnd_Click);
    connect(&review, &frmReview::reviewAllRequested, this, [this] {
        m_session.SetReviewMode(ExamSession::Review::All);
        GotoQuestion(1);
    });
    connect(&review, &frmReview::reviewMarkedRequested, this, [this] {
        m_session.SetReviewMode(ExamSession::Review::Marked);
        GotoFirstMarked();
    });
    connect(&review, &frmReview::gotoRequested, this, [this](qint16 index) { GotoQuestion(index); });
    connect(&review, &frmReview::examEnded, this, [this] {
        GotoQuestion(1);
        EndSitting();
    });
    connect(&review, &frmReview::retakeRequested, this, [this] { m_retakeAsked = true; });
    review.exec();
}

void frmExam::OpenReport()
{
    frmReport report(*CurrentExam(), this);
    connect(&report, &frmReport::retakeRequested, this, [this] { m_retakeAsked = true; });
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
    in.ScrollBarWidth = m_picBorder->ScrollBarWidth();
    in.TimeWidth = Twips::FromPixels(m_lblTime->width());
    in.InfoWidth = m_picBorder->InfoWidth();
    in.InfoHeight = m_picBorder->InfoHeight();
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
    m_picBorder->setGeometry(ToPixels(m_layout.Frame));
    m_chkMarked->move(Twips::ToPixels(m_layout.MarkLeft), Twips::ToPixels(MarkTop));
    m_lblTime->move(Twips::ToPixels(m_layout.TimeLeft), Twips::ToPixels(MarkTop));
    m_picBorder->Arrange(m_layout);
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

// ---------------------------------------------------------------------------
// Events

void frmExam::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        // In study mode Enter checks an item not yet checked.
        if (m_session.IsStudy() && !m_session.ShowsStatus() && (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier) {
            cmdCheck_Click();
            return;
        }
        if (m_cmdNext->isEnabled() && (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier) {
            m_cmdNext->click();
            return;
        }
        break;
    case Qt::Key_PageDown:
    case Qt::Key_PageUp:
        m_picBorder->ScrollPage(event->key() == Qt::Key_PageDown);
        return;
    default:
        if (RunKey(event->key(), event->modifiers()))
            return;
        break;
    }
    QWidget::keyPressEvent(event);
}

// ---------------------------------------------------------------------------
// Keys, strike-out and the low-time cue

bool frmExam::RunKey(int key, Qt::KeyboardModifiers modifiers)
{
    if (!CurrentExam() || m_session.CurrentIndex() < 1)
        return false;
    const ExamSession::KeyCommand command
        = m_session.KeyCommandFor(key, modifiers, m_picBorder->RowCount(), IsTextField(QApplication::focusWidget()));
    switch (command.action) {
    case ExamSession::KeyCommand::None:
        return false;
    case ExamSession::KeyCommand::Choose:
        // The row kind on screen: radio buttons for one answer, else boxes,
        // whose check passes the selection limit as a click does.
        if (CurrentQuestion().AnswerCount() == 1)
            m_picBorder->SelectOption(command.row);
        else
            m_picBorder->ToggleCheckBox(command.row);
        return true;
    case ExamSession::KeyCommand::Strike:
        ToggleStrike(command.row);
        return true;
    case ExamSession::KeyCommand::Next:
        if (m_cmdNext->isEnabled())
            m_cmdNext->click();
        return true;
    case ExamSession::KeyCommand::Prev:
        if (m_cmdPrev->isEnabled())
            m_cmdPrev->click();
        return true;
    case ExamSession::KeyCommand::End:
        EndByKey();
        return true;
    }
    return false;
}

void frmExam::EndByKey()
{
    SaveAnswer();
    OpenReviewList(true);
    if (CurrentExam() && CurrentExam()->IsEnded())
        StartPostExamReview();
    RetakeIfAsked();
}

void frmExam::ToggleStrike(qint32 index)
{
    if (m_session.ToggleStrike(index))
        m_picBorder->SetStruck(index, m_session.IsStruck(index));
}

void frmExam::ShowStruck()
{
    for (qint32 row = 1; row <= m_picBorder->RowCount(); ++row)
        m_picBorder->SetStruck(row, m_session.IsStruck(row));
}

void frmExam::ShowLowTime(bool cue)
{
    // An empty palette inherits the window's again, theme changes included.
    QPalette palette;
    if (m_session.IsLowTime())
        palette.setColor(QPalette::WindowText, WarningColor(this->palette().color(QPalette::Window)));
    m_lblTime->setPalette(palette);
    if (!cue)
        return;
    const qint32 minutes = (m_session.SecondsRemaining() + 59) / 60;
    m_lblNote->setText(minutes == 1 ? tr("1 minute remains.") : tr("%1 minutes remain.").arg(minutes));
    m_lblNote->setAccessibleName(m_lblNote->text());
    m_lblNote->adjustSize();
    // Under the time label, right-aligned with it; never given the focus.
    m_lblNote->move(m_lblTime->geometry().right() - m_lblNote->width(), m_lblTime->geometry().bottom() + 4);
    m_lblNote->show();
    m_lblNote->raise();
    QAccessibleEvent alert(m_lblNote, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
    m_tmrNote->start();
}
