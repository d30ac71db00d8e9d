#pragma once
// How tarnaxe-ems writes: text for people, JSON for programs, errors on stderr.

#include "platform/Variant.h"

#include <QJsonValue>
#include <QString>

namespace tarnaxe::tool {

// A field value for JSON: text, true/false, or a date as "YYYY-MM-DD".
QJsonValue jsonValue(const Variant& value);
// A field value for text output: text as stored (blanks kept), dates as MM/DD/YYYY.
QString textValue(const Variant& value);

void printLine(const QString& text);
void printJson(const QJsonValue& document);
// "tarnaxe-ems: " + message on stderr; returns the exit status 1.
int fail(const QString& message);

} // namespace tarnaxe::tool
