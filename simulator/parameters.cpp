#include "simulator/parameters.h"

#include "simulator/support.h"

#include <charconv>
#include <map>

namespace simulator
{
namespace
{

std::uint64_t number(std::string_view text, std::uint64_t largest = Parameters::never)
{
    std::uint64_t unit = 1;
    if (!text.empty() && (text.back() == 'K' || text.back() == 'M')) {
        unit = text.back() == 'K' ? 0x400 : 0x100000;
        text.remove_suffix(1);
    }
    const bool isHex = text.substr(0, 2) == "0x";
    text.remove_prefix(isHex ? 2 : 0);
    std::uint64_t value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value, isHex ? 16 : 10);
    require(result.ptr == end && result.ec != std::errc::invalid_argument, "not a number");
    require(result.ec == std::errc() && value <= largest / unit, "the number is too large");
    return value * unit;
}

std::uint32_t word(std::string_view text)
{
    return static_cast<std::uint32_t>(number(text, std::numeric_limits<std::uint32_t>::max()));
}

std::uint64_t occurrence(std::string_view text)
{
    const std::uint64_t result = number(text);
    require(result != 0, "occurrences count from 1");
    return result;
}

std::uint32_t flashAddress(std::string_view text)
{
    const std::uint32_t address = word(text);
    require(address - flashBase < flashSize, "the address is not in the flash, ", flashRange);
    return address;
}

bool unless(std::string_view text, const char* only)
{
    require(text == only, "the only value is ", only);
    return false;
}

// N:MILLISECONDS
void setStall(Parameters& to, std::string_view text)
{
    const std::size_t colon = text.find(':');
    require(colon != std::string_view::npos, "the time is missing");
    to.stalledRead = occurrence(text.substr(0, colon));
    to.stallMs = word(text.substr(colon + 1));
}

const std::map<std::string_view, Operation> operations = {
    {"version", Operation::Version}, {"create", Operation::Create}, {"fill", Operation::Fill},
    {"burn", Operation::Burn},       {"verify", Operation::Verify}, {"start", Operation::Start},
    {"read", Operation::Read},
};

// OPERATION[@N][:TEXT]
Fault fault(std::string_view value)
{
    const std::size_t colon = value.find(':');
    const std::string_view target = value.substr(0, colon);
    const std::size_t at = target.find('@');
    const std::string name(target.substr(0, at));
    const auto found = operations.find(name);
    require(found != operations.end(), "there is no such operation");
    Fault result = {found->second, 0, "the simulated board was told to fail: " + name};
    if (at != std::string_view::npos) {
        result.occurrence = occurrence(target.substr(at + 1));
    }
    if (colon != std::string_view::npos) {
        result.text = value.substr(colon + 1);
        require(!result.text.empty(), "the text is empty");
    }
    return result;
}

const std::map<std::string_view, void (*)(Parameters&, std::string_view)> setters = {
    {"board", [](auto& to, auto text) { to.boardPresent = unless(text, "none"); }},
    {"flash", [](auto& to, auto text) { to.flashFile = text; }},
    {"version", [](auto& to, auto text) { to.version = word(text); }},
    {"pace", [](auto& to, auto text) { to.pace = number(text); }},
    {"fail", [](auto& to, auto text) { to.faults.push_back(fault(text)); }},
    {"skip", [](auto& to, auto text) { to.skipped.push_back(flashAddress(text)); }},
    {"rate", [](auto& to, auto text) { to.rate = number(text); }},
    {"buffer", [](auto& to, auto text) { to.buffer = number(text); }},
    {"trigger", [](auto& to, auto text) { to.triggerMs = word(text); }},
    {"report", [](auto& to, auto text) { to.reportFile = text; }},
    {"failbytes", [](auto& to, auto text) { to.failBytes = number(text); }},
    {"unplug", [](auto& to, auto text) { to.unplugBytes = number(text); }},
    {"finish", [](auto& to, auto text) { to.finishBytes = number(text); }},
    {"stop", [](auto& to, auto text) { to.answersStop = unless(text, "ignored"); }},
    {"stall", setStall},
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
        if (text[place] == '\\') {
            ++place;
            require(place < text.size(), pieces.back(), "\\: nothing follows the backslash");
        }
        pieces.back() += text[place];
    }
    return pieces;
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
            const std::size_t equals = piece.find('=');
            const auto setter = setters.find(piece.substr(0, equals));
            require(setter != setters.end(), "there is no such parameter");
            require(equals < piece.size() - 1, "the value is missing");
            setter->second(parameters, std::string_view(piece).substr(equals + 1));
        } catch (const std::runtime_error& error) {
            fail(piece.empty() ? "empty parameter" : piece, ": ", error.what());
        }
    }
    return parameters;
}

} // namespace simulator
