#include "Peer.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>

namespace tarnaxe::dataup {

namespace {

struct Endpoint {
    std::string address;
    int port = -1;
};

Endpoint endpointOf(const sockaddr_storage& storage)
{
    char text[INET6_ADDRSTRLEN] = {};
    if (storage.ss_family == AF_INET) {
        sockaddr_in in{};
        std::memcpy(&in, &storage, sizeof in);
        inet_ntop(AF_INET, &in.sin_addr, text, sizeof text);
        return {text, ntohs(in.sin_port)};
    }
    if (storage.ss_family == AF_INET6) {
        sockaddr_in6 in6{};
        std::memcpy(&in6, &storage, sizeof in6);
        inet_ntop(AF_INET6, &in6.sin6_addr, text, sizeof text);
        return {text, ntohs(in6.sin6_port)};
    }
    return {};
}

struct Ends {
    Endpoint local;
    Endpoint remote;
};

// The two ends of a connected socket; false for anything else.
bool endsOf(int fd, Ends& ends)
{
    struct stat info {};
    if (fstat(fd, &info) != 0 || !S_ISSOCK(info.st_mode))
        return false;
    sockaddr_storage local{};
    sockaddr_storage remote{};
    socklen_t localLength = sizeof local;
    socklen_t remoteLength = sizeof remote;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&local), &localLength) != 0 ||
        getpeername(fd, reinterpret_cast<sockaddr*>(&remote), &remoteLength) != 0)
        return false;
    ends = {endpointOf(local), endpointOf(remote)};
    return true;
}

// Calls visit with each open descriptor until it returns true.
template <typename Visit> void forEachDescriptor(Visit visit)
{
    DIR* folder = opendir("/proc/self/fd");
    if (!folder)
        return;
    while (const dirent* entry = readdir(folder)) {
        char* end = nullptr;
        const long fd = std::strtol(entry->d_name, &end, 10);
        if (end == entry->d_name || *end != '\0' || fd == dirfd(folder))
            continue;
        if (visit(int(fd)))
            break;
    }
    closedir(folder);
}

} // namespace

bool isLoopbackAddress(const std::string& address)
{
    std::string v4 = address;
    if (address.rfind("::ffff:", 0) == 0)
        v4 = address.substr(7);
    in_addr in{};
    if (inet_pton(AF_INET, v4.c_str(), &in) == 1)
        return (ntohl(in.s_addr) >> 24) == 127;
    in6_addr in6{};
    return inet_pton(AF_INET6, address.c_str(), &in6) == 1 && IN6_IS_ADDR_LOOPBACK(&in6);
}

bool dropConnection(int localPort, const std::string& remoteAddress, int remotePort)
{
    // The HTTP library does not hand its sockets to handlers, so the socket is found among
    // the process's descriptors by its two ends. shutdown() rather than close(): the
    // library still owns the descriptor and closes it when its own write fails.
    bool dropped = false;
    forEachDescriptor([&](int fd) {
        Ends ends;
        if (!endsOf(fd, ends) || ends.local.port != localPort || ends.remote.port != remotePort ||
            ends.remote.address != remoteAddress)
            return false;
        dropped = shutdown(fd, SHUT_RDWR) == 0;
        return true;
    });
    return dropped;
}

void dropAllConnections()
{
    forEachDescriptor([](int fd) {
        Ends ends;
        if (endsOf(fd, ends))
            shutdown(fd, SHUT_RDWR);
        return false;
    });
}

} // namespace tarnaxe::dataup
