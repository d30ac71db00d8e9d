#pragma once
// The agent's WebSocket server on the loopback interface: answers GET /status, keeps
// other sites out by Host and Origin, and serves one automation object per connection.

#include "bridge/Dispatch.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

class QTcpServer;
class QTcpSocket;
class QWebSocketServer;

namespace tarnaxe {

class BridgeConnection;

struct HostBridgeOptions {
    quint16 port = 29170;
    QStringList allowedOrigins; // besides pages served from the loopback interface
    int listenFd = -1;          // a listening socket to adopt instead of opening one
    QString agentName = QStringLiteral("TarnAxe");
    QString version; // empty: the version of this build
    int protocolVersion = 1;
};

class HostBridge : public QObject {
    Q_OBJECT
public:
    HostBridge(HostBridgeOptions options, DispatchableFactory factory, QObject* parent = nullptr);
    ~HostBridge() override;

    // Listens on 127.0.0.1 (or adopts options.listenFd). On failure, error is one line
    // that names the port, e.g. "port 29170 is already in use".
    bool listen(QString* error);
    quint16 port() const;
    // Open WebSocket connections.
    int connectionCount() const;

signals:
    void connectionOpened();
    void connectionClosed();

private:
    void acceptSockets();
    void readRequestHead(QTcpSocket* socket);
    void finishHttp(QTcpSocket* socket, const QByteArray& response);
    void openConnections();
    void closeConnection(BridgeConnection* connection);

    HostBridgeOptions m_options;
    DispatchableFactory m_factory;
    QByteArray m_statusBody;
    QTcpServer* m_tcpServer;
    QWebSocketServer* m_webSocketServer;
    QList<BridgeConnection*> m_connections;
};

// The listening socket handed over by systemd socket activation: 3 when LISTEN_PID is this
// process and LISTEN_FDS is at least 1, otherwise -1. The variables are removed so that
// child processes do not take the socket for theirs.
int systemdListenFd();

} // namespace tarnaxe
