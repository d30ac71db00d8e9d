#pragma once

#include <QString>

namespace tarnaxe::dataup {

// A new GUID in registry form: braces, upper-case hex ("{0F8E...}").
QString newRegistryGuid();

} // namespace tarnaxe::dataup
