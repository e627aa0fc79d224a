#include "simulator/board.h"
#include "simulator/support.h"
#include "simulator/trace.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace simulator
{
namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::uint64_t never = Parameters::never;

constexpr std::uint64_t ringSize = 0x200000 / frameSize * frameSize;

std::uint64_t wholeFrames(std::uint64_t bytes)
{
    return bytes / frameSize * frameSize;
}

std::optional<std::uint8_t> onlyProcessor(const BRAN_RECORD_CONFIG_T& config)
{
    constexpr std::uint8_t filterMask = 0x40;
    const std::uint8_t mask = config.cpuFilterMask1;
    require(config.recordMode <= 1 && config.cpuFilterSelect < processorCount &&
                (mask == 0 || mask == filterMask) && mask == config.cpuFilterMask2,
            "the record mode or the processor filter is unknown");
    return mask == 0 ? std::nullopt : std::optional(std::uint8_t(config.cpuFilterSelect));
}

bool fires(const Frame& frame, const BRAN_RECORD_CONFIG_T& config)
{
    constexpr std::uint32_t standardTagEnd = 0x0100;
    if (frame.type == Frame::Exl) {
        return config.exlTrigger && frame.payload >= config.exlStartAddress &&
               frame.payload <= config.exlEndAddress;
    }
    return (config.pxtsStandardTrigger && frame.payload < standardTagEnd) ||
           (config.pxtsCustomTagTrigger && frame.payload == config.pxtsCustomTag);
}

} // namespace

/// A recording, identified by the context that it was started with. There is no thread: each call
/// computes from the clock what the board has captured since. All offsets are in bytes of the
/// trace.
class Recording
{
public:
    Recording(const BRAN_RECORD_CONFIG_T& config, BRAN_RECORD_CONTEXT_T& context,
              const Parameters& parameters)
        : m_reportFile(parameters.reportFile),
          m_onlyProcessor(onlyProcessor(config)),
          m_rate(parameters.rate),
          m_isRing(config.recordMode == 0)
    {
        // A value that uninitialised memory is unlikely to hold.
        static std::uint64_t lastKey = 0x7A6D31C4E85B9F01;
        m_key = ++lastKey;
        context = {};
        std::memcpy(context.opaque, &m_key, sizeof m_key);

        const bool isArmed =
            config.exlTrigger || config.pxtsStandardTrigger || config.pxtsCustomTagTrigger;
        const std::uint64_t trigger = isArmed ? triggerOffset(config) : 0;
        if (trigger == never) {
            m_since += std::chrono::hours(24 * 365 * 100);
        } else if (!m_isRing) {
            m_next = trigger;
            m_room = m_rate == 0 ? never : wholeFrames(parameters.buffer);
        } else {
            const std::chrono::milliseconds unarmedTime(parameters.triggerMs);
            const Clock::duration time = isArmed ? timeFor(trigger + frameSize) : unarmedTime;
            m_since += time;
            m_end = isArmed       ? trigger + frameSize
                    : m_rate == 0 ? ringSize
                                  : std::max(bytesIn(time), frameSize);
            // Nobody reads the frames before these, so they are never generated.
            m_base = m_next = m_end - std::min(m_end, ringSize);
        }
        m_first = m_next;
    }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;
    ~Recording()
    {
        if (!m_reportFile.empty()) {
            const std::uint64_t end = m_rate == 0 ? m_next : std::max(m_next, ready());
            std::ofstream(m_reportFile) << "generated " << end - m_first << " delivered "
                                        << delivered() << " lost " << m_lost << '\n';
        }
    }

    [[nodiscard]] bool isOf(const BRAN_RECORD_CONTEXT_T& context) const
    {
        return std::memcmp(context.opaque, &m_key, sizeof m_key) == 0;
    }
    [[nodiscard]] bool isOver() const { return m_next >= m_end; }
    [[nodiscard]] std::uint64_t delivered() const { return m_next - m_first - m_lost; }

    // A triggered ring is complete, so there is nothing left to stop.
    void stop()
    {
        if (!m_isRing || Clock::now() < m_since) {
            m_end = m_rate == 0 ? wholeFrames(m_next + frameSize - 1) : ready();
        }
    }

    std::size_t read(char* buffer, std::size_t size)
    {
        waitFor(size);
        const std::uint64_t end = ready();
        std::size_t done = 0;
        while (done < size) {
            const std::size_t taken = m_next % frameSize;
            // The board's buffer overwrites its oldest frames, but not the one in transfer.
            if (taken == 0 && m_next < end && end - m_next > m_room) {
                m_lost += end - m_room - m_next;
                m_next = end - m_room;
            }
            if (m_next >= end) {
                break;
            }
            const Frame frame = traceFrame(m_next / frameSize, m_onlyProcessor);
            const std::size_t count = std::min(size - done, frameSize - taken);
            std::memcpy(buffer + done, reinterpret_cast<const char*>(&frame) + taken, count);
            m_next += count;
            done += count;
        }
        return done;
    }

private:
    [[nodiscard]] std::uint64_t triggerOffset(const BRAN_RECORD_CONFIG_T& config) const
    {
        constexpr std::uint64_t end = std::uint64_t{loopLength} * processorCount;
        for (std::uint64_t index = 0; index < end; ++index) {
            if (fires(traceFrame(index, m_onlyProcessor), config)) {
                return index * frameSize;
            }
        }
        return never;
    }

