#include "shell/frmReport.h"

#include "model/Error.h"
#include "model/Exam.h"
#include "shell/Common.h"
#include "shell/Contrast.h"
#include "shell/MessageSeam.h"
#include "shell/ReportLayout.h"
#include "shell/Resources.h"

#include <QDate>
#include <QDir>
#include <QEvent>
#include <QFileDialog>
#include <QFontMetricsF>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QIcon>
#include <QImage>
#include <QLabel>
#include <QLocale>
#include <QPainter>
#include <QPainterPath>
#include <QPrinter>
#include <QPrinterInfo>
#include <QPushButton>
#include <QStandardPaths>
#include <QVBoxLayout>

using namespace ReportLayout;

std::optional<QString> frmReport::s_nextSaveFileName;

namespace {

// The classic run-time error of a printer that cannot take the job.
constexpr qint32 PrinterError = 482;

// The report's colours on screen, from the theme. The described colours
// (the bars, and the headline and figures drawn in them) stay as they are;
// the ground they sit on, the plate, is the window's own where they read on
// it, else the nearest colour that reads (dark on most light themes).
struct Scheme
{
    QColor Plate;
    QColor Ink; // text on the plate
    QColor Muted; // captions and the scale, dimmer yet readable
    QColor Track; // the empty part of a bar's row
    QColor Border;
};

QColor Blend(const QColor& from, const QColor& to, double share)
{
    return QColor::fromRgbF(float(from.redF() + (to.redF() - from.redF()) * share),
        float(from.greenF() + (to.greenF() - from.greenF()) * share),
        float(from.blueF() + (to.blueF() - from.blueF()) * share));
}

Scheme SchemeFor(const QPalette& palette, const QColor& resultColor)
{
    Scheme scheme;
    const QColor window = palette.color(QPalette::Window);
    scheme.Plate = Contrast::ReadableBackground({ RequiredColor, resultColor }, window);
    scheme.Ink = palette.color(QPalette::WindowText);
    if (Contrast::Ratio(scheme.Ink, scheme.Plate) < Contrast::Minimum)
        scheme.Ink = Contrast::ReadableText(scheme.Plate);
    scheme.Muted = scheme.Ink;
    for (double share = 0.45; share > 0; share -= 0.05) {
        const QColor muted = Blend(scheme.Ink, scheme.Plate, share);
        if (Contrast::Ratio(muted, scheme.Plate) >= Contrast::Minimum) {
            scheme.Muted = muted;
            break;
        }
    }
    scheme.Track = Blend(scheme.Plate, scheme.Ink, 0.12);
    scheme.Border = Blend(scheme.Plate, scheme.Ink, 0.2);
    return scheme;
}

// Style sheets re-polish a whole subtree: set only when they change.
void SetStyleSheet(QWidget* widget, const QString& sheet)
{
    if (widget->styleSheet() != sheet)
        widget->setStyleSheet(sheet);
}

void SetColors(QWidget* widget, const QColor& text, const QColor& ground)
{
    QPalette palette = widget->palette();
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Window, ground);
    widget->setPalette(palette);
}

// Height of one bar's row in picScores, and of the bar in it (pixels).
constexpr int ChartRow = 44;
constexpr int BarThickness = 22;
// The logo picture is 4:1; shown at this size on a white plate.
constexpr QSize LogoSize(360, 90);

QString Rgb(const QColor& color)
{
    return QStringLiteral("rgb(%1, %2, %3)").arg(color.red()).arg(color.green()).arg(color.blue());
}

QLabel* Caption(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.85);
    font.setBold(true);
    font.setLetterSpacing(QFont::PercentageSpacing, 110);
    label->setFont(font);
    label->setProperty("Muted", true);
    return label;
}

QLabel* BigNumber(QWidget* parent, const QString& objectName)
{
    auto* label = new QLabel(parent);
    label->setObjectName(objectName);
    QFont font = label->font();
    font.setPointSizeF(30);
    font.setBold(true);
    label->setFont(font);
    return label;
}

