#pragma once
// The peak resident memory of the benchmark itself, from /proc/self/status.

#include <QFile>
#include <QList>

namespace tarnaxe::bench {

// VmRSS or VmHWM (the peak of VmRSS) in KiB; -1 when it cannot be read.
inline qint64 statusKiB(const QByteArray& field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(field.size()).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}
inline qint64 residentKiB()
{
    return statusKiB("VmRSS:");
}
inline qint64 peakResidentKiB()
{
    return statusKiB("VmHWM:");
}

// Starts the peak again from the current resident memory.
inline void resetPeakResident()
{
    QFile refs(QStringLiteral("/proc/self/clear_refs"));
    if (refs.open(QIODevice::WriteOnly))
        refs.write("5");
}

} // namespace tarnaxe::bench
