#pragma once
// Large files of a repeating, non-uniform pattern for tests and benchmarks of transfers,
// written a megabyte at a time.

#include <QString>

namespace tarnaxe::test {

bool writePatternFile(const QString& path, qint64 size);

} // namespace tarnaxe::test
