#include "support/TableFolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

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
    const QString path = filePath(name);
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
        return {};
    return path;
}

} // namespace tarnaxe::test
