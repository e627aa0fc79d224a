#include "simulator/intelhex.h"

#include "simulator/hex.h"
#include "simulator/hexrecord.h"

#include <algorithm>
#include <array>
#include <istream>
#include <stdexcept>
#include <string>

namespace simulator
{
namespace
{

constexpr std::uint64_t addressSpace = 0x1'0000'0000;
constexpr std::uint32_t segmentSize = 0x10000;

struct Edge {
    std::uint64_t address;
    std::uint32_t line;
};

class Reader
{
public:
    Reader(std::istream& input, std::uint32_t limit)
        : m_input(input),
          m_limit(limit),
          m_window(limit, '\xFF'),
          m_lineOfByte(limit)
    {
    }

    HexData read();

private:
    void readRecords();
    bool nextLine();
    void apply(const HexRecord& record);
    void placeData(const HexRecord& record);
    void extendTo(std::uint64_t first, std::uint64_t end);

    std::istream& m_input;
    // Takes a carriage return, one character too many, and the NUL.
    std::array<char, longestHexLine + 3> m_buffer = {};
    std::string_view m_text;
    std::uint32_t m_line = 0;
    std::uint32_t m_endLine = 0;

    std::uint32_t m_base = 0;
    bool m_segmented = false;
    Edge m_lowest = {addressSpace, 0};
    Edge m_end = {0, 0};

    // Records come in any order, so the lowest address is known only at the end. As all data lies
    // within `limit` bytes, an address modulo the limit is a place of its own all the same.
    std::uint32_t m_limit;
    std::vector<char> m_window;
    std::vector<std::uint32_t> m_lineOfByte;
    std::uint32_t m_dataSize = 0;
};

HexData Reader::read()
{
    // A failing read then shows its own reason instead of looking like the end of the file.
    m_input.exceptions(std::ios::badbit);
    if (m_input.peek() == std::istream::traits_type::eof()) {
        throw std::runtime_error("the file is empty");
    }
    try {
        readRecords();
    } catch (const std::runtime_error& error) {
        throw std::runtime_error("line " + std::to_string(m_line) + ": " + error.what());
    }
    if (m_dataSize == 0) {
        throw std::runtime_error("the file holds no data");
    }
    const auto lowest = static_cast<std::uint32_t>(m_lowest.address);
    std::rotate(m_window.begin(), m_window.begin() + lowest % m_limit, m_window.end());
    m_window.resize(m_end.address - lowest);
    return {lowest, m_dataSize, std::move(m_window)};
}

void Reader::readRecords()
{
    while (nextLine()) {
        if (m_text.empty()) {
            continue;
        }
        if (m_endLine != 0) {
            throw std::runtime_error("stands behind the end record of line " +
                                     std::to_string(m_endLine));
        }
        apply(decodeHexLine(m_text));
    }
    if (m_endLine == 0) {
        throw std::runtime_error("the end record is missing");
    }
}

bool Reader::nextLine()
{
    ++m_line;
    m_input.getline(m_buffer.data(), static_cast<std::streamsize>(m_buffer.size()));
    if (m_input.eof() && m_input.gcount() == 0) {
        return false;
    }
    // A line that fills the buffer is too long, which decoding tells; the rest of it is never read.
    const auto lineFeed = m_input.good() ? 1 : 0;
    m_text = {m_buffer.data(), static_cast<std::size_t>(m_input.gcount() - lineFeed)};
    if (!m_text.empty() && m_text.back() == '\r') {
        m_text.remove_suffix(1);
    }
    return true;
}

void Reader::apply(const HexRecord& record)
{
    switch (record.type) {
    case HexRecord::Data:
        placeData(record);
        break;
    case HexRecord::End:
        m_endLine = m_line;
        break;
    case HexRecord::SegmentBase:
    case HexRecord::LinearBase:
        m_segmented = record.type == HexRecord::SegmentBase;
        m_base = (record.data[0] * 0x100U + record.data[1]) << (m_segmented ? 4U : 16U);
        break;
    case HexRecord::SegmentStart:
    case HexRecord::LinearStart:
        // Where the program starts is no business of a flash.
        break;
    }
}

void Reader::placeData(const HexRecord& record)
{
    const std::uint64_t first = std::uint64_t{m_base} + record.offset;
    const std::uint64_t end = first + record.data.size();
    if (first == end) {
        return;
    }
    if (m_segmented && record.offset + record.data.size() > segmentSize) {
        throw std::runtime_error("data runs past the end of its 64 KiB segment");
    }
    if (end > addressSpace) {
        throw std::runtime_error("data runs past address " + hexAddress(addressSpace - 1));
    }
    extendTo(first, end);
    for (std::uint64_t address = first; address < end; ++address) {
        std::uint32_t& line = m_lineOfByte[address % m_limit];
        if (line != 0) {
            throw std::runtime_error("data at " + hexAddress(address) + " overlaps that of line " +
                                     std::to_string(line));
        }
        line = m_line;
        m_window[address % m_limit] = static_cast<char>(record.data[address - first]);
        ++m_dataSize;
    }
}

void Reader::extendTo(std::uint64_t first, std::uint64_t end)
{
    if (first < m_lowest.address) {
        m_lowest = {first, m_line};
    }
    if (end > m_end.address) {
        m_end = {end, m_line};
    }
    if (m_end.address - m_lowest.address > m_limit) {
        throw std::runtime_error("data from " + hexAddress(m_lowest.address) + " (line " +
                                 std::to_string(m_lowest.line) + ") to " +
                                 hexAddress(m_end.address - 1) + " (line " +
                                 std::to_string(m_end.line) + ") does not fit into " +
                                 std::to_string(m_limit) + " bytes");
    }
}

} // namespace

HexData readIntelHex(std::istream& input, std::uint32_t limit)
{
    return Reader(input, limit).read();
}

} // namespace simulator
