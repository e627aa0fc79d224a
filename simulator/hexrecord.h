#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace simulator
{

/// One line of Intel HEX.
struct HexRecord {
    enum Type : std::uint8_t { Data, End, SegmentBase, SegmentStart, LinearBase, LinearStart };

    Type type;
    std::uint16_t offset;
    std::vector<std::uint8_t> data;
};

constexpr std::size_t longestHexLine = 1 + 2 * (4 + 255 + 1);

/// Checks and decodes a line that is not empty and has lost its end; throws std::runtime_error with
/// the reason.
HexRecord decodeHexLine(std::string_view line);

} // namespace simulator
