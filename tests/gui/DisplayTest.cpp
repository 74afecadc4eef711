#include "common/GuiUtil.h"
#include "common/TestUtil.h"
#include "model/Exam.h"
#include "session/frmExam.h"
#include "shell/Contrast.h"
#include "shell/DisplaySettings.h"
#include "shell/ExamListModel.h"
#include "shell/Globals.h"
#include "shell/Panel.h"
#include "shell/Registry.h"
#include "shell/ReportLayout.h"
#include "shell/frmMain.h"
#include "shell/frmReport.h"

#include <QtTest>
#include <QtWidgets>

using Scheme = DisplaySettings::ColorScheme;
Q_DECLARE_METATYPE(Scheme)

namespace {

// Two radio items keyed B: the first answered B, the second A.
std::shared_ptr<Exam> MakeExam(qint16 passScore)
{
    auto exam = std::make_shared<Exam>();
    exam->SetMaxScore(1000);
    exam->SetPassScore(passScore);
    for (const char* answer : { "2", "1" }) {
        auto question = exam->Questions().Add();
        question->SetProblem("Which one?");
        for (int i = 1; i <= 3; ++i)
            question->Choices().Add()->SetIsSolution(i == 2);
        question->Choices().ResetNumbers();
        question->SetAnswer(answer);
    }
    exam->Questions().ResetNumbers();
    return exam;
}

// The colour behind `widget` as painted: the nearest widget, itself
// included, that fills its own background.
QColor Ground(const QWidget* widget)
{
    for (; widget; widget = widget->parentWidget()) {
        if (const auto* panel = qobject_cast<const Panel*>(widget))
            return panel->BackColor();
        if (widget->autoFillBackground() || widget->testAttribute(Qt::WA_StyledBackground) || widget->isWindow())
            return widget->palette().color(widget->backgroundRole());
    }
    return {};
}

// Every shown text of `window` (and each `extra` name in its colour) reads
// at 4.5:1 or better on what is painted behind it.
void CheckPairs(QWidget* window, const QList<std::pair<QString, QColor>>& extra = {})
{
    QList<std::pair<QWidget*, QColor>> pairs;
    for (const auto& [name, text] : extra)
        pairs.append({ window->findChild<QWidget*>(name), text });
    for (QLabel* label : window->findChildren<QLabel*>()) {
        if (label->isVisible() && !label->text().isEmpty() && label->pixmap().isNull())
            pairs.append({ label, label->palette().color(label->foregroundRole()) });
    }
    QVERIFY(pairs.size() >= 3);
    for (const auto& [widget, text] : pairs)
        QVERIFY2(Contrast::Ratio(text, Ground(widget)) >= 4.5, qPrintable(widget->objectName() + " " + text.name() + " on " + Ground(widget).name()));
}

} // namespace

class DisplayTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        Registry::SetStoreFolders(m_home.filePath("config"), m_home.filePath("machine"));
        MessageSeam::Intercept(true);
    }

    void cleanup() { CurrentExam().reset(); }

    void storedTextScale_data()
    {
        // line: as written in the settings file
        GuiUtil::Columns<QString, int>({ "line", "percent" });
        QTest::newRow("a step") << "Text Scale=dword:250" << 250;
        QTest::newRow("between steps: nearest") << "Text Scale=dword:130" << 125;
        QTest::newRow("text by hand") << "Text Scale= 150% " << 150;
        QTest::newRow("below the range") << "Text Scale=dword:74" << 100;
        QTest::newRow("damaged number") << "Text Scale=dword:12x" << 100;
        QTest::newRow("missing") << "" << 100;
    }

    void storedTextScale()
    {
        TestUtil::WriteFile(Registry::StorePath(Registry::HKEY_CURRENT_USER),
            ("[Software\\Practorum\\Display]\n" + GuiUtil::Data<QString>("line") + "\n").toUtf8());
        QTEST(DisplaySettings::StoredTextScale(), "percent");
        DisplaySettings::StoreTextScale(175);
        QCOMPARE(DisplaySettings::StoredTextScale(), 175);
    }

    void windowContrast_data()
    {
        GuiUtil::Columns<Scheme, QString>({ "scheme", "window" });
        for (const auto& [scheme, name] : { std::pair { Scheme::Light, "light" }, std::pair { Scheme::Dark, "dark" } }) {
            for (const char* window : { "catalogue", "post-exam page", "report passed", "report failed" })
                QTest::newRow(qPrintable(QString("%1 %2").arg(name, window))) << scheme << QString(window);
        }
    }

    // Each window under the light and the dark palette, the described
    // colours included.
    void windowContrast()
    {
        QFETCH(QString, window);
        DisplaySettings::ApplyColorScheme(*qApp, GuiUtil::Data<Scheme>("scheme"));
        if (window == "catalogue") {
            qputenv("XDG_DATA_HOME", m_home.filePath("data").toUtf8()); // no exams
            frmMain main;
            main.show();
            auto* list = GuiUtil::Child<QTreeView>(&main, "lvwExams");
            for (QPalette::ColorRole role : { QPalette::Base, QPalette::AlternateBase })
                QVERIFY(Contrast::Ratio(ExamListModel::RowColor(), list->palette().color(role)) >= 4.5);
            CheckPairs(&main);
        } else if (window == "post-exam page") {
            CurrentExam() = MakeExam(700);
            frmExam exam;
            exam.StartExam();
            CurrentExam()->EndExam();
            exam.StartPostExamReview();
            CheckPairs(&exam); // item 1: CORRECT
            exam.GotoQuestion(2);
            CheckPairs(&exam); // item 2: INCORRECT, a wrong choice marked
        } else {
            const std::shared_ptr<Exam> exam = MakeExam(window == "report passed" ? 500 : 700);
            frmReport report(*exam);
            report.show();
            // The headline is drawn in the verdict's colour on the message's ground.
            CheckPairs(&report, { { "lblMessage", ReportLayout::ResultColor(exam->CalculateScore(), exam->PassScore()) } });
        }
    }

private:
    QTemporaryDir m_home;
};

QTEST_MAIN(DisplayTest)
#include "DisplayTest.moc"
