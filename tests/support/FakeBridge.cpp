#include "support/FakeBridge.h"

#include <QDebug>

namespace tarnaxe::test {

quint16 FakeBridge::start(HostBridgeOptions options)
{
    options.port = 0;
    options.version = QStringLiteral("9.9.9");
    m_bridge = std::make_unique<HostBridge>(options, [this]() -> std::unique_ptr<Dispatchable> {
        auto object = std::make_unique<FakeDispatchable>();
        objects.append(object.get());
        return object;
    });
    QString error;
    if (!m_bridge->listen(&error))
        qWarning() << "listen failed:" << error;
    return m_bridge->port();
}

void FakeBridge::reset()
{
    m_bridge.reset();
    objects.clear();
}

} // namespace tarnaxe::test
