#include "record/refreshclock.h"

std::chrono::nanoseconds steadyTime()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

qint64 RefreshClock::elapsed() const
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(m_clock() - m_start).count();
}
