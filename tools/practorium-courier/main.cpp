// practorium-courier: the reference download service for Practorium.
//
//   practorium-courier [--address A] [--port P] [--database FILE] [--packs DIR] [--misbehave MODE]
//   practorium-courier [--database FILE] add-account USER PASSWORD   ("-": read the password from stdin)
//   practorium-courier [--database FILE] grant USER EXAMID
//   practorium-courier [--database FILE] reports
//   practorium-courier [--database FILE] public-key   the key that packs are signed with
//
// Serving prints "listening on http://HOST:PORT/PackCourier.asp" as the first
// line on standard output (port 0 picks a free port, and the line tells which)
// and logs one line per request on standard error. Unsigned packs are signed
// with the server's key, "signing.key" beside the database (made on first
// use, owner-only); its copies are kept in "signed" there. It runs until it is
// stopped: SIGTERM and SIGINT end it cleanly, with status 0. Failures print one
// line, "practorium-courier: <source>: <description>", and exit with status 1.

#include "model/Error.h"
#include "model/PackSignature.h"
#include "tools/practorium-courier/CourierServer.h"
#include "tools/practorium-courier/CourierStore.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSocketNotifier>
#include <QStandardPaths>
#include <QTextStream>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

const QString ToolName = QStringLiteral("practorium-courier");

void WriteLine(FILE* stream, const QString& text)
{
    const QByteArray bytes = (text + u'\n').toLocal8Bit();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

[[noreturn]] void RaiseUsage(const QString& usage)
{
    Error::Raise(ErrorNumber::InvalidCall, QStringLiteral("usage"), ToolName + u' ' + usage);
}

// The server's files live beside the user's other data unless told otherwise:
// $XDG_DATA_HOME/practorium-courier/courier.sqlite and .../packs.
QString DataFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/practorium-courier");
}

QString ReadPassword(const QString& argument)
{
    if (argument != QLatin1String("-"))
        return argument;
    QTextStream in(stdin);
    return in.readLine();
}

QString BesideDatabase(const QString& database, const QString& name)
{
    return QFileInfo(database).absoluteDir().filePath(name);
}

// The server's secret key, made on first use.
QByteArray SigningKey(const QString& database)
{
    const QString path = BesideDatabase(database, QStringLiteral("signing.key"));
    if (!QFileInfo::exists(path)) {
        QDir().mkpath(QFileInfo(path).absolutePath());
        PackSignature::WriteSecretKeyFile(path, PackSignature::NewKeyPair().Secret);
    }
    return PackSignature::ReadSecretKeyFile(path);
}

// The write end of the pipe a stop signal is passed through to the event loop.
int StopSignalWriter = -1;

void OnStopSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(StopSignalWriter, &byte, 1);
}

// SIGTERM and SIGINT quit the event loop, so the server returns from main like
// after any other ending: the database is closed, every object destroyed and
// the exit status is 0. The handler only writes a byte to a pipe; the event
// loop reads it.
void QuitOnStopSignals()
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        Error::Raise(ErrorNumber::InvalidCall, QStringLiteral("pipe"), QString::fromLocal8Bit(std::strerror(errno)));
    StopSignalWriter = ends[1];
    auto* notifier = new QSocketNotifier(ends[0], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, QCoreApplication::instance(), &QCoreApplication::quit);
    struct sigaction action = {};
    action.sa_handler = OnStopSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

int Serve(const QCommandLineParser& parser, const QString& database)
{
    const QString addressText = parser.value(QStringLiteral("address"));
    const QHostAddress address(addressText);
    if (address.isNull())
        Error::Raise(ErrorNumber::InvalidCall, QStringLiteral("--address"), QStringLiteral("not an IP address: %1").arg(addressText));
    bool isNumber = false;
    const uint port = parser.value(QStringLiteral("port")).toUInt(&isNumber);
    if (!isNumber || port > 65535)
        Error::Raise(ErrorNumber::InvalidCall, QStringLiteral("--port"), QStringLiteral("not a port number: %1").arg(parser.value(QStringLiteral("port"))));
    Misbehaviour mode = Misbehaviour::None;
    if (parser.isSet(QStringLiteral("misbehave"))) {
        const std::optional<Misbehaviour> chosen = MisbehaviourFromName(parser.value(QStringLiteral("misbehave")));
        if (!chosen) {
            Error::Raise(ErrorNumber::InvalidCall, QStringLiteral("--misbehave"),
                QStringLiteral("unknown mode %1 (one of %2)").arg(parser.value(QStringLiteral("misbehave")), MisbehaviourNames()));
        }
        mode = *chosen;
    }
    const QString packs = parser.isSet(QStringLiteral("packs")) ? parser.value(QStringLiteral("packs")) : DataFolder() + QStringLiteral("/packs");

    CourierStore store(database);
    CourierServer server(store, packs, mode, SigningKey(database), BesideDatabase(database, QStringLiteral("signed")));
    QuitOnStopSignals();
    const quint16 actualPort = server.Listen(address, quint16(port));
    if (actualPort == 0)
        Error::Raise(ErrorNumber::InvalidCall, QStringLiteral("listen"), QStringLiteral("cannot listen on %1 port %2").arg(addressText).arg(port));
    const QString host = address.protocol() == QAbstractSocket::IPv6Protocol ? u'[' + address.toString() + u']' : address.toString();
    WriteLine(stdout, QStringLiteral("listening on http://%1:%2/PackCourier.asp").arg(host).arg(actualPort));
    if (!address.isLoopback())
        WriteLine(stderr, QStringLiteral("warning: serving beyond this machine over plain HTTP; passwords travel in clear text"));
    return QCoreApplication::exec();
}

