#include "platform/Clock.h"

#include <QThread>

namespace tarnaxe {

QDateTime SystemClock::now() const
{
    return QDateTime::currentDateTime();
}

void SystemClock::sleep(int milliseconds)
{
    QThread::msleep(static_cast<unsigned long>(qMax(0, milliseconds)));
}

} // namespace tarnaxe
