#include "simulator/recording.h"

#include "simulator/board.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace simulator
{
namespace
{

// Far from what memory that was never filled may hold.
std::uint64_t nextKey = 0x7A6D31C4E85B9F02;

Recording& runningRecording(Board& board, const BRAN_RECORD_CONTEXT_T& context)
{
    if (!board.recording() || !board.recording()->isOf(context)) {
        throw std::runtime_error("no recording runs in this context");
    }
    return *board.recording();
}

} // namespace

Recording::Recording(const BRAN_RECORD_CONFIG_T& config, BRAN_RECORD_CONTEXT_T& context,
                     const Parameters& parameters)
    : m_capture(config, parameters),
      m_key(nextKey++),
      m_reportFile(parameters.reportFile)
{
    context = {};
    std::memcpy(context.opaque, &m_key, sizeof m_key);
}

Recording::~Recording()
{
    if (!m_reportFile.empty()) {
        const Capture::Counts counts = m_capture.counts();
        std::ofstream(m_reportFile) << "generated " << counts.generated << " delivered "
                                    << counts.delivered << " lost " << counts.lost << '\n';
    }
}

bool Recording::isOf(const BRAN_RECORD_CONTEXT_T& context) const
{
    return std::memcmp(context.opaque, &m_key, sizeof m_key) == 0;
}

void startRecording(Board& board, const BRAN_RECORD_CONFIG_T& config,
                    BRAN_RECORD_CONTEXT_T& context)
{
    board.recording().reset();
    board.beginOrFail(Operation::Start);
    board.requirePresence();
    board.recording().emplace(config, context, board.parameters());
}

bool readRecording(Board& board, const BRAN_RECORD_CONTEXT_T& context, const ReadRange& range,
                   unsigned int& bytesRead)
{
    const auto fault = board.begin(Operation::Read);
    Capture& capture = runningRecording(board, context).capture();
    if (!range.data && range.size != 0) {
        throw std::runtime_error("there is no place for the trace");
    }
    const Parameters& parameters = board.parameters();
    if (board.occurrences(Operation::Read) == parameters.stall.occurrence) {
        std::this_thread::sleep_for(std::chrono::milliseconds(parameters.stall.milliseconds));
    }
    const std::uint64_t delivered = capture.counts().delivered;
    if (delivered >= parameters.unplugBytes) {
        board.unplug();
        throw std::runtime_error("the board was unplugged");
    }
    const std::uint64_t size =
        std::min({std::uint64_t{range.size}, parameters.unplugBytes - delivered,
                  parameters.finishBytes - delivered, fault ? parameters.failBytes : range.size});
    bytesRead = static_cast<unsigned int>(capture.read(range.data, size));
    const bool isOver = capture.isOver() || delivered + bytesRead >= parameters.finishBytes;
    if (isOver || fault) {
        board.recording().reset();
    }
    if (fault) {
        throw std::runtime_error(*fault);
    }
    return isOver;
}

void stopRecording(Board& board, const BRAN_RECORD_CONTEXT_T& context)
{
    Recording& recording = runningRecording(board, context);
    if (board.parameters().answersStop) {
        recording.capture().stop();
    }
}

} // namespace simulator
