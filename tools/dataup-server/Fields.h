#pragma once
// The fields of a page request, in the order they came: raw Windows-1252 bytes, names
// compared case-sensitively. A name may come twice; lookups take the first.

#include <QByteArray>
#include <QList>
#include <optional>

namespace tarnaxe::dataup {

struct Field {
    QByteArray name;
    QByteArray value;
};

class Fields {
public:
    void append(QByteArray name, QByteArray value);
    const QList<Field>& list() const { return m_list; }
    bool isEmpty() const { return m_list.isEmpty(); }
    const QByteArray* find(const char* name) const;
    bool has(const char* name) const { return find(name) != nullptr; }
    QByteArray value(const char* name) const;

private:
    QList<Field> m_list;
};

// A decimal size: digits only (no sign, no blanks), at most what a qint64 holds.
std::optional<qint64> parseSize(const QByteArray& text);

} // namespace tarnaxe::dataup
