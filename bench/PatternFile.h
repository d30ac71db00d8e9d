#pragma once
// Large files of a repeating, non-uniform pattern for the transfer benchmarks, written a
// megabyte at a time.

#include <QByteArray>
#include <QFile>

namespace tarnaxe::bench {

inline bool writePatternFile(const QString& path, qint64 size)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QByteArray block(1 << 20, '\0');
    for (qsizetype i = 0; i < block.size(); ++i)
        block[i] = char(i * 31 % 251);
    for (qint64 left = size; left > 0; left -= block.size()) {
        const qint64 n = qMin<qint64>(left, block.size());
        if (file.write(block.constData(), n) != n)
            return false;
    }
    return true;
}

} // namespace tarnaxe::bench
