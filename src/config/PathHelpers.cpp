#include "config/PathHelpers.h"

#include <QFileInfo>

namespace tarnaxe {

bool folderExists(const QString& path)
{
    if (path.isEmpty() || path.endsWith(QLatin1Char('?')) || path.endsWith(QLatin1Char('*')))
        return false;
    return QFileInfo(path).isDir();
}

bool fileExists(const QString& path)
{
    if (path.isEmpty())
        return false;
    const QFileInfo info(path);
    return info.isFile() && info.size() > 0;
}

QString fileNameOfPath(const QString& path)
{
    qsizetype cut = -1;
    for (const QChar sep : {QLatin1Char(':'), QLatin1Char('\\'), QLatin1Char('/')})
        cut = std::max(cut, path.lastIndexOf(sep));
    return path.mid(cut + 1);
}

QString extensionOfPath(const QString& path)
{
    const qsizetype dot = path.lastIndexOf(QLatin1Char('.'));
    return dot < 0 ? QString() : path.mid(dot);
}

} // namespace tarnaxe
