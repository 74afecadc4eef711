#include "tools/practorium-exam/BankCommands.h"

#include "exchange/BankFormat.h"
#include "exchange/ExamBuilder.h"
#include "exchange/GiftWriter.h"
#include "exchange/MoodleXml.h"
#include "model/Error.h"
#include "model/Exam.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

namespace BankCommands {

const char* const ImportUsage = "import [--format aiken|gift|moodle-xml|qti|csv] [--code CODE] [--name NAME] "
                                "[--max-score N] [--pass-score N] [--duration MINUTES] [--strict] SOURCE OUTPUT.exam";
const char* const ExportUsage = "export --format gift|moodle-xml FILE.exam OUTPUT";

namespace {

const QString ToolName = QStringLiteral("practorium-exam");

// Bank files are text; anything larger than this is refused before it is
// read in full, so a runaway file cannot exhaust memory.
constexpr qint64 MaxBankBytes = 64 * 1024 * 1024;

void Warn(const QString& line)
{
    const QByteArray bytes = (line + u'\n').toLocal8Bit();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
    std::fflush(stderr);
}

QString Where(const QString& source, int location)
{
    return location > 0 ? source + u':' + QString::number(location) : source;
}

[[noreturn]] void Usage(const char* usage, const QString& problem = QString())
{
    const QString text = ToolName + u' ' + QLatin1String(usage);
    Error::Raise(ErrorNumber::InvalidCall, QStringLiteral("usage"), problem.isEmpty() ? text : problem + QStringLiteral(" (") + text + u')');
}

QByteArray ReadBankFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        Error::Raise(ErrorNumber::InvalidCall, path, file.errorString());
    const QByteArray bytes = file.read(MaxBankBytes + 1);
    if (file.error() != QFileDevice::NoError)
        Error::Raise(ErrorNumber::InvalidCall, path, file.errorString());
    if (bytes.size() > MaxBankBytes)
        Error::Raise(ErrorNumber::Overflow, path, QStringLiteral("larger than %1 MiB, too large for a question bank").arg(MaxBankBytes / (1024 * 1024)));
    return bytes;
}

qint16 Number(const QString& option, const QString& value, int lowest)
{
    bool ok = false;
    const int number = value.toInt(&ok);
    if (!ok || number < lowest || number > 32767)
        Usage(ImportUsage, QStringLiteral("%1: expected a number from %2 to 32767").arg(option).arg(lowest));
    return qint16(number);
}

// Writes `bytes` to a new temporary file in `folder`; the caller renames it.
QString WriteTemporary(const QString& folder, const QByteArray& bytes)
{
    for (int attempt = 0;; ++attempt) {
        const QString path = QDir(folder).filePath(QStringLiteral(".practorium-import-%1-%2").arg(QCoreApplication::applicationPid()).arg(attempt));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
            if (file.exists() && attempt < 100)
                continue;
            Error::Raise(ErrorNumber::InvalidCall, path, file.errorString());
        }
        if (file.write(bytes) != bytes.size() || !file.flush()) {
            const QString problem = file.errorString();
            file.close();
            QFile::remove(path);
            Error::Raise(ErrorNumber::InvalidCall, path, problem);
        }
        return path;
    }
}

// The exam and its pictures go to temporary files in the output's folder
// first and are renamed into place only when every one was written, so a
// failure leaves nothing behind and an existing exam as it was.
void WriteAll(Exam& exam, const QString& outputPath, const QVector<exchange::Picture>& pictures)
{
    const QString folder = QFileInfo(outputPath).absolutePath();
    QVector<QPair<QString, QString>> moves;  // temporary, final
    const auto discard = [&moves]() {
        for (const auto& move : moves)
            QFile::remove(move.first);
    };
    try {
        for (const exchange::Picture& picture : pictures)
            moves.append({ WriteTemporary(folder, picture.bytes), QDir(folder).filePath(picture.fileName) });
        const QString examTemporary = WriteTemporary(folder, QByteArray());
        moves.append({ examTemporary, outputPath });
        exam.Save(examTemporary);
    } catch (...) {
        discard();
        throw;
    }
    // rename(2) replaces an existing file in one step, so a reader sees the
    // old exam or the new one, never none.
    for (const auto& move : moves) {
        if (std::rename(QFile::encodeName(move.first).constData(), QFile::encodeName(move.second).constData()) != 0) {
            const int code = errno;
            discard();
            Error::Raise(code, move.second, QString::fromLocal8Bit(std::strerror(code)));
        }
    }
}

} // namespace