    [[nodiscard]] Clock::duration timeFor(std::uint64_t bytes) const
    {
        return std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(m_rate == 0 ? 0 : double(bytes) / double(m_rate)));
    }

    [[nodiscard]] std::uint64_t bytesIn(Clock::duration time) const
    {
        constexpr double more = 1e18; // than can be read, and still a number of 64 bits
        const double bytes = std::chrono::duration<double>(time).count() * double(m_rate);
        return wholeFrames(static_cast<std::uint64_t>(std::min(bytes, more)));
    }

    // The end of the trace that the reader could have read by now.
    [[nodiscard]] std::uint64_t ready() const
    {
        const Clock::time_point now = Clock::now();
        if (now < m_since) {
            return m_base;
        }
        return m_rate == 0 ? m_end : std::min(m_end, m_base + bytesIn(now - m_since));
    }

    // Waits until the read can be filled, not only until a frame is there: a reader that returns at
    // once would get one frame at a time and keep the processor busy. Half of the board's buffer
    // stays free meanwhile.
    void waitFor(std::size_t size) const
    {
        constexpr std::chrono::milliseconds longestWait(10);
        const std::uint64_t due = m_next + std::min(std::uint64_t{size}, m_room / 2 + frameSize);
        const std::uint64_t wanted = std::min(m_end, wholeFrames(due + frameSize - 1));
        const auto filled = m_since + timeFor(wanted - m_base);
        std::this_thread::sleep_until(std::min(filled, Clock::now() + longestWait));
    }

    std::uint64_t m_key;
    std::string m_reportFile;
    std::optional<std::uint8_t> m_onlyProcessor;
    std::uint64_t m_rate;
    bool m_isRing;

    // The trace behind m_base becomes ready from m_since on.
    Clock::time_point m_since = Clock::now();
    std::uint64_t m_base = 0;
    std::uint64_t m_end = never;
    std::uint64_t m_room = never; // for trace that waits for the reader
    std::uint64_t m_first = 0;
    std::uint64_t m_next = 0;
    std::uint64_t m_lost = 0;
};

} // namespace simulator

using namespace simulator;

namespace
{

Recording& runningRecording(Board& board, const BRAN_RECORD_CONTEXT_T& context)
{
    require(board.recording && board.recording->isOf(context), "no recording runs in this context");
    return *board.recording;
}

} // namespace

BRAN_ERR_T BRAN_StartRecording(const BRAN_RECORD_CONFIG_T& config, BRAN_RECORD_CONTEXT_T& context)
{
    return attempt(Operation::Start, [&](Board& board) {
        board.recording.reset();
        board.failIfTold(Operation::Start);
        board.requirePresence();
        board.recording = std::make_shared<Recording>(config, context, board.parameters);
    });
}

// The bytes of a failing read count too.
BRAN_ERR_T BRAN_GetRecordData(BRAN_RECORD_CONTEXT_T& context, char* buffer, unsigned int size,
                              unsigned int& bytesRead)
{
    bytesRead = 0;
    bool isOver = false;
    const BRAN_ERR_T result = attempt(Operation::Read, [&](Board& board) {
        Parameters& parameters = board.parameters;
        const std::string fault = board.nextFault(Operation::Read);
        Recording& recording = runningRecording(board, context);
        const std::uint64_t delivered = recording.delivered();
        if (delivered >= parameters.unplugBytes) {
            board.recording.reset();
            parameters.boardPresent = false;
            fail("the board was unplugged");
        }
        const std::uint64_t most = std::min(
            {std::uint64_t{size}, parameters.unplugBytes - delivered,
             parameters.finishBytes - delivered, fault.empty() ? size : parameters.failBytes});
        bytesRead = static_cast<unsigned int>(recording.read(buffer, most));
        isOver = recording.isOver() || delivered + bytesRead >= parameters.finishBytes;
        if (isOver || !fault.empty()) {
            board.recording.reset();
        }
        require(fault.empty(), fault);
    });
    return isOver && result == BRAN_SUCCESS ? BRAN_RECORDING_FINISHED : result;
}

// The next read reports what is wrong with the request.
void BRAN_StopRecordingRequest(BRAN_RECORD_CONTEXT_T& context)
{
    attempt(Operation::Read, [&](Board& board) {
        Recording& recording = runningRecording(board, context);
        if (board.parameters.answersStop) {
            recording.stop();
        }
    });
}
