#include "automation/HelperTimer.h"

namespace tarnaxe {

HelperTimer::HelperTimer(QObject* parent, int intervalMs) : QObject(parent)
{
    setObjectName(QStringLiteral("frmHelper"));
    m_timer.setInterval(intervalMs);
    connect(&m_timer, &QTimer::timeout, this, &HelperTimer::TimerPulse);
    m_timer.start();
}

} // namespace tarnaxe
