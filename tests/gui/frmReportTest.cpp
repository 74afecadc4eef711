#include "common/GuiUtil.h"
#include "common/TestUtil.h"
#include "model/Exam.h"
#include "shell/Common.h"
#include "shell/ReportLayout.h"
#include "shell/frmReport.h"

#include <QtTest>
#include <QtWidgets>
#include <QPrinter>
#include <QPrinterInfo>

using namespace ReportLayout;
using namespace GuiUtil;

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
    void initTestCase() { MessageSeam::Intercept(true); }

    void share_data()
    {
        // number: the error raised, 0 for none
        Columns<int, int, int, int>({ "score", "total", "percent", "number" });
        QTest::newRow("half rounds to even") << 625 << 1000 << 62 << 0;
        QTest::newRow("two thirds") << 2 << 3 << 67 << 0;
        QTest::newRow("score of no maximum") << 700 << 0 << 0 << int(ErrorNumber::DivisionByZero);
        QTest::newRow("nothing of no maximum") << 0 << 0 << 0 << int(ErrorNumber::Overflow);
        QTest::newRow("share past 16 bits") << 32767 << 1 << 0 << int(ErrorNumber::Overflow);
    }

    void share()
    {
        int percent = 0;
        const Error error = TestUtil::Raised([&] { percent = Share(qint16(Data<int>("score")), qint16(Data<int>("total"))); });
        QTEST(error.Number(), "number");
        QCOMPARE(error.Source(), QString(error.Number() ? "ReportLayout::Share()" : ""));
        QTEST(percent, "percent");
    }

    // The score frame: 60 %, never narrower than 9000 unless the window is, never wider than 15000 (twips).
    void frameWidth()
    {
        QCOMPARE(QList<qint32>({ FrameWidth(18000), FrameWidth(12000), FrameWidth(10000), FrameWidth(40000) }),
            QList<qint32>({ 10800, 9000, 8800, 15000 }));
    }

    // The verdict, the spoken figures and the bars' lengths and colours; the
    // window on the work area; Retake offered when something was missed;
    // Enter closes it even from Print.
    void verdict_data()
    {
        Columns<int, int, int, QString, int, int, int>(
            { "correct", "maxScore", "passScore", "headline", "obtained", "requiredShare", "obtainedShare" });
        QTest::newRow("equal to the pass score") << 7 << 1000 << 700 << "Contratulations!" << 700 << 70 << 70;
        QTest::newRow("one short of the pass score") << 7 << 1000 << 701 << "Sorry!" << 700 << 70 << 70;
        QTest::newRow("nothing right") << 0 << 1000 << 700 << "Sorry!" << 0 << 70 << 0;
        QTest::newRow("pass score above the maximum: not clamped") << 8 << 1000 << 1500 << "Sorry!" << 800 << 150 << 80;
        QTest::newRow("no maximum score (damaged exam)") << 2 << 0 << 0 << "Contratulations!" << 0 << 0 << 0;
        QTest::newRow("everything right: nothing to retake") << 10 << 1000 << 700 << "Contratulations!" << 1000 << 70 << 100;
    }

    void verdict()
    {
        QFETCH(QString, headline);
        QFETCH(int, obtained);
        QFETCH(int, requiredShare);
        QFETCH(int, obtainedShare);
        auto exam = MakeExam(Data<int>("correct"), qint16(Data<int>("maxScore")), qint16(Data<int>("passScore")));
        frmReport report(*exam);
        report.show();
        QVERIFY(QTest::qWaitForWindowActive(&report));
        const auto at = [&report](const char* name) { return Child(&report, name); };
        QCOMPARE(QTextDocumentFragment::fromHtml(static_cast<QLabel*>(at("lblMessage"))->text()).toPlainText(),
            QString("%1\nA score of %2 or better was required to pass this exam.\nYour score was %3")
                .arg(headline).arg(exam->PassScore()).arg(obtained));
        QVERIFY(report.accessibleDescription().startsWith(
            QString("%1. Your score: %2").arg(headline == "Sorry!" ? "Fail" : "Pass").arg(obtained)));
        const int inner = at("picScores")->contentsRect().width();
        QVERIFY(qAbs(at("shpRequired")->width() - inner * requiredShare / 100.0) <= 1);
        QVERIFY(qAbs(at("shpObtained")->width() - inner * obtainedShare / 100.0) <= 1);
        const auto colourOf = [](QWidget* bar, int share) {
            const QImage image = bar->grab().toImage();
            return share ? image.pixelColor(image.width() / 2, image.height() / 2).toRgb() : QColor();
        };
        QCOMPARE(colourOf(at("shpRequired"), requiredShare), requiredShare ? QColor(58, 153, 239) : QColor());
        QCOMPARE(colourOf(at("shpObtained"), obtainedShare),
            !obtainedShare ? QColor() : headline == "Sorry!" ? QColor(228, 78, 39) : QColor(153, 239, 58));

        const TwipsRect area = GetWorkArea();
        QCOMPARE(report.frameGeometry(), QRect(Twips::ToPixels(area.Left), Twips::ToPixels(area.Top),
                                             Twips::ToPixels(area.Width()), Twips::ToPixels(area.Height())));
        // Arranged as ReportLayout::Arrange says, converted to pixels once.
        const QRect logo = at("picLogo")->geometry(), frame = at("fraScores")->geometry();
        QVERIFY(logo.top() == Twips::ToPixels(500) && qAbs(logo.center().x() - report.rect().center().x()) <= 1);
        QVERIFY(at("cmdPrint")->geometry().left() == frame.left() && at("cmdExit")->geometry().right() == frame.right());
        QCOMPARE(at("cmdRetake")->isEnabled(), Data<int>("correct") < 10); // something missed
        at("cmdPrint")->setFocus();
        QTest::keyClick(at("cmdPrint"), Qt::Key_Return);
        QVERIFY(report.result() == QDialog::Accepted && Shown().isEmpty());
    }

    void titleLines_data()
    {
        // "Exam Title: " is 12 characters: the name's character n is the title's n + 12.
        Columns<QString, QStringList>({ "name", "lines" });
        const QString a116(116, 'a');
        QTest::newRow("exactly 128 characters") << a116 << QStringList { "Exam Title: " + a116 };
        QTest::newRow("blank at the 128th character")
            << QString(115, 'a') + " tail" << QStringList { "Exam Title: " + QString(115, 'a'), "tail" };
        QTest::newRow("first blank after the 128th")
            << "word " + QString(120, 'b') + " part" << QStringList { "Exam Title: word " + QString(120, 'b'), "part" };
        QTest::newRow("no blank from the 128th on") << "word " + QString(130, 'c') << QStringList { "Exam Title: word " + QString(130, 'c') };
    }

    void titleLines() { QTEST(TitleLines(Data<QString>("name")), "lines"); }

    // What is printed, read back from the PDF, with the long date.
    void printedPageReadsBack()
    {
        const QString pdftotext = QStandardPaths::findExecutable("pdftotext");
        if (pdftotext.isEmpty())
            QSKIP("pdftotext (Debian package poppler-utils) is not installed; scripts/setup installs it");
        auto exam = MakeExam(8);
        exam->SetName("Sample Exam");
        frmReport report(*exam);
        QTemporaryDir dir;
        const auto restore = qScopeGuard([before = QLocale()] { QLocale::setDefault(before); });
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates)); // long and short dates differ
        const QDate today = QDate::currentDate();
        QPrinter printer(QPrinter::HighResolution);
        printer.setOutputFormat(QPrinter::PdfFormat);
        printer.setOutputFileName(dir.filePath("report.pdf"));
        report.PrintTo(printer);
        const auto read = TestUtil::Run(pdftotext, { "-layout", dir.filePath("report.pdf"), "-" });
        QCOMPARE(read.ExitCode, 0);
        const QString text = QString::fromUtf8(read.Out).simplified();
        for (const char* piece : { "Exam Code: PRAC-101", "Exam Title: Sample Exam", "Required Score: 700", "Your Score: 800",
                 "Grade: Pass", "0%", "100%", "Score report printed with Practorium - The Most Realistic Exam Simulator" })
            QVERIFY2(text.contains(piece), qPrintable(piece + ("\n" + text)));
        const QString format = "'Dated: 'dddd, MMMM d, yyyy"; // the day may turn while printing
        QVERIFY2(text.contains(QLocale().toString(today, format)) || text.contains(QLocale().toString(QDate::currentDate(), format)),
            qPrintable(text));
    }

    void printWithoutPrinter_data()
    {
        // fileName: empty: the file dialog is cancelled
        Columns<int, QString, bool>({ "answer", "fileName", "saved" });
        QTest::newRow("declined") << int(MessageSeam::No) << "" << false;
        QTest::newRow("file dialog cancelled") << int(MessageSeam::Yes) << "" << false;
        QTest::newRow("saved") << int(MessageSeam::Yes) << "saved.pdf" << true;
        QTest::newRow("folder missing") << int(MessageSeam::Yes) << "missing/saved.pdf" << false;
    }

    void printWithoutPrinter()
    {
        if (!QPrinterInfo::defaultPrinter().isNull())
            QSKIP("a printer is installed here; the test does not print on it");
        QFETCH(QString, fileName);
        QFETCH(bool, saved);
        auto exam = MakeExam(8);
        frmReport report(*exam);
        report.show();
        QTemporaryDir dir;
        const QString path = fileName.isEmpty() ? QString() : dir.filePath(fileName);
        const bool fails = !path.isEmpty() && !saved;
        MessageSeam::SetNextAnswer(Data<int>("answer"));
        frmReport::SetNextSaveFileName(path);
        if (fails)
            QTest::ignoreMessage(QtWarningMsg, "QPainter::begin(): Returned false");
        QTest::mouseClick(Child<QPushButton>(&report, "cmdPrint"), Qt::LeftButton);
        QStringList expected { "36:No printer is installed. Would you like to save the score report as a PDF file instead?" };
        QCOMPARE(Shown(), expected + (fails ? QStringList { "16:Error printing report" } : QStringList()));
        QVERIFY(report.isVisible() && TestUtil::ReadAll(path).startsWith("%PDF-") == saved && QFile::exists(path) == saved);
    }
};

QTEST_MAIN(frmReportTest)
#include "frmReportTest.moc"
