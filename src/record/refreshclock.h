#pragma once

#include <QtGlobal>

#include <chrono>

/// Gives the time since some fixed moment; never goes back.
using SteadyClock = std::chrono::nanoseconds (*)();

/// The system's monotonic clock, exact to less than a microsecond.
std::chrono::nanoseconds steadyTime();

/// Tells a recording loop when its status is due, and the time since it was shown last.
class RefreshClock
{
public:
    explicit RefreshClock(SteadyClock clock) : m_clock(clock), m_start(clock()) {}

    /// Whole milliseconds since the last restart.
    qint64 elapsed() const;
    bool isDue() const { return elapsed() > statusPeriodMs; }
    void restart() { m_start = m_clock(); }

private:
    static constexpr qint64 statusPeriodMs = 200;

    SteadyClock m_clock;
    std::chrono::nanoseconds m_start;
};
