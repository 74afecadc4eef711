#include "shell/Globals.h"

#include "model/Common.h"
#include "model/Exam.h"
#include "model/IO.h"

#include <QApplication>
#include <QWidget>

namespace {

// Holds each window's enabled state while the program is busy. Windows keep
// it as a property so that windows created during the busy time, which have
// none, are simply enabled afterwards.
const char* const BusyTag = "tag";

QList<QWidget*> OpenWindows()
{
    QList<QWidget*> windows;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        const Qt::WindowType type = widget->windowType();
        if (widget->isWindow() && type != Qt::Popup && type != Qt::ToolTip && type != Qt::Desktop)
            windows.append(widget);
    }
    return windows;
}

} // namespace

QString ExamsFolder()
{
    return CombinePath(GetSpecialFolder(QStringLiteral("$(ProgramFiles)")), QStringLiteral("Practorium/Exams"));
}

QString PackageExamFile(const QString& packageFolder)
{
    const QString packageName = packageFolder.mid(packageFolder.lastIndexOf(QLatin1Char('/')) + 1);
    const qsizetype dot = packageName.lastIndexOf(QLatin1Char('.'));
    const QString fileName = (dot >= 0 ? packageName.left(dot) : packageName) + QStringLiteral(".exam");
    return CombinePath(packageFolder, fileName);
}

QString FindExamFile(const QString& packageFolder)
{
    const QString path = PackageExamFile(packageFolder);
    return FileExists(path) ? path : QString();
}

QStringList GetInstalledExams()
{
    QStringList exams;
    try {
        const QString folder = ExamsFolder();
        for (const QString& name : GetSubFolders(folder)) {
            try {
                const QString path = FindExamFile(CombinePath(folder, name));
                if (!path.isEmpty())
                    exams.append(path);
            } catch (...) {
                // One unreadable package does not hide the others.
            }
        }
    } catch (...) {
    }
    return exams;
}

bool IsExamInstalled(const QString& examCode)
{
    return !InstalledExamFile(examCode).isEmpty();
}

QString InstalledExamFile(const QString& examCode)
{
    const QString wanted = TrimBlanks(examCode).toUpper();
    for (const QString& path : GetInstalledExams()) {
        Exam exam;
        try {
            exam.LoadHeader(path);
        } catch (...) {
            // A file whose header fails takes part with the code it has (none).
        }
        if (TrimBlanks(exam.Code()).toUpper() == wanted)
            return path;
    }
    return QString();
}

QString AnswerLetters(const QString& numbers)
{
    if (IsBlank(numbers))
        return QString();
    QString letters;
    for (const QString& item : numbers.split(QLatin1Char(','))) {
        bool ok = false;
        const int number = TrimBlanks(item).toShort(&ok);
        if (!letters.isEmpty())
            letters += QLatin1Char(',');
        letters += ok ? QChar(ushort(number + 64)) : QChar(u'?');
    }
    return letters;
}

qint16 ItemCount(const QString& list)
{
    if (list.isEmpty())
        return 0;
    return qint16(list.count(QLatin1Char(',')) + 1);
}

std::shared_ptr<Exam>& CurrentExam()
{
    static std::shared_ptr<Exam> exam;
    return exam;
}

void BeginBusy()
{
    for (QWidget* window : OpenWindows()) {
        window->setProperty(BusyTag, window->isEnabled() ? QStringLiteral("True") : QStringLiteral("False"));
        window->setEnabled(false);
    }
    if (!QApplication::overrideCursor())
        QApplication::setOverrideCursor(Qt::WaitCursor);
}

void EndBusy()
{
    for (QWidget* window : OpenWindows()) {
        const QString tag = TrimBlanks(window->property(BusyTag).toString());
        window->setEnabled(tag.isEmpty() || tag.compare(QLatin1String("False"), Qt::CaseInsensitive) != 0);
        window->setProperty(BusyTag, QVariant());
    }
    while (QApplication::overrideCursor())
        QApplication::restoreOverrideCursor();
}
