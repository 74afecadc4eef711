#include "app/InstanceChannel.h"

#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>

#include <unistd.h>

InstanceChannel::InstanceChannel(const QString& socketPath, QObject* parent)
    : QObject(parent)
    , m_socketPath(socketPath.isEmpty() ? DefaultSocketPath() : socketPath)
    , m_server(new QLocalServer(this))
{
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    connect(m_server, &QLocalServer::newConnection, this, &InstanceChannel::AcceptConnections);
}

InstanceChannel::~InstanceChannel() = default;

QString InstanceChannel::DefaultSocketPath()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty() && QDir::isAbsolutePath(runtime) && QDir(runtime).exists())
        return QDir(runtime).filePath(QStringLiteral("practorium.socket"));
    return QDir(QDir::tempPath()).filePath(QStringLiteral("practorium-%1.socket").arg(::getuid()));
}

bool InstanceChannel::HandOver(const QString& socketPath, const QString& argument, int timeoutMs)
{
    const QByteArray request = argument.toUtf8() + '\n';
    if (request.size() > MaxRequestBytes)
        return false;
    QLocalSocket socket;
    socket.connectToServer(socketPath);
    if (!socket.waitForConnected(timeoutMs))
        return false;
    socket.write(request);
    if (!socket.waitForBytesWritten(timeoutMs))
        return false;
    QByteArray answer;
    while (!answer.contains('\n') && answer.size() < 16) {
        if (!socket.waitForReadyRead(timeoutMs))
            return false;
        answer += socket.read(16);
    }
    return answer.startsWith("OK\n");
}

bool InstanceChannel::Listen()
{
    if (m_server->listen(m_socketPath))
        return true;
    // Someone answers there: another program runs, leave its socket alone.
    QLocalSocket probe;
    probe.connectToServer(m_socketPath);
    if (probe.waitForConnected(500))
        return false;
    QLocalServer::removeServer(m_socketPath);
    return m_server->listen(m_socketPath);
}

void InstanceChannel::AcceptConnections()
{
    while (QLocalSocket* socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            // A request never grows past its cap: a client that sends more
            // without a line feed is cut off.
            const qint64 available = socket->bytesAvailable();
            if (!socket->canReadLine()) {
                if (available >= MaxRequestBytes)
                    socket->abort();
                return;
            }
            const QByteArray line = socket->readLine(MaxRequestBytes + 1);
            socket->write("OK\n");
            socket->flush();
            socket->disconnectFromServer();
            Q_EMIT fileReceived(QString::fromUtf8(line.chopped(1)));
        });
    }
}
