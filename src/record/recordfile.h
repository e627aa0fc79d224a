#pragma once

#include <QString>

#include <algorithm>
#include <array>

/// A record file that is being written: its header, then trace bytes. After a failure nothing more
/// is written, so that the file stays a clean beginning of the recording.
class RecordFile
{
public:
    RecordFile() = default;
    ~RecordFile() { close(); }
    RecordFile(const RecordFile&) = delete;
    RecordFile& operator=(const RecordFile&) = delete;

    /// Creates the file, or empties an existing one. False, with an existing file untouched, if the
    /// file cannot be written, if another program records into it, or if writing could block for
    /// ever.
    bool open(const QString& name);

    /// Each of these is false from the first failure on.
    bool writeHeader(bool newExlFormat);
    bool write(const char* bytes, std::size_t count);
    /// Hands the buffered bytes to the system, so that a killed program loses none of them, checks
    /// that nobody has taken the file away, and starts the writing to the disk.
    bool flush();
    /// The same, but waits until all bytes are on the disk, so that a power cut loses none of them.
    bool sync();

    /// Empties the file, so that a file that failed leaves room for the next one.
    void empty();
    void close();

    /// The trace bytes that are in the file.
    qint64 traceBytes() const;
    /// The free bytes on the file's disk; -1 if this is not a plain file.
    qint64 freeBytes() const;

    /// What happened, to which file and why; empty if nothing has failed.
    QString failure() const;
    /// The same, followed by how much of the recording is in the file.
    QString failureText() const;

private:
    enum class Failure { None, Write, Sync, TakenAway };

    static constexpr qint64 headerSize = 8;

    bool handOver();
    bool writeThrough(const char* bytes, std::size_t count);
    bool isStillThere();
    QString whatIsLeft() const;
    bool fail(Failure failure, const QString& reason);

    QString m_name;
    int m_descriptor = -1;
    bool m_isPlainFile = false;
    /// A disk is faster with large writes, and the board's buffer arrives in small reads.
    std::array<char, 32768> m_buffer = {};
    std::size_t m_buffered = 0;
    qint64 m_written = 0;
    Failure m_failure = Failure::None;
    QString m_reason;
};
