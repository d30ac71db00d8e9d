#include "Seed.h"

#include "DataFolder.h"
#include "Database.h"
#include "Guid.h"
#include "SampleAssignment.h"
#include "Store.h"

#include <cstdio>

namespace tarnaxe::dataup {

int runSeed(const QString& dataDir)
{
    const DataFolder folder(dataDir);
    QString error;
    if (!folder.create(error)) {
        std::fprintf(stderr, "dataup-server: %s\n", error.toLocal8Bit().constData());
        return 1;
    }
    const QString guid = newRegistryGuid();
    const auto sample = makeSampleAssignment(guid);
    if (!sample) {
        std::fprintf(stderr, "dataup-server: cannot write the sample EMS sets\n");
        return 1;
    }
    // A server may have the database open: WAL lets both work, the busy timeout waits out
    // its writes.
    Database database;
    Store store(database);
    if (!database.open(folder.databasePath()) ||
        !store.addAssignment(sample->assignment, sample->pieces)) {
        std::fprintf(stderr, "dataup-server: cannot store the assignment: %s\n",
                     database.lastError().toLocal8Bit().constData());
        return 1;
    }
    std::printf("%s\n", guid.toLatin1().constData());
    return 0;
}

int runSampleEstimate(const QString& folder)
{
    const auto envelope = writeSampleEstimate(folder);
    if (!envelope) {
        std::fprintf(stderr, "dataup-server: cannot write the sample estimate into %s\n",
                     folder.toLocal8Bit().constData());
        return 1;
    }
    std::printf("%s\n", envelope->toLocal8Bit().constData());
    return 0;
}

} // namespace tarnaxe::dataup
