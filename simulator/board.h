#pragma once

#include "board/branlib.h"
#include "simulator/parameters.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace simulator
{

class Recording;

/// The simulated board: its parameters and what has happened to it so far.
struct Board {
    Parameters parameters;
    std::map<Operation, std::uint64_t> occurrences = {};
    std::string flash = {};                    ///< empty before its first use
    std::shared_ptr<Recording> recording = {}; ///< the one that runs, if any

    /// Counts one occurrence of an operation. Returns the text with which it is to fail, or
    /// nothing.
    std::string nextFault(Operation operation);
    /// The same for an operation that fails at once: throws.
    void failIfTold(Operation operation);
    void requirePresence() const;
};

/// Forgets the board, so that the next operation reads BRAN_SIMULATOR again. For tests only.
void forgetBoard();

/// Runs an operation's action on the board. An exception becomes the operation's result code, and
/// its text that of the code.
BRAN_ERR_T attempt(Operation operation, const std::function<void(Board&)>& action);

} // namespace simulator
