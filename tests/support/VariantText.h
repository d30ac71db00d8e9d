#pragma once
// Field values in tests: a text that shows type and value together, so that a failed
// comparison tells both, and the reader's date value for a day.

#include "platform/Variant.h"

#include <QString>

namespace tarnaxe::test {

QString describeVariant(const Variant& value);
// A date as the table reader gives it: that day at local midnight.
Variant dateOf(int year, int month, int day);

} // namespace tarnaxe::test
