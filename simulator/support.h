#pragma once

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace simulator
{

[[noreturn]] inline void fail(std::string_view reason)
{
    throw std::runtime_error(std::string(reason));
}

/// Throws std::runtime_error with the reason unless the condition holds.
inline void require(bool condition, std::string_view reason)
{
    if (!condition) {
        fail(reason);
    }
}

/// The same for a system call; the system's reason is added. The program shows the text as ASCII,
/// so the reason must not be translated, as strerror's would be.
inline void requireOfSystem(bool condition, std::string_view what)
{
    if (!condition) {
        fail(std::string(what) + ": " + ::strerrordesc_np(errno));
    }
}

/// Opens a regular file for reading and refuses anything else, because opening a FIFO would wait
/// for its writer.
inline void openFile(std::filebuf& file, const std::string& path)
{
    std::error_code toldByOpening;
    const auto status = std::filesystem::status(path, toldByOpening);
    require(!exists(status) || is_regular_file(status), "is not a regular file");
    requireOfSystem(file.open(path, std::ios::in | std::ios::binary) != nullptr,
                    "cannot be opened");
}

/// All of a file, which must hold something and at most `room` bytes.
inline std::string readFile(const std::string& path, std::uint64_t room)
{
    std::filebuf file;
    openFile(file, path);
    const std::streamoff size = file.pubseekoff(0, std::ios::end);
    require(size > 0 && std::uint64_t(size) <= room, "the file is empty or too large");
    std::string bytes(std::size_t(size), '\0');
    file.pubseekpos(0);
    require(file.sgetn(bytes.data(), size) == size, "cannot be read");
    return bytes;
}

} // namespace simulator
