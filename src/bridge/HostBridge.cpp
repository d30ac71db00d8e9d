#include "bridge/HostBridge.h"

#include "bridge/BridgeConnection.h"
#include "bridge/BridgeHttp.h"
#include "platform/Logging.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <QWebSocket>
#include <QWebSocketServer>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace tarnaxe {

namespace {

// A client that opens a socket and never finishes its request head is dropped after this.
constexpr int kRequestHeadTimeoutMs = 10000;
const char* const kHeadTimerName = "requestHeadTimer";

QString peerOf(const QTcpSocket* socket)
{
    return QStringLiteral("%1:%2").arg(socket->peerAddress().toString()).arg(socket->peerPort());
}

} // namespace

HostBridge::HostBridge(HostBridgeOptions options, DispatchableFactory factory, QObject* parent)
    : QObject(parent), m_options(std::move(options)), m_factory(std::move(factory)),
      m_tcpServer(new QTcpServer(this)),
      m_webSocketServer(
          new QWebSocketServer(m_options.agentName, QWebSocketServer::NonSecureMode, this))
{
    const QString version =
        m_options.version.isEmpty() ? QStringLiteral(TARNAXE_VERSION_TEXT) : m_options.version;
    m_statusBody =
        QJsonDocument(QJsonObject{{QStringLiteral("name"), m_options.agentName},
                                  {QStringLiteral("version"), version},
                                  {QStringLiteral("protocol"), m_options.protocolVersion}})
            .toJson(QJsonDocument::Compact);
    connect(m_tcpServer, &QTcpServer::newConnection, this, &HostBridge::acceptSockets);
    connect(m_webSocketServer, &QWebSocketServer::newConnection, this,
            &HostBridge::openConnections);
    connect(m_webSocketServer, &QWebSocketServer::serverError, this, [this] {
        qCWarning(lcBridge).noquote()
            << "WebSocket handshake failed:" << m_webSocketServer->errorString();
    });
}

HostBridge::~HostBridge()
{
    m_tcpServer->close();
    for (BridgeConnection* connection : std::exchange(m_connections, {})) {
        connection->disconnect(this);
        if (connection->isBusy()) {
            // Its call is still on the stack in a nested loop; it deletes itself on return.
            connection->setParent(nullptr);
            connection->dispose();
        } else {
            delete connection;
        }
    }
}

bool HostBridge::listen(QString* error)
{
    QString failure;
    if (m_options.listenFd >= 0) {
        if (!m_tcpServer->setSocketDescriptor(m_options.listenFd)) {
            failure =
                QStringLiteral("cannot use the listening socket %1 handed over by systemd: %2")
                    .arg(m_options.listenFd)
                    .arg(m_tcpServer->errorString());
        }
    } else if (!m_tcpServer->listen(QHostAddress::LocalHost, m_options.port)) {
        failure = m_tcpServer->serverError() == QAbstractSocket::AddressInUseError
                      ? QStringLiteral("port %1 is already in use").arg(m_options.port)
                      : QStringLiteral("cannot listen on 127.0.0.1 port %1: %2")
                            .arg(m_options.port)
                            .arg(m_tcpServer->errorString());
    }
    if (!failure.isEmpty()) {
        qCWarning(lcBridge).noquote() << failure;
        if (error)
            *error = failure;
        return false;
    }
    qCInfo(lcBridge).noquote() << "listening on" << m_tcpServer->serverAddress().toString()
                               << "port" << m_tcpServer->serverPort();
    return true;
}

quint16 HostBridge::port() const
{
    return m_tcpServer->serverPort();
}

int HostBridge::connectionCount() const
{
    return static_cast<int>(m_connections.size());
}

