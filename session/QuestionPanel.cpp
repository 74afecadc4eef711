#include "session/QuestionPanel.h"

#include "shell/Contrast.h"
#include "shell/DisplaySettings.h"
#include "shell/Panel.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QVBoxLayout>

namespace {

// lblQuestion's place in the content: a small inset keeps the text and the
// selectors off the frame's border. The row marks sit in it.
constexpr qint32 QuestionInset = 180;
constexpr qreal PageFontPoints = 12;
constexpr qreal StatusFontPoints = 14;
constexpr qreal MarkFontPoints = 11;
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

} // namespace

QuestionPanel::QuestionPanel(QWidget* tabBefore, QWidget* parent)
    : QFrame(parent)
    , m_tabBefore(tabBefore)
{
    QFont pageFont = font();
    pageFont.setPointSizeF(PageFontPoints);

    setObjectName(QStringLiteral("picBorder"));
    setFrameStyle(QFrame::Box | QFrame::Plain);
    setLineWidth(1);
    setForegroundRole(QPalette::Mid);
    setBackgroundRole(QPalette::Base);
    setAutoFillBackground(true);
    m_viewport = new QWidget(this);
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
    m_lblQuestion->setAccessibleDescription(tr("Question"));

    m_vsbScroll = new QScrollBar(Qt::Vertical, m_viewport);
    m_vsbScroll->setObjectName(QStringLiteral("vsbScroll"));
    m_vsbScroll->setAccessibleName(tr("Scroll the item"));
    m_vsbScroll->setEnabled(false);
    m_vsbScroll->setRange(0, 0);
    connect(m_vsbScroll, &QScrollBar::valueChanged, this, &QuestionPanel::ScrollTo);

    m_fraInfo = new ::Panel(m_viewport);
    m_fraInfo->setObjectName(QStringLiteral("fraInfo"));
    m_fraInfo->setFixedSize(InfoWidthPx, InfoHeightPx);
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
    // Room around the verdict for the plate it may get.
    m_lblStatus->setContentsMargins(4, 1, 4, 1);
    m_cmdWhy = new QPushButton(tr("&Why?"), m_fraInfo);
    m_cmdWhy->setObjectName(QStringLiteral("cmdWhy"));
    m_cmdWhy->setAutoDefault(true);
    m_cmdWhy->setCursor(Qt::ArrowCursor);
    m_cmdWhy->setAccessibleDescription(tr("Shows the explanation of this item"));
    m_cmdWhy->hide();
    connect(m_cmdWhy, &QPushButton::clicked, this, &QuestionPanel::whyClicked);
    m_cmdCheck = new QPushButton(tr("&Check"), m_fraInfo);
    m_cmdCheck->setObjectName(QStringLiteral("cmdCheck"));
    m_cmdCheck->setCursor(Qt::ArrowCursor);
    m_cmdCheck->setAccessibleDescription(tr("Shows the key and whether the answer is correct"));
    m_cmdCheck->hide();
    connect(m_cmdCheck, &QPushButton::clicked, this, &QuestionPanel::checkClicked);
    auto* info = new QVBoxLayout(m_fraInfo);
    info->setContentsMargins(14, 10, 14, 10);
    info->addWidget(m_lblAnswer);
    info->addWidget(m_lblStatus, 0, Qt::AlignLeft);
    info->addWidget(m_cmdWhy, 0, Qt::AlignLeft);
    info->addWidget(m_cmdCheck, 0, Qt::AlignLeft);
    m_fraInfo->hide();

    // Row 1 is the template row of both kinds.
    ChoiceRow& first = RowAt(1);
    OptionAt(1);
    CheckAt(1);
    MeasureSelectors();
    first.Option->hide();
    first.Check->hide();
    first.Label->hide();
    // The information panel's buttons follow the options; rows made later
    // go in after the row above them, so they stay before these.
    setTabOrder(m_tabBefore, first.Option);
    setTabOrder(first.Option, first.Check);
    setTabOrder(first.Check, m_cmdWhy);
    setTabOrder(m_cmdWhy, m_cmdCheck);

    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) {
        if (now && now->parentWidget() == m_picQuestion)
            EnsureVisible(now);
    });
}

