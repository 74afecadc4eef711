#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// The pass phrase of the download window's remembered password. Its first
// choice is a random 32-byte secret kept in the desktop's Secret Service
// (through QtKeychain), made on first use. Where no keyring can be reached
// (a bare session, a CI machine) the phrase is made from this machine's
// identity and the user's name, as it was before the keyring was used: that
// phrase protects only against a casual look at the settings file.
//
// Which phrase enciphered a stored password is kept beside it by the window,
// so a password remembered under the machine phrase is still read, and gets
// the keyring phrase when it is next saved.
namespace RememberedPassword {

enum class Phrase {
    Machine, // made from /etc/machine-id (else the host name) and the user name
    Keyring, // the secret in the Secret Service
};

struct Enciphered
{
    QByteArray Cipher;
    Phrase Source = Phrase::Machine;
};

// The password enciphered under the keyring secret, made when there is none
// yet; under the machine phrase when the keyring cannot be reached.
Enciphered Encipher(const QString& password);
// The password back, or nothing when its phrase is not available (the
// keyring cannot be reached, or its secret is gone).
std::optional<QString> Decipher(const QByteArray& cipher, Phrase source);

// The machine phrase; never stored anywhere.
QString MachinePassPhrase();
// The keyring secret, made first when `create` is set and there is none;
// nothing when the Secret Service cannot be reached or says no. Waits for
// the service with events processed, for at most `timeoutMs`.
std::optional<QByteArray> KeyringSecret(bool create, int timeoutMs = 30000);

} // namespace RememberedPassword
