#pragma once
// The eighteen pieces in which the server holds an assignment: the EMS files ready for
// each estimating platform and an MIE file. Each piece is downloaded into a file of the
// session folder and copied from there, under the delivery's base name, into the folder
// of each platform that wants it. The platforms share their session file names, so that a
// later platform's download replaces an earlier one's.

#include <QString>
#include <array>

namespace tarnaxe {

struct AssignmentPiece {
    QString pieceName;   // the field name under which the server stores it
    QString sessionFile; // the file in the session folder that receives it
    QString platform;    // the platform that needs it
    QString writtenAs;   // appended to the base name in the platform's folder
};

inline constexpr int kAssignmentPieces = 18;

const std::array<AssignmentPiece, kAssignmentPieces>& assignmentPieces();

// The rows (first and one past the last) that a platform needs; an empty range for a
// platform that has no pieces ("Xactimate", "*not defined", any unknown name).
struct PieceRange {
    int first = 0;
    int end = 0;
};
PieceRange piecesOfPlatform(const QString& platform);

} // namespace tarnaxe
