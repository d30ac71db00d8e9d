#include "support/AgentProcess.h"

#include <QDeadlineTimer>
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
    m_process.start();
    if (!m_process.waitForStarted(timeoutMs)) {
        m_error = m_process.errorString();
        return false;
    }
    const QDeadlineTimer deadline(timeoutMs);
    while (!deadline.hasExpired()) {
        while (m_process.canReadLine()) {
            const QString line = QString::fromUtf8(m_process.readLine()).trimmed();
            if (const auto match = ready.match(line); match.hasMatch()) {
                m_port = quint16(match.captured(1).toUInt());
                return true;
            }
        }
        if (m_process.state() == QProcess::NotRunning) {
            m_error = QStringLiteral("the agent exited: ") +
                      QString::fromUtf8(m_process.readAllStandardError());
            return false;
        }
        m_process.waitForReadyRead(100);
    }
    m_error = QStringLiteral("the agent did not become ready: ") +
              QString::fromUtf8(m_process.readAllStandardError());
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
