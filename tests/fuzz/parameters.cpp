// Reads any bytes as the simulated board's parameters: they are taken, or refused with a reason.

#include "simulator/parameters.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    try {
        // An environment variable ends at its first NUL.
        simulator::parseParameters(std::string(data, std::find(data, data + size, '\0')));
    } catch (const std::runtime_error& error) {
        if (*error.what() == '\0') {
            std::abort();
        }
    }
    return 0;
}
