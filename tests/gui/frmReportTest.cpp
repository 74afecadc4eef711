#include "common/TestUtil.h"
#include "model/Error.h"
#include "model/Exam.h"
#include "shell/Common.h"
#include "shell/MessageSeam.h"
#include "shell/ReportLayout.h"
#include "shell/frmReport.h"

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
    void share_data();
    void share();
    void barWidthIsNotClamped();
    void verdict_data();
    void verdict();
    void frameWidth_data();
    void frameWidth();
    void placedOverWorkArea();
    void enterClosesEvenFromPrint();
    void titleLines_data();
    void titleLines();
    void pageLayout();
    void printedPageReadsBack();
    void printWithoutPrinter_data();
    void printWithoutPrinter();

private:
    // Ten one-answer items, the first `correct` answered right, the rest
    // wrong: with a maximum of 1000 each right item is worth 100.
    static std::unique_ptr<Exam> MakeExam(int correct, qint16 maxScore = 1000, qint16 passScore = 700);
};

void frmReportTest::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    MessageSeam::Intercept(true);
}

std::unique_ptr<Exam> frmReportTest::MakeExam(int correct, qint16 maxScore, qint16 passScore)
{
    auto exam = std::make_unique<Exam>();
    exam->SetCode("PRAC-101");
    exam->SetMaxScore(maxScore);
    exam->SetPassScore(passScore);
    for (int i = 1; i <= 10; ++i) {
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

void frmReportTest::share_data()
{
    QTest::addColumn<int>("score");
    QTest::addColumn<int>("total");
    QTest::addColumn<int>("percent");
    QTest::addColumn<int>("number"); // the error raised, 0 for none
    QTest::newRow("half rounds down to even") << 625 << 1000 << 62 << 0;
    QTest::newRow("half rounds up to even") << 875 << 1000 << 88 << 0;
    QTest::newRow("two thirds") << 2 << 3 << 67 << 0;
    QTest::newRow("pass score above the maximum") << 1500 << 1000 << 150 << 0;
    QTest::newRow("score of no maximum") << 700 << 0 << 0 << int(ErrorNumber::DivisionByZero);
    QTest::newRow("nothing of no maximum") << 0 << 0 << 0 << int(ErrorNumber::Overflow);
    QTest::newRow("share past 16 bits") << 32767 << 1 << 0 << int(ErrorNumber::Overflow);
}

void frmReportTest::share()
{
    QFETCH(int, score);
    QFETCH(int, total);
    QFETCH(int, number);
    try {
        QTEST(int(Share(qint16(score), qint16(total))), "percent");
        QCOMPARE(number, 0);
    } catch (const Error& error) {
        QCOMPARE(error.Number(), number);
        QCOMPARE(error.Source(), QString("ReportLayout::Share()"));
    }
}

void frmReportTest::barWidthIsNotClamped()
{
    QCOMPARE(BarWidth(0, 9000.0f), 0.0f);
    QCOMPARE(BarWidth(150, 9000.0f), 13500.0f);
}

void frmReportTest::verdict_data()
{
    QTest::addColumn<int>("correct");
    QTest::addColumn<int>("maxScore");
    QTest::addColumn<int>("passScore");
    QTest::addColumn<QString>("headline");
    QTest::addColumn<int>("obtained");
    QTest::addColumn<int>("requiredShare");
    QTest::addColumn<int>("obtainedShare");
    QTest::addColumn<QString>("grade");
    QTest::newRow("above the pass score") << 8 << 1000 << 700 << "Contratulations!" << 800 << 70 << 80 << "Pass";
    QTest::newRow("equal to the pass score passes")
        << 7 << 1000 << 700 << "Contratulations!" << 700 << 70 << 70 << "Pass";
    QTest::newRow("one short of the pass score") << 7 << 1000 << 701 << "Sorry!" << 700 << 70 << 70 << "Fail";
    QTest::newRow("nothing right") << 0 << 1000 << 700 << "Sorry!" << 0 << 70 << 0 << "Fail";
    QTest::newRow("everything right") << 10 << 1000 << 875 << "Contratulations!" << 1000 << 88 << 100 << "Pass";
    // A damaged exam may carry a maximum of 0: no share can be worked out,
    // and the report must still come up.
    QTest::newRow("no maximum score") << 2 << 0 << 0 << "Contratulations!" << 0 << 0 << 0 << "Pass";
}

void frmReportTest::verdict()
{
    QFETCH(int, correct);
    QFETCH(int, maxScore);
    QFETCH(int, passScore);
    QFETCH(QString, headline);
    QFETCH(int, obtained);
    QFETCH(int, requiredShare);
    QFETCH(int, obtainedShare);
    auto exam = MakeExam(correct, qint16(maxScore), qint16(passScore));
    frmReport report(*exam);
    report.show();
    QVERIFY(QTest::qWaitForWindowExposed(&report));

    const QString message = report.findChild<QLabel*>("lblMessage")->text();
    QCOMPARE(QTextDocumentFragment::fromHtml(message).toPlainText(),
        QString("%1\nA score of %2 or better was required to pass this exam.\nYour score was %3")
            .arg(headline)
            .arg(passScore)
            .arg(obtained));
    QTEST(report.findChild<QLabel*>("lblGrade")->text(), "grade");
    QCOMPARE(report.findChild<QLabel*>("lblRequiredShare")->text(), QString("%1%").arg(requiredShare));

    const int inner = report.findChild<QWidget*>("picScores")->contentsRect().width();
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
    if (requiredShare > 0)
        QCOMPARE(colourOf(required), QColor(58, 153, 239));
    if (obtainedShare > 0)
        QCOMPARE(colourOf(scored), headline == "Sorry!" ? QColor(228, 78, 39) : QColor(153, 239, 58));
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
    auto exam = MakeExam(8);
    frmReport report(*exam);
    report.show();
    QVERIFY(QTest::qWaitForWindowExposed(&report));
    // The window with its frame covers the work area.
    const TwipsRect area = GetWorkArea();
    QCOMPARE(report.frameGeometry(),
        QRect(Twips::ToPixels(area.Left), Twips::ToPixels(area.Top), Twips::ToPixels(area.Width()),
            Twips::ToPixels(area.Height())));

    const auto at = [&report](const char* name) { return report.findChild<QWidget*>(name)->geometry(); };
    const QRect logo = at("picLogo");
    const QRect message = at("lblMessage");
    const QRect frame = at("fraScores");
    const QRect print = at("cmdPrint");
    const QRect exit = at("cmdExit");
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

void frmReportTest::enterClosesEvenFromPrint()
{
    auto exam = MakeExam(8);
    frmReport report(*exam);
    report.show();
    QVERIFY(QTest::qWaitForWindowActive(&report));
    auto* print = report.findChild<QPushButton*>("cmdPrint");
    print->setFocus();
    QTest::keyClick(print, Qt::Key_Return);
    QVERIFY(!report.isVisible());
    QCOMPARE(report.result(), int(QDialog::Accepted));
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
    // One millimetre per character, whatever the style, on a page 170 wide.
    const PrintedPage page = LayOutPage(content, [](const QString& text, TextStyle) { return double(text.size()); });
    const auto at = [&page](const QString& start) {
        for (const PageText& text : page.Texts) {
            if (text.Text.startsWith(start))
                return QPointF(text.X, text.Y);
        }
        return QPointF(-1, -1);
    };
    QCOMPARE(at("Exam Code: EX-1"), QPointF(0, 55));
    QCOMPARE(at("Dated: Monday, 2 March 2026"), QPointF(143, 55)); // ends at the right edge
    QCOMPARE(at("rest"), QPointF(12, 65)); // under the title, past "Exam Title: "
    QCOMPARE(at("65%"), QPointF(116.5, 120)); // just past the end of its bar
    QCOMPARE(at("0%"), QPointF(29, 132)); // centred on the scale's ends
    QCOMPARE(at("100%"), QPointF(158, 132));
    // The three figures on one row, from the left edge to the right edge.
    QCOMPARE(at("Required Score: 700"), QPointF(0, 145));
    QCOMPARE(at("Grade: Fail"), QPointF(159, 145));
    QCOMPARE(at("Score report printed with Practorium - The Most Realistic Exam Simulator"), QPointF(49, 250));

    QCOMPARE(page.Bars.size(), 2);
    const auto box = [](const PageBox& bar) { return QRectF(bar.X, bar.Y, bar.Width, bar.Height); };
    QCOMPARE(box(page.Bars[0]), QRectF(30, 106, 91, 8)); // 70 % of 130
    QCOMPARE(page.Bars[0].Color, QColor(58, 153, 239));
    QCOMPARE(box(page.Bars[1]), QRectF(30, 116, 84.5, 8));
    QCOMPARE(page.Bars[1].Color, QColor(228, 78, 39));
    QVERIFY(page.Logo.Y + page.Logo.Height <= 55);
    QCOMPARE(page.Logo.Width, 46.0);
}

void frmReportTest::printedPageReadsBack()
{
    const QString pdftotext = QStandardPaths::findExecutable("pdftotext");
    if (pdftotext.isEmpty())
        QSKIP("pdftotext (Debian package poppler-utils) is not installed; scripts/setup installs it");
    auto exam = MakeExam(8);
    // The 128th character falls inside "Automation": the line breaks after it.
    const QString first = "Exam Title: Implementing and Operating Core Network Technologies including Routing "
                          "Switching Wireless Security and the Automation";
    const QString rest = "of Enterprise Campus Networks";
    QVERIFY(first.size() >= 128 && first.lastIndexOf(' ') < 127);
    exam->SetName(first.mid(12) + " " + rest);
    frmReport report(*exam);
    QTemporaryDir dir;
    QPrinter printer(QPrinter::HighResolution);
    printer.setOutputFormat(QPrinter::PdfFormat);
    printer.setOutputFileName(dir.filePath("report.pdf"));
    report.PrintTo(printer);

    QProcess reader;
    reader.start(pdftotext, { "-layout", dir.filePath("report.pdf"), "-" });
    QVERIFY(reader.waitForFinished());
    QCOMPARE(reader.exitCode(), 0);
    QStringList lines;
    for (const QString& line : QString::fromUtf8(reader.readAllStandardOutput()).split('\n'))
        lines.append(line.simplified());
    const QString text = lines.join('\n');
    for (const char* piece :
        { "Exam Code: PRAC-101", "Dated: ", "Required Score: 700", "Your Score: 800", "Grade: Pass", "0%", "100%" })
        QVERIFY2(text.contains(piece), qPrintable(piece + ("\n" + text)));
    // Whole lines: the footer, and the long title broken where the page says.
    for (const QString& line :
        QStringList { "Score report printed with Practorium - The Most Realistic Exam Simulator", first, rest })
        QVERIFY2(lines.contains(line), qPrintable(line + "\n" + text));
}

void frmReportTest::printWithoutPrinter_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<QString>("fileName"); // empty: the file dialog is cancelled
    QTest::addColumn<bool>("fails");
    QTest::newRow("declined") << int(MessageSeam::No) << "" << false;
    QTest::newRow("file dialog cancelled") << int(MessageSeam::Yes) << "" << false;
    QTest::newRow("saved") << int(MessageSeam::Yes) << "saved.pdf" << false;
    QTest::newRow("folder missing") << int(MessageSeam::Yes) << "missing/saved.pdf" << true;
}

void frmReportTest::printWithoutPrinter()
{
    if (!QPrinterInfo::defaultPrinter().isNull())
        QSKIP("a printer is installed here; the test does not print on it");
    QFETCH(int, answer);
    QFETCH(QString, fileName);
    QFETCH(bool, fails);
    auto exam = MakeExam(8);
    frmReport report(*exam);
    report.show();
    QVERIFY(QTest::qWaitForWindowActive(&report));
    QTemporaryDir dir;
    const QString path = fileName.isEmpty() ? QString() : dir.filePath(fileName);
    MessageSeam::SetNextAnswer(answer);
    if (answer == MessageSeam::Yes)
        frmReport::SetNextSaveFileName(path);
    if (fails)
        QTest::ignoreMessage(QtWarningMsg, "QPainter::begin(): Returned false");
    QTest::mouseClick(report.findChild<QPushButton*>("cmdPrint"), Qt::LeftButton);

    QStringList expected { "36 No printer is installed. Would you like to save the score report as a PDF file "
                           "instead?" };
    if (fails)
        expected << "16 Error printing report";
    QStringList shown;
    for (const MessageSeam::Shown& box : MessageSeam::TakeShown())
        shown << QString::number(box.Style) + ' ' + box.Text;
    QCOMPARE(shown, expected);
    QVERIFY(report.isVisible());
    const bool saved = answer == MessageSeam::Yes && !path.isEmpty() && !fails;
    QCOMPARE(!path.isEmpty() && TestUtil::ReadAll(path).startsWith("%PDF-"), saved);
    if (!saved && !path.isEmpty())
        QVERIFY(!QFile::exists(path));
}

QTEST_MAIN(frmReportTest)
#include "frmReportTest.moc"
