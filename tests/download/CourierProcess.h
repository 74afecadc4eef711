#pragma once

#include "download/InternetTransfer.h"

#include <QDir>
#include <QEventLoop>
#include <QProcess>
#include <QRegularExpression>
#include <QString>
#include <QStringList>

#include <algorithm>

// The reference download server run as a child process for one test: its database lives in a folder the test owns, it
// listens on a free port of 127.0.0.1 and is ended when the object goes. Needs COURIER, the server's path, from the
// build.
class CourierProcess
{
public:
    // `folder` holds the database file; packs are served from `packs`, by default the folder's "packs".
    explicit CourierProcess(const QString& folder, const QString& packs = {})
        : m_folder(folder)
        , m_packs(packs.isEmpty() ? folder + QStringLiteral("/packs") : packs)
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        QDir().mkpath(m_packs);
    }

    ~CourierProcess() { Stop(); }

    QString PacksFolder() const { return m_packs; }
    QString Database() const { return m_folder + QStringLiteral("/courier.sqlite"); }

    // An admin command such as {"add-account", "bob", "secret"}; true when it exits 0. `output` receives what it
    // printed.
    bool Admin(const QStringList& command, QByteArray* output = nullptr) const
    {
        QProcess process;
        process.start(QStringLiteral(COURIER), QStringList { QStringLiteral("--database"), Database() } + command);
        const bool done = process.waitForFinished(10000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
        if (output)
            *output = process.readAllStandardOutput();
        return done;
    }

    // Adds the account and grants it each of `exams`.
    bool AddAccount(const QString& user, const QString& password, const QStringList& exams) const
    {
        return Admin({ QStringLiteral("add-account"), user, password })
            && std::ranges::all_of(exams, [&](const QString& exam) { return Admin({ QStringLiteral("grant"), user, exam }); });
    }

    // The server logs every request on standard error; tests pass it on, a benchmark drops it.
    void DiscardLog()
    {
        m_process.setProcessChannelMode(QProcess::SeparateChannels);
        m_process.setStandardErrorFile(QProcess::nullDevice());
    }

    // Starts serving, misbehaving in `mode` unless it is empty; true once the server has said where it listens.
    bool Start(const QString& mode = {})
    {
        QStringList arguments { QStringLiteral("--database"), Database(), QStringLiteral("--packs"), m_packs,
            QStringLiteral("--port"), QStringLiteral("0") };
        if (!mode.isEmpty())
            arguments << QStringLiteral("--misbehave") << mode;
        m_process.start(QStringLiteral(COURIER), arguments);
        while (m_process.waitForStarted(10000) && !m_process.canReadLine()) {
            if (!m_process.waitForReadyRead(10000))
                return false;
        }
        const QString line = QString::fromUtf8(m_process.readLine()).trimmed();
        m_endpoint = line.startsWith(QLatin1String("listening on ")) ? line.mid(13) : QString();
        return !m_endpoint.isEmpty();
    }

    // Ends the server with SIGTERM; true when it then ended by itself with status 0 (so the sanitizers' checks at exit
    // ran too).
    bool Stop()
    {
        if (m_process.state() == QProcess::NotRunning)
            return false;
        m_process.terminate();
        if (m_process.waitForFinished(5000))
            return m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0;
        m_process.kill();
        m_process.waitForFinished(5000);
        return false;
    }

    // http://127.0.0.1:PORT/PackCourier.asp
    QString Endpoint() const { return m_endpoint; }
    QString PackUrl(const QString& sessionId, const QString& examId) const
    {
        return m_endpoint + QStringLiteral("?sid=") + sessionId + QStringLiteral("&eid=") + examId;
    }

    // Logs on with a LOGIN message of our own making and returns the session ID of an OK reply, else empty.
    QString Login(const QString& user, const QString& password) const
    {
        InternetTransfer transfer;
        transfer.SetTimeout(10000);
        QEventLoop loop;
        QObject::connect(&transfer, &InternetTransfer::StateChanged, &loop, [&] {
            if (!transfer.StillExecuting())
                loop.quit();
        });
        transfer.Execute(m_endpoint, QStringLiteral("POST"), QStringLiteral("LOGIN?email=%1&pwd=%2;").arg(user, password).toLatin1(),
            QStringLiteral("Content-Type: application/x-www-form-urlencoded"));
        loop.exec();
        return QRegularExpression(QStringLiteral("^LOGIN\\?status=OK&sid=([^&;]+)"))
            .match(QString::fromLatin1(transfer.GetChunk(4096)))
            .captured(1);
    }

private:
    QString m_folder;
    QString m_packs;
    QString m_endpoint;
    QProcess m_process;
};
