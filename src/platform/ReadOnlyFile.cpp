#include "platform/ReadOnlyFile.h"

#include <QFile>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarnaxe {

namespace {

QString errnoText(int error)
{
    return qt_error_string(error);
}

} // namespace

bool ReadOnlyFile::isNonEmptyFile(const QString& path)
{
    struct stat info {};
    return !path.isEmpty() && ::stat(QFile::encodeName(path).constData(), &info) == 0 &&
           S_ISREG(info.st_mode) && info.st_size > 0;
}

ReadOnlyFile::Open ReadOnlyFile::open(const QString& path)
{
    close();
    if (path.isEmpty())
        return Open::NotFound;
    const QByteArray name = QFile::encodeName(path);
    // Non-blocking, so that a FIFO under the name is refused below instead of hanging
    // the open until some writer comes.
    const int fd = ::open(name.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        const int error = errno;
        if (error == ENOENT || error == ENOTDIR || !isNonEmptyFile(path))
            return Open::NotFound;
        m_error = errnoText(error);
        return Open::Failed;
    }
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_size <= 0) {
        ::close(fd);
        return Open::NotFound;
    }
    m_fd = fd;
    m_size = info.st_size;
    m_error.clear();
    return Open::Opened;
}

void ReadOnlyFile::close()
{
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
    m_size = 0;
}

bool ReadOnlyFile::readAt(qint64 pos, qint64 length, QByteArray& out)
{
    out.clear();
    if (m_fd < 0 || pos < 0 || length < 0) {
        m_error = errnoText(EINVAL);
        return false;
    }
    out.resize(length);
    qint64 done = 0;
    while (done < length) {
        const ssize_t n = ::pread(m_fd, out.data() + done, size_t(length - done), pos + done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            m_error = errnoText(errno);
            out.clear();
            return false;
        }
        if (n == 0)
            break;
        done += n;
    }
    out.resize(done);
    return true;
}

} // namespace tarnaxe
