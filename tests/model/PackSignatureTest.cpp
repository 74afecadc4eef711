#include "common/TestUtil.h"
#include "model/Pack.h"
#include "model/PackSignature.h"

#include <QTemporaryDir>
#include <QTest>

using namespace PackSignature;

namespace {

// A pack body as the script declares it: the first lines, "skip" and "size",
// then `archive` bytes.
QByteArray Body(qint64 archive)
{
    QByteArray script = QByteArray(Pack::Signature) + "skip=00000\nsize=" + QByteArray::number(archive) + "\nexit 0\n";
    script.replace("00000", QByteArray::number(script.size() + 1).rightJustified(5, '0'));
    QByteArray bytes(archive, '\0');
    for (qint64 i = 0; i < archive; ++i)
        bytes[i] = char(i * 31 % 251);
    return script + bytes;
}

QByteArray Signed(const QByteArray& body, const QByteArray& secret, const QString& examID)
{
    Signer signer(secret, examID);
    signer.Add(body);
    return body + signer.Trailer();
}

} // namespace

class PackSignatureTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_vendor = NewKeyPair();
        m_stranger = NewKeyPair();
        QCOMPARE(PublicKeyOf(m_vendor.Secret), m_vendor.Public);
    }

    void verify_data()
    {
        QTest::addColumn<QByteArray>("pack");
        QTest::addColumn<QString>("examID");
        QTest::addColumn<int>("verdict");
        QTest::addColumn<QString>("reason");

        // Large enough to take several read blocks.
        const QByteArray body = Body(3 * 1024 * 1024 + 17);
        const QByteArray good = Signed(body, m_vendor.Secret, "101");
        const qsizetype trailer = body.size();
        const auto changed = [](QByteArray bytes, qsizetype at) {
            bytes[at] = char(bytes.at(at) ^ 1);
            return bytes;
        };
        QByteArray trustedKeyField = Signed(body, m_stranger.Secret, "101");
        trustedKeyField.replace(trailer + 8 + 128, 32, m_vendor.Public);

        QTest::newRow("good") << good << "101" << int(Verdict::Good) << "good signature";
        QTest::newRow("unsigned") << body << "101" << int(Verdict::Unsigned) << "no signature";
        QTest::newRow("unknown key") << Signed(body, m_stranger.Secret, "101") << "101" << int(Verdict::UnknownKey)
                                     << "wrong key: signed by " + KeyText(m_stranger.Public) + ", which is not trusted";
        QTest::newRow("signed for another exam") << good << "102" << int(Verdict::OtherExam) << "signed for another exam: 101";
        QTest::newRow("exam ID field changed") << changed(good, trailer + 8 + 2) << "101" << int(Verdict::BadSignature) << "bad signature";
        QTest::newRow("last archive byte changed") << changed(good, trailer - 1) << "101" << int(Verdict::BadSignature) << "bad signature";
        QTest::newRow("signature byte changed") << changed(good, good.size() - 1) << "101" << int(Verdict::BadSignature) << "bad signature";
        QTest::newRow("key field claims the trusted key") << trustedKeyField << "101" << int(Verdict::BadSignature) << "bad signature";
        const QString damaged = "incomplete or damaged: %1 bytes where its script and a signature take %2";
        QTest::newRow("signature cut off") << good.left(good.size() - 40) << "101" << int(Verdict::Damaged)
                                           << damaged.arg(good.size() - 40).arg(good.size());
        QTest::newRow("extra byte after the signature") << good + "x" << "101" << int(Verdict::Damaged)
                                                        << damaged.arg(good.size() + 1).arg(good.size());
        QTest::newRow("archive cut short") << body.left(body.size() - 1) << "101" << int(Verdict::Damaged)
                                           << damaged.arg(body.size() - 1).arg(good.size());
        QByteArray noMagic = good;
        noMagic.replace(trailer, 8, "PRACSIG2");
        QTest::newRow("trailer without its mark") << noMagic << "101" << int(Verdict::Damaged)
                                                  << "incomplete or damaged: no signature after the archive";
        QTest::newRow("not a pack") << QByteArray("<html>404</html>") << "101" << int(Verdict::NotAPack) << "not an exam pack";
    }

    void verify()
    {
        QFETCH(QByteArray, pack);
        QFETCH(QString, examID);
        const QString path = TestUtil::WriteFile(m_dir.filePath("pack"), pack);
        // Another trusted key beside the signer's changes nothing.
        const Result result = Verify(path, examID, { NewKeyPair().Public, m_vendor.Public });
        QTEST(int(result.Outcome), "verdict");
        QTEST(result.Reason, "reason");
    }

private:
    QTemporaryDir m_dir;
    KeyPair m_vendor;
    KeyPair m_stranger;
};

QTEST_GUILESS_MAIN(PackSignatureTest)
#include "PackSignatureTest.moc"
