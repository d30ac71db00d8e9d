#pragma once

#include <QString>

namespace tarnaxe::dataup {

// Adds the sample assignment to the store in dataDir and prints its GUID; the exit status.
int runSeed(const QString& dataDir);

// Writes the sample estimate into folder and prints its envelope's path; the exit status.
int runSampleEstimate(const QString& folder);

} // namespace tarnaxe::dataup
