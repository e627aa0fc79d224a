#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace simulator
{

/// "0x" and `value` in upper-case hex, filled up with zeros to `digits`.
inline std::string hex(std::uint64_t value, std::size_t digits)
{
    std::string text;
    while (value != 0 || text.size() < digits) {
        text.insert(text.begin(), "0123456789ABCDEF"[value % 16]);
        value /= 16;
    }
    return "0x" + text;
}

inline std::string hexByte(char value)
{
    return hex(static_cast<unsigned char>(value), 2);
}
inline std::string hexAddress(std::uint64_t value)
{
    return hex(value, 8);
}

} // namespace simulator
