#include "simulator/trace.h"

#include <array>

namespace simulator
{
namespace
{

// The entries of a processor repeat after so many.
constexpr std::uint32_t loopLength = 0x10000;
constexpr std::uint32_t tagInterval = 8;
constexpr std::uint32_t instructionSize = 4;
constexpr std::array<std::uint32_t, processorCount> codeBases = {0x01000000, 0x01800000};
constexpr std::uint32_t firstCustomTag = 0x1A00;
constexpr std::uint32_t standardTag = 0x0010;
constexpr std::uint32_t standardTagEnd = 0x0100;
constexpr std::uint64_t ticksPerFrame = 16;

// Each tag comes half as often as the one before it, so that a trigger can be had early or late.
// The standard tag, once in a loop, is the rarest: what precedes it fills the board's buffer.
std::uint32_t tag(std::uint32_t step)
{
    const std::uint32_t turn = step / tagInterval + 1;
    return turn == loopLength / tagInterval
               ? standardTag
               : firstCustomTag + static_cast<std::uint32_t>(__builtin_ctz(turn));
}

bool fires(const Frame& frame, const BRAN_RECORD_CONFIG_T& config)
{
    if (frame.kind == Frame::Exl) {
        return config.exlTrigger && frame.payload >= config.exlStartAddress &&
               frame.payload <= config.exlEndAddress;
    }
    return (config.pxtsStandardTrigger && frame.payload < standardTagEnd) ||
           (config.pxtsCustomTagTrigger && frame.payload == config.pxtsCustomTag);
}

} // namespace

std::uint32_t checkValue(const Frame& frame)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(&frame);
    std::uint32_t value = 0x811C9DC5;
    for (std::size_t place = 0; place < offsetof(Frame, check); ++place) {
        value = (value ^ bytes[place]) * 0x01000193;
    }
    return value;
}

Frame Trace::uncheckedFrame(std::uint64_t place) const
{
    const auto processor = m_onlyProcessor.value_or(place % processorCount);
    const std::uint64_t number = m_onlyProcessor ? place : place / processorCount;
    const auto step = static_cast<std::uint32_t>(number % loopLength);
    const bool isTag = step % tagInterval == tagInterval - 1;
    return {frameMark,
            processor,
            isTag ? Frame::Pxts : Frame::Exl,
            static_cast<std::uint32_t>(number),
            place * ticksPerFrame,
            isTag ? tag(step) : codeBases[processor] + instructionSize * step,
            0};
}

Frame Trace::frame(std::uint64_t place) const
{
    Frame result = uncheckedFrame(place);
    result.check = checkValue(result);
    return result;
}

std::optional<std::uint64_t> Trace::firstTrigger(const BRAN_RECORD_CONFIG_T& config) const
{
    const std::uint64_t end = std::uint64_t{loopLength} * processorCount;
    for (std::uint64_t place = 0; place < end; ++place) {
        if (fires(uncheckedFrame(place), config)) {
            return place;
        }
    }
    return std::nullopt;
}

} // namespace simulator
