#pragma once

#include <QString>
#include <QStringList>

#include <memory>

class Exam;

// The exam catalogue and the application-wide state shared by the windows.
//
// Installed exams live one package per subfolder of the exams folder; the
// package folder X.Y holds the exam file X.exam (the folder name's extension
// replaced), a folder without "." holds <name>.exam.

// <per-user data folder>/Practorium/Exams
QString ExamsFolder();
// The path of the package's exam file, whether or not it exists.
QString PackageExamFile(const QString& packageFolder);
// The package's exam file if it exists, else empty.
QString FindExamFile(const QString& packageFolder);
// Full paths of every installed exam file, in the order the folder lists its
// subfolders. Errors are skipped; what was found so far is returned.
QStringList GetInstalledExams();
// Whether an installed exam has this code (trimmed, any case).
bool IsExamInstalled(const QString& examCode);
// The file of the first installed exam with this code, else empty.
QString InstalledExamFile(const QString& examCode);

// "1,3" -> "A,C"; empty for an empty (or blank) list.
QString AnswerLetters(const QString& numbers);
// Items of a comma-separated list: 0 for an empty text, else commas + 1.
qint16 ItemCount(const QString& list);

// The exam being taken; replaced each time an exam is started and released
// when the exam window closes.
std::shared_ptr<Exam>& CurrentExam();

// Disables every window, remembering whether each was enabled, and shows the
// wait cursor; EndBusy restores both.
void BeginBusy();
void EndBusy();
