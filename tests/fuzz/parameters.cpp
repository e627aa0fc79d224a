// Reads any bytes as the simulated board's parameters: they are taken, or refused with a reason.

#include "simulator/parameters.h"

#include "tests/fuzz/require.h"

#include <algorithm>
#include <stdexcept>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    try {
        // An environment variable ends at its first NUL.
        const std::string text(data, std::find(data, data + size, '\0'));
        simulator::parseParameters(text);
    } catch (const std::runtime_error& error) {
        require(*error.what() != '\0');
    }
    return 0;
}
