#pragma once
// The kinds of file that make up an estimate on disk (the EMS set and its MIE file): the
// name shown for each, the field name the server stores it under, and how the member is
// named in each of the two naming styles. The 18 rows also number the assignment pieces.

#include "ems/EstimateRecord.h"

#include <QString>
#include <array>

namespace tarnaxe {

struct EmsRecordRow {
    QString displayName;
    QString uploadFieldName;
    QString letterSuffix; // base + this in the letter style ("0001a.ad1")
    QString plainSuffix;  // base + this in the plain style ("0001.ad1")
};

inline constexpr int kEmsRecordRows = 18;
// Not a member of the set: the entry's own MIE file takes the place of its suffix.
inline constexpr int kMieRecordRow = 17;

const std::array<EmsRecordRow, kEmsRecordRows>& emsRecordTable();

// Fills the entry's file list for the upload: every existing, non-empty member of its set
// (names matched without regard to case) and its MIE file, each with its size and row, in
// row order; sets the total size. The base comes from the entry's base name, or from its
// envelope path when that is empty. Returns the number of files.
int collectEstimateFiles(EstimateRecord& entry);

} // namespace tarnaxe