void QuestionPanel::MeasureSelectors()
{
    // Every row's selector is as wide as the widest letter needs.
    const QRadioButton option(QStringLiteral("W."), m_picQuestion);
    const QCheckBox check(QStringLiteral("W."), m_picQuestion);
    const QSize optionSize = option.sizeHint();
    const QSize checkSize = check.sizeHint();
    m_selectorWidth = Twips::FromPixels(qMax(optionSize.width(), checkSize.width()) + 6);
    const int selectorHeight = qMax(optionSize.height(), checkSize.height());
    m_selectorHeight = Twips::FromPixels(selectorHeight);
    // A selector centres its caption on its height; the option text starts at
    // the same top, so it moves down by the difference to share the baseline.
    m_labelInset = qMax(0, (selectorHeight - QFontMetrics(m_picQuestion->font()).height()) / 2);
    for (ChoiceRow& row : m_rows)
        row.Label->setContentsMargins(0, m_labelInset, 0, 0);
}

void QuestionPanel::SetTextScale(qint32 percent)
{
    const qint32 oldHeight = m_contentHeight;
    const qint32 oldValue = m_vsbScroll->value();
    QFont pageFont = m_picQuestion->font();
    pageFont.setPointSizeF(TextScale::Points(PageFontPoints, percent));
    m_picQuestion->setFont(pageFont);
    MeasureSelectors();
    ArrangeContent();
    const PageGeometry::ScrollRange range
        = PageGeometry::ScrollFor(m_layout.Frame.Height(), m_layout.FrameInnerHeight, m_contentHeight);
    m_vsbScroll->setValue(PageGeometry::RescaledScroll(oldValue, oldHeight, m_contentHeight, range));
}

qint32 QuestionPanel::ScrollBarWidth() const
{
    return Twips::FromPixels(m_vsbScroll->sizeHint().width());
}

qint32 QuestionPanel::InfoWidth() const
{
    return Twips::FromPixels(m_fraInfo->width());
}

qint32 QuestionPanel::InfoHeight() const
{
    return Twips::FromPixels(m_fraInfo->height());
}

void QuestionPanel::Arrange(const PageGeometry::PageLayout& layout)
{
    m_layout = layout;
    m_viewport->setGeometry(contentsRect());
    m_vsbScroll->setGeometry(ToPixels(m_layout.ScrollBar));
    m_vsbScroll->raise();
    // The content shows from its top again; the scroll bar keeps its value
    // until it is next moved.
    m_picQuestion->move(0, 0);
    HomeInfo();
    ArrangeContent();
}

void QuestionPanel::HomeInfo()
{
    m_infoPosition = m_layout.InfoHome;
    m_fraInfo->move(Twips::ToPixels(m_infoPosition.X), Twips::ToPixels(m_infoPosition.Y));
    m_fraInfo->raise();
}

// ---------------------------------------------------------------------------
// Option rows

QuestionPanel::ChoiceRow& QuestionPanel::RowAt(qint32 index)
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

QRadioButton* QuestionPanel::OptionAt(qint32 index)
{
    ChoiceRow& row = RowAt(index);
    if (!row.Option) {
        row.Option = new QRadioButton(m_picQuestion);
        row.Option->setObjectName(QStringLiteral("optChoices%1").arg(index));
        row.Option->hide();
        row.Option->setProperty("ChoiceIndex", index);
        row.Option->installEventFilter(this);
        setTabOrder(PreviousSelector(index, true), row.Option);
        connect(row.Option, &QRadioButton::toggled, this, [this, index] { UpdateRowName(index); });
    }
    return row.Option;
}

QCheckBox* QuestionPanel::CheckAt(qint32 index)
{
    ChoiceRow& row = RowAt(index);
    if (!row.Check) {
        row.Check = new QCheckBox(m_picQuestion);
        row.Check->setObjectName(QStringLiteral("chkChoices%1").arg(index));
        row.Check->hide();
        row.Check->setProperty("ChoiceIndex", index);
        row.Check->installEventFilter(this);
        setTabOrder(PreviousSelector(index, false), row.Check);
        connect(row.Check, &QCheckBox::toggled, this, [this, index](bool checked) {
            UpdateRowName(index);
            // Rows outside the item on screen are being reset.
            if (checked && index <= m_rowCount)
                Q_EMIT boxChecked(index);
        });
    }
    return row.Check;
}

QAbstractButton* QuestionPanel::SelectorAt(qint32 index) const
{
    const ChoiceRow& row = m_rows[index - 1];
    return m_rowsAreOptions ? static_cast<QAbstractButton*>(row.Option) : row.Check;
}

QWidget* QuestionPanel::PreviousSelector(qint32 index, bool options) const
{
    // Tab runs from the mark box through the options, top to bottom, to the
    // buttons: each new selector goes after the one above it.
    for (qint32 i = index - 1; i >= 1; --i) {
        const ChoiceRow& row = m_rows[i - 1];
        if (QWidget* above = options ? static_cast<QWidget*>(row.Option) : row.Check)
            return above;
    }
    return m_tabBefore;
}

