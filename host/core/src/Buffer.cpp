#include <Zarn/Util/Buffer.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace Zarn
{

namespace
{
// Storage of exactly size bytes, uninitialised; null for 0.
std::unique_ptr<unsigned char[]> Allocate(size_t size)
{
    if (size == 0)
    {
        return nullptr;
    }
    if (size > CBuffer::kMaxSize)
    {
        throw std::bad_alloc();
    }
    return std::unique_ptr<unsigned char[]>(new unsigned char[size]);
}
} // namespace

CBuffer::CBuffer(size_t initialSize, size_t capacity, size_t growStep)
    : m_pData(Allocate(std::max(initialSize, capacity))), m_uSize(initialSize),
      m_uCapacity(std::max(initialSize, capacity)), m_uGrowStep(growStep)
{
    if (m_uSize != 0)
    {
        std::memset(m_pData.get(), 0, m_uSize);
    }
}

CBuffer::CBuffer(CBuffer&& other) noexcept
    : m_pData(std::move(other.m_pData)), m_uSize(std::exchange(other.m_uSize, 0)),
      m_uCapacity(std::exchange(other.m_uCapacity, 0)),
      m_uReadPos(std::exchange(other.m_uReadPos, 0)), m_uGrowStep(other.m_uGrowStep)
{
}

CBuffer& CBuffer::operator=(CBuffer&& other) noexcept
{
    if (this != &other)
    {
        m_pData = std::move(other.m_pData);
        m_uSize = std::exchange(other.m_uSize, 0);
        m_uCapacity = std::exchange(other.m_uCapacity, 0);
        m_uReadPos = std::exchange(other.m_uReadPos, 0);
        m_uGrowStep = other.m_uGrowStep;
    }
    return *this;
}

CBuffer::~CBuffer() = default;

size_t CBuffer::Write(const void* data, size_t size)
{
    if (size == 0)
    {
        return 0;
    }
    if (size > kMaxSize - m_uSize)
    {
        throw std::bad_alloc();
    }
    const auto* pSource = static_cast<const unsigned char*>(data);
    if (m_uSize + size > m_uCapacity)
    {
        // The source may lie inside the old storage: copy before that storage goes.
        const size_t uCapacity = GrownCapacity(m_uSize + size);
        std::unique_ptr<unsigned char[]> pNew = Allocate(uCapacity);
        if (m_uSize != 0)
        {
            std::memcpy(pNew.get(), m_pData.get(), m_uSize);
        }
        std::memcpy(pNew.get() + m_uSize, pSource, size);
        m_pData = std::move(pNew);
        m_uCapacity = uCapacity;
    }
    else
    {
        std::memmove(m_pData.get() + m_uSize, pSource, size);
    }
    m_uSize += size;
    return size;
}

size_t CBuffer::Read(void* data, size_t size)
{
    const size_t uCount = std::min(size, m_uSize - m_uReadPos);
    if (uCount != 0)
    {
        std::memcpy(data, m_pData.get() + m_uReadPos, uCount);
        m_uReadPos += uCount;
    }
    return uCount;
}

void CBuffer::Flush()
{
    if (m_uReadPos == 0)
    {
        return;
    }
    const size_t uRest = m_uSize - m_uReadPos;
    if (uRest != 0)
    {
        std::memmove(m_pData.get(), m_pData.get() + m_uReadPos, uRest);
    }
    m_uSize = uRest;
    m_uReadPos = 0;
}

void CBuffer::Assign(const void* data, size_t size)
{
    const auto* pSource = static_cast<const unsigned char*>(data);
    if (size > m_uCapacity)
    {
        std::unique_ptr<unsigned char[]> pNew = Allocate(size);
        std::memcpy(pNew.get(), pSource, size);
        m_pData = std::move(pNew);
        m_uCapacity = size;
    }
    else if (size != 0)
    {
        std::memmove(m_pData.get(), pSource, size);
    }
    m_uSize = size;
    m_uReadPos = 0;
}

void CBuffer::Copy(const CBuffer& other)
{
    if (&other == this)
    {
        return;
    }
    Assign(other.Data(), other.Size());
    m_uReadPos = other.m_uReadPos;
}

std::unique_ptr<unsigned char[]> CBuffer::Release()
{
    m_uSize = 0;
    m_uCapacity = 0;
    m_uReadPos = 0;
    return std::move(m_pData);
}

void CBuffer::Free()
{
    m_pData.reset();
    m_uSize = 0;
    m_uCapacity = 0;
    m_uReadPos = 0;
}

void CBuffer::Resize(size_t size)
{
    if (size > m_uCapacity)
    {
        Free();
        m_pData = Allocate(size);
        m_uCapacity = size;
    }
    if (size != 0)
    {
        std::memset(m_pData.get(), 0, size);
    }
    m_uSize = size;
    m_uReadPos = 0;
}

void CBuffer::ResizePreserving(size_t size)
{
    if (size > m_uCapacity)
    {
        Reserve(size);
    }
    if (size > m_uSize)
    {
        std::memset(m_pData.get() + m_uSize, 0, size - m_uSize);
    }
    m_uSize = size;
    m_uReadPos = std::min(m_uReadPos, m_uSize);
}

void CBuffer::Reserve(size_t required)
{
    if (required <= m_uCapacity)
    {
        return;
    }
    std::unique_ptr<unsigned char[]> pNew = Allocate(required);
    if (m_uSize != 0)
    {
        std::memcpy(pNew.get(), m_pData.get(), m_uSize);
    }
    m_pData = std::move(pNew);
    m_uCapacity = required;
}

size_t CBuffer::GrownCapacity(size_t required) const
{
    const size_t uStep = std::max(m_uGrowStep, m_uCapacity / 2);
    if (uStep > kMaxSize - m_uCapacity)
    {
        return required;
    }
    return std::max(required, m_uCapacity + uStep);
}

} // namespace Zarn
