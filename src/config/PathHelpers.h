#pragma once
// Small path tests used throughout the agent, with the rules the agent has always had:
// an empty file counts as missing, and a folder path ending in a wildcard never exists.

#include <QString>

namespace tarnaxe {

// False for an empty path and for one whose last character is "?" or "*"; otherwise
// whether the path names a folder. Any error gives false.
bool folderExists(const QString& path);
// True when the file's length can be read and is above 0 bytes.
bool fileExists(const QString& path);
// The text after the last ":", "\" or "/".
QString fileNameOfPath(const QString& path);
// The text from the last "." on, the dot included; empty when there is no ".".
QString extensionOfPath(const QString& path);

} // namespace tarnaxe
