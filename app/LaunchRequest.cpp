#include "app/LaunchRequest.h"

#include "exchange/BankFormat.h"
#include "exchange/ExamBuilder.h"

#include "model/Common.h"
#include "model/Error.h"
#include "model/Exam.h"
#include "model/Pack.h"
#include "model/Question.h"
#include "shell/Globals.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHostInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <QUrl>

#include <cerrno>
#include <cstring>

#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString InstallSource = QStringLiteral("LaunchRequest::Install()");
constexpr qint64 CopyBlock = 1 << 20;
// A question bank larger than this is not read: real banks are far smaller,
// and the whole bank is held in memory while it becomes an exam.
constexpr qint64 MaxBankBytes = 64 * 1024 * 1024;

// A code becomes the package folder's name, so it must be one plain name.
bool IsUsableFolderName(const QString& name)
{
    if (name.isEmpty() || name.size() > 100 || name.startsWith(u'.') || name.contains(u'/'))
        return false;
    for (const QChar c : name) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7F)
            return false;
    }
    return true;
}

// "scheme:" as in RFC 3986, at least two letters so that no path is taken
// for one.
bool LooksLikeUri(const QString& argument)
{
    static const QRegularExpression scheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]+:"));
    return scheme.match(argument).hasMatch();
}

void CopyFile(const QString& from, const QString& to)
{
    QFile source(from);
    if (!source.open(QIODevice::ReadOnly))
        Error::Raise(ErrorNumber::InvalidCall, InstallSource, from + QStringLiteral(": ") + source.errorString());
    QSaveFile target(to);
    if (!target.open(QIODevice::WriteOnly))
        Error::Raise(ErrorNumber::InvalidCall, InstallSource, to + QStringLiteral(": ") + target.errorString());
    while (!source.atEnd()) {
        const QByteArray block = source.read(CopyBlock);
        if (block.isEmpty() && source.error() != QFileDevice::NoError)
            Error::Raise(ErrorNumber::InvalidCall, InstallSource, from + QStringLiteral(": ") + source.errorString());
        if (target.write(block) != block.size())
            Error::Raise(ErrorNumber::InvalidCall, InstallSource, to + QStringLiteral(": ") + target.errorString());
    }
    if (!target.commit())
        Error::Raise(ErrorNumber::InvalidCall, InstallSource, to + QStringLiteral(": ") + target.errorString());
}

} // namespace

CommandLine CommandLine::Parse(const QStringList& arguments)
{
    CommandLine line;
    bool optionsEnded = false;
    for (const QString& argument : arguments) {
        if (!optionsEnded && argument == QLatin1String("--")) {
            optionsEnded = true;
        } else if (!optionsEnded && (argument == QLatin1String("--help") || argument == QLatin1String("-h"))) {
            return { Action::Help, {}, {} };
        } else if (!optionsEnded && (argument == QLatin1String("--version") || argument == QLatin1String("-v"))) {
            return { Action::Version, {}, {} };
        } else if (!optionsEnded && argument.startsWith(u'-') && argument.size() > 1) {
            line.action = Action::Usage;
            line.error = QStringLiteral("unknown option %1").arg(argument);
        } else if (line.file.isEmpty() && !argument.isEmpty()) {
            line.file = argument;
        } else {
            line.action = Action::Usage;
            line.error = QStringLiteral("give at most one file");
        }
    }
    return line;
}

QString CommandLine::HelpText()
{
    return QStringLiteral("usage: practorium [FILE]\n"
                          "       practorium --help | --version\n"
                          "\n"
                          "Opens the catalogue of installed exams. Given an exam file (*.exam) or an\n"
                          "exam pack, offers to install it first; FILE may be a file:// URI. When\n"
                          "Practorium is running already, the file is handed to it.\n"
                          "\n"
                          "  -h, --help     print this text and exit\n"
                          "  -v, --version  print the version and exit");
}

QString LaunchRequest::Absolute(const QString& argument, const QString& workingFolder)
{
    if (argument.isEmpty() || QDir::isAbsolutePath(argument))
        return argument;
    if (LooksLikeUri(argument) && !QFileInfo::exists(QDir(workingFolder).filePath(argument)))
        return argument;
    return QDir::cleanPath(QDir(workingFolder).absoluteFilePath(argument));
}

