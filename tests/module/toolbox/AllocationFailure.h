#pragma once

#include <cstddef>

namespace ToolboxTest
{

// The test program's allocator (the ordinary operators new and delete on malloc and free) can
// fail one chosen allocation, the way a full memory does: the next allocation of exactly `size`
// bytes on the calling thread throws std::bad_alloc (nothrow forms return null). Once only.
void FailNextAllocationOfSize(std::size_t size);

// How many allocations were failed on purpose so far, on every thread.
int FailedAllocations();

} // namespace ToolboxTest
