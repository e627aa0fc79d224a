#pragma once

#include <QString>

/// `bytes` in `milliseconds` as KB/s (1 KB = 1024 bytes).
inline float kilobytesPerSecond(quint32 bytes, qint64 milliseconds)
{
    constexpr float bytesPerKilobytePerMs = 1.024F;
    return static_cast<float>(bytes) / (static_cast<float>(milliseconds) * bytesPerKilobytePerMs);
}

/// A rate with six significant digits, in the same notation whatever the user's language.
inline QString rateText(float rate)
{
    return QString::number(static_cast<double>(rate), 'g', 6);
}
