#pragma once

#include <cstdlib>

/// Ends the fuzzer, which then shows the input, unless `holds`.
inline void require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}
