#pragma once

#include "model/Twips.h"

#include <QColor>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

// The score report's arithmetic and geometry, free of widgets so that it can
// be checked without a window: the verdict and its texts, the bar shares and
// widths, the window's arrangement (twips) and the printed page (millimetres).
namespace ReportLayout {

// Fill colours of the bars; the headline takes the obtained bar's colour.
inline const QColor RequiredColor(58, 153, 239);
inline const QColor FailColor(228, 78, 39);
inline const QColor PassColor(153, 239, 58);

// A score equal to the required one passes.
bool IsPassed(qint16 obtained, qint16 required);
// "Contratulations!" (spelled so) or "Sorry!".
QString Headline(qint16 obtained, qint16 required);
QColor ResultColor(qint16 obtained, qint16 required);
// "Pass" or "Fail", as the printed grade reads.
QString Grade(qint16 obtained, qint16 required);
// Headline, the required-score sentence and "Your score was <n>", joined by
// CR LF; the scores as plain integers.
QString ResultText(qint16 obtained, qint16 required);

// What assistive technology reads for the report: the figures on screen are
// bare numbers under captions, so each is named with its caption, and the
// whole report is summed up, dated as the printed page is.
struct SpokenReport
{
    QString Obtained; // "Your score: 720 out of 1000"
    QString Required; // "Required to pass: 700"
    QString Grade; // "Grade: Pass"
    QString ObtainedShare; // "Your score: 72 percent of the maximum"
    QString RequiredShare;
    QString Summary; // "Pass. Your score: 720 out of 1000. Required to pass: 700. <date>"
};
SpokenReport Spoken(qint16 obtained, qint16 required, qint16 total, qint16 obtainedShare, qint16 requiredShare,
    const QString& dated);

// `score` in percent of `total`, worked in single precision and rounded half
// to even. A total of 0 raises error 11 (error 6 for 0 of 0), a share outside
// 16 bits error 6, all from "ReportLayout::Share()".
qint16 Share(qint16 score, qint16 total);
// Width in twips of a bar that shows `percent` of an area `innerWidth`
// twips wide. Nothing clamps it: a share above 100 is wider than the area;
// a negative share gives a negative width, which shows as no bar.
float BarWidth(qint16 percent, float innerWidth);

// ---- the window (twips) ----

// The sizes the window's controls want, measured at the widget boundary.
struct ScreenSizes
{
    qint32 InnerWidth = 0;
    qint32 InnerHeight = 0;
    qint32 LogoWidth = 0;
    qint32 LogoHeight = 0;
    qint32 MessageWidth = 0;
    qint32 MessageHeight = 0;
    qint32 FrameHeight = 0;
    qint32 ButtonHeight = 0;
    qint32 PrintWidth = 0;
    qint32 ExitWidth = 0;
};

struct ScreenPlacement
{
    TwipsRect Logo;
    TwipsRect Message;
    TwipsRect Frame;
    TwipsRect Print;
    TwipsRect Exit;
};

constexpr qint32 LogoTop = 500;
constexpr qint32 FrameGap = 200;

// The score frame takes 60 % of the window, no narrower than 9,000 twips and
// no wider than 15,000, and always leaves 600 twips either side when the
// window is smaller than that.
qint32 FrameWidth(qint32 innerWidth);
// Logo, message and frame centred one below the other from the top; the two
// buttons two button heights above the bottom, under the frame's edges.
ScreenPlacement Arrange(const ScreenSizes& sizes);

// ---- the printed page (millimetres from the margins) ----

constexpr double PageWidth = 170.0;
constexpr double LogoWidth = 46.0;
constexpr double GraphLeft = 30.0;
constexpr double GraphLength = 130.0;
constexpr qsizetype TitleBreak = 128;

// "Exam Title: " + name; past 128 characters it is cut at the first blank at
// or after the 128th and the rest, without that blank, is a second line. A
// title with no blank there stays one line.
QStringList TitleLines(const QString& examName);

enum class TextStyle { Heading, Normal, Title, Label, Mark, Summary, Footer, Closing };

struct PageText
{
    QString Text;
    double X = 0;
    // The top of the text, or its middle when CentredOnY.
    double Y = 0;
    TextStyle Style = TextStyle::Normal;
    bool CentredOnY = false;
};

struct PageBox
{
    double X = 0;
    double Y = 0;
    double Width = 0;
    double Height = 0;
    QColor Color;
};

struct PageLine
{
    double X1 = 0;
    double Y1 = 0;
    double X2 = 0;
    double Y2 = 0;
    QColor Color;
    bool Dashed = false;
};

struct PageContent
{
    QString Code;
    QString Name;
    QString Dated;
    qint16 Required = 0;
    qint16 Obtained = 0;
    qint16 RequiredShare = 0;
    qint16 ObtainedShare = 0;
    // Height over width of the printable logo.
    double LogoAspect = 0.25;
};

struct PrintedPage
{
    PageBox Logo;
    QList<PageText> Texts;
    QList<PageBox> Bars;
    QList<PageLine> Lines;
};

// Width in millimetres of a text in a style, as the printer measures it.
using TextWidth = std::function<double(const QString& text, TextStyle style)>;

inline const QString FooterText
    = QStringLiteral("Score report printed with Practorium - The Most Realistic Exam Simulator");
inline const QString ClosingText = QStringLiteral("Thank you for practising with Practorium.");

// Everything on the page, in drawing order.
PrintedPage LayOutPage(const PageContent& content, const TextWidth& textWidth);

} // namespace ReportLayout
