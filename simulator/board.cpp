#include "simulator/board.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <stdexcept>

namespace simulator
{
namespace
{

std::optional<Board> theBoard;
std::map<Operation, std::string> failures;

void keepText(Operation operation, const char* text) noexcept
{
    try {
        failures[operation] = text;
    } catch (...) {
        failures.erase(operation);
    }
}

} // namespace

Board::Board(const char* parameterText)
{
    try {
        m_parameters = parseParameters(parameterText ? parameterText : "");
    } catch (const std::runtime_error& error) {
        m_parameterError = std::string("BRAN_SIMULATOR: ") + error.what();
    }
}

std::optional<std::string> Board::begin(Operation operation)
{
    const std::uint32_t occurrence = ++m_occurrences[operation];
    for (const Fault& fault : m_parameters.faults) {
        if (fault.operation == operation &&
            (fault.occurrence == 0 || fault.occurrence == occurrence)) {
            return fault.text;
        }
    }
    return std::nullopt;
}

void Board::beginOrFail(Operation operation)
{
    if (const auto fault = begin(operation)) {
        throw std::runtime_error(*fault);
    }
}

std::uint32_t Board::occurrences(Operation operation) const
{
    const auto found = m_occurrences.find(operation);
    return found == m_occurrences.end() ? 0 : found->second;
}

void Board::requireParameters() const
{
    if (!m_parameterError.empty()) {
        throw std::runtime_error(m_parameterError);
    }
}

void Board::requirePresence() const
{
    if (!m_parameters.boardPresent) {
        throw std::runtime_error("no board is connected");
    }
}

// A flash file is opened for each use, so that one which was removed meanwhile is made anew.
Flash& Board::flash()
{
    if (!m_flash || !m_parameters.flashFile.empty()) {
        m_flash.emplace(m_parameters.flashFile);
    }
    return *m_flash;
}

void Board::unplug()
{
    m_recording.reset();
    m_parameters.boardPresent = false;
}

Board& board()
{
    if (!theBoard) {
        theBoard.emplace(std::getenv("BRAN_SIMULATOR"));
    }
    return *theBoard;
}

void forgetBoard()
{
    theBoard.reset();
}

BRAN_ERR_T rememberFailure(Operation operation) noexcept
{
    try {
        throw;
    } catch (const std::bad_alloc&) {
        keepText(operation, "out of memory");
    } catch (const std::exception& error) {
        keepText(operation, error.what());
    } catch (...) {
        keepText(operation, "unexpected failure");
    }
    return static_cast<BRAN_ERR_T>(operation);
}

const char* lastFailure(Operation operation) noexcept
{
    const auto found = failures.find(operation);
    return found == failures.end() ? nullptr : found->second.c_str();
}

} // namespace simulator
