#pragma once

#include <cstddef>
#include <cstdint>

namespace Zarn
{

// Pixel memory of an image: 64-byte aligned. Large blocks come from a small pool of recently
// freed ones, because a fresh large allocation costs several times the copy into it in page
// faults; blocks that cannot be reused are advised as huge pages.
//
// Contract: owns its block and lends it through Data; not copyable. The block pool is shared
// between threads under a lock. Throws std::bad_alloc. No messages.
class CPixelBuffer
{
public:
    // `bytes` of memory, zeroed when bZero, else of unspecified content.
    CPixelBuffer(size_t bytes, bool bZero);
    CPixelBuffer(const CPixelBuffer&) = delete;
    CPixelBuffer& operator=(const CPixelBuffer&) = delete;
    ~CPixelBuffer();

    std::uint8_t* Data() const { return m_pData; }
    size_t Capacity() const { return m_uCapacity; }

    // Blocks at least this large go through the pool.
    static constexpr size_t kPooledSize = size_t(1) << 20;

private:
    std::uint8_t* m_pData = nullptr;
    size_t m_uCapacity = 0;
};

} // namespace Zarn
