#pragma once
// A file opened for reading with positioned reads and nothing in between: no buffer, no
// seek, no stat before the open. Readers of many small files (an EMS set is seven) spend
// most of their time in system calls, and this needs about a third of QFile's.

#include <QByteArray>
#include <QString>

namespace tarnaxe {

class ReadOnlyFile {
public:
    enum class Open {
        Opened,
        // Nothing readable under the name: missing, not a regular file, or empty.
        NotFound,
        // A file is there but could not be opened (permissions, say): see errorString().
        Failed,
    };

    ReadOnlyFile() = default;
    ~ReadOnlyFile() { close(); }
    ReadOnlyFile(const ReadOnlyFile&) = delete;
    ReadOnlyFile& operator=(const ReadOnlyFile&) = delete;

    Open open(const QString& path);
    void close();
    bool isOpen() const { return m_fd >= 0; }
    // The size when the file was opened.
    qint64 size() const { return m_size; }
    // Up to length bytes at pos; fewer only at the end of the file. False on an error.
    bool readAt(qint64 pos, qint64 length, QByteArray& out);
    QString errorString() const { return m_error; }

    // A regular file of at least one byte: what open() does not call NotFound.
    static bool isNonEmptyFile(const QString& path);

private:
    int m_fd = -1;
    qint64 m_size = 0;
    QString m_error;
};

} // namespace tarnaxe
