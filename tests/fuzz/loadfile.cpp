// Reads any bytes as a load file: it is refused with a reason, or its data fits into the limit.

#include "simulator/intelhex.h"

#include <cstdlib>
#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // Far less than a flash, so that short inputs reach it and many run in a second.
    constexpr std::uint32_t limit = 0x1000;
    bool isSound = false;
    try {
        const auto read = simulator::readIntelHex(std::string(data, data + size), limit);
        isSound =
            read.bytes.size() <= limit && read.dataSize > 0 && read.dataSize <= read.bytes.size();
    } catch (const std::runtime_error& error) {
        isSound = *error.what() != '\0';
    }
    if (!isSound) {
        std::abort();
    }
    return 0;
}
