#include "support/ProcessMemory.h"

#include <QFile>
#include <QList>

namespace tarnaxe::test {

namespace {

qint64 statusKiB(qint64 pid, const QByteArray& field)
{
    QFile status(pid == 0 ? QStringLiteral("/proc/self/status")
                          : QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(field.size()).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

} // namespace

qint64 residentKiB(qint64 pid)
{
    return statusKiB(pid, "VmRSS:");
}

qint64 peakResidentKiB()
{
    return statusKiB(0, "VmHWM:");
}

void resetPeakResident()
{
    QFile refs(QStringLiteral("/proc/self/clear_refs"));
    if (refs.open(QIODevice::WriteOnly))
        refs.write("5");
}

} // namespace tarnaxe::test
