#include "simulator/intelhex.h"

#include "simulator/support.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <numeric>
#include <tuple>
#include <vector>

namespace simulator
{
namespace
{

using Bytes = std::vector<std::uint8_t>;

enum Type : std::uint8_t { Data, End, SegmentBase, SegmentStart, LinearBase, LinearStart };

// Length, two bytes of offset and type stand before the data, the checksum behind it.
constexpr std::size_t headerSize = 4;

struct Shown {
    char character;
};

std::ostream& operator<<(std::ostream& to, Shown shown)
{
    const bool isPrintable = shown.character > ' ' && shown.character <= '~';
    return isPrintable ? to << '\'' << shown.character << '\''
                       : to << Hex{std::uint8_t(shown.character), 2};
}

// The header and the data of a record that is sound by itself.
Bytes decode(std::string_view line)
{
    require(line[0] == ':', "a record begins with ':', not with ", Shown{line[0]});
    Bytes bytes;
    for (std::size_t place = 1; place + 1 < line.size(); place += 2) {
        const char* const end = &line[place] + 2;
        const auto result = std::from_chars(&line[place], end, bytes.emplace_back(), 16);
        if (result.ptr != end) {
            fail(Shown{*result.ptr}, " is not a hex digit");
        }
    }
    require(line.size() % 2 != 0 && bytes.size() > headerSize, "the record is cut short");
    const std::uint8_t checksum = bytes.back();
    bytes.pop_back();

    const std::size_t length = bytes.size() - headerSize;
    require(bytes[0] == length, "holds ", length, " bytes of data, its length field says ",
            unsigned(bytes[0]));
    const std::uint8_t expected = -std::accumulate(bytes.begin(), bytes.end(), 0) & 0xFF;
    require(checksum == expected, "checksum is ", Hex{checksum, 2}, ", should be ",
            Hex{expected, 2});
    constexpr std::array<std::size_t, 6> lengths = {0, 0, 2, 4, 2, 4};
    const std::uint8_t type = bytes[3];
    require(type < lengths.size(), "record type ", Hex{type, 2}, " is unknown");
    require(type == Data || length == lengths[type], "a record of type ", Hex{type, 2}, " holds ",
            lengths[type], " bytes, not ", length);
    return bytes;
}

class Reader
{
public:
    void readLine(std::string_view line, std::uint32_t number)
    {
        if (line.empty()) {
            return;
        }
        require(m_endLine == 0, "stands behind the end record of line ", m_endLine);
        const Bytes record = decode(line);
        const auto type = record[3];
        if (type == Data && record[0] != 0) {
            addData(record, number);
        } else if (type == End) {
            m_endLine = number;
        } else if (type == SegmentBase || type == LinearBase) {
            m_isSegmented = type == SegmentBase;
            const std::uint32_t value = record[headerSize] * 0x100U + record[headerSize + 1];
            m_base = value << (m_isSegmented ? 4U : 16U);
        } // Where the program starts is no business of a flash.
    }

    void requireEnd() const { require(m_endLine != 0, "the end record is missing"); }
    HexData result(std::uint32_t limit);

private:
    // What a record holds. The data itself stands in m_data.
    struct Piece {
        std::uint32_t address;
        std::uint32_t line;
        std::uint32_t place;
        std::uint32_t size;
        std::uint64_t end() const { return std::uint64_t{address} + size; }
    };

    void addData(const Bytes& record, std::uint32_t line)
    {
        const std::uint32_t offset = record[1] * 0x100U + record[2];
        const std::uint32_t size = record[0];
        require(!m_isSegmented || offset + size <= 0x10000,
                "data runs past the end of its 64 KiB segment");
        require(std::uint64_t{m_base} + offset + size <= 0x1'0000'0000,
                "data runs past address 0xFFFFFFFF");
        m_pieces.push_back({m_base + offset, line, std::uint32_t(m_data.size()), size});
        m_data.append(record.begin() + headerSize, record.end());
    }

    void requireNoOverlap() const;

    std::uint32_t m_endLine = 0;
    std::uint32_t m_base = 0;
    bool m_isSegmented = false;
    std::vector<Piece> m_pieces;
    std::string m_data;
};

// The pieces are sorted by address.
void Reader::requireNoOverlap() const
{
    const auto found = std::adjacent_find(
        m_pieces.begin(), m_pieces.end(),
        [](const Piece& piece, const Piece& next) { return next.address < piece.end(); });
    if (found != m_pieces.end()) {
        const auto [earlier, later] = std::minmax(found[0].line, found[1].line);
        fail("line ", later, ": data at ", Hex{found[1].address}, " overlaps that of line ",
             earlier);
    }
}

HexData Reader::result(std::uint32_t limit)
{
    require(!m_pieces.empty(), "the file holds no data");
    std::sort(m_pieces.begin(), m_pieces.end(), [](const Piece& left, const Piece& right) {
        return std::tie(left.address, left.line) < std::tie(right.address, right.line);
    });
    requireNoOverlap();
    const Piece& first = m_pieces.front();
    const Piece& last = m_pieces.back();
    const std::uint64_t span = last.end() - first.address;
    require(span <= limit, "line ", std::max(first.line, last.line), ": data from ",
            Hex{first.address}, " (line ", first.line, ") to ", Hex{last.end() - 1}, " (line ",
            last.line, ") does not fit into ", limit, " bytes");
    HexData result = {first.address, std::uint32_t(m_data.size()), std::string(span, '\xFF')};
    for (const Piece& piece : m_pieces) {
        m_data.copy(&result.bytes[piece.address - first.address], piece.size, piece.place);
    }
    return result;
}

} // namespace

HexData readIntelHex(std::string_view input, std::uint32_t limit)
{
    Reader reader;
    std::uint32_t number = 1;
    try {
        for (; !input.empty(); ++number) {
            std::string_view line = input.substr(0, input.find('\n'));
            input.remove_prefix(std::min(line.size() + 1, input.size()));
            if (!line.empty() && line.back() == '\r') {
                line.remove_suffix(1);
            }
            reader.readLine(line, number);
        }
        reader.requireEnd();
    } catch (const std::runtime_error& error) {
        fail("line ", number, ": ", error.what());
    }
    return reader.result(limit);
}

} // namespace simulator
