#pragma once

#include <QString>

namespace tarnaxe::dataup {

// Adds the sample assignment to the store in dataDir and prints its GUID; the exit status.
int runSeed(const QString& dataDir);

} // namespace tarnaxe::dataup
