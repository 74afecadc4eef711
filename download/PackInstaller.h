#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

class QProcess;
class QTimer;

// Installs one downloaded exam pack: checks that it is whole and signed for
// its exam ID by a trusted key, then runs it as its own process group without
// blocking the event loop, and ends it when it is cancelled or runs past the
// time limit. The download window uses it for every pack it installs, and so
// does anything else that installs a pack the same way.
//
// A pack is installed when it ends by itself (its exit code is not examined,
// the catalogue shows what it installed) and leaves no process behind it. A
// pack that ends but leaves a child running, runs past the limit or is
// cancelled has its whole process group ended and is not installed.
class PackInstaller : public QObject
{
    Q_OBJECT

public:
    static constexpr int DefaultTimeoutSeconds = 10 * 60;

    explicit PackInstaller(QObject* parent = nullptr);
    // Ends a pack that is still running, and its whole group.
    ~PackInstaller() override;

    // The public key of the vendor's own packs, built into the program.
    static QByteArray VendorKey();
    // The keys a pack may be signed with: the vendor's and those of the text
    // value "Trusted Keys" (base64 keys separated by blanks) of the download
    // window's store key.
    static QList<QByteArray> TrustedKeys();
    // The text value "Install Timeout" of the same key in whole seconds, else
    // DefaultTimeoutSeconds (also for a value that is not a positive number).
    static int TimeoutSeconds();

    // Checks the pack and, when it is good, starts it: executable for the
    // owner, no arguments, nothing on standard input, the time limit running.
    // False when it was refused or could not start; then Reason() says why
    // and nothing of it ran.
    bool Start(const QString& packFile, const QString& examID);
    bool IsRunning() const { return m_running; }
    // Why the last pack was refused or not installed; empty after a success.
    QString Reason() const { return m_reason; }
    // Ends the running pack's process group; Finished(false) follows at once.
    void Cancel();
    // The time limit's tick: the running pack is over time. The limit's
    // timer only calls this, so tests call it directly.
    void tmrTimeout_Timer();

    // Start, then wait for the end with events processed: true when installed.
    bool Install(const QString& packFile, const QString& examID);

Q_SIGNALS:
    // The started pack is over: installed, or not (see Reason()).
    void Finished(bool installed);

private:
    void ProcessFinished();
    // Ends the pack with `reason`: the group is asked to end, and made to a
    // little later if it has not.
    void End(const QString& reason);
    void KillGroup(int signal);
    bool GroupIsAlive() const;

    QProcess* m_process = nullptr;
    QTimer* m_tmrTimeout = nullptr;
    // The running pack's process group, and the last one asked to end.
    qint64 m_groupId = 0;
    qint64 m_endingGroup = 0;
    bool m_running = false;
    QString m_reason;
};
