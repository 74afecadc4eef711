#pragma once

#include <QWidget>

class LinkLabel;
class QCheckBox;
class QLabel;
class QPushButton;
class ExamListModel;
class QTreeView;

// The main window: the catalogue of installed exams. Opening the exam and
// download and history windows is left to the program (examRequested,
// downloadRequested, historyRequested):
// this layer knows neither window.
class frmMain : public QWidget
{
    Q_OBJECT

public:
    static constexpr const char* ProductsPage = "https://www.practorium.example/Products.asp";

    explicit frmMain(QWidget* parent = nullptr);

    // Rebuilds the list from the installed exams' headers; damaged or
    // incomplete headers are left out silently.
    void RefreshExamList();
    // Selects the listed exam whose file is `examFile` (the same file by any
    // path); false, and the selection unchanged, when it is not listed.
    bool SelectExam(const QString& examFile);

    // Imports a question bank file (the preview, the question before
    // replacing, the installation), then lists and selects the new exam.
    void ImportFile(const QString& path);

public Q_SLOTS:
    // Asks for a question bank file and imports it.
    void cmdImport_Click();
    // Loads the selected exam as CurrentExam, then asks for the exam window.
    // A failing load is not trapped here: it reaches the program's top level.
    void cmdStart_Click();
    // The same for study mode; studyRequested says whether only the items
    // missed in the last attempt are wanted.
    void cmdStudy_Click();

public:
    // Whether "Only items missed last time" is offered: it needs the attempt
    // history. Hidden until the program says so.
    void SetMissedOnlyAvailable(bool available);

Q_SIGNALS:
    void examRequested();
    void studyRequested(bool missedOnly);
    void downloadRequested();
    // The History link or Ctrl+H.
    void historyRequested();
    // The user confirmed leaving; the window is already hidden.
    void exitConfirmed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    // Loads the selected exam as CurrentExam(); false after a message when
    // there is none to load.
    bool LoadSelectedExam();
    // The list's ground readable under its fixed row colour, from the theme.
    void PaintExamList();

    QLabel* m_picLogo;
    ExamListModel* m_exams;
    QTreeView* m_lvwExams;
    QLabel* m_lblStatus;
    LinkLabel* m_lblDownload;
    LinkLabel* m_lblImport;
    LinkLabel* m_lblAbout;
    LinkLabel* m_lblHistory;
    LinkLabel* m_lblProductLink;
    QPushButton* m_cmdStart;
    QPushButton* m_cmdStudy;
    QCheckBox* m_chkMissedOnly;
    QPushButton* m_cmdExit;
};
