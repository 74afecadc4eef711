#include "download/PackInstaller.h"

#include "model/Error.h"
#include "model/PackSignature.h"
#include "shell/Registry.h"

#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTimer>

#include <cerrno>
#include <csignal>
#include <unistd.h>
#include <utility>

namespace {

const QString CourierKey = QStringLiteral("Software\\Practorum\\PackCourier");

// The vendor's signing key for the packs of the default service. Its secret
// half is kept by the vendor and never enters this repository.
constexpr char VendorKeyText[] = "xN3SEg7HyP7PtlFy7Rys86tGkAXzt44BdpSkJb1eR+0=";

// How long an ended pack's group has after SIGTERM (which lets the pack's
// script clean up its unpacking folder) before it is killed.
constexpr int GraceMs = 2000;
// QTimer counts milliseconds in an int.
constexpr int MaxTimeoutSeconds = 2000000;

QString StoreText(const QString& name)
{
    try {
        qint32 type = Registry::REG_NONE;
        const QVariant value = Registry::ReadValue(Registry::HKEY_CURRENT_USER, CourierKey, name, &type);
        if (type == Registry::REG_SZ)
            return value.toString();
    } catch (...) {
        // No key or no value: the default.
    }
    return QString();
}

} // namespace

PackInstaller::PackInstaller(QObject* parent)
    : QObject(parent)
    , m_tmrTimeout(new QTimer(this))
{
    m_tmrTimeout->setObjectName(QStringLiteral("tmrInstallTimeout"));
    m_tmrTimeout->setSingleShot(true);
    connect(m_tmrTimeout, &QTimer::timeout, this, &PackInstaller::tmrTimeout_Timer);
}

PackInstaller::~PackInstaller()
{
    KillGroup(SIGKILL);
    if (m_endingGroup > 0)
        ::kill(pid_t(-m_endingGroup), SIGKILL);
    if (m_process) {
        m_process->disconnect(this);
        m_process->kill();
        m_process->waitForFinished(1000);
    }
}

QByteArray PackInstaller::VendorKey()
{
    return QByteArray::fromBase64(VendorKeyText);
}

QList<QByteArray> PackInstaller::TrustedKeys()
{
    QList<QByteArray> keys { VendorKey() };
    keys += PackSignature::ParsePublicKeys(StoreText(QStringLiteral("Trusted Keys")));
    return keys;
}

int PackInstaller::TimeoutSeconds()
{
    bool isNumber = false;
    const int seconds = StoreText(QStringLiteral("Install Timeout")).trimmed().toInt(&isNumber);
    if (!isNumber || seconds <= 0)
        return DefaultTimeoutSeconds;
    return qMin(seconds, MaxTimeoutSeconds);
}

bool PackInstaller::Start(const QString& packFile, const QString& examID)
{
    // Absolute, so that the file checked is the one run and a bare name is
    // never looked up on PATH.
    const QString path = QFileInfo(packFile).absoluteFilePath();
    if (m_running) {
        m_reason = QStringLiteral("another pack is still running");
        return false;
    }
    PackSignature::Result check;
    try {
        check = PackSignature::Verify(path, examID, TrustedKeys());
    } catch (...) {
        check.Reason = Error::Current().Description();
    }
    if (!check.IsGood()) {
        m_reason = check.Reason;
        return false;
    }
    QFile pack(path);
    if (!pack.setPermissions(pack.permissions() | QFileDevice::ExeOwner | QFileDevice::ReadOwner)) {
        m_reason = pack.errorString();
        return false;
    }

    // A pack from an earlier run whose group is still being ended finishes
    // on its own; this one gets a fresh process.
    if (m_process)
        m_process->disconnect(this);
    m_process = new QProcess(this);
    m_process->setProcessChannelMode(QProcess::ForwardedChannels);
    m_process->setStandardInputFile(QProcess::nullDevice());
    // Its own process group, so that ending it ends whatever it started.
    m_process->setChildProcessModifier([] { ::setpgid(0, 0); });
    connect(m_process, &QProcess::finished, this, &PackInstaller::ProcessFinished);
    connect(m_process, &QProcess::finished, m_process, &QObject::deleteLater);
    m_process->start(path, {});
    if (!m_process->waitForStarted(-1)) {
        m_reason = QStringLiteral("cannot start: ") + m_process->errorString();
        m_process->deleteLater();
        m_process = nullptr;
        return false;
    }
    m_groupId = m_process->processId();
    m_reason.clear();
    m_running = true;
    m_tmrTimeout->start(TimeoutSeconds() * 1000);
    return true;
}

void PackInstaller::ProcessFinished()
{
    auto* process = qobject_cast<QProcess*>(sender());
    if (process == m_process)
        m_process = nullptr;
    if (!m_running)
        return;
    if (GroupIsAlive()) {
        // Its children would go on installing, or anything else, unwatched.
        m_running = false;
        m_tmrTimeout->stop();
        KillGroup(SIGKILL);
        m_groupId = 0;
        m_reason = QStringLiteral("it ended but left processes running");
        Q_EMIT Finished(false);
        return;
    }
    m_running = false;
    m_tmrTimeout->stop();
    m_groupId = 0;
    if (process && process->exitStatus() == QProcess::CrashExit)
        m_reason = QStringLiteral("it was ended by a signal");
    Q_EMIT Finished(m_reason.isEmpty());
}

void PackInstaller::Cancel()
{
    if (m_running)
        End(QStringLiteral("cancelled"));
}

void PackInstaller::tmrTimeout_Timer()
{
    if (m_running)
        End(QStringLiteral("it ran past the limit of %1 seconds").arg(TimeoutSeconds()));
}

void PackInstaller::End(const QString& reason)
{
    m_running = false;
    m_tmrTimeout->stop();
    m_reason = reason;
    KillGroup(SIGTERM);
    m_endingGroup = std::exchange(m_groupId, 0);
    // Whatever is left of the group after the grace goes for good, and at
    // once if this object goes first (see the destructor).
    QTimer::singleShot(GraceMs, this, [this, group = m_endingGroup] {
        if (group > 0)
            ::kill(pid_t(-group), SIGKILL);
        if (m_endingGroup == group)
            m_endingGroup = 0;
    });
    Q_EMIT Finished(false);
}

void PackInstaller::KillGroup(int signal)
{
    if (m_groupId > 0)
        ::kill(pid_t(-m_groupId), signal);
}

bool PackInstaller::GroupIsAlive() const
{
    return m_groupId > 0 && (::kill(pid_t(-m_groupId), 0) == 0 || errno == EPERM);
}

bool PackInstaller::Install(const QString& packFile, const QString& examID)
{
    if (!Start(packFile, examID))
        return false;
    bool installed = false;
    QEventLoop loop;
    const QMetaObject::Connection done = connect(this, &PackInstaller::Finished, &loop, [&](bool result) {
        installed = result;
        loop.quit();
    });
    loop.exec();
    disconnect(done);
    return installed;
}
