#pragma once
// Where the server keeps its state: the database, the stored files under names of its
// own choosing, and the temporary files of uploads in progress.

#include <QString>

namespace tarnaxe::dataup {

class DataFolder {
public:
    explicit DataFolder(QString root) : m_root(std::move(root)) {}

    // Makes the folders that are missing; false with the reason in error.
    bool create(QString& error) const;

    const QString& root() const { return m_root; }
    QString databasePath() const { return m_root + QStringLiteral("/dataup.sqlite"); }
    QString filesFolder() const { return m_root + QStringLiteral("/files"); }
    QString tempFolder() const { return m_root + QStringLiteral("/tmp"); }
    // A stored file is named by its number alone: nothing a client sends becomes a path.
    QString storedFile(qint64 id) const
    {
        return filesFolder() + QLatin1Char('/') + QString::number(id);
    }

private:
    QString m_root;
};

} // namespace tarnaxe::dataup