QList<QAbstractButton*> QuestionPanel::Selectors(bool options) const
{
    QList<QAbstractButton*> selectors;
    selectors.reserve(m_rowCount);
    for (qint32 i = 0; i < m_rowCount; ++i) {
        const ChoiceRow& row = m_rows[i];
        selectors.append(options ? static_cast<QAbstractButton*>(row.Option) : row.Check);
    }
    return selectors;
}

void QuestionPanel::SetOption(QRadioButton* option, bool on)
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

void QuestionPanel::ClearChoices()
{
    // Rows stay for the next item, hidden; hiding them is what the next item
    // sees, since LoadChoices resets every row it shows.
    for (qint32 i = 1; i <= qMax<qint32>(m_rowCount, 1); ++i) {
        ChoiceRow& row = m_rows[i - 1];
        if (row.Option)
            row.Option->hide();
        if (row.Check)
            row.Check->hide();
        if (row.Mark)
            row.Mark->hide();
        row.Label->hide();
    }
    m_rowCount = 0;
    m_vsbScroll->setValue(0);
    m_picQuestion->move(0, 0);
}

void QuestionPanel::SetQuestion(const QString& text)
{
    m_lblQuestion->setText(text);
    // The option rows' container carries the question, so a screen reader
    // names it as the focus enters the options.
    m_picQuestion->setAccessibleName(text);
}

void QuestionPanel::LoadChoices(
    bool options, const QList<ChoiceText>& choices, bool enabled, const QList<qint16>& selected)
{
    m_rowsAreOptions = options;
    if (options)
        SetOption(OptionAt(1), false);
    else
        CheckAt(1)->setChecked(false);
    m_rowCount = 0;
    for (qint32 i = 1; i <= qint32(choices.size()); ++i) {
        ChoiceRow& row = RowAt(i);
        QAbstractButton* selector = options ? static_cast<QAbstractButton*>(OptionAt(i)) : CheckAt(i);
        selector->setEnabled(enabled);
        row.Label->setText(choices[i - 1].Statement);
        selector->setText(QString(QChar(ushort(64 + choices[i - 1].Number))) + QLatin1Char('.'));
        if (options)
            SetOption(row.Option, false);
        else
            row.Check->setChecked(false);
    }
    m_rowCount = qint32(choices.size());
    for (qint32 i = 1; i <= m_rowCount; ++i)
        SetStruck(i, false);
    // Heights and places of every row at once, then the rows appear.
    ArrangeContent();
    for (qint32 i = 1; i <= m_rowCount; ++i) {
        SelectorAt(i)->show();
        m_rows[i - 1].Label->show();
    }
    // The same path as a click, so a check box answer passes the selection
    // limit again; a stored answer never exceeds it.
    for (qint16 number : selected) {
        if (number < 1 || number > m_rowCount)
            continue; // not an answer BuildAnswer can have produced for this item
        if (options)
            SetOption(m_rows[number - 1].Option, true);
        else
            m_rows[number - 1].Check->setChecked(true);
    }
}

QString QuestionPanel::Answer(bool options) const
{
    return BuildAnswer(Selectors(options));
}

QString QuestionPanel::BuildAnswer(const QList<QAbstractButton*>& selectors)
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

void QuestionPanel::UncheckBox(qint32 index)
{
    m_rows[index - 1].Check->setChecked(false);
}

void QuestionPanel::ToggleCheckBox(qint32 index)
{
    QCheckBox* check = CheckAt(index);
    check->setChecked(check->checkState() != Qt::Checked);
    if (check->isVisible())
        check->setFocus(Qt::MouseFocusReason);
}

void QuestionPanel::SelectOption(qint32 index)
{
    // For an item without any answer this radio button is hidden and counts
    // for nothing.
    QRadioButton* option = OptionAt(index);
    SetOption(option, true);
    if (option->isVisible())
        option->setFocus(Qt::MouseFocusReason);
}

void QuestionPanel::SetStruck(qint32 index, bool struck)
{
    if (index < 1 || index > m_rowCount)
        return;
    ChoiceRow& row = m_rows[index - 1];
    row.Struck = struck;
    // Only the strike-out is the label's own; size and face stay inherited.
    QFont font;
    font.setStrikeOut(struck);
    row.Label->setFont(font);
    // Dimmed toward the background, from the theme's own colours, yet kept
    // above 4.5:1 contrast; the label stays enabled, and clickable, for a
    // struck option may still be chosen. On the page's Base background a
    // label paints in the Text role.
    QPalette palette;
    if (struck) {
        const QColor text = m_picQuestion->palette().color(QPalette::Text);
        const QColor base = m_picQuestion->palette().color(QPalette::Base);
        const auto mix = [](int from, int to) { return from + (to - from) * 2 / 5; };
        const QColor dim(mix(text.red(), base.red()), mix(text.green(), base.green()), mix(text.blue(), base.blue()));
        palette.setColor(QPalette::Text, dim);
        palette.setColor(QPalette::WindowText, dim);
    }
    row.Label->setPalette(palette);
    UpdateRowName(index);
}

