#include "shell/ReportLayout.h"

#include "model/Common.h"
#include "model/Error.h"

#include <algorithm>

namespace ReportLayout {

namespace {

const QString TitleCaption = QStringLiteral("Exam Title: ");
const QColor RuleColor(160, 160, 160);
const QColor GridColor(200, 200, 200);
const QColor InkColor(0, 0, 0);

constexpr double HeaderRule = 50.0;
constexpr double RequiredRow = 110.0;
constexpr double ObtainedRow = 120.0;
constexpr double BarHalfHeight = 4.0;
constexpr double ScaleLine = 128.0;
constexpr double MarksTop = 132.0;

} // namespace

bool IsPassed(qint16 obtained, qint16 required)
{
    return obtained >= required;
}

QString Headline(qint16 obtained, qint16 required)
{
    return IsPassed(obtained, required) ? QStringLiteral("Contratulations!") : QStringLiteral("Sorry!");
}

QColor ResultColor(qint16 obtained, qint16 required)
{
    return IsPassed(obtained, required) ? PassColor : FailColor;
}

QString Grade(qint16 obtained, qint16 required)
{
    return IsPassed(obtained, required) ? QStringLiteral("Pass") : QStringLiteral("Fail");
}

QString ResultText(qint16 obtained, qint16 required)
{
    return FormatText(QStringLiteral("{1}{CRLF}A score of {2} or better was required to pass this exam.{CRLF}"
                                     "Your score was {3}"),
        { Headline(obtained, required), required, obtained });
}

SpokenReport Spoken(qint16 obtained, qint16 required, qint16 total, qint16 obtainedShare, qint16 requiredShare,
    const QString& dated)
{
    SpokenReport spoken;
    spoken.Obtained = FormatText(QStringLiteral("Your score: {1} out of {2}"), { obtained, total });
    spoken.Required = FormatText(QStringLiteral("Required to pass: {1}"), { required });
    spoken.Grade = QStringLiteral("Grade: ") + Grade(obtained, required);
    const QString share = QStringLiteral("{1}: {2} percent of the maximum");
    spoken.ObtainedShare = FormatText(share, { QStringLiteral("Your score"), obtainedShare });
    spoken.RequiredShare = FormatText(share, { QStringLiteral("Required score"), requiredShare });
    QStringList summary { Grade(obtained, required), spoken.Obtained, spoken.Required };
    if (!dated.isEmpty())
        summary.append(dated);
    spoken.Summary = summary.join(QStringLiteral(". "));
    return spoken;
}

qint16 Share(qint16 score, qint16 total)
{
    const QString source = QStringLiteral("ReportLayout::Share()");
    // Single-precision division by zero is an error of its own; 0 / 0 is an
    // overflow, as everywhere else in the program.
    if (total == 0) {
        if (score == 0)
            Error::Raise(ErrorNumber::Overflow, source, QStringLiteral("Overflow"));
        Error::Raise(ErrorNumber::DivisionByZero, source, QStringLiteral("Division by zero"));
    }
    return RoundToInt16(Percentage(float(score), float(total)), source);
}

float BarWidth(qint16 percent, float innerWidth)
{
    return PercentOf(innerWidth, float(percent));
}

qint32 FrameWidth(qint32 innerWidth)
{
    const qint32 wanted = std::clamp(innerWidth * 6 / 10, 9000, 15000);
    return std::max(0, std::min(wanted, innerWidth - 2 * 600));
}

ScreenPlacement Arrange(const ScreenSizes& sizes)
{
    const auto centred = [&sizes](qint32 width) { return (sizes.InnerWidth - width) / 2; };
    ScreenPlacement placed;
    const qint32 logoLeft = centred(sizes.LogoWidth);
    placed.Logo = { logoLeft, LogoTop, logoLeft + sizes.LogoWidth, LogoTop + sizes.LogoHeight };
    const qint32 messageLeft = centred(sizes.MessageWidth);
    const qint32 messageTop = placed.Logo.Bottom;
    placed.Message = { messageLeft, messageTop, messageLeft + sizes.MessageWidth, messageTop + sizes.MessageHeight };
    const qint32 frameWidth = FrameWidth(sizes.InnerWidth);
    const qint32 frameLeft = centred(frameWidth);
    const qint32 frameTop = placed.Message.Bottom + FrameGap;
    placed.Frame = { frameLeft, frameTop, frameLeft + frameWidth, frameTop + sizes.FrameHeight };
    const qint32 buttonTop = sizes.InnerHeight - 2 * sizes.ButtonHeight;
    placed.Print = { frameLeft, buttonTop, frameLeft + sizes.PrintWidth, buttonTop + sizes.ButtonHeight };
    const qint32 buttonBottom = buttonTop + sizes.ButtonHeight;
    placed.Exit = { placed.Frame.Right - sizes.ExitWidth, buttonTop, placed.Frame.Right, buttonBottom };
    return placed;
}

QStringList TitleLines(const QString& examName)
{
    const QString title = TitleCaption + examName;
    if (title.size() <= TitleBreak)
        return { title };
    // The 128th character is at index 127.
    const qsizetype blank = title.indexOf(QLatin1Char(' '), TitleBreak - 1);
    if (blank < 0)
        return { title };
    return { title.left(blank), title.mid(blank + 1) };
}

PrintedPage LayOutPage(const PageContent& content, const TextWidth& textWidth)
{
    PrintedPage page;
    // The logo sits on the header rule, so the heading block reads as one.
    const double logoHeight = LogoWidth * content.LogoAspect;
    page.Logo = { 0.0, HeaderRule - 4 - logoHeight, LogoWidth, logoHeight, QColor() };
    auto text = [&page](const QString& line, double x, double y, TextStyle style, bool centredOnY = false) {
        page.Texts.append({ line, x, y, style, centredOnY });
    };
    auto rule = [&page](double x1, double y1, double x2, double y2, const QColor& color, bool dashed = false) {
        page.Lines.append({ x1, y1, x2, y2, color, dashed });
    };

    // Header: the logo on the left, the document's name level with it.
    const QString heading = QStringLiteral("Score Report");
    text(heading, PageWidth - textWidth(heading, TextStyle::Heading), page.Logo.Y + logoHeight / 2, TextStyle::Heading,
        true);
    rule(0, HeaderRule, PageWidth, HeaderRule, RuleColor);

    const QString code = QStringLiteral("Exam Code: ") + content.Code;
    text(code, 0, 55, TextStyle::Normal);
    const QString dated = QStringLiteral("Dated: ") + content.Dated;
    text(dated, PageWidth - textWidth(dated, TextStyle::Normal), 55, TextStyle::Normal);
    const QStringList title = TitleLines(content.Name);
    text(title[0], 0, 60, TextStyle::Title);
    if (title.size() > 1 && !title[1].isEmpty())
        text(title[1], textWidth(TitleCaption, TextStyle::Title), 65, TextStyle::Title);

    // The graph: the bars on a 0 to 100 % scale 130 mm long from x = 30.
    const double scaleEnd = GraphLeft + GraphLength;
    for (int quarter = 1; quarter <= 4; ++quarter) {
        const double x = GraphLeft + GraphLength * quarter / 4;
        rule(x, 102, x, ScaleLine, GridColor, true);
    }
    const auto bar = [&](const QString& label, double row, qint16 share, const QColor& color) {
        text(label, 5, row, TextStyle::Label, true);
        const double length = PercentOf(float(GraphLength), float(share));
        page.Bars.append({ GraphLeft, row - BarHalfHeight, length, 2 * BarHalfHeight, color });
        text(QString::number(share) + QLatin1Char('%'), GraphLeft + std::max(0.0, length) + 2, row, TextStyle::Label,
            true);
    };
    bar(QStringLiteral("Required Score:"), RequiredRow, content.RequiredShare, RequiredColor);
    bar(QStringLiteral("Your Score:"), ObtainedRow, content.ObtainedShare,
        ResultColor(content.Obtained, content.Required));
    rule(GraphLeft, 102, GraphLeft, ScaleLine, InkColor);
    rule(GraphLeft, ScaleLine, scaleEnd, ScaleLine, InkColor);
    for (int quarter = 0; quarter <= 4; ++quarter) {
        const double x = GraphLeft + GraphLength * quarter / 4;
        rule(x, ScaleLine, x, ScaleLine + 1.5, InkColor);
    }
    const QString zero = QStringLiteral("0%");
    const QString hundred = QStringLiteral("100%");
    text(zero, GraphLeft - textWidth(zero, TextStyle::Mark) / 2, MarksTop, TextStyle::Mark);
    text(hundred, scaleEnd - textWidth(hundred, TextStyle::Mark) / 2, MarksTop, TextStyle::Mark);

    // The figures side by side across the width, evenly spaced.
    const QStringList figures { QStringLiteral("Required Score: ") + QString::number(content.Required),
        QStringLiteral("Your Score: ") + QString::number(content.Obtained),
        QStringLiteral("Grade: ") + Grade(content.Obtained, content.Required) };
    QList<double> widths;
    for (const QString& figure : figures)
        widths.append(textWidth(figure, TextStyle::Summary));
    const double gap = std::max(5.0, (PageWidth - widths[0] - widths[1] - widths[2]) / 2);
    double x = 0;
    for (qsizetype i = 0; i < figures.size(); ++i) {
        text(figures[i], x, 145, TextStyle::Summary);
        x += widths[i] + gap;
    }

    rule(0, 246, PageWidth, 246, RuleColor);
    text(FooterText, (PageWidth - textWidth(FooterText, TextStyle::Footer)) / 2, 250, TextStyle::Footer);
    text(ClosingText, (PageWidth - textWidth(ClosingText, TextStyle::Closing)) / 2, 255, TextStyle::Closing);
    return page;
}

} // namespace ReportLayout
