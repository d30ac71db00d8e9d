#pragma once
// The real tarnaxe binary started for a test or a benchmark, in its own throw-away home,
// on a port of its own choosing that it reports when ready.

#include "support/TempHome.h"

#include <QProcess>
#include <QStringList>

namespace tarnaxe::test {

class AgentProcess {
public:
    // settingsText is written as TarnLocal.ini before the start; "[HostBridge]\nPort=0\n"
    // by default.
    explicit AgentProcess(const QByteArray& settingsText = "[HostBridge]\nPort=0\n");
    ~AgentProcess();

    // Starts the agent and waits for its ready line; false (with the reason in error())
    // when it exits or does not become ready in time.
    bool start(const QStringList& arguments = {}, int timeoutMs = 20000);
    void stop();

    quint16 port() const { return m_port; }
    QString url() const { return QStringLiteral("ws://127.0.0.1:%1").arg(m_port); }
    qint64 processId() const { return m_process.processId(); }
    QProcess& process() { return m_process; }
    const TempHome& home() const { return m_home; }
    const QString& error() const { return m_error; }

private:
    TempHome m_home;
    QProcess m_process;
    quint16 m_port = 0;
    QString m_error;
};

} // namespace tarnaxe::test
