#include "simulator/image.h"

#include "simulator/flash.h"
#include "simulator/hex.h"
#include "simulator/intelhex.h"

#include <algorithm>
#include <fcntl.h>
#include <istream>
#include <limits>
#include <stdexcept>
#include <string>

namespace simulator
{
namespace
{

constexpr std::uint64_t sectorSize = 0x10000;
// An end address is the one behind the last byte and has 32 bits too.
constexpr std::uint64_t largestEnd = std::numeric_limits<std::uint32_t>::max();

void checkEnd(std::uint64_t end)
{
    if (end > largestEnd) {
        throw std::runtime_error("the image does not end before address " + hexAddress(largestEnd));
    }
}

} // namespace

Image::Image(std::uint32_t imageSize, std::uint32_t address, bool fullImage)
    : BRAN_FLASH_IMAGE_T{},
      m_fullImage(fullImage),
      m_dataEnd(address)
{
    if (imageSize == 0 || imageSize > Flash::size) {
        throw std::runtime_error("an image cannot have " + std::to_string(imageSize) + " bytes");
    }
    checkEnd(std::uint64_t{address} + imageSize);
    m_bytes.assign(imageSize, '\xFF');
    baseAddress = address;
    fullSize = imageSize;
    data = m_bytes.data();
    setDataEnd(address);
}

std::uint32_t Image::fill(const char* fileName)
{
    if (fileName == nullptr) {
        throw std::runtime_error("there is no file name");
    }
    const File file(fileName, O_RDONLY);
    return m_isLoaded ? placeCalibrationFile(file) : placeLoadFile(file);
}

std::uint32_t Image::placeLoadFile(const File& file)
{
    FileBuffer buffer(file);
    std::istream input(&buffer);
    const HexData hexData = readIntelHex(input, fullSize);
    const std::uint64_t dataEnd = std::uint64_t{hexData.lowestAddress} + hexData.bytes.size();
    checkEnd(m_fullImage ? std::uint64_t{hexData.lowestAddress} + fullSize : dataEnd);

    std::copy(hexData.bytes.begin(), hexData.bytes.end(), m_bytes.begin());
    baseAddress = hexData.lowestAddress;
    setDataEnd(dataEnd);
    m_isLoaded = true;
    return hexData.dataSize;
}

std::uint32_t Image::placeCalibrationFile(const File& file)
{
    const std::uint64_t sector = (m_dataEnd + sectorSize - 1) / sectorSize * sectorSize;
    const std::uint64_t imageEnd = std::min(std::uint64_t{baseAddress} + fullSize, largestEnd);
    const std::uint64_t room = sector < imageEnd ? imageEnd - sector : 0;
    const std::uint64_t size = file.size();
    if (size == 0) {
        throw std::runtime_error("the file is empty");
    }
    if (size > room) {
        throw std::runtime_error("the file holds " + std::to_string(size) +
                                 " bytes, there is room for " + std::to_string(room) + " at " +
                                 hexAddress(sector));
    }
    std::vector<char> bytes(size);
    if (file.readAt(0, bytes.data(), size) != size) {
        throw std::runtime_error("the file ends too early");
    }
    std::copy(bytes.begin(), bytes.end(), data + (sector - baseAddress));
    setDataEnd(sector + size);
    return static_cast<std::uint32_t>(size);
}

void Image::setDataEnd(std::uint64_t address)
{
    m_dataEnd = static_cast<std::uint32_t>(address);
    endAddress = m_fullImage ? baseAddress + fullSize : m_dataEnd;
}

} // namespace simulator
