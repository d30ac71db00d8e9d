#include "bridge/BridgeProtocol.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace tarnaxe {

namespace {

const QString kDateKey = QStringLiteral("$date");

// A frame that is not a call; answered with number -1 and this reason.
struct BadFrame {
    QString reason;
};

// QJsonDocument writes only arrays and objects, so a lone value is written inside an
// array whose brackets are then dropped. Answers are assembled by hand so that "id"
// leads, which keeps logs and traces readable.
QByteArray jsonText(const QJsonValue& value)
{
    QByteArray text = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    text.chop(1);
    text.remove(0, 1);
    return text;
}

QByteArray idText(const QJsonValue& id)
{
    return id.isDouble() || id.isString() ? jsonText(id) : QByteArrayLiteral("null");
}

QByteArray answer(const QJsonValue& id, const QJsonValue& result)
{
    return "{\"id\":" + idText(id) + ",\"result\":" + jsonText(result) + '}';
}

MemberKind parseKind(const QJsonValue& kind)
{
    if (kind.isString()) {
        const QString text = kind.toString();
        for (MemberKind k : {MemberKind::Method, MemberKind::Get, MemberKind::Put}) {
            if (text.compare(kindName(k), Qt::CaseInsensitive) == 0)
                return k;
        }
    }
    throw BadFrame{QStringLiteral("Unknown kind %1: expected \"method\", \"get\" or \"put\"")
                       .arg(QString::fromUtf8(jsonText(kind)))};
}

// Scripting hosts read a property with method-call syntax, so a method call may reach a
// property get of the same name.
bool kindReaches(MemberKind requested, MemberKind actual)
{
    return requested == actual || (requested == MemberKind::Method && actual == MemberKind::Get);
}

const MemberInfo& memberBySlot(const Dispatchable& target, const QJsonObject& call,
                               const std::optional<MemberKind>& kind)
{
    const QJsonValue slotValue = call.value(QLatin1String("slot"));
    const double slot = slotValue.toDouble(-1);
    if (!slotValue.isDouble() || slot != std::trunc(slot) || slot < 1 ||
        slot > std::numeric_limits<int>::max())
        throw BadFrame{QStringLiteral("slot must be a whole number from 1")};
    const auto& members = target.members();
    const auto it = std::find_if(members.cbegin(), members.cend(), [&](const MemberInfo& m) {
        return m.slot == static_cast<int>(slot);
    });
    if (it == members.cend())
        throw AutomationError::notSupported();
    // A name sent along with the slot must agree with it; a mismatch is a client bug that
    // would otherwise call the wrong member silently.
    const QJsonValue name = call.value(QLatin1String("member"));
    if (name.isString() && name.toString().compare(it->name, Qt::CaseInsensitive) != 0)
        throw AutomationError::notSupported();
    if (kind && !kindReaches(*kind, it->kind))
        throw AutomationError::notSupported();
    return *it;
}

const MemberInfo& memberByName(const Dispatchable& target, const QString& name, MemberKind kind)
{
    const MemberInfo* reachable = nullptr;
    for (const MemberInfo& m : target.members()) {
        if (m.name.compare(name, Qt::CaseInsensitive) != 0)
            continue;
        if (m.kind == kind)
            return m;
        if (kindReaches(kind, m.kind))
            reachable = &m;
    }
    if (!reachable)
        throw AutomationError::notSupported();
    return *reachable;
}

Variant convertArgument(const Variant& value, ParamType type)
{
    switch (type) {
    case ParamType::Variant:
        return value;
    case ParamType::String:
        return Variant(value.toText());
    case ParamType::Int16:
        return Variant(value.toInt16());
    case ParamType::Int32:
        return Variant(value.toInt32());
    case ParamType::Boolean:
        return Variant(value.toBool());
    }
    return value;
}

QByteArray runCall(Dispatchable& target, const QJsonObject& call, const QJsonValue& id)
{
    const QJsonValue memberValue = call.value(QLatin1String("member"));
    if (memberValue.isString() && memberValue.toString() == QLatin1String("$describe"))
        return answer(id, describe(target));

    const QJsonValue kindValue = call.value(QLatin1String("kind"));
    std::optional<MemberKind> kind;
    if (!kindValue.isUndefined() && !kindValue.isNull())
        kind = parseKind(kindValue);

    const QJsonValue argsValue = call.value(QLatin1String("args"));
    if (!argsValue.isUndefined() && !argsValue.isArray())
        throw BadFrame{QStringLiteral("args must be an array")};
    const QJsonArray jsonArgs = argsValue.toArray();

    const QJsonValue slotValue = call.value(QLatin1String("slot"));
    const bool bySlot = !slotValue.isUndefined() && !slotValue.isNull();
    if (!bySlot && !memberValue.isString()) {
        throw BadFrame{memberValue.isUndefined()
                           ? QStringLiteral("Call has neither member nor slot")
                           : QStringLiteral("member must be a string")};
    }
    const MemberInfo& member =
        bySlot ? memberBySlot(target, call, kind)
               : memberByName(target, memberValue.toString(), kind.value_or(MemberKind::Method));

    if (jsonArgs.size() != member.params.size())
        throw AutomationError::wrongArguments();
    QList<Variant> args;
    args.reserve(jsonArgs.size());
    bool anyByRef = false;
    for (qsizetype i = 0; i < jsonArgs.size(); ++i) {
        const ParamInfo& param = member.params.at(i);
        args.append(convertArgument(decodeValue(jsonArgs.at(i)), param.type));
        anyByRef = anyByRef || param.byRef;
    }

    const QList<Variant> sent = anyByRef ? args : QList<Variant>();
    const CallResult result = target.invoke(member.slot, std::move(args));

    QByteArray text =
        "{\"id\":" + idText(id) + ",\"result\":" + jsonText(encodeValue(result.result));
    if (anyByRef) {
        // A member that leaves its arguments alone may return no list; the host then sees
        // the values it passed, as converted.
        const QList<Variant>& after = result.byRef.isEmpty() ? sent : result.byRef;
        QJsonArray values;
        for (const Variant& v : after)
            values.append(encodeValue(v));
        text += ",\"byref\":" + QJsonDocument(values).toJson(QJsonDocument::Compact);
    }
    text += '}';
    return text;
}

} // namespace