// The area the bars lie in: a track per bar and a light grid at every
// quarter, so the bars read against the whole 0 to 100 % range.
class ScoreChart : public QWidget
{
public:
    using QWidget::QWidget;
    QColor Track;
    QColor Grid;

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QRect area = contentsRect();
        for (int row = 0; row < 2; ++row) {
            QPainterPath track;
            track.addRoundedRect(QRectF(area.left(), area.top() + row * ChartRow + (ChartRow - BarThickness) / 2.0,
                                     area.width(), BarThickness),
                5, 5);
            painter.fillPath(track, Track);
        }
        painter.setPen(QPen(Grid, 1, Qt::DotLine));
        for (int quarter = 1; quarter < 4; ++quarter) {
            const int x = area.left() + area.width() * quarter / 4;
            painter.drawLine(x, area.top() + 4, x, area.bottom() - 4);
        }
    }
};

// "0%", "25%", ... "100%" under the chart, at the same quarters.
class ScaleRuler : public QWidget
{
public:
    explicit ScaleRuler(QWidget* parent)
        : QWidget(parent)
    {
        setFixedHeight(fontMetrics().height() + 4);
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setPen(palette().color(QPalette::WindowText));
        const QRect area = contentsRect();
        for (int quarter = 0; quarter <= 4; ++quarter) {
            const QString mark = QString::number(quarter * 25) + QLatin1Char('%');
            const int width = fontMetrics().horizontalAdvance(mark);
            const int x = area.left() + area.width() * quarter / 4;
            // The end marks stay inside the ruler.
            const int left = std::clamp(x - width / 2, area.left(), area.right() - width);
            painter.drawText(QRect(left, area.top(), width, area.height()), Qt::AlignCenter, mark);
        }
    }
};

QString MessageHtml(const QString& message, const QColor& headlineColor)
{
    const QStringList lines = message.split(QStringLiteral("\r\n"));
    QString html
        = QStringLiteral("<p align=\"center\" style=\"margin:0; font-size:34pt; font-weight:700; color:%1;\">%2</p>")
              .arg(Rgb(headlineColor), lines.value(0).toHtmlEscaped());
    for (qsizetype i = 1; i < lines.size(); ++i) {
        html += QStringLiteral("<p align=\"center\" style=\"margin-top:%1px; margin-bottom:0;\">%2</p>")
                    .arg(i == 1 ? 10 : 4)
                    .arg(lines[i].toHtmlEscaped());
    }
    return html;
}

QFont PrintFont(TextStyle style, double titlePoints)
{
    QFont font(QStringLiteral("Sans Serif"));
    font.setStyleHint(QFont::SansSerif);
    switch (style) {
    case TextStyle::Heading:
        font.setPointSizeF(18);
        font.setBold(true);
        break;
    case TextStyle::Title:
        font.setPointSizeF(titlePoints);
        break;
    case TextStyle::Label:
    case TextStyle::Mark:
        font.setPointSizeF(8);
        break;
    case TextStyle::Summary:
        font.setPointSizeF(11);
        font.setBold(true);
        break;
    case TextStyle::Footer:
        font.setPointSizeF(9);
        break;
    case TextStyle::Closing:
        font.setPointSizeF(8);
        font.setItalic(true);
        break;
    case TextStyle::Normal:
        font.setPointSizeF(10);
        break;
    }
    return font;
}

} // namespace

