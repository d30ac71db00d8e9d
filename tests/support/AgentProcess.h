#pragma once
// The real tarnaxe binary started for a test or a benchmark, in its own throw-away home,
// on a port of its own choosing that it reports when ready.

#include "support/FileContents.h"
#include "support/ReadyLine.h"
#include "support/TempHome.h"

#include <QProcess>
#include <QRegularExpression>
#include <QStringList>

namespace tarnaxe::test {

class AgentProcess {
public:
    // settingsText is written as TarnLocal.ini before the start.
    explicit AgentProcess(const QByteArray& settingsText = "[HostBridge]\nPort=0\n")
    {
        const QString settings = m_home.configHome() + QStringLiteral("/TarnAxe/TarnLocal.ini");
        if (!writeFileContents(settings, settingsText))
            qWarning("cannot write %s", qPrintable(settings));
        m_process.setProcessEnvironment(m_home.environment());
        m_process.setProgram(QStringLiteral(TARNAXE_AGENT_PATH));
    }
    ~AgentProcess() { stop(); }

    // Starts the agent and waits for its ready line; false (with the reason in error())
    // when it exits or does not become ready in time.
    bool start(const QStringList& arguments = {}, int timeoutMs = 20000)
    {
        static const QRegularExpression ready(
            QStringLiteral("^TarnAxe listening on ws://127\\.0\\.0\\.1:(\\d+)$"));
        m_process.setArguments(arguments);
        if (const auto match = startAndWaitForReadyLine(m_process, ready, timeoutMs)) {
            m_port = quint16(match->captured(1).toUInt());
            return true;
        }
        m_error = m_process.error() == QProcess::FailedToStart
                      ? m_process.errorString()
                      : QStringLiteral("the agent exited or did not become ready: ") +
                            QString::fromUtf8(m_process.readAllStandardError());
        return false;
    }
    void stop() { stopProcess(m_process, 5000); }

    quint16 port() const { return m_port; }
    QString url() const { return QStringLiteral("ws://127.0.0.1:%1").arg(m_port); }
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
