#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace simulator
{

/// What can fail. The value is also the result code of a failure, so 9 stays free: it tells the
/// caller that a recording has ended.
enum class Operation : std::uint32_t { Version = 1, Create, Fill, Burn, Verify, Start, Read };

struct Fault {
    Operation operation;
    std::uint32_t occurrence; ///< counted from 1; 0 is every one
    std::string text;
};

struct Stall {
    std::uint32_t occurrence = 0; ///< counted from 1; 0 is none
    std::uint32_t milliseconds = 0;
};

/// How the simulated board is to behave.
struct Parameters {
    bool boardPresent = true;
    std::string flashFile; ///< empty: in memory
    std::uint32_t version = 0x00010203;
    std::uint64_t pace = 0x400000; ///< bytes a second; 0: as fast as possible
    std::vector<Fault> faults;
    std::vector<std::uint32_t> skipped; ///< any address of a block that is left unwritten

    std::uint64_t rate = 0x100000;   ///< bytes of trace a second; 0: as fast as possible
    std::uint64_t buffer = 0x400000; ///< bytes of trace that wait for a late reader
    std::uint32_t triggerMs = 2000;  ///< when the board's own buffer triggers with nothing armed
    std::string reportFile;
    std::uint64_t failBytes = 0; ///< what a failing read hands out all the same
    std::uint64_t unplugBytes = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t finishBytes = std::numeric_limits<std::uint64_t>::max();
    bool answersStop = true;
    Stall stall;
};

/// Reads "key=value,key=value"; a backslash escapes the next character. Throws std::runtime_error,
/// which names the parameter that is wrong.
Parameters parseParameters(std::string_view text);

} // namespace simulator
