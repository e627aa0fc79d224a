// Reads any bytes as a load file: it is refused with a reason, or its data fits into the limit.

#include "tests/fuzz/require.h"
#include "simulator/intelhex.h"

#include <stdexcept>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // Far less than a flash, so that short inputs reach it and many run in a second.
    constexpr std::uint32_t limit = 0x1000;
    const std::string input(data, data + size);
    try {
        const simulator::HexData read = simulator::readIntelHex(input, limit);
        require(read.bytes.size() <= limit);
        require(read.dataSize > 0 && read.dataSize <= read.bytes.size());
    } catch (const std::runtime_error& error) {
        require(*error.what() != '\0');
    }
    return 0;
}
