#pragma once
// Starting a server process for a test (it says it is ready with one line on stdout), and
// stopping it.

#include <QProcess>
#include <QRegularExpressionMatch>
#include <optional>

namespace tarnaxe::test {

// Starts process (program and arguments already set) and reads its stdout until a line
// matches ready; the match, or nothing when the process could not start, exited or
// stayed silent for timeoutMs (the process is then left as it is).
std::optional<QRegularExpressionMatch>
startAndWaitForReadyLine(QProcess& process, const QRegularExpression& ready, int timeoutMs);

// Asks a running process to end, and kills it when it has not within graceMs.
void stopProcess(QProcess& process, int graceMs);

} // namespace tarnaxe::test
