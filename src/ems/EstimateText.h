#pragma once
// How the summaries of an estimate are made from the raw field values of its EMS set:
// names, the vehicle line, the creation date texts and the total in cents.

#include "platform/Variant.h"

#include <QString>
#include <optional>

namespace tarnaxe {

// Blanks only: the fields are padded with blanks, and any other character is data.
QString trimBlanks(const QString& text);
QString trimTrailingBlanks(const QString& text);

// "LAST, FIRST" when both are there, else the one that is; no trimming.
QString joinPersonName(const QString& last, const QString& first);

// The name shown for a person of the estimate: the parts trimmed on both sides, the
// company when both names are empty, else joinPersonName.
QString listedName(const QString& last, const QString& first, const QString& company);

// Year, make and model, each trimmed, joined by single blanks, the result trimmed.
QString listedVehicle(const QString& year, const QString& make, const QString& model);

// CREATE_DT as "MM/DD/YY" and "YYYYMMDDHHNNSS"; both "???" when the value is no date.
struct CreationTexts {
    QString date;
    QString stamp;
};
CreationTexts creationTexts(const Variant& createDate);
// The same for the day a date field holds (midnight).
CreationTexts creationTexts(const std::optional<QDate>& createDate);

// N_TTL_AMT times 100 as a signed 32-bit number, ties to even; nothing when the value is
// not a number or the cents do not fit.
std::optional<qint32> amountInCents(const Variant& amount);

} // namespace tarnaxe
