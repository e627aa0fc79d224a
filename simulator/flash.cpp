#include "simulator/board.h"
#include "simulator/support.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iomanip>
#include <sstream>
#include <thread>

using namespace simulator;

namespace
{

struct Range {
    std::uint32_t address;
    const char* data;
    std::uint32_t length;
};

using Progress = void (*)(float fraction);
using Work = void (*)(Board& board, const Range& range);

// The file gets its name when it is complete, because a part of a flash would be refused later.
void saveFlash(const Board& board)
{
    const std::string& path = board.parameters.flashFile;
    if (!path.empty()) {
        const std::string unfinished = path + ".new";
        std::ofstream file(unfinished, std::ios::binary);
        file.write(board.flash.data(), flashSize);
        file.close();
        requireOfSystem(file.good() && std::rename(unfinished.c_str(), path.c_str()) == 0,
                        "flash file " + path + ": cannot be written");
    }
}

// The flash file is read for each use, so that a file that was removed is created again.
void loadFlash(Board& board)
{
    const std::string& path = board.parameters.flashFile;
    std::error_code toldByReading;
    if (!path.empty() && std::filesystem::exists(path, toldByReading)) {
        try {
            board.flash = readFile(path, flashSize);
            require(board.flash.size() == flashSize, "does not hold 16777216 bytes");
        } catch (const std::runtime_error& error) {
            fail("flash file " + path + ": " + error.what());
        }
    } else if (!path.empty() || board.flash.empty()) {
        board.flash.assign(flashSize, '\xFF');
        saveFlash(board);
    }
}

void write(Board& board, const Range& range)
{
    for (std::uint32_t index = 0; index < range.length; ++index) {
        const std::uint32_t address = range.address + index;
        if (board.parameters.skippedBlocks.count(address / flashBlockSize) == 0) {
            board.flash[address - flashBase] = range.data[index];
        }
    }
}

void compare(Board& board, const Range& range)
{
    const char* const held = &board.flash[range.address - flashBase];
    const char* const differing = std::mismatch(held, held + range.length, range.data).first;
    if (differing != held + range.length) {
        std::ostringstream text;
        text << "verification failed at 0x" << std::hex << std::uppercase << std::setfill('0')
             << std::setw(8) << range.address + (differing - held);
        fail(text.str());
    }
}

// Gives `work` the range piece by piece, at the board's pace. Returns false half way if a fault
// strikes.
bool runPhase(Board& board, const Range& range, bool isFaulty, Progress progress, Work work)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds longestSilence(100);
    const Clock::time_point start = Clock::now();
    const std::uint64_t pace = board.parameters.pace;
    constexpr std::uint32_t steps = 100;
    const auto report = [&](std::uint32_t step) { progress(float(step) / float(steps)); };
    std::uint32_t done = 0;
    for (std::uint32_t step = 1; step <= steps; ++step) {
        if (isFaulty && done >= range.length / 2) {
            return false;
        }
        const auto end = std::uint32_t(std::uint64_t{range.length} * step / steps);
        work(board, {range.address + done, range.data + done, end - done});
        done = end;
        const std::chrono::duration<double> needed(pace == 0 ? 0 : double(done) / double(pace));
        const auto due = start + std::chrono::duration_cast<Clock::duration>(needed);
        // Only the reports keep the caller's window alive, so a slow step repeats the last one.
        while (Clock::now() + longestSilence < due) {
            std::this_thread::sleep_for(longestSilence);
            report(step - 1);
        }
        std::this_thread::sleep_until(due);
        report(step);
    }
    return true;
}

} // namespace

// NOLINTNEXTLINE(readability-non-const-parameter): the signature is the interface's.
BRAN_ERR_T BRAN_DownloadFlash(unsigned int baseAddress, char* data, unsigned int length,
                              bool /*downloadFlag*/, bool verify, void (*burnCallback)(float),
                              void (*verifyCallback)(float))
{
    const Range range = {baseAddress, data, length};
    const BRAN_ERR_T result = attempt(Operation::Burn, [&](Board& board) {
        const std::string fault = board.nextFault(Operation::Burn);
        board.requirePresence();
        require(baseAddress >= flashBase && length <= flashSize &&
                    baseAddress - flashBase <= flashSize - length,
                "the image does not fit into the flash, 0x01000000 to 0x01FFFFFF");
        loadFlash(board);
        const bool isDone = runPhase(board, range, !fault.empty(), burnCallback, write);
        saveFlash(board);
        require(isDone, fault);
    });
    if (result != BRAN_SUCCESS || !verify) {
        return result;
    }
    return attempt(Operation::Verify, [&](Board& board) {
        const std::string fault = board.nextFault(Operation::Verify);
        loadFlash(board);
        require(runPhase(board, range, !fault.empty(), verifyCallback, compare), fault);
    });
}
