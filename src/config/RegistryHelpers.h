#pragma once
// The settings module's registry helpers: set a value (a string, or a 32-bit number) or
// delete one, by root, key path and value name, in the user's registry file. Results are
// not reported: callers go on whatever happened.

#include "platform/RegistryFile.h"
#include "platform/Variant.h"

namespace tarnaxe {

// $XDG_CONFIG_HOME/TarnAxe/registry.ini
QString userRegistryPath();

// A String is written as a string value, a 16- or 32-bit integer as a 32-bit number;
// any other type writes nothing.
void registrySetValue(RegistryFile& registry, const QString& root, const QString& keyPath,
                      const QString& name, const Variant& value);
void registryDeleteValue(RegistryFile& registry, const QString& root, const QString& keyPath,
                         const QString& name);

} // namespace tarnaxe
