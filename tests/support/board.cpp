#include "tests/support/board.h"

#include <algorithm>
#include <cerrno>
#include <sys/syscall.h>
#include <unistd.h>

BRAN_ERR_T BRAN_GetVersion(unsigned int* version)
{
    *version = board.version;
    return board.call("version", "version");
}

void BRAN_ResetTarget()
{
    board.note("reset");
}

BRAN_FLASH_IMAGE_T* BRAN_CreateFlashImage(unsigned int imageSize, unsigned int baseAddress,
                                          bool fullImage, bool extraFlag)
{
    board.note(QString::asprintf("create %x at %x full %d extra %d", imageSize, baseAddress,
                                 int(fullImage), int(extraFlag)));
    return board.failing == "create"
               ? nullptr
               : new BRAN_FLASH_IMAGE_T{baseAddress, baseAddress, imageSize, 0, nullptr, 0, false};
}

BRAN_ERR_T BRAN_FillFlashImage(const char* fileName, BRAN_FLASH_IMAGE_T* image,
                               unsigned int& /*filledSize*/)
{
    const QString file = QString::fromLocal8Bit(fileName);
    const BRAN_ERR_T result = board.call(file, "fill " + file);
    if (result == BRAN_SUCCESS && image != nullptr) {
        board.onFill(file, *image);
    }
    return result;
}

BRAN_ERR_T BRAN_DownloadFlash(unsigned int baseAddress, char* data, unsigned int length,
                              bool downloadFlag, bool verify, void (*burnCallback)(float),
                              void (*verifyCallback)(float))
{
    const BRAN_ERR_T result =
        board.call("download", QString::asprintf("download %x at %x flag %d verify %d", length,
                                                 baseAddress, int(downloadFlag), int(verify)));
    board.downloaded = data != nullptr ? QByteArray(data, int(length)) : QByteArray();
    board.onDownload(burnCallback, verify ? verifyCallback : nullptr);
    return result;
}

void BRAN_DeleteFlashImage(BRAN_FLASH_IMAGE_T*& image)
{
    board.note("delete");
    delete image;
    image = nullptr;
}

BRAN_ERR_T BRAN_StartRecording(const BRAN_RECORD_CONFIG_T& config,
                               BRAN_RECORD_CONTEXT_T& /*context*/)
{
    board.config = config;
    return board.call("start", "start");
}

BRAN_ERR_T BRAN_GetRecordData(BRAN_RECORD_CONTEXT_T& /*context*/, char* buffer, unsigned int size,
                              unsigned int& bytesRead)
{
    bytesRead = 0;
    board.fullReads += int(size == 32768);
    if (board.reads.empty()) {
        return BRAN_RECORDING_FINISHED;
    }
    const ScriptedBoard::Read read = board.reads.front();
    bytesRead = std::min(unsigned(read.bytes.size()) - board.delivered, size);
    std::copy_n(read.bytes.begin() + board.delivered, bytesRead, buffer);
    board.delivered += bytesRead;
    if (board.delivered < unsigned(read.bytes.size())) {
        return BRAN_SUCCESS;
    }
    board.reads.pop_front();
    board.delivered = 0;
    board.now += read.lasts;
    bytesRead = read.claims != 0 ? read.claims : bytesRead;
    read.meanwhile();
    return read.result;
}

void BRAN_StopRecordingRequest(BRAN_RECORD_CONTEXT_T& /*context*/)
{
    board.note("stop");
}

const char* BRAN_GetErrorString(BRAN_ERR_T error)
{
    const QByteArray& text = board.failureText;
    return error != ScriptedBoard::failure ? "unscripted" : text.isNull() ? nullptr : text.data();
}

/// Takes the place of the system's: on a server's disk only this tells that there was no room.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the other is reserved.
extern "C" int fdatasync(int descriptor)
{
    errno = EDQUOT;
    return board.onSync() ? int(syscall(SYS_fdatasync, descriptor)) : -1;
}
