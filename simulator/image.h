#pragma once

#include "simulator/exports.h"
#include "simulator/file.h"

#include <cstdint>
#include <vector>

namespace simulator
{

/// A flash image in PC memory: the record that the caller reads, and what stands behind it.
class Image : public BRAN_FLASH_IMAGE_T
{
public:
    Image(std::uint32_t imageSize, std::uint32_t address, bool fullImage);

    /// Places a file, the first one as load file and later ones as calibration files, and returns
    /// the number of bytes placed. Throws std::runtime_error and then leaves the image as it was.
    std::uint32_t fill(const char* fileName);

private:
    std::uint32_t placeLoadFile(const File& file);
    std::uint32_t placeCalibrationFile(const File& file);
    void setDataEnd(std::uint64_t address);

    bool m_fullImage;
    bool m_isLoaded = false;
    std::uint32_t m_dataEnd;
    std::vector<char> m_bytes;
};

} // namespace simulator
