#pragma once
// The sample assignment of the seed command: its facts, three EMS sets (one per naming
// style and platform) as named pieces, and an MIE file.

#include "Records.h"

#include <QList>
#include <optional>

namespace tarnaxe::dataup {

struct SampleAssignment {
    AssignmentRecord assignment;
    QList<PieceRecord> pieces;
};

// Builds the sets in a temporary folder and reads them back; nothing when a file could
// not be written or read.
std::optional<SampleAssignment> makeSampleAssignment(const QString& guid);

// Writes a complete estimate of the sample claim (letter style, with totals, as an
// estimating program exports it) into folder as 0001.env and its members; the envelope's
// path, or nothing when a file could not be written.
std::optional<QString> writeSampleEstimate(const QString& folder);

inline constexpr char kSampleClaimNumber[] = "CLM-24-000417";
inline constexpr char kSamplePolicyNumber[] = "POL-778899";
inline constexpr char kSampleCompanyName[] = "SAFE HARBOR MUTUAL";
inline constexpr char kSampleBasename[] = "SAMPLE01";

} // namespace tarnaxe::dataup
