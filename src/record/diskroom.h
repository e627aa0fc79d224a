#pragma once

#include <QString>

/// How much room a disk has, and how long the room lasts at a rate in KB/s. Empty for a negative
/// number of bytes, which stands for a file without a disk.
QString diskRoomText(qint64 freeBytes, float kilobytesPerSecond);
