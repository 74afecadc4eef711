#pragma once

#include <QDialog>

class QPlainTextEdit;
class QPushButton;

// The explanation of one item, read-only, shown modally during the review
// after the exam from the exam window's Why button.
class frmExplain : public QDialog
{
    Q_OBJECT

public:
    explicit frmExplain(QWidget* owner = nullptr);

    // Shows the explanation of item `number` (1-based) of the current exam and
    // names the item in the title. A number the exam does not have raises
    // error 9 from the collection; the window is then left as it was.
    void SetQuestionNumber(qint16 number);
    qint16 QuestionNumber() const { return m_questionNumber; }
    // The text at `percent` of its design size (TextScale).
    void SetTextScale(qint32 percent);
    qint32 TextScalePercent() const { return m_textScale; }

Q_SIGNALS:
    // Ctrl+Plus, Ctrl+Minus or Ctrl+0 changed the text's size here.
    void textScaleChanged(qint32 percent);

private:
    qint16 m_questionNumber = 0;
    qint32 m_textScale = 100;
    QPlainTextEdit* m_txtExplaination = nullptr;
    QPushButton* m_cmdClose = nullptr;
};
