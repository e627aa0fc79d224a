// Preloaded into the program, it stands between it and the board library, whichever that is, and
// tells how long the program kept the board waiting: the longest time between the end of a read and
// the beginning of the next. What it has seen is in the file $READ_GAPS when the program has ended.

#include "board/branlib.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <dlfcn.h>
#include <fstream>

namespace
{

using Clock = std::chrono::steady_clock;
using Read = BRAN_ERR_T (*)(BRAN_RECORD_CONTEXT_T&, char*, unsigned int, unsigned int&);

class Gaps
{
public:
    Gaps() = default;
    Gaps(const Gaps&) = delete;
    Gaps& operator=(const Gaps&) = delete;
    ~Gaps()
    {
        if (const char* file = std::getenv("READ_GAPS")) {
            const auto microseconds =
                std::chrono::duration_cast<std::chrono::microseconds>(m_longest).count();
            std::ofstream(file) << "reads " << m_reads << " gap " << microseconds << '\n';
        }
    }

    void readBegins()
    {
        if (m_isRecording) {
            m_longest = std::max(m_longest, Clock::now() - m_lastEnd);
        }
    }

    void readEnds(BRAN_ERR_T result)
    {
        ++m_reads;
        m_isRecording = result == BRAN_SUCCESS;
        m_lastEnd = Clock::now();
    }

private:
    std::uint64_t m_reads = 0;
    bool m_isRecording = false;
    Clock::time_point m_lastEnd;
    Clock::duration m_longest = {};
};

} // namespace

BRAN_ERR_T BRAN_GetRecordData(BRAN_RECORD_CONTEXT_T& context, char* buffer, unsigned int size,
                              unsigned int& bytesRead)
{
    static Gaps gaps;
    static const auto read = reinterpret_cast<Read>(
        dlsym(RTLD_NEXT, "_Z18BRAN_GetRecordDataR21BRAN_RECORD_CONTEXT_TPcjRj"));
    gaps.readBegins();
    const BRAN_ERR_T result = read(context, buffer, size, bytesRead);
    gaps.readEnds(result);
    return result;
}
