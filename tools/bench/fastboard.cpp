#include "tools/bench/fastboard.h"

#include "tools/bench/allocations.h"
#include "board/branlib.h"

#include <array>
#include <cstring>
#include <ctime>

namespace
{

constexpr std::size_t largestRead = 32768;
constexpr std::array<char, largestRead> trace = {};

} // namespace

FastBoard& FastBoard::instance()
{
    static FastBoard board;
    return board;
}

FastBoard::Moment FastBoard::Moment::now()
{
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    constexpr double nanosecond = 1e-9;
    return {double(time.tv_sec) + double(time.tv_nsec) * nanosecond, allocationCount()};
}

void FastBoard::prepare(std::uint64_t reads)
{
    m_reads = reads;
    m_done = 0;
}

bool FastBoard::read(char* buffer, unsigned int size)
{
    if (m_done == 0) {
        m_begin = Moment::now();
    }
    if (isFinished()) {
        m_end = Moment::now();
        return false;
    }
    ++m_done;
    std::memcpy(buffer, trace.data(), size);
    return true;
}

BRAN_ERR_T BRAN_StartRecording(const BRAN_RECORD_CONFIG_T& /*config*/,
                               BRAN_RECORD_CONTEXT_T& /*context*/)
{
    return BRAN_SUCCESS;
}

BRAN_ERR_T BRAN_GetRecordData(BRAN_RECORD_CONTEXT_T& /*context*/, char* buffer, unsigned int size,
                              unsigned int& bytesRead)
{
    const bool goesOn = FastBoard::instance().read(buffer, size);
    bytesRead = goesOn ? size : 0;
    return goesOn ? BRAN_SUCCESS : BRAN_RECORDING_FINISHED;
}

// The rest of the library is linked to, but not called.

void BRAN_StopRecordingRequest(BRAN_RECORD_CONTEXT_T& /*context*/) {}

BRAN_ERR_T BRAN_GetVersion(unsigned int* /*version*/)
{
    return BRAN_SUCCESS;
}

void BRAN_ResetTarget() {}

BRAN_FLASH_IMAGE_T* BRAN_CreateFlashImage(unsigned int /*imageSize*/, unsigned int /*baseAddress*/,
                                          bool /*fullImage*/, bool /*extraFlag*/)
{
    return nullptr;
}

BRAN_ERR_T BRAN_FillFlashImage(const char* /*fileName*/, BRAN_FLASH_IMAGE_T* /*image*/,
                               unsigned int& /*filledSize*/)
{
    return BRAN_SUCCESS;
}

BRAN_ERR_T BRAN_DownloadFlash(unsigned int /*baseAddress*/, char* /*data*/, unsigned int /*length*/,
                              bool /*downloadFlag*/, bool /*verify*/,
                              void (* /*burnCallback*/)(float), void (* /*verifyCallback*/)(float))
{
    return BRAN_SUCCESS;
}

void BRAN_DeleteFlashImage(BRAN_FLASH_IMAGE_T*& /*image*/) {}

const char* BRAN_GetErrorString(BRAN_ERR_T /*error*/)
{
    return "";
}
