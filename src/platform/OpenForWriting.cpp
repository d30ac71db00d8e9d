#include "platform/OpenForWriting.h"

#include <QFile>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace tarnaxe {

WriterState writerState(const QString& path)
{
    // O_NONBLOCK: an open never waits on someone else's lease.
    const int fd =
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return WriterState::Unknown;
    WriterState state = WriterState::Unknown;
    if (::fcntl(fd, F_SETLEASE, F_RDLCK) == 0) {
        ::fcntl(fd, F_SETLEASE, F_UNLCK);
        state = WriterState::None;
    } else if (errno == EAGAIN) {
        state = WriterState::Writing;
    }
    ::close(fd);
    return state;
}

} // namespace tarnaxe
