#include "support/ProcessMemory.h"

#include <QFile>
#include <QList>

namespace tarnaxe::test {

qint64 residentKiB(qint64 pid)
{
    QFile status(pid == 0 ? QStringLiteral("/proc/self/status")
                          : QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

} // namespace tarnaxe::test
