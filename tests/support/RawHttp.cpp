#include "support/RawHttp.h"

#include <QTcpSocket>
#include <QTest>

namespace tarnaxe::test {

HttpReply httpExchange(quint16 port, const QList<QByteArray>& pieces)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    if (!socket.waitForConnected(5000))
        return {};
    for (qsizetype i = 0; i < pieces.size(); ++i) {
        if (i > 0)
            QTest::qWait(100);
        socket.write(pieces[i]);
    }
    QByteArray data;
    // A timeout shows in the reply (no status, not closed), which the caller checks.
    (void)QTest::qWaitFor(
        [&] {
            data += socket.readAll();
            return socket.state() == QAbstractSocket::UnconnectedState ||
                   (data.startsWith("HTTP/1.1 101") && data.contains("\r\n\r\n"));
        },
        5000);
    HttpReply reply;
    reply.closed = socket.state() == QAbstractSocket::UnconnectedState;
    const qsizetype end = data.indexOf("\r\n\r\n");
    if (end < 0)
        return reply;
    const QList<QByteArray> lines = data.left(end).split('\n');
    reply.status = lines.first().trimmed().split(' ').value(1).toInt();
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype colon = lines[i].indexOf(':');
        reply.headers.insert(lines[i].left(colon).trimmed().toLower(),
                             lines[i].mid(colon + 1).trimmed());
    }
    reply.body = data.mid(end + 4);
    return reply;
}

HttpReply httpExchange(quint16 port, const QByteArray& request)
{
    return httpExchange(port, QList<QByteArray>{request});
}

QByteArray upgradeRequest(const QByteArray& host, const QByteArray& origin)
{
    QByteArray request = "GET / HTTP/1.1\r\n";
    if (!host.isNull())
        request += "Host: " + host + "\r\n";
    if (!origin.isNull())
        request += "Origin: " + origin + "\r\n";
    request += "Upgrade: websocket\r\nConnection: Upgrade\r\n"
               "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n";
    return request;
}

} // namespace tarnaxe::test
