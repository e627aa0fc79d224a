#pragma once

#include <cstdint>

/// How often memory has been allocated so far, by anyone in this process.
std::uint64_t allocationCount();
