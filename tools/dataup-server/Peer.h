#pragma once
// The peer of a request: whether it is on this machine, and how to cut it off.

#include <string>

namespace tarnaxe::dataup {

// 127.0.0.0/8, ::1 and their IPv4-mapped forms.
bool isLoopbackAddress(const std::string& address);

// Shuts down the accepted socket between these two ends, so that the peer sees the
// connection close without a reply; false when no such socket was found.
bool dropConnection(int localPort, const std::string& remoteAddress, int remotePort);

// Shuts down every connected socket of the process: idle keep-alive connections would
// otherwise hold their workers (and the exit) until their timeout.
void dropAllConnections();

} // namespace tarnaxe::dataup
