#pragma once
// A small automation object for host bridge tests: one member of each shape the bridge
// must serve (gets, a put, converted and by-reference parameters, failures), and a count
// of the calls it ran.

#include "bridge/Dispatch.h"

#include <stdexcept>

namespace tarnaxe::test {

class FakeDispatchable : public Dispatchable {
    Q_OBJECT
public:
    enum Slot {
        Init = 1,   // method () -> "OK"
        TheNameOf,  // get (sList string, vIndex variant) -> "<list>#<index>"
        CaptionGet, // get Caption () -> the caption
        CaptionPut, // put Caption (sCaption string)
        Scale,      // method (iFactor int16) -> factor * 1000 as int32
        Flip,       // method (bOn boolean) -> not bOn
        Swap,       // method (vA byref, vB byref): exchanges the two
        Keep,       // method (sText byref string): leaves it, returns no by-ref list
        Fail,       // method: throws automation error 5
        Explode,    // method: throws std::runtime_error("disk on fire")
        Echo,       // method (vValue variant) -> vValue
        Raise,      // method (sStatus string, sMessage string): raises IOStatus
    };

    using Dispatchable::Dispatchable;

    const QList<MemberInfo>& members() const override
    {
        using enum MemberKind;
        using enum ParamType;
        static const QList<MemberInfo> members = {
            {Init, "Init", Method, {}, "string"},
            {TheNameOf, "TheNameOf", Get, {{"sList", String}, {"vIndex", Variant}}, "string"},
            {CaptionPut, "Caption", Put, {{"sCaption", String}}, ""},
            {CaptionGet, "Caption", Get, {}, "string"},
            {Scale, "Scale", Method, {{"iFactor", Int16}}, "int32"},
            {Flip, "Flip", Method, {{"bOn", Boolean}}, "boolean"},
            {Swap, "Swap", Method, {{"vA", Variant, true}, {"vB", Variant, true}}, ""},
            {Keep, "Keep", Method, {{"sText", String, true}}, ""},
            {Fail, "Fail", Method, {}, ""},
            {Explode, "Explode", Method, {}, ""},
            {Echo, "Echo", Method, {{"vValue", Variant}}, "variant"},
            {Raise, "Raise", Method, {{"sStatus", String}, {"sMessage", String}}, ""},
        };
        return members;
    }
    const QList<EventInfo>& events() const override
    {
        static const QList<EventInfo> events = {
            {QStringLiteral("PublishInfo"), {}},
            {QStringLiteral("IOStatus"), {QStringLiteral("sStatus"), QStringLiteral("sMessage")}}};
        return events;
    }

    CallResult invoke(int slot, QList<tarnaxe::Variant> args) override
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
            return {tarnaxe::Variant(qint32(args[0].toInt16() * 1000)), {}};
        case Flip:
            return {tarnaxe::Variant(!args[0].boolValue()), {}};
        case Swap:
            return {tarnaxe::Variant(), {args[1], args[0]}};
        case Fail:
            throw AutomationError(5, QStringLiteral("Invalid procedure call or argument"));
        case Explode:
            throw std::runtime_error("disk on fire");
        case Echo:
            return {args[0], {}};
        case Raise:
            emit eventRaised(QStringLiteral("IOStatus"), {args[0], args[1]});
            return {};
        case Keep:
            return {};
        }
        throw AutomationError::notSupported();
    }

    int callCount() const { return m_callCount; }

private:
    QString m_caption;
    int m_callCount = 0;
};

} // namespace tarnaxe::test
