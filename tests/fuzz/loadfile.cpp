// Reads any bytes as a load file: it is refused with a reason, or its data fits into the limit.

#include "simulator/intelhex.h"

#include <cstdlib>
#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // Far less than a flash, so that short inputs reach it and many run in a second.
    constexpr std::uint32_t limit = 0x1000;
    try {
        const auto read = simulator::readIntelHex(std::string(data, data + size), limit);
        if (read.dataSize == 0 || read.dataSize > read.bytes.size() || read.bytes.size() > limit) {
            std::abort();
        }
    } catch (const std::runtime_error& error) {
        if (*error.what() == '\0') {
            std::abort();
        }
    }
    return 0;
}
