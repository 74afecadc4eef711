#include "model/PackSignature.h"

#include "model/Error.h"
#include "model/Pack.h"

#include <QFile>
#include <QStringList>

#include <sodium.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr char Magic[] = "PRACSIG1";
constexpr int MagicBytes = 8;
constexpr int SignatureBytes = crypto_sign_BYTES;
constexpr int DigestBytes = crypto_generichash_BYTES_MAX;
// Where the script declares its length: near its top.
constexpr qint64 PackHeadBytes = 4096;
// Read in blocks this large, so a pack of any size costs one block of memory.
constexpr qint64 BlockBytes = 1024 * 1024;

static_assert(crypto_sign_PUBLICKEYBYTES == PackSignature::PublicKeyBytes);
static_assert(crypto_sign_SECRETKEYBYTES == PackSignature::SecretKeyBytes);
static_assert(sizeof Magic - 1 == MagicBytes);

const QString Source = QStringLiteral("PackSignature");

void Init()
{
    // Thread-safe and idempotent; fails only when the system has no source
    // of randomness, when nothing here could be trusted anyway.
    static const bool ready = sodium_init() >= 0;
    if (!ready)
        Error::Raise(ErrorNumber::Internal, Source, QStringLiteral("the cryptography library cannot start"));
}

// The number on the script line "<name>=<digits>", or -1.
qint64 ScriptNumber(const QByteArray& head, const QByteArray& name)
{
    const QByteArray marker = '\n' + name + '=';
    const qsizetype start = head.indexOf(marker);
    if (start < 0)
        return -1;
    const qsizetype from = start + marker.size();
    const qsizetype end = head.indexOf('\n', from);
    if (end < 0 || end == from || end - from > 15)
        return -1;
    qint64 value = 0;
    for (qsizetype i = from; i < end; ++i) {
        const char c = head.at(i);
        if (c < '0' || c > '9')
            return -1;
        value = value * 10 + (c - '0');
    }
    return value;
}

qint64 BodySizeOf(QFile& file)
{
    const QByteArray head = file.read(PackHeadBytes);
    if (!head.startsWith(QByteArray(Pack::Signature, Pack::SignatureLength)))
        return -1;
    const qint64 skip = ScriptNumber(head, "skip");
    const qint64 size = ScriptNumber(head, "size");
    if (skip <= Pack::SignatureLength || size < 0)
        return -1;
    return skip - 1 + size;
}

QByteArray ExamIdField(const QString& examID)
{
    QByteArray field = examID.toUtf8();
    field.resize(PackSignature::MaxExamIdBytes, '\0');
    return field;
}

QString SignedExamId(const QByteArray& field)
{
    const qsizetype end = field.indexOf('\0');
    return QString::fromUtf8(end < 0 ? field : field.left(end));
}

PackSignature::Result Judged(PackSignature::Verdict outcome, const QString& reason)
{
    return PackSignature::Result { outcome, reason };
}

QByteArray ReadKeyLine(const QString& path, const char* what)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        Error::Raise(ErrorNumber::InvalidCall, path, file.errorString());
    // A key line is under 100 characters; anything much longer is not a key file.
    const QByteArray text = file.read(1024).trimmed();
    const QByteArray key = QByteArray::fromBase64(text, QByteArray::AbortOnBase64DecodingErrors);
    const qsizetype wanted = qstrcmp(what, "public") == 0 ? PackSignature::PublicKeyBytes : PackSignature::SecretKeyBytes;
    if (text.isEmpty() || key.size() != wanted)
        Error::Raise(ErrorNumber::InvalidCall, path, QStringLiteral("not a %1 key file").arg(QLatin1String(what)));
    return key;
}

void WriteKeyLine(const QString& path, const QByteArray& key, QFileDevice::Permissions permissions)
{
    QFile file(path);
    // NewOnly: a key is never written over another, which may be the only copy.
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly, permissions))
        Error::Raise(ErrorNumber::InvalidCall, path, file.errorString());
    const QByteArray line = key.toBase64() + '\n';
    if (file.write(line) != line.size() || !file.flush())
        Error::Raise(ErrorNumber::InvalidCall, path, file.errorString());
}

} // namespace