frmReport::frmReport(const Exam& exam, QWidget* owner)
    : QDialog(owner)
{
    InitResources();
    setObjectName(QStringLiteral("frmReport"));
    setWindowTitle(FormatText(QStringLiteral("Score Report - {1}"), { exam.Code() }));

    m_examCode = exam.Code();
    m_examName = exam.Name();
    m_totalScore = exam.MaxScore();
    m_requiredScore = exam.PassScore();
    m_obtainedScore = exam.CalculateScore();

    m_picLogo = new QLabel(this);
    m_picLogo->setObjectName(QStringLiteral("picLogo"));
    // The logo is drawn for paper: it keeps a white plate in every theme.
    m_picLogo->setStyleSheet(
        QStringLiteral("QLabel#picLogo { background: white; border-radius: 14px; padding: 12px 22px; }"));
    const QPixmap logo = LoadIcon(QStringLiteral(":/Logo")).pixmap(LogoSize, devicePixelRatioF());
    if (!logo.isNull())
        m_picLogo->setPixmap(logo);
    else
        m_picLogo->setText(ApplicationTitle());
    m_picLogo->adjustSize();

    m_lblMessage = new QLabel(this);
    m_lblMessage->setObjectName(QStringLiteral("lblMessage"));
    m_lblMessage->setTextFormat(Qt::RichText);
    QFont messageFont = m_lblMessage->font();
    messageFont.setPointSizeF(13);
    m_lblMessage->setFont(messageFont);
    // The message starts right below the logo; its own margins give the
    // headline room to breathe and its plate an edge.
    m_lblMessage->setContentsMargins(28, 14, 28, 14);

    m_fraScores = new QFrame(this);
    m_fraScores->setObjectName(QStringLiteral("fraScores"));

    // The three figures: big, so the result is read at a glance.
    m_lblObtainedScore = BigNumber(m_fraScores, QStringLiteral("lblObtainedScore"));
    m_lblRequiredScore = BigNumber(m_fraScores, QStringLiteral("lblRequiredScore"));
    m_lblGrade = BigNumber(m_fraScores, QStringLiteral("lblGrade"));
    m_lblOutOf = new QLabel(m_fraScores);
    m_lblOutOf->setObjectName(QStringLiteral("lblOutOf"));
    m_lblOutOf->setProperty("Muted", true);
    auto* figures = new QHBoxLayout;
    figures->setSpacing(24);
    const auto addFigure = [&](const QString& caption, QLabel* number, QLabel* note) {
        auto* column = new QVBoxLayout;
        column->setSpacing(2);
        column->addWidget(Caption(caption, m_fraScores), 0, Qt::AlignHCenter);
        column->addWidget(number, 0, Qt::AlignHCenter);
        if (note)
            column->addWidget(note, 0, Qt::AlignHCenter);
        column->addStretch();
        figures->addLayout(column, 1);
    };
    addFigure(QStringLiteral("YOUR SCORE"), m_lblObtainedScore, m_lblOutOf);
    addFigure(QStringLiteral("REQUIRED TO PASS"), m_lblRequiredScore, nullptr);
    addFigure(QStringLiteral("GRADE"), m_lblGrade, nullptr);

    m_picScores = new ScoreChart(m_fraScores);
    m_picScores->setObjectName(QStringLiteral("picScores"));
    m_picScores->setFixedHeight(2 * ChartRow);
    m_picScores->setMinimumWidth(200);
    m_picScores->installEventFilter(this);
    m_shpRequired = new QWidget(m_picScores);
    m_shpRequired->setObjectName(QStringLiteral("shpRequired"));
    m_shpObtained = new QWidget(m_picScores);
    m_shpObtained->setObjectName(QStringLiteral("shpObtained"));
    for (QWidget* bar : { m_shpRequired, m_shpObtained })
        bar->setAttribute(Qt::WA_StyledBackground);

    m_lblRequiredShare = new QLabel(m_fraScores);
    m_lblRequiredShare->setObjectName(QStringLiteral("lblRequiredShare"));
    m_lblObtainedShare = new QLabel(m_fraScores);
    m_lblObtainedShare->setObjectName(QStringLiteral("lblObtainedShare"));
    auto* requiredCaption = new QLabel(QStringLiteral("Required score"), m_fraScores);
    auto* obtainedCaption = new QLabel(QStringLiteral("Your score"), m_fraScores);
    for (QLabel* label : { requiredCaption, obtainedCaption, m_lblRequiredShare, m_lblObtainedShare })
        label->setFixedHeight(ChartRow);
    for (QLabel* label : { m_lblRequiredShare, m_lblObtainedShare }) {
        QFont font = label->font();
        font.setBold(true);
        label->setFont(font);
        label->setMinimumWidth(label->fontMetrics().horizontalAdvance(QStringLiteral("100%")));
    }

    auto* rule = new QFrame(m_fraScores);
    rule->setObjectName(QStringLiteral("linRule"));
    rule->setFixedHeight(1);
    rule->setAutoFillBackground(true);

    auto* grid = new QGridLayout(m_fraScores);
    grid->setContentsMargins(28, 20, 28, 18);
    grid->setHorizontalSpacing(14);
    grid->setVerticalSpacing(0);
    grid->addLayout(figures, 0, 0, 1, 3);
    grid->setRowMinimumHeight(1, 16);
    grid->addWidget(rule, 2, 0, 1, 3);
    grid->setRowMinimumHeight(3, 12);
    grid->addWidget(requiredCaption, 4, 0, Qt::AlignRight);
    grid->addWidget(obtainedCaption, 5, 0, Qt::AlignRight);
    grid->addWidget(m_picScores, 4, 1, 2, 1);
    grid->addWidget(m_lblRequiredShare, 4, 2);
    grid->addWidget(m_lblObtainedShare, 5, 2);
    auto* ruler = new ScaleRuler(m_fraScores);
    ruler->setProperty("Muted", true);
    grid->addWidget(ruler, 6, 1);
    grid->setColumnStretch(1, 1);

    m_cmdPrint = new QPushButton(QStringLiteral("&Print..."), this);
    m_cmdPrint->setObjectName(QStringLiteral("cmdPrint"));
    // Enter closes the report even while Print has the focus.
    m_cmdPrint->setAutoDefault(false);
    m_cmdExit = new QPushButton(QStringLiteral("&Close"), this);
    m_cmdExit->setObjectName(QStringLiteral("cmdExit"));
    m_cmdExit->setDefault(true);
    connect(m_cmdPrint, &QPushButton::clicked, this, &frmReport::PrintReport);
    connect(m_cmdExit, &QPushButton::clicked, this, &QDialog::accept);
    setTabOrder(m_cmdExit, m_cmdPrint);
    m_cmdRetake = new QPushButton(QStringLiteral("&Retake missed items"), this);
    m_cmdRetake->setObjectName(QStringLiteral("cmdRetake"));
    m_cmdRetake->setAutoDefault(false);
    bool missed = false;
    for (const Question& question : exam.Questions())
        missed = missed || question.Answer() != question.CorrectAnswer();
    m_cmdRetake->setEnabled(missed);
    m_cmdPrint->setAccessibleDescription(QStringLiteral("Prints this report, or saves it as a PDF file"));
    m_cmdRetake->setAccessibleDescription(
        QStringLiteral("Starts a sitting of the items answered wrongly or left unanswered"));
    connect(m_cmdRetake, &QPushButton::clicked, this, [this] {
        Q_EMIT retakeRequested();
        accept();
    });
    setTabOrder(m_cmdPrint, m_cmdRetake);

    PlaceOverWorkArea();
    Form_Resize();
}

