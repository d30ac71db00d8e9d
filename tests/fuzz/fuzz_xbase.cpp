// libFuzzer target for the table reader; build and run it with scripts/fuzz.

#include "fuzz/XbaseExercise.h"

#include <QDir>
#include <QTemporaryDir>
#include <cstdio>
#include <cstdlib>

namespace {

QString folder()
{
    // No dot in the path: the memo file is found through the first dot of the path.
    static QTemporaryDir dir(QStringLiteral("/tmp/fuzz-xbase-XXXXXX"));
    return dir.path();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray input(reinterpret_cast<const char*>(data), qsizetype(size));
    const QString problem =
        tarnaxe::test::exerciseTable(folder(), tarnaxe::test::splitFuzzInput(input));
    if (!problem.isEmpty()) {
        std::fprintf(stderr, "reader broke a promise: %s\n", qPrintable(problem));
        std::abort();
    }
    return 0;
}
