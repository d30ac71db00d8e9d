#pragma once
// The JSON protocol of the host bridge as pure functions: values, the interface
// description, one call frame in and its answer out, and event frames. No sockets here.

#include "bridge/Dispatch.h"
#include "platform/Variant.h"

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QString>

namespace tarnaxe {

// Frames above this size are answered with an error without being parsed.
inline constexpr qsizetype kMaxCallFrameBytes = 1048576;

// Variant to JSON: Empty is null, numbers are numbers (a non-finite Double is null),
// a Date is {"$date": "2007-03-15T00:00:00"} in local time without zone.
QJsonValue encodeValue(const Variant& value);

// JSON to Variant: a whole number that fits 32 bits is a Long, any other number a
// Double. Arrays and objects other than {"$date": ...} throw AutomationError 13.
Variant decodeValue(const QJsonValue& value);

// The interface of an object: its members in slot order and its events.
QJsonObject describe(const Dispatchable& target);

// Runs one call frame against the target and returns the compact JSON answer. Never
// throws: every failure becomes an error answer.
QByteArray handleFrame(Dispatchable& target, const QByteArray& frame);

// {"id": ..., "error": {"number": ..., "description": ...}}; id is null when unknown.
QByteArray encodeError(const QJsonValue& id, int number, const QString& description);

// {"event": "IOStatus", "args": [...]}
QByteArray encodeEvent(const QString& name, const QList<Variant>& args);

} // namespace tarnaxe
