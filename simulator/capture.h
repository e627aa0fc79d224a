#pragma once

#include "simulator/parameters.h"
#include "simulator/trace.h"

#include <chrono>
#include <cstdint>
#include <limits>

namespace simulator
{

/// What the board captures and hands out in one recording. No thread runs: each call computes from
/// the clock what has happened since.
class Capture
{
public:
    struct Counts {
        std::uint64_t generated; ///< bytes that were ready for the reader at some time
        std::uint64_t delivered;
        std::uint64_t lost; ///< by overrun
    };

    /// Throws std::runtime_error if the configuration makes no sense.
    Capture(const BRAN_RECORD_CONFIG_T& config, const Parameters& parameters);

    /// Hands out at most `size` bytes; it waits a little until there are as many.
    std::size_t read(char* buffer, std::size_t size);
    /// Ends the capture; what was captured can still be read.
    void stop();
    /// Whether the capture has ended and everything was read.
    [[nodiscard]] bool isOver() const { return m_next >= m_end && m_taken == frameSize; }
    [[nodiscard]] Counts counts() const;

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

    void fillRing(std::chrono::milliseconds triggerTime, std::optional<std::uint64_t> trigger);
    [[nodiscard]] Clock::duration timeFor(std::uint64_t frames) const;
    [[nodiscard]] std::uint64_t framesIn(Clock::duration time) const;
    [[nodiscard]] std::uint64_t readyEnd() const;
    void waitFor(std::size_t size) const;
    void overrun();

    Trace m_trace;
    std::uint64_t m_rate;
    // Frames of the trace from m_base on become ready one after the other from m_since on.
    Clock::time_point m_since = Clock::now();
    std::uint64_t m_base = 0;
    std::uint64_t m_end = unlimited;
    std::uint64_t m_room = unlimited; // frames that may wait for the reader
    bool m_isRing;

    std::uint64_t m_first = 0;
    std::uint64_t m_next = 0;
    Frame m_frame = {};
    std::size_t m_taken = frameSize; // bytes of m_frame that were handed out
    std::uint64_t m_delivered = 0;
    std::uint64_t m_lost = 0;
};

} // namespace simulator
