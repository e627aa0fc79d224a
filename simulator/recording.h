#pragma once

#include "simulator/capture.h"

namespace simulator
{

class Board;

/// A recording that runs on the board, known by the context that it was started with.
class Recording
{
public:
    Recording(const BRAN_RECORD_CONFIG_T& config, BRAN_RECORD_CONTEXT_T& context,
              const Parameters& parameters);
    Recording(const Recording&) = delete;
    Recording(Recording&&) = delete;
    Recording& operator=(const Recording&) = delete;
    Recording& operator=(Recording&&) = delete;
    /// Writes the report, if there is to be one.
    ~Recording();

    [[nodiscard]] bool isOf(const BRAN_RECORD_CONTEXT_T& context) const;
    Capture& capture() { return m_capture; }

private:
    Capture m_capture;
    std::uint64_t m_key;
    std::string m_reportFile;
};

struct ReadRange {
    char* data;
    std::size_t size;
};

/// Starts a recording in place of any that still runs.
void startRecording(Board& board, const BRAN_RECORD_CONFIG_T& config,
                    BRAN_RECORD_CONTEXT_T& context);
/// Returns whether the recording has ended with this read. `bytesRead` counts on failure, too.
bool readRecording(Board& board, const BRAN_RECORD_CONTEXT_T& context, const ReadRange& range,
                   unsigned int& bytesRead);
void stopRecording(Board& board, const BRAN_RECORD_CONTEXT_T& context);

} // namespace simulator