int Run(QCoreApplication& app)
{
    QCommandLineParser parser;
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    parser.addOptions({
        { QStringLiteral("address"), QStringLiteral("Address to listen on."), QStringLiteral("A"), QStringLiteral("127.0.0.1") },
        { QStringLiteral("port"), QStringLiteral("Port to listen on, 0 for any free one."), QStringLiteral("P"), QStringLiteral("8080") },
        { QStringLiteral("database"), QStringLiteral("The server's SQLite file."), QStringLiteral("FILE") },
        { QStringLiteral("packs"), QStringLiteral("Folder of the packs, one <exam ID>.pack each."), QStringLiteral("DIR") },
        { QStringLiteral("misbehave"), QStringLiteral("Misbehave on purpose: ") + MisbehaviourNames() + u'.', QStringLiteral("MODE") },
    });
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("add-account USER PASSWORD | grant USER EXAMID | reports | public-key; none to serve"));
    if (!parser.parse(app.arguments()))
        RaiseUsage(parser.errorText());
    if (parser.isSet(QStringLiteral("help"))) {
        WriteLine(stdout, parser.helpText().trimmed());
        return 0;
    }
    if (parser.isSet(QStringLiteral("version"))) {
        WriteLine(stdout, ToolName + QStringLiteral(" " PRACTORIUM_VERSION));
        return 0;
    }

    const QString database = parser.isSet(QStringLiteral("database")) ? parser.value(QStringLiteral("database"))
                                                                       : DataFolder() + QStringLiteral("/courier.sqlite");
    const QStringList arguments = parser.positionalArguments();
    const QString command = arguments.value(0);
    if (command.isEmpty())
        return Serve(parser, database);
    if (command == QLatin1String("add-account")) {
        if (arguments.size() != 3)
            RaiseUsage(QStringLiteral("add-account USER PASSWORD"));
        CourierStore store(database);
        store.SetPassword(arguments.at(1), ReadPassword(arguments.at(2)));
    } else if (command == QLatin1String("grant")) {
        if (arguments.size() != 3)
            RaiseUsage(QStringLiteral("grant USER EXAMID"));
        if (!CourierServer::IsExamId(arguments.at(2)))
            Error::Raise(ErrorNumber::InvalidCall, QStringLiteral("grant"), QStringLiteral("not a plain exam ID: %1").arg(arguments.at(2)));
        CourierStore store(database);
        store.Grant(arguments.at(1), arguments.at(2));
    } else if (command == QLatin1String("reports")) {
        if (arguments.size() != 1)
            RaiseUsage(QStringLiteral("reports"));
        CourierStore store(database);
        // One report a line: received (UTC), user, list, time as the client sent it.
        for (const CourierStore::Report& report : store.Reports())
            WriteLine(stdout, QStringList { report.Received, report.User, report.List, report.Time }.join(u'\t'));
    } else if (command == QLatin1String("public-key")) {
        if (arguments.size() != 1)
            RaiseUsage(QStringLiteral("public-key"));
        WriteLine(stdout, PackSignature::KeyText(PackSignature::PublicKeyOf(SigningKey(database))));
    } else {
        RaiseUsage(QStringLiteral("[options] [add-account USER PASSWORD | grant USER EXAMID | reports | public-key]"));
    }
    return 0;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    try {
        return Run(app);
    } catch (...) {
        const Error error = Error::Current();
        QString description = error.Description();
        description.replace(u'\n', u' ');
        WriteLine(stderr, ToolName + QStringLiteral(": ") + error.Source() + QStringLiteral(": ") + description);
        return 1;
    }
}
