#include "Guid.h"

#include <QUuid>

namespace tarnaxe::dataup {

QString newRegistryGuid()
{
    return QUuid::createUuid().toString(QUuid::WithBraces).toUpper();
}

} // namespace tarnaxe::dataup
