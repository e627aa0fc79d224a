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

static_assert(sizeof(BRAN_ERR_T) == 4);
static_assert(sizeof(unsigned int) == 4 && sizeof(bool) == 1 && sizeof(char*) == 8);
static_assert(offsetof(BRAN_FLASH_IMAGE_T, baseAddress) == 0);
static_assert(offsetof(BRAN_FLASH_IMAGE_T, endAddress) == 4);
static_assert(offsetof(BRAN_FLASH_IMAGE_T, fullSize) == 8);
static_assert(offsetof(BRAN_FLASH_IMAGE_T, data) == 16);
static_assert(offsetof(BRAN_FLASH_IMAGE_T, downloadFlag) == 25);

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
