#include "support/ReadyLine.h"

#include <QDeadlineTimer>
#include <QRegularExpression>

namespace tarnaxe::test {

std::optional<QRegularExpressionMatch>
startAndWaitForReadyLine(QProcess& process, const QRegularExpression& ready, int timeoutMs)
{
    process.start();
    if (!process.waitForStarted(timeoutMs))
        return std::nullopt;
    const QDeadlineTimer deadline(timeoutMs);
    while (!deadline.hasExpired()) {
        while (process.canReadLine()) {
            const QString line = QString::fromUtf8(process.readLine()).trimmed();
            if (auto match = ready.match(line); match.hasMatch())
                return match;
        }
        if (process.state() == QProcess::NotRunning)
            return std::nullopt;
        process.waitForReadyRead(100);
    }
    return std::nullopt;
}

void stopProcess(QProcess& process, int graceMs)
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.terminate();
    if (!process.waitForFinished(graceMs)) {
        process.kill();
        process.waitForFinished(5000);
    }
}

} // namespace tarnaxe::test
