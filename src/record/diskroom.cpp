#include "record/diskroom.h"

#include <QLocale>

namespace
{

QString durationText(double seconds)
{
    constexpr double secondsPerMinute = 60;
    constexpr qint64 minutesPerHour = 60;
    constexpr qint64 minutesPerDay = 24 * minutesPerHour;
    // Longer than anybody waits, and still within an integer.
    constexpr double longest = 1e9;
    const auto minutes = static_cast<qint64>(qMin(seconds, longest) / secondsPerMinute);
    return minutes >= 2 * minutesPerDay ? QStringLiteral("%1 days").arg(minutes / minutesPerDay)
                                        : QStringLiteral("%1 h %2 min")
                                              .arg(minutes / minutesPerHour)
                                              .arg(minutes % minutesPerHour);
}

} // namespace

QString diskRoomText(qint64 freeBytes, float kilobytesPerSecond)
{
    if (freeBytes < 0) {
        return {};
    }
    const QString room =
        QLocale::c().formattedDataSize(freeBytes, 1, QLocale::DataSizeTraditionalFormat);
    if (kilobytesPerSecond <= 0) {
        return QStringLiteral("%1 are free on the disk of the record file.").arg(room);
    }
    constexpr double bytesPerKilobyte = 1024;
    const double seconds = double(freeBytes) / (double(kilobytesPerSecond) * bytesPerKilobyte);
    return QStringLiteral("%1 are free on the disk of the record file, enough for %2 at this rate.")
        .arg(room, durationText(seconds));
}
