#include "simulator/flash.h"

#include "simulator/hex.h"

#include <algorithm>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>
#include <vector>

namespace simulator
{

Flash::Flash(const std::string& path)
    : m_isNew(::access(path.c_str(), F_OK) == -1),
      m_file(path, O_RDWR | (m_isNew ? O_CREAT : 0),
             path.empty() ? "flash memory: " : "flash file " + path + ": ")
{
    if (m_isNew) {
        const std::vector<char> erased(size, '\xFF');
        try {
            m_file.writeAt(0, erased.data(), erased.size());
        } catch (...) {
            // A part of a flash would be refused ever after.
            ::unlink(path.c_str());
            throw;
        }
    }
    if (m_file.size() != size) {
        m_file.fail("holds " + std::to_string(m_file.size()) + " bytes, should hold " +
                    std::to_string(size));
    }
}

bool Flash::holds(std::uint32_t address, std::uint32_t length)
{
    return address >= base && std::uint64_t{address} + length <= std::uint64_t{base} + size;
}

std::string Flash::rangeText()
{
    return hexAddress(base) + " to " + hexAddress(base + size - 1);
}

void Flash::write(std::uint32_t address, const char* data, std::size_t length)
{
    m_file.writeAt(address - base, data, length);
}

void Flash::compare(std::uint32_t address, const char* data, std::size_t length) const
{
    std::vector<char> held(length);
    if (m_file.readAt(address - base, held.data(), length) != length) {
        m_file.fail("ends too early");
    }
    const auto [is, should] = std::mismatch(held.begin(), held.end(), data);
    if (is != held.end()) {
        throw std::runtime_error("verification failed at " +
                                 hexAddress(address + (is - held.begin())) + ": flash holds " +
                                 hexByte(*is) + ", should hold " + hexByte(*should));
    }
}

} // namespace simulator
