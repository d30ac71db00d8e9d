#include "Faults.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace tarnaxe::dataup {

namespace {

bool parseAction(const QString& text, Fault& fault)
{
    static const QList<std::pair<QString, FaultAction>> plain = {
        {QStringLiteral("http500"), FaultAction::Http500},
        {QStringLiteral("drop"), FaultAction::Drop},
        {QStringLiteral("garbage"), FaultAction::Garbage},
        {QStringLiteral("no-status"), FaultAction::NoStatus},
    };
    for (const auto& [name, action] : plain) {
        if (text == name) {
            fault = {action, 0};
            return true;
        }
    }
    if (!text.startsWith(QLatin1String("delay:")))
        return false;
    bool ok = false;
    const int ms = text.mid(6).toInt(&ok);
    if (!ok || ms < 0 || ms > 600000)
        return false;
    fault = {FaultAction::Delay, ms};
    return true;
}

// A whole number >= 0, or the default when the key is absent.
bool count(const QJsonObject& object, const char* key, qint64 fallback, qint64& out)
{
    const QJsonValue value = object.value(QLatin1String(key));
    if (value.isUndefined()) {
        out = fallback;
        return true;
    }
    if (!value.isDouble() || value.toDouble() < 0 || value.toDouble() != double(value.toInteger()))
        return false;
    out = value.toInteger();
    return true;
}

} // namespace

bool FaultInjector::setRules(const QByteArray& json, QString& error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isArray()) {
        error = QStringLiteral("expected a JSON list of rules");
        return false;
    }
    std::vector<Rule> rules;
    for (const QJsonValue& value : document.array()) {
        const QJsonObject object = value.toObject();
        Rule rule;
        const QString page = object.value(QLatin1String("page")).toString();
        rule.actionText = object.value(QLatin1String("action")).toString();
        if (!value.isObject() || page.isEmpty()) {
            error = QStringLiteral("every rule needs a \"page\"");
            return false;
        }
        if (!parseAction(rule.actionText, rule.fault)) {
            error = QStringLiteral("unknown action \"%1\" (http500, drop, garbage, no-status, "
                                   "delay:MS)")
                        .arg(rule.actionText);
            return false;
        }
        if (!count(object, "after", 0, rule.after) || !count(object, "times", 1, rule.times)) {
            error = QStringLiteral("\"after\" and \"times\" must be whole numbers >= 0");
            return false;
        }
        rule.page = page.toStdString();
        rules.push_back(std::move(rule));
    }
    const std::lock_guard lock(m_mutex);
    m_rules = std::move(rules);
    return true;
}

void FaultInjector::clear()
{
    const std::lock_guard lock(m_mutex);
    m_rules.clear();
}

QByteArray FaultInjector::describe() const
{
    const std::lock_guard lock(m_mutex);
    QJsonArray list;
    for (const Rule& rule : m_rules) {
        list.append(QJsonObject{
            {QStringLiteral("page"), QString::fromStdString(rule.page)},
            {QStringLiteral("after"), rule.after},
            {QStringLiteral("times"), rule.times},
            {QStringLiteral("action"), rule.actionText},
            {QStringLiteral("seen"), rule.seen},
            {QStringLiteral("passesLeft"), std::max<qint64>(0, rule.after - rule.seen)},
            {QStringLiteral("remaining"), rule.times - rule.fired},
        });
    }
    return QJsonDocument(list).toJson(QJsonDocument::Indented);
}

Fault FaultInjector::next(const std::string& page)
{
    const std::lock_guard lock(m_mutex);
    Fault result;
    for (Rule& rule : m_rules) {
        if (rule.page != page && rule.page != "*")
            continue;
        ++rule.seen;
        if (result.action == FaultAction::None && rule.seen > rule.after &&
            rule.fired < rule.times) {
            ++rule.fired;
            result = rule.fault;
        }
    }
    return result;
}

} // namespace tarnaxe::dataup