void frmReport::SetTotalScore(qint16 score)
{
    m_totalScore = score;
    Form_Resize();
}

void frmReport::SetRequiredScore(qint16 score)
{
    m_requiredScore = score;
    Form_Resize();
}

void frmReport::SetObtainedScore(qint16 score)
{
    m_obtainedScore = score;
    Form_Resize();
}

qint16 frmReport::ShareOrZero(qint16 score) const
{
    // A maximum of 0 (only a damaged exam has one) leaves the shares
    // undefined; the report then shows empty bars rather than ending the
    // program over a picture.
    try {
        return Share(score, m_totalScore);
    } catch (const Error&) {
        return 0;
    }
}

void frmReport::SetBar(QWidget* bar, qint16 percent, const QColor& color)
{
    bar->setStyleSheet(QStringLiteral("background: %1; border-radius: 5px;").arg(Rgb(color)));
    const float inner = float(Twips::FromPixels(m_picScores->contentsRect().width()));
    const int width = Twips::ToPixels(BarWidth(percent, inner));
    const int row = bar == m_shpRequired ? 0 : 1;
    // Far above 100 % the bar is only clipped by the area; keep it a size
    // a widget can take.
    bar->setGeometry(m_picScores->contentsRect().left(), row * ChartRow + (ChartRow - BarThickness) / 2,
        std::clamp(width, 0, QWIDGETSIZE_MAX), BarThickness);
}

