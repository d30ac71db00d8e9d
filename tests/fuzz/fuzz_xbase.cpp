// libFuzzer target for the table reader; scripts/fuzz xbase builds and runs it.

#include "fuzz/Exercise.h"

#include <QTemporaryDir>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // No dot in the path: the memo file is found through the first dot of the path.
    static QTemporaryDir folder(QStringLiteral("/tmp/fuzz-xbase-XXXXXX"));
    const QString problem = tarnaxe::test::exerciseTable(
        folder.path(), QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)));
    if (!problem.isEmpty()) {
        std::fprintf(stderr, "the table reader broke a promise: %s\n", qPrintable(problem));
        std::abort();
    }
    return 0;
}
