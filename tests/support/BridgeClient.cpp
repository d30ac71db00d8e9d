#include "support/BridgeClient.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QJsonDocument>
#include <QTimer>

namespace tarnaxe::test {

namespace {

// Runs the event loop until done() holds or the time is up.
template <typename Done> bool spinUntil(Done done, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!done()) {
        if (deadline.hasExpired())
            return false;
        QEventLoop loop;
        QTimer::singleShot(5, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

} // namespace

BridgeClient::BridgeClient()
{
    connect(&m_socket, &QWebSocket::textMessageReceived, this, [this](const QString& text) {
        const QJsonObject frame = QJsonDocument::fromJson(text.toUtf8()).object();
        if (frame.contains(QLatin1String("event")))
            events.append(frame);
        else
            answers.append(frame);
    });
}

bool BridgeClient::open(const QString& url, int timeoutMs)
{
    return open(QNetworkRequest(QUrl(url)), timeoutMs);
}

bool BridgeClient::open(const QNetworkRequest& request, int timeoutMs)
{
    m_socket.open(request);
    return spinUntil(
               [this] {
                   return m_socket.state() == QAbstractSocket::ConnectedState ||
                          m_socket.state() == QAbstractSocket::UnconnectedState;
               },
               timeoutMs) &&
           m_socket.state() == QAbstractSocket::ConnectedState;
}

QJsonObject BridgeClient::call(const QString& member, const QString& kind, const QJsonArray& args,
                               int timeoutMs)
{
    const int id = m_nextId++;
    const QJsonObject frame{{QStringLiteral("id"), id},
                            {QStringLiteral("member"), member},
                            {QStringLiteral("kind"), kind},
                            {QStringLiteral("args"), args}};
    sendText(QJsonDocument(frame).toJson(QJsonDocument::Compact));
    return waitForAnswer(id, timeoutMs);
}

QJsonObject BridgeClient::send(const QByteArray& frame, int timeoutMs)
{
    const qsizetype before = answers.size();
    sendText(frame);
    if (!spinUntil([&] { return answers.size() > before; }, timeoutMs))
        return {};
    return answers.takeAt(before);
}

QJsonObject BridgeClient::waitForAnswer(const QJsonValue& id, int timeoutMs)
{
    QJsonObject found;
    spinUntil(
        [&] {
            for (qsizetype i = 0; i < answers.size(); ++i) {
                if (answers[i].value(QLatin1String("id")) == id) {
                    found = answers.takeAt(i);
                    return true;
                }
            }
            return false;
        },
        timeoutMs);
    return found;
}

bool BridgeClient::waitForEvent(const QString& name, int timeoutMs)
{
    return spinUntil(
        [&] {
            for (qsizetype i = 0; i < events.size(); ++i) {
                if (events[i].value(QLatin1String("event")).toString() == name) {
                    events.removeAt(i);
                    return true;
                }
            }
            return false;
        },
        timeoutMs);
}

QStringList BridgeClient::statusesUntilFinal(int timeoutMs)
{
    QStringList statuses;
    const bool finished = spinUntil(
        [&] {
            while (!events.isEmpty()) {
                const QJsonArray args = events.takeFirst().value(QLatin1String("args")).toArray();
                if (args.size() == 2)
                    statuses << args[0].toString() + QLatin1Char('/') + args[1].toString();
                if (!statuses.isEmpty() && !statuses.last().startsWith(QLatin1String("BUSY")))
                    return true;
            }
            return false;
        },
        timeoutMs);
    return finished ? statuses : QStringList();
}

} // namespace tarnaxe::test