void frmReport::UpdateBars()
{
    SetBar(m_shpRequired, ShareOrZero(m_requiredScore), RequiredColor);
    SetBar(m_shpObtained, ShareOrZero(m_obtainedScore), ResultColor(m_obtainedScore, m_requiredScore));
}

void frmReport::Form_Resize()
{
    const qint16 requiredShare = ShareOrZero(m_requiredScore);
    const qint16 obtainedShare = ShareOrZero(m_obtainedScore);
    const QColor resultColor = ResultColor(m_obtainedScore, m_requiredScore);
    UpdateBars();
    m_lblMessage->setText(MessageHtml(ResultText(m_obtainedScore, m_requiredScore), resultColor));
    m_lblMessage->adjustSize();

    m_lblObtainedScore->setText(QString::number(m_obtainedScore));
    m_lblOutOf->setText(FormatText(QStringLiteral("out of {1}"), { m_totalScore }));
    m_lblRequiredScore->setText(QString::number(m_requiredScore));
    m_lblGrade->setText(Grade(m_obtainedScore, m_requiredScore));
    ApplyScheme(resultColor);
    m_lblRequiredShare->setText(QString::number(requiredShare) + QLatin1Char('%'));
    m_lblObtainedShare->setText(QString::number(obtainedShare) + QLatin1Char('%'));
    const SpokenReport spoken = Spoken(m_obtainedScore, m_requiredScore, m_totalScore, obtainedShare, requiredShare,
        QLocale().toString(QDate::currentDate(), QLocale::LongFormat));
    m_lblObtainedScore->setAccessibleName(spoken.Obtained);
    m_lblRequiredScore->setAccessibleName(spoken.Required);
    m_lblGrade->setAccessibleName(spoken.Grade);
    m_lblObtainedShare->setAccessibleName(spoken.ObtainedShare);
    m_lblRequiredShare->setAccessibleName(spoken.RequiredShare);
    m_lblMessage->setAccessibleName(
        ResultText(m_obtainedScore, m_requiredScore).replace(QStringLiteral("\r\n"), QStringLiteral(" ")));
    setAccessibleDescription(spoken.Summary);

    ScreenSizes sizes;
    sizes.InnerWidth = Twips::FromPixels(width());
    sizes.InnerHeight = Twips::FromPixels(height());
    sizes.LogoWidth = Twips::FromPixels(m_picLogo->width());
    sizes.LogoHeight = Twips::FromPixels(m_picLogo->height());
    sizes.MessageWidth = Twips::FromPixels(m_lblMessage->width());
    sizes.MessageHeight = Twips::FromPixels(m_lblMessage->height());
    sizes.FrameHeight = Twips::FromPixels(m_fraScores->sizeHint().height());
    sizes.ButtonHeight = Twips::FromPixels(std::max(m_cmdPrint->sizeHint().height(), m_cmdExit->sizeHint().height()));
    sizes.PrintWidth = Twips::FromPixels(m_cmdPrint->sizeHint().width());
    sizes.ExitWidth = Twips::FromPixels(m_cmdExit->sizeHint().width());
    const ScreenPlacement placed = Arrange(sizes);
    const auto place = [](QWidget* widget, const TwipsRect& rect) {
        widget->setGeometry(Twips::ToPixels(rect.Left), Twips::ToPixels(rect.Top), Twips::ToPixels(rect.Width()),
            Twips::ToPixels(rect.Height()));
    };
    place(m_picLogo, placed.Logo);
    place(m_lblMessage, placed.Message);
    place(m_fraScores, placed.Frame);
    place(m_cmdPrint, placed.Print);
    place(m_cmdExit, placed.Exit);
    // Centred under the score frame, between Print and Close.
    const int retakeWidth = m_cmdRetake->sizeHint().width();
    m_cmdRetake->setGeometry(
        m_fraScores->geometry().center().x() - retakeWidth / 2, m_cmdExit->y(), retakeWidth, m_cmdExit->height());
}

