#pragma once

#include "simulator/exports.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace simulator
{

/// One frame of trace data, in memory as in the stream.
struct Frame {
    enum Kind : std::uint8_t { Exl = 1, Pxts = 2 };

    std::uint16_t mark;
    std::uint8_t processor; ///< 0: XCPU, 1: BCPU
    Kind kind;
    std::uint32_t number; ///< counts the frames of its processor
    std::uint64_t time;
    std::uint32_t payload; ///< the code address of an EXL entry, the tag of a PXTS entry
    std::uint32_t check;   ///< FNV-1a of all before it
};

/// Neither read size of the program is a multiple of it, so that reads cut frames.
constexpr std::size_t frameSize = 24;
static_assert(sizeof(Frame) == frameSize && offsetof(Frame, check) == 20);
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

constexpr std::uint16_t frameMark = 0xB5A7;
constexpr std::uint8_t processorCount = 2;

std::uint32_t checkValue(const Frame& frame);

/// The endless trace of the target. Each frame is a function of its place, so that no frame needs
/// the ones before it.
class Trace
{
public:
    /// Without the one processor whose frames it consists of, the trace is that of both.
    explicit Trace(std::optional<std::uint8_t> onlyProcessor) : m_onlyProcessor(onlyProcessor) {}

    [[nodiscard]] Frame frame(std::uint64_t place) const;
    /// The first place where an armed trigger fires, if there is any.
    [[nodiscard]] std::optional<std::uint64_t>
    firstTrigger(const BRAN_RECORD_CONFIG_T& config) const;

private:
    [[nodiscard]] Frame uncheckedFrame(std::uint64_t place) const;

    std::optional<std::uint8_t> m_onlyProcessor;
};

} // namespace simulator
