#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace simulator
{

/// The data of an Intel HEX file, from its lowest address on; gaps are 0xFF.
struct HexData {
    std::uint32_t lowestAddress;
    std::uint32_t dataSize; ///< bytes that the records hold, without the gaps
    std::string bytes;
};

/// Reads Intel HEX text whose addresses span at most `limit` bytes. Throws std::runtime_error,
/// which names the line and the reason.
HexData readIntelHex(std::string_view input, std::uint32_t limit);

} // namespace simulator
