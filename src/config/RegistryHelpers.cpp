#include "config/RegistryHelpers.h"

#include "platform/FileNames.h"
#include "platform/Logging.h"

#include <QStandardPaths>

namespace tarnaxe {

QString userRegistryPath()
{
    return joinPath(
        joinPath(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation),
                 QStringLiteral("TarnAxe")),
        QStringLiteral("registry.ini"));
}

void registrySetValue(RegistryFile& registry, const QString& root, const QString& keyPath,
                      const QString& name, const Variant& value)
{
    bool written = true;
    switch (value.type()) {
    case Variant::Type::String:
        written = registry.setString(root, keyPath, name, value.stringValue());
        break;
    case Variant::Type::Integer:
    case Variant::Type::Long:
        written = registry.setDWord(root, keyPath, name, quint32(value.toInt32()));
        break;
    default:
        return;
    }
    if (!written)
        qCWarning(lcConfig) << "could not write registry value" << keyPath << name;
}

void registryDeleteValue(RegistryFile& registry, const QString& root, const QString& keyPath,
                         const QString& name)
{
    if (!registry.deleteValue(root, keyPath, name))
        qCWarning(lcConfig) << "could not delete registry value" << keyPath << name;
}

} // namespace tarnaxe
