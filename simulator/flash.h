#pragma once

#include "simulator/file.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace simulator
{

/// The board's emulated flash. Addresses are the board's; the caller keeps to what holds() allows.
class Flash
{
public:
    static constexpr std::uint32_t base = 0x01000000;
    static constexpr std::uint32_t size = 0x01000000;

    /// Opens the flash file, and creates it erased if there is none; without a path the flash lives
    /// in memory. Throws std::runtime_error, which names the file.
    explicit Flash(const std::string& path);

    static bool holds(std::uint32_t address, std::uint32_t length);
    static std::string rangeText();

    void write(std::uint32_t address, const char* data, std::size_t length);
    /// Throws std::runtime_error, which names the first address whose byte is not that of `data`.
    void compare(std::uint32_t address, const char* data, std::size_t length) const;

private:
    bool m_isNew;
    File m_file;
};

} // namespace simulator
