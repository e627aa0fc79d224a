#include "tests/support/scriptedboard.h"

#include <algorithm>

namespace
{

QString hex(unsigned int number)
{
    return QString::number(number, 16);
}

} // namespace

ScriptedBoard& ScriptedBoard::instance()
{
    static ScriptedBoard board;
    return board;
}

void ScriptedBoard::reset()
{
    *this = ScriptedBoard();
}

void ScriptedBoard::note(const QString& entry)
{
    journal += state ? entry + QStringLiteral(" | ") + state() : entry;
}

BRAN_ERR_T BRAN_GetVersion(unsigned int* version)
{
    auto& board = ScriptedBoard::instance();
    board.note(QStringLiteral("version"));
    if (board.versionResult == BRAN_SUCCESS) {
        *version = board.version;
    }
    return board.versionResult;
}

void BRAN_ResetTarget()
{
    ScriptedBoard::instance().note(QStringLiteral("reset"));
}

BRAN_FLASH_IMAGE_T* BRAN_CreateFlashImage(unsigned int imageSize, unsigned int baseAddress,
                                          bool fullImage, bool extraFlag)
{
    ScriptedBoard::instance().note(QStringLiteral("create %1 at %2 full %3 extra %4")
                                       .arg(hex(imageSize), hex(baseAddress))
                                       .arg(int(fullImage))
                                       .arg(int(extraFlag)));
    return new BRAN_FLASH_IMAGE_T{baseAddress, baseAddress, imageSize, 0, nullptr, 0, false};
}

BRAN_ERR_T BRAN_FillFlashImage(const char* fileName, BRAN_FLASH_IMAGE_T* image,
                               unsigned int& /*filledSize*/)
{
    auto& board = ScriptedBoard::instance();
    const QString file = QString::fromLocal8Bit(fileName);
    board.note(QStringLiteral("fill ") + file);
    const BRAN_ERR_T result = board.fillResults.value(file, BRAN_SUCCESS);
    if (result == BRAN_SUCCESS && board.onFill) {
        board.onFill(file, *image);
    }
    return result;
}

BRAN_ERR_T BRAN_DownloadFlash(unsigned int baseAddress, char* data, unsigned int length,
                              bool downloadFlag, bool verify, void (*burnCallback)(float),
                              void (*verifyCallback)(float))
{
    auto& board = ScriptedBoard::instance();
    board.note(QStringLiteral("download %1 at %2 flag %3 verify %4")
                   .arg(hex(length), hex(baseAddress))
                   .arg(int(downloadFlag))
                   .arg(int(verify)));
    board.downloaded = data != nullptr ? QByteArray(data, int(length)) : QByteArray();
    if (board.onDownload) {
        board.onDownload(burnCallback, verify ? verifyCallback : nullptr);
    }
    return board.downloadResult;
}

void BRAN_DeleteFlashImage(BRAN_FLASH_IMAGE_T*& image)
{
    ScriptedBoard::instance().note(QStringLiteral("delete"));
    delete image;
    image = nullptr;
}

qint64 ScriptedBoard::milliseconds()
{
    return instance().now;
}

BRAN_ERR_T BRAN_StartRecording(const BRAN_RECORD_CONFIG_T& config,
                               BRAN_RECORD_CONTEXT_T& /*context*/)
{
    auto& board = ScriptedBoard::instance();
    board.note(QStringLiteral("start"));
    board.config = config;
    return board.startResult;
}

BRAN_ERR_T BRAN_GetRecordData(BRAN_RECORD_CONTEXT_T& /*context*/, char* buffer, unsigned int size,
                              unsigned int& bytesRead)
{
    auto& board = ScriptedBoard::instance();
    bytesRead = 0;
    if (board.reads.isEmpty()) {
        return BRAN_RECORDING_FINISHED;
    }
    const ScriptedBoard::Read read = board.reads.takeFirst();
    Q_ASSERT(read.bytes.size() <= int(size));
    std::copy(read.bytes.begin(), read.bytes.end(), buffer);
    bytesRead = read.claims != 0 ? read.claims : unsigned(read.bytes.size());
    board.now += read.lasts;
    if (read.meanwhile) {
        read.meanwhile();
    }
    return read.result;
}

void BRAN_StopRecordingRequest(BRAN_RECORD_CONTEXT_T& /*context*/)
{
    auto& board = ScriptedBoard::instance();
    board.note(QStringLiteral("stop"));
    if (board.onStop) {
        board.onStop();
    }
}

const char* BRAN_GetErrorString(BRAN_ERR_T error)
{
    const auto& texts = ScriptedBoard::instance().texts;
    const auto text = texts.find(error);
    return text == texts.end() ? "unscripted error" : text->isNull() ? nullptr : text->constData();
}