namespace PackSignature {

KeyPair NewKeyPair()
{
    Init();
    KeyPair pair { QByteArray(PublicKeyBytes, '\0'), QByteArray(SecretKeyBytes, '\0') };
    crypto_sign_keypair(reinterpret_cast<unsigned char*>(pair.Public.data()),
        reinterpret_cast<unsigned char*>(pair.Secret.data()));
    return pair;
}

QString KeyText(const QByteArray& key)
{
    return QString::fromLatin1(key.toBase64());
}

std::optional<QByteArray> ParsePublicKey(const QString& text)
{
    const QByteArray key = QByteArray::fromBase64(text.trimmed().toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    if (text.trimmed().isEmpty() || key.size() != PublicKeyBytes)
        return std::nullopt;
    return key;
}

QList<QByteArray> ParsePublicKeys(const QString& text, QStringList* rejected)
{
    QList<QByteArray> keys;
    for (const QString& word : text.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        if (const std::optional<QByteArray> key = ParsePublicKey(word))
            keys.append(*key);
        else if (rejected)
            rejected->append(word);
    }
    return keys;
}

void WriteSecretKeyFile(const QString& path, const QByteArray& secretKey)
{
    WriteKeyLine(path, secretKey, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
}

void WritePublicKeyFile(const QString& path, const QByteArray& publicKey)
{
    WriteKeyLine(path, publicKey,
        QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup | QFileDevice::ReadOther);
}

QByteArray ReadSecretKeyFile(const QString& path)
{
    return ReadKeyLine(path, "secret");
}

QByteArray ReadPublicKeyFile(const QString& path)
{
    return ReadKeyLine(path, "public");
}

QByteArray PublicKeyOf(const QByteArray& secretKey)
{
    Init();
    if (secretKey.size() != SecretKeyBytes)
        Error::Raise(ErrorNumber::InvalidCall, Source, QStringLiteral("not a secret key"));
    QByteArray key(PublicKeyBytes, '\0');
    crypto_sign_ed25519_sk_to_pk(reinterpret_cast<unsigned char*>(key.data()),
        reinterpret_cast<const unsigned char*>(secretKey.constData()));
    return key;
}

bool CanSign(const QString& examID)
{
    const QByteArray bytes = examID.toUtf8();
    return !bytes.isEmpty() && bytes.size() <= MaxExamIdBytes && !bytes.contains('\0');
}

struct Signer::State
{
    QByteArray SecretKey;
    QByteArray ExamId;
    crypto_generichash_state Hash;
};

Signer::Signer(const QByteArray& secretKey, const QString& examID)
    : m_state(std::make_unique<State>())
{
    Init();
    if (secretKey.size() != SecretKeyBytes)
        Error::Raise(ErrorNumber::InvalidCall, Source, QStringLiteral("not a secret key"));
    if (!CanSign(examID))
        Error::Raise(ErrorNumber::InvalidCall, Source, QStringLiteral("cannot sign for the exam ID \"%1\"").arg(examID));
    m_state->SecretKey = secretKey;
    m_state->ExamId = ExamIdField(examID);
    crypto_generichash_init(&m_state->Hash, nullptr, 0, DigestBytes);
}

Signer::~Signer()
{
    sodium_memzero(m_state->SecretKey.data(), size_t(m_state->SecretKey.size()));
}

void Signer::Add(const char* data, qint64 size)
{
    crypto_generichash_update(&m_state->Hash, reinterpret_cast<const unsigned char*>(data), quint64(size));
}

QByteArray Signer::Trailer()
{
    QByteArray trailer = QByteArray(Magic, MagicBytes) + m_state->ExamId + PublicKeyOf(m_state->SecretKey);
    Add(trailer);
    unsigned char digest[DigestBytes];
    crypto_generichash_final(&m_state->Hash, digest, sizeof digest);
    unsigned char signature[SignatureBytes];
    crypto_sign_detached(signature, nullptr, digest, sizeof digest,
        reinterpret_cast<const unsigned char*>(m_state->SecretKey.constData()));
    trailer.append(reinterpret_cast<const char*>(signature), SignatureBytes);
    return trailer;
}

qint64 BodySize(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? BodySizeOf(file) : -1;
}

Result Verify(const QString& path, const QString& examID, const QList<QByteArray>& trustedKeys)
{
    Init();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return Judged(Verdict::NotAPack, file.errorString());
    const qint64 body = BodySizeOf(file);
    if (body < 0)
        return Judged(Verdict::NotAPack, QStringLiteral("not an exam pack"));
    const qint64 size = file.size();
    if (size == body)
        return Judged(Verdict::Unsigned, QStringLiteral("no signature"));
    if (size != body + TrailerBytes)
        return Judged(Verdict::Damaged, QStringLiteral("incomplete or damaged: %1 bytes where its script and a signature take %2").arg(size).arg(body + TrailerBytes));

    if (!file.seek(body))
        return Judged(Verdict::Damaged, file.errorString());
    const QByteArray trailer = file.read(TrailerBytes);
    if (trailer.size() != TrailerBytes || !trailer.startsWith(QByteArray(Magic, MagicBytes)))
        return Judged(Verdict::Damaged, QStringLiteral("incomplete or damaged: no signature after the archive"));
    const QByteArray examField = trailer.mid(MagicBytes, MaxExamIdBytes);
    const QByteArray signer = trailer.mid(MagicBytes + MaxExamIdBytes, PublicKeyBytes);
    const QByteArray signature = trailer.right(SignatureBytes);
    if (!trustedKeys.contains(signer))
        return Judged(Verdict::UnknownKey, QStringLiteral("wrong key: signed by %1, which is not trusted").arg(KeyText(signer)));

    // Everything before the signature goes through the digest, once.
    crypto_generichash_state hash;
    crypto_generichash_init(&hash, nullptr, 0, DigestBytes);
    if (!file.seek(0))
        return Judged(Verdict::Damaged, file.errorString());
    QByteArray block(BlockBytes, Qt::Uninitialized);
    for (qint64 left = size - SignatureBytes; left > 0;) {
        const qint64 got = file.read(block.data(), std::min(left, BlockBytes));
        if (got <= 0)
            return Judged(Verdict::Damaged, QStringLiteral("cannot be read whole: %1").arg(file.errorString()));
        crypto_generichash_update(&hash, reinterpret_cast<const unsigned char*>(block.constData()), quint64(got));
        left -= got;
    }
    unsigned char digest[DigestBytes];
    crypto_generichash_final(&hash, digest, sizeof digest);
    if (crypto_sign_verify_detached(reinterpret_cast<const unsigned char*>(signature.constData()), digest,
            sizeof digest, reinterpret_cast<const unsigned char*>(signer.constData()))
        != 0) {
        return Judged(Verdict::BadSignature, QStringLiteral("bad signature"));
    }
    if (examField != ExamIdField(examID) || !CanSign(examID))
        return Judged(Verdict::OtherExam, QStringLiteral("signed for another exam: %1").arg(SignedExamId(examField)));
    return Judged(Verdict::Good, QStringLiteral("good signature"));
}

} // namespace PackSignature
