#include "model/CryptoAPI.h"
#include "model/Error.h"
#include "model/File.h"

#include <QTemporaryDir>
#include <QTest>

using namespace CryptoAPI;

class CryptoTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void knownAnswer_data();
    void knownAnswer();
    void keyIsFiveBytesWithoutPadding();
    void recordPassPhrase();
    void textRoundTrip_data();
    void textRoundTrip();
    void nothingToDo();
    void otherAlgorithmsRaise();
    void secureDataOnFile();
};

void CryptoTest::knownAnswer_data()
{
    QTest::addColumn<QString>("phrase");
    QTest::addColumn<QByteArray>("plain");
    QTest::addColumn<QByteArray>("cipher");
    // The 40-bit key the Windows service derives from MD5("key") without salt.
    QTest::newRow("key / Plaintext") << "key" << QByteArray("Plaintext") << QByteArray::fromHex("d743d80852fe6c28cd");
}

void CryptoTest::knownAnswer()
{
    QFETCH(QString, phrase);
    QFETCH(QByteArray, plain);
    QFETCH(QByteArray, cipher);
    QByteArray data = plain;
    QVERIFY(Encrypt(data, phrase));
    QCOMPARE(data.toHex(), cipher.toHex());
    QVERIFY(Decrypt(data, phrase));
    QCOMPARE(data, plain);
}

// RC4 with the digest's first 5 bytes padded to 16 with zeros gives other
// bytes; this pins the unpadded 5-byte key against a second, longer text so a
// keystream cached for a short text is extended correctly.
void CryptoTest::keyIsFiveBytesWithoutPadding()
{
    const QByteArray longText(5000, 'x');
    QByteArray once = longText;
    Encrypt(once, "key");
    QByteArray first(9, 'x');
    Encrypt(first, "key");
    QCOMPARE(once.left(9), first);
    QByteArray plain("Plaintext");
    Encrypt(plain, "key");
    QCOMPARE(plain.toHex(), QByteArray("d743d80852fe6c28cd"));
}

void CryptoTest::recordPassPhrase()
{
    QCOMPARE(RecordPassPhrase().size(), 82);
    QVERIFY(RecordPassPhrase().startsWith("Practorium item records"));
    QVERIFY(RecordPassPhrase().endsWith("Never change it!!!"));
}

void CryptoTest::textRoundTrip_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("ascii") << "Which command shows the routing table?";
    QTest::newRow("Windows-1252") << QString::fromUtf8("café € “quoted” – ÿ");
    QTest::newRow("line breaks and NUL") << QString("a\r\nb") + QChar(0) + "c";
}

void CryptoTest::textRoundTrip()
{
    QFETCH(QString, text);
    const QByteArray once = EncryptText(text, "phrase");
    QCOMPARE(EncryptText(text, "phrase"), once); // no salt, no IV
    QCOMPARE(once.size(), text.size());
    QVERIFY(once != text.toLatin1());
    QCOMPARE(DecryptText(once, "phrase"), text);
    QVERIFY(EncryptText(text, "other phrase") != once);
}

void CryptoTest::nothingToDo()
{
    QByteArray empty;
    QVERIFY(!Encrypt(empty, "phrase"));
    QByteArray data("abc");
    QVERIFY(!Encrypt(data, ""));
    QCOMPARE(data, QByteArray("abc"));
}

void CryptoTest::otherAlgorithmsRaise()
{
    QByteArray data("abc");
    try {
        Encrypt(data, "phrase", 0x6610 /* AES */, CALG_MD5);
        QFAIL("nothing raised");
    } catch (const Error& e) {
        QCOMPARE(e.Source(), QString("CryptoAPI:Encrypt()"));
        QCOMPARE(quint32(e.Number()), 0x80090008u);
    }
    try {
        Decrypt(data, "phrase", CALG_RC4, 0x8004 /* SHA-1 */);
        QFAIL("nothing raised");
    } catch (const Error& e) {
        QCOMPARE(e.Source(), QString("CryptoAPI:Decrypt()"));
    }
    QCOMPARE(data, QByteArray("abc"));
}

void CryptoTest::secureDataOnFile()
{
    QTemporaryDir dir;
    const QString path = dir.filePath("secure.bin");
    {
        File file;
        file.OpenFile(path, File::BinaryMode, File::GenericWrite, File::CreateAlways);
        WriteSecureData(file, QVariant(QString()), 0);
        WriteSecureData(file, QVariant(QString("secret")), 99); // length ignored for texts
        WriteSecureData(file, QVariant::fromValue(qint16(7)), 0); // not a text: plain
    }
    File file;
    file.OpenFile(path, File::BinaryMode, File::GenericRead, File::OpenExisting);
    QCOMPARE(file.Size(), quint32(4 + 4 + 6 + 2));
    QVariant value = QString("unchanged");
    ReadSecureData(file, value, 0);
    QCOMPARE(value.toString(), QString("unchanged"));
    ReadSecureData(file, value, 0);
    QCOMPARE(value.toString(), QString("secret"));
    QVariant number = QVariant::fromValue(qint16(0));
    ReadSecureData(file, number, 0);
    QCOMPARE(number.value<qint16>(), qint16(7));
    // The stored bytes are the record cipher of the text, not the text.
    file.SeekTo(4, File::FromStart);
    QByteArray stored;
    file.ReadData(stored, -1);
    QCOMPARE(stored, EncryptText("secret", RecordPassPhrase()));
}

QTEST_GUILESS_MAIN(CryptoTest)
#include "CryptoTest.moc"
