#pragma once
// A raw HTTP exchange over TCP for tests of the host bridge's plain answers (/status,
// preflights) and of hand-made WebSocket handshakes that a real client would not send.

#include <QByteArray>
#include <QList>
#include <QMap>

namespace tarnaxe::test {

struct HttpReply {
    int status = 0;                       // 0 when no complete answer came
    QMap<QByteArray, QByteArray> headers; // names in lower case
    QByteArray body;
    bool closed = false; // the server closed the connection

    bool has(const char* name) const { return headers.contains(QByteArray(name)); }
    QByteArray header(const char* name) const { return headers.value(QByteArray(name)); }
};

// Writes a request to 127.0.0.1:port, in the given pieces with a pause between them, and
// reads until the server closes or the head of a 101 answer has come.
HttpReply httpExchange(quint16 port, const QList<QByteArray>& pieces);
HttpReply httpExchange(quint16 port, const QByteArray& request);

// A WebSocket handshake; Host and Origin are left out when null.
QByteArray upgradeRequest(const QByteArray& host, const QByteArray& origin);

} // namespace tarnaxe::test
