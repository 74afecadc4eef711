#include "session/ExamSession.h"

#include "model/Common.h"
#include "model/Error.h"
#include "model/Exam.h"
#include "model/FileDigest.h"
#include "shell/Globals.h"

#include <QSet>

namespace {

constexpr qint16 ExtraSeconds = 1800;
constexpr qint16 LowTimeSeconds = 300;
constexpr qint16 LastMinuteSeconds = 60;

} // namespace

void ExamSession::Start(Exam& exam, Kind kind, const QList<qint16>& original)
{
    // Everything of an earlier sitting goes: one window serves them all.
    m_exam = &exam;
    m_kind = kind;
    m_currentIndex = 1;
    m_review = Review::None;
    m_secondsRemaining = 0;
    if (kind != Kind::Study)
        m_secondsRemaining = RoundToInt16(double(exam.Duration()) * 60.0, QStringLiteral("frmExam::StartExam()"));
    m_askingForTime = false;
    m_postExam = false;
    m_extraTime = false;
    m_secondsUsed = 0;
    m_checked.assign(size_t(exam.Questions().Count()) + 1, false);
    m_struck.assign(size_t(exam.Questions().Count()) + 1, {});
    m_original = original;
    m_path = exam.FileName();
    m_digest.clear();
    m_started = QDateTime::currentDateTime();
}

void ExamSession::SetSource(const QString& path, const QByteArray& digest)
{
    m_path = path;
    m_digest = digest;
}

Question& ExamSession::CurrentQuestion() const
{
    return m_exam->Questions().Item(m_currentIndex);
}

bool ExamSession::IsEnded() const
{
    return m_exam && m_exam->IsEnded();
}

void ExamSession::SaveAnswer(const QString& answer, bool marked)
{
    Question& question = CurrentQuestion();
    question.SetAnswer(answer);
    question.SetIsMarked(marked);
}

// ---------------------------------------------------------------------------
// Navigation

bool ExamSession::IsFirstQuestion() const
{
    return m_currentIndex == 1;
}

bool ExamSession::IsLastQuestion() const
{
    return m_currentIndex == m_exam->Questions().Count();
}

bool ExamSession::IsFirstMarked() const
{
    return IsFirstMarkedAt(m_currentIndex);
}

bool ExamSession::IsFirstMarkedAt(qint32 index) const
{
    const Questions& questions = m_exam->Questions();
    if (!questions.Item(index).IsMarked())
        return false;
    for (qint32 i = 1; i < index; ++i) {
        if (questions.Item(i).IsMarked())
            return false;
    }
    return true;
}

bool ExamSession::IsLastMarked() const
{
    const Questions& questions = m_exam->Questions();
    if (!CurrentQuestion().IsMarked())
        return false;
    for (qsizetype i = m_currentIndex + 1; i <= questions.Count(); ++i) {
        if (questions.Item(i).IsMarked())
            return false;
    }
    return true;
}

ExamSession::Move ExamSession::GotoOrStay(qint32 index) const
{
    Move move;
    if (index > 0) {
        move.action = Move::Goto;
        move.index = qint16(index);
    }
    return move;
}

ExamSession::Move ExamSession::Next() const
{
    const bool atEnd = m_review == Review::Marked ? IsLastMarked() : IsLastQuestion();
    if (atEnd)
        return { Move::OpenReview, 0, std::nullopt };
    if (m_review == Review::Marked)
        return NextMarked();
    return { Move::Goto, qint16(m_currentIndex + 1), std::nullopt };
}

ExamSession::Move ExamSession::Prev() const
{
    if (m_review == Review::Marked)
        return PreviousMarked();
    return { Move::Goto, qint16(m_currentIndex - 1), std::nullopt };
}

ExamSession::Move ExamSession::FirstMarked() const
{
    const Questions& questions = m_exam->Questions();
    for (qsizetype i = 1; i <= questions.Count(); ++i) {
        if (questions.Item(i).IsMarked())
            return GotoOrStay(qint32(i));
    }
    return {};
}

