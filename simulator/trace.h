#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace simulator
{

/// One frame of trace data, in memory as in the stream.
struct Frame {
    enum Type : std::uint8_t { Exl = 1, Pxts = 2 };

    std::uint16_t syncWord;
    std::uint8_t processor; ///< 0: XCPU, 1: BCPU
    Type type;
    std::uint32_t sequenceNumber; ///< counts the frames of its processor
    std::uint64_t time;
    std::uint32_t payload;  ///< the code address of an EXL entry, the tag of a PXTS entry
    std::uint32_t checksum; ///< FNV-1a of all before it
};

/// Neither read size of the program is a multiple of it, so that reads cut frames.
constexpr std::size_t frameSize = 24;
static_assert(sizeof(Frame) == frameSize && offsetof(Frame, checksum) == 20);
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

constexpr std::uint16_t frameSyncWord = 0xB5A7;
constexpr std::uint8_t processorCount = 2;
/// The entries of a processor repeat after so many.
constexpr std::uint32_t loopLength = 0x10000;

inline std::uint32_t checksumOf(const Frame& frame)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(&frame);
    std::uint32_t sum = 0x811C9DC5;
#pragma GCC unroll 20
    for (std::size_t index = 0; index < offsetof(Frame, checksum); ++index) {
        sum = (sum ^ bytes[index]) * 0x01000193;
    }
    return sum;
}

/// A frame of the endless trace of one processor or of both. It is computed from its index alone,
/// so that no frame needs the ones before it.
inline Frame traceFrame(std::uint64_t index, std::optional<std::uint8_t> onlyProcessor)
{
    constexpr std::uint32_t tagInterval = 8;
    const auto processor = onlyProcessor.value_or(index % processorCount);
    const std::uint64_t number = onlyProcessor ? index : index / processorCount;
    const auto step = static_cast<std::uint32_t>(number % loopLength);
    const std::uint32_t turn = step / tagInterval + 1;
    Frame frame = {frameSyncWord, processor, Frame::Exl, std::uint32_t(number), index * 16, 0, 0};
    if (step % tagInterval != tagInterval - 1) {
        frame.payload = (processor == 0 ? 0x01000000 : 0x01800000) + 4 * step;
    } else {
        // Each tag comes half as often as the one before it, so that a trigger can be had early or
        // late. A standard tag, once in a loop, is the rarest: what precedes it fills the ring.
        frame.type = Frame::Pxts;
        frame.payload = turn == loopLength / tagInterval ? 0x0010 : 0x1A00 + __builtin_ctz(turn);
    }
    frame.checksum = checksumOf(frame);
    return frame;
}

} // namespace simulator
