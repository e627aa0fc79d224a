#pragma once

#include <cstddef>
#include <cstdint>

/// The board library's binary interface, libbranlib.so. The functions are plain C++ functions:
/// their mangled names, and so their exact signatures, are what the maker's library is linked by.
/// All of them are called from the GUI thread only.

/// Result of a board operation: 0 is success, any other value a failure whose text
/// BRAN_GetErrorString gives. The maker's codes are not known, so the type holds any 32-bit value.
enum BRAN_ERR_T : std::uint32_t {
    BRAN_SUCCESS = 0,
    BRAN_RECORDING_FINISHED = 9,
};

/// A flash image under construction. The library allocates, owns and frees it; what lies behind
/// downloadFlag is the library's own.
struct BRAN_FLASH_IMAGE_T {
    std::uint32_t baseAddress; ///< flash address of data[0]; a load file may change it
    std::uint32_t endAddress;  ///< end of the part in use, never below baseAddress
    std::uint32_t fullSize;    ///< bytes
    std::uint32_t reserved1;
    char* data;
    std::uint8_t reserved2;
    bool downloadFlag; ///< handed unchanged to BRAN_DownloadFlash
};

/// How a trace is to be captured. The program fills every field; the gaps are the library's own.
struct BRAN_RECORD_CONFIG_T {
    std::uint32_t recordMode; ///< 0: into the board's own buffer, 1: streamed to the PC
    bool exlTrigger;          ///< wait for an address from exlStartAddress to exlEndAddress
    bool pxtsStandardTrigger;
    bool pxtsCustomTagTrigger; ///< wait for pxtsCustomTag
    std::uint32_t exlStartAddress;
    std::uint32_t exlEndAddress;
    std::uint16_t pxtsCustomTag;
    std::uint32_t cpuFilterSelect; ///< the one processor that is recorded: 0 XCPU, 1 BCPU
    std::uint8_t cpuFilterMask1;   ///< 0x40: record one processor only, 0: both
    std::uint8_t cpuFilterMask2;   ///< always equal to cpuFilterMask1
};

/// The library's state of one recording, in memory of the caller's that only the library reads and
/// writes.
struct BRAN_RECORD_CONTEXT_T {
    alignas(8) unsigned char opaque[48];
};

static_assert(sizeof(BRAN_ERR_T) == 4);
static_assert(sizeof(unsigned int) == 4 && sizeof(bool) == 1 && sizeof(char*) == 8);
static_assert(offsetof(BRAN_FLASH_IMAGE_T, baseAddress) == 0);
static_assert(offsetof(BRAN_FLASH_IMAGE_T, endAddress) == 4);
static_assert(offsetof(BRAN_FLASH_IMAGE_T, fullSize) == 8);
static_assert(offsetof(BRAN_FLASH_IMAGE_T, data) == 16);
static_assert(offsetof(BRAN_FLASH_IMAGE_T, downloadFlag) == 25);
static_assert(offsetof(BRAN_RECORD_CONFIG_T, recordMode) == 0);
static_assert(offsetof(BRAN_RECORD_CONFIG_T, exlTrigger) == 4);
static_assert(offsetof(BRAN_RECORD_CONFIG_T, pxtsStandardTrigger) == 5);
static_assert(offsetof(BRAN_RECORD_CONFIG_T, pxtsCustomTagTrigger) == 6);
static_assert(offsetof(BRAN_RECORD_CONFIG_T, exlStartAddress) == 8);
static_assert(offsetof(BRAN_RECORD_CONFIG_T, exlEndAddress) == 12);
static_assert(offsetof(BRAN_RECORD_CONFIG_T, pxtsCustomTag) == 16);
static_assert(offsetof(BRAN_RECORD_CONFIG_T, cpuFilterSelect) == 20);
static_assert(offsetof(BRAN_RECORD_CONFIG_T, cpuFilterMask1) == 24);
static_assert(offsetof(BRAN_RECORD_CONFIG_T, cpuFilterMask2) == 25);
static_assert(sizeof(BRAN_RECORD_CONFIG_T) == 28);
static_assert(offsetof(BRAN_RECORD_CONTEXT_T, opaque) == 0);
static_assert(sizeof(BRAN_RECORD_CONTEXT_T) == 48);

/// Reads the board's version into `version`, which is valid on success only.
BRAN_ERR_T BRAN_GetVersion(unsigned int* version);

/// Resets the target that is attached to the board.
void BRAN_ResetTarget();

/// Creates an empty image of `imageSize` bytes at `baseAddress`; `fullImage` makes all of it count
/// as used. The caller hands it back with BRAN_DeleteFlashImage.
BRAN_FLASH_IMAGE_T* BRAN_CreateFlashImage(unsigned int imageSize, unsigned int baseAddress,
                                          bool fullImage, bool extraFlag);

/// Places a load or calibration file, named in the local 8-bit encoding, in the image.
BRAN_ERR_T BRAN_FillFlashImage(const char* fileName, BRAN_FLASH_IMAGE_T* image,
                               unsigned int& filledSize);

/// Burns `length` bytes and, if `verify` is set, reads them back and compares. Both callbacks are
/// called on this thread, before the function returns, with the fraction done of their phase.
BRAN_ERR_T BRAN_DownloadFlash(unsigned int baseAddress, char* data, unsigned int length,
                              bool downloadFlag, bool verify, void (*burnCallback)(float),
                              void (*verifyCallback)(float));

/// Frees an image.
void BRAN_DeleteFlashImage(BRAN_FLASH_IMAGE_T*& image);

/// The text of any result code; the string stays the library's.
const char* BRAN_GetErrorString(BRAN_ERR_T error);

/// Starts a recording and fills `context`; after a failure nothing runs.
BRAN_ERR_T BRAN_StartRecording(const BRAN_RECORD_CONFIG_T& config, BRAN_RECORD_CONTEXT_T& context);

/// Copies at most `size` bytes of the trace into `buffer` and sets `bytesRead` to their number,
/// which may be 0. Success while the recording goes on, BRAN_RECORDING_FINISHED with its last
/// bytes.
BRAN_ERR_T BRAN_GetRecordData(BRAN_RECORD_CONTEXT_T& context, char* buffer, unsigned int size,
                              unsigned int& bytesRead);

/// Asks the recording to end; it has ended when BRAN_GetRecordData says so.
void BRAN_StopRecordingRequest(BRAN_RECORD_CONTEXT_T& context);
