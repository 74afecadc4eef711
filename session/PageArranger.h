#pragma once

#include "session/PageGeometry.h"

#include <QRect>

class QCheckBox;
class QLabel;
class QPushButton;
class QWidget;
class QuestionPanel;

// Puts the exam window's widgets where PageGeometry says, converting its
// twips to pixels: the whole page when the window's size changes, the button
// row alone after each item (the Exhibit button comes and goes with it).
class PageArranger
{
public:
    struct Widgets
    {
        QWidget* Window = nullptr;
        QCheckBox* Mark = nullptr; // chkMarked
        QLabel* Time = nullptr; // lblTime
        QuestionPanel* Frame = nullptr; // picBorder
        QPushButton* Next = nullptr;
        QPushButton* Prev = nullptr;
        QPushButton* Exhibit = nullptr;
        QPushButton* Review = nullptr;
    };

    PageArranger() = default;
    explicit PageArranger(const Widgets& widgets)
        : m_widgets(widgets)
    {
    }

    void ArrangePage();
    void ArrangeButtons();

    static QRect ToPixels(const TwipsRect& rect);

private:
    PageGeometry::PageInput Measure() const;

    Widgets m_widgets;
    PageGeometry::PageLayout m_layout;
};
