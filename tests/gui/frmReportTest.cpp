#include "model/Error.h"
#include "model/Exam.h"
#include "shell/Common.h"
#include "shell/MessageSeam.h"
#include "shell/ReportLayout.h"
#include "shell/frmReport.h"

#include <QFile>
#include <QLabel>
#include <QPrinter>
#include <QPrinterInfo>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTextDocumentFragment>

using namespace ReportLayout;

class frmReportTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void share_data();
    void share();
    void shareOfNoMaximumRaises_data();
    void shareOfNoMaximumRaises();
    void barWidth_data();
    void barWidth();
    void verdict_data();
    void verdict();
    void noMaximumScoreShowsEmptyBars();
    void arrange();
    void frameWidth_data();
    void frameWidth();
    void placedOverWorkArea();
    void keysClose_data();
    void keysClose();
    void titleLines_data();
    void titleLines();
    void pageLayout();
    void printedPageReadsBack();
    void printWithoutPrinter_data();
    void printWithoutPrinter();

private:
    // `count` one-answer items, the first `correct` answered right, the
    // rest wrong.
    static std::unique_ptr<Exam> MakeExam(int count, int correct, qint16 maxScore, qint16 passScore);
    static QString ShownMessage(const frmReport& report);

    std::unique_ptr<QTemporaryDir> m_dir;
};

void frmReportTest::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
}

void frmReportTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    MessageSeam::Intercept(true);
}

void frmReportTest::cleanup()
{
    MessageSeam::Intercept(false);
    m_dir.reset();
}

std::unique_ptr<Exam> frmReportTest::MakeExam(int count, int correct, qint16 maxScore, qint16 passScore)
{
    auto exam = std::make_unique<Exam>();
    exam->SetCode("PRAC-101");
    exam->SetName("Practice Exam");
    exam->SetMaxScore(maxScore);
    exam->SetPassScore(passScore);
    for (int i = 1; i <= count; ++i) {
        auto question = exam->Questions().Add();
        question->SetNumber(qint16(i));
        for (int c = 1; c <= 3; ++c) {
            auto choice = question->Choices().Add();
            choice->SetNumber(qint16(c));
            choice->SetIsSolution(c == 2);
        }
        question->SetAnswer(i <= correct ? "2" : "3");
    }
    return exam;
}

QString frmReportTest::ShownMessage(const frmReport& report)
{
    return QTextDocumentFragment::fromHtml(report.findChild<QLabel*>("lblMessage")->text()).toPlainText();
}

void frmReportTest::share_data()
{
    QTest::addColumn<int>("score");
    QTest::addColumn<int>("total");
    QTest::addColumn<int>("percent");
    QTest::newRow("seventy") << 700 << 1000 << 70;
    QTest::newRow("half rounds down to even") << 625 << 1000 << 62;
    QTest::newRow("half rounds up to even") << 875 << 1000 << 88;
    QTest::newRow("a third") << 1 << 3 << 33;
    QTest::newRow("two thirds") << 2 << 3 << 67;
    QTest::newRow("pass score above the maximum") << 1500 << 1000 << 150;
}

void frmReportTest::share()
{
    QFETCH(int, score);
    QFETCH(int, total);
    QTEST(int(Share(qint16(score), qint16(total))), "percent");
}

void frmReportTest::shareOfNoMaximumRaises_data()
{
    QTest::addColumn<int>("score");
    QTest::addColumn<int>("total");
    QTest::addColumn<int>("number");
    QTest::newRow("score of no maximum") << 700 << 0 << ErrorNumber::DivisionByZero;
    QTest::newRow("nothing of no maximum") << 0 << 0 << ErrorNumber::Overflow;
    QTest::newRow("share past 16 bits") << 32767 << 1 << ErrorNumber::Overflow;
}

void frmReportTest::shareOfNoMaximumRaises()
{
    QFETCH(int, score);
    QFETCH(int, total);
    try {
        Share(qint16(score), qint16(total));
        QFAIL("no error raised");
    } catch (const Error& error) {
        QTEST(error.Number(), "number");
        QCOMPARE(error.Source(), QString("ReportLayout::Share()"));
    }
}

