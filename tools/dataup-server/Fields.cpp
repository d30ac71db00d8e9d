#include "Fields.h"

#include <limits>

namespace tarnaxe::dataup {

void Fields::append(QByteArray name, QByteArray value)
{
    m_list.append({std::move(name), std::move(value)});
}

const QByteArray* Fields::find(const char* name) const
{
    for (const Field& field : m_list) {
        if (field.name == name)
            return &field.value;
    }
    return nullptr;
}

QByteArray Fields::value(const char* name) const
{
    const QByteArray* found = find(name);
    return found ? *found : QByteArray();
}

std::optional<qint64> parseSize(const QByteArray& text)
{
    if (text.isEmpty() || text.size() > 19)
        return std::nullopt;
    qint64 value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            return std::nullopt;
        const int digit = c - '0';
        if (value > (std::numeric_limits<qint64>::max() - digit) / 10)
            return std::nullopt;
        value = value * 10 + digit;
    }
    return value;
}

} // namespace tarnaxe::dataup
