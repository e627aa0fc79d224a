#include "record/recordfile.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <utility>

namespace
{

constexpr mode_t readWriteForAll = 0666; // less the user's umask
constexpr int pipeBytes = 1 << 20;
constexpr int longestPauseMs = 2000;

struct stat statusOf(int descriptor)
{
    struct stat status = {};
    fstat(descriptor, &status);
    return status;
}

/// Locks the file against other programs. True also where the file system has no locks.
bool lock(int descriptor)
{
    return flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

/// Empties the file. True also for a file that is not a plain one, which has nothing to lose.
bool truncate(int descriptor)
{
    return ftruncate(descriptor, 0) == 0 || !S_ISREG(statusOf(descriptor).st_mode);
}

/// Waits for the reader of a full pipe; false if the reader takes nothing for too long.
bool waitForReader(int descriptor)
{
    pollfd writable = {descriptor, POLLOUT, 0};
    int result = -1;
    do {
        result = poll(&writable, 1, longestPauseMs);
    } while (result < 0 && errno == EINTR);
    return result > 0;
}

/// Writes as much as the file takes, at least one byte; -1 if the file takes nothing.
ssize_t writeSome(int descriptor, const char* bytes, std::size_t count)
{
    while (true) {
        const ssize_t written = ::write(descriptor, bytes, count);
        const bool isPaused = written < 0 && errno == EAGAIN && waitForReader(descriptor);
        if (!isPaused && (written >= 0 || errno != EINTR)) {
            return written;
        }
    }
}

QString writeError()
{
    switch (errno) {
    case EAGAIN:
        return QStringLiteral("nobody has read from it for two seconds");
    case EPIPE:
        return QStringLiteral("its reader is gone");
    default:
        return qt_error_string(errno);
    }
}

} // namespace

bool RecordFile::open(const QString& name)
{
    close();
    m_name = name;
    // Without O_NONBLOCK a pipe without a reader would block the window for ever. Without O_APPEND
    // a hole of the old length would hide that somebody has emptied the file.
    m_descriptor =
        ::open(QFile::encodeName(name).constData(),
               O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, readWriteForAll);
    if (m_descriptor < 0) {
        return false;
    }
    if (isatty(m_descriptor) != 0 || !lock(m_descriptor) || !truncate(m_descriptor)) {
        close();
        return false;
    }
    const struct stat status = statusOf(m_descriptor);
    m_isPlainFile = S_ISREG(status.st_mode) && status.st_nlink > 0;
    // A larger pipe lets its reader pause longer. For any other file the call does nothing.
    fcntl(m_descriptor, F_SETPIPE_SZ, pipeBytes);
    return true;
}

bool RecordFile::writeHeader(bool newExlFormat)
{
    constexpr std::array<char, 4> magic = {'D', 'B', 'G', 'P'};
    const std::array<char, 4> format = {1, 0, newExlFormat ? char(2) : char(1), 0};
    return write(magic.data(), magic.size()) && write(format.data(), format.size());
}

bool RecordFile::write(const char* bytes, std::size_t count)
{
    if (m_buffered + count > m_buffer.size() && !handOver()) {
        return false;
    }
    if (count >= m_buffer.size()) {
        return writeThrough(bytes, count);
    }
    std::memcpy(m_buffer.data() + m_buffered, bytes, count);
    m_buffered += count;
    return m_failure == Failure::None;
}

bool RecordFile::flush()
{
    if (!handOver() || !isStillThere()) {
        return false;
    }
#ifdef SYNC_FILE_RANGE_WRITE
    // Leaves little to wait for in the last synchronisation, which also reports what fails here.
    constexpr off64_t toTheEnd = 0;
    static_cast<void>(sync_file_range(m_descriptor, 0, toTheEnd, SYNC_FILE_RANGE_WRITE));
#endif
    return true;
}

bool RecordFile::sync()
{
    if (!handOver() || !isStillThere()) {
        return false;
    }
    // EINVAL and EROFS come from files that have no disk, such as pipes.
    if (fdatasync(m_descriptor) == 0 || errno == EINVAL || errno == EROFS) {
        return true;
    }
    return fail(Failure::Sync, qt_error_string(errno));
}

void RecordFile::empty()
{
    static_cast<void>(truncate(m_descriptor));
    m_written = 0;
}

void RecordFile::close()
{
    if (m_descriptor >= 0) {
        ::close(std::exchange(m_descriptor, -1));
    }
}

qint64 RecordFile::traceBytes() const
{
    return m_failure == Failure::TakenAway ? 0 : std::max<qint64>(m_written - headerSize, 0);
}

qint64 RecordFile::freeBytes() const
{
    struct statvfs disk = {};
    if (!m_isPlainFile || fstatvfs(m_descriptor, &disk) != 0) {
        return -1;
    }
    return qint64(disk.f_bavail) * qint64(disk.f_frsize);
}

QString RecordFile::failure() const
{
    if (m_failure == Failure::None) {
        return {};
    }
    const QString format = m_failure == Failure::Sync
                               ? QStringLiteral("Cannot write %1 to its end: %2.")
                               : QStringLiteral("Cannot write %1: %2.");
    return format.arg(m_name, m_reason);
}

QString RecordFile::failureText() const
{
    return m_failure == Failure::None ? QString() : failure() + QLatin1Char(' ') + whatIsLeft();
}

QString RecordFile::whatIsLeft() const
{
    switch (m_failure) {
    case Failure::TakenAway:
        return QStringLiteral("That file does not hold the recording.");
    case Failure::Sync:
        return QStringLiteral("Its last bytes may be missing.");
    default:
        return (m_isPlainFile
                    ? QStringLiteral("The first %1 bytes of the recording are in the file.")
                    : QStringLiteral("The first %1 bytes of the recording were written to it."))
            .arg(traceBytes());
    }
}

bool RecordFile::handOver()
{
    return writeThrough(m_buffer.data(), std::exchange(m_buffered, 0));
}

bool RecordFile::writeThrough(const char* bytes, std::size_t count)
{
    while (m_failure == Failure::None && count > 0) {
        // A disk that fills up takes a part without an error. Only the next write gives the reason.
        const ssize_t written = writeSome(m_descriptor, bytes, count);
        if (written <= 0) {
            return fail(Failure::Write, writeError());
        }
        m_written += written;
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
    return m_failure == Failure::None;
}

/// Checks only the open file, not its name: a renamed file still has every byte, and a check of the
/// name could raise a false alarm on an odd file system.
bool RecordFile::isStillThere()
{
    if (!m_isPlainFile) {
        return true;
    }
    struct stat status = {};
    if (fstat(m_descriptor, &status) != 0) {
        return fail(Failure::Write, qt_error_string(errno));
    }
    if (status.st_nlink == 0) {
        return fail(Failure::TakenAway, QStringLiteral("somebody has deleted or replaced it"));
    }
    return status.st_size == m_written ||
           fail(Failure::TakenAway, QStringLiteral("another program has changed its length"));
}

bool RecordFile::fail(Failure failure, const QString& reason)
{
    m_failure = failure;
    m_reason = reason;
    return false;
}