void frmReportTest::barWidth_data()
{
    QTest::addColumn<int>("percent");
    QTest::addColumn<float>("inner");
    QTest::addColumn<float>("width");
    QTest::newRow("empty") << 0 << 9000.0f << 0.0f;
    QTest::newRow("half") << 50 << 9000.0f << 4500.0f;
    QTest::newRow("beyond the area is not clamped") << 150 << 9000.0f << 13500.0f;
}

void frmReportTest::barWidth()
{
    QFETCH(int, percent);
    QFETCH(float, inner);
    QTEST(BarWidth(qint16(percent), inner), "width");
}

void frmReportTest::verdict_data()
{
    QTest::addColumn<int>("correct");
    QTest::addColumn<int>("passScore");
    QTest::addColumn<QString>("headline");
    QTest::addColumn<int>("obtained");
    QTest::addColumn<int>("requiredShare");
    QTest::addColumn<int>("obtainedShare");
    QTest::addColumn<QString>("grade");
    // Ten items, a maximum of 1000: each correct item is worth 100.
    QTest::newRow("above the pass score") << 8 << 700 << "Contratulations!" << 800 << 70 << 80 << "Pass";
    QTest::newRow("equal to the pass score passes") << 7 << 700 << "Contratulations!" << 700 << 70 << 70 << "Pass";
    QTest::newRow("one short of the pass score") << 7 << 701 << "Sorry!" << 700 << 70 << 70 << "Fail";
    QTest::newRow("nothing right") << 0 << 700 << "Sorry!" << 0 << 70 << 0 << "Fail";
    QTest::newRow("everything right") << 10 << 875 << "Contratulations!" << 1000 << 88 << 100 << "Pass";
}

void frmReportTest::verdict()
{
    QFETCH(int, correct);
    QFETCH(int, passScore);
    QFETCH(QString, headline);
    QFETCH(int, obtained);
    QFETCH(int, requiredShare);
    QFETCH(int, obtainedShare);
    auto exam = MakeExam(10, correct, 1000, qint16(passScore));
    frmReport report(*exam);
    report.show();
    QVERIFY(QTest::qWaitForWindowExposed(&report));

    QCOMPARE(ShownMessage(report),
        QString("%1\nA score of %2 or better was required to pass this exam.\nYour score was %3")
            .arg(headline)
            .arg(passScore)
            .arg(obtained));
    QCOMPARE(report.findChild<QLabel*>("lblObtainedScore")->text(), QString::number(obtained));
    QTEST(report.findChild<QLabel*>("lblGrade")->text(), "grade");
    QCOMPARE(report.findChild<QLabel*>("lblRequiredShare")->text(), QString("%1%").arg(requiredShare));

    const QWidget* area = report.findChild<QWidget*>("picScores");
    const int inner = area->contentsRect().width();
    QWidget* required = report.findChild<QWidget*>("shpRequired");
    QWidget* scored = report.findChild<QWidget*>("shpObtained");
    QVERIFY(qAbs(required->width() - inner * requiredShare / 100.0) <= 1);
    QVERIFY2(qAbs(scored->width() - inner * obtainedShare / 100.0) <= 1,
        qPrintable(QString("bar %1 of %2").arg(scored->width()).arg(inner)));
    // The colours as drawn.
    const auto colourOf = [](QWidget* bar) {
        const QImage image = bar->grab().toImage();
        return image.pixelColor(image.width() / 2, image.height() / 2).toRgb();
    };
    QCOMPARE(colourOf(required), QColor(58, 153, 239));
    if (obtainedShare > 0)
        QCOMPARE(colourOf(scored), headline == "Sorry!" ? QColor(228, 78, 39) : QColor(153, 239, 58));
}

void frmReportTest::noMaximumScoreShowsEmptyBars()
{
    // A damaged exam may carry a maximum of 0: no share can be worked out,
    // and the report must still come up.
    auto exam = MakeExam(4, 2, 0, 0);
    frmReport report(*exam);
    report.show();
    QVERIFY(QTest::qWaitForWindowExposed(&report));
    QCOMPARE(report.findChild<QWidget*>("shpRequired")->width(), 0);
    QCOMPARE(report.findChild<QWidget*>("shpObtained")->width(), 0);
    QVERIFY(ShownMessage(report).startsWith("Contratulations!\n"));
}

