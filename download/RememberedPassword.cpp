#include "download/RememberedPassword.h"

#include "model/CryptoAPI.h"

#include <QEventLoop>
#include <QFile>
#include <QRandomGenerator>
#include <QSysInfo>
#include <QTimer>

#include <qt6keychain/keychain.h>

#include <memory>

#include <pwd.h>
#include <unistd.h>

namespace {

const QString Service = QStringLiteral("Practorium");
const QString SecretName = QStringLiteral("remembered password pass phrase");
constexpr int SecretBytes = 32;

// Runs `job` to its end with events processed, for at most `timeoutMs`.
// False when it did not end in time; the job then deletes itself whenever it
// ends, else the caller owns it.
bool RunJob(QKeychain::Job* job, int timeoutMs)
{
    job->setAutoDelete(false);
    QEventLoop loop;
    bool ended = false;
    QObject::connect(job, &QKeychain::Job::finished, &loop, [&] {
        ended = true;
        loop.quit();
    });
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    job->start();
    if (!ended)
        loop.exec();
    if (!ended)
        job->setAutoDelete(true);
    return ended;
}

// The cipher's phrase for a secret: its bytes as hexadecimal text.
QString PhraseOf(const QByteArray& secret)
{
    return QString::fromLatin1(secret.toHex());
}

} // namespace

namespace RememberedPassword {

QString MachinePassPhrase()
{
    QString machine;
    QFile machineId(QStringLiteral("/etc/machine-id"));
    if (machineId.open(QIODevice::ReadOnly))
        machine = QString::fromLatin1(machineId.read(256)).trimmed();
    if (machine.isEmpty())
        machine = QSysInfo::machineHostName();
    QString user;
    if (const passwd* entry = ::getpwuid(::getuid()))
        user = QString::fromLocal8Bit(entry->pw_name);
    if (user.isEmpty())
        user = qEnvironmentVariable("USER");
    return QStringLiteral("Practorium remembered password/") + machine + u'/' + user;
}

std::optional<QByteArray> KeyringSecret(bool create, int timeoutMs)
{
    auto* read = new QKeychain::ReadPasswordJob(Service);
    read->setKey(SecretName);
    if (!RunJob(read, timeoutMs))
        return std::nullopt;
    const std::unique_ptr<QKeychain::Job> readDone(read);
    if (read->error() == QKeychain::NoError && read->binaryData().size() == SecretBytes)
        return read->binaryData();
    // Only a keyring that answered "no such entry" gets a new secret; any
    // other answer means that there is no keyring to keep it in.
    if (!create || read->error() != QKeychain::EntryNotFound)
        return std::nullopt;

    QByteArray secret(SecretBytes, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32*>(secret.data()), SecretBytes / sizeof(quint32));
    auto* write = new QKeychain::WritePasswordJob(Service);
    write->setKey(SecretName);
    write->setBinaryData(secret);
    if (!RunJob(write, timeoutMs))
        return std::nullopt;
    const std::unique_ptr<QKeychain::Job> writeDone(write);
    if (write->error() != QKeychain::NoError)
        return std::nullopt;
    return secret;
}

Enciphered Encipher(const QString& password)
{
    if (const std::optional<QByteArray> secret = KeyringSecret(true))
        return { CryptoAPI::EncryptText(password, PhraseOf(*secret)), Phrase::Keyring };
    return { CryptoAPI::EncryptText(password, MachinePassPhrase()), Phrase::Machine };
}

std::optional<QString> Decipher(const QByteArray& cipher, Phrase source)
{
    if (source == Phrase::Machine)
        return CryptoAPI::DecryptText(cipher, MachinePassPhrase());
    const std::optional<QByteArray> secret = KeyringSecret(false);
    if (!secret)
        return std::nullopt;
    return CryptoAPI::DecryptText(cipher, PhraseOf(*secret));
}

} // namespace RememberedPassword
