#pragma once
// Putting a finished file in place in one step, so that a program watching the folder
// sees it whole or not at all.

#include <QFile>
#include <QString>

namespace tarnaxe {

enum class MoveResult { Done, Taken, Failed };

// Renames from to to unless to exists, in one step where the file system allows it, so
// that a file another process put there a moment ago is never replaced. Taken when to
// exists; Failed with reason set for any other error.
MoveResult moveWithoutReplacing(const QString& from, const QString& to, QString& reason);

// Renames from to to, replacing a file of that name.
bool moveReplacing(const QString& from, const QString& to, QString& reason);

// A file being written in a folder under a hidden name that no program looking for its
// kind of file picks up (".tarnaxe-<random>.part"), created with the usual permissions
// (not the owner-only ones of a temporary file, since other programs read what we
// deliver). It is removed on destruction unless it was moved into place.
class PendingFile {
public:
    explicit PendingFile(QString folder) : m_folder(std::move(folder)) {}
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    bool open(QString& reason);
    QFile& file() { return m_file; }
    // Flushes the data to the disk and closes the file.
    bool finish(QString& reason);
    MoveResult moveWithoutReplacing(const QString& to, QString& reason);
    bool moveReplacing(const QString& to, QString& reason);

private:
    QString m_folder;
    QFile m_file;
    bool m_moved = false;
};

} // namespace tarnaxe
