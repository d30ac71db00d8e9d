#pragma once
// A WebSocket client of the host bridge for tests and benchmarks: synchronous calls that
// wait for their answer, and the events that arrived meanwhile.

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QNetworkRequest>
#include <QWebSocket>

namespace tarnaxe::test {

class BridgeClient : public QObject {
    Q_OBJECT
public:
    BridgeClient();

    bool open(const QString& url, int timeoutMs = 5000);
    bool open(const QNetworkRequest& request, int timeoutMs = 5000);
    void close() { m_socket.close(); }

    // Sends a call and waits for the answer with the same id; an empty object on timeout.
    QJsonObject call(const QString& member, const QString& kind = QStringLiteral("method"),
                     const QJsonArray& args = {}, int timeoutMs = 10000);
    // The "result" of reading a property or calling a method (undefined when the answer
    // has none: an error, or no answer in time).
    QJsonValue get(const QString& member, const QJsonArray& args = {})
    {
        return call(member, QStringLiteral("get"), args).value(QLatin1String("result"));
    }
    QJsonValue invoke(const QString& member, const QJsonArray& args = {}, int timeoutMs = 10000)
    {
        return call(member, QStringLiteral("method"), args, timeoutMs)
            .value(QLatin1String("result"));
    }
    // Sends any frame and waits for the next answer (a frame with an "id").
    QJsonObject send(const QByteArray& frame, int timeoutMs = 10000);
    void sendText(const QByteArray& frame) { m_socket.sendTextMessage(QString::fromUtf8(frame)); }
    // Waits until an answer with this id arrives.
    QJsonObject waitForAnswer(const QJsonValue& id, int timeoutMs = 10000);
    // Waits for an event of this name (returns at once when one arrived already and was
    // not taken yet).
    bool waitForEvent(const QString& name, int timeoutMs);
    // The IOStatus events taken, as "STATUS/message", up to the first that is not "BUSY";
    // empty when none came in time.
    QStringList statusesUntilFinal(int timeoutMs = 60000);

    QWebSocket& socket() { return m_socket; }
    QList<QJsonObject> events;
    QList<QJsonObject> answers;

private:
    QWebSocket m_socket;
    int m_nextId = 1;
};

} // namespace tarnaxe::test
