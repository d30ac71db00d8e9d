#include "bridge/Dispatch.h"

namespace tarnaxe {

QString kindName(MemberKind kind)
{
    switch (kind) {
    case MemberKind::Method:
        return QStringLiteral("method");
    case MemberKind::Get:
        return QStringLiteral("get");
    case MemberKind::Put:
        return QStringLiteral("put");
    }
    return {};
}

QString paramTypeName(ParamType type)
{
    switch (type) {
    case ParamType::Variant:
        return QStringLiteral("variant");
    case ParamType::String:
        return QStringLiteral("string");
    case ParamType::Int16:
        return QStringLiteral("int16");
    case ParamType::Int32:
        return QStringLiteral("int32");
    case ParamType::Boolean:
        return QStringLiteral("boolean");
    }
    return {};
}

} // namespace tarnaxe
