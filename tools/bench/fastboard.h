#pragma once

#include <cstdint>

/// Stands in for the board library: a recording delivers so many full reads as fast as memory can
/// be copied, and is finished then.
class FastBoard
{
public:
    static FastBoard& instance();

    void prepare(std::uint64_t reads);
    [[nodiscard]] bool isFinished() const { return m_done == m_reads; }

    /// From the first read of the last recording to its end. Seconds of the processor, in which
    /// other programs have no share.
    [[nodiscard]] double seconds() const { return m_end.seconds - m_begin.seconds; }
    [[nodiscard]] std::uint64_t allocations() const
    {
        return m_end.allocations - m_begin.allocations;
    }

    /// Fills a read; false when the recording is finished.
    bool read(char* buffer, unsigned int size);

private:
    struct Moment {
        double seconds;
        std::uint64_t allocations;

        static Moment now();
    };

    std::uint64_t m_reads = 0;
    std::uint64_t m_done = 0;
    Moment m_begin = {};
    Moment m_end = {};
};