LaunchRequest LaunchRequest::Examine(const QString& argument, const QString& workingFolder)
{
    LaunchRequest request;
    const QString absolute = Absolute(argument, workingFolder);
    if (!QDir::isAbsolutePath(absolute)) {
        const QUrl url(absolute);
        const QString host = url.host();
        const bool local = url.isValid() && url.scheme().compare(QLatin1String("file"), Qt::CaseInsensitive) == 0
            && (host.isEmpty() || host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0
                || host.compare(QHostInfo::localHostName(), Qt::CaseInsensitive) == 0);
        if (!local) {
            request.m_path = absolute;
            request.Refuse(QStringLiteral("\"{1}\" is not a file on this computer.{CRLF}Practorium opens only exam "
                                          "files and exam packs that are stored on this computer."));
            return request;
        }
        request.m_path = QDir::cleanPath(QDir::fromNativeSeparators(url.toLocalFile()));
        if (!QDir::isAbsolutePath(request.m_path)) {
            request.m_path = absolute;
            request.Refuse(QStringLiteral("\"{1}\" is not a file on this computer."));
            return request;
        }
    } else {
        request.m_path = absolute;
    }
    request.ExamineLocalFile();
    return request;
}

void LaunchRequest::ExamineLocalFile()
{
    // stat, not open: opening a pipe for reading waits for a writer.
    struct stat info = {};
    const QByteArray native = QFile::encodeName(m_path);
    if (::stat(native.constData(), &info) != 0) {
        const int code = errno;
        if (code == ENOENT || code == ENOTDIR)
            Refuse(QStringLiteral("The file \"{1}\" does not exist."));
        else
            Refuse(QStringLiteral("The file \"{1}\" cannot be read:{CRLF}{2}"),
                QString::fromLocal8Bit(std::strerror(code)));
        return;
    }
    if (S_ISDIR(info.st_mode)) {
        Refuse(QStringLiteral("\"{1}\" is a folder, not an exam file or an exam pack."));
        return;
    }
    if (!S_ISREG(info.st_mode)) {
        Refuse(QStringLiteral("\"{1}\" is not a regular file, so it cannot be an exam file or an exam pack."));
        return;
    }

    // O_NONBLOCK too, in case the name was swapped for a pipe since stat.
    const int fd = ::open(native.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        Refuse(
            QStringLiteral("The file \"{1}\" cannot be read:{CRLF}{2}"), QString::fromLocal8Bit(std::strerror(errno)));
        return;
    }
    QByteArray head(Pack::SignatureLength, '\0');
    const ssize_t got = ::read(fd, head.data(), size_t(head.size()));
    struct stat opened = {};
    const bool regular = ::fstat(fd, &opened) == 0 && S_ISREG(opened.st_mode);
    ::close(fd);
    if (!regular || got < 0) {
        Refuse(QStringLiteral("The file \"{1}\" cannot be read."));
        return;
    }
    if (got == Pack::SignatureLength && head == QByteArray(Pack::Signature, Pack::SignatureLength)) {
        m_kind = Kind::Pack;
        return;
    }

    Exam exam;
    QString fault;
    try {
        exam.Load(m_path);
        if (!exam.IsHeaderComplete())
            fault = QStringLiteral("The file ends inside the exam's header.");
    } catch (const Error& error) {
        fault = error.Description();
    }
    if (!fault.isEmpty()) {
        // A file named as an exam is taken for a damaged one; any other may
        // be a question bank.
        if (m_path.endsWith(QLatin1String(".exam"), Qt::CaseInsensitive))
            Refuse(
                QStringLiteral("\"{1}\" is not a valid exam file: it is damaged or incomplete.{CRLF}{CRLF}{2}"), fault);
        else if (ExamineBank())
            m_kind = Kind::Bank;
        return;
    }
    m_code = TrimBlanks(exam.Code());
    m_name = TrimBlanks(exam.Name());
    if (!IsUsableFolderName(m_code)) {
        Refuse(QStringLiteral("The exam in \"{1}\" cannot be installed: its code \"{2}\" cannot name a folder."),
            exam.Code());
        return;
    }
    ChooseTarget();
    m_isInstalledFile
        = m_replaces && QFileInfo(m_targetFile).canonicalFilePath() == QFileInfo(m_path).canonicalFilePath();

    const QDir sourceFolder = QFileInfo(m_path).absoluteDir();
    for (const Question& question : exam.Questions()) {
        const QString exhibit = question.Exhibit();
        // Only a plain name beside the exam; the exhibit window finds no other.
        if (!IsUsableFolderName(exhibit) || m_exhibits.contains(exhibit))
            continue;
        if (QFileInfo(sourceFolder.filePath(exhibit)).isFile())
            m_exhibits.append(exhibit);
    }
    m_kind = Kind::Exam;
}

