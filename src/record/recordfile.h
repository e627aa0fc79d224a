#pragma once

#include <QFile>

#include <algorithm>
#include <array>

/// A record file that is being written: its header, then trace bytes. After a write that failed
/// nothing more is written, so that the file stays a clean beginning of the recording.
class RecordFile
{
public:
    /// Creates the file, or empties an existing one; a pipe is refused, since opening it would wait
    /// for its reader.
    bool open(const QString& name);

    /// Each of these is false from the first failure on.
    bool writeHeader(bool newExlFormat);
    bool write(const char* bytes, std::size_t count);
    /// Hands over to the system what is still kept back, so that a killed program loses none of it.
    bool flush();
    bool close();

    /// The trace bytes that are in the file.
    qint64 traceBytes() const { return std::max<qint64>(m_written - headerSize, 0); }

    /// What happened to which file and why; after a failure.
    QString failureText() const;

private:
    static constexpr qint64 headerSize = 8;

    bool writeThrough(const char* bytes, std::size_t count);

    /// Unbuffered: the class's own buffer knows how much of it has been written when that fails.
    QFile m_file;
    std::array<char, 32768> m_buffer = {};
    std::size_t m_buffered = 0;
    qint64 m_written = 0;
    QString m_failure;
    bool m_failedLate = false; ///< only when it was closed
};
