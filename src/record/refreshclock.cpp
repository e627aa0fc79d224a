#include "record/refreshclock.h"

#include <ctime>

qint64 steadyMilliseconds()
{
    // It is asked after each read; the precise clock takes as long as copying a kilobyte.
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    constexpr qint64 perSecond = 1000;
    constexpr qint64 nanoseconds = 1000000;
    return now.tv_sec * perSecond + now.tv_nsec / nanoseconds;
}
