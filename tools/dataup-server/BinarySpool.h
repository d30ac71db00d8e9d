#pragma once
// Holds the binary field of a request while it arrives: small ones in memory, anything
// larger in a temporary file beside the stored files, so that a 1 GiB upload never sits in
// memory and can be renamed into place once it was checked.

#include <QByteArray>
#include <QString>

namespace tarnaxe::dataup {

class BinarySpool {
public:
    // tempFolder must be on the same file system as the stored files.
    explicit BinarySpool(QString tempFolder, qint64 memoryLimit = 1024 * 1024);
    ~BinarySpool();
    BinarySpool(const BinarySpool&) = delete;
    BinarySpool& operator=(const BinarySpool&) = delete;

    bool write(const char* data, qint64 size);
    qint64 size() const { return m_size; }
    const QString& error() const { return m_error; }

    // Moves the bytes to a new file at path (which must not exist); the spool is empty
    // afterwards.
    bool saveAs(const QString& path);
    // Writes every byte to fd at its current position.
    bool appendTo(int fd);

private:
    bool spill();
    bool fail(const QString& what);

    QString m_tempFolder;
    qint64 m_memoryLimit;
    QByteArray m_memory;
    QString m_tempPath;
    int m_fd = -1;
    qint64 m_size = 0;
    QString m_error;
};

// write(2) until everything is written or it fails.
bool writeAll(int fd, const char* data, qint64 size);

} // namespace tarnaxe::dataup
