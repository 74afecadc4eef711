#include "common/TestUtil.h"
#include "model/CryptoAPI.h"
#include "model/Error.h"
#include "model/File.h"

#include <QTemporaryDir>
#include <QTest>

using namespace CryptoAPI;
using TestUtil::Raised;

class CryptoTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void knownAnswer();
    void refusals();
    void secureDataOnFile();
    void manyPhrasesKeepRecords();
};

// The 40-bit key the Windows service derives from MD5("key") without salt;
// padding the 5 digest bytes to 16 would give other bytes. The long text runs
// past the keystream kept per phrase (64 KiB), whose tail is made afresh.
void CryptoTest::knownAnswer()
{
    QByteArray longText(70000, 'x');
    Encrypt(longText, "key");
    QCOMPARE(longText.mid(65532, 12).toHex(), QByteArray("213b6eb0f92615f36c4f62f4"));
    QByteArray data("Plaintext");
    QVERIFY(Encrypt(data, "key"));
    QCOMPARE(data.toHex(), QByteArray("d743d80852fe6c28cd"));
    QVERIFY(Decrypt(data, "key"));
    QCOMPARE(data, QByteArray("Plaintext"));
    const QString text = QString::fromUtf8("café € “quoted” – ÿ\r\n") + QChar(0);
    QCOMPARE(DecryptText(EncryptText(text, "phrase"), "phrase"), text);
}

// Nothing to do for empty data or phrase; another algorithm pair raises and
// leaves the data alone.
void CryptoTest::refusals()
{
    QByteArray empty;
    QVERIFY(!Encrypt(empty, "phrase"));
    QByteArray data("abc");
    QVERIFY(!Encrypt(data, ""));
    const Error e = Raised([&] { Encrypt(data, "phrase", 0x6610 /* AES */, CALG_MD5); });
    QCOMPARE(e.Source(), QString("CryptoAPI:Encrypt()"));
    QCOMPARE(quint32(e.Number()), 0x80090008u);
    QCOMPARE(Raised([&] { Decrypt(data, "phrase", CALG_RC4, 0x8004 /* SHA-1 */); }).Source(),
        QString("CryptoAPI:Decrypt()"));
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

// Many phrases overflow the keystream cache while the record cipher is in
// use; its records must stay what they were, short and long alike.
void CryptoTest::manyPhrasesKeepRecords()
{
    const QString text = QString(70000, 'r').replace(0, 6, "secret");
    const QByteArray expected = EncryptText(text, RecordPassPhrase());
    QTemporaryDir dir;
    File file;
    file.OpenFile(dir.filePath("r.bin"), File::BinaryMode, File::GenericRead | File::GenericWrite, File::CreateAlways);
    WriteSecureData(file, text);
    for (int n = 0; n < 40; ++n)
        EncryptText("x", QString::number(n));
    WriteSecureData(file, text);
    file.SeekTo(0, File::FromStart);
    for (int n = 0; n < 2; ++n) {
        QByteArray stored;
        file.ReadData(stored, -1);
        QCOMPARE(stored == expected, true);
    }
    file.SeekTo(0, File::FromStart);
    QString back;
    ReadSecureData(file, back);
    QCOMPARE(back == text, true);
}

QTEST_GUILESS_MAIN(CryptoTest)
#include "CryptoTest.moc"
