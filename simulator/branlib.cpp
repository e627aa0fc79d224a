#include "simulator/board.h"
#include "simulator/download.h"
#include "simulator/exports.h"
#include "simulator/image.h"
#include "simulator/recording.h"

#include <memory>
#include <stdexcept>

using namespace simulator;

namespace
{

// By this text the build tells its own library from the maker's, which it must not overwrite.
[[gnu::used]] constexpr const char* mark = "Tovalink simulated board";

} // namespace

BRAN_ERR_T BRAN_GetVersion(unsigned int* version)
{
    return attempt(Operation::Version, [&](Board& board) {
        board.beginOrFail(Operation::Version);
        board.requirePresence();
        if (!version) {
            throw std::runtime_error("there is no place for the version");
        }
        *version = board.parameters().version;
    });
}

// No target is attached to the simulated board, so there is nothing to be seen of a reset.
void BRAN_ResetTarget() {}

BRAN_FLASH_IMAGE_T* BRAN_CreateFlashImage(unsigned int imageSize, unsigned int baseAddress,
                                          bool fullImage, bool /*extraFlag*/)
{
    std::unique_ptr<Image> image;
    attempt(Operation::Create, [&](Board& board) {
        board.beginOrFail(Operation::Create);
        image = std::make_unique<Image>(imageSize, baseAddress, fullImage);
    });
    return image.release();
}

// The caller does not test what BRAN_CreateFlashImage returned: a missing image turns up here, and
// the reason that is shown is why it could not be created.
BRAN_ERR_T BRAN_FillFlashImage(const char* fileName, BRAN_FLASH_IMAGE_T* image,
                               unsigned int& filledSize)
{
    filledSize = 0;
    return attempt(Operation::Fill, [&](Board& board) {
        board.beginOrFail(Operation::Fill);
        if (!image) {
            const char* reason = lastFailure(Operation::Create);
            throw std::runtime_error(reason ? reason : "there is no image");
        }
        filledSize = static_cast<Image*>(image)->fill(fileName);
    });
}

// NOLINTNEXTLINE(readability-non-const-parameter): the signature is the interface's.
BRAN_ERR_T BRAN_DownloadFlash(unsigned int baseAddress, char* data, unsigned int length,
                              bool /*downloadFlag*/, bool verify, void (*burnCallback)(float),
                              void (*verifyCallback)(float))
{
    const FlashRange range = {baseAddress, data, length};
    const BRAN_ERR_T result =
        attempt(Operation::Burn, [&](Board& board) { burn(board, range, burnCallback); });
    if (result != BRAN_SUCCESS || !verify) {
        return result;
    }
    return attempt(Operation::Verify,
                   [&](Board& board) { simulator::verify(board, range, verifyCallback); });
}

void BRAN_DeleteFlashImage(BRAN_FLASH_IMAGE_T*& image)
{
    delete static_cast<Image*>(image);
    image = nullptr;
}

BRAN_ERR_T BRAN_StartRecording(const BRAN_RECORD_CONFIG_T& config, BRAN_RECORD_CONTEXT_T& context)
{
    return attempt(Operation::Start, [&](Board& board) { startRecording(board, config, context); });
}

BRAN_ERR_T BRAN_GetRecordData(BRAN_RECORD_CONTEXT_T& context, char* buffer, unsigned int size,
                              unsigned int& bytesRead)
{
    bytesRead = 0;
    bool isOver = false;
    const BRAN_ERR_T result = attempt(Operation::Read, [&](Board& board) {
        isOver = readRecording(board, context, {buffer, size}, bytesRead);
    });
    return isOver ? BRAN_RECORDING_FINISHED : result;
}

// What is wrong with the request is told by the next read.
void BRAN_StopRecordingRequest(BRAN_RECORD_CONTEXT_T& context)
{
    attempt(Operation::Read, [&](Board& board) { stopRecording(board, context); });
}

const char* BRAN_GetErrorString(BRAN_ERR_T error)
{
    switch (error) {
    case BRAN_SUCCESS:
        return "no error";
    case BRAN_RECORDING_FINISHED:
        return "the recording has finished";
    default:
        const char* text = lastFailure(static_cast<Operation>(error));
        return text ? text : "unknown error";
    }
}
