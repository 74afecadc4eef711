#pragma once

#include "common/TestUtil.h"

#include <QFile>
#include <QString>

#include <chrono>
#include <fcntl.h>
#include <future>
#include <sys/stat.h>
#include <unistd.h>

namespace TestUtil {

// Makes a FIFO at `path`, or fails the program: the tests that use one cannot say anything without it.
inline QString MakeFifo(const QString& path)
{
    if (::mkfifo(QFile::encodeName(path).constData(), 0600) != 0)
        qFatal("cannot make a FIFO");
    return path;
}

// The error `call` raises, for a call that opens `fifo` and must never block on it. When the call has not returned
// after 10 s it is taken as stuck in the open: a writer that comes and goes releases it, and the result is error number
// -1, so a regression fails instead of hanging the suite.
template <typename Call>
Error RaisedWithoutBlocking(const QString& fifo, Call call)
{
    auto result = std::async(std::launch::async, [&] { return Raised(call); });
    if (result.wait_for(std::chrono::seconds(10)) == std::future_status::ready)
        return result.get();
    const int writer = ::open(QFile::encodeName(fifo).constData(), O_WRONLY | O_NONBLOCK);
    if (writer >= 0)
        ::close(writer);
    result.wait();
    return Error(-1, QStringLiteral("hung"), QStringLiteral("the call blocked on the FIFO"));
}

} // namespace TestUtil
