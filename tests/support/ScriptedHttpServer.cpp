#include "support/ScriptedHttpServer.h"

#include <QTcpSocket>
#include <QTimer>

namespace tarnaxe::test {

struct ScriptedHttpServer::Connection {
    std::unique_ptr<QTcpSocket> socket;
    QTimer ticker;
    QByteArray buffer;
    RecordedRequest request;
    bool haveHead = false;
    qint64 contentLength = 0;
    ScriptedAnswer answer;
    bool answered = false;
};

ScriptedHttpServer::ScriptedHttpServer()
{
    connect(&m_server, &QTcpServer::newConnection, this, &ScriptedHttpServer::accept);
}

ScriptedHttpServer::~ScriptedHttpServer() = default;

bool ScriptedHttpServer::listen()
{
    return m_server.listen(QHostAddress::LocalHost, 0);
}

void ScriptedHttpServer::accept()
{
    while (QTcpSocket* socket = m_server.nextPendingConnection()) {
        ++m_connections;
        Connection* connection = m_open.emplace_back(std::make_unique<Connection>()).get();
        connection->socket.reset(socket);
        socket->setParent(nullptr);
        connect(socket, &QTcpSocket::readyRead, this, [this, connection] {
            if (connection->answer.readPerTick == 0 || !connection->haveHead)
                readFrom(connection);
        });
        connect(&connection->ticker, &QTimer::timeout, this,
                [this, connection] { readFrom(connection); });
    }
}

void ScriptedHttpServer::readFrom(Connection* c)
{
    if (c->answered && c->answer.kind == ScriptedAnswer::Kind::Silence)
        return;
    if (!c->haveHead) {
        c->buffer += c->socket->readAll();
        const qsizetype end = c->buffer.indexOf("\r\n\r\n");
        if (end < 0)
            return;
        c->haveHead = true;
        c->request = {};
        c->request.head = c->buffer.left(end);
        const QList<QByteArray> lines = c->request.head.split('\n');
        c->request.path = lines.value(0).trimmed().split(' ').value(1);
        c->contentLength = 0;
        for (const QByteArray& line : lines) {
            const qsizetype colon = line.indexOf(':');
            if (colon > 0 && line.left(colon).trimmed().toLower() == "content-length")
                c->contentLength = line.mid(colon + 1).trimmed().toLongLong();
        }
        c->request.body = c->buffer.mid(end + 4);
        c->buffer.clear();
        c->answer = m_answers.isEmpty() ? ScriptedAnswer() : m_answers.takeFirst();
        c->answered = false;
        if (c->answer.readPerTick > 0) {
            // Let the kernel's buffers fill, so that the client has to wait for us.
            c->socket->setReadBufferSize(c->answer.readPerTick);
            c->ticker.start(c->answer.readIntervalMs);
        }
    } else {
        const qint64 perTick = c->answer.readPerTick;
        c->request.body += perTick > 0 ? c->socket->read(perTick) : c->socket->readAll();
    }
    if (c->request.body.size() >= c->contentLength)
        answer(c);
}

void ScriptedHttpServer::answer(Connection* c)
{
    c->ticker.stop();
    m_requests.append(c->request);
    c->haveHead = false;
    c->answered = true;
    switch (c->answer.kind) {
    case ScriptedAnswer::Kind::Silence:
        return;
    case ScriptedAnswer::Kind::DropAfterBody:
        c->socket->abort();
        return;
    case ScriptedAnswer::Kind::Raw:
        c->socket->write(c->answer.body);
        break;
    case ScriptedAnswer::Kind::Reply:
        c->socket->write("HTTP/1.1 " + QByteArray::number(c->answer.status) + ' ' +
                         c->answer.reason + "\r\nContent-Length: " +
                         QByteArray::number(c->answer.body.size()) + "\r\n\r\n" + c->answer.body);
        break;
    }
    c->socket->setReadBufferSize(0);
    if (c->answer.closeAfter)
        c->socket->disconnectFromHost(); // once the answer has gone
}

} // namespace tarnaxe::test
