#include "simulator/support.h"
#include "simulator/trace.h"

#include <algorithm>
#include <array>
#include <iostream>

using namespace simulator;

namespace
{

constexpr std::size_t headerSize = 8;

bool isMarked(const Frame& frame, std::size_t size)
{
    return std::memcmp(&frame, &frameMark, std::min(size, sizeof frameMark)) == 0;
}

bool isWhole(const Frame& frame)
{
    return isMarked(frame, frameSize) && frame.processor < processorCount &&
           frame.check == checkValue(frame);
}

// Proves a record file of the simulated board whole. Unless it is strict, the first and the last
// frame may be cut: a buffer that went round begins anywhere, a brutal stop ends anywhere.
class RecordCheck
{
public:
    RecordCheck(const std::string& path, bool isStrict) : m_isStrict(isStrict)
    {
        openFile(m_file, path, std::ios::in);
    }

    // Writes what the file holds; throws std::runtime_error with the first fault and its offset.
    void run(std::ostream& report)
    {
        checkHeader();
        readFrame();
        while (!m_isStrict && m_have == frameSize && !isWhole(m_frame) && m_cut < frameSize) {
            ++m_cut;
            m_file.pubseekpos(std::streamoff(headerSize + m_cut));
            readFrame();
        }
        prove(m_cut == 0 || (m_have == frameSize && m_cut < frameSize),
              "no whole frame, nor one behind a cut frame");
        m_offset += m_cut;
        for (; m_have == frameSize; readFrame()) {
            checkFrame();
            m_offset += frameSize;
        }
        prove(m_have == 0 || (!m_isStrict && isMarked(m_frame, m_have)),
              "what remains is no whole frame");
        writeSummary(report);
    }

private:
    struct Sequence {
        const char* processor = nullptr;
        std::optional<std::uint32_t> first = {};
        std::uint32_t next = 0;
    };

    template <typename... Parts>
    void prove(bool condition, const Parts&... parts) const
    {
        require(condition, "offset ", m_offset, ": ", parts...);
    }

    void checkHeader()
    {
        std::string header(headerSize, '\0');
        m_file.sgetn(header.data(), headerSize);
        const bool hasExlFormat = header[6] == 1 || header[6] == 2;
        prove(header.replace(6, 1, 1, '\2') == std::string("DBGP\1\0\2\0", headerSize) &&
                  hasExlFormat,
              "no header of a record file");
        m_offset = headerSize;
    }

    void readFrame()
    {
        m_have = std::size_t(m_file.sgetn(reinterpret_cast<char*>(&m_frame), frameSize));
    }

    void checkFrame()
    {
        prove(isMarked(m_frame, frameSize), "no frame begins here");
        prove(isWhole(m_frame), "the frame's check value is wrong");
        Sequence& sequence = m_sequences[m_frame.processor];
        prove(!sequence.first || m_frame.number == sequence.next, sequence.processor, " frame ",
              m_frame.number, " comes instead of ", sequence.next);
        prove(m_frame.time >= m_time, "the frame is older than the one before it");
        sequence.first = sequence.first.value_or(m_frame.number);
        sequence.next = m_frame.number + 1;
        m_time = m_frame.time;
        ++m_frames;
    }

    void writeSummary(std::ostream& report) const
    {
        report << m_offset + m_have - headerSize << " trace bytes, " << m_frames << " frames, ";
        for (const auto& [processor, first, next] : m_sequences) {
            if (first) {
                report << processor << ' ' << *first << ".." << next - 1 << ", ";
            }
        }
        for (const auto& [bytes, place] : {std::pair(m_cut, "first"), std::pair(m_have, "last")}) {
            if (bytes > 0) {
                report << bytes << " bytes of an unfinished frame " << place << ", ";
            }
        }
        report << "whole";
    }

    bool m_isStrict;
    std::filebuf m_file;
    std::uint64_t m_offset = 0; // of m_frame
    Frame m_frame = {};
    std::size_t m_have = 0; // bytes of m_frame that the file still had
    std::size_t m_cut = 0;  // bytes of a cut frame in front
    std::uint64_t m_frames = 0;
    std::uint64_t m_time = 0;
    std::array<Sequence, processorCount> m_sequences = {{{"XCPU"}, {"BCPU"}}};
};

} // namespace

int main(int argumentCount, char** arguments)
{
    const bool isStrict = argumentCount > 1 && std::string_view(arguments[1]) == "--strict";
    const int first = isStrict ? 2 : 1;
    if (first >= argumentCount) {
        std::cerr << "usage: checkrecord [--strict] FILE...\n";
        return 2;
    }
    int result = 0;
    for (int place = first; place < argumentCount; ++place) {
        std::cout << arguments[place] << ": ";
        try {
            RecordCheck(arguments[place], isStrict).run(std::cout);
        } catch (const std::exception& fault) {
            std::cout << fault.what();
            result = 1;
        }
        std::cout << std::endl;
    }
    return result;
}
