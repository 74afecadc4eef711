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

// Record texts on a file, the length ignored, other values plain. Between
// two long records many phrases overflow the keystream cache while the record
// cipher is in use: both records must come out the same.
void CryptoTest::secureDataOnFile()
{
    const QString text = QString(70000, 'r').replace(0, 6, "secret");
    QTemporaryDir dir;
    File file;
    file.OpenFile(dir.filePath("r.bin"), File::BinaryMode, File::GenericRead | File::GenericWrite, File::CreateAlways);
    WriteSecureData(file, QVariant(QString()), 0);
    WriteSecureData(file, QVariant::fromValue(qint16(7)), 0);
    WriteSecureData(file, QVariant(text), 99);
    for (int n = 0; n < 40; ++n)
        EncryptText("x", QString::number(n));
    WriteSecureData(file, text);
    QCOMPARE(file.Size(), quint32(4 + 2 + 2 * (4 + 70000)));
    file.SeekTo(0, File::FromStart);
    QVariant value = QString("unchanged");
    ReadSecureData(file, value, 0);
    QVariant number = QVariant::fromValue(qint16(0));
    ReadSecureData(file, number, 0);
    QVERIFY(value.toString() == "unchanged" && number.value<qint16>() == 7);
    QByteArray stored;
    file.ReadData(stored, -1);
    QVERIFY(stored == EncryptText(text, RecordPassPhrase()));
    QString back;
    ReadSecureData(file, back);
    QVERIFY(back == text);
}

QTEST_GUILESS_MAIN(CryptoTest)
#include "CryptoTest.moc"
