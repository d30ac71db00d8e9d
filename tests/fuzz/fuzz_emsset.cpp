// libFuzzer target for the EMS set reader; build and run it with scripts/fuzz ems.

#include "fuzz/EmsSetExercise.h"

#include <QTemporaryDir>
#include <cstdio>
#include <cstdlib>

namespace {

QString folder()
{
    // No dot in the path: the memo file is found through the first dot of the path.
    static QTemporaryDir dir(QStringLiteral("/tmp/fuzz-ems-XXXXXX"));
    return dir.path();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray input(reinterpret_cast<const char*>(data), qsizetype(size));
    const QString problem =
        tarnaxe::test::exerciseEmsSet(folder(), tarnaxe::test::splitEmsFuzzInput(input));
    if (!problem.isEmpty()) {
        std::fprintf(stderr, "set reader broke a promise: %s\n", qPrintable(problem));
        std::abort();
    }
    return 0;
}
