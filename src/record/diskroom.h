#pragma once

#include <QString>

/// How much room a disk has, and how long that is enough for at a rate in KB/s; empty for a
/// negative number of bytes, which is what has no disk.
QString diskRoomText(qint64 freeBytes, float kilobytesPerSecond);
