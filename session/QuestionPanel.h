#pragma once

#include "session/ExamSession.h"
#include "session/PageGeometry.h"

#include <QFrame>
#include <QList>

#include <vector>

class Panel;
class QAbstractButton;
class QCheckBox;
class QLabel;
class QPushButton;
class QRadioButton;
class QScrollBar;

// The bordered part of the exam page (picBorder): the item's text and its
// option rows on a content area that scrolls with vsbScroll, and the
// post-exam information panel fraInfo floating over it. It knows nothing of
// the sitting: the exam window tells it what to show and hears what the
// candidate clicked. Lengths are twips, converted here at the widget boundary.
class QuestionPanel : public QFrame
{
    Q_OBJECT

public:
    // `tabBefore` is the control the option rows follow in the tab order.
    QuestionPanel(QWidget* tabBefore, QWidget* parent);

    // The fixed sizes the page arrangement needs, in twips.
    qint32 ScrollBarWidth() const;
    qint32 InfoWidth() const;
    qint32 InfoHeight() const;

    // Places the content for a new page arrangement (the frame itself is
    // placed by the window); the information panel goes to its home.
    void Arrange(const PageGeometry::PageLayout& layout);
    // Back to the top with no rows shown; rows are kept, hidden, for reuse.
    void ClearChoices();
    void SetQuestion(const QString& text);
    // The item text and option texts at `percent` of the page design's size
    // (TextScale); the rows and the scroll range follow their new heights and
    // the scroll position keeps the candidate's place.
    void SetTextScale(qint32 percent);
    // One row per option, radio buttons (`options`) or check boxes, each
    // unselected and captioned by its number's letter ("A.", "B.", ...);
    // then the rows in `selected` (1-based; others ignored) are set as a
    // click would.
    struct ChoiceText
    {
        qint16 Number = 0;
        QString Statement;
    };
    void LoadChoices(bool options, const QList<ChoiceText>& choices, bool enabled, const QList<qint16>& selected);
    // The selected rows of one kind in answer form ("1,3").
    QString Answer(bool options) const;
    qint32 RowCount() const { return m_rowCount; }
    void UncheckBox(qint32 index);
    // What a click on an option's text does to its row (and the focus).
    void ToggleCheckBox(qint32 index);
    void SelectOption(qint32 index);
    // Strike-out look of a shown row: its text struck through and dimmed.
    // LoadChoices shows every row unstruck.
    void SetStruck(qint32 index, bool struck);
    bool IsStruck(qint32 index) const;
    // Beside each selector: a mark for the right option or for a wrong choice
    // (empty list: none).
    void SetRowMarks(const QList<ExamSession::RowMark>& marks);

    // The last control of the panel in the tab order; the window's own
    // controls go on from it.
    QWidget* LastInTabOrder() const;

    void FocusFirstChoice();
    bool HasChoiceFocus() const;
    void ScrollPage(bool down);

    // The information panel: the key, the verdict in its colour and Why.
    void SetInfoVisible(bool visible);
    void ShowStatus(const ExamSession::Status& status);
    // Study mode before Check: the panel offers Check and no verdict yet.
    void ShowCheck();
    void HomeInfo();

    // The 1-based positions of the selected buttons joined by ",": a radio
    // button counts when it is on, a check box only when fully checked.
    static QString BuildAnswer(const QList<QAbstractButton*>& selectors);

Q_SIGNALS:
    void labelClicked(qint32 index);
    // A right-click on an option row's selector or text.
    void strikeRequested(qint32 index);
    // A box of the item on screen was checked (by a click or by code).
    void boxChecked(qint32 index);
    void whyClicked();
    void checkClicked();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // One option row. Rows are kept when an item goes and reused, hidden, by
    // the next one; a row's selector of each kind is made when first needed.
    struct ChoiceRow
    {
        QRadioButton* Option = nullptr;
        QCheckBox* Check = nullptr;
        QLabel* Label = nullptr;
        QLabel* Mark = nullptr;
        qint32 LabelHeight = 0; // twips, measured for the current width
        bool Struck = false;
    };

    ChoiceRow& RowAt(qint32 index);
    QRadioButton* OptionAt(qint32 index);
    QCheckBox* CheckAt(qint32 index);
    QAbstractButton* SelectorAt(qint32 index) const;
    QList<QAbstractButton*> Selectors(bool options) const;
    QWidget* PreviousSelector(qint32 index, bool options) const;
    static void SetOption(QRadioButton* option, bool on);
    // "Option B: <text>, not selected" for assistive technology.
    void UpdateRowName(qint32 index);
    // The selectors' size and the option texts' inset for the page's font.
    void MeasureSelectors();
    void ArrangeContent();
    // fraInfo in the theme's note colours.
    void PaintInfo();
    void UpdateScrollRange();
    void ScrollTo(qint32 value);
    void EnsureVisible(QWidget* child);
    void DragInfoPanel(QEvent* event);

    QWidget* m_tabBefore;
    QWidget* m_viewport = nullptr; // the client area: clips the content inside the border
    QWidget* m_picQuestion = nullptr;
    QLabel* m_lblQuestion = nullptr;
    QScrollBar* m_vsbScroll = nullptr;
    ::Panel* m_fraInfo = nullptr;
    QLabel* m_lblAnswer = nullptr;
    QLabel* m_lblStatus = nullptr;
    QPushButton* m_cmdWhy = nullptr;
    QPushButton* m_cmdCheck = nullptr;

    std::vector<ChoiceRow> m_rows;
    qint32 m_rowCount = 0; // rows of the item on screen
    bool m_rowsAreOptions = false; // radio buttons (one answer) or check boxes
    qint32 m_selectorWidth = 0; // twips, the same for every row
    qint32 m_selectorHeight = 0;
    int m_labelInset = 0; // pixels above an option text's first line
    qint32 m_contentHeight = 0; // twips, picQuestion

    PageGeometry::PageLayout m_layout;
    PageGeometry::Point m_infoPosition;
    PageGeometry::Point m_infoPress;
    QLabel* m_pressedLabel = nullptr;
};
