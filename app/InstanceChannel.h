#pragma once

#include <QObject>
#include <QString>

class QLocalServer;

// One catalogue per user: the running program listens on a local socket in
// the user's runtime folder, and a later start with a file hands the file
// over instead of opening a second catalogue.
//
// A request is the file argument in UTF-8 ended by a line feed, at most
// MaxRequestBytes; the running program answers "OK\n" once it took it.
class InstanceChannel : public QObject
{
    Q_OBJECT

public:
    static constexpr qint64 MaxRequestBytes = 64 * 1024;

    // `socketPath` empty: DefaultSocketPath().
    explicit InstanceChannel(const QString& socketPath = QString(), QObject* parent = nullptr);
    ~InstanceChannel() override;

    // $XDG_RUNTIME_DIR/practorium.socket; without a runtime folder, a name
    // with the user's ID in the temporary folder.
    static QString DefaultSocketPath();

    // Hands `argument` to the program listening at `socketPath`. True when it
    // answered; false when none listens or it did not answer within
    // `timeoutMs`, in which case the caller opens its own catalogue.
    static bool HandOver(const QString& socketPath, const QString& argument, int timeoutMs = 3000);

    // Starts listening; a socket left by a program that ended without
    // removing it is replaced. False when listening failed: the program then
    // runs on alone.
    bool Listen();
    const QString& SocketPath() const { return m_socketPath; }

Q_SIGNALS:
    void fileReceived(const QString& argument);

private:
    void AcceptConnections();

    QString m_socketPath;
    QLocalServer* m_server;
};