ExamSession::Move ExamSession::NextMarked() const
{
    // Going forward leaves Previous as the move to the item set it: enabled
    // unless that is item 1.
    const Questions& questions = m_exam->Questions();
    for (qsizetype i = m_currentIndex + 1; i <= questions.Count(); ++i) {
        if (questions.Item(i).IsMarked())
            return GotoOrStay(qint32(i));
    }
    return {};
}

ExamSession::Move ExamSession::PreviousMarked() const
{
    const Questions& questions = m_exam->Questions();
    qint32 found = 0;
    for (qint32 i = m_currentIndex - 1; i >= 1 && !found; --i) {
        if (questions.Item(i).IsMarked())
            found = i;
    }
    Move move = GotoOrStay(found);
    // Only going back applies the marked-item rule to Previous, judged at the
    // item the move leaves on screen (by its stored mark when staying).
    move.prevEnabled = !IsFirstMarkedAt(found ? found : m_currentIndex);
    return move;
}

// ---------------------------------------------------------------------------
// Clock

ExamSession::TickResult ExamSession::Tick()
{
    // The time question is asked once: ticks that arrive while it, or the
    // report after it, is open are dropped. After the end nothing is timed.
    if (!m_exam || m_askingForTime || m_postExam || IsEnded() || IsStudy())
        return {};
    m_secondsRemaining = qint16(m_secondsRemaining - 1);
    ++m_secondsUsed;
    if (m_secondsRemaining >= 0) {
        TickResult result { TickResult::ShowTime,
            FormatText(QStringLiteral("Time Remaining:  {1}"), { FormatDuration(m_secondsRemaining) }) };
        result.announce = m_secondsRemaining % 60 == 0 || m_secondsRemaining < LastMinuteSeconds;
        if (m_secondsRemaining == LowTimeSeconds)
            result.note = QStringLiteral("%1 minutes remain.").arg(LowTimeSeconds / 60);
        else if (m_secondsRemaining == LastMinuteSeconds)
            result.note = QStringLiteral("1 minute remains.");
        return result;
    }
    m_askingForTime = true;
    return { TickResult::AskForMoreTime, {} };
}

ExamSession::TimeAnswer ExamSession::AnswerTimeQuestion(bool yes)
{
    m_askingForTime = false;
    if (yes) {
        m_secondsRemaining = ExtraSeconds;
        m_extraTime = true;
        return TimeAnswer::Continue;
    }
    // Scored as last saved: the page on screen is not saved first.
    m_exam->EndExam();
    return TimeAnswer::EndAndReport;
}

void ExamSession::StartPostExamReview()
{
    m_postExam = true;
    for (QList<qint32>& rows : m_struck)
        rows.clear();
}

bool ExamSession::IsLowTime() const
{
    return m_exam && !IsStudy() && m_secondsRemaining <= LowTimeSeconds;
}

// ---------------------------------------------------------------------------
// Keys and strike-out

ExamSession::KeyCommand ExamSession::KeyCommandFor(
    int key, Qt::KeyboardModifiers modifiers, qint32 rowCount, bool textFocus) const
{
    if (!m_exam || textFocus)
        return {};
    const Qt::KeyboardModifiers held = modifiers & ~Qt::KeypadModifier;
    if ((key == Qt::Key_Return || key == Qt::Key_Enter) && held == Qt::NoModifier)
        return { IsStudy() && !ShowsStatus() ? KeyCommand::Check : KeyCommand::Next };
    if (held == Qt::ControlModifier) {
        if (key == Qt::Key_Right)
            return { KeyCommand::Next };
        if (key == Qt::Key_Left)
            return { KeyCommand::Prev };
        if (key == Qt::Key_End && !IsEnded())
            return { KeyCommand::End };
        return {};
    }
    qint32 row = 0;
    if (key >= Qt::Key_A && key <= Qt::Key_Z)
        row = key - Qt::Key_A + 1;
    else if (key >= Qt::Key_1 && key <= Qt::Key_9 && held == Qt::NoModifier)
        row = key - Qt::Key_0;
    if (row == 0 || row > rowCount || !RowsEnabled())
        return {};
    if (held == Qt::NoModifier)
        return { KeyCommand::Choose, row };
    if (held == Qt::ShiftModifier)
        return { KeyCommand::Strike, row };
    return {};
}

