// libFuzzer target for the table reader or, built with FUZZ_EMS_SET, the EMS set reader;
// scripts/fuzz builds and runs them.

#include "fuzz/Exercise.h"

#include <QTemporaryDir>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // No dot in the path: the memo file is found through the first dot of the path.
    static QTemporaryDir folder(QStringLiteral("/tmp/fuzz-XXXXXX"));
    const QByteArray input(reinterpret_cast<const char*>(data), qsizetype(size));
#ifdef FUZZ_EMS_SET
    const QString problem = tarnaxe::test::exerciseEmsSet(folder.path(), input);
#else
    const QString problem = tarnaxe::test::exerciseTable(folder.path(), input);
#endif
    if (!problem.isEmpty()) {
        std::fprintf(stderr, "a reader broke a promise: %s\n", qPrintable(problem));
        std::abort();
    }
    return 0;
}