void frmReportTest::arrange()
{
    ScreenSizes sizes;
    sizes.InnerWidth = 18000;
    sizes.InnerHeight = 11000;
    sizes.LogoWidth = 6000;
    sizes.LogoHeight = 1500;
    sizes.MessageWidth = 7001;
    sizes.MessageHeight = 1200;
    sizes.FrameHeight = 3000;
    sizes.ButtonHeight = 500;
    sizes.PrintWidth = 1500;
    sizes.ExitWidth = 1400;
    const ScreenPlacement placed = Arrange(sizes);
    QCOMPARE(placed.Logo, (TwipsRect { 6000, 500, 12000, 2000 }));
    QCOMPARE(placed.Message, (TwipsRect { 5499, 2000, 12500, 3200 }));
    // 60 % of the window, centred, 200 twips below the message.
    QCOMPARE(placed.Frame, (TwipsRect { 3600, 3400, 14400, 6400 }));
    QCOMPARE(placed.Print, (TwipsRect { 3600, 10000, 5100, 10500 }));
    QCOMPARE(placed.Exit, (TwipsRect { 13000, 10000, 14400, 10500 }));
}

void frmReportTest::frameWidth_data()
{
    QTest::addColumn<int>("inner");
    QTest::addColumn<int>("width");
    QTest::newRow("sixty percent") << 18000 << 10800;
    QTest::newRow("never narrower than 9000") << 12000 << 9000;
    QTest::newRow("small window keeps its margins") << 10000 << 8800;
    QTest::newRow("never wider than 15000") << 40000 << 15000;
    QTest::newRow("no window") << 0 << 0;
}

void frmReportTest::frameWidth()
{
    QFETCH(int, inner);
    QTEST(int(FrameWidth(inner)), "width");
}

void frmReportTest::placedOverWorkArea()
{
    auto exam = MakeExam(10, 8, 1000, 700);
    frmReport report(*exam);
    report.show();
    QVERIFY(QTest::qWaitForWindowExposed(&report));
    // The window with its frame covers the work area.
    const TwipsRect area = GetWorkArea();
    QCOMPARE(report.frameGeometry(),
        QRect(Twips::ToPixels(area.Left), Twips::ToPixels(area.Top), Twips::ToPixels(area.Width()),
            Twips::ToPixels(area.Height())));

    const QRect logo = report.findChild<QWidget*>("picLogo")->geometry();
    const QRect message = report.findChild<QWidget*>("lblMessage")->geometry();
    const QRect frame = report.findChild<QWidget*>("fraScores")->geometry();
    const QRect print = report.findChild<QWidget*>("cmdPrint")->geometry();
    const QRect exit = report.findChild<QWidget*>("cmdExit")->geometry();
    QCOMPARE(logo.top(), Twips::ToPixels(500));
    QCOMPARE(message.top(), logo.bottom() + 1);
    QVERIFY(qAbs(frame.top() - (message.bottom() + 1) - Twips::ToPixels(200)) <= 1);
    for (const QRect& centred : { logo, message, frame })
        QVERIFY(qAbs(centred.center().x() - report.rect().center().x()) <= 1);
    QCOMPARE(print.left(), frame.left());
    QCOMPARE(exit.right(), frame.right());
    QCOMPARE(print.top(), exit.top());
    QVERIFY(qAbs(print.top() - (report.height() - 2 * print.height())) <= 1);
}

void frmReportTest::keysClose_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<QString>("focus");
    QTest::addColumn<int>("result");
    QTest::newRow("Escape") << int(Qt::Key_Escape) << "cmdExit" << int(QDialog::Rejected);
    QTest::newRow("Enter") << int(Qt::Key_Return) << "cmdExit" << int(QDialog::Accepted);
    QTest::newRow("Enter while Print has the focus") << int(Qt::Key_Return) << "cmdPrint" << int(QDialog::Accepted);
}

void frmReportTest::keysClose()
{
    QFETCH(int, key);
    QFETCH(QString, focus);
    auto exam = MakeExam(10, 8, 1000, 700);
    frmReport report(*exam);
    report.show();
    QVERIFY(QTest::qWaitForWindowActive(&report));
    report.findChild<QPushButton*>(focus)->setFocus();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key(key));
    QVERIFY(!report.isVisible());
    QTEST(report.result(), "result");
    QVERIFY(MessageSeam::TakeShown().isEmpty());
}

