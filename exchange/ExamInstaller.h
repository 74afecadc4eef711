#pragma once

#include "exchange/ExamBuilder.h"

#include <QString>
#include <QVector>

class Exam;

namespace exchange {

// Installs a built exam as the package `<examsFolder>/<code>/<code>.exam`
// with its pictures beside it. Everything is written into a hidden
// temporary folder inside the exams folder first and then moved into place,
// so an existing package with that code is replaced whole or not at all.
// False with `error` set when the code is not a plain folder name (empty,
// "/", a leading ".", or "." anywhere, since folder X.Y holds X.exam) or a
// write or move fails; nothing is left behind then.
bool InstallExamPackage(const QString& examsFolder, Exam& exam, const QVector<Picture>& pictures, QString& error);

// Why `code` cannot name a package folder, empty when it can.
QString PackageCodeProblem(const QString& code);

} // namespace exchange
