#pragma once
// The shell folders of the Windows build, by number, mapped to the XDG folders.

#include <QString>

#include <optional>

namespace tarnaxe {

// The folder for a shell folder number: 32 (Internet cache) is $XDG_CACHE_HOME
// (~/.cache), 5 (documents) $HOME/Documents, 16 (desktop) $HOME/Desktop, 26 (application
// data) $XDG_CONFIG_HOME, 28 (local application data) $XDG_DATA_HOME. Unknown numbers
// give nothing. The folder need not exist.
std::optional<QString> shellFolderPath(int folderId);

} // namespace tarnaxe
