#include "common/TestUtil.h"
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
#include <QScopeGuard>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTextDocumentFragment>

using namespace ReportLayout;

namespace {

// Ten items keyed "2", the first `correct` answered right, the rest wrong:
// with a maximum of 1000 each right item is worth 100.
std::unique_ptr<Exam> MakeExam(int correct, qint16 maxScore = 1000, qint16 passScore = 700)
{
    auto exam = std::make_unique<Exam>();
    exam->SetCode("PRAC-101");
    exam->SetMaxScore(maxScore);
    exam->SetPassScore(passScore);
    for (int i = 1; i <= 10; ++i) {
        auto question = exam->Questions().Add();
        auto key = question->Choices().Add();
        key->SetNumber(2);
        key->SetIsSolution(true);
        question->SetAnswer(i <= correct ? "2" : "3");
    }
    return exam;
}

} // namespace

class frmReportTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        MessageSeam::Intercept(true);
    }

    void share_data()
    {
        QTest::addColumn<int>("score");
        QTest::addColumn<int>("total");
        QTest::addColumn<int>("percent");
        QTest::addColumn<int>("number"); // the error raised, 0 for none
        QTest::newRow("half rounds to even") << 625 << 1000 << 62 << 0;
        QTest::newRow("two thirds") << 2 << 3 << 67 << 0;
        QTest::newRow("score of no maximum") << 700 << 0 << 0 << int(ErrorNumber::DivisionByZero);
        QTest::newRow("nothing of no maximum") << 0 << 0 << 0 << int(ErrorNumber::Overflow);
        QTest::newRow("share past 16 bits") << 32767 << 1 << 0 << int(ErrorNumber::Overflow);
    }

    void share()
    {
        QFETCH(int, score);
        QFETCH(int, total);
        int percent = 0;
        const Error error = TestUtil::Raised([&] { percent = Share(qint16(score), qint16(total)); });
        QTEST(error.Number(), "number");
        QCOMPARE(error.Source(), QString(error.Number() ? "ReportLayout::Share()" : ""));
        QTEST(percent, "percent");
    }

    void verdict_data()
    {
        QTest::addColumn<int>("correct");
        QTest::addColumn<int>("maxScore");
        QTest::addColumn<int>("passScore");
        QTest::addColumn<QString>("headline");
        QTest::addColumn<int>("obtained");
        QTest::addColumn<int>("requiredShare");
        QTest::addColumn<int>("obtainedShare");
        QTest::newRow("above the pass score") << 8 << 1000 << 700 << "Contratulations!" << 800 << 70 << 80;
        QTest::newRow("equal to the pass score") << 7 << 1000 << 700 << "Contratulations!" << 700 << 70 << 70;
        QTest::newRow("one short of the pass score") << 7 << 1000 << 701 << "Sorry!" << 700 << 70 << 70;
        QTest::newRow("nothing right") << 0 << 1000 << 700 << "Sorry!" << 0 << 70 << 0;
        QTest::newRow("everything right") << 10 << 1000 << 875 << "Contratulations!" << 1000 << 88 << 100;
        // Nothing clamps a share: the bar runs past the area.
        QTest::newRow("pass score above the maximum") << 8 << 1000 << 1500 << "Sorry!" << 800 << 150 << 80;
        // A damaged exam may carry a maximum of 0; the report must still come up.
        QTest::newRow("no maximum score") << 2 << 0 << 0 << "Contratulations!" << 0 << 0 << 0;
    }

    void verdict()
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
        QVERIFY(QTest::qWaitForWindowActive(&report));
        const auto at = [&report](const char* name) { return report.findChild<QWidget*>(name); };
        QCOMPARE(QTextDocumentFragment::fromHtml(static_cast<QLabel*>(at("lblMessage"))->text()).toPlainText(),
            QString("%1\nA score of %2 or better was required to pass this exam.\nYour score was %3")
                .arg(headline)
                .arg(passScore)
                .arg(obtained));
        // Screen readers hear each figure with its caption, and the whole.
        QCOMPARE(at("lblObtainedScore")->accessibleName(),
            QString("Your score: %1 out of %2").arg(obtained).arg(maxScore));
        QCOMPARE(at("lblRequiredShare")->accessibleName(),
            QString("Required score: %1 percent of the maximum").arg(requiredShare));
        QVERIFY(report.accessibleDescription().startsWith(
            QString("%1. Your score: %2").arg(headline == "Sorry!" ? "Fail" : "Pass").arg(obtained)));
        const int inner = at("picScores")->contentsRect().width();
        QVERIFY(qAbs(at("shpRequired")->width() - inner * requiredShare / 100.0) <= 1);
        QVERIFY(qAbs(at("shpObtained")->width() - inner * obtainedShare / 100.0) <= 1);
        const auto colourOf = [](QWidget* bar) {
            const QImage image = bar->grab().toImage();
            return image.pixelColor(image.width() / 2, image.height() / 2).toRgb();
        };
        if (requiredShare > 0)
            QCOMPARE(colourOf(at("shpRequired")), QColor(58, 153, 239));
        if (obtainedShare > 0)
            QCOMPARE(colourOf(at("shpObtained")), headline == "Sorry!" ? QColor(228, 78, 39) : QColor(153, 239, 58));

        // The window with its frame over the work area, the rest placed in it.
        const TwipsRect area = GetWorkArea();
        QCOMPARE(report.frameGeometry(),
            QRect(Twips::ToPixels(area.Left), Twips::ToPixels(area.Top), Twips::ToPixels(area.Width()),
                Twips::ToPixels(area.Height())));
        const QRect logo = at("picLogo")->geometry(), message = at("lblMessage")->geometry();
        const QRect frame = at("fraScores")->geometry(), print = at("cmdPrint")->geometry();
        QCOMPARE(logo.top(), Twips::ToPixels(500));
        QCOMPARE(message.top(), logo.bottom() + 1);
        QVERIFY(qAbs(frame.top() - (message.bottom() + 1) - Twips::ToPixels(200)) <= 1);
        for (const QRect& centred : { logo, message, frame })
            QVERIFY(qAbs(centred.center().x() - report.rect().center().x()) <= 1);
        QCOMPARE(print.left(), frame.left());
        QCOMPARE(at("cmdExit")->geometry().right(), frame.right());
        QCOMPARE(at("cmdExit")->geometry().top(), print.top());
        QVERIFY(qAbs(print.top() - (report.height() - 2 * print.height())) <= 1);

        // Enter closes the report even from Print, so it never prints by accident.
        at("cmdPrint")->setFocus();
        QTest::keyClick(at("cmdPrint"), Qt::Key_Return);
        QCOMPARE(report.result(), int(QDialog::Accepted));
        QVERIFY(MessageSeam::TakeShown().isEmpty());
    }

    void frameWidth()
    {
        QCOMPARE(FrameWidth(18000), 10800); // sixty percent
        QCOMPARE(FrameWidth(12000), 9000); // never narrower
        QCOMPARE(FrameWidth(10000), 8800); // but a small window keeps its margins
        QCOMPARE(FrameWidth(40000), 15000); // never wider
    }

    void titleLines_data()
    {
        // "Exam Title: " is 12 characters: the name's character n is the title's n + 12.
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("lines");
        const QString a116(116, 'a');
        QTest::newRow("exactly 128 characters") << a116 << QStringList { "Exam Title: " + a116 };
        QTest::newRow("blank at the 128th character")
            << QString(115, 'a') + " tail" << QStringList { "Exam Title: " + QString(115, 'a'), "tail" };
        QTest::newRow("first blank after the 128th")
            << "word " + QString(120, 'b') + " part" << QStringList { "Exam Title: word " + QString(120, 'b'), "part" };
        QTest::newRow("no blank from the 128th on")
            << "word " + QString(130, 'c') << QStringList { "Exam Title: word " + QString(130, 'c') };
    }

    void titleLines()
    {
        QFETCH(QString, name);
        QTEST(TitleLines(name), "lines");
    }

    void pageLayout()
    {
        const PageContent content { "EX-1", "word " + QString(120, 'b') + " rest", "Monday, 2 March 2026", 700, 650,
            70, 65 };
        // One millimetre per character, whatever the style, on a page 170 wide.
        const auto oneEach = [](const QString& text, TextStyle) { return double(text.size()); };
        const PrintedPage page = LayOutPage(content, oneEach);
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
        QCOMPARE(at("100%"), QPointF(158, 132)); // centred on the scale's end
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

    void printedPageReadsBack()
    {
        const QString pdftotext = QStandardPaths::findExecutable("pdftotext");
        if (pdftotext.isEmpty())
            QSKIP("pdftotext (Debian package poppler-utils) is not installed; scripts/setup installs it");
        auto exam = MakeExam(8);
        exam->SetName("Sample Exam");
        frmReport report(*exam);
        QTemporaryDir dir;
        // A locale whose long and short dates differ: the page says the long one.
        const QLocale before;
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        const auto restore = qScopeGuard([before] { QLocale::setDefault(before); });
        const QDate today = QDate::currentDate();
        QPrinter printer(QPrinter::HighResolution);
        printer.setOutputFormat(QPrinter::PdfFormat);
        printer.setOutputFileName(dir.filePath("report.pdf"));
        report.PrintTo(printer);

        QProcess reader;
        reader.start(pdftotext, { "-layout", dir.filePath("report.pdf"), "-" });
        QVERIFY(reader.waitForFinished());
        QCOMPARE(reader.exitCode(), 0);
        const QString text = QString::fromUtf8(reader.readAllStandardOutput()).simplified();
        QStringList dated; // the day may turn while printing
        for (const QDate& day : { today, QDate::currentDate() })
            dated << "Dated: " + QLocale().toString(day, "dddd, MMMM d, yyyy");
        QVERIFY2(text.contains(dated[0]) || text.contains(dated[1]), qPrintable(dated[0] + "\n" + text));
        for (const char* piece : { "Exam Code: PRAC-101", "Dated: ", "Exam Title: Sample Exam", "Required Score: 700",
                 "Your Score: 800", "Grade: Pass", "0%", "100%",
                 "Score report printed with Practorium - The Most Realistic Exam Simulator" })
            QVERIFY2(text.contains(piece), qPrintable(piece + ("\n" + text)));
    }

    void retakeOffered_data()
    {
        QTest::addColumn<int>("correct");
        QTest::newRow("two missed") << 8;
        QTest::newRow("nothing missed") << 10;
    }

    void retakeOffered()
    {
        QFETCH(int, correct);
        auto exam = MakeExam(correct);
        frmReport report(*exam);
        report.show();
        QSignalSpy asked(&report, &frmReport::retakeRequested);
        auto* retake = report.findChild<QPushButton*>("cmdRetake");
        QCOMPARE(retake->isEnabled(), correct < 10);
        QTest::mouseClick(retake, Qt::LeftButton);
        QCOMPARE(asked.count(), correct < 10 ? 1 : 0);
        QCOMPARE(report.isVisible(), correct == 10);
    }

    void printWithoutPrinter_data()
    {
        QTest::addColumn<int>("answer");
        QTest::addColumn<QString>("fileName"); // empty: the file dialog is cancelled
        QTest::addColumn<bool>("saved");
        QTest::newRow("declined") << int(MessageSeam::No) << "" << false;
        QTest::newRow("file dialog cancelled") << int(MessageSeam::Yes) << "" << false;
        QTest::newRow("saved") << int(MessageSeam::Yes) << "saved.pdf" << true;
        QTest::newRow("folder missing") << int(MessageSeam::Yes) << "missing/saved.pdf" << false;
    }

    void printWithoutPrinter()
    {
        if (!QPrinterInfo::defaultPrinter().isNull())
            QSKIP("a printer is installed here; the test does not print on it");
        QFETCH(int, answer);
        QFETCH(QString, fileName);
        QFETCH(bool, saved);
        auto exam = MakeExam(8);
        frmReport report(*exam);
        report.show();
        QVERIFY(QTest::qWaitForWindowActive(&report));
        QTemporaryDir dir;
        const QString path = fileName.isEmpty() ? QString() : dir.filePath(fileName);
        const bool fails = !path.isEmpty() && !saved;
        MessageSeam::SetNextAnswer(answer);
        frmReport::SetNextSaveFileName(path);
        if (fails)
            QTest::ignoreMessage(QtWarningMsg, "QPainter::begin(): Returned false");
        QTest::mouseClick(report.findChild<QPushButton*>("cmdPrint"), Qt::LeftButton);

        QStringList shown;
        for (const MessageSeam::Shown& box : MessageSeam::TakeShown())
            shown << QString::number(box.Style) + ' ' + box.Text;
        QCOMPARE(shown.value(0), QString("36 No printer is installed. Would you like to save the score report as a "
                                         "PDF file instead?"));
        QCOMPARE(shown.mid(1), fails ? QStringList { "16 Error printing report" } : QStringList());
        QVERIFY(report.isVisible());
        QCOMPARE(saved && TestUtil::ReadAll(path).startsWith("%PDF-"), saved);
        QCOMPARE(QFile::exists(path), saved);
    }
};

QTEST_MAIN(frmReportTest)
#include "frmReportTest.moc"
