#pragma once
// tarnaxe-ems info and field: what the agent reads from an EMS file set.

#include <QString>

namespace tarnaxe::tool {

int showEstimate(const QString& envelopePath, bool json);
int showField(const QString& envelopePath, const QString& fieldName);

} // namespace tarnaxe::tool
