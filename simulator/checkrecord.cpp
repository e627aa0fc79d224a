#include "simulator/support.h"
#include "simulator/trace.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <vector>

using namespace simulator;

namespace
{

constexpr std::size_t headerSize = 8;
const std::string oldExlHeader("DBGP\1\0\1\0", headerSize);
const std::string newExlHeader("DBGP\1\0\2\0", headerSize);

// Verifies a record file of the simulated board's trace. Unless the check is strict, the first and
// the last frame may be cut: a ring buffer begins anywhere, a brutal stop ends anywhere.
class RecordCheck
{
public:
    RecordCheck(const std::string& path, bool isStrict) : m_isStrict(isStrict)
    {
        openFile(m_file, path);
    }

    // Returns what the file holds; throws std::runtime_error with the first fault and its offset.
    std::string run()
    {
        std::string header(headerSize, '\0');
        m_file.sgetn(header.data(), headerSize);
        prove(header == oldExlHeader || header == newExlHeader, "no header of a record file");
        findFirstFrame();
        for (; m_have == frameSize; readFrame()) {
            checkFrame();
            m_offset += frameSize;
        }
        prove(m_have == 0 || (!m_isStrict && beginsFrame()), "what remains is no whole frame");
        return std::to_string(m_offset + m_have - headerSize) + " trace bytes, whole";
    }

private:
    void prove(bool condition, const char* fault) const
    {
        if (!condition) {
            fail("offset " + std::to_string(m_offset) + ": " + fault);
        }
    }

    void readFrame()
    {
        m_have = std::size_t(m_file.sgetn(reinterpret_cast<char*>(&m_frame), frameSize));
    }

    void readFrameAt(std::uint64_t offset)
    {
        m_offset = offset;
        m_file.pubseekpos(std::streamoff(offset));
        readFrame();
    }

    bool beginsFrame() const
    {
        return std::memcmp(&m_frame, &frameSyncWord, std::min(m_have, sizeof frameSyncWord)) == 0;
    }

    bool isWhole() const
    {
        return m_have == frameSize && beginsFrame() && m_frame.processor < processorCount &&
               m_frame.checksum == checksumOf(m_frame);
    }

    void findFirstFrame()
    {
        for (std::size_t cut = 0; !m_isStrict && cut < frameSize; ++cut) {
            readFrameAt(headerSize + cut);
            if (isWhole()) {
                return;
            }
        }
        readFrameAt(headerSize);
    }

    void checkFrame()
    {
        prove(beginsFrame(), "the sync word is missing");
        prove(isWhole(), "the checksum is wrong");
        std::optional<std::uint32_t>& next = m_next[m_frame.processor];
        prove(next.value_or(m_frame.sequenceNumber) == m_frame.sequenceNumber,
              "the sequence number is not the next one");
        prove(m_frame.time >= m_time, "the frame is older than the one before it");
        next = m_frame.sequenceNumber + 1;
        m_time = m_frame.time;
    }

    bool m_isStrict;
    std::filebuf m_file;
    std::uint64_t m_offset = 0; // of m_frame
    Frame m_frame = {};
    std::size_t m_have = 0; // bytes of m_frame that the file still had
    std::uint64_t m_time = 0;
    std::array<std::optional<std::uint32_t>, processorCount> m_next; // sequence numbers
};

} // namespace

int main(int argumentCount, char** arguments)
{
    std::vector<std::string> files(arguments + 1, arguments + argumentCount);
    const bool isStrict = !files.empty() && files.front() == "--strict";
    files.erase(files.begin(), files.begin() + (isStrict ? 1 : 0));
    if (files.empty()) {
        std::cerr << "usage: checkrecord [--strict] FILE...\n";
        return 2;
    }
    int result = 0;
    for (const std::string& file : files) {
        std::cout << file << ": ";
        try {
            std::cout << RecordCheck(file, isStrict).run() << std::endl;
        } catch (const std::exception& fault) {
            std::cout << fault.what() << std::endl;
            result = 1;
        }
    }
    return result;
}
