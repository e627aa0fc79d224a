#pragma once

#include "simulator/board.h"

#include <cstdint>

namespace simulator
{

using Progress = void (*)(float fraction);

/// What a download writes and then compares.
struct FlashRange {
    std::uint32_t address;
    const char* data;
    std::uint32_t length;
};

/// Both throw std::runtime_error, and report progress if `progress` is not null.
void burn(Board& board, const FlashRange& range, Progress progress);
void verify(Board& board, const FlashRange& range, Progress progress);

} // namespace simulator
