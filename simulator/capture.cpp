#include "simulator/capture.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace simulator
{
namespace
{

constexpr std::uint64_t ringFrames = 0x200000 / frameSize;
constexpr std::uint8_t filterMask = 0x40;
constexpr std::chrono::milliseconds longestWait(10);

std::optional<std::uint8_t> filteredProcessor(const BRAN_RECORD_CONFIG_T& config)
{
    const std::uint8_t mask = config.cpuFilterMask1;
    if (config.recordMode > 1 || config.cpuFilterSelect >= processorCount ||
        (mask != 0 && mask != filterMask) || mask != config.cpuFilterMask2) {
        throw std::runtime_error("the record mode or the processor filter is unknown");
    }
    return mask != 0 ? std::optional(static_cast<std::uint8_t>(config.cpuFilterSelect))
                     : std::nullopt;
}

} // namespace

Capture::Capture(const BRAN_RECORD_CONFIG_T& config, const Parameters& parameters)
    : m_trace(filteredProcessor(config)),
      m_rate(parameters.rate),
      m_isRing(config.recordMode == 0)
{
    const bool isArmed =
        config.exlTrigger || config.pxtsStandardTrigger || config.pxtsCustomTagTrigger;
    const auto trigger = isArmed ? m_trace.firstTrigger(config) : std::nullopt;
    if (isArmed && !trigger) {
        m_since = Clock::time_point::max();
        return;
    }
    if (m_isRing) {
        fillRing(std::chrono::milliseconds(parameters.triggerMs), trigger);
    } else if (trigger) {
        m_next = *trigger;
    }
    if (!m_isRing && m_rate != 0) {
        m_room = parameters.buffer / frameSize;
    }
    m_first = m_next;
}

// What was captured before is never looked at, so only the frames that the ring holds in the end
// are ever made.
void Capture::fillRing(std::chrono::milliseconds triggerTime, std::optional<std::uint64_t> trigger)
{
    if (trigger) {
        m_end = *trigger + 1;
        m_since += timeFor(m_end);
    } else {
        m_end = m_rate == 0 ? ringFrames : std::max<std::uint64_t>(framesIn(triggerTime), 1);
        m_since += triggerTime;
    }
    m_base = m_next = m_end - std::min(m_end, ringFrames);
}

std::size_t Capture::read(char* buffer, std::size_t size)
{
    waitFor(size);
    overrun();
    const std::uint64_t end = readyEnd();
    std::size_t done = 0;
    while (done < size) {
        if (m_taken == frameSize) {
            if (m_next >= end) {
                break;
            }
            m_frame = m_trace.frame(m_next++);
            m_taken = 0;
        }
        const std::size_t count = std::min(size - done, frameSize - m_taken);
        std::memcpy(buffer + done, reinterpret_cast<const char*>(&m_frame) + m_taken, count);
        m_taken += count;
        done += count;
    }
    m_delivered += done;
    return done;
}

// A ring that was triggered is complete: there is nothing left to stop.
void Capture::stop()
{
    overrun();
    if (m_isRing && Clock::now() >= m_since) {
        return;
    }
    const std::uint64_t end = readyEnd();
    m_end = end == unlimited ? m_next : end;
}

Capture::Counts Capture::counts() const
{
    const std::uint64_t end = m_rate == 0 ? m_next : std::max(m_next, readyEnd());
    return {(end - m_first) * frameSize, m_delivered, m_lost * frameSize};
}

Capture::Clock::duration Capture::timeFor(std::uint64_t frames) const
{
    const double rate = double(m_rate) / frameSize;
    return std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(m_rate == 0 ? 0 : double(frames) / rate));
}

std::uint64_t Capture::framesIn(Clock::duration time) const
{
    const double seconds = std::chrono::duration<double>(time).count();
    return static_cast<std::uint64_t>(seconds * double(m_rate) / frameSize);
}

std::uint64_t Capture::readyEnd() const
{
    const Clock::time_point now = Clock::now();
    if (now < m_since) {
        return m_base;
    }
    return m_rate == 0 ? m_end : std::min(m_end, m_base + framesIn(now - m_since));
}

// Waits until the read can be filled, not only until there is something: a reader that comes back
// at once would get a frame at a time, and never let the processor rest. Half of the board's buffer
// stays free meanwhile.
void Capture::waitFor(std::size_t size) const
{
    const std::size_t rest = frameSize - m_taken;
    if (size <= rest) {
        return;
    }
    const std::uint64_t missing = (size - rest + frameSize - 1) / frameSize;
    const std::uint64_t wanted = std::min(m_end, m_next + std::min(missing, m_room / 2 + 1));
    if (readyEnd() >= wanted) {
        return;
    }
    Clock::time_point wake = Clock::now() + longestWait;
    if (m_since < wake) {
        wake = std::min(wake, m_since + timeFor(wanted - m_base));
    }
    std::this_thread::sleep_until(wake);
}

// The board's buffer overwrites its oldest frames.
void Capture::overrun()
{
    const std::uint64_t end = readyEnd();
    if (end > m_next && end - m_next > m_room) {
        m_lost += end - m_room - m_next;
        m_next = end - m_room;
    }
}

} // namespace simulator
