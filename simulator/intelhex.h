#pragma once

#include <cstdint>
#include <iosfwd>
#include <vector>

namespace simulator
{

/// The data of an Intel HEX file, from its lowest address on; gaps are 0xFF.
struct HexData {
    std::uint32_t lowestAddress;
    std::uint32_t dataSize; ///< bytes that the records hold, without the gaps
    std::vector<char> bytes;
};

/// Reads Intel HEX text whose addresses span at most `limit` bytes (not 0). Throws
/// std::runtime_error, which names the line and the reason. Memory depends on `limit` only.
HexData readIntelHex(std::istream& input, std::uint32_t limit);

} // namespace simulator
