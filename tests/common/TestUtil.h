#pragma once

#include "model/Error.h"

#include <QByteArray>
#include <QFile>
#include <QString>

// Small helpers shared by the test programs.
namespace TestUtil {

// The whole file, or nothing when it cannot be read.
inline QByteArray ReadAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The error a call raises; number 0 when it raises none.
template <typename Call>
Error Raised(Call call)
{
    try {
        call();
    } catch (const Error& e) {
        return e;
    }
    return Error(0, QString(), QString());
}

} // namespace TestUtil
