#pragma once
// Resident memory of a process, for tests and benchmarks that bound it.

#include <QtGlobal>

namespace tarnaxe::test {

// VmRSS of process pid (0: this process) in KiB; -1 when it cannot be read.
qint64 residentKiB(qint64 pid = 0);

} // namespace tarnaxe::test
