#pragma once

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <string>

namespace simulator
{

/// A number that is shown as hex, filled up with zeros.
struct Hex {
    std::uint64_t value;
    int digits = 8;
};

inline std::ostream& operator<<(std::ostream& to, const Hex& hex)
{
    return to << "0x" << std::hex << std::uppercase << std::setfill('0') << std::setw(hex.digits)
              << hex.value << std::dec;
}

/// Throws std::runtime_error with the parts as its text.
template <typename... Parts>
[[noreturn]] void fail(const Parts&... parts)
{
    std::ostringstream text;
    (text << ... << parts);
    throw std::runtime_error(text.str());
}

template <typename... Parts>
void require(bool condition, const Parts&... parts)
{
    if (!condition) {
        fail(parts...);
    }
}

/// The same for what the system does; its reason is added. Texts are shown as ASCII, so that must
/// not be translated, as strerror's would be.
template <typename... Parts>
void requireOfSystem(bool condition, const Parts&... parts)
{
    require(condition, parts..., ": ", ::strerrordesc_np(errno));
}

/// Opens a regular file and refuses anything else, because opening a FIFO would wait for its
/// writer. The label precedes the text of a failure.
inline void openFile(std::filebuf& file, const std::string& path, std::ios::openmode mode,
                     const std::string& label = {})
{
    std::error_code toldByOpening;
    const auto status = std::filesystem::status(path, toldByOpening);
    require(!is_directory(status), label, "is a directory");
    require(!is_other(status), label, "is not a regular file");
    requireOfSystem(file.open(path, mode | std::ios::binary) != nullptr, label, "cannot be opened");
}

} // namespace simulator