void frmReport::ApplyScheme(const QColor& resultColor)
{
    const Scheme scheme = SchemeFor(palette(), resultColor);
    SetStyleSheet(m_fraScores,
        QStringLiteral("QFrame#fraScores { background: %1; border: 1px solid %2; border-radius: 12px; }")
            .arg(Rgb(scheme.Plate), Rgb(scheme.Border)));
    for (QWidget* child : m_fraScores->findChildren<QWidget*>())
        SetColors(child, child->property("Muted").toBool() ? scheme.Muted : scheme.Ink, scheme.Plate);
    SetColors(m_fraScores->findChild<QFrame*>(QStringLiteral("linRule")), scheme.Ink, scheme.Track);
    SetColors(m_lblObtainedScore, resultColor, scheme.Plate);
    SetColors(m_lblGrade, resultColor, scheme.Plate);
    SetColors(m_lblRequiredScore, RequiredColor, scheme.Plate);
    auto* chart = static_cast<ScoreChart*>(m_picScores);
    chart->Track = scheme.Track;
    chart->Grid = scheme.Muted;
    chart->update();
    // The headline is on the plate too, and so are the lines under it.
    SetColors(m_lblMessage, scheme.Ink, scheme.Plate);
    SetStyleSheet(m_lblMessage,
        QStringLiteral("QLabel#lblMessage { background: %1; border-radius: 12px; }").arg(Rgb(scheme.Plate)));
}

void frmReport::resizeEvent(QResizeEvent* event)
{
    QDialog::resizeEvent(event);
    Form_Resize();
}

void frmReport::PlaceOverWorkArea()
{
    const TwipsRect area = GetWorkArea();
    const QRect outer(Twips::ToPixels(area.Left), Twips::ToPixels(area.Top), Twips::ToPixels(area.Width()),
        Twips::ToPixels(area.Height()));
    // The frame, once the window has one, goes over the area too.
    const QMargins frame(geometry().left() - frameGeometry().left(), geometry().top() - frameGeometry().top(),
        frameGeometry().right() - geometry().right(), frameGeometry().bottom() - geometry().bottom());
    setGeometry(outer.marginsRemoved(frame));
}

void frmReport::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    PlaceOverWorkArea();
    m_cmdExit->setFocus();
}

bool frmReport::eventFilter(QObject* watched, QEvent* event)
{
    // The chart's width comes from the frame's layout, which may settle after
    // the window's own resize: the bars follow the chart.
    if (watched == m_picScores && event->type() == QEvent::Resize)
        UpdateBars();
    return QDialog::eventFilter(watched, event);
}

void frmReport::SetNextSaveFileName(const QString& fileName)
{
    s_nextSaveFileName = fileName;
}

QString frmReport::DefaultSaveFileName(const QString& examCode)
{
    QString code = TrimBlanks(examCode);
    code.replace(QLatin1Char('/'), QLatin1Char('-'));
    const QString name
        = code.isEmpty() ? QStringLiteral("Score report.pdf") : code + QStringLiteral(" score report.pdf");
    return QDir(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation)).filePath(name);
}

QString frmReport::AskSaveFileName()
{
    if (s_nextSaveFileName) {
        const QString fileName = *s_nextSaveFileName;
        s_nextSaveFileName.reset();
        return fileName;
    }
    QFileDialog dialog(this, QStringLiteral("Save Score Report"), DefaultSaveFileName(m_examCode),
        QStringLiteral("PDF files (*.pdf)"));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix(QStringLiteral("pdf"));
    if (dialog.exec() != QDialog::Accepted)
        return QString();
    return dialog.selectedFiles().value(0);
}

