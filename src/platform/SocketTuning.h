#pragma once
// Qt's HTTP client writes a request in 16 KiB pieces on a socket where Nagle's algorithm
// is on and gives no way to turn it off. With a server that delays its ACKs, as servers
// do once a connection goes back and forth, every request of more than one piece then
// waits about 40 ms for its last piece: 3,000 chunk posts would take two minutes of
// waiting. This finds the process's own sockets to a server port and turns Nagle off.

#include <QtGlobal>

namespace tarnaxe {

// Sets TCP_NODELAY on every TCP socket of this process whose peer port is port; returns
// how many sockets it set.
int disableNagleTowardPort(quint16 port);

} // namespace tarnaxe
