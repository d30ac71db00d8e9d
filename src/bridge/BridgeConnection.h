#pragma once
// One WebSocket connection of the host bridge and the automation object that serves it:
// calls are run one at a time and answered in order, events are passed on as they come.

#include "bridge/Dispatch.h"

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QQueue>
#include <memory>

class QWebSocket;

namespace tarnaxe {

class BridgeConnection : public QObject {
    Q_OBJECT
public:
    // Takes ownership of both the socket and the object.
    BridgeConnection(QWebSocket* socket, std::unique_ptr<Dispatchable> target,
                     QObject* parent = nullptr);
    ~BridgeConnection() override;

    // Deletes the connection when no call is running: now (deleteLater) when idle, or as
    // soon as the running call returns, whose answer is then dropped.
    void dispose();
    bool isBusy() const { return m_busy; }
    QString peerName() const;
    QString origin() const;

signals:
    // The socket has closed. The owner is expected to call dispose().
    void closed();

private:
    struct Pending {
        QByteArray text;
        bool binary = false;
    };

    void enqueue(Pending frame);
    void scheduleNext();
    void processNext();
    void forwardEvent(const QString& name, const QList<Variant>& args);
    void send(const QByteArray& text);

    QPointer<QWebSocket> m_socket;
    std::unique_ptr<Dispatchable> m_target;
    QQueue<Pending> m_queue;
    bool m_busy = false;
    bool m_scheduled = false;
    bool m_disposed = false;
};

} // namespace tarnaxe
