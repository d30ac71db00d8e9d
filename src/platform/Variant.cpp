#include "platform/Variant.h"

#include <QLocale>
#include <QRegularExpression>
#include <cmath>

namespace tarnaxe {

AutomationError::AutomationError(int number, QString description)
    : m_number(number), m_description(std::move(description)), m_utf8(m_description.toUtf8())
{}

AutomationError AutomationError::overflow()
{
    return {6, QStringLiteral("Overflow")};
}
AutomationError AutomationError::typeMismatch()
{
    return {13, QStringLiteral("Type mismatch")};
}
AutomationError AutomationError::notSupported()
{
    return {438, QStringLiteral("Object doesn't support this property or method")};
}
AutomationError AutomationError::actionNotSupported()
{
    return {445, QStringLiteral("Object doesn't support this action")};
}
AutomationError AutomationError::wrongArguments()
{
    return {450, QStringLiteral("Wrong number of arguments or invalid property assignment")};
}

namespace {

// Days between the automation epoch (30 December 1899) and a date, as a Double.
double dateToSerial(const QDateTime& d)
{
    static const QDate epoch(1899, 12, 30);
    const double days = static_cast<double>(epoch.daysTo(d.date()));
    const double frac = d.time().msecsSinceStartOfDay() / 86400000.0;
    return days + frac;
}

double roundHalfEven(double v)
{
    return std::nearbyint(v);
}

} // namespace

bool isNumericText(const QString& text, double* value)
{
    const QString t = text.trimmed();
    if (t.isEmpty())
        return false;
    static const QRegularExpression hexOrOct(QStringLiteral("^&([HhOo])([0-9A-Fa-f]+)$"));
    if (const auto m = hexOrOct.match(t); m.hasMatch()) {
        const bool hex = m.captured(1).compare(QLatin1String("h"), Qt::CaseInsensitive) == 0;
        bool ok = false;
        const qlonglong n = m.captured(2).toLongLong(&ok, hex ? 16 : 8);
        if (ok && value)
            *value = static_cast<double>(n);
        return ok;
    }
    static const QRegularExpression decimal(
        QStringLiteral("^[+-]?\\s*(\\d+\\.?\\d*|\\.\\d+)([EeDd][+-]?\\d+)?$"));
    if (!decimal.match(t).hasMatch())
        return false;
    QString normal = t;
    normal.remove(QLatin1Char(' ')).replace(QLatin1Char('d'), QLatin1Char('e'));
    normal.replace(QLatin1Char('D'), QLatin1Char('e'));
    bool ok = false;
    const double d = normal.toDouble(&ok);
    if (ok && value)
        *value = d;
    return ok;
}

double leadingNumber(const QString& text)
{
    // Val() ignores blanks anywhere in the number and stops at the first other character.
    QString digits;
    digits.reserve(text.size());
    bool seenDigit = false, seenPoint = false, seenExp = false;
    for (const QChar c : text) {
        if (c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char('\n') ||
            c == QLatin1Char('\r'))
            continue;
        if (c.isDigit() && c.unicode() < 128) {
            digits += c;
            seenDigit = true;
        } else if ((c == QLatin1Char('+') || c == QLatin1Char('-')) &&
                   (digits.isEmpty() || digits.endsWith(QLatin1Char('e')))) {
            digits += c;
        } else if (c == QLatin1Char('.') && !seenPoint && !seenExp) {
            digits += c;
            seenPoint = true;
        } else if ((c == QLatin1Char('e') || c == QLatin1Char('E') || c == QLatin1Char('d') ||
                    c == QLatin1Char('D')) &&
                   seenDigit && !seenExp) {
            digits += QLatin1Char('e');
            seenExp = true;
        } else {
            break;
        }
    }
    // Trim a dangling exponent or sign so that "12e" reads as 12.
    while (!digits.isEmpty() && !digits.back().isDigit() && digits.back() != QLatin1Char('.'))
        digits.chop(1);
    bool ok = false;
    const double d = digits.toDouble(&ok);
    return ok ? d : 0.0;
}

bool Variant::isNumeric() const
{
    switch (type()) {
    case Type::Empty:
    case Type::Boolean:
    case Type::Integer:
    case Type::Long:
    case Type::Double:
        return true;
    case Type::String:
        return isNumericText(stringValue());
    case Type::Date:
        return false;
    }
    return false;
}

QString Variant::toText() const
{
    switch (type()) {
    case Type::Empty:
        return {};
    case Type::Boolean:
        return boolValue() ? QStringLiteral("True") : QStringLiteral("False");
    case Type::Integer:
        return QString::number(std::get<qint16>(m_value));
    case Type::Long:
        return QString::number(std::get<qint32>(m_value));
    case Type::Double: {
        const double d = std::get<double>(m_value);
        if (d == std::trunc(d) && std::abs(d) < 1e15)
            return QString::number(static_cast<qlonglong>(d));
        // Automation writes the exponent with a capital E ("1E+20").
        return QString::number(d, 'g', QLocale::FloatingPointShortest).toUpper();
    }
    case Type::String:
        return stringValue();
    case Type::Date: {
        const QDateTime& d = dateValue();
        QString text = QStringLiteral("%1/%2/%3")
                           .arg(d.date().month())
                           .arg(d.date().day())
                           .arg(d.date().year());
        if (d.time().msecsSinceStartOfDay() != 0)
            text += QLatin1Char(' ') + d.time().toString(QStringLiteral("h:mm:ss AP"));
        return text;
    }
    }
    return {};
}

double Variant::toDouble() const
{
    switch (type()) {
    case Type::Empty:
        return 0;
    case Type::Boolean:
        return boolValue() ? -1 : 0;
    case Type::Integer:
        return std::get<qint16>(m_value);
    case Type::Long:
        return std::get<qint32>(m_value);
    case Type::Double:
        return std::get<double>(m_value);
    case Type::String: {
        double d = 0;
        if (!isNumericText(stringValue(), &d))
            throw AutomationError::typeMismatch();
        return d;
    }
    case Type::Date:
        return dateToSerial(dateValue());
    }
    throw AutomationError::typeMismatch();
}

qint16 Variant::toInt16() const
{
    const double d = roundHalfEven(toDouble());
    if (!(d >= -32768.0 && d <= 32767.0))
        throw AutomationError::overflow();
    return static_cast<qint16>(d);
}

qint32 Variant::toInt32() const
{
    const double d = roundHalfEven(toDouble());
    if (!(d >= -2147483648.0 && d <= 2147483647.0))
        throw AutomationError::overflow();
    return static_cast<qint32>(d);
}

bool Variant::toBool() const
{
    if (type() == Type::String) {
        const QString t = stringValue().trimmed();
        if (t.compare(QLatin1String("True"), Qt::CaseInsensitive) == 0)
            return true;
        if (t.compare(QLatin1String("False"), Qt::CaseInsensitive) == 0)
            return false;
    }
    if (type() == Type::Date)
        throw AutomationError::typeMismatch();
    return toDouble() != 0;
}

QDateTime Variant::parseDate(const QString& text)
{
    QString t = text.trimmed();
    // Two-digit years follow the automation window: 00-29 are 2000s. The year is widened
    // before parsing, since a date such as 2/29/00 exists in 2000 but not in 1900.
    static const QRegularExpression twoDigitYear(
        QStringLiteral("^([0-9]{1,2}/[0-9]{1,2}/)([0-9]{2})$"));
    if (const auto m = twoDigitYear.match(t); m.hasMatch()) {
        const int yy = m.captured(2).toInt();
        t = m.captured(1) + QString::number(yy < 30 ? 2000 + yy : 1900 + yy);
    }
    static const QStringList formats = {
        QStringLiteral("M/d/yyyy"),
        QStringLiteral("M/d/yyyy h:mm:ss AP"),
        QStringLiteral("M/d/yyyy h:mm AP"),
        QStringLiteral("M/d/yyyy H:mm:ss"),
        QStringLiteral("M/d/yyyy H:mm"),
        QStringLiteral("yyyy-MM-dd"),
        QStringLiteral("yyyy-MM-ddTHH:mm:ss"),
        QStringLiteral("yyyy-MM-dd HH:mm:ss"),
        QStringLiteral("M-d-yyyy"),
    };
    for (const QString& f : formats) {
        const QDateTime d = QDateTime::fromString(t, f);
        if (d.isValid())
            return d;
    }
    return {};
}

} // namespace tarnaxe