void Import(const QStringList& arguments)
{
    std::optional<exchange::BankFormat> format;
    std::optional<QString> code, name;
    exchange::ImportOptions options;
    QStringList files;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        const auto value = [&]() {
            if (i + 1 >= arguments.size())
                Usage(ImportUsage, argument + QStringLiteral(": a value must follow"));
            return arguments[++i];
        };
        if (argument == QLatin1String("--format")) {
            format = exchange::ParseBankFormat(value());
            if (!format)
                Usage(ImportUsage, QStringLiteral("--format: unknown format \"%1\"").arg(arguments[i]));
        } else if (argument == QLatin1String("--code")) {
            code = value();
        } else if (argument == QLatin1String("--name")) {
            name = value();
        } else if (argument == QLatin1String("--max-score")) {
            options.maxScore = Number(argument, value(), 0);
        } else if (argument == QLatin1String("--pass-score")) {
            options.passScore = Number(argument, value(), 0);
        } else if (argument == QLatin1String("--duration")) {
            options.durationMinutes = Number(argument, value(), 1);
        } else if (argument == QLatin1String("--strict")) {
            options.strict = true;
        } else if (argument.startsWith(QLatin1String("--"))) {
            Usage(ImportUsage, QStringLiteral("unknown option %1").arg(argument));
        } else {
            files.append(argument);
        }
    }
    if (files.size() != 2)
        Usage(ImportUsage);
    const QString& source = files[0];
    const QString& output = files[1];
    const exchange::ImportOptions defaults = exchange::ImportOptions::ForSource(source);
    options.code = code.value_or(defaults.code);
    options.name = name.value_or(defaults.name);

    const QByteArray bytes = ReadBankFile(source);
    exchange::Bank bank;
    exchange::ReadFailure failure;
    if (!exchange::ReadBank(format.value_or(exchange::DetectFormat(bytes)), bytes, bank, failure))
        Error::Raise(ErrorNumber::InvalidCall, Where(source, failure.location), failure.description);
    Exam exam;
    QVector<exchange::Picture> pictures;
    QVector<exchange::BankNote> notes = bank.notes;
    if (!exchange::BuildExam(bank, options, exam, pictures, notes, failure))
        Error::Raise(ErrorNumber::InvalidCall, Where(source, failure.location), failure.description);
    WriteAll(exam, output, pictures);
    for (const exchange::BankNote& note : notes)
        Warn(ToolName + QStringLiteral(": ") + Where(source, note.location) + QStringLiteral(": ") + note.text);
    Warn(QStringLiteral("imported %1 items, skipped %2").arg(exam.Questions().Count()).arg(bank.skipped));
}

void Export(const QStringList& arguments)
{
    if (arguments.size() != 4 || arguments[0] != QLatin1String("--format"))
        Usage(ExportUsage);
    const QString& formatName = arguments[1];
    const QString& examPath = arguments[2];
    const QString& output = arguments[3];
    const bool moodle = formatName == QLatin1String("moodle-xml");
    if (formatName != QLatin1String("gift") && !moodle)
        Usage(ExportUsage, QStringLiteral("--format: cannot export to \"%1\"").arg(formatName));
    Exam exam;
    exam.Load(examPath);
    if (moodle) {
        // Pictures travel inside the XML: nothing is copied.
        QStringList warnings;
        const QByteArray xml = exchange::WriteMoodleXml(exam, QFileInfo(examPath).absolutePath(), &warnings);
        for (const QString& warning : warnings)
            Warn(ToolName + QStringLiteral(": ") + examPath + QStringLiteral(": ") + warning);
        QSaveFile file(output);
        if (!file.open(QIODevice::WriteOnly) || file.write(xml) != xml.size() || !file.commit())
            Error::Raise(ErrorNumber::InvalidCall, output, file.errorString());
        return;
    }

    // Exhibits are copied first: the output names them, so it is written
    // only when they are in place.
    const QDir examFolder = QFileInfo(examPath).absoluteDir();
    const QDir outputFolder = QFileInfo(output).absoluteDir();
    for (const Question& question : exam.Questions()) {
        if (question.Choices().Count() == 0)
            Warn(ToolName + QStringLiteral(": %1: item %2 has no options: GIFT reads it as an essay question").arg(examPath).arg(question.Number()));
        if (!question.HasExhibit())
            continue;
        const QString exhibit = question.Exhibit();
        if (exhibit.contains(u'/') || exhibit == QLatin1String("..") || exhibit == QLatin1String(".")) {
            Warn(ToolName + QStringLiteral(": %1: item %2: exhibit \"%3\" is not a file name beside the exam, not copied").arg(examPath).arg(question.Number()).arg(exhibit));
            continue;
        }
        const QString from = examFolder.filePath(exhibit);
        const QString to = outputFolder.filePath(exhibit);
        if (QFileInfo(from).absoluteFilePath() == QFileInfo(to).absoluteFilePath())
            continue;
        if (!QFileInfo::exists(from)) {
            Warn(ToolName + QStringLiteral(": %1: item %2: exhibit \"%3\" not found, not copied").arg(examPath).arg(question.Number()).arg(exhibit));
            continue;
        }
        QFile::remove(to);
        if (!QFile::copy(from, to))
            Error::Raise(ErrorNumber::InvalidCall, to, QStringLiteral("cannot copy the exhibit %1 there").arg(from));
    }
    QSaveFile file(output);
    const QByteArray text = exchange::WriteGift(exam);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit())
        Error::Raise(ErrorNumber::InvalidCall, output, file.errorString());
}

} // namespace BankCommands
