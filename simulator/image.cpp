#include "simulator/board.h"
#include "simulator/intelhex.h"
#include "simulator/support.h"

#include <algorithm>

using namespace simulator;

namespace
{

constexpr std::uint64_t largestLoadFile = 0x8000000;
constexpr std::uint64_t sectorSize = 0x10000;

// A flash image in PC memory: the record that the caller reads, and the data behind it.
class Image : public BRAN_FLASH_IMAGE_T
{
public:
    Image(std::uint32_t imageSize, std::uint32_t address, bool fullImage)
        : BRAN_FLASH_IMAGE_T{},
          m_isFull(fullImage),
          m_bytes(imageSize, '\xFF')
    {
        fullSize = imageSize;
        data = m_bytes.data();
        setData(address, address);
    }

    // Adds a file, the first one as load file and later ones as calibration files. A file that
    // fails leaves the image as it was.
    std::uint32_t fill(const char* path)
    {
        return m_isLoaded ? addCalibrationFile(path) : addLoadFile(path);
    }

private:
    std::uint32_t addLoadFile(const char* path)
    {
        const HexData hex = readIntelHex(readFile(path, largestLoadFile), fullSize);
        setData(hex.lowestAddress, std::uint64_t{hex.lowestAddress} + hex.bytes.size());
        m_bytes.replace(0, hex.bytes.size(), hex.bytes);
        m_isLoaded = true;
        return hex.dataSize;
    }

    std::uint32_t addCalibrationFile(const char* path)
    {
        const std::uint64_t sector = (m_dataEnd + sectorSize - 1) / sectorSize * sectorSize;
        const std::uint64_t imageEnd = std::uint64_t{baseAddress} + fullSize;
        const std::string bytes = readFile(path, imageEnd - std::min(sector, imageEnd));
        setData(baseAddress, sector + bytes.size());
        m_bytes.replace(sector - baseAddress, bytes.size(), bytes);
        return std::uint32_t(bytes.size());
    }

    // The end address is one past the last byte and has 32 bits too.
    void setData(std::uint32_t address, std::uint64_t dataEnd)
    {
        const std::uint64_t end = m_isFull ? std::uint64_t{address} + fullSize : dataEnd;
        require(end <= 0xFFFFFFFF, "the image runs past the address 0xFFFFFFFF");
        baseAddress = address;
        endAddress = std::uint32_t(end);
        m_dataEnd = dataEnd;
    }

    bool m_isFull;
    bool m_isLoaded = false;
    std::uint64_t m_dataEnd = 0;
    std::string m_bytes;
};

} // namespace

BRAN_FLASH_IMAGE_T* BRAN_CreateFlashImage(unsigned int imageSize, unsigned int baseAddress,
                                          bool fullImage, bool /*extraFlag*/)
{
    std::unique_ptr<Image> image;
    attempt(Operation::Create, [&](Board& board) {
        board.failIfTold(Operation::Create);
        image = std::make_unique<Image>(imageSize, baseAddress, fullImage);
    });
    return image.release();
}

// The caller does not check the result of BRAN_CreateFlashImage. A missing image is noticed here,
// and the error says why it could not be created.
BRAN_ERR_T BRAN_FillFlashImage(const char* fileName, BRAN_FLASH_IMAGE_T* image,
                               unsigned int& filledSize)
{
    filledSize = 0;
    return attempt(Operation::Fill, [&](Board& board) {
        board.failIfTold(Operation::Fill);
        require(image != nullptr, BRAN_GetErrorString(BRAN_ERR_T(Operation::Create)));
        filledSize = static_cast<Image*>(image)->fill(fileName);
    });
}

void BRAN_DeleteFlashImage(BRAN_FLASH_IMAGE_T*& image)
{
    delete static_cast<Image*>(image);
    image = nullptr;
}
