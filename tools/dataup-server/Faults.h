#pragma once
// Faults injected on request, so that clients can be tested against a server that fails:
// rules name a page, let `after` requests pass, then give the next `times` requests their
// action. Every rule counts every request to its page; the first rule that is due acts.

#include <QByteArray>
#include <QString>
#include <mutex>
#include <string>
#include <vector>

namespace tarnaxe::dataup {

enum class FaultAction { None, Http500, Drop, Garbage, NoStatus, Delay };

struct Fault {
    FaultAction action = FaultAction::None;
    int delayMs = 0;
};

class FaultInjector {
public:
    // Replaces the rules with the JSON list; false (rules unchanged) with the reason.
    bool setRules(const QByteArray& json, QString& error);
    void clear();
    // The rules with the counts left, as JSON.
    QByteArray describe() const;
    // Counts a request to page and says what to do with it.
    Fault next(const std::string& page);

private:
    struct Rule {
        std::string page; // "*" for every page
        qint64 after = 0;
        qint64 times = 1;
        Fault fault;
        QString actionText;
        qint64 seen = 0;  // requests counted since the rule was set
        qint64 fired = 0; // requests the action was given to
    };

    mutable std::mutex m_mutex;
    std::vector<Rule> m_rules;
};

} // namespace tarnaxe::dataup
