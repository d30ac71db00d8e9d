#include "delivery/AssignmentPieces.h"

#include "config/LocalSettings.h"

namespace tarnaxe {

const std::array<AssignmentPiece, kAssignmentPieces>& assignmentPieces()
{
    using namespace platform_names;
    auto row = [](const char* piece, const char* session, const QString& platform,
                  const char* writtenAs) {
        return AssignmentPiece{QLatin1String(piece), QLatin1String(session), platform,
                               QLatin1String(writtenAs)};
    };
    static const std::array<AssignmentPiece, kAssignmentPieces> table{{
        row("MIT201env", "temp.env", mitchell, ".env"),
        row("MIT201ad1", "temp.ad1", mitchell, "a.ad1"),
        row("MIT201ad2", "temp.ad2", mitchell, "b.ad2"),
        row("MIT201veh", "temp.veh", mitchell, "v.veh"),
        row("MIT201ad1dbt", "tempad1.dbt", mitchell, "a.dbt"),
        row("MIT201ad2dbt", "tempad2.dbt", mitchell, "b.dbt"),
        row("MIT201vehdbt", "tempveh.dbt", mitchell, "v.dbt"),
        row("ADP201env", "temp.env", audatex, ".env"),
        row("ADP201ad1", "temp.ad1", audatex, ".ad1"),
        row("ADP201ad2", "temp.ad2", audatex, ".ad2"),
        row("ADP201veh", "temp.veh", audatex, ".veh"),
        row("ADP201dbt", "temp.dbt", audatex, ".dbt"),
        row("CCC201env", "temp.env", ccc, ".env"),
        row("CCC201ad1", "temp.ad1", ccc, ".ad1"),
        row("CCC201ad2", "temp.ad2", ccc, ".ad2"),
        row("CCC201veh", "temp.veh", ccc, ".veh"),
        row("CCC201dbt", "temp.dbt", ccc, ".dbt"),
        row("MIEassign", "temp.mie", custom1, ".mie"),
    }};
    return table;
}

PieceRange piecesOfPlatform(const QString& platform)
{
    using namespace platform_names;
    if (platform == mitchell)
        return {0, 7};
    if (platform == audatex)
        return {7, 12};
    if (platform == ccc)
        return {12, 17};
    if (platform == custom1)
        return {17, 18};
    return {};
}

} // namespace tarnaxe
