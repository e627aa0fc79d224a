#include "simulator/board.h"

#include "simulator/support.h"

#include <cstdlib>
#include <iostream>
#include <optional>
#include <utility>

namespace simulator
{
namespace
{

std::optional<Board> theBoard;
std::map<BRAN_ERR_T, std::string> texts = {
    {BRAN_SUCCESS, "no error"},
    {BRAN_RECORDING_FINISHED, "the recording has finished"},
};

// Nobody may take the simulated version for a real board's. place-in-lib recognises the library by
// the words "Tovalink simulated board", and so never overwrites the maker's.
void announceOnce()
{
    static bool isAnnounced = false;
    if (!std::exchange(isAnnounced, true)) {
        std::cerr << "This is the Tovalink simulated board; no hardware is used." << std::endl;
    }
}

// With wrong parameters there is no board, and every operation fails with the error in them.
Board& board()
{
    announceOnce();
    if (!theBoard) {
        const char* text = std::getenv("BRAN_SIMULATOR");
        theBoard = Board{parseParameters(text ? text : "")};
    }
    return *theBoard;
}

} // namespace

std::string Board::nextFault(Operation operation)
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

void Board::failIfTold(Operation operation)
{
    const std::string fault = nextFault(operation);
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
        const auto code = static_cast<BRAN_ERR_T>(operation);
        texts[code] = error.what();
        return code;
    }
}

} // namespace simulator

using namespace simulator;

BRAN_ERR_T BRAN_GetVersion(unsigned int* version)
{
    return attempt(Operation::Version, [&](Board& board) {
        board.failIfTold(Operation::Version);
        board.requirePresence();
        *version = board.parameters.version;
    });
}

// No target is attached to the simulated board, so a reset has no effect.
void BRAN_ResetTarget()
{
    announceOnce();
}

const char* BRAN_GetErrorString(BRAN_ERR_T error)
{
    const auto found = texts.find(error);
    return found == texts.end() ? "unknown error" : found->second.c_str();
}
