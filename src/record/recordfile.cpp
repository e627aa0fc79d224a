#include "record/recordfile.h"

#include <cstring>
#include <sys/stat.h>

bool RecordFile::open(const QString& name)
{
    struct stat about = {};
    if (stat(QFile::encodeName(name).constData(), &about) == 0 && S_ISFIFO(about.st_mode)) {
        return false;
    }
    m_file.setFileName(name);
    return m_file.open(QIODevice::WriteOnly | QIODevice::Unbuffered);
}

bool RecordFile::writeHeader(bool newExlFormat)
{
    constexpr std::array<char, 4> magic = {'D', 'B', 'G', 'P'};
    const std::array<char, 4> format = {1, 0, newExlFormat ? char(2) : char(1), 0};
    return write(magic.data(), magic.size()) && write(format.data(), format.size());
}

bool RecordFile::write(const char* bytes, std::size_t count)
{
    if (m_buffered + count > m_buffer.size() && !flush()) {
        return false;
    }
    if (count >= m_buffer.size()) {
        return writeThrough(bytes, count);
    }
    std::memcpy(m_buffer.data() + m_buffered, bytes, count);
    m_buffered += count;
    return m_failure.isNull();
}

bool RecordFile::flush()
{
    const std::size_t count = m_buffered;
    m_buffered = 0;
    return writeThrough(m_buffer.data(), count);
}

bool RecordFile::close()
{
    flush();
    m_file.close();
    if (m_failure.isNull() && m_file.error() != QFileDevice::NoError) {
        m_failure = m_file.errorString();
        m_failedLate = true;
    }
    return m_failure.isNull();
}

QString RecordFile::failureText() const
{
    if (m_failedLate) {
        return QStringLiteral("Cannot write %1 to its end: %2. Its last bytes may be missing.")
            .arg(m_file.fileName(), m_failure);
    }
    return QStringLiteral(
               "Cannot write %1: %2. The first %3 bytes of the recording are in the file.")
        .arg(m_file.fileName(), m_failure, QString::number(traceBytes()));
}

bool RecordFile::writeThrough(const char* bytes, std::size_t count)
{
    if (!m_failure.isNull()) {
        return false;
    }
    while (count > 0) {
        // A disk that fills up takes a part and gives no reason; only the next try tells it.
        const qint64 written = m_file.write(bytes, static_cast<qint64>(count));
        if (written <= 0) {
            m_failure = m_file.errorString();
            return false;
        }
        m_written += written;
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
    return true;
}
