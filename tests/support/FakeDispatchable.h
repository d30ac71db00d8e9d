#pragma once
// A small automation object for host bridge tests: one member of each shape the bridge
// must serve (gets, a put, converted and by-reference parameters, failures), and a count
// of the calls it ran.

#include "bridge/Dispatch.h"

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
        Widen,      // method (lValue int32) -> lValue
        Flip,       // method (bOn boolean) -> not bOn
        Swap,       // method (vA byref, vB byref): exchanges the two
        Keep,       // method (sText byref string): leaves it, returns no by-ref list
        Fail,       // method: throws automation error 5
        Explode,    // method: throws std::runtime_error("disk on fire")
        Echo,       // method (vValue variant) -> vValue
        Raise,      // method (sStatus string, sMessage string): raises IOStatus
    };

    explicit FakeDispatchable(QObject* parent = nullptr);

    const QList<MemberInfo>& members() const override;
    const QList<EventInfo>& events() const override;
    CallResult invoke(int slot, QList<Variant> args) override;

    int callCount() const { return m_callCount; }


private:
    QString m_caption;
    int m_callCount = 0;
};

} // namespace tarnaxe::test
