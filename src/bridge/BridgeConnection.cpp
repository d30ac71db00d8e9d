#include "bridge/BridgeConnection.h"

#include "bridge/BridgeProtocol.h"

#include <QWebSocket>

namespace tarnaxe {

namespace {
// Above the protocol's 1 MiB frame limit, so that a larger call still reaches the
// protocol and gets an error answer on a connection that stays usable.
constexpr quint64 kSocketMessageLimit = 8 * 1024 * 1024;
} // namespace

BridgeConnection::BridgeConnection(QWebSocket* socket, std::unique_ptr<Dispatchable> target,
                                   QObject* parent)
    : QObject(parent), m_socket(socket), m_target(std::move(target))
{
    socket->setParent(this);
    socket->setMaxAllowedIncomingFrameSize(kSocketMessageLimit);
    socket->setMaxAllowedIncomingMessageSize(kSocketMessageLimit);
    connect(socket, &QWebSocket::textMessageReceived, this, [this](const QString& message) {
        enqueue({message.toUtf8(), false});
    });
    connect(socket, &QWebSocket::binaryMessageReceived, this, [this](const QByteArray&) {
        enqueue({{}, true});
    });
    connect(socket, &QWebSocket::disconnected, this, [this] {
        m_queue.clear();
        if (!m_disposed)
            emit closed();
    });
    connect(m_target.get(), &Dispatchable::eventRaised, this, &BridgeConnection::forwardEvent);
}

BridgeConnection::~BridgeConnection()
{
    // The object goes first and may raise events while it is torn down; they have
    // nowhere to go.
    if (m_target) {
        m_target->disconnect(this);
        m_target.reset();
    }
}

QString BridgeConnection::peerName() const
{
    if (!m_socket)
        return {};
    return QStringLiteral("%1:%2")
        .arg(m_socket->peerAddress().toString())
        .arg(m_socket->peerPort());
}

QString BridgeConnection::origin() const
{
    return m_socket ? m_socket->origin() : QString();
}

void BridgeConnection::dispose()
{
    m_disposed = true;
    m_queue.clear();
    if (m_socket && m_socket->state() != QAbstractSocket::UnconnectedState)
        m_socket->close(QWebSocketProtocol::CloseCodeGoingAway);
    // A call that runs a nested event loop (a modal dialog) is still on the stack below
    // us; its object must outlive it. processNext() deletes the connection on return.
    if (!m_busy)
        deleteLater();
}

void BridgeConnection::enqueue(Pending frame)
{
    if (m_disposed)
        return;
    m_queue.enqueue(std::move(frame));
    scheduleNext();
}

void BridgeConnection::scheduleNext()
{
    if (m_scheduled || m_busy || m_disposed || m_queue.isEmpty())
        return;
    m_scheduled = true;
    // Calls run from the event loop, never inside the socket's own signal: a call may spin
    // a nested loop during which the socket can close and be torn down.
    QMetaObject::invokeMethod(this, &BridgeConnection::processNext, Qt::QueuedConnection);
}

void BridgeConnection::processNext()
{
    m_scheduled = false;
    if (m_busy || m_disposed || m_queue.isEmpty())
        return;
    const Pending frame = m_queue.dequeue();
    m_busy = true;
    const QByteArray answer =
        frame.binary ? encodeError(QJsonValue(QJsonValue::Null), -1,
                                   QStringLiteral("Binary frames are not supported: send calls "
                                                  "as JSON text"))
                     : handleFrame(*m_target, frame.text);
    m_busy = false;
    if (m_disposed) {
        deleteLater();
        return;
    }
    send(answer);
    scheduleNext();
}

void BridgeConnection::forwardEvent(const QString& name, const QList<Variant>& args)
{
    if (!m_disposed)
        send(encodeEvent(name, args));
}

void BridgeConnection::send(const QByteArray& text)
{
    if (m_socket && m_socket->state() == QAbstractSocket::ConnectedState) {
        m_socket->sendTextMessage(QString::fromUtf8(text));
        // Written now rather than on the next turn of the event loop: the page is waiting.
        m_socket->flush();
    }
}

} // namespace tarnaxe
