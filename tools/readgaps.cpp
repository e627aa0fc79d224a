// Preloaded into the program, this stands between it and the board library, whichever that is, and
// measures the longest time between the end of a read and the beginning of the next. At the
// program's end the file $READ_GAPS holds the number of reads and that time in microseconds.

#include "board/branlib.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <dlfcn.h>
#include <fstream>
#include <optional>

namespace
{

using Clock = std::chrono::steady_clock;
using Read = BRAN_ERR_T (*)(BRAN_RECORD_CONTEXT_T&, char*, unsigned int, unsigned int&);

struct Gaps {
    unsigned long reads = 0;
    std::optional<Clock::time_point> lastEnd;
    Clock::duration longest = {};

    Gaps() = default;
    Gaps(const Gaps&) = delete;
    Gaps& operator=(const Gaps&) = delete;
    ~Gaps()
    {
        using std::chrono::microseconds;
        std::ofstream(std::getenv("READ_GAPS"))
            << reads << ' ' << std::chrono::duration_cast<microseconds>(longest).count() << '\n';
    }
};

} // namespace

BRAN_ERR_T BRAN_GetRecordData(BRAN_RECORD_CONTEXT_T& context, char* buffer, unsigned int size,
                              unsigned int& bytesRead)
{
    static Gaps gaps;
    static const auto read = reinterpret_cast<Read>(
        dlsym(RTLD_NEXT, "_Z18BRAN_GetRecordDataR21BRAN_RECORD_CONTEXT_TPcjRj"));
    if (gaps.lastEnd) {
        gaps.longest = std::max(gaps.longest, Clock::now() - *gaps.lastEnd);
    }
    const BRAN_ERR_T result = read(context, buffer, size, bytesRead);
    ++gaps.reads;
    gaps.lastEnd = result == BRAN_SUCCESS ? std::optional(Clock::now()) : std::nullopt;
    return result;
}
