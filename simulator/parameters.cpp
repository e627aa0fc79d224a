#include "simulator/parameters.h"

#include "simulator/support.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>

namespace simulator
{
namespace
{

using Text = std::string_view;

// The text before the first separator, and the text after it.
std::pair<Text, Text> splitAtFirst(char separator, Text text)
{
    const std::size_t end = std::min(text.find(separator), text.size());
    return {text.substr(0, end), text.substr(std::min(end + 1, text.size()))};
}

// The functions that read a value return false if the value is not valid.
template <typename Number>
bool readNumber(Number& number, Text text)
{
    const bool isHex = text.substr(0, 2) == "0x";
    text.remove_prefix(isHex ? 2 : 0);
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number, isHex ? 16 : 10);
    return read.ec == std::errc() && read.ptr == end;
}

template <auto member>
bool setNumber(Parameters& parameters, Text text)
{
    return readNumber(parameters.*member, text);
}

template <auto member>
bool setText(Parameters& parameters, Text text)
{
    parameters.*member = text;
    return true;
}

bool addSkippedBlock(Parameters& parameters, Text text)
{
    std::uint32_t address = 0;
    const bool isNumber = readNumber(address, text);
    parameters.skippedBlocks.insert(address / flashBlockSize);
    return isNumber && address - flashBase < flashSize;
}

// OPERATION[@N][:TEXT]
bool addFault(Parameters& parameters, Text value)
{
    static constexpr std::array<Text, 7> operations = {"version", "create", "fill", "burn",
                                                       "verify",  "start",  "read"};
    const auto [target, text] = splitAtFirst(':', value);
    const auto [name, occurrence] = splitAtFirst('@', target);
    const auto* const operation = std::find(operations.begin(), operations.end(), name);
    const bool isEvery = name == target;
    Fault& fault = parameters.faults.emplace_back();
    fault.operation = Operation(operation - operations.begin() + 1);
    fault.text = text.empty() ? "the simulated board was told to fail: " + std::string(name) : text;
    return operation != operations.end() &&
           (isEvery || (readNumber(fault.occurrence, occurrence) && fault.occurrence != 0));
}

const std::map<Text, bool (*)(Parameters&, Text)> setters = {
    {"board", [](auto& to, auto text) { return to.boardPresent = false, text == "none"; }},
    {"flash", setText<&Parameters::flashFile>},
    {"version", setNumber<&Parameters::version>},
    {"pace", setNumber<&Parameters::pace>},
    {"fail", addFault},
    {"skip", addSkippedBlock},
    {"rate", setNumber<&Parameters::rate>},
    {"buffer", setNumber<&Parameters::buffer>},
    {"trigger", setNumber<&Parameters::triggerMs>},
    {"report", setText<&Parameters::reportFile>},
    {"failbytes", setNumber<&Parameters::failBytes>},
    {"unplug", setNumber<&Parameters::unplugBytes>},
    {"finish", setNumber<&Parameters::finishBytes>},
    {"stop", [](auto& to, auto text) { return to.answersStop = false, text == "ignored"; }},
};

void setParameter(Parameters& parameters, const std::string& pair)
{
    const auto [key, value] = splitAtFirst('=', pair);
    const auto setter = setters.find(key);
    require(setter != setters.end(),
            "BRAN_SIMULATOR: there is no parameter \"" + std::string(key) + '"');
    require(!value.empty() && setter->second(parameters, value),
            "BRAN_SIMULATOR: the value in \"" + pair + "\" is not valid");
}

} // namespace

Parameters parseParameters(std::string_view text)
{
    Parameters parameters;
    std::string pair;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] == ',') {
            setParameter(parameters, pair);
            pair.clear();
        } else {
            index += text[index] == '\\' && index + 1 < text.size() ? 1 : 0;
            pair += text[index];
        }
    }
    if (!text.empty()) {
        setParameter(parameters, pair);
    }
    return parameters;
}

} // namespace simulator
