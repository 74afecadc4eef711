// practorium-exam: builds exam files from their JSON form and prints them back.
//
//   practorium-exam compile SOURCE.json OUTPUT.exam
//   practorium-exam dump FILE.exam            JSON on standard output
//   practorium-exam pack SOURCE.json OUTPUT   self-installing pack of the exam
//                                             and its exhibits (see Pack.h)
//   practorium-exam import ... SOURCE OUTPUT.exam   question bank to exam
//   practorium-exam export --format F FILE.exam OUTPUT
//                                             (see BankCommands.h)
//   practorium-exam pack --key SECRET-KEY-FILE --id EXAM-ID SOURCE.json OUTPUT
//                                             the same, signed for that exam ID
//   practorium-exam keygen SECRET-KEY-FILE PUBLIC-KEY-FILE
//                                             a new signing key pair
//   practorium-exam verify --key PUBLIC-KEY-FILE --id EXAM-ID PACK
//                                             "good signature", or fails with
//                                             the reason (see PackSignature.h)
//   practorium-exam --help | --version
//
// Exit status 0 on success. On failure the status is 1 and standard error gets
// exactly one line, "practorium-exam: <source>: <description>": the source and
// description of the error that stopped the command. Problems in a JSON file
// name the file as the source and the key path in the description
// ("practorium-exam: PRAC-101.json: questions[3].choices[2].isSolution:
// expected true or false"); errors of the exam file itself keep the model's
// source ("practorium-exam: Exam::Save(): ...").

#include "model/Error.h"
#include "model/Exam.h"
#include "model/PackSignature.h"
#include "tools/practorium-exam/BankCommands.h"
#include "tools/practorium-exam/ExamJson.h"
#include "tools/practorium-exam/Pack.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString ToolName = QStringLiteral("practorium-exam");
const QString Usage = QStringLiteral("compile SOURCE.json OUTPUT.exam | dump FILE.exam | pack [--key SECRET-KEY-FILE --id "
                                     "EXAM-ID] SOURCE.json OUTPUT | keygen SECRET-KEY-FILE PUBLIC-KEY-FILE | verify --key "
                                     "PUBLIC-KEY-FILE --id EXAM-ID PACK | import ... SOURCE OUTPUT.exam | export --format "
                                     "FORMAT FILE.exam OUTPUT");
const QString PackUsage = QStringLiteral("pack [--key SECRET-KEY-FILE --id EXAM-ID] SOURCE.json OUTPUT");
const QString VerifyUsage = QStringLiteral("verify --key PUBLIC-KEY-FILE --id EXAM-ID PACK");

// A source file larger than this is refused before it is read in full, so a
// device or a runaway file cannot exhaust memory. Real exams are a few MiB.
constexpr qint64 MaxSourceBytes = 256 * 1024 * 1024;

void WriteLine(FILE* stream, const QString& text)
{
    const QByteArray bytes = (text + u'\n').toLocal8Bit();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

// The one line of a failure. Descriptions of system errors carry a line break
// before the system's text; it becomes a blank so the message stays one line.
void ReportError(const Error& error, const QString& command)
{
    QString description = error.Description();
    description.replace(QStringLiteral("\r\n"), QStringLiteral(" "));
    description.replace(u'\r', u' ');
    description.replace(u'\n', u' ');
    const QString source = error.Source().isEmpty() ? command : error.Source();
    WriteLine(stderr, ToolName + QStringLiteral(": ") + source + QStringLiteral(": ") + description);
}

[[noreturn]] void RaiseUsage(const QString& usage)
{
    Error::Raise(ErrorNumber::InvalidCall, QStringLiteral("usage"), ToolName + u' ' + usage);
}

// The source, open for reading, after the checks that need no reading.
std::unique_ptr<QFile> OpenSource(const QString& path)
{
    // Opened without blocking and checked on the descriptor, so a FIFO or
    // device named as the source is refused instead of waited on.
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0)
        Error::Raise(ErrorNumber::InvalidCall, path, QString::fromLocal8Bit(std::strerror(errno)));
    struct stat status {};
    if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(fd);
        Error::Raise(ErrorNumber::InvalidCall, path, QStringLiteral("not a regular file"));
    }
    if (status.st_size > MaxSourceBytes) {
        ::close(fd);
        Error::Raise(ErrorNumber::Overflow, path,
            QStringLiteral("larger than %1 MiB, too large for an exam source").arg(MaxSourceBytes / (1024 * 1024)));
    }
    auto file = std::make_unique<QFile>();
    if (!file->open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        Error::Raise(ErrorNumber::InvalidCall, path, file->errorString());
    }
    return file;
}

// The exam a JSON source describes, read as a stream: the source is never
// held whole.
void ReadSource(const QString& path, Exam& exam)
{
    const std::unique_ptr<QFile> file = OpenSource(path);
    ExamJson::FromJson(*file, exam, path);
}

// The whole source is checked before the output is opened, so a mistake in
// the JSON never touches an existing exam file.
void Compile(const QString& sourcePath, const QString& outputPath)
{
    Exam exam;
    ReadSource(sourcePath, exam);
    exam.Save(outputPath);
}

