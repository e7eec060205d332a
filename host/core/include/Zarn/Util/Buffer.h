#pragma once

#include <Zarn/Export.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Zarn
{

// A growable byte buffer. The content is the bytes [0, Size()); Write appends at its end, Read
// takes from the read position onwards. Every allocation failure surfaces as std::bad_alloc and
// leaves the buffer as it was (Resize excepted, see there).
//
// Contract: owns its bytes; Data lends them until the next change. One thread at a time. No
// messages.
class ZARN_CORE_API CBuffer
{
public:
    // The largest size a buffer can have; a larger request fails as std::bad_alloc at once.
    static constexpr size_t kMaxSize = static_cast<size_t>(PTRDIFF_MAX);

    // initialSize zero bytes of content; room for at least capacity bytes; every growth adds at
    // least growStep bytes (and at least half the current capacity, so appending stays linear).
    explicit CBuffer(size_t initialSize = 0, size_t capacity = 0, size_t growStep = 0);
    CBuffer(const CBuffer&) = delete;
    CBuffer& operator=(const CBuffer&) = delete;
    CBuffer(CBuffer&& other) noexcept;
    CBuffer& operator=(CBuffer&& other) noexcept;
    ~CBuffer();

    // Appends the bytes, growing as needed; returns size.
    size_t Write(const void* data, size_t size);
    // Copies up to size unread bytes out and advances the read position; returns the count.
    size_t Read(void* data, size_t size);
    // Drops the bytes already read: the unread rest moves to the front, the read position to 0.
    void Flush();
    // The content becomes a copy of the bytes (which may lie inside this buffer); read position 0.
    void Assign(const void* data, size_t size);
    // Content and read position become those of the other buffer.
    void Copy(const CBuffer& other);
    // Hands the storage to the caller (null when there is none); the buffer is left empty with
    // no capacity. Take Size() first.
    std::unique_ptr<unsigned char[]> Release();
    // Gives the storage back to the system now; the buffer is left empty with no capacity.
    void Free();
    // The content becomes size zero bytes; the old content is dropped first, so growing never
    // holds old and new storage at once. When that allocation fails the buffer is left empty.
    void Resize(size_t size);
    // The content keeps its first min(Size(), size) bytes; bytes added are zero.
    void ResizePreserving(size_t size);

    unsigned char* Data() { return m_pData.get(); }
    const unsigned char* Data() const { return m_pData.get(); }
    size_t Size() const { return m_uSize; }
    size_t Capacity() const { return m_uCapacity; }
    size_t ReadPosition() const { return m_uReadPos; }
    size_t GrowStep() const { return m_uGrowStep; }

private:
    // Makes room for at least required bytes, keeping the content.
    void Reserve(size_t required);
    // The capacity a growth to at least required bytes gets.
    size_t GrownCapacity(size_t required) const;

    std::unique_ptr<unsigned char[]> m_pData;
    size_t m_uSize = 0;
    size_t m_uCapacity = 0;
    size_t m_uReadPos = 0;
    size_t m_uGrowStep = 0;
};

} // namespace Zarn