bool QuestionPanel::IsStruck(qint32 index) const
{
    return index >= 1 && index <= m_rowCount && m_rows[index - 1].Struck;
}

void QuestionPanel::UpdateRowName(qint32 index)
{
    if (index < 1 || index > qint32(m_rows.size()))
        return;
    const ChoiceRow& row = m_rows[index - 1];
    QAbstractButton* selector = m_rowsAreOptions ? static_cast<QAbstractButton*>(row.Option) : row.Check;
    if (!selector)
        return;
    QString letter = selector->text();
    letter.chop(1); // "B." -> "B"
    const bool selected = m_rowsAreOptions ? row.Option->isChecked() : row.Check->checkState() == Qt::Checked;
    QString name
        = tr("Option %1: %2, %3").arg(letter, row.Label->text(), selected ? tr("selected") : tr("not selected"));
    if (row.Struck)
        name += tr(", struck out");
    selector->setAccessibleName(name);
}

void QuestionPanel::SetRowMarks(const QList<ExamSession::RowMark>& marks)
{
    QFont markFont = m_picQuestion->font();
    markFont.setPointSizeF(MarkFontPoints);
    markFont.setBold(true);
    for (qint32 i = 1; i <= m_rowCount; ++i) {
        ChoiceRow& row = m_rows[i - 1];
        const ExamSession::RowMark mark = i <= marks.size() ? marks[i - 1] : ExamSession::RowMark::None;
        if (mark == ExamSession::RowMark::None) {
            if (row.Mark)
                row.Mark->hide();
            continue;
        }
        if (!row.Mark) {
            row.Mark = new QLabel(m_picQuestion);
            row.Mark->setObjectName(QStringLiteral("lblMark%1").arg(i));
            row.Mark->setFont(markFont);
            row.Mark->setAlignment(Qt::AlignCenter);
            row.Mark->setTextFormat(Qt::PlainText);
            row.Mark->setForegroundRole(QPalette::WindowText);
        }
        const bool right = mark == ExamSession::RowMark::RightOption;
        row.Mark->setText(right ? QStringLiteral("\u2713") : QStringLiteral("\u2717"));
        row.Mark->setAccessibleName(right ? tr("correct option") : tr("your answer, incorrect"));
        row.Mark->setToolTip(row.Mark->accessibleName());
        // On the page's Base background, on a plate where the theme's is too close.
        Contrast::SetTextOnPlate(row.Mark, right ? CorrectColor : IncorrectColor, QPalette::Base);
        const QRect selector = SelectorAt(i)->geometry();
        row.Mark->setGeometry(0, selector.top(), Twips::ToPixels(QuestionInset), selector.height());
        row.Mark->show();
    }
}

QWidget* QuestionPanel::LastInTabOrder() const
{
    return m_cmdCheck;
}

void QuestionPanel::FocusFirstChoice()
{
    if (m_rowCount < 1)
        return;
    QAbstractButton* first = SelectorAt(1);
    if (first->isEnabled())
        first->setFocus(Qt::OtherFocusReason);
}

bool QuestionPanel::HasChoiceFocus() const
{
    return m_picQuestion->isAncestorOf(QApplication::focusWidget());
}

void QuestionPanel::ScrollPage(bool down)
{
    m_vsbScroll->triggerAction(down ? QAbstractSlider::SliderPageStepAdd : QAbstractSlider::SliderPageStepSub);
}

// ---------------------------------------------------------------------------
// The information panel

void QuestionPanel::PaintInfo()
{
    // The note colours of the theme (a pale cream on most light ones), taken
    // afresh whenever the panel shows, so a changed theme is followed.
    const QPalette page = m_viewport->palette();
    QPalette palette = m_fraInfo->palette();
    palette.setColor(QPalette::Window, page.color(QPalette::ToolTipBase));
    palette.setColor(QPalette::WindowText, page.color(QPalette::ToolTipText));
    palette.setColor(QPalette::Text, page.color(QPalette::ToolTipText));
    m_fraInfo->setPalette(palette);
}

void QuestionPanel::SetInfoVisible(bool visible)
{
    if (visible)
        PaintInfo();
    m_fraInfo->setVisible(visible);
    if (visible)
        m_fraInfo->raise();
    else
        m_cmdWhy->hide();
    m_cmdCheck->hide();
}

