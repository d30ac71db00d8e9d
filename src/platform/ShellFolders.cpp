#include "platform/ShellFolders.h"

#include "platform/FileNames.h"

#include <QDir>

namespace tarnaxe {

namespace {

QString home()
{
    const QString fromEnvironment = qEnvironmentVariable("HOME");
    return QDir::cleanPath(fromEnvironment.isEmpty() ? QDir::homePath() : fromEnvironment);
}

// An XDG base folder: the variable when it holds an absolute path, else the default under
// the home folder (a relative value is invalid and must be ignored).
QString xdgFolder(const char* variable, const QString& defaultUnderHome)
{
    const QString value = qEnvironmentVariable(variable);
    if (!value.isEmpty() && QDir::isAbsolutePath(value))
        return QDir::cleanPath(value);
    return joinPath(home(), defaultUnderHome);
}

} // namespace

std::optional<QString> shellFolderPath(int folderId)
{
    switch (folderId) {
    case 5:
        return joinPath(home(), QStringLiteral("Documents"));
    case 16:
        return joinPath(home(), QStringLiteral("Desktop"));
    case 26:
        return xdgFolder("XDG_CONFIG_HOME", QStringLiteral(".config"));
    case 28:
        return xdgFolder("XDG_DATA_HOME", QStringLiteral(".local/share"));
    case 32:
        return xdgFolder("XDG_CACHE_HOME", QStringLiteral(".cache"));
    default:
        return std::nullopt;
    }
}

} // namespace tarnaxe
