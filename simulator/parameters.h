#pragma once

#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace simulator
{

constexpr std::uint32_t flashBase = 0x01000000;
constexpr std::uint32_t flashSize = 0x01000000;
constexpr std::uint32_t flashBlockSize = 0x1000;

/// What can fail. The value is also the result code of a failure, so 9 stays free: this code tells
/// the caller that a recording has ended.
enum class Operation : std::uint32_t { Version = 1, Create, Fill, Burn, Verify, Start, Read };

struct Fault {
    Operation operation = {};
    std::uint64_t occurrence = 0; ///< counted from 1; 0 is every one
    std::string text;
};

/// How the simulated board is to behave. Rates are in bytes a second; 0 is as fast as possible.
struct Parameters {
    static constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();

    bool boardPresent = true;
    std::string flashFile; ///< empty: in memory
    std::uint32_t version = 0x00010203;
    std::uint64_t pace = 0x400000;
    std::vector<Fault> faults;
    std::set<std::uint32_t> skippedBlocks; ///< blocks that are left unwritten: address / size

    std::uint64_t rate = 0x100000;
    std::uint64_t buffer = 0x400000; ///< bytes of trace that wait for a late reader
    std::uint32_t triggerMs = 2000;  ///< when the board's own buffer triggers with nothing armed
    std::string reportFile;
    std::uint64_t failBytes = 0; ///< bytes that a failing read still delivers
    std::uint64_t unplugBytes = never;
    std::uint64_t finishBytes = never;
    bool answersStop = true;
};

/// Reads "key=value,key=value"; a backslash escapes the next character. Throws std::runtime_error,
/// which names the parameter that is wrong.
Parameters parseParameters(std::string_view text);

} // namespace simulator
