#include "simulator/download.h"

#include "simulator/hex.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace simulator
{
namespace
{

constexpr std::uint32_t stepsOfPhase = 100;
constexpr std::uint32_t blockSize = 0x1000;

using FaultText = std::optional<std::string>;

// Gives `work` the range piece by piece at the board's pace. A fault strikes half way.
template <typename Work>
void runPhase(const FlashRange& range, const FaultText& fault, std::uint64_t pace,
              Progress progress, Work work)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    const std::uint32_t steps = std::clamp(range.length, 1U, stepsOfPhase);
    std::uint32_t done = 0;
    for (std::uint32_t step = 1; step <= steps; ++step) {
        if (fault && done >= range.length / 2) {
            throw std::runtime_error(*fault);
        }
        const auto end = static_cast<std::uint32_t>(std::uint64_t{range.length} * step / steps);
        work(FlashRange{range.address + done, range.data + done, end - done});
        done = end;
        if (pace != 0) {
            const std::chrono::duration<double> due(double(done) / double(pace));
            std::this_thread::sleep_until(start + std::chrono::duration_cast<Clock::duration>(due));
        }
        if (progress) {
            progress(float(step) / float(steps));
        }
    }
}

bool isSkipped(const Parameters& parameters, std::uint32_t address)
{
    const auto& skipped = parameters.skipped;
    return std::any_of(skipped.begin(), skipped.end(), [&](std::uint32_t inBlock) {
        return inBlock / blockSize == address / blockSize;
    });
}

void writeBlocks(Flash& flash, const Parameters& parameters, FlashRange range)
{
    while (range.length > 0) {
        const std::uint32_t length = std::min(range.length, blockSize - range.address % blockSize);
        if (!isSkipped(parameters, range.address)) {
            flash.write(range.address, range.data, length);
        }
        range = {range.address + length, range.data + length, range.length - length};
    }
}

} // namespace

void burn(Board& board, const FlashRange& range, Progress progress)
{
    const FaultText fault = board.begin(Operation::Burn);
    board.requirePresence();
    if (!range.data) {
        throw std::runtime_error("there is no data to burn");
    }
    if (!Flash::holds(range.address, range.length)) {
        throw std::runtime_error(std::to_string(range.length) + " bytes at " +
                                 hexAddress(range.address) + " do not fit into the flash, " +
                                 Flash::rangeText());
    }
    const Parameters& parameters = board.parameters();
    Flash& flash = board.flash();
    runPhase(range, fault, parameters.pace, progress,
             [&](const FlashRange& piece) { writeBlocks(flash, parameters, piece); });
}

void verify(Board& board, const FlashRange& range, Progress progress)
{
    const FaultText fault = board.begin(Operation::Verify);
    const Flash& flash = board.flash();
    runPhase(range, fault, board.parameters().pace, progress, [&](const FlashRange& piece) {
        flash.compare(piece.address, piece.data, piece.length);
    });
}

} // namespace simulator
