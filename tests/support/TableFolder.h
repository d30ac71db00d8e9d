#pragma once
// A throw-away folder for xBASE fixtures. Its path holds no dot: the reader finds a memo
// file through the first dot of the whole path, so a dot in TMPDIR would move it.

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>
#include <memory>

namespace tarnaxe::test {

class TableFolder {
public:
    TableFolder();

    // False when no dot-free temporary folder could be made.
    bool isValid() const { return m_dir && m_dir->isValid(); }
    QString path() const { return m_dir->path(); }
    QString filePath(const QString& name) const { return m_dir->filePath(name); }
    // Writes bytes to name (folders in the name are made); the full path, empty on failure.
    QString write(const QString& name, const QByteArray& bytes) const;

private:
    std::unique_ptr<QTemporaryDir> m_dir;
};

} // namespace tarnaxe::test
