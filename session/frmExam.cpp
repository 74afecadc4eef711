#include "session/frmExam.h"

#include "model/Exam.h"
#include "model/FileDigest.h"
#include "session/ClockDisplay.h"
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

// Page design.
constexpr qreal PageFontPoints = 12;
constexpr int ButtonWidthPx = 120;
constexpr int ButtonHeightPx = 34;

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

    QFont timeFont = pageFont;
    timeFont.setBold(true);
    m_clock = new ClockDisplay(timeFont, this);
    QLabel* time = m_clock->TimeLabel();
    m_chkMarked->resize(m_chkMarked->sizeHint().width(), qMax(m_chkMarked->sizeHint().height(), time->height()));
    time->resize(time->width(), m_chkMarked->height());

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
    m_page = PageArranger({ this, m_chkMarked, time, m_picBorder, m_cmdNext, m_cmdPrev, m_cmdExhibit, m_cmdReview });

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
    const ExamSession::Retake retake = ExamSession::LoadRetake(examPath, expectedDigest, numbers);
    if (!retake.exam) {
        ShowMessage(retake.refusal, retake.style, retake.values);
        return;
    }
    CurrentExam() = retake.exam;
    Begin(ExamSession::Kind::Retake, retake.original, retake.digest);
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
    m_clock->Reset(m_session.SecondsRemaining(), !m_session.IsStudy());
    m_cmdReview->setEnabled(true);
    m_picBorder->ClearChoices();
    m_chkMarked->setChecked(false);

    m_textScale = DisplaySettings::StoredTextScale();
    m_picBorder->SetTextScale(m_textScale);
    const TwipsRect area = GetWorkArea();
    setGeometry(PageArranger::ToPixels(area));
    m_page.ArrangePage();
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
    m_page.ArrangeButtons();
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
    OpenReviewList();
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
    if (!m_exhibit)
        m_exhibit = new frmExhibit(this);
    m_exhibit->Open(CurrentQuestion().Exhibit());
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
    if (tick.action == ExamSession::TickResult::ShowTime)
        m_clock->Show(tick, m_session.IsLowTime());
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
    m_clock->Stop();
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
    SaveAnswer();
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
    if (CurrentExam() && CurrentExam()->IsEnded())
        StartPostExamReview();
    RetakeIfAsked();
}

void frmExam::OpenReport()
{
    frmReport report(*CurrentExam(), this);
    connect(&report, &frmReport::retakeRequested, this, [this] { m_retakeAsked = true; });
    report.exec();
}

// ---------------------------------------------------------------------------
// Geometry

void frmExam::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    m_page.ArrangePage();
}

// ---------------------------------------------------------------------------
// Events

void frmExam::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_PageDown || event->key() == Qt::Key_PageUp)
        m_picBorder->ScrollPage(event->key() == Qt::Key_PageDown);
    else if (!RunKey(event->key(), event->modifiers()))
        QWidget::keyPressEvent(event);
}

// ---------------------------------------------------------------------------
// Keys and strike-out

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
        OpenReviewList(true);
        return true;
    case ExamSession::KeyCommand::Check:
        cmdCheck_Click();
        return true;
    }
    return false;
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
