#include "simulator/file.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace simulator
{
namespace
{

// O_NONBLOCK keeps the opening of a FIFO from waiting for its writer.
int openDescriptor(const std::string& path, int flags)
{
    if (path.empty()) {
        return ::memfd_create("flash", MFD_CLOEXEC);
    }
    return ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0666);
}

} // namespace

File::File(const std::string& path, int flags, std::string label)
    : m_label(std::move(label)),
      m_descriptor(openDescriptor(path, flags))
{
    if (m_descriptor == -1) {
        failWithErrno("cannot be opened");
    }
    struct stat status = {};
    if (::fstat(m_descriptor, &status) == -1 || !S_ISREG(status.st_mode)) {
        ::close(m_descriptor);
        fail(S_ISDIR(status.st_mode) ? "is a directory" : "is not a regular file");
    }
}

File::~File()
{
    ::close(m_descriptor);
}

std::uint64_t File::size() const
{
    struct stat status = {};
    if (::fstat(m_descriptor, &status) == -1) {
        failWithErrno("cannot be examined");
    }
    return static_cast<std::uint64_t>(status.st_size);
}

std::size_t File::readAt(std::uint64_t offset, char* data, std::size_t size) const
{
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count =
            ::pread(m_descriptor, data + done, size - done, static_cast<off_t>(offset + done));
        if (count == -1) {
            failWithErrno("cannot be read");
        }
        if (count == 0) {
            break;
        }
        done += static_cast<std::size_t>(count);
    }
    return done;
}

void File::writeAt(std::uint64_t offset, const char* data, std::size_t size)
{
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count =
            ::pwrite(m_descriptor, data + done, size - done, static_cast<off_t>(offset + done));
        if (count == -1) {
            failWithErrno("cannot be written");
        }
        done += static_cast<std::size_t>(count);
    }
}

void File::fail(const std::string& reason) const
{
    throw std::runtime_error(m_label + reason);
}

// The texts are shown as ASCII, so the reason must not be translated, as strerror's would be.
void File::failWithErrno(const std::string& what) const
{
    const char* reason = ::strerrordesc_np(errno);
    fail(what + ": " + (reason ? reason : "unknown error"));
}

FileBuffer::int_type FileBuffer::underflow()
{
    const std::size_t count = m_file.readAt(m_offset, m_bytes.data(), m_bytes.size());
    m_offset += count;
    setg(m_bytes.data(), m_bytes.data(), m_bytes.data() + count);
    return count == 0 ? traits_type::eof() : traits_type::to_int_type(m_bytes.front());
}

} // namespace simulator
