#pragma once
// A one-thread HTTP/1.1 server for tests of the client: records every request exactly as
// it came and answers each in the way the test scripted (a reply, raw bytes, silence, a
// connection dropped unanswered, a slow reader). Runs on the caller's event loop, which the
// client's local loop keeps turning.

#include <QByteArray>
#include <QList>
#include <QMetaType>
#include <QObject>
#include <QTcpServer>
#include <memory>
#include <vector>

class QTcpSocket;

namespace tarnaxe::test {

struct RecordedRequest {
    QByteArray path;
    QByteArray head; // request line and headers
    QByteArray body;
};

struct ScriptedAnswer {
    // Raw: body is written as it is, status line and headers included.
    enum class Kind { Reply, Raw, Silence, DropAfterBody };
    Kind kind = Kind::Reply;
    int status = 200;
    QByteArray reason = "OK";
    QByteArray body;
    // Reads at most this many body bytes per tick of readIntervalMs (0: at once).
    qint64 readPerTick = 0;
    int readIntervalMs = 0;
    // The server closes the connection once the answer is written, without saying so.
    bool closeAfter = false;

    static ScriptedAnswer reply(int status, QByteArray reason, QByteArray body = {})
    {
        return {.status = status, .reason = std::move(reason), .body = std::move(body)};
    }
    static ScriptedAnswer raw(QByteArray bytes, bool closeAfter = false)
    {
        return {.kind = Kind::Raw, .body = std::move(bytes), .closeAfter = closeAfter};
    }
    static ScriptedAnswer silence() { return {.kind = Kind::Silence, .body = {}}; }
    static ScriptedAnswer dropped() { return {.kind = Kind::DropAfterBody, .body = {}}; }
};

// "200 OK" with body.
inline ScriptedAnswer ok(const QByteArray& body = {})
{
    return ScriptedAnswer::reply(200, "OK", body);
}

class ScriptedHttpServer : public QObject {
    Q_OBJECT

public:
    ScriptedHttpServer();
    ~ScriptedHttpServer() override;

    bool listen();
    QString hostPort() const { return QStringLiteral("127.0.0.1:%1").arg(m_server.serverPort()); }

    // Answers for the coming requests, in order; when they run out, "200 OK" with an
    // empty body.
    void script(QList<ScriptedAnswer> answers) { m_answers = std::move(answers); }
    const QList<RecordedRequest>& requests() const { return m_requests; }
    int connectionsAccepted() const { return m_connections; }

private:
    struct Connection;
    void accept();
    void readFrom(Connection* connection);
    void answer(Connection* connection);

    QTcpServer m_server;
    QList<ScriptedAnswer> m_answers;
    QList<RecordedRequest> m_requests;
    std::vector<std::unique_ptr<Connection>> m_open;
    int m_connections = 0;
};

} // namespace tarnaxe::test

Q_DECLARE_METATYPE(tarnaxe::test::ScriptedAnswer)
