#pragma once
// A WebSocket client of the host bridge for tests: synchronous calls that wait for their
// answer, and the events that arrived meanwhile.

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QNetworkRequest>
#include <QTest>
#include <QWebSocket>

namespace tarnaxe::test {

class BridgeClient {
public:
    BridgeClient()
    {
        QObject::connect(&m_socket, &QWebSocket::textMessageReceived, [this](const QString& text) {
            const QJsonObject frame = QJsonDocument::fromJson(text.toUtf8()).object();
            (frame.contains(QLatin1String("event")) ? events : answers).append(frame);
        });
    }

    bool open(const QString& url) { return open(QNetworkRequest(QUrl(url))); }
    bool open(const QNetworkRequest& request)
    {
        m_socket.open(request);
        const auto settled = [this] {
            return m_socket.state() == QAbstractSocket::ConnectedState ||
                   m_socket.state() == QAbstractSocket::UnconnectedState;
        };
        return QTest::qWaitFor(settled) && m_socket.state() == QAbstractSocket::ConnectedState;
    }

    // Sends a call and waits for the answer with the same id; an empty object on timeout.
    QJsonObject call(const QString& member, const QString& kind = QStringLiteral("method"),
                     const QJsonArray& args = {}, int timeoutMs = 10000)
    {
        const int id = m_nextId++;
        sendText(QJsonDocument(
                     QJsonObject{{"id", id}, {"member", member}, {"kind", kind}, {"args", args}})
                     .toJson(QJsonDocument::Compact));
        return waitForAnswer(id, timeoutMs);
    }
    // The "result" of reading a property or calling a method (undefined when the answer
    // has none: an error, or no answer in time).
    QJsonValue get(const QString& member, const QJsonArray& args = {})
    {
        return call(member, QStringLiteral("get"), args).value(QLatin1String("result"));
    }
    QJsonValue invoke(const QString& member, const QJsonArray& args = {}, int timeoutMs = 10000)
    {
        return call(member, QStringLiteral("method"), args, timeoutMs).value("result");
    }
    void sendText(const QByteArray& frame) { m_socket.sendTextMessage(QString::fromUtf8(frame)); }
    QJsonObject waitForAnswer(const QJsonValue& id, int timeoutMs = 10000)
    {
        return take(answers, "id", id, timeoutMs);
    }
    // Waits for an event of this name (returns at once when one arrived already and was
    // not taken yet).
    bool waitForEvent(const QString& name, int timeoutMs)
    {
        return !take(events, "event", name, timeoutMs).isEmpty();
    }
    // The IOStatus events taken, as "STATUS/message", up to the first that is not "BUSY";
    // empty when none came in time.
    QStringList statusesUntilFinal(int timeoutMs = 60000)
    {
        QStringList statuses;
        const auto final = [&] {
            while (!events.isEmpty()) {
                const QJsonArray args = events.takeFirst().value(QLatin1String("args")).toArray();
                if (args.size() == 2)
                    statuses << args[0].toString() + QLatin1Char('/') + args[1].toString();
                if (!statuses.isEmpty() && !statuses.last().startsWith(QLatin1String("BUSY")))
                    return true;
            }
            return false;
        };
        return QTest::qWaitFor(final, timeoutMs) ? statuses : QStringList();
    }

    QWebSocket& socket() { return m_socket; }
    QList<QJsonObject> events;
    QList<QJsonObject> answers;

private:
    // Waits for the first frame of frames whose key is value, and takes it out.
    static QJsonObject take(QList<QJsonObject>& frames, const char* key, const QJsonValue& value,
                            int timeoutMs)
    {
        QJsonObject found;
        const bool taken = QTest::qWaitFor(
            [&] {
                for (qsizetype i = 0; i < frames.size() && found.isEmpty(); ++i) {
                    if (frames[i].value(QLatin1String(key)) == value)
                        found = frames.takeAt(i);
                }
                return !found.isEmpty();
            },
            timeoutMs);
        return taken ? found : QJsonObject();
    }

    QWebSocket m_socket;
    int m_nextId = 1;
};

} // namespace tarnaxe::test
