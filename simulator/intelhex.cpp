#include "simulator/intelhex.h"

#include "simulator/support.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <numeric>
#include <vector>

namespace simulator
{
namespace
{

using Bytes = std::vector<std::uint8_t>;

enum Type : std::uint8_t { Data, End, SegmentBase, SegmentStart, LinearBase, LinearStart };

// The length, two bytes of offset and the type precede the data; the checksum follows.
constexpr std::size_t headerSize = 4;

// The bytes of a record that is valid by itself.
Bytes decode(std::string_view line)
{
    require(line.front() == ':', "a record begins with a colon");
    require(line.size() % 2 != 0 && line.size() > 2 * headerSize + 2, "the record is cut short");
    Bytes bytes;
    for (line.remove_prefix(1); !line.empty(); line.remove_prefix(2)) {
        const char* const end = line.data() + 2;
        require(std::from_chars(line.data(), end, bytes.emplace_back(), 16).ptr == end,
                "the record holds something else than hex digits");
    }
    require(bytes.size() == headerSize + bytes[0] + 1, "the length of the record is wrong");
    const int sum = std::accumulate(bytes.begin(), bytes.end(), 0);
    require(sum % 0x100 == 0, "the checksum is wrong");
    constexpr std::array<std::size_t, 6> lengths = {0, 0, 2, 4, 2, 4};
    const std::uint8_t type = bytes[3];
    require(type < lengths.size() && (type == Data || bytes[0] == lengths[type]),
            "the type of the record is unknown, or has another length");
    return bytes;
}

class Reader
{
public:
    explicit Reader(std::uint32_t limit) : m_limit(limit) {}

    void readLine(std::string_view line)
    {
        require(!m_hasEnded, "the end record stands before this line");
        const Bytes record = decode(line);
        const std::uint8_t type = record[3];
        const Bytes data(record.begin() + headerSize, record.end() - 1);
        m_hasEnded = type == End;
        if (type == Data && !data.empty()) {
            addData(m_base + (record[1] << 8U) + record[2], data);
            require(span() <= m_limit, "the data spans more than fits into the image");
        } else if (type == SegmentBase || type == LinearBase) {
            m_base = data[0] * 0x100U + data[1];
            m_base <<= type == SegmentBase ? 4U : 16U;
        } // The program's start address does not matter to a flash.
    }

    HexData result() const
    {
        require(m_hasEnded, "the file has no end record");
        require(!m_pieces.empty(), "the file holds no data");
        const std::uint64_t lowest = m_pieces.begin()->first;
        HexData result = {std::uint32_t(lowest), 0, std::string(span(), '\xFF')};
        for (const auto& [address, data] : m_pieces) {
            std::copy(data.begin(), data.end(), &result.bytes[address - lowest]);
            result.dataSize += data.size();
        }
        return result;
    }

private:
    void addData(std::uint64_t address, const Bytes& data)
    {
        constexpr const char* overlap = "the data overlaps that of an earlier line";
        const auto next = m_pieces.upper_bound(address);
        require(next == m_pieces.end() || address + data.size() <= next->first, overlap);
        if (next != m_pieces.begin()) {
            auto& [start, piece] = *std::prev(next);
            require(start + piece.size() <= address, overlap);
            if (start + piece.size() == address) {
                piece.insert(piece.end(), data.begin(), data.end());
                return;
            }
        }
        m_pieces.emplace_hint(next, address, data);
    }

    std::uint64_t span() const
    {
        const auto& [address, data] = *m_pieces.rbegin();
        return address + data.size() - m_pieces.begin()->first;
    }

    std::uint32_t m_limit;
    bool m_hasEnded = false;
    std::uint64_t m_base = 0;
    std::map<std::uint64_t, Bytes> m_pieces; // by address; joined where one follows another
};

} // namespace

HexData readIntelHex(std::string_view input, std::uint32_t limit)
{
    Reader reader(limit);
    for (std::uint32_t number = 1; !input.empty(); ++number) {
        std::string_view line = input.substr(0, input.find('\n'));
        input.remove_prefix(std::min(line.size() + 1, input.size()));
        line = line.substr(0, line.find_last_not_of('\r') + 1);
        try {
            if (!line.empty()) {
                reader.readLine(line);
            }
        } catch (const std::runtime_error& error) {
            fail("line " + std::to_string(number) + ": " + error.what());
        }
    }
    return reader.result();
}

} // namespace simulator
