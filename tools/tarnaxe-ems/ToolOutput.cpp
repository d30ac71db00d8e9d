#include "ToolOutput.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cstdio>

namespace tarnaxe::tool {

QJsonValue jsonValue(const Variant& value)
{
    switch (value.type()) {
    case Variant::Type::Boolean:
        return value.boolValue();
    case Variant::Type::Date:
        return value.dateValue().date().toString(Qt::ISODate);
    case Variant::Type::Empty:
        return QJsonValue::Null;
    default:
        return value.toText();
    }
}

QString textValue(const Variant& value)
{
    if (value.type() == Variant::Type::Date)
        return value.dateValue().date().toString(QStringLiteral("MM/dd/yyyy"));
    return value.toText();
}

void printLine(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
    std::fputc('\n', stdout);
}

void printJson(const QJsonValue& document)
{
    const QByteArray bytes =
        document.isArray() ? QJsonDocument(document.toArray()).toJson(QJsonDocument::Indented)
                           : QJsonDocument(document.toObject()).toJson(QJsonDocument::Indented);
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
}

int fail(const QString& message)
{
    std::fprintf(stderr, "tarnaxe-ems: %s\n", message.toUtf8().constData());
    return 1;
}

} // namespace tarnaxe::tool
