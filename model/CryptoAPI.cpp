#include "model/CryptoAPI.h"

#include "model/Ansi.h"
#include "model/Error.h"
#include "model/File.h"

#include <QCryptographicHash>
#include <QHash>

#include <array>
#include <memory>

namespace {

const QString SrcEncrypt = QStringLiteral("CryptoAPI:Encrypt()");
const QString SrcDecrypt = QStringLiteral("CryptoAPI:Decrypt()");

// The cryptographic service's code for an algorithm it does not offer.
constexpr qint32 BadAlgorithm = static_cast<qint32>(0x80090008u);
// 40-bit key: the first 5 bytes of the MD5 digest, with no salt.
constexpr int KeyBytes = 5;

// RC4 restarts from a fresh key schedule for every text, so every text under
// one phrase is XORed with the same keystream. Its first CachedBytes bytes are
// made once per phrase and never change afterwards, so a pointer into them
// stays valid for as long as the Keystream lives; a longer text continues from
// a copy of the generator state saved after that prefix, on the stack, so no
// keystream longer than the prefix is ever kept.
class Keystream
{
public:
    // Item texts are a few KiB; a longer one costs one extra pass of RC4.
    static constexpr qsizetype CachedBytes = 64 * 1024;

    explicit Keystream(const QByteArray& key)
    {
        for (int n = 0; n < 256; ++n)
            m_after.state[n] = quint8(n);
        quint8 j = 0;
        for (int n = 0; n < 256; ++n) {
            j = quint8(j + m_after.state[n] + quint8(key[n % key.size()]));
            std::swap(m_after.state[n], m_after.state[j]);
        }
        m_prefix.resize(CachedBytes);
        m_after.Generate(m_prefix.data(), CachedBytes);
    }

    // The first `count` keystream bytes, or nullptr when count > CachedBytes.
    const char* Prefix(qsizetype count) const { return count <= CachedBytes ? m_prefix.constData() : nullptr; }

    void Apply(char* bytes, qsizetype count) const
    {
        const qsizetype cached = qMin(count, CachedBytes);
        // Distinct buffers: the loop may work a vector at a time.
        char* __restrict out = bytes;
        const char* __restrict key = m_prefix.constData();
        for (qsizetype n = 0; n < cached; ++n)
            out[n] ^= key[n];
        if (count > cached) {
            Generator more = m_after;
            more.Xor(bytes + cached, count - cached);
        }
    }

private:
    struct Generator
    {
        std::array<quint8, 256> state {};
        quint8 i = 0;
        quint8 j = 0;

        quint8 Next()
        {
            i = quint8(i + 1);
            j = quint8(j + state[i]);
            std::swap(state[i], state[j]);
            return state[quint8(state[i] + state[j])];
        }
        void Generate(char* out, qsizetype count)
        {
            for (qsizetype n = 0; n < count; ++n)
                out[n] = char(Next());
        }
        void Xor(char* out, qsizetype count)
        {
            for (qsizetype n = 0; n < count; ++n)
                out[n] ^= char(Next());
        }
    };

    QByteArray m_prefix;
    Generator m_after; // the state after the prefix
};

using KeystreamPtr = std::shared_ptr<const Keystream>;

// Keystreams by pass-phrase bytes. The program uses two phrases (records and
// the remembered password); the cap bounds memory for a caller that cycles
// through many. Callers hold their own reference, so dropping an entry never
// frees a keystream in use.
KeystreamPtr KeystreamFor(const QByteArray& phrase)
{
    constexpr qsizetype MaxPhrases = 16;
    static QHash<QByteArray, KeystreamPtr> cache;
    auto found = cache.constFind(phrase);
    if (found != cache.constEnd())
        return *found;
    if (cache.size() >= MaxPhrases)
        cache.clear();
    const QByteArray digest = QCryptographicHash::hash(phrase, QCryptographicHash::Md5);
    return *cache.insert(phrase, std::make_shared<const Keystream>(digest.left(KeyBytes)));
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
        KeystreamFor(phrase)->Apply(data.data(), data.size());
        return true;
    } catch (...) {
        Error::Rethrow(source);
    }
}

const Keystream& RecordKeystream()
{
    static const KeystreamPtr stream = KeystreamFor(Ansi::FromUnicode(CryptoAPI::RecordPassPhrase()));
    return *stream;
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
    WriteSecureBytes(target, Ansi::FromUnicode(value));
}

void ReadSecureData(File& source, QString& value)
{
    // One scratch block serves every record text: the program reads on one
    // thread, and a load deciphers hundreds of thousands of texts.
    static QByteArray scratch;
    if (source.ReadCountedBytes(scratch) > 0) {
        const Keystream& stream = RecordKeystream();
        if (const char* prefix = stream.Prefix(scratch.size())) {
            value = Ansi::ToUnicodeMasked(scratch.constData(), prefix, scratch.size());
        } else {
            stream.Apply(scratch.data(), scratch.size());
            value = Ansi::ToUnicode(scratch);
        }
    }
    if (scratch.capacity() > (1 << 20))
        scratch = QByteArray();
}

void WriteSecureBytes(File& target, QByteArray bytes)
{
    RecordKeystream().Apply(bytes.data(), bytes.size());
    target.WriteData(bytes, -1);
}

void ApplyRecordCipher(char* bytes, qsizetype count)
{
    RecordKeystream().Apply(bytes, count);
}

bool ReadSecureBytes(File& source, QByteArray& bytes)
{
    if (source.ReadCountedBytes(bytes) <= 0)
        return false;
    RecordKeystream().Apply(bytes.data(), bytes.size());
    return true;
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
