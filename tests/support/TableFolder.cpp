#include "support/TableFolder.h"
#include "support/FileContents.h"

#include <QDir>

namespace tarnaxe::test {

TableFolder::TableFolder()
{
    for (const QString& base : {QDir::tempPath(), QStringLiteral("/tmp")}) {
        m_dir = std::make_unique<QTemporaryDir>(base + QStringLiteral("/xbase-XXXXXX"));
        if (m_dir->isValid() && !m_dir->path().contains(QLatin1Char('.')))
            return;
    }
    m_dir.reset();
}

QString TableFolder::write(const QString& name, const QByteArray& bytes) const
{
    return writeFileContents(filePath(name), bytes) ? filePath(name) : QString();
}

} // namespace tarnaxe::test
