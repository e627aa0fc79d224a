#include "simulator/recordcheck.h"

#include "simulator/file.h"
#include "simulator/trace.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <stdexcept>
#include <utility>

namespace simulator
{
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

class RecordCheck
{
public:
    explicit RecordCheck(const std::string& path) : m_file(path, O_RDONLY), m_bytes(m_file) {}

    std::string run(bool isStrict);

private:
    struct Sequence {
        const char* processor = nullptr;
        std::optional<std::uint32_t> first = {};
        std::uint32_t next = 0;
    };

    void checkHeader();
    void readFrame(std::size_t kept = 0);
    void skipCutFrame();
    void checkFrame();
    [[nodiscard]] std::string summary() const;
    [[noreturn]] void fail(const std::string& reason) const
    {
        throw std::runtime_error("offset " + std::to_string(m_offset) + ": " + reason);
    }

    File m_file;
    FileBuffer m_bytes;
    std::uint64_t m_offset = 0; // of m_frame
    Frame m_frame = {};
    std::size_t m_have = 0; // bytes of m_frame that the file still had
    std::size_t m_skipped = 0;
    std::uint64_t m_frames = 0;
    std::uint64_t m_time = 0;
    std::array<Sequence, processorCount> m_sequences = {{{"XCPU"}, {"BCPU"}}};
};

std::string RecordCheck::run(bool isStrict)
{
    checkHeader();
    readFrame();
    if (!isStrict) {
        skipCutFrame();
    }
    for (; m_have == frameSize; readFrame()) {
        checkFrame();
        m_offset += frameSize;
    }
    if (m_have > 0 && (isStrict || !isMarked(m_frame, m_have))) {
        fail("what remains is no whole frame");
    }
    return summary();
}

void RecordCheck::checkHeader()
{
    std::array<char, headerSize> header = {};
    const auto count = m_bytes.sgetn(header.data(), headerSize);
    const char exlFormat = std::exchange(header[6], char(1));
    if (count != headerSize || std::memcmp(header.data(), "DBGP\1\0\1", headerSize) != 0 ||
        (exlFormat != 1 && exlFormat != 2)) {
        fail("no header of a record file");
    }
    m_offset = headerSize;
}

// The first `kept` bytes of the frame are there already.
void RecordCheck::readFrame(std::size_t kept)
{
    char* const bytes = reinterpret_cast<char*>(&m_frame);
    m_have = kept + std::size_t(m_bytes.sgetn(bytes + kept, std::streamsize(frameSize - kept)));
}

void RecordCheck::skipCutFrame()
{
    char* const bytes = reinterpret_cast<char*>(&m_frame);
    while (m_have == frameSize && !isWhole(m_frame) && m_skipped < frameSize - 1) {
        std::memmove(bytes, bytes + 1, frameSize - 1);
        readFrame(frameSize - 1);
        ++m_skipped;
    }
    if (m_skipped > 0 && (m_have < frameSize || !isWhole(m_frame))) {
        fail("no whole frame, nor one behind a cut frame");
    }
    m_offset += m_skipped;
}

void RecordCheck::checkFrame()
{
    if (!isWhole(m_frame)) {
        fail(isMarked(m_frame, frameSize) ? "the frame's check value is wrong"
                                          : "no frame begins here");
    }
    Sequence& sequence = m_sequences[m_frame.processor];
    if (sequence.first && m_frame.number != sequence.next) {
        fail(std::string(sequence.processor) + " frame " + std::to_string(m_frame.number) +
             " comes instead of " + std::to_string(sequence.next));
    }
    if (m_frame.time < m_time) {
        fail("the frame is older than the one before it");
    }
    sequence.first = sequence.first.value_or(m_frame.number);
    sequence.next = m_frame.number + 1;
    m_time = m_frame.time;
    ++m_frames;
}

std::string RecordCheck::summary() const
{
    std::string text = std::to_string(m_offset + m_have - headerSize) + " trace bytes, " +
                       std::to_string(m_frames) + " frames, ";
    for (const auto& [processor, first, next] : m_sequences) {
        if (first) {
            text += std::string(processor) + ' ' + std::to_string(*first) + ".." +
                    std::to_string(next - 1) + ", ";
        }
    }
    for (const auto& [bytes, place] : {std::pair(m_skipped, "first"), std::pair(m_have, "last")}) {
        if (bytes > 0) {
            text += std::to_string(bytes) + " bytes of an unfinished frame " + place + ", ";
        }
    }
    return text + "whole";
}

} // namespace

std::string checkRecord(const std::string& path, bool isStrict)
{
    return RecordCheck(path).run(isStrict);
}

} // namespace simulator
