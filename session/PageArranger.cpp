#include "session/PageArranger.h"

#include "session/QuestionPanel.h"

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>

namespace {

// The mark box's and the time label's top, in twips: page design.
constexpr qint32 MarkTop = 120;

} // namespace

QRect PageArranger::ToPixels(const TwipsRect& rect)
{
    const int left = Twips::ToPixels(rect.Left);
    const int top = Twips::ToPixels(rect.Top);
    return QRect(left, top, Twips::ToPixels(rect.Right) - left, Twips::ToPixels(rect.Bottom) - top);
}

PageGeometry::PageInput PageArranger::Measure() const
{
    const Widgets& w = m_widgets;
    PageGeometry::PageInput in;
    in.WindowInnerWidth = Twips::FromPixels(w.Window->width());
    in.WindowInnerHeight = Twips::FromPixels(w.Window->height());
    in.MarkTop = MarkTop;
    in.MarkHeight = Twips::FromPixels(w.Mark->height());
    in.FrameBorder = Twips::FromPixels(w.Frame->frameWidth());
    in.ScrollBarWidth = w.Frame->ScrollBarWidth();
    in.TimeWidth = Twips::FromPixels(w.Time->width());
    in.InfoWidth = w.Frame->InfoWidth();
    in.InfoHeight = w.Frame->InfoHeight();
    in.ButtonHeight = Twips::FromPixels(w.Next->height());
    in.ReviewWidth = Twips::FromPixels(w.Review->width());
    in.ExhibitVisible = !w.Exhibit->isHidden();
    return in;
}

void PageArranger::ArrangePage()
{
    m_layout = PageGeometry::LayoutPage(Measure());
    m_widgets.Frame->setGeometry(ToPixels(m_layout.Frame));
    m_widgets.Mark->move(Twips::ToPixels(m_layout.MarkLeft), Twips::ToPixels(MarkTop));
    m_widgets.Time->move(Twips::ToPixels(m_layout.TimeLeft), Twips::ToPixels(MarkTop));
    m_widgets.Frame->Arrange(m_layout);
    ArrangeButtons();
}

void PageArranger::ArrangeButtons()
{
    const PageGeometry::PageInput in = Measure();
    m_layout.Buttons = PageGeometry::LayoutButtons(m_layout.Frame.Left, m_layout.Frame.Width(), in.WindowInnerHeight,
        in.ButtonHeight, in.ReviewWidth, in.ExhibitVisible);
    const int top = Twips::ToPixels(m_layout.Buttons.Top);
    m_widgets.Next->move(Twips::ToPixels(m_layout.Buttons.NextLeft), top);
    m_widgets.Prev->move(Twips::ToPixels(m_layout.Buttons.PrevLeft), top);
    m_widgets.Exhibit->move(Twips::ToPixels(m_layout.Buttons.ExhibitLeft), top);
    m_widgets.Review->move(Twips::ToPixels(m_layout.Buttons.ReviewLeft), top);
}
