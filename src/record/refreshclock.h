#pragma once

#include <QtGlobal>

/// Gives milliseconds that never go back.
using MillisecondClock = qint64 (*)();

/// The clock of every day; it may lag a few milliseconds behind.
qint64 steadyMilliseconds();

/// Tells a recording loop when its status is due, and the time since it was shown last.
class RefreshClock
{
public:
    explicit RefreshClock(MillisecondClock clock) : m_clock(clock), m_start(clock()) {}

    /// Milliseconds since the last restart.
    qint64 elapsed() const { return m_clock() - m_start; }
    bool isDue() const { return elapsed() > statusPeriodMs; }
    void restart() { m_start = m_clock(); }

private:
    static constexpr qint64 statusPeriodMs = 200;

    MillisecondClock m_clock;
    qint64 m_start;
};
