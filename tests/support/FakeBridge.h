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
    quint16 start(HostBridgeOptions options);
    void reset();

    HostBridge* get() const { return m_bridge.get(); }
    HostBridge* operator->() const { return m_bridge.get(); }

    QList<QPointer<FakeDispatchable>> objects;

private:
    std::unique_ptr<HostBridge> m_bridge;
};

} // namespace tarnaxe::test
