#include "tools/bench/allocations.h"

#include <cstddef>

// The system library's own names of what is replaced below; operator new ends there as well.
extern "C" void* systemMalloc(std::size_t size) __asm__("__libc_malloc");
extern "C" void* systemCalloc(std::size_t count, std::size_t size) __asm__("__libc_calloc");
extern "C" void* systemRealloc(void* block, std::size_t size) __asm__("__libc_realloc");

namespace
{

// The window system's threads allocate as well, but not while a loop is counted.
std::uint64_t count = 0;

} // namespace

extern "C" void* malloc(std::size_t size)
{
    ++count;
    return systemMalloc(size);
}

extern "C" void* calloc(std::size_t number, std::size_t size)
{
    ++count;
    return systemCalloc(number, size);
}

extern "C" void* realloc(void* block, std::size_t size)
{
    ++count;
    return systemRealloc(block, size);
}

std::uint64_t allocationCount()
{
    return count;
}
