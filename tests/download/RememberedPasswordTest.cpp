// The remembered password's pass phrase. Run twice by CTest: once with no Secret Service (the machine phrase), and once
// by with-keyring.sh against gnome-keyring in a private D-Bus session (PRACTORIUM_SECRET_SERVICE set).

#include "download/RememberedPassword.h"
#include "download/frmExamDownloader.h"
#include "model/CryptoAPI.h"
#include "shell/MessageSeam.h"
#include "shell/Registry.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

using namespace RememberedPassword;

namespace {

const QString CourierKey = "Software\\Practorum\\PackCourier";
const QString Typed = "  p\u00e4ss&=;word ";

bool HasKeyring() { return qEnvironmentVariableIsSet("PRACTORIUM_SECRET_SERVICE"); }

QVariant Stored(const QString& name)
{
    qint32 type = 0;
    try {
        return Registry::ReadValue(Registry::HKEY_CURRENT_USER, CourierKey, name, &type);
    } catch (...) {
        return QVariant();
    }
}

} // namespace

class RememberedPasswordTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_home.path()));
        // Without the wrapper, make sure that no keyring of the machine's own session is reached.
        if (!HasKeyring())
            qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
        MessageSeam::Intercept(true);
    }

    void phraseFromKeyringElseMachine()
    {
        const QByteArray machineCipher = CryptoAPI::EncryptText(Typed, MachinePassPhrase());
        const Enciphered first = Encipher(Typed);
        QCOMPARE(Decipher(first.Cipher, first.Source), std::optional<QString>(Typed));
        if (!HasKeyring()) {
            QVERIFY(first.Source == Phrase::Machine && first.Cipher == machineCipher);
            QVERIFY(!KeyringSecret(true) && !Decipher(first.Cipher, Phrase::Keyring));
            return;
        }
        // Made on first use, then the same secret every time.
        QVERIFY(first.Source == Phrase::Keyring);
        const std::optional<QByteArray> secret = KeyringSecret(false);
        QVERIFY(secret && secret->size() == 32 && KeyringSecret(true) == secret);
        QCOMPARE(Encipher(Typed).Cipher, first.Cipher);
        QVERIFY(first.Cipher != machineCipher && Decipher(first.Cipher, Phrase::Machine) != Typed);
        // An old password still reads under its own phrase.
        QCOMPARE(Decipher(machineCipher, Phrase::Machine), std::optional<QString>(Typed));
    }

    // A password remembered before the keyring was used fills the window, and the next save enciphers it under the
    // keyring's phrase when there is one.
    void oldPasswordReadAndSavedAgain()
    {
        Registry::WriteValue(CourierKey, "User ID", "me", Registry::REG_SZ);
        Registry::WriteValue(CourierKey, "Password", CryptoAPI::EncryptText(Typed, MachinePassPhrase()), Registry::REG_BINARY);
        // Nothing listens there: the run fails at once, after the save.
        Registry::WriteValue(CourierKey, "Endpoint", "http://127.0.0.1:9/PackCourier.asp", Registry::REG_SZ);
        {
            frmExamDownloader window;
            window.show();
            QVERIFY(window.findChild<QLineEdit*>("txtPassword")->text() == Typed && window.findChild<QCheckBox*>("chkRemember")->isChecked());
            QTest::mouseClick(window.findChild<QPushButton*>("cmdAction"), Qt::LeftButton);
            QTRY_COMPARE(window.findChild<QPushButton*>("cmdAction")->text(), "&Close");
            QVERIFY(window.close());
        }
        MessageSeam::TakeShown();
        const QByteArray cipher = Stored("Password").toByteArray();
        QCOMPARE(Stored("Password Phrase").toString(), HasKeyring() ? "Keyring" : "");
        QCOMPARE(Decipher(cipher, HasKeyring() ? Phrase::Keyring : Phrase::Machine), std::optional<QString>(Typed));
        QCOMPARE(cipher == CryptoAPI::EncryptText(Typed, MachinePassPhrase()), !HasKeyring());

        frmExamDownloader again;
        again.show();
        QCOMPARE(again.findChild<QLineEdit*>("txtPassword")->text(), Typed);
        // Unticked, closing forgets the password and which phrase it had.
        again.findChild<QCheckBox*>("chkRemember")->setChecked(false);
        again.close();
        QVERIFY(!Stored("Password").isValid() && !Stored("Password Phrase").isValid());
    }

private:
    QTemporaryDir m_home;
};

QTEST_MAIN(RememberedPasswordTest)
#include "RememberedPasswordTest.moc"
