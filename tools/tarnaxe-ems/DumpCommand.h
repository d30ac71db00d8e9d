#pragma once
// tarnaxe-ems dump TABLE.DBF [--json]: a table's header, fields and records, with
// deletion flags and memo texts.

#include <QString>

namespace tarnaxe::tool {

int dumpTable(const QString& path, bool json);

} // namespace tarnaxe::tool
