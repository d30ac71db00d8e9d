#include "BinarySpool.h"

#include <QFile>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace tarnaxe::dataup {

bool writeAll(int fd, const char* data, qint64 size)
{
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size_t(size));
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += written;
        size -= written;
    }
    return true;
}

BinarySpool::BinarySpool(QString tempFolder, qint64 memoryLimit)
    : m_tempFolder(std::move(tempFolder)), m_memoryLimit(memoryLimit)
{}

BinarySpool::~BinarySpool()
{
    if (m_fd >= 0)
        ::close(m_fd);
    if (!m_tempPath.isEmpty())
        QFile::remove(m_tempPath);
}

bool BinarySpool::fail(const QString& what)
{
    m_error = what + QStringLiteral(": ") + QString::fromLocal8Bit(std::strerror(errno));
    return false;
}

bool BinarySpool::spill()
{
    QByteArray pattern = QFile::encodeName(m_tempFolder + QStringLiteral("/spool-XXXXXX"));
    m_fd = ::mkostemp(pattern.data(), O_CLOEXEC);
    if (m_fd < 0)
        return fail(QStringLiteral("cannot create a temporary file"));
    m_tempPath = QFile::decodeName(pattern);
    if (!writeAll(m_fd, m_memory.constData(), m_memory.size()))
        return fail(QStringLiteral("cannot write a temporary file"));
    m_memory = QByteArray();
    return true;
}

bool BinarySpool::write(const char* data, qint64 size)
{
    if (m_fd < 0 && m_size + size > m_memoryLimit && !spill())
        return false;
    if (m_fd >= 0) {
        if (!writeAll(m_fd, data, size))
            return fail(QStringLiteral("cannot write a temporary file"));
    } else {
        m_memory.append(data, qsizetype(size));
    }
    m_size += size;
    return true;
}

bool BinarySpool::saveAs(const QString& path)
{
    const QByteArray target = QFile::encodeName(path);
    if (m_fd < 0) {
        const int fd = ::open(target.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (fd < 0)
            return fail(QStringLiteral("cannot create the stored file"));
        const bool written = writeAll(fd, m_memory.constData(), m_memory.size());
        ::close(fd);
        if (!written) {
            ::unlink(target.constData());
            return fail(QStringLiteral("cannot write the stored file"));
        }
        return true;
    }
    ::close(m_fd);
    m_fd = -1;
    // link + unlink instead of rename: never replaces a file that is already there.
    if (::link(QFile::encodeName(m_tempPath).constData(), target.constData()) != 0)
        return fail(QStringLiteral("cannot move the upload into place"));
    QFile::remove(m_tempPath);
    m_tempPath.clear();
    return true;
}

bool BinarySpool::appendTo(int fd)
{
    if (m_fd < 0) {
        if (!writeAll(fd, m_memory.constData(), m_memory.size()))
            return fail(QStringLiteral("cannot append to the stored file"));
        return true;
    }
    if (::lseek(m_fd, 0, SEEK_SET) < 0)
        return fail(QStringLiteral("cannot read the temporary file"));
    QByteArray buffer(256 * 1024, Qt::Uninitialized);
    for (;;) {
        const ssize_t got = ::read(m_fd, buffer.data(), size_t(buffer.size()));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return fail(QStringLiteral("cannot read the temporary file"));
        if (got == 0)
            return true;
        if (!writeAll(fd, buffer.constData(), got))
            return fail(QStringLiteral("cannot append to the stored file"));
    }
}

} // namespace tarnaxe::dataup
