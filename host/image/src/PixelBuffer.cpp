#include "PixelBuffer.h"

#include <sys/mman.h>

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <vector>

namespace Zarn
{

namespace
{

constexpr size_t kRowAlignment = 64;
constexpr size_t kHugePageSize = size_t(2) << 20;
constexpr size_t kPoolBlocks = 4;
constexpr size_t kPoolBytes = size_t(512) << 20;

struct SBlock
{
    std::uint8_t* pData;
    size_t uCapacity;
};

// Keeps a few freed large blocks for the next image of a similar size.
class CPixelPool
{
public:
    // A pooled block of at least `bytes` (and not wastefully larger), or null.
    SBlock Take(size_t bytes)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (auto it = m_lstBlocks.begin(); it != m_lstBlocks.end(); ++it)
        {
            if (it->uCapacity >= bytes && it->uCapacity / 2 <= bytes)
            {
                const SBlock block = *it;
                m_uBytes -= block.uCapacity;
                m_lstBlocks.erase(it);
                return block;
            }
        }
        return {nullptr, 0};
    }

    // False when the pool is full: the caller frees the block.
    bool Give(const SBlock& block)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_lstBlocks.size() >= kPoolBlocks || m_uBytes + block.uCapacity > kPoolBytes)
        {
            return false;
        }
        m_lstBlocks.push_back(block);
        m_uBytes += block.uCapacity;
        return true;
    }

private:
    std::mutex m_mutex;
    std::vector<SBlock> m_lstBlocks;
    size_t m_uBytes = 0;
};

// Never destroyed: images that live in static objects give their blocks back during exit.
CPixelPool& Pool()
{
    static CPixelPool* s_pPool = new CPixelPool;
    return *s_pPool;
}

SBlock Allocate(size_t bytes)
{
    const bool bLarge = bytes >= kHugePageSize;
    const size_t uAlignment = bLarge ? kHugePageSize : kRowAlignment;
    const size_t uCapacity = (bytes + uAlignment - 1) / uAlignment * uAlignment;
    void* pMemory = nullptr;
    if (posix_memalign(&pMemory, uAlignment, uCapacity) != 0)
    {
        throw std::bad_alloc();
    }
    if (bLarge)
    {
        madvise(pMemory, uCapacity, MADV_HUGEPAGE); // advice only: failure changes nothing
    }
    return {static_cast<std::uint8_t*>(pMemory), uCapacity};
}

} // namespace

CPixelBuffer::CPixelBuffer(size_t bytes, bool bZero)
{
    SBlock block{nullptr, 0};
    if (bytes >= kPooledSize)
    {
        block = Pool().Take(bytes);
    }
    if (block.pData == nullptr)
    {
        block = Allocate(bytes);
    }
    m_pData = block.pData;
    m_uCapacity = block.uCapacity;
    if (bZero)
    {
        std::memset(m_pData, 0, bytes);
    }
}

CPixelBuffer::~CPixelBuffer()
{
    if (m_uCapacity >= kPooledSize && Pool().Give({m_pData, m_uCapacity}))
    {
        return;
    }
    std::free(m_pData);
}

} // namespace Zarn
