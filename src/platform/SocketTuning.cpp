#include "platform/SocketTuning.h"

#include <cstdlib>
#include <dirent.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/stat.h>

namespace tarnaxe {

namespace {

quint16 peerPort(int fd)
{
    sockaddr_storage peer{};
    socklen_t length = sizeof peer;
    if (getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &length) != 0)
        return 0;
    if (peer.ss_family == AF_INET)
        return ntohs(reinterpret_cast<const sockaddr_in*>(&peer)->sin_port);
    if (peer.ss_family == AF_INET6)
        return ntohs(reinterpret_cast<const sockaddr_in6*>(&peer)->sin6_port);
    return 0;
}

} // namespace

int disableNagleTowardPort(quint16 port)
{
    DIR* fds = opendir("/proc/self/fd");
    if (!fds)
        return 0;
    int set = 0;
    const int own = dirfd(fds);
    while (const dirent* entry = readdir(fds)) {
        char* end = nullptr;
        const long fd = std::strtol(entry->d_name, &end, 10);
        if (end == entry->d_name || *end != '\0' || fd == own)
            continue;
        struct stat info {};
        if (fstat(int(fd), &info) != 0 || !S_ISSOCK(info.st_mode) || peerPort(int(fd)) != port)
            continue;
        const int on = 1;
        if (setsockopt(int(fd), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0)
            ++set;
    }
    closedir(fds);
    return set;
}

} // namespace tarnaxe
