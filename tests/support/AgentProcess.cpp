#include "support/AgentProcess.h"

#include "support/ReadyLine.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

namespace tarnaxe::test {

AgentProcess::AgentProcess(const QByteArray& settingsText)
{
    const QString folder = m_home.configHome() + QStringLiteral("/TarnAxe");
    QDir().mkpath(folder);
    QFile settings(folder + QStringLiteral("/TarnLocal.ini"));
    if (settings.open(QIODevice::WriteOnly))
        settings.write(settingsText);
    m_process.setProcessEnvironment(m_home.environment());
    m_process.setProgram(QStringLiteral(TARNAXE_AGENT_PATH));
}

AgentProcess::~AgentProcess()
{
    stop();
}

bool AgentProcess::start(const QStringList& arguments, int timeoutMs)
{
    static const QRegularExpression ready(
        QStringLiteral("^TarnAxe listening on ws://127\\.0\\.0\\.1:(\\d+)$"));
    m_process.setArguments(arguments);
    if (const auto match = startAndWaitForReadyLine(m_process, ready, timeoutMs)) {
        m_port = quint16(match->captured(1).toUInt());
        return true;
    }
    const QString why = m_process.state() == QProcess::NotRunning
                            ? QStringLiteral("the agent exited: ")
                            : QStringLiteral("the agent did not become ready: ");
    m_error = m_process.error() == QProcess::FailedToStart
                  ? m_process.errorString()
                  : why + QString::fromUtf8(m_process.readAllStandardError());
    return false;
}

void AgentProcess::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(5000)) {
        m_process.kill();
        m_process.waitForFinished(5000);
    }
}

} // namespace tarnaxe::test
