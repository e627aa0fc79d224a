#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <streambuf>
#include <string>

namespace simulator
{

/// An open file. Every failure throws std::runtime_error: the label and the reason.
class File
{
public:
    /// Opens a regular file with the flags of open(2), and refuses anything else without waiting
    /// for it. An empty path stands for a new file in memory.
    File(const std::string& path, int flags, std::string label = {});
    File(const File&) = delete;
    File(File&&) = delete;
    File& operator=(const File&) = delete;
    File& operator=(File&&) = delete;
    ~File();

    [[nodiscard]] std::uint64_t size() const;
    /// Reads up to `size` bytes and returns their number, which is less at the file's end only.
    std::size_t readAt(std::uint64_t offset, char* data, std::size_t size) const;
    void writeAt(std::uint64_t offset, const char* data, std::size_t size);
    [[noreturn]] void fail(const std::string& reason) const;

private:
    [[noreturn]] void failWithErrno(const std::string& what) const;

    std::string m_label;
    int m_descriptor;
};

/// Lets a file be read as a std::istream.
class FileBuffer : public std::streambuf
{
public:
    explicit FileBuffer(const File& file) : m_file(file) {}

protected:
    int_type underflow() override;

private:
    const File& m_file;
    std::uint64_t m_offset = 0;
    std::array<char, 65536> m_bytes = {};
};

} // namespace simulator