void frmReportTest::titleLines_data()
{
    // "Exam Title: " is 12 characters, so the name's character n is the
    // title's character n + 12.
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("lines");
    const QString a116(116, 'a');
    QTest::newRow("short") << "Sample" << QStringList { "Exam Title: Sample" };
    QTest::newRow("exactly 128 characters") << a116 << QStringList { "Exam Title: " + a116 };
    QTest::newRow("blank at the 128th character")
        << QString(115, 'a') + " tail" << QStringList { "Exam Title: " + QString(115, 'a'), "tail" };
    QTest::newRow("first blank after the 128th")
        << "word " + QString(120, 'b') + " second part here"
        << QStringList { "Exam Title: word " + QString(120, 'b'), "second part here" };
    QTest::newRow("no blank from the 128th on")
        << "word " + QString(130, 'c') << QStringList { "Exam Title: word " + QString(130, 'c') };
}

void frmReportTest::titleLines()
{
    QFETCH(QString, name);
    QTEST(TitleLines(name), "lines");
}

void frmReportTest::pageLayout()
{
    PageContent content;
    content.Code = "EX-1";
    content.Name = "word " + QString(120, 'b') + " rest";
    content.Dated = "Monday, 2 March 2026";
    content.Required = 700;
    content.Obtained = 650;
    content.RequiredShare = 70;
    content.ObtainedShare = 65;
    // One millimetre per character, whatever the style.
    const PrintedPage page = LayOutPage(content, [](const QString& text, TextStyle) { return double(text.size()); });

    const auto find = [&page](const QString& start) {
        for (const PageText& text : page.Texts) {
            if (text.Text.startsWith(start))
                return text;
        }
        return PageText { "missing: " + start };
    };
    const auto at = [](const PageText& text) { return QPointF(text.X, text.Y); };
    QCOMPARE(find("Exam Code: ").Text, QString("Exam Code: EX-1"));
    QCOMPARE(at(find("Exam Code: ")), QPointF(0, 55));
    QCOMPARE(at(find("Dated: ")), QPointF(170 - QString("Dated: Monday, 2 March 2026").size(), 55));
    QCOMPARE(at(find("Exam Title: ")), QPointF(0, 60));
    QCOMPARE(at(find("rest")), QPointF(12, 65));
    QCOMPARE(at(find("Required Score:")), QPointF(5, 110));
    QCOMPARE(at(find("Your Score:")), QPointF(5, 120));
    QCOMPARE(find("0%").Y, 132.0);
    QCOMPARE(find("0%").X + 1, 30.0); // centred on the scale's start
    QCOMPARE(find("100%").X + 2, 160.0);
    QCOMPARE(find("Grade: ").Text, QString("Grade: Fail"));
    // The three figures on one row, from the left edge to the right edge.
    const PageText required = find("Required Score: 7");
    const PageText grade = find("Grade: ");
    QCOMPARE(at(required), QPointF(0, 145));
    QCOMPARE(grade.X + grade.Text.size(), 170.0);
    QCOMPARE(find("Your Score: 6").Y, 145.0);
    const PageText footer = find("Score report printed with Practorium - The Most Realistic Exam Simulator");
    QCOMPARE(footer.Y, 250.0);
    QCOMPARE(footer.X, 170 - (footer.X + footer.Text.size()));

    QCOMPARE(page.Bars.size(), 2);
    QCOMPARE(page.Bars[0].X, 30.0);
    QCOMPARE(page.Bars[0].Y, 106.0);
    QCOMPARE(page.Bars[0].Y + page.Bars[0].Height, 114.0);
    QCOMPARE(page.Bars[0].Width, 91.0); // 70 % of 130
    QCOMPARE(page.Bars[0].Color, QColor(58, 153, 239));
    QCOMPARE(page.Bars[1].Y, 116.0);
    QCOMPARE(page.Bars[1].Width, 84.5);
    QCOMPARE(page.Bars[1].Color, QColor(228, 78, 39));
    QCOMPARE(find("65%").Y, 120.0);
    QVERIFY(page.Logo.Y + page.Logo.Height <= 55);
    QCOMPARE(page.Logo.Width, 46.0);
}

