#include "simulator/hexrecord.h"

#include "simulator/hex.h"

#include <array>
#include <numeric>
#include <stdexcept>
#include <string>

namespace simulator
{
namespace
{

using Bytes = std::vector<std::uint8_t>;

// Length, two bytes of offset and type stand before the data, the checksum behind it.
constexpr std::size_t headerSize = 4;
constexpr std::size_t frameSize = headerSize + 1;

std::string shown(char character)
{
    return character > ' ' && character <= '~' ? std::string{'\'', character, '\''}
                                               : hexByte(character);
}

unsigned digit(char character)
{
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    const char upper = static_cast<char>(character & ~0x20);
    if (upper >= 'A' && upper <= 'F') {
        return upper - 'A' + 10;
    }
    throw std::runtime_error(shown(character) + " is not a hex digit");
}

Bytes decodeDigits(std::string_view digits)
{
    Bytes bytes((digits.size() + 1) / 2);
    for (std::size_t place = 0; place < digits.size(); ++place) {
        const unsigned value = bytes[place / 2] * 16U + digit(digits[place]);
        bytes[place / 2] = static_cast<std::uint8_t>(value);
    }
    if (digits.size() % 2 != 0 || bytes.size() < frameSize) {
        throw std::runtime_error("the record is cut short");
    }
    return bytes;
}

void checkLength(std::uint8_t type, std::size_t length)
{
    constexpr std::array<std::size_t, 6> lengths = {0, 0, 2, 4, 2, 4};
    if (type >= lengths.size()) {
        throw std::runtime_error("record type " + hex(type, 2) + " is unknown");
    }
    if (type != HexRecord::Data && length != lengths.at(type)) {
        throw std::runtime_error("a record of type " + hex(type, 2) + " holds " +
                                 std::to_string(lengths.at(type)) + " bytes, not " +
                                 std::to_string(length));
    }
}

} // namespace

HexRecord decodeHexLine(std::string_view line)
{
    if (line.front() != ':') {
        throw std::runtime_error("a record begins with ':', not with " + shown(line.front()));
    }
    if (line.size() > longestHexLine) {
        throw std::runtime_error("is longer than any record");
    }
    Bytes bytes = decodeDigits(line.substr(1));
    const std::uint8_t checksum = bytes.back();
    bytes.pop_back();

    const std::size_t length = bytes.size() - headerSize;
    if (bytes[0] != length) {
        throw std::runtime_error("holds " + std::to_string(length) +
                                 " bytes of data, its length field says " +
                                 std::to_string(bytes[0]));
    }
    const auto expected =
        static_cast<std::uint8_t>(-std::accumulate(bytes.begin(), bytes.end(), 0));
    if (checksum != expected) {
        throw std::runtime_error("checksum is " + hex(checksum, 2) + ", should be " +
                                 hex(expected, 2));
    }
    checkLength(bytes[3], length);
    return {static_cast<HexRecord::Type>(bytes[3]),
            static_cast<std::uint16_t>(bytes[1] * 256 + bytes[2]),
            {bytes.begin() + headerSize, bytes.end()}};
}

} // namespace simulator
