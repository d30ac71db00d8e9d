#pragma once
// Field values in tests: a text that shows type and value together, so that a failed
// comparison tells both, and the reader's date value for a day.

#include "platform/Variant.h"

#include <QString>

namespace tarnaxe::test {

inline QString describeVariant(const Variant& value)
{
    switch (value.type()) {
    case Variant::Type::String:
        return QStringLiteral("String \"%1\"").arg(value.stringValue());
    case Variant::Type::Boolean:
        return value.boolValue() ? QStringLiteral("Boolean True") : QStringLiteral("Boolean False");
    case Variant::Type::Date:
        return QStringLiteral("Date %1 %2")
            .arg(value.dateValue().toString(Qt::ISODate))
            .arg(value.dateValue().timeSpec() == Qt::LocalTime ? "local" : "not local");
    default:
        return QStringLiteral("other: %1").arg(value.toText());
    }
}

// A date as the table reader gives it: that day at local midnight.
inline Variant dateOf(int year, int month, int day)
{
    return Variant(QDateTime(QDate(year, month, day), QTime(0, 0)));
}

} // namespace tarnaxe::test