void frmReportTest::printedPageReadsBack()
{
    const QString pdftotext = QStandardPaths::findExecutable("pdftotext");
    if (pdftotext.isEmpty())
        QSKIP("pdftotext (Debian package poppler-utils) is not installed; scripts/setup installs it");
    auto exam = MakeExam(10, 8, 1000, 700);
    // The 128th character falls inside "Automation": the line breaks after it.
    const QString first = "Exam Title: Implementing and Operating Core Network Technologies including Routing "
                          "Switching Wireless Security and the Automation";
    const QString rest = "of Enterprise Campus Networks";
    QVERIFY(first.size() >= 128 && first.lastIndexOf(' ') < 127);
    exam->SetName(first.mid(12) + " " + rest);
    frmReport report(*exam);
    const QString path = m_dir->filePath("report.pdf");
    QPrinter printer(QPrinter::HighResolution);
    printer.setOutputFormat(QPrinter::PdfFormat);
    printer.setOutputFileName(path);
    report.PrintTo(printer);

    QProcess reader;
    reader.start(pdftotext, { "-layout", path, "-" });
    QVERIFY(reader.waitForFinished());
    QCOMPARE(reader.exitCode(), 0);
    QStringList lines;
    for (const QString& line : QString::fromUtf8(reader.readAllStandardOutput()).split('\n'))
        lines.append(line.simplified());
    const QString text = lines.join('\n');
    QVERIFY2(text.contains("Exam Code: PRAC-101"), qPrintable(text));
    QVERIFY(text.contains("Dated: "));
    QVERIFY(text.contains("Required Score: 700"));
    QVERIFY(text.contains("Your Score: 800"));
    QVERIFY(text.contains("Grade: Pass"));
    QVERIFY(text.contains("0%"));
    QVERIFY(text.contains("100%"));
    QVERIFY(lines.contains("Score report printed with Practorium - The Most Realistic Exam Simulator"));
    // The long title on two lines, broken where the page says.
    QVERIFY2(lines.contains(first.simplified()), qPrintable(text));
    QVERIFY2(lines.contains(rest), qPrintable(text));
}

void frmReportTest::printWithoutPrinter_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<bool>("saved");
    QTest::addColumn<QStringList>("messages");
    const QString question
        = "36 No printer is installed. Would you like to save the score report as a PDF file instead?";
    QTest::newRow("declined") << int(MessageSeam::No) << "" << false << QStringList { question };
    QTest::newRow("file dialog cancelled") << int(MessageSeam::Yes) << "" << false << QStringList { question };
    QTest::newRow("saved") << int(MessageSeam::Yes) << "saved.pdf" << true << QStringList { question };
    QTest::newRow("folder missing") << int(MessageSeam::Yes) << "missing/saved.pdf" << false
                                    << QStringList { question, "16 Error printing report" };
}

void frmReportTest::printWithoutPrinter()
{
    if (!QPrinterInfo::defaultPrinter().isNull())
        QSKIP("a printer is installed here; the test does not print on it");
    QFETCH(int, answer);
    QFETCH(QString, fileName);
    QFETCH(bool, saved);
    auto exam = MakeExam(10, 8, 1000, 700);
    frmReport report(*exam);
    report.show();
    QVERIFY(QTest::qWaitForWindowActive(&report));
    MessageSeam::SetNextAnswer(answer);
    const QString path = fileName.isEmpty() ? QString() : m_dir->filePath(fileName);
    if (answer == MessageSeam::Yes)
        frmReport::SetNextSaveFileName(path);
    if (fileName.startsWith("missing/"))
        QTest::ignoreMessage(QtWarningMsg, "QPainter::begin(): Returned false");
    QTest::mouseClick(report.findChild<QPushButton*>("cmdPrint"), Qt::LeftButton);

    QStringList shown;
    for (const MessageSeam::Shown& box : MessageSeam::TakeShown())
        shown.append(QString::number(box.Style) + ' ' + box.Text);
    QTEST(shown, "messages");
    QVERIFY(report.isVisible());
    if (saved) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.read(5) == "%PDF-");
    } else if (!path.isEmpty()) {
        QVERIFY(!QFile::exists(path));
    }
}

QTEST_MAIN(frmReportTest)
#include "frmReportTest.moc"
