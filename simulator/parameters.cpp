#include "simulator/parameters.h"

#include "simulator/flash.h"
#include "simulator/hex.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <stdexcept>

namespace simulator
{
namespace
{

using Number = std::uint64_t;

Number number(std::string_view text, Number largest)
{
    const bool isHex = text.substr(0, 2) == "0x";
    if (isHex) {
        text.remove_prefix(2);
    }
    Number value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value, isHex ? 16 : 10);
    if (result.ec == std::errc::invalid_argument || result.ptr != end) {
        throw std::runtime_error("not a number");
    }
    if (result.ec == std::errc::result_out_of_range || value > largest) {
        throw std::runtime_error("the number is too large");
    }
    return value;
}

std::uint32_t word(std::string_view text)
{
    return static_cast<std::uint32_t>(number(text, std::numeric_limits<std::uint32_t>::max()));
}

Number quantity(std::string_view text)
{
    Number unit = 1;
    if (text.back() == 'K' || text.back() == 'M') {
        unit = text.back() == 'K' ? 1024 : 1024 * 1024;
        text.remove_suffix(1);
    }
    return number(text, std::numeric_limits<Number>::max() / unit) * unit;
}

std::uint32_t flashAddress(std::string_view text)
{
    const std::uint32_t address = word(text);
    if (!Flash::holds(address, 1)) {
        throw std::runtime_error("the address is not in the flash, " + Flash::rangeText());
    }
    return address;
}

bool unless(std::string_view text, const std::string& only)
{
    if (text != only) {
        throw std::runtime_error("the only value is " + only);
    }
    return false;
}

std::uint32_t occurrence(std::string_view text)
{
    if (const std::uint32_t result = word(text)) {
        return result;
    }
    throw std::runtime_error("occurrences count from 1");
}

// N:MILLISECONDS
Stall stall(std::string_view text)
{
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) {
        throw std::runtime_error("the time is missing");
    }
    return {occurrence(text.substr(0, colon)), word(text.substr(colon + 1))};
}

struct OperationName {
    std::string_view name;
    Operation operation;
};

constexpr std::array operationNames = {
    OperationName{"version", Operation::Version}, OperationName{"create", Operation::Create},
    OperationName{"fill", Operation::Fill},       OperationName{"burn", Operation::Burn},
    OperationName{"verify", Operation::Verify},   OperationName{"start", Operation::Start},
    OperationName{"read", Operation::Read},
};

// OPERATION[@N][:TEXT]
Fault fault(std::string_view value)
{
    const std::size_t colon = value.find(':');
    const std::string_view target = value.substr(0, colon);
    const std::size_t at = target.find('@');
    const std::string_view name = target.substr(0, at);
    const auto found = std::find_if(operationNames.begin(), operationNames.end(),
                                    [&](const OperationName& entry) { return entry.name == name; });
    if (found == operationNames.end()) {
        throw std::runtime_error("there is no such operation");
    }
    Fault result = {found->operation, 0, "the simulated board was told to fail: "};
    result.text += name;
    if (at != std::string_view::npos) {
        result.occurrence = occurrence(target.substr(at + 1));
    }
    if (colon != std::string_view::npos) {
        result.text = value.substr(colon + 1);
        if (result.text.empty()) {
            throw std::runtime_error("the text is empty");
        }
    }
    return result;
}

struct Key {
    std::string_view name;
    void (*set)(Parameters&, std::string_view value);
};

constexpr std::array keys = {
    Key{"board", [](auto& to, auto value) { to.boardPresent = unless(value, "none"); }},
    Key{"flash", [](auto& to, auto value) { to.flashFile = value; }},
    Key{"version", [](auto& to, auto value) { to.version = word(value); }},
    Key{"pace", [](auto& to, auto value) { to.pace = quantity(value); }},
    Key{"fail", [](auto& to, auto value) { to.faults.push_back(fault(value)); }},
    Key{"skip", [](auto& to, auto value) { to.skipped.push_back(flashAddress(value)); }},
    Key{"rate", [](auto& to, auto value) { to.rate = quantity(value); }},
    Key{"buffer", [](auto& to, auto value) { to.buffer = quantity(value); }},
    Key{"trigger", [](auto& to, auto value) { to.triggerMs = word(value); }},
    Key{"report", [](auto& to, auto value) { to.reportFile = value; }},
    Key{"failbytes", [](auto& to, auto value) { to.failBytes = quantity(value); }},
    Key{"unplug", [](auto& to, auto value) { to.unplugBytes = quantity(value); }},
    Key{"finish", [](auto& to, auto value) { to.finishBytes = quantity(value); }},
    Key{"stop", [](auto& to, auto value) { to.answersStop = unless(value, "ignored"); }},
    Key{"stall", [](auto& to, auto value) { to.stall = stall(value); }},
};

// Splits at the commas and resolves the escapes.
std::vector<std::string> split(std::string_view text)
{
    std::vector<std::string> pieces(1);
    for (std::size_t place = 0; place < text.size(); ++place) {
        if (text[place] == ',') {
            pieces.emplace_back();
            continue;
        }
        if (text[place] == '\\' && ++place == text.size()) {
            throw std::runtime_error(pieces.back() + "\\: nothing follows the backslash");
        }
        pieces.back() += text[place];
    }
    return pieces;
}

void apply(std::string_view piece, Parameters& parameters)
{
    const std::size_t equals = piece.find('=');
    const std::string_view name = piece.substr(0, equals);
    const auto key = std::find_if(keys.begin(), keys.end(),
                                  [&](const Key& entry) { return entry.name == name; });
    if (key == keys.end()) {
        throw std::runtime_error("there is no such parameter");
    }
    if (equals == std::string_view::npos || equals + 1 == piece.size()) {
        throw std::runtime_error("the value is missing");
    }
    key->set(parameters, piece.substr(equals + 1));
}

} // namespace

Parameters parseParameters(std::string_view text)
{
    Parameters parameters;
    if (text.empty()) {
        return parameters;
    }
    for (const std::string& piece : split(text)) {
        try {
            apply(piece, parameters);
        } catch (const std::runtime_error& error) {
            throw std::runtime_error((piece.empty() ? "empty parameter" : piece) + ": " +
                                     error.what());
        }
    }
    return parameters;
}

} // namespace simulator