bool ExamSession::ToggleStrike(qint32 row)
{
    if (!m_exam || row < 1 || !RowsEnabled() || size_t(m_currentIndex) >= m_struck.size())
        return false;
    QList<qint32>& rows = m_struck[m_currentIndex];
    if (!rows.removeOne(row))
        rows.append(row);
    return true;
}

bool ExamSession::IsStruck(qint32 row) const
{
    return m_currentIndex > 0 && size_t(m_currentIndex) < m_struck.size() && m_struck[m_currentIndex].contains(row);
}

// ---------------------------------------------------------------------------
// The page's state

bool ExamSession::IsChecked() const
{
    return IsStudy() && m_currentIndex > 0 && size_t(m_currentIndex) < m_checked.size() && m_checked[m_currentIndex];
}

void ExamSession::Check()
{
    if (IsStudy() && m_currentIndex > 0 && size_t(m_currentIndex) < m_checked.size())
        m_checked[m_currentIndex] = true;
}

bool ExamSession::RowsEnabled() const
{
    return !IsEnded() && !IsChecked();
}

bool ExamSession::ShowsStatus() const
{
    return IsEnded() || IsChecked();
}

QString ExamSession::Title(const Question& question) const
{
    QString title = FormatText(QStringLiteral("Exam: {1} - Item {2} of {3}"),
        { m_exam->Code(), question.Number(), m_exam->Questions().Count() });
    if (m_kind == Kind::Retake)
        title = FormatText(QStringLiteral("{1} - Missed items"), { title });
    else if (m_kind == Kind::Study)
        title = FormatText(QStringLiteral("{1} - Study"), { title });
    if (m_review == Review::All)
        title = FormatText(QStringLiteral("{1} - Reviewing All"), { title });
    else if (m_review == Review::Marked)
        title = FormatText(QStringLiteral("{1} - Reviewing Marked"), { title });
    return title;
}

bool ExamSession::ExceedsLimit(bool hasHint, qint16 answerCount, const QString& answer)
{
    return hasHint && ItemCount(answer) > answerCount;
}

QString ExamSession::LimitMessage()
{
    return QStringLiteral("You cannot select more than {1} options for this question. To select this option, please "
                          "unselect another.");
}

ExamSession::LabelAction ExamSession::LabelClick(bool ended, qint16 answerCount)
{
    // Only more than one answer means check boxes here; an item without any
    // answer, whose page shows check boxes, sets a hidden radio button.
    if (ended)
        return LabelAction::Ignore;
    return answerCount > 1 ? LabelAction::ToggleCheckBox : LabelAction::SetOption;
}

ExamSession::Status ExamSession::StatusOf(const Question& question)
{
    const QString key = question.CorrectAnswer();
    Status status;
    status.answerText = FormatText(QStringLiteral("Answer: {1}"), { AnswerLetters(key) });
    status.correct = question.Answer() == key;
    status.whyVisible = !question.Explaination().isEmpty();
    return status;
}

QList<ExamSession::RowMark> ExamSession::RowMarks(const Question& question)
{
    // The answer form lists option numbers; a piece that is no number marks
    // nothing rather than failing the page.
    QList<bool> chosen(question.Choices().Count() + 1, false);
    for (const QString& piece : question.Answer().split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        bool ok = false;
        const int number = piece.toInt(&ok);
        if (ok && number >= 1 && number < chosen.size())
            chosen[number] = true;
    }
    QList<RowMark> marks;
    marks.reserve(question.Choices().Count());
    qsizetype row = 0;
    for (const Choice& choice : question.Choices()) {
        ++row;
        if (choice.IsSolution())
            marks.append(RowMark::RightOption);
        else if (chosen[row])
            marks.append(RowMark::WrongChoice);
        else
            marks.append(RowMark::None);
    }
    return marks;
}

