#pragma once
// Putting an assignment's files into a platform's import folder. The estimating program
// imports whatever appears there, so every file appears whole or not at all, the
// envelope last, and nothing lands outside the folder whatever name the server sends.

#include <QList>
#include <QString>

namespace tarnaxe {

// Longer base names are refused: no platform names its files so, and a long one is more
// likely an attack than a claim.
inline constexpr int kMaxDeliveryBaseName = 64;

// Why base cannot name files in a folder ("" when it can): empty, too long, holding "/",
// "\", "..", a NUL or another control character, or starting with "." (a hidden file no
// program would import).
QString baseNameProblem(const QString& base);

struct FileCopy {
    QString source;
    QString target;
};

// Copies each source to its target. Every copy is written in full under a hidden name in
// the target's folder first; then they are renamed into place, ".env" files last. Unless
// replaceExisting, a target that already exists (in any case of its name) stops
// everything before a byte is written. On failure no target is left behind and error
// says what happened ("File not found: ...", "File already exists: ...",
// "Cannot write ...: reason").
bool placeCopies(const QList<FileCopy>& copies, bool replaceExisting, QString& error);

} // namespace tarnaxe
