#pragma once
// A HostBridge on a free loopback port serving FakeDispatchable objects, with a pointer
// to each object it made, for the bridge's socket tests.

#include "bridge/HostBridge.h"
#include "support/FakeDispatchable.h"

#include <QList>
#include <QPointer>
#include <memory>

namespace tarnaxe::test {

class FakeBridge {
public:
    // Listens on port 0 with the given options (version "9.9.9"); returns the port.
    quint16 start(HostBridgeOptions options)
    {
        options.port = 0;
        options.version = QStringLiteral("9.9.9");
        m_bridge = std::make_unique<HostBridge>(options, [this] {
            auto object = std::make_unique<FakeDispatchable>();
            objects.append(object.get());
            return std::unique_ptr<Dispatchable>(std::move(object));
        });
        QString error;
        if (!m_bridge->listen(&error))
            qWarning("listen failed: %s", qPrintable(error));
        return m_bridge->port();
    }
    void reset()
    {
        m_bridge.reset();
        objects.clear();
    }
    // The WebSocket address of the bridge.
    QString url() const { return QStringLiteral("ws://127.0.0.1:%1/").arg(m_bridge->port()); }

    HostBridge* get() const { return m_bridge.get(); }
    HostBridge* operator->() const { return m_bridge.get(); }

    QList<QPointer<FakeDispatchable>> objects;

private:
    std::unique_ptr<HostBridge> m_bridge;
};

} // namespace tarnaxe::test