void frmReport::PrintReport()
{
    try {
        const QPrinterInfo installed = QPrinterInfo::defaultPrinter();
        if (!installed.isNull()) {
            QPrinter printer(installed, QPrinter::HighResolution);
            PrintTo(printer);
            return;
        }
        if (ShowMessage(QStringLiteral("No printer is installed. Would you like to save the score report as a PDF "
                                       "file instead?"),
                36)
            != MessageSeam::Yes)
            return;
        const QString fileName = AskSaveFileName();
        if (fileName.isEmpty())
            return;
        QPrinter printer(QPrinter::HighResolution);
        printer.setOutputFormat(QPrinter::PdfFormat);
        printer.setOutputFileName(fileName);
        const bool usLetter = QLocale().measurementSystem() == QLocale::ImperialUSSystem;
        printer.setPageSize(QPageSize(usLetter ? QPageSize::Letter : QPageSize::A4));
        printer.setPageMargins(QMarginsF(20, 10, 20, 10), QPageLayout::Millimeter);
        PrintTo(printer);
    } catch (...) {
        ShowMessage(QStringLiteral("Error printing report"), 16);
    }
}

void frmReport::PrintTo(QPrinter& printer)
{
    const QString source = QStringLiteral("frmReport::PrintReport()");
    printer.setDocName(FormatText(QStringLiteral("{1} score report"), { m_examCode }));
    QPainter painter;
    if (!painter.begin(&printer))
        Error::Raise(PrinterError, source, QStringLiteral("Printer error"));
    painter.setRenderHint(QPainter::Antialiasing);

    // Page positions are millimetres from the printable area's corner.
    const double unit = printer.resolution() / 25.4;
    double titlePoints = 10;
    const auto measure = [&](const QString& text, TextStyle style) {
        return QFontMetricsF(PrintFont(style, titlePoints), &printer).horizontalAdvance(text) / unit;
    };
    // A long title is drawn smaller until its widest line fits the width.
    const QStringList title = TitleLines(m_examName);
    double titleWidth = measure(title[0], TextStyle::Title);
    if (title.size() > 1)
        titleWidth = std::max(titleWidth, measure(QStringLiteral("Exam Title: ") + title[1], TextStyle::Title));
    if (titleWidth > PageWidth)
        titlePoints = std::max(5.0, titlePoints * PageWidth / titleWidth);

    const QImage logo = LoadPicture(QStringLiteral(":/PRINTABLE_LOGO")).toImage();
    PageContent content;
    content.Code = m_examCode;
    content.Name = m_examName;
    content.Dated = QLocale().toString(QDate::currentDate(), QLocale::LongFormat);
    content.Required = m_requiredScore;
    content.Obtained = m_obtainedScore;
    content.RequiredShare = ShareOrZero(m_requiredScore);
    content.ObtainedShare = ShareOrZero(m_obtainedScore);
    if (!logo.isNull())
        content.LogoAspect = double(logo.height()) / logo.width();
    const PrintedPage page = LayOutPage(content, measure);

    const auto mm = [unit](double x, double y, double width, double height) {
        return QRectF(x * unit, y * unit, width * unit, height * unit);
    };
    if (!logo.isNull())
        painter.drawImage(mm(page.Logo.X, page.Logo.Y, page.Logo.Width, page.Logo.Height), logo);
    for (const PageLine& line : page.Lines) {
        QPen pen(line.Color, 0.3 * unit, line.Dashed ? Qt::DashLine : Qt::SolidLine, Qt::FlatCap);
        painter.setPen(pen);
        painter.drawLine(QPointF(line.X1 * unit, line.Y1 * unit), QPointF(line.X2 * unit, line.Y2 * unit));
    }
    for (const PageBox& bar : page.Bars)
        painter.fillRect(mm(bar.X, bar.Y, bar.Width, bar.Height).normalized(), bar.Color);
    painter.setPen(Qt::black);
    for (const PageText& text : page.Texts) {
        const QFont font = PrintFont(text.Style, titlePoints);
        const QFontMetricsF metrics(font, &printer);
        painter.setFont(font);
        const double top = text.CentredOnY ? text.Y * unit - metrics.height() / 2 : text.Y * unit;
        painter.drawText(QPointF(text.X * unit, top + metrics.ascent()), text.Text);
    }
    if (!painter.end() || printer.printerState() == QPrinter::Error)
        Error::Raise(PrinterError, source, QStringLiteral("Printer error"));
}