SittingResult ExamSession::Result() const
{
    SittingResult result;
    const Exam& exam = *m_exam;
    result.examCode = exam.Code();
    result.examName = exam.Name();
    result.examPath = m_path;
    result.examDigest = m_digest;
    result.started = m_started;
    result.ended = QDateTime::currentDateTime();
    result.secondsUsed = IsStudy() ? qint32(m_started.secsTo(result.ended)) : m_secondsUsed;
    result.extraTimeTaken = m_extraTime;
    result.isStudy = IsStudy();
    result.isRetake = m_kind == Kind::Retake;
    result.maximum = exam.MaxScore();
    result.required = exam.PassScore();
    result.obtained = exam.Questions().Count() > 0 ? exam.CalculateScore() : 0;
    result.passed = result.obtained >= result.required;
    result.items.reserve(exam.Questions().Count());
    qsizetype i = 0;
    for (const Question& question : exam.Questions()) {
        SittingItemResult item;
        item.number = i < m_original.size() ? m_original[i] : question.Number();
        item.answer = question.Answer();
        item.key = question.CorrectAnswer();
        item.isCorrect = item.answer == item.key;
        item.isMarked = question.IsMarked();
        result.items.append(item);
        ++i;
    }
    return result;
}

ExamSession::Retake ExamSession::LoadRetake(
    const QString& path, const QByteArray& expectedDigest, const QList<qint16>& numbers)
{
    Retake retake;
    retake.digest = FileSha256(path);
    if (retake.digest.isEmpty() || retake.digest != expectedDigest) {
        retake.refusal = QStringLiteral("The exam file {1} cannot be read or has changed since that attempt, so its "
                                        "missed items cannot be retaken.");
        retake.style = 48;
        retake.values = { path };
        return retake;
    }
    auto exam = std::make_shared<Exam>();
    try {
        exam->Load(path);
    } catch (const Error& error) {
        retake.refusal = QStringLiteral("The exam file {1} cannot be read:{CRLF}{2}");
        retake.style = 16;
        retake.values = { path, error.Description() };
        return retake;
    }
    const qsizetype total = exam->Questions().Count();
    retake.original = RestrictTo(*exam, numbers);
    if (retake.original.isEmpty()) {
        retake.refusal = QStringLiteral("There are no missed items to retake.");
        retake.style = 64;
        return retake;
    }
    exam->SetDuration(ScaledMinutes(exam->Duration(), total, retake.original.size()));
    retake.exam = exam;
    return retake;
}

QList<qint16> ExamSession::RestrictTo(Exam& exam, const QList<qint16>& numbers)
{
    const QSet<qint16> wanted(numbers.cbegin(), numbers.cend());
    Questions& questions = exam.Questions();
    QList<qint16> kept;
    // From the end, so a removal moves only kept items.
    for (qsizetype i = questions.Count(); i >= 1; --i) {
        if (wanted.contains(questions.Item(i).Number()))
            kept.prepend(questions.Item(i).Number());
        else
            questions.Remove(i);
    }
    questions.ResetNumbers();
    return kept;
}

qint16 ExamSession::ScaledMinutes(qint16 duration, qsizetype total, qsizetype kept)
{
    constexpr qsizetype MaxMinutes = 546;
    const qsizetype scaled = total > 0 ? (qsizetype(qMax<qint16>(duration, 0)) * kept + total - 1) / total : 0;
    return qint16(qMin(MaxMinutes, qMax(scaled, kept)));
}

QList<qint16> ExamSession::ParseAnswer(const QString& answer)
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
