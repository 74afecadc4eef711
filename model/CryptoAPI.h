#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

class File;

// The cipher of item texts and remembered passwords: RC4 with a 40-bit key
// taken from the MD5 digest of the pass phrase's Windows-1252 bytes (the first
// 5 bytes of the digest are the whole key). No salt and no initialisation
// vector: the same text and phrase always give the same bytes.
namespace CryptoAPI {

constexpr quint32 CALG_RC4 = 0x6801;
constexpr quint32 CALG_MD5 = 0x8003;

// Transform `data` in place (RC4 keeps the length). Nothing happens for empty
// data or a phrase with no bytes. Raise from "CryptoAPI:Encrypt()" and
// "CryptoAPI:Decrypt()", e.g. for another algorithm pair.
bool Encrypt(QByteArray& data, const QString& passPhrase, quint32 algorithm = CALG_RC4,
    quint32 hashAlgorithm = CALG_MD5);
bool Decrypt(QByteArray& data, const QString& passPhrase, quint32 algorithm = CALG_RC4,
    quint32 hashAlgorithm = CALG_MD5);

QByteArray EncryptText(const QString& text, const QString& passPhrase, quint32 algorithm = CALG_RC4,
    quint32 hashAlgorithm = CALG_MD5);
QString DecryptText(const QByteArray& data, const QString& passPhrase, quint32 algorithm = CALG_RC4,
    quint32 hashAlgorithm = CALG_MD5);

// The fixed 82-byte phrase of exam-file records, built on first use.
const QString& RecordPassPhrase();

// A text is written enciphered under RecordPassPhrase as a 32-bit byte count
// and the cipher bytes (`length` is ignored); any other value is written by
// File::WriteData unchanged.
void WriteSecureData(File& target, const QVariant& value, qint32 length);
void WriteSecureData(File& target, const QString& value);
// Reads what WriteSecureData wrote. A count of 0 leaves a text unchanged.
void ReadSecureData(File& source, QVariant& value, qint32 length);
void ReadSecureData(File& source, QString& value);

// The same record for a text held as its Windows-1252 bytes: WriteSecureBytes
// writes what WriteSecureData writes for the text these bytes decode to;
// ReadSecureBytes reads into `bytes` (reusing their memory) and deciphers
// them, returning false when the count is 0 or less (the text keeps its value).
void WriteSecureBytes(File& target, QByteArray bytes);
// Deciphers (or enciphers) record bytes in place.
void ApplyRecordCipher(char* bytes, qsizetype count);
bool ReadSecureBytes(File& source, QByteArray& bytes);
// Lets go of a reused read buffer that one long text made large.
inline void TrimScratch(QByteArray& bytes)
{
    if (bytes.capacity() > (1 << 20))
        bytes = QByteArray();
}

} // namespace CryptoAPI