void QuestionPanel::ShowCheck()
{
    m_lblAnswer->clear();
    m_lblStatus->clear();
    m_cmdWhy->hide();
    m_cmdCheck->show();
}

void QuestionPanel::ShowStatus(const ExamSession::Status& status)
{
    PaintInfo();
    m_lblAnswer->setText(status.answerText);
    m_lblStatus->setText(status.correct ? QStringLiteral("CORRECT") : QStringLiteral("INCORRECT"));
    // Setting the name announces it to screen readers, also when the
    // verdict reads as the item before's (the sitting's accessibility test
    // listens for it).
    m_lblStatus->setAccessibleName(status.correct ? tr("Correct") : tr("Incorrect"));
    m_lblAnswer->setAccessibleName(status.answerText);
    m_lblStatus->setForegroundRole(QPalette::WindowText);
    Contrast::SetTextOnPlate(m_lblStatus, status.correct ? CorrectColor : IncorrectColor, QPalette::Window);
    m_cmdWhy->setVisible(status.whyVisible);
    m_cmdCheck->hide();
}

// ---------------------------------------------------------------------------
// Geometry

void QuestionPanel::ArrangeContent()
{
    TwipsRect question { QuestionInset, QuestionInset, QuestionInset + m_layout.QuestionWidth, QuestionInset };
    const int questionWidthPx = qMax(1, Twips::ToPixels(m_layout.QuestionWidth));
    question.Bottom = question.Top + Twips::FromPixels(m_lblQuestion->heightForWidth(questionWidthPx));
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
        const QRect selector = ToPixels(content.Rows[i].Selector);
        SelectorAt(i + 1)->setGeometry(selector);
        row.Label->setGeometry(ToPixels(content.Rows[i].Label));
        if (row.Mark)
            row.Mark->setGeometry(0, selector.top(), Twips::ToPixels(QuestionInset), selector.height());
    }
    m_contentHeight = content.Height;
    m_picQuestion->resize(Twips::ToPixels(m_layout.ContentWidth), Twips::ToPixels(m_contentHeight));
    UpdateScrollRange();
}

void QuestionPanel::UpdateScrollRange()
{
    const PageGeometry::ScrollRange range
        = PageGeometry::ScrollFor(m_layout.Frame.Height(), m_layout.FrameInnerHeight, m_contentHeight);
    m_vsbScroll->setEnabled(range.Enabled);
    m_vsbScroll->setRange(range.Min, range.Max);
    m_vsbScroll->setSingleStep(qMax(1, range.SmallChange));
    m_vsbScroll->setPageStep(qMax(1, range.LargeChange));
}

void QuestionPanel::ScrollTo(qint32 value)
{
    m_picQuestion->move(0, -Twips::ToPixels(value));
}

void QuestionPanel::EnsureVisible(QWidget* child)
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

void QuestionPanel::DragInfoPanel(QEvent* event)
{
    const auto* mouse = static_cast<QMouseEvent*>(event);
    const QPoint at = mouse->position().toPoint();
    const PageGeometry::Point pointer { Twips::FromPixels(at.x()), Twips::FromPixels(at.y()) };
    if (event->type() == QEvent::MouseButtonPress && mouse->button() == Qt::LeftButton) {
        m_infoPress = pointer;
    } else if (event->type() == QEvent::MouseMove && (mouse->buttons() & Qt::LeftButton)) {
        const PageGeometry::DragBounds bounds = PageGeometry::InfoDragBounds(m_layout.FrameInnerWidth,
            m_layout.FrameInnerHeight, m_layout.ScrollBar.Width(), InfoWidth(), InfoHeight());
        m_infoPosition = PageGeometry::DragInfo(m_infoPosition, pointer, m_infoPress, bounds);
        m_fraInfo->move(Twips::ToPixels(m_infoPosition.X), Twips::ToPixels(m_infoPosition.Y));
    }
}

bool QuestionPanel::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseMove:
        if (auto* row = qobject_cast<QWidget*>(watched); row && row->parentWidget() == m_picQuestion
            && static_cast<QMouseEvent*>(event)->button() == Qt::RightButton) {
            const qint32 index = row->property("ChoiceIndex").toInt();
            if (event->type() == QEvent::MouseButtonPress && index > 0 && index <= m_rowCount)
                Q_EMIT strikeRequested(index);
            return true;
        }
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
                if (click && index > 0 && index <= m_rowCount)
                    Q_EMIT labelClicked(index);
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
    return QFrame::eventFilter(watched, event);
}
