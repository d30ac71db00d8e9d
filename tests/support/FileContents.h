#pragma once
// Small file helpers for tests that look at what landed in a folder.

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace tarnaxe::test {

// The whole file, or "<unreadable>" so that a comparison shows what went wrong.
QByteArray fileContents(const QString& path);
// The file's SHA-256 in lower-case hex, or "(missing <path>)".
QString fileSha256(const QString& path);
// Creates or replaces the file (and its folder); false when it could not be written whole.
bool writeFileContents(const QString& path, const QByteArray& bytes);
// Every entry of folder by name, hidden ones included, so that a left-over temporary file
// shows.
QStringList folderEntries(const QString& folder);

} // namespace tarnaxe::test
