#pragma once
// Whether some process still has a file open for writing. Windows refused an exclusive
// open of a file a printer was still writing; Linux has no such lock, but it refuses a
// read lease on a file that any process holds open for writing, which asks every
// process at once without reading /proc.

#include <QString>

namespace tarnaxe {

enum class WriterState {
    None,    // nobody writes it: complete as far as writers go
    Writing, // a writer still holds it open
    Unknown  // leases cannot tell (a file system without them, a link, no such file)
};

WriterState writerState(const QString& path);

} // namespace tarnaxe
