#include "model/FileDigest.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>

QByteArray FileSha256(const QString& path)
{
    const QFileInfo info(path);
    if (!info.isFile())
        return {};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return {};
    QCryptographicHash hash(QCryptographicHash::Sha256);
    QByteArray piece(1 << 16, Qt::Uninitialized);
    for (;;) {
        const qint64 read = file.read(piece.data(), piece.size());
        if (read < 0)
            return {};
        if (read == 0)
            break;
        hash.addData(QByteArrayView(piece.constData(), read));
    }
    return hash.result();
}
