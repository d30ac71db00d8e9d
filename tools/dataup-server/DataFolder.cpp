#include "DataFolder.h"

#include <QDir>
#include <QFileInfo>

namespace tarnaxe::dataup {

bool DataFolder::create(QString& error) const
{
    for (const QString& folder : {m_root, filesFolder(), tempFolder()}) {
        if (!QDir().mkpath(folder) || !QFileInfo(folder).isWritable()) {
            error = QStringLiteral("cannot create or write the folder ") + folder;
            return false;
        }
    }
    // Spooled uploads of a server that was killed are of no use to anyone.
    QDir temp(tempFolder());
    for (const QString& name : temp.entryList({QStringLiteral("spool-*")}, QDir::Files))
        temp.remove(name);
    return true;
}

} // namespace tarnaxe::dataup
