#pragma once
// The small interface through which the host bridge serves an automation object: a
// described list of members invoked by slot with Variant arguments, and events.

#include "platform/Variant.h"

#include <QList>
#include <QObject>
#include <QString>
#include <functional>
#include <memory>

namespace tarnaxe {

enum class MemberKind { Method, Get, Put };

// How the automation layer converts an argument before the member sees it.
enum class ParamType { Variant, String, Int16, Int32, Boolean };

struct ParamInfo {
    QString name;
    ParamType type = ParamType::Variant;
    bool byRef = false;
};

struct MemberInfo {
    int slot = 0; // 1-based position in the interface
    QString name;
    MemberKind kind = MemberKind::Method;
    QList<ParamInfo> params; // for a put, the last one is the value assigned
    QString result;          // "string", "variant", "int16", "int32", "boolean" or empty
};

struct EventInfo {
    QString name;
    QStringList params;
};

struct CallResult {
    Variant result;
    // For members with arguments by reference: every argument's value after the call.
    QList<Variant> byRef;
};

QString kindName(MemberKind kind);
QString paramTypeName(ParamType type);

// An object that the host bridge can serve.
class Dispatchable : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    ~Dispatchable() override = default;

    virtual const QList<MemberInfo>& members() const = 0;
    virtual const QList<EventInfo>& events() const = 0;
    // Invoke a member by slot. The arguments have been converted to the member's declared
    // parameter types and counted. May throw AutomationError.
    virtual CallResult invoke(int slot, QList<Variant> args) = 0;

signals:
    void eventRaised(const QString& name, const QList<tarnaxe::Variant>& args);
};

using DispatchableFactory = std::function<std::unique_ptr<Dispatchable>()>;

} // namespace tarnaxe