// "--key FILE --id ID" in either order, then exactly `wanted` other words;
// false when they are not there. The key and ID are empty when not given.
bool SigningOptions(QStringList arguments, int wanted, QString& key, QString& id, QStringList& rest)
{
    while (arguments.size() >= 2 && (arguments.first() == QLatin1String("--key") || arguments.first() == QLatin1String("--id"))) {
        QString& target = arguments.first() == QLatin1String("--key") ? key : id;
        if (!target.isEmpty())
            return false;
        target = arguments.at(1);
        arguments.remove(0, 2);
    }
    rest = arguments;
    return rest.size() == wanted && key.isEmpty() == id.isEmpty() && !rest.first().startsWith(QLatin1String("--"));
}

// The exhibits are the files its questions name in the source's own folder.
void MakePack(const QStringList& arguments)
{
    QString keyPath;
    QString examID;
    QStringList files;
    if (!SigningOptions(arguments.mid(2), 2, keyPath, examID, files) || (keyPath.isEmpty() && arguments.size() != 4))
        RaiseUsage(PackUsage);
    std::unique_ptr<PackSignature::Signer> signer;
    if (!keyPath.isEmpty()) {
        if (!PackSignature::CanSign(examID))
            Error::Raise(ErrorNumber::InvalidCall, QStringLiteral("--id"), QStringLiteral("cannot sign for the exam ID \"%1\" (1 to 128 bytes)").arg(examID));
        signer = std::make_unique<PackSignature::Signer>(PackSignature::ReadSecretKeyFile(keyPath), examID);
    }
    const QString sourcePath = files.at(0);
    Exam exam;
    ReadSource(sourcePath, exam);
    Pack::Build(exam, QFileInfo(sourcePath).absolutePath(), files.at(1), sourcePath, signer.get());
}

// Both files are new: a key pair is never written over another.
void MakeKeys(const QString& secretPath, const QString& publicPath)
{
    if (QFileInfo::exists(publicPath))
        Error::Raise(ErrorNumber::InvalidCall, publicPath, QStringLiteral("already exists"));
    const PackSignature::KeyPair pair = PackSignature::NewKeyPair();
    PackSignature::WriteSecretKeyFile(secretPath, pair.Secret);
    try {
        PackSignature::WritePublicKeyFile(publicPath, pair.Public);
    } catch (...) {
        QFile::remove(secretPath);
        throw;
    }
}

void Verify(const QStringList& arguments)
{
    QString keyPath;
    QString examID;
    QStringList files;
    if (!SigningOptions(arguments.mid(2), 1, keyPath, examID, files) || keyPath.isEmpty())
        RaiseUsage(VerifyUsage);
    const QString pack = files.at(0);
    const PackSignature::Result result = PackSignature::Verify(pack, examID, { PackSignature::ReadPublicKeyFile(keyPath) });
    if (!result.IsGood())
        Error::Raise(ErrorNumber::InvalidCall, pack, result.Reason);
    WriteLine(stdout, result.Reason);
}

void Dump(const QString& path)
{
    Exam exam;
    exam.Load(path);
    auto fail = [] {
        const int code = errno;
        Error::Raise(code, QStringLiteral("standard output"),
            QString::fromLocal8Bit(code != 0 ? std::strerror(code) : "write failed"));
    };
    // Written as it is made: the whole text is never held at once.
    ExamJson::WriteJson(exam, [&fail](const QByteArray& piece) {
        errno = 0;
        if (std::fwrite(piece.constData(), 1, size_t(piece.size()), stdout) != size_t(piece.size()))
            fail();
    });
    errno = 0;
    if (std::fflush(stdout) != 0)
        fail();
}

int Run(const QStringList& arguments)
{
    const QString command = arguments.value(1);
    if (command == QLatin1String("compile")) {
        if (arguments.size() != 4)
            RaiseUsage(QStringLiteral("compile SOURCE.json OUTPUT.exam"));
        Compile(arguments.at(2), arguments.at(3));
    } else if (command == QLatin1String("dump")) {
        if (arguments.size() != 3)
            RaiseUsage(QStringLiteral("dump FILE.exam"));
        Dump(arguments.at(2));
    } else if (command == QLatin1String("pack")) {
        MakePack(arguments);
    } else if (command == QLatin1String("keygen")) {
        if (arguments.size() != 4)
            RaiseUsage(QStringLiteral("keygen SECRET-KEY-FILE PUBLIC-KEY-FILE"));
        MakeKeys(arguments.at(2), arguments.at(3));
    } else if (command == QLatin1String("verify")) {
        Verify(arguments);
    } else if (command == QLatin1String("import")) {
        BankCommands::Import(arguments.mid(2));
    } else if (command == QLatin1String("export")) {
        BankCommands::Export(arguments.mid(2));
    } else if (arguments.size() == 2 && (command == QLatin1String("--help") || command == QLatin1String("-h"))) {
        WriteLine(stdout, QStringLiteral("usage: ") + ToolName + u' ' + Usage);
    } else if (arguments.size() == 2 && command == QLatin1String("--version")) {
        WriteLine(stdout, ToolName + QStringLiteral(" " PRACTORIUM_VERSION));
    } else {
        RaiseUsage(Usage);
    }
    return 0;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    try {
        return Run(arguments);
    } catch (...) {
        ReportError(Error::Current(), arguments.value(1, ToolName));
        return 1;
    }
}
