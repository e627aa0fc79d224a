#pragma once

#include "simulator/exports.h"
#include "simulator/flash.h"
#include "simulator/parameters.h"
#include "simulator/recording.h"

#include <map>
#include <optional>
#include <string>

namespace simulator
{

/// The simulated board: its parameters, what has happened so far, and its flash.
class Board
{
public:
    explicit Board(const char* parameterText);

    [[nodiscard]] const Parameters& parameters() const { return m_parameters; }
    /// Counts one occurrence of an operation and gives the text with which this one is to fail.
    std::optional<std::string> begin(Operation operation);
    /// The same for an operation that fails at once, by an exception.
    void beginOrFail(Operation operation);
    [[nodiscard]] std::uint32_t occurrences(Operation operation) const;
    void requireParameters() const;
    void requirePresence() const;
    Flash& flash();
    std::optional<Recording>& recording() { return m_recording; }
    /// From now on no board is there.
    void unplug();

private:
    std::string m_parameterError;
    Parameters m_parameters;
    std::map<Operation, std::uint32_t> m_occurrences;
    std::optional<Flash> m_flash;
    std::optional<Recording> m_recording;
};

/// The one board, which reads BRAN_SIMULATOR when it is first asked for.
Board& board();

/// Forgets the board, so that the next operation reads BRAN_SIMULATOR again. For tests only.
void forgetBoard();

/// Keeps the text of the exception in flight as that of the operation; returns its result code.
BRAN_ERR_T rememberFailure(Operation operation) noexcept;

/// The text of the operation's last failure, or null if it has never failed.
const char* lastFailure(Operation operation) noexcept;

/// Runs an operation's action on the board; no exception gets out.
template <typename Action>
BRAN_ERR_T attempt(Operation operation, Action action) noexcept
{
    try {
        Board& present = board();
        present.requireParameters();
        action(present);
        return BRAN_SUCCESS;
    } catch (...) {
        return rememberFailure(operation);
    }
}

} // namespace simulator
