// Replaces the program's non-aligned operators new and delete. Every form goes to malloc and free,
// so that memory from one form may be given back through another, also under the address
// sanitizer, which intercepts malloc and free; the aligned forms stay the runtime's.
#include "AllocationFailure.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace ToolboxTest
{

namespace
{

thread_local std::size_t t_nFailSize = 0;
std::atomic<int> g_nFailed{0};

void* Allocate(std::size_t size)
{
    if (t_nFailSize != 0 && size == t_nFailSize)
    {
        t_nFailSize = 0;
        ++g_nFailed;
        return nullptr;
    }
    return std::malloc(size == 0 ? 1 : size);
}

void* AllocateOrThrow(std::size_t size)
{
    void* pMemory = Allocate(size);
    if (pMemory == nullptr)
    {
        throw std::bad_alloc();
    }
    return pMemory;
}

} // namespace

void FailNextAllocationOfSize(std::size_t size)
{
    t_nFailSize = size;
}

int FailedAllocations()
{
    return g_nFailed.load();
}

} // namespace ToolboxTest

void* operator new(std::size_t size)
{
    return ToolboxTest::AllocateOrThrow(size);
}

void* operator new[](std::size_t size)
{
    return ToolboxTest::AllocateOrThrow(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return ToolboxTest::Allocate(size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return ToolboxTest::Allocate(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t&) noexcept
{
    std::free(memory);
}
