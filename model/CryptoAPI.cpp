#include "model/CryptoAPI.h"

#include "model/Ansi.h"
#include "model/Error.h"
#include "model/File.h"

#include <QCryptographicHash>
#include <QHash>

#include <array>

namespace {

const QString SrcEncrypt = QStringLiteral("CryptoAPI:Encrypt()");
const QString SrcDecrypt = QStringLiteral("CryptoAPI:Decrypt()");

// The cryptographic service's code for an algorithm it does not offer.
constexpr qint32 BadAlgorithm = static_cast<qint32>(0x80090008u);
// 40-bit key: the first 5 bytes of the MD5 digest, with no salt.
constexpr int KeyBytes = 5;

// RC4 restarts from a fresh key schedule for every text, so every text under
// one phrase is XORed with the same keystream. The keystream is kept per
// phrase and extended on demand, which makes deciphering a text a plain XOR.
class Keystream
{
public:
    explicit Keystream(const QByteArray& key)
    {
        for (int n = 0; n < 256; ++n)
            m_state[n] = quint8(n);
        quint8 j = 0;
        for (int n = 0; n < 256; ++n) {
            j = quint8(j + m_state[n] + quint8(key[n % key.size()]));
            std::swap(m_state[n], m_state[j]);
        }
    }

    const char* Bytes(qsizetype count)
    {
        if (m_stream.size() < count) {
            const qsizetype old = m_stream.size();
            const qsizetype grown = qMax(count, qMin<qsizetype>(old * 2, old + (16 << 20)));
            m_stream.resize(grown);
            for (qsizetype n = old; n < grown; ++n) {
                m_i = quint8(m_i + 1);
                m_j = quint8(m_j + m_state[m_i]);
                std::swap(m_state[m_i], m_state[m_j]);
                m_stream[n] = char(m_state[quint8(m_state[m_i] + m_state[m_j])]);
            }
        }
        return m_stream.constData();
    }

    void Apply(QByteArray& data)
    {
        const char* stream = Bytes(data.size());
        char* bytes = data.data();
        for (qsizetype n = 0; n < data.size(); ++n)
            bytes[n] ^= stream[n];
    }

private:
    std::array<quint8, 256> m_state {};
    quint8 m_i = 0;
    quint8 m_j = 0;
    QByteArray m_stream;
};

// Keystreams by pass-phrase bytes. The program uses two phrases (records and
// the remembered password); the cap only guards against a caller that
// cycles through many.
Keystream& KeystreamFor(const QByteArray& phrase)
{
    static QHash<QByteArray, std::shared_ptr<Keystream>> cache;
    auto found = cache.find(phrase);
    if (found == cache.end()) {
        if (cache.size() >= 16)
            cache.clear();
        const QByteArray digest = QCryptographicHash::hash(phrase, QCryptographicHash::Md5);
        found = cache.insert(phrase, std::make_shared<Keystream>(digest.left(KeyBytes)));
    }
    return **found;
}

bool Transform(QByteArray& data, const QString& passPhrase, quint32 algorithm, quint32 hashAlgorithm,
    const QString& source)
{
    try {
        if (data.isEmpty())
            return false;
        const QByteArray phrase = Ansi::FromUnicode(passPhrase);
        if (phrase.isEmpty())
            return false;
        if (algorithm != CryptoAPI::CALG_RC4 || hashAlgorithm != CryptoAPI::CALG_MD5)
            Error::Raise(BadAlgorithm, source, QStringLiteral("System Error: 0x80090008\nInvalid algorithm specified."));
        KeystreamFor(phrase).Apply(data);
        return true;
    } catch (...) {
        Error::Rethrow(source);
    }
}

Keystream& RecordKeystream()
{
    static Keystream& stream = KeystreamFor(Ansi::FromUnicode(CryptoAPI::RecordPassPhrase()));
    return stream;
}

} // namespace

namespace CryptoAPI {

bool Encrypt(QByteArray& data, const QString& passPhrase, quint32 algorithm, quint32 hashAlgorithm)
{
    return Transform(data, passPhrase, algorithm, hashAlgorithm, SrcEncrypt);
}

bool Decrypt(QByteArray& data, const QString& passPhrase, quint32 algorithm, quint32 hashAlgorithm)
{
    return Transform(data, passPhrase, algorithm, hashAlgorithm, SrcDecrypt);
}

QByteArray EncryptText(const QString& text, const QString& passPhrase, quint32 algorithm, quint32 hashAlgorithm)
{
    QByteArray bytes = Ansi::FromUnicode(text);
    Encrypt(bytes, passPhrase, algorithm, hashAlgorithm);
    return bytes;
}

QString DecryptText(const QByteArray& data, const QString& passPhrase, quint32 algorithm, quint32 hashAlgorithm)
{
    QByteArray bytes = data;
    Decrypt(bytes, passPhrase, algorithm, hashAlgorithm);
    return Ansi::ToUnicode(bytes);
}

const QString& RecordPassPhrase()
{
    // Part of the exam file format: every file this program reads or writes
    // depends on these 82 bytes.
    static const QString phrase = [] {
        static const char bytes[] = "Practorium item records are enciphered under this fixed phrase. Never change it!!!";
        static_assert(sizeof bytes - 1 == 82);
        return QString::fromLatin1(bytes, 82);
    }();
    return phrase;
}

void WriteSecureData(File& target, const QString& value)
{
    QByteArray bytes = Ansi::FromUnicode(value);
    if (!bytes.isEmpty())
        RecordKeystream().Apply(bytes);
    target.WriteData(bytes, -1);
}

void ReadSecureData(File& source, QString& value)
{
    // One scratch block serves every record text: the program reads on one
    // thread, and a load deciphers hundreds of thousands of texts.
    static QByteArray scratch;
    if (source.ReadCountedBytes(scratch) > 0)
        value = Ansi::ToUnicodeMasked(scratch.constData(), RecordKeystream().Bytes(scratch.size()), scratch.size());
    if (scratch.capacity() > (1 << 20))
        scratch = QByteArray();
}

void WriteSecureData(File& target, const QVariant& value, qint32 length)
{
    if (value.typeId() == QMetaType::QString)
        WriteSecureData(target, value.toString());
    else
        target.WriteData(value, length);
}

void ReadSecureData(File& source, QVariant& value, qint32 length)
{
    if (value.typeId() == QMetaType::QString) {
        QString text = value.toString();
        ReadSecureData(source, text);
        value = text;
    } else {
        source.ReadData(value, length);
    }
}

} // namespace CryptoAPI
