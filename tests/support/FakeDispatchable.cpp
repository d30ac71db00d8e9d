#include "support/FakeDispatchable.h"

#include <stdexcept>

namespace tarnaxe::test {

namespace {

ParamInfo param(const char* name, ParamType type, bool byRef = false)
{
    return {QString::fromLatin1(name), type, byRef};
}

MemberInfo member(int slot, const char* name, MemberKind kind, QList<ParamInfo> params,
                  const char* result)
{
    return {slot, QString::fromLatin1(name), kind, std::move(params), QString::fromLatin1(result)};
}

// Kept out of slot order on purpose (the put before the get): the interface description
// must come out in slot order whatever order an object lists its members in.
const QList<MemberInfo> kMembers = {
    member(FakeDispatchable::Init, "Init", MemberKind::Method, {}, "string"),
    member(FakeDispatchable::TheNameOf, "TheNameOf", MemberKind::Get,
           {param("sList", ParamType::String), param("vIndex", ParamType::Variant)}, "string"),
    member(FakeDispatchable::CaptionPut, "Caption", MemberKind::Put,
           {param("sCaption", ParamType::String)}, ""),
    member(FakeDispatchable::CaptionGet, "Caption", MemberKind::Get, {}, "string"),
    member(FakeDispatchable::Scale, "Scale", MemberKind::Method,
           {param("iFactor", ParamType::Int16)}, "int32"),
    member(FakeDispatchable::Widen, "Widen", MemberKind::Method,
           {param("lValue", ParamType::Int32)}, "int32"),
    member(FakeDispatchable::Flip, "Flip", MemberKind::Method, {param("bOn", ParamType::Boolean)},
           "boolean"),
    member(FakeDispatchable::Swap, "Swap", MemberKind::Method,
           {param("vA", ParamType::Variant, true), param("vB", ParamType::Variant, true)}, ""),
    member(FakeDispatchable::Keep, "Keep", MemberKind::Method,
           {param("sText", ParamType::String, true)}, ""),
    member(FakeDispatchable::Fail, "Fail", MemberKind::Method, {}, ""),
    member(FakeDispatchable::Explode, "Explode", MemberKind::Method, {}, ""),
    member(FakeDispatchable::Echo, "Echo", MemberKind::Method,
           {param("vValue", ParamType::Variant)}, "variant"),
    member(FakeDispatchable::Raise, "Raise", MemberKind::Method,
           {param("sStatus", ParamType::String), param("sMessage", ParamType::String)}, ""),
};

const QList<EventInfo> kEvents = {
    {QStringLiteral("PublishInfo"), {}},
    {QStringLiteral("IOStatus"), {QStringLiteral("sStatus"), QStringLiteral("sMessage")}},
};

} // namespace

FakeDispatchable::FakeDispatchable(QObject* parent) : Dispatchable(parent) {}

const QList<MemberInfo>& FakeDispatchable::members() const
{
    return kMembers;
}

const QList<EventInfo>& FakeDispatchable::events() const
{
    return kEvents;
}

CallResult FakeDispatchable::invoke(int slot, QList<Variant> args)
{
    ++m_callCount;
    switch (slot) {
    case Init:
        return {QStringLiteral("OK"), {}};
    case TheNameOf:
        return {args[0].stringValue() + QLatin1Char('#') + args[1].toText(), {}};
    case CaptionGet:
        return {m_caption, {}};
    case CaptionPut:
        m_caption = args[0].stringValue();
        return {};
    case Scale:
        return {Variant(static_cast<qint32>(args[0].toInt16() * 1000)), {}};
    case Widen:
        return {Variant(args[0].toInt32()), {}};
    case Flip:
        return {Variant(!args[0].boolValue()), {}};
    case Swap:
        return {Variant(), {args[1], args[0]}};
    case Keep:
        return {};
    case Fail:
        throw AutomationError(5, QStringLiteral("Invalid procedure call or argument"));
    case Explode:
        throw std::runtime_error("disk on fire");
    case Echo:
        return {args[0], {}};
    case Raise:
        emit eventRaised(QStringLiteral("IOStatus"), {args[0], args[1]});
        return {};
    }
    throw AutomationError::notSupported();
}

} // namespace tarnaxe::test
