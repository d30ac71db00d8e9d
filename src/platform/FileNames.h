#pragma once
// Path helpers: every join of path pieces goes through joinPath, and names that the
// Windows build matched without regard to case are resolved with findNameIgnoringCase.

#include <QString>
#include <QStringList>

namespace tarnaxe {

// folder + "/" + name, without doubling a separator that is already there; a "\" that
// ends folder counts as a separator and is replaced.
QString joinPath(const QString& folder, const QString& name);

// The name of an entry of folder equal to name without regard to case: the exact name
// when it exists, else the first match in sorted order; empty when none.
QString findNameIgnoringCase(const QString& folder, const QString& name);

// joinPath(folder, findNameIgnoringCase(...)), or joinPath(folder, name) when there is
// no such entry (so that callers can still report the path they looked for).
QString resolvePathIgnoringCase(const QString& folder, const QString& name);

// Entries of folder whose names match a wildcard pattern ("*.jpg", "File*.pdf") without
// regard to case, files only, sorted by name.
QStringList filesMatching(const QString& folder, const QString& pattern);

} // namespace tarnaxe
