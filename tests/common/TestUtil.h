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

// Puts an executable `name` into `folder` that records its first argument in
// `record`, written aside and renamed so a reader never sees half of it: a
// stand-in for a program such as xdg-open. False when it cannot be written.
inline bool WriteRecordingTool(const QString& folder, const QString& name, const QString& record)
{
    QFile tool(folder + QLatin1Char('/') + name);
    if (!tool.open(QIODevice::WriteOnly))
        return false;
    tool.write(QStringLiteral("#!/bin/sh\nprintf '%s' \"$1\" > '%1.part' && mv '%1.part' '%1'\n").arg(record).toUtf8());
    tool.close();
    return tool.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
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
