#pragma once
// The automation value that crosses the host boundary, with the conversions that the
// automation layer applies to arguments (numeric test, 16-bit and 32-bit conversion,
// text of a Boolean). Conversions that cannot be made throw AutomationError.

#include <QDateTime>
#include <QString>
#include <exception>
#include <variant>

namespace tarnaxe {

// An error that reaches the host with an automation error number.
class AutomationError : public std::exception {
public:
    AutomationError(int number, QString description);
    int number() const { return m_number; }
    const QString& description() const { return m_description; }
    const char* what() const noexcept override { return m_utf8.constData(); }

    static AutomationError overflow();           // 6
    static AutomationError typeMismatch();       // 13
    static AutomationError notSupported();       // 438
    static AutomationError actionNotSupported(); // 445
    static AutomationError wrongArguments();     // 450

private:
    int m_number;
    QString m_description;
    QByteArray m_utf8;
};

class Variant {
public:
    enum class Type { Empty, Boolean, Integer, Long, Double, String, Date };

    Variant() = default;
    Variant(bool b) : m_value(b) {}
    Variant(qint16 i) : m_value(i) {}
    Variant(qint32 l) : m_value(l) {}
    Variant(double d) : m_value(d) {}
    Variant(const QString& s) : m_value(s) {}
    Variant(const char* s) : m_value(QString::fromUtf8(s)) {}
    Variant(const QDateTime& d) : m_value(d) {}

    Type type() const { return static_cast<Type>(m_value.index()); }
    bool isEmpty() const { return type() == Type::Empty; }
    bool isBoolean() const { return type() == Type::Boolean; }
    bool isString() const { return type() == Type::String; }

    // Raw access; valid only for the matching type.
    bool boolValue() const { return std::get<bool>(m_value); }
    const QString& stringValue() const { return std::get<QString>(m_value); }
    const QDateTime& dateValue() const { return std::get<QDateTime>(m_value); }

    // True for Empty, Boolean, the number types, and text that reads as a number.
    bool isNumeric() const;
    // The value as text: "True"/"False" for Booleans, "" for Empty, shortest round-trip
    // digits for numbers, "M/D/YYYY" (with " H:NN:SS AM" when it has a time) for dates.
    QString toText() const;
    // The value as a number; throws 13 when it is not numeric.
    double toDouble() const;
    // Conversions with banker's rounding; 13 when not numeric, 6 when out of range.
    qint16 toInt16() const;
    qint32 toInt32() const;
    // Boolean conversion: numbers are True when not 0, "True"/"False" in any case;
    // anything else throws 13.
    bool toBool() const;

    // A Date from text in the forms that automation hosts pass ("3/15/2007",
    // "2007-03-15", with optional time); invalid when the text is no date.
    static QDateTime parseDate(const QString& text);

    bool operator==(const Variant& other) const = default;

private:
    std::variant<std::monostate, bool, qint16, qint32, double, QString, QDateTime> m_value;
};

// The leading number of a text, as the automation Val() reads it: blanks skipped,
// reading stops at the first character that cannot continue a number; 0 when none.
double leadingNumber(const QString& text);

// Numeric test of a text: optional blanks, sign, digits with one decimal point,
// optional exponent, optional blanks; "&H" hexadecimal and "&O" octal forms too.
bool isNumericText(const QString& text, double* value = nullptr);

} // namespace tarnaxe
