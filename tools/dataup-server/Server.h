#pragma once

#include "Options.h"

namespace tarnaxe::dataup {

// Serves until SIGINT or SIGTERM; the exit status of the program.
int runServer(const ServeOptions& options);

} // namespace tarnaxe::dataup
