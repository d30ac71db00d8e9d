#pragma once
// The time of day, behind an interface so that tests can set it and move it by hand:
// names made from the clock (MIE files), file ages and time-outs.

#include <QDateTime>

namespace tarnaxe {

class Clock {
public:
    virtual ~Clock() = default;
    // The current local date and time.
    virtual QDateTime now() const = 0;
    // Waits about that long; a test clock moves on by it instead.
    virtual void sleep(int milliseconds) = 0;
};

class SystemClock final : public Clock {
public:
    QDateTime now() const override;
    void sleep(int milliseconds) override;
};

} // namespace tarnaxe
