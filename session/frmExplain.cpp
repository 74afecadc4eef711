#include "session/frmExplain.h"

#include "model/Common.h"
#include "model/Error.h"
#include "model/Exam.h"
#include "shell/DisplaySettings.h"
#include "shell/Globals.h"

#include <QHBoxLayout>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>

namespace {

// Wide enough for a comfortable line of text, tall enough for a paragraph or
// two before the box scrolls; in device-independent pixels.
constexpr QSize InitialSize(560, 380);
// Explanations are read at length, so a little larger than the dialog font.
constexpr qreal TextPointSize = 11.0;

} // namespace

frmExplain::frmExplain(QWidget* owner)
    : QDialog(owner)
{
    setModal(true);

    m_txtExplaination = new QPlainTextEdit(this);
    m_txtExplaination->setObjectName(QStringLiteral("txtExplaination"));
    m_txtExplaination->setReadOnly(true);
    m_txtExplaination->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    m_txtExplaination->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    SetTextScale(TextScale::Normal);
    TextScale::AddKeys(this, [this](TextScale::Change change) {
        SetTextScale(TextScale::Apply(change, m_textScale));
        Q_EMIT textScaleChanged(m_textScale);
    });
    m_txtExplaination->setAccessibleName(QStringLiteral("Explanation"));

    m_cmdClose = new QPushButton(QStringLiteral("&Close"), this);
    m_cmdClose->setObjectName(QStringLiteral("cmdClose"));
    m_cmdClose->setDefault(true);
    connect(m_cmdClose, &QPushButton::clicked, this, &QDialog::accept);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_cmdClose);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_txtExplaination);
    layout->addLayout(buttons);
    resize(InitialSize);

    // The text has the focus so that the arrow keys scroll it; Enter and
    // Escape still close the window.
    m_txtExplaination->setFocus();
}

void frmExplain::SetTextScale(qint32 percent)
{
    m_textScale = percent;
    QFont font = m_txtExplaination->font();
    font.setPointSizeF(TextScale::Points(std::max(QFont().pointSizeF(), TextPointSize), percent));
    m_txtExplaination->setFont(font);
}

void frmExplain::SetQuestionNumber(qint16 number)
{
    const std::shared_ptr<Exam>& exam = CurrentExam();
    // Without an exam there is no item to explain: the run-time's error for a
    // reference to nothing.
    if (!exam) {
        Error::Raise(91, QStringLiteral("frmExplain::SetQuestionNumber()"),
            QStringLiteral("Object variable or With block variable not set"));
    }
    const QString explaination = exam->Questions().Item(number).Explaination();
    m_questionNumber = number;
    setWindowTitle(FormatText(QStringLiteral("Explaination - Question: {1}"), { int(number) }));
    m_txtExplaination->setPlainText(explaination.isEmpty()
            ? QStringLiteral("Sorry! Explaination is not available for this question.")
            : explaination);
}
