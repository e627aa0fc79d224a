#pragma once

#include "board/branlib.h"

#include <memory>

/// Hands an image back to the board library.
struct FlashImageDeleter {
    void operator()(BRAN_FLASH_IMAGE_T* image) const { BRAN_DeleteFlashImage(image); }
};

/// A flash image of the board library's that frees itself.
using FlashImage = std::unique_ptr<BRAN_FLASH_IMAGE_T, FlashImageDeleter>;
