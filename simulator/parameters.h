#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace simulator
{

/// What can fail. The value is also the result code of a failure, so 9 stays free: it tells the
/// caller that a recording has ended.
enum class Operation : std::uint32_t { Version = 1, Create, Fill, Burn, Verify };

struct Fault {
    Operation operation;
    std::uint32_t occurrence; ///< counted from 1; 0 is every one
    std::string text;
};

/// How the simulated board is to behave.
struct Parameters {
    bool boardPresent = true;
    std::string flashFile; ///< empty: in memory
    std::uint32_t version = 0x00010203;
    std::uint64_t pace = 0x400000; ///< bytes a second; 0: as fast as possible
    std::vector<Fault> faults;
    std::vector<std::uint32_t> skipped; ///< any address of a block that is left unwritten
};

/// Reads "key=value,key=value"; a backslash escapes the next character. Throws std::runtime_error,
/// which names the parameter that is wrong.
Parameters parseParameters(std::string_view text);

} // namespace simulator
