#pragma once

#include "model/Error.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QString>

// Small helpers shared by the test programs.
namespace TestUtil {

// The whole file, or nothing when it cannot be read.
inline QByteArray ReadAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Writes `bytes` to `path` (its folder made when missing), replacing what was there, and returns the path; a fixture
// that cannot be written ends the program, since no test can say anything without it.
inline QString WriteFile(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
        qFatal("cannot write the fixture %s", qPrintable(path));
    return path;
}

// Puts an executable `name` into `folder` that records its first argument in `record`, written aside and renamed so a
// reader never sees half of it: a stand-in for a program such as xdg-open. False when it cannot be written.
inline bool WriteRecordingTool(const QString& folder, const QString& name, const QString& record)
{
    QFile tool(folder + QLatin1Char('/') + name);
    if (!tool.open(QIODevice::WriteOnly))
        return false;
    tool.write(QStringLiteral("#!/bin/sh\nprintf '%s' \"$1\" > '%1.part' && mv '%1.part' '%1'\n").arg(record).toUtf8());
    tool.close();
    return tool.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

// How a program run ended. ExitCode is -1 when it crashed or had to be killed after ten seconds (then Finished is false
// too).
struct RunResult
{
    bool Finished = false;
    int ExitCode = -1;
    QByteArray Out;
    QByteArray Err;
};

// Runs `program` in `folder` (default: this one) with "NAME=value" entries of `environment` added to this program's
// environment.
inline RunResult Run(const QString& program, const QStringList& arguments, const QString& folder = {},
    const QStringList& environment = {})
{
    QProcess process;
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    for (const QString& entry : environment)
        variables.insert(entry.section(QLatin1Char('='), 0, 0), entry.section(QLatin1Char('='), 1));
    process.setProcessEnvironment(variables);
    process.setWorkingDirectory(folder);
    process.start(program, arguments);
    const bool finished = process.waitForFinished(10000);
    if (!finished) {
        process.kill();
        process.waitForFinished();
    }
    const bool normal = finished && process.exitStatus() == QProcess::NormalExit;
    return { finished, normal ? process.exitCode() : -1, process.readAllStandardOutput(), process.readAllStandardError() };
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
