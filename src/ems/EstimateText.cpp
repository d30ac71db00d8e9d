#include "ems/EstimateText.h"

#include <cstdio>
#include <cstdlib>

namespace tarnaxe {

QString trimBlanks(const QString& text)
{
    qsizetype begin = 0;
    while (begin < text.size() && text.at(begin) == QLatin1Char(' '))
        ++begin;
    return trimTrailingBlanks(text.mid(begin));
}

QString trimTrailingBlanks(const QString& text)
{
    qsizetype end = text.size();
    while (end > 0 && text.at(end - 1) == QLatin1Char(' '))
        --end;
    return text.left(end);
}

QString joinPersonName(const QString& last, const QString& first)
{
    if (!last.isEmpty() && !first.isEmpty())
        return last + QStringLiteral(", ") + first;
    return last.isEmpty() ? first : last;
}

QString listedName(const QString& last, const QString& first, const QString& company)
{
    const QString l = trimBlanks(last);
    const QString f = trimBlanks(first);
    if (l.isEmpty() && f.isEmpty())
        return trimBlanks(company);
    return joinPersonName(l, f);
}

QString listedVehicle(const QString& year, const QString& make, const QString& model)
{
    // A missing middle part leaves its two blanks; only the ends are trimmed.
    return trimBlanks(trimBlanks(year) + QLatin1Char(' ') + trimBlanks(make) + QLatin1Char(' ') +
                      trimBlanks(model));
}

namespace {

CreationTexts formatCreation(const QDate& date, const QTime& time)
{
    // Formatted by hand: QDateTime::toString parses its format on every call, which shows
    // when a list of a few thousand estimates is read.
    char shortDate[32];
    char stamp[48];
    std::snprintf(shortDate, sizeof shortDate, "%02d/%02d/%02d", date.month(), date.day(),
                  std::abs(date.year()) % 100);
    std::snprintf(stamp, sizeof stamp, "%04d%02d%02d%02d%02d%02d", date.year(), date.month(),
                  date.day(), time.hour(), time.minute(), time.second());
    return {QString::fromLatin1(shortDate), QString::fromLatin1(stamp)};
}

const CreationTexts kNoCreation{QStringLiteral("???"), QStringLiteral("???")};

} // namespace

CreationTexts creationTexts(const Variant& createDate)
{
    if (createDate.type() != Variant::Type::Date || !createDate.dateValue().isValid())
        return kNoCreation;
    return formatCreation(createDate.dateValue().date(), createDate.dateValue().time());
}

CreationTexts creationTexts(const std::optional<QDate>& createDate)
{
    return createDate ? formatCreation(*createDate, QTime(0, 0)) : kNoCreation;
}

std::optional<qint32> amountInCents(const Variant& amount)
{
    // Numeric fields come as text; a logical or a date is no amount.
    if (!amount.isString())
        return std::nullopt;
    try {
        return Variant(amount.toDouble() * 100.0).toInt32();
    } catch (const AutomationError&) {
        return std::nullopt;
    }
}

} // namespace tarnaxe