void LaunchRequest::ChooseTarget()
{
    m_targetFile = InstalledExamFile(m_code);
    if (m_targetFile.isEmpty())
        m_targetFile = PackageExamFile(QDir(ExamsFolder()).filePath(m_code));
    m_replaces = QFileInfo::exists(m_targetFile);
}

bool LaunchRequest::ExamineBank()
{
    const QString notOurs = QStringLiteral("\"{1}\" is neither an exam file nor an exam pack, nor a question bank that "
                                           "Practorium can read.{CRLF}{CRLF}{2}");
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly)) {
        Refuse(QStringLiteral("The file \"{1}\" cannot be read:{CRLF}{2}"), file.errorString());
        return false;
    }
    const QByteArray bytes = file.read(MaxBankBytes + 1);
    if (bytes.size() > MaxBankBytes) {
        Refuse(notOurs, QStringLiteral("It is larger than %1 MiB.").arg(MaxBankBytes / (1024 * 1024)));
        return false;
    }
    exchange::Bank bank;
    exchange::ReadFailure failure;
    auto exam = std::make_shared<Exam>();
    auto pictures = std::make_shared<QVector<exchange::Picture>>();
    QVector<exchange::BankNote> notes;
    if (!exchange::ReadBank(exchange::DetectFormat(bytes), bytes, bank, failure)
        || !exchange::BuildExam(bank, exchange::ImportOptions::ForSource(m_path), *exam, *pictures, notes, failure)) {
        Refuse(notOurs,
            failure.location > 0 ? QStringLiteral("Line %1: %2").arg(failure.location).arg(failure.description)
                                 : failure.description);
        return false;
    }
    m_code = TrimBlanks(exam->Code());
    m_name = TrimBlanks(exam->Name());
    if (!IsUsableFolderName(m_code)) {
        Refuse(QStringLiteral("The exam in \"{1}\" cannot be installed: its code \"{2}\" cannot name a folder."),
            exam->Code());
        return false;
    }
    m_itemCount = int(exam->Questions().Count());
    m_skipped = bank.skipped;
    m_bankExam = std::move(exam);
    m_bankPictures = std::move(pictures);
    ChooseTarget();
    return true;
}

void LaunchRequest::Refuse(const QString& messageTemplate, const QString& reason)
{
    m_kind = Kind::Refused;
    m_problem = messageTemplate;
    m_problemValues = { m_path, reason };
}

QString LaunchRequest::Install() const
{
    if (m_kind != Kind::Exam && m_kind != Kind::Bank)
        Error::Raise(ErrorNumber::InvalidCall, InstallSource, QStringLiteral("not an exam file"));
    if (m_isInstalledFile)
        return m_targetFile;
    const QDir targetFolder = QFileInfo(m_targetFile).absoluteDir();
    if (!targetFolder.mkpath(QStringLiteral(".")))
        Error::Raise(
            ErrorNumber::InvalidCall, InstallSource, QStringLiteral("cannot make the folder ") + targetFolder.path());
    if (m_kind == Kind::Bank) {
        for (const exchange::Picture& picture : *m_bankPictures) {
            QSaveFile target(targetFolder.filePath(picture.fileName));
            if (!target.open(QIODevice::WriteOnly) || target.write(picture.bytes) != picture.bytes.size()
                || !target.commit())
                Error::Raise(ErrorNumber::InvalidCall, InstallSource,
                    target.fileName() + QStringLiteral(": ") + target.errorString());
        }
        // Saved beside its place and renamed, as a copied exam is.
        const QString part = m_targetFile + QStringLiteral(".part");
        try {
            m_bankExam->Save(part);
        } catch (...) {
            QFile::remove(part);
            throw;
        }
        // rename(2) replaces the installed exam in one step.
        if (::rename(QFile::encodeName(part).constData(), QFile::encodeName(m_targetFile).constData()) != 0) {
            const int code = errno;
            QFile::remove(part);
            Error::Raise(
                code, InstallSource, m_targetFile + QStringLiteral(": ") + QString::fromLocal8Bit(std::strerror(code)));
        }
        return m_targetFile;
    }
    const QDir sourceFolder = QFileInfo(m_path).absoluteDir();
    for (const QString& exhibit : m_exhibits)
        CopyFile(sourceFolder.filePath(exhibit), targetFolder.filePath(exhibit));
    CopyFile(m_path, m_targetFile);
    return m_targetFile;
}
