#pragma once

#include <QByteArray>
#include <QString>

// SHA-256 of a file's bytes, read in pieces so that a large exam costs a
// fixed amount of memory. Empty when the path is not a regular file or
// cannot be read to its end (a FIFO or device is never opened: it could
// block or never end).
QByteArray FileSha256(const QString& path);
