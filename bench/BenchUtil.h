#pragma once

#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QString>

#include <algorithm>
#include <functional>

// Shared helpers of the benchmark programs.
namespace Bench {

// Best wall time of `runs` runs, in milliseconds: the least disturbed run is
// the one that says most about the code.
inline double BestMs(int runs, const std::function<void()>& body)
{
    double best = 1e300;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        body();
        best = std::min(best, double(timer.nsecsElapsed()) / 1e6);
    }
    return best;
}

// A field of /proc/self/status in KiB (VmRSS, VmHWM, ...).
inline qint64 StatusKiB(const char* field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray key = QByteArray(field) + ':';
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(key))
            return line.mid(key.size()).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

// Text of about `length` characters made of networking words, for synthetic
// exams whose texts look like real ones to the code that handles them.
inline QString Sentence(QRandomGenerator& random, int length)
{
    static const char* const words[] = { "network", "address", "route", "packet", "interface", "gateway", "subnet",
        "mask", "protocol", "port", "socket", "server", "client", "request", "reply", "the", "a", "of", "to",
        "which", "command", "shows", "configured", "default", "table", "host", "name", "resolution", "firewall",
        "rule" };
    QString text;
    while (text.size() < length) {
        if (!text.isEmpty())
            text += QLatin1Char(' ');
        text += QLatin1String(words[random.bounded(int(std::size(words)))]);
    }
    return text;
}

inline const char* Verdict(double ratio, double goal)
{
    return ratio <= goal ? "met" : "MISSED";
}

} // namespace Bench
