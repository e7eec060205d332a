#pragma once

#include <Zarn/Value/Value.h>

#include <cstdint>

namespace Zarn
{

// What every typed pointer value holds besides the pointer: its class's run-time type, the number
// of objects it addresses (0 for a null pointer), their size and whether this value owns them.
//
// Contract: owns the pointee only while it holds the ownership token (IsOwned), lends it
// otherwise; thread and errors as CValue. No messages.
class ZARN_CORE_API CValuePointerBase : public CValue
{
public:
    ~CValuePointerBase() override;

    // CValue
    const CValuePointerBase* Pointer() const override { return this; }
    CValuePointerBase* Pointer() override { return this; }
    const std::type_info& Type() const override { return *m_pValueType; }
    EnValType GenericType() const override { return vtPointer; }
    bool IsValid() const override { return Void() != nullptr; }
    const void* VoidPointer() const override { return Void(); }
    void* VoidPointer() override { return Void(); }

    virtual const void* Void() const = 0;
    virtual void* Void() = 0;
    // A new non-owning value of the same class with the same pointer, count and meta entries.
    virtual CValuePointerBase* CloneNonOwned() const = 0;

    std::uint64_t Count() const { return m_uCount; }
    unsigned short ElementSize() const { return m_uElementSize; }
    bool IsOwned() const { return m_bOwned != 0; }
    // Gives up ownership: the pointee is no longer deleted with this value. Ownership is a token
    // that moves even out of a value seen as const (by Clone and Copy with tfTransfer).
    void Release() const { m_bOwned = 0; }

protected:
    CValuePointerBase(const std::type_info* valueType, std::uint64_t count,
                      unsigned short elementSize);

    void SetCount(std::uint64_t count) { m_uCount = count; }
    void SetOwned(bool bOwned) const { m_bOwned = bOwned ? 1 : 0; }

private:
    const std::type_info* m_pValueType;
    std::uint64_t m_uCount;
    unsigned short m_uElementSize;
    mutable unsigned char m_bOwned = 0;
};

} // namespace Zarn
