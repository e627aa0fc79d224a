#include "simulator/board.h"

#include "simulator/support.h"

#include <cstdlib>
#include <optional>

namespace simulator
{
namespace
{

// By this text the build tells its own library from the maker's, which it must not overwrite.
[[gnu::used]] constexpr const char* mark = "Tovalink simulated board";

std::optional<Board> theBoard;
std::map<Operation, std::string> failures;

// As long as the parameters are wrong there is no board, and every operation fails with their text.
Board& board()
{
    if (!theBoard) {
        const char* text = std::getenv("BRAN_SIMULATOR");
        try {
            theBoard = Board{parseParameters(text ? text : "")};
        } catch (const std::runtime_error& error) {
            fail("BRAN_SIMULATOR: ", error.what());
        }
    }
    return *theBoard;
}

} // namespace

std::string Board::begin(Operation operation)
{
    const std::uint64_t occurrence = ++occurrences[operation];
    for (const Fault& fault : parameters.faults) {
        if (fault.operation == operation &&
            (fault.occurrence == 0 || fault.occurrence == occurrence)) {
            return fault.text;
        }
    }
    return {};
}

void Board::beginOrFail(Operation operation)
{
    const std::string fault = begin(operation);
    require(fault.empty(), fault);
}

void Board::requirePresence() const
{
    require(parameters.boardPresent, "no board is connected");
}

void forgetBoard()
{
    theBoard.reset();
}

BRAN_ERR_T attempt(Operation operation, const std::function<void(Board&)>& action)
{
    try {
        action(board());
        return BRAN_SUCCESS;
    } catch (const std::exception& error) {
        failures[operation] = error.what();
        return static_cast<BRAN_ERR_T>(operation);
    }
}

} // namespace simulator

using namespace simulator;

BRAN_ERR_T BRAN_GetVersion(unsigned int* version)
{
    return attempt(Operation::Version, [&](Board& board) {
        board.beginOrFail(Operation::Version);
        board.requirePresence();
        *version = board.parameters.version;
    });
}

// No target is attached to the simulated board, so there is nothing to be seen of a reset.
void BRAN_ResetTarget() {}

const char* BRAN_GetErrorString(BRAN_ERR_T error)
{
    if (error == BRAN_SUCCESS) {
        return "no error";
    }
    if (error == BRAN_RECORDING_FINISHED) {
        return "the recording has finished";
    }
    const auto found = failures.find(static_cast<Operation>(error));
    return found == failures.end() ? "unknown error" : found->second.c_str();
}
