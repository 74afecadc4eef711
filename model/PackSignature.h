#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <memory>
#include <optional>

// Ed25519 signatures of exam packs, made and checked with libsodium.
//
// The body of a pack is its script and archive: the script's "skip" and
// "size" lines say how long it is. A signed pack is its body followed by a
// trailer of TrailerSize bytes:
//
//     8    "PRACSIG1"
//     128  the exam ID the pack is sold as, UTF-8, padded with NUL bytes
//     32   the signer's public key
//     64   Ed25519 signature of the BLAKE2b-512 digest of every byte before it
//
// so the signature covers the script, the archive, the exam ID and the key:
// a pack signed for one exam cannot be served as another, and no byte can
// change unnoticed. The script itself ignores the trailer.
//
// Keys are kept as text: base64 of the 32-byte public key or of the 64-byte
// secret key, on one line.
namespace PackSignature {

constexpr int PublicKeyBytes = 32;
constexpr int SecretKeyBytes = 64;
constexpr int MaxExamIdBytes = 128;
constexpr int TrailerBytes = 8 + MaxExamIdBytes + PublicKeyBytes + 64;

enum class Verdict {
    Good,
    NotAPack,     // does not start as a pack, or its script gives no length
    Unsigned,     // the body and nothing after it
    Damaged,      // shorter than its script says, or other bytes after it than one trailer
    UnknownKey,   // signed by a key that is not trusted
    BadSignature, // the signature does not match the bytes
    OtherExam,    // a good signature, for another exam ID
};

struct Result
{
    Verdict Outcome = Verdict::NotAPack;
    // One line for a person: "good signature", "no signature", ...
    QString Reason;
    bool IsGood() const { return Outcome == Verdict::Good; }
};

struct KeyPair
{
    QByteArray Public;
    QByteArray Secret;
};

KeyPair NewKeyPair();

// Base64 text of a key.
QString KeyText(const QByteArray& key);
// The public key in `text` (blanks around it ignored), or nothing when it is
// not the base64 of 32 bytes.
std::optional<QByteArray> ParsePublicKey(const QString& text);
// Every public key of a list separated by blanks; words that are not keys
// are skipped (`rejected`, when given, receives them).
QList<QByteArray> ParsePublicKeys(const QString& text, QStringList* rejected = nullptr);

// Key files, raising errors with the file's path as the source. A secret key
// file is created with owner-only permissions and never over an existing one.
void WriteSecretKeyFile(const QString& path, const QByteArray& secretKey);
void WritePublicKeyFile(const QString& path, const QByteArray& publicKey);
QByteArray ReadSecretKeyFile(const QString& path);
QByteArray ReadPublicKeyFile(const QString& path);
// The public half of a secret key.
QByteArray PublicKeyOf(const QByteArray& secretKey);

// Whether `examID` can be signed into a trailer: 1 to 128 bytes of UTF-8, no NUL.
bool CanSign(const QString& examID);

// Makes the trailer of a pack from its body fed in order, so that a pack can
// be signed while it is written.
class Signer
{
public:
    // Raises when the key is not a secret key or the exam ID cannot be signed.
    Signer(const QByteArray& secretKey, const QString& examID);
    ~Signer();
    Signer(const Signer&) = delete;
    Signer& operator=(const Signer&) = delete;

    void Add(const char* data, qint64 size);
    void Add(const QByteArray& bytes) { Add(bytes.constData(), bytes.size()); }
    // The trailer to write after the bytes added.
    QByteArray Trailer();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

// The length of the body of the pack at `path` as its script declares it, or
// -1 when the file does not start as a pack or declares no length.
qint64 BodySize(const QString& path);

// Checks the pack at `path`: whole, signed by one of `trustedKeys`, for
// `examID`. Reads the file once, in blocks.
Result Verify(const QString& path, const QString& examID, const QList<QByteArray>& trustedKeys);

} // namespace PackSignature
