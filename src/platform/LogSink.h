#pragma once
// The agent's log: every message to stderr and to a file under $XDG_STATE_HOME/TarnAxe/,
// which is rotated when it grows past a size, keeping a few old files.

#include <QString>

namespace tarnaxe {

// Installs the message handler; the log folder is created when missing. Returns the
// path of the log file (empty when it cannot be opened; stderr still works then).
QString installLogSink(qint64 rotateAtBytes = 1024 * 1024, int keepFiles = 3);

} // namespace tarnaxe
