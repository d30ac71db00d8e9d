#pragma once
// A throw-away folder for xBASE fixtures. Its path holds no dot: the reader finds a memo
// file through the first dot of the whole path, so a dot in TMPDIR would move it.

#include "support/FileContents.h"

#include <QByteArray>
#include <QDir>
#include <QString>
#include <QTemporaryDir>
#include <memory>

namespace tarnaxe::test {

class TableFolder {
public:
    TableFolder()
    {
        for (const QString& base : {QDir::tempPath(), QStringLiteral("/tmp")}) {
            m_dir = std::make_unique<QTemporaryDir>(base + QStringLiteral("/xbase-XXXXXX"));
            if (m_dir->isValid() && !m_dir->path().contains(QLatin1Char('.')))
                return;
        }
        m_dir.reset();
    }

    // False when no dot-free temporary folder could be made.
    bool isValid() const { return m_dir && m_dir->isValid(); }
    QString path() const { return m_dir->path(); }
    QString filePath(const QString& name) const { return m_dir->filePath(name); }
    // Writes bytes to name (folders in the name are made); the full path, empty on failure.
    QString write(const QString& name, const QByteArray& bytes) const
    {
        return writeFileContents(filePath(name), bytes) ? filePath(name) : QString();
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
};

} // namespace tarnaxe::test
