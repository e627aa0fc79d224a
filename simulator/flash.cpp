#include "simulator/board.h"
#include "simulator/support.h"

#include <algorithm>
#include <chrono>
#include <thread>

using namespace simulator;

namespace
{

using Progress = void (*)(float fraction);

struct Range {
    std::uint32_t address;
    const char* data;
    std::uint32_t length;
};

// The file gets its name when it is whole: a part of a flash would be refused ever after.
void makeErased(const std::string& path, const std::string& label)
{
    const std::string unfinished = path + ".new";
    const std::string erased(flashSize, '\xFF');
    std::filebuf file;
    openFile(file, unfinished, std::ios::out, label);
    requireOfSystem(file.sputn(erased.data(), flashSize) == flashSize && file.close() != nullptr &&
                        std::rename(unfinished.c_str(), path.c_str()) == 0,
                    label, "cannot be made");
}

// A flash file is opened for each use, so that one which was removed meanwhile is made anew.
std::streambuf& openFlash(Board& board)
{
    const std::string& path = board.parameters.flashFile;
    if (path.empty()) {
        if (!board.flash) {
            board.flash = std::make_unique<std::stringbuf>(std::string(flashSize, '\xFF'));
        }
        return *board.flash;
    }
    const std::string label = "flash file " + path + ": ";
    if (std::error_code toldByOpening; !std::filesystem::exists(path, toldByOpening)) {
        makeErased(path, label);
    }
    auto file = std::make_unique<std::filebuf>();
    openFile(*file, path, std::ios::in | std::ios::out, label);
    const std::streamoff size = file->pubseekoff(0, std::ios::end);
    require(size == flashSize, label, "holds ", size, " bytes, should hold ", flashSize);
    board.flash = std::move(file);
    return *board.flash;
}

void write(std::streambuf& flash, const Range& range)
{
    flash.pubseekpos(range.address - flashBase);
    requireOfSystem(flash.sputn(range.data, range.length) == range.length && flash.pubsync() == 0,
                    "the flash cannot be written");
}

void writeBlocks(const Board& board, Range range)
{
    constexpr std::uint32_t blockSize = 0x1000;
    const auto& skipped = board.parameters.skipped;
    while (range.length > 0) {
        const std::uint32_t length = std::min(range.length, blockSize - range.address % blockSize);
        const bool isSkipped = std::any_of(skipped.begin(), skipped.end(), [&](auto address) {
            return address / blockSize == range.address / blockSize;
        });
        if (!isSkipped) {
            write(*board.flash, {range.address, range.data, length});
        }
        range = {range.address + length, range.data + length, range.length - length};
    }
}

void compare(std::streambuf& flash, const Range& range)
{
    std::string held(range.length, '\0');
    flash.pubseekpos(range.address - flashBase);
    require(flash.sgetn(held.data(), range.length) == range.length, "the flash cannot be read");
    const auto [is, should] = std::mismatch(held.begin(), held.end(), range.data);
    if (is != held.end()) {
        fail("verification failed at ", Hex{range.address + std::uint64_t(is - held.begin())},
             ": flash holds ", Hex{std::uint8_t(*is), 2}, ", should hold ",
             Hex{std::uint8_t(*should), 2});
    }
}

// Gives `work` the range piece by piece at the board's pace. A fault strikes half way.
template <typename Work>
void runPhase(const Board& board, const Range& range, const std::string& fault, Progress progress,
              Work work)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds longestSilence(100);
    const Clock::time_point start = Clock::now();
    const double secondsPerByte =
        board.parameters.pace == 0 ? 0 : 1 / double(board.parameters.pace);
    const std::uint32_t steps = std::clamp(range.length, 1U, 100U);
    const auto report = [&](std::uint32_t step) { progress(float(step) / float(steps)); };
    std::uint32_t done = 0;
    for (std::uint32_t step = 1; step <= steps; ++step) {
        require(fault.empty() || done < range.length / 2, fault);
        const auto end = std::uint32_t(std::uint64_t{range.length} * step / steps);
        work(Range{range.address + done, range.data + done, end - done});
        done = end;
        const std::chrono::duration<double> needed(done * secondsPerByte);
        const auto due = start + std::chrono::duration_cast<Clock::duration>(needed);
        // The caller's window lives on the reports alone, so a slow step repeats the last one.
        while (Clock::now() + longestSilence < due) {
            std::this_thread::sleep_for(longestSilence);
            report(step - 1);
        }
        std::this_thread::sleep_until(due);
        report(step);
    }
}

} // namespace

// NOLINTNEXTLINE(readability-non-const-parameter): the signature is the interface's.
BRAN_ERR_T BRAN_DownloadFlash(unsigned int baseAddress, char* data, unsigned int length,
                              bool /*downloadFlag*/, bool verify, void (*burnCallback)(float),
                              void (*verifyCallback)(float))
{
    const Range range = {baseAddress, data, length};
    const BRAN_ERR_T result = attempt(Operation::Burn, [&](Board& board) {
        const std::string fault = board.begin(Operation::Burn);
        board.requirePresence();
        require(baseAddress >= flashBase && length <= flashSize &&
                    baseAddress - flashBase <= flashSize - length,
                length, " bytes at ", Hex{baseAddress}, " do not fit into the flash, ", flashRange);
        openFlash(board);
        runPhase(board, range, fault, burnCallback,
                 [&](const Range& piece) { writeBlocks(board, piece); });
    });
    if (result != BRAN_SUCCESS || !verify) {
        return result;
    }
    return attempt(Operation::Verify, [&](Board& board) {
        const std::string fault = board.begin(Operation::Verify);
        std::streambuf& flash = openFlash(board);
        runPhase(board, range, fault, verifyCallback,
                 [&](const Range& piece) { compare(flash, piece); });
    });
}
