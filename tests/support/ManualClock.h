#pragma once
// A clock that a test sets and moves by hand; sleeping moves it on at once.

#include "platform/Clock.h"

namespace tarnaxe::test {

class ManualClock : public Clock {
public:
    explicit ManualClock(QDateTime start = QDateTime(QDate(2024, 3, 15), QTime(10, 0)))
        : m_now(std::move(start))
    {}

    QDateTime now() const override { return m_now; }
    void sleep(int milliseconds) override { m_now = m_now.addMSecs(milliseconds); }

    void set(const QDateTime& now) { m_now = now; }

private:
    QDateTime m_now;
};

} // namespace tarnaxe::test