void HostBridge::acceptSockets()
{
    while (QTcpSocket* socket = m_tcpServer->nextPendingConnection()) {
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        auto* timer = new QTimer(socket);
        timer->setObjectName(QLatin1String(kHeadTimerName));
        timer->setSingleShot(true);
        connect(timer, &QTimer::timeout, socket, [socket] {
            qCInfo(lcBridge).noquote()
                << "dropped" << peerOf(socket) << ": no complete request in time";
            socket->abort();
            socket->deleteLater();
        });
        timer->start(kRequestHeadTimeoutMs);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { readRequestHead(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [socket] { socket->deleteLater(); });
        if (socket->bytesAvailable() > 0)
            readRequestHead(socket);
    }
}

void HostBridge::readRequestHead(QTcpSocket* socket)
{
    // Peek rather than read: an upgrade is handed to the WebSocket server, which reads the
    // head itself.
    const QByteArray buffered = socket->peek(kMaxRequestHeadBytes);
    const qsizetype end = buffered.indexOf("\r\n\r\n");
    if (end < 0) {
        if (buffered.size() >= kMaxRequestHeadBytes) {
            qCWarning(lcBridge).noquote()
                << "refused" << peerOf(socket) << ": request head too large";
            finishHttp(socket, httpResponse(431, {}, {}));
        }
        return;
    }

    const std::optional<HttpRequestHead> head = parseRequestHead(buffered.left(end));
    if (!head) {
        qCWarning(lcBridge).noquote() << "refused" << peerOf(socket) << ": malformed request";
        finishHttp(socket, httpResponse(400, {}, {}));
        return;
    }
    const HttpDecision decision = decideRequest(*head, m_options.allowedOrigins, m_statusBody);
    if (!decision.refusal.isEmpty()) {
        qCWarning(lcBridge).noquote() << "refused" << head->method << head->path() << "from"
                                      << peerOf(socket) << ":" << decision.refusal;
    }
    if (!decision.upgrade) {
        finishHttp(socket, decision.response);
        return;
    }

    // From here on the socket belongs to the WebSocket server, which cleans it up itself.
    socket->disconnect(this);
    delete socket->findChild<QTimer*>(QLatin1String(kHeadTimerName));
    m_webSocketServer->handleConnection(socket);
}

void HostBridge::finishHttp(QTcpSocket* socket, const QByteArray& response)
{
    // Anything the client sends after its request is of no interest.
    disconnect(socket, &QTcpSocket::readyRead, this, nullptr);
    socket->write(response);
    socket->disconnectFromHost();
}

void HostBridge::openConnections()
{
    while (QWebSocket* socket = m_webSocketServer->nextPendingConnection()) {
        std::unique_ptr<Dispatchable> target;
        QString failure;
        try {
            target = m_factory();
        } catch (const std::exception& e) {
            failure = QString::fromUtf8(e.what());
        }
        if (!target) {
            qCWarning(lcBridge).noquote()
                << "closing connection from" << socket->peerAddress().toString()
                << ": the automation object could not be created" << failure;
            socket->close(QWebSocketProtocol::CloseCodeBadOperation,
                          QStringLiteral("The agent could not create its automation object"));
            socket->deleteLater();
            continue;
        }
        auto* connection = new BridgeConnection(socket, std::move(target), this);
        m_connections.append(connection);
        connect(connection, &BridgeConnection::closed, this,
                [this, connection] { closeConnection(connection); });
        qCInfo(lcBridge).noquote()
            << "connection opened from" << connection->peerName() << "origin"
            << (connection->origin().isEmpty() ? QStringLiteral("(none)") : connection->origin());
        emit connectionOpened();
    }
}

void HostBridge::closeConnection(BridgeConnection* connection)
{
    if (!m_connections.removeOne(connection))
        return;
    qCInfo(lcBridge).noquote() << "connection closed from" << connection->peerName()
                               << (connection->isBusy() ? "while a call is running" : "");
    connection->dispose();
    emit connectionClosed();
}

int systemdListenFd()
{
    // The first descriptor passed by systemd is always 3 (SD_LISTEN_FDS_START).
    constexpr int firstFd = 3;
    const QByteArray pid = qgetenv("LISTEN_PID");
    const QByteArray count = qgetenv("LISTEN_FDS");
    qunsetenv("LISTEN_PID");
    qunsetenv("LISTEN_FDS");
    qunsetenv("LISTEN_FDNAMES");

    bool pidOk = false;
    bool countOk = false;
    const qint64 listenPid = pid.toLongLong(&pidOk);
    const int fds = count.toInt(&countOk);
    if (!pidOk || !countOk || listenPid != ::getpid() || fds < 1)
        return -1;
    if (fds > 1)
        qCWarning(lcBridge) << "systemd passed" << fds << "sockets; only the first is used";
    if (const int flags = ::fcntl(firstFd, F_GETFD); flags >= 0)
        ::fcntl(firstFd, F_SETFD, flags | FD_CLOEXEC);
    return firstFd;
}

} // namespace tarnaxe