QJsonValue encodeValue(const Variant& value)
{
    switch (value.type()) {
    case Variant::Type::Empty:
        return QJsonValue(QJsonValue::Null);
    case Variant::Type::Boolean:
        return value.boolValue();
    case Variant::Type::Integer:
    case Variant::Type::Long:
        return static_cast<qint64>(value.toInt32());
    case Variant::Type::Double: {
        const double d = value.toDouble();
        return std::isfinite(d) ? QJsonValue(d) : QJsonValue(QJsonValue::Null);
    }
    case Variant::Type::String:
        return value.stringValue();
    case Variant::Type::Date: {
        const QDateTime& d = value.dateValue();
        QString text = d.toString(QStringLiteral("yyyy-MM-dd'T'HH:mm:ss"));
        if (d.time().msec() != 0)
            text += d.toString(QStringLiteral(".zzz"));
        return QJsonObject{{kDateKey, text}};
    }
    }
    return QJsonValue(QJsonValue::Null);
}

Variant decodeValue(const QJsonValue& value)
{
    switch (value.type()) {
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        return {};
    case QJsonValue::Bool:
        return Variant(value.toBool());
    case QJsonValue::Double: {
        const double d = value.toDouble();
        if (d == std::trunc(d) && d >= std::numeric_limits<qint32>::min() &&
            d <= std::numeric_limits<qint32>::max())
            return Variant(static_cast<qint32>(d));
        return Variant(d);
    }
    case QJsonValue::String:
        return Variant(value.toString());
    case QJsonValue::Object: {
        const QJsonObject object = value.toObject();
        const QJsonValue text = object.value(kDateKey);
        if (object.size() != 1 || !text.isString())
            throw AutomationError::typeMismatch();
        QDateTime date = QDateTime::fromString(text.toString(), Qt::ISODateWithMs);
        if (!date.isValid())
            throw AutomationError::typeMismatch();
        // Dates are local on the wire; a sender that adds a zone still means an instant,
        // which the agent holds in local time like every other date.
        if (date.timeSpec() != Qt::LocalTime)
            date = date.toLocalTime();
        return Variant(date);
    }
    case QJsonValue::Array:
        break;
    }
    throw AutomationError::typeMismatch();
}

