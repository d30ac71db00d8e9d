#include "transfer/ReplyFields.h"

#include "platform/Windows1252.h"

namespace tarnaxe {

namespace {

constexpr char kTab = '\t';

// Where the field called name starts, or 0. A field without a TAB after it is empty, and
// so is every later one: the scan stops there rather than stepping on byte by byte.
qsizetype findFieldStart(const QByteArray& reply, const QByteArray& name, QByteArray* value)
{
    qsizetype position = 1;
    qsizetype length = 0;
    QByteArray fieldName;
    QByteArray fieldValue;
    while (NextField(reply, position, length, fieldName, fieldValue)) {
        if (fieldName == name) {
            if (value)
                *value = fieldValue;
            return position;
        }
        if (length == 0 && reply.indexOf(kTab, position - 1) < 0)
            return 0;
        position += length + 1;
    }
    return 0;
}

} // namespace

bool NextField(const QByteArray& text, qsizetype position, qsizetype& length, QByteArray& name,
               QByteArray& value)
{
    length = 0;
    name.clear();
    value.clear();
    if (position < 1 || position > text.size())
        return false;
    const qsizetype tab = text.indexOf(kTab, position - 1);
    if (tab < 0)
        return true;
    length = tab - (position - 1);
    const QByteArrayView field = QByteArrayView(text).sliced(position - 1, length);
    const qsizetype colon = field.indexOf(':');
    if (colon > 0) {
        name = field.first(colon).toByteArray();
        value = field.sliced(colon + 1).toByteArray();
    }
    return true;
}

bool FindField(const QByteArray& reply, const QByteArray& name, QByteArray& value)
{
    value.clear();
    return findFieldStart(reply, name, &value) > 0;
}

QByteArray GetField(const QByteArray& reply, const QByteArray& name)
{
    QByteArray value;
    FindField(reply, name, value);
    return value;
}

QString GetFieldText(const QByteArray& reply, const QByteArray& name)
{
    return fromWindows1252(GetField(reply, name));
}

bool FindBinaryField(const QByteArray& reply, const QByteArray& name, qint64 length,
                     QByteArray& data)
{
    data.clear();
    const qsizetype start = findFieldStart(reply, name, nullptr);
    if (start == 0)
        return false;
    const qsizetype from = start - 1 + name.size() + 1;
    if (length > 0 && from < reply.size())
        data = reply.mid(from, qsizetype(qMin<qint64>(length, reply.size() - from)));
    return true;
}

} // namespace tarnaxe
