#pragma once

#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVector>

#include <memory>

class Exam;
namespace exchange {
struct Picture;
}

// What the program was started with, and what to do about it. Plain logic:
// it reads the file system but shows nothing, so tests drive it without a
// window; Launcher asks the candidate and carries it out.

// The command line: at most one file, or a request for help or the version.
// The file may be a path or a URI as a desktop entry passes it (%u).
struct CommandLine
{
    enum class Action { Run, Help, Version, Usage };
    Action action = Action::Run;
    QString file; // empty when none was given
    QString error; // for Usage: what was wrong

    // `arguments` without the program's name, and without the options that
    // Qt takes for itself when it is given them through QApplication.
    static CommandLine Parse(const QStringList& arguments);
    static QString HelpText();
};

class LaunchRequest
{
public:
    enum class Kind {
        Exam, // a readable exam: offer to install it
        Bank, // a question bank of another program: offer to import it
        Pack, // starts as a pack does: offer to run it
        Refused, // anything else; Problem() says why
    };

    // Looks at `argument` without ever blocking: a pipe or a device is
    // refused before it is opened. A relative path is taken from
    // `workingFolder`. An exam is loaded whole, so a damaged one is refused
    // here rather than at its first sitting.
    static LaunchRequest Examine(const QString& argument, const QString& workingFolder);
    // The argument as a later start hands it to the running program: a
    // relative path made absolute, a URI left alone.
    static QString Absolute(const QString& argument, const QString& workingFolder);

    Kind kind() const { return m_kind; }
    // The local file, absolute.
    const QString& Path() const { return m_path; }
    // For Refused: the message to show, a template for ShowMessage and its
    // values ({1} the file, {2} the reason where there is one).
    const QString& Problem() const { return m_problem; }
    const QVariantList& ProblemValues() const { return m_problemValues; }

    // Exam and Bank (a bank's code and name come from its file name).
    const QString& Code() const { return m_code; }
    const QString& Name() const { return m_name; }
    // Where installing writes the exam file: the installed exam with the
    // same code if there is one, else <exams folder>/<code>.
    const QString& TargetFile() const { return m_targetFile; }
    // Whether installing replaces an exam file that is there already.
    bool Replaces() const { return m_replaces; }
    // Whether the argument is the installed file itself: nothing to copy.
    bool IsInstalledFile() const { return m_isInstalledFile; }
    // The exhibit pictures beside the exam file that go with it.
    const QStringList& Exhibits() const { return m_exhibits; }
    // Bank only: the items the exam gets and the questions left out (of a
    // kind an exam file cannot hold).
    int ItemCount() const { return m_itemCount; }
    int Skipped() const { return m_skipped; }

    // Copies the exhibits and then the exam file to TargetFile's folder (a
    // bank: writes its pictures and the exam built from it), each file
    // written beside its place and renamed into it, so a failure leaves no
    // half-written file and an installed exam is never seen without its
    // pictures. Raises on failure. Returns TargetFile().
    QString Install() const;

private:
    void Refuse(const QString& messageTemplate, const QString& reason = QString());
    void ExamineLocalFile();
    // Whether the file is a question bank that makes an exam; refuses it
    // when it is not.
    bool ExamineBank();
    // Where the exam with m_code goes, and whether that replaces a file.
    void ChooseTarget();

    Kind m_kind = Kind::Refused;
    QString m_path;
    QString m_problem;
    QVariantList m_problemValues;
    QString m_code;
    QString m_name;
    QString m_targetFile;
    bool m_replaces = false;
    bool m_isInstalledFile = false;
    QStringList m_exhibits;
    int m_itemCount = 0;
    int m_skipped = 0;
    // A bank's exam and pictures, built when it was examined.
    std::shared_ptr<Exam> m_bankExam;
    std::shared_ptr<QVector<exchange::Picture>> m_bankPictures;
};