QJsonObject describe(const Dispatchable& target)
{
    QList<const MemberInfo*> ordered;
    for (const MemberInfo& m : target.members())
        ordered.append(&m);
    std::stable_sort(ordered.begin(), ordered.end(),
                     [](const MemberInfo* a, const MemberInfo* b) { return a->slot < b->slot; });

    QJsonArray members;
    for (const MemberInfo* m : ordered) {
        QJsonArray params;
        for (const ParamInfo& p : m->params) {
            params.append(QJsonObject{{QStringLiteral("name"), p.name},
                                      {QStringLiteral("type"), paramTypeName(p.type)},
                                      {QStringLiteral("byref"), p.byRef}});
        }
        members.append(QJsonObject{{QStringLiteral("slot"), m->slot},
                                   {QStringLiteral("name"), m->name},
                                   {QStringLiteral("kind"), kindName(m->kind)},
                                   {QStringLiteral("params"), params},
                                   {QStringLiteral("result"), m->result}});
    }
    QJsonArray events;
    for (const EventInfo& e : target.events()) {
        events.append(
            QJsonObject{{QStringLiteral("name"), e.name},
                        {QStringLiteral("params"), QJsonArray::fromStringList(e.params)}});
    }
    return QJsonObject{{QStringLiteral("members"), members}, {QStringLiteral("events"), events}};
}

QByteArray encodeError(const QJsonValue& id, int number, const QString& description)
{
    return "{\"id\":" + idText(id) + ",\"error\":{\"number\":" + QByteArray::number(number) +
           ",\"description\":" + jsonText(description) + "}}";
}

QByteArray encodeEvent(const QString& name, const QList<Variant>& args)
{
    QJsonArray values;
    for (const Variant& v : args)
        values.append(encodeValue(v));
    return "{\"event\":" + jsonText(name) +
           ",\"args\":" + QJsonDocument(values).toJson(QJsonDocument::Compact) + '}';
}

QByteArray handleFrame(Dispatchable& target, const QByteArray& frame)
{
    const QJsonValue unknownId(QJsonValue::Null);
    if (frame.size() > kMaxCallFrameBytes) {
        return encodeError(unknownId, -1,
                           QStringLiteral("Frame too large: %1 bytes (limit %2)")
                               .arg(frame.size())
                               .arg(kMaxCallFrameBytes));
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(frame, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        return encodeError(unknownId, -1,
                           QStringLiteral("Frame is not valid JSON: %1 at offset %2")
                               .arg(parseError.errorString())
                               .arg(parseError.offset));
    }
    if (!document.isObject())
        return encodeError(unknownId, -1, QStringLiteral("Frame is not a JSON object"));
    const QJsonObject call = document.object();
    const QJsonValue id = call.value(QLatin1String("id"));
    if (!id.isDouble() && !id.isString()) {
        return encodeError(unknownId, -1,
                           id.isUndefined() ? QStringLiteral("Call has no id")
                                            : QStringLiteral("id must be a number or a string"));
    }
    try {
        return runCall(target, call, id);
    } catch (const BadFrame& e) {
        return encodeError(id, -1, e.reason);
    } catch (const AutomationError& e) {
        return encodeError(id, e.number(), e.description());
    } catch (const std::exception& e) {
        return encodeError(id, -1, QString::fromUtf8(e.what()));
    } catch (...) {
        return encodeError(id, -1, QStringLiteral("Unknown failure in the member"));
    }
}

} // namespace tarnaxe
