#pragma once

// Typed pointer values: how objects (documents, images, widgets, plug-ins, threads) travel through
// the value tree between plug-ins. Each module compiles its own instantiations; type tests compare
// type names (AreTypesEqual), so they hold across shared libraries.
//
// Ownership is a token held by at most one pointer value: CValueOwnedPointer creates it, Clone and
// Copy with tfTransfer move it, the destructor of its holder consumes it (delete for a count of 1,
// delete[] otherwise). CValuePointer never creates it.

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValuePointerBase.h>

#include <cstring>
#include <string>
#include <type_traits>

namespace Zarn
{

namespace Impl
{
// The header's name and the lines that its errors report: other modules match on them.
inline constexpr const char* kValuePointerFile = "Value/ValuePointer";
inline constexpr int kCloneErrorLine = 438;
inline constexpr int kCopyTypeErrorLine = 467;
inline constexpr int kCopyOwnershipErrorLine = 472;
inline constexpr int kUnwrapErrorLine = 676;

// "Zarn::CValuePointer<Zarn::CValueMap>::Clone" for T = Zarn::CValueMap.
ZARN_CORE_API std::string PointerFunctionName(const std::type_info& elementType,
                                              const char* operation);
// "Requested type ('%1') does not match actual type ('%2')!" with both names filled in.
ZARN_CORE_API std::string PointerMismatchMessage(const std::type_info& requested,
                                                 const std::type_info& actual);
} // namespace Impl

template <class T> class CValuePointer : public CValuePointerBase
{
public:
    // A non-owning value; a null pointer gets the count 0.
    explicit CValuePointer(T* pointer, std::uint64_t count = 1)
        : CValuePointerBase(&typeid(CValuePointer<T>), pointer ? count : 0,
                            static_cast<unsigned short>(sizeof(T))),
          m_pPointer(pointer)
    {
    }
    CValuePointer(const CValuePointer&) = delete;
    CValuePointer& operator=(const CValuePointer&) = delete;

    ~CValuePointer() override { DeletePointee(); }

    CValue* Clone(EnTfOwnership strategy) const override
    {
        if (OwnsPointee() && strategy == tfNone)
        {
            const std::string function = Impl::PointerFunctionName(typeid(T), "Clone");
            throw CExBadParam({__DATE__ " " __TIME__, Impl::kValuePointerFile, function.c_str(),
                               Impl::kCloneErrorLine, 0},
                              "Owned pointers can only be cloned with a valid ownership transfer "
                              "strategy!");
        }
        CValuePointerBase* pClone = CloneNonOwned();
        if (OwnsPointee() && strategy == tfTransfer)
        {
            Release();
            static_cast<CValuePointer*>(pClone)->SetOwned(true);
        }
        return pClone;
    }

    CValue& Copy(const CValue& source, EnTfOwnership strategy, bool bReplaceMeta) override
    {
        if (source.GenericType() != GenericType() ||
            !AreTypesEqual(source.ElementType(), typeid(T)))
        {
            const std::string function = Impl::PointerFunctionName(typeid(T), "Copy");
            throw CExBadType({__DATE__ " " __TIME__, Impl::kValuePointerFile, function.c_str(),
                              Impl::kCopyTypeErrorLine, 0},
                             &source);
        }
        const CValuePointerBase& sourcePointer = *source.Pointer();
        if (sourcePointer.IsOwned() && sourcePointer.Void() && strategy == tfNone)
        {
            const std::string function = Impl::PointerFunctionName(typeid(T), "Copy");
            throw CExBadParam({__DATE__ " " __TIME__, Impl::kValuePointerFile, function.c_str(),
                               Impl::kCopyOwnershipErrorLine, 0},
                              "Owned pointers can only be copied with a valid ownership transfer "
                              "strategy!");
        }
        if (&source == this)
        {
            return *this;
        }
        DeletePointee();
        if (sourcePointer.IsOwned() && strategy == tfTransfer)
        {
            sourcePointer.Release();
            SetOwned(true);
        }
        // Only a transfer writes the owned flag: a value that owned its old pointee stays marked
        // as owner of a non-owned new one. Other modules rely on this asymmetry with Clone.
        m_pPointer = static_cast<T*>(const_cast<void*>(sourcePointer.Void()));
        SetCount(sourcePointer.Count());
        CopyMeta(source, strategy, bReplaceMeta);
        return *this;
    }

    // Takes the source's pointer together with its ownership.
    CValue& Move(CValue& source) override { return Copy(source, tfTransfer, true); }

    bool Equal(const CValue& other) const override
    {
        return other.GenericType() == GenericType() && other.Pointer()->Count() == Count() &&
               other.Pointer()->Void() == Void();
    }

    bool EqualData(const CValue& other) const override
    {
        if (other.GenericType() != GenericType() || other.Pointer()->Count() != Count() ||
            other.Pointer()->ElementSize() != ElementSize())
        {
            return false;
        }
        const void* pOther = other.Pointer()->Void();
        if (Count() == 0 || pOther == Void())
        {
            return true;
        }
        return std::memcmp(pOther, Void(), static_cast<size_t>(Count()) * sizeof(T)) == 0;
    }

    const std::type_info& ElementType() const override { return typeid(T); }
    const void* Void() const override { return m_pPointer; }
    void* Void() override { return const_cast<std::remove_const_t<T>*>(m_pPointer); }

    CValuePointerBase* CloneNonOwned() const override
    {
        auto* pClone = new CValuePointer<T>(m_pPointer, Count());
        pClone->CopyMeta(*this, tfShare, true);
        return pClone;
    }

    T* Get() const { return m_pPointer; }

private:
    bool OwnsPointee() const { return m_pPointer != nullptr && IsOwned(); }

    // Kept out of line: inlined into a caller that wraps a stack object, the compiler cannot see
    // that the owned flag is clear and warns about deleting it.
    [[gnu::noinline]] void DeletePointee()
    {
        if (!OwnsPointee())
        {
            return;
        }
        if (Count() == 1)
        {
            delete m_pPointer;
        }
        else
        {
            delete[] m_pPointer;
        }
        // The owned flag stays as it is: Copy decides on it separately.
        m_pPointer = nullptr;
        SetCount(0);
    }

    T* m_pPointer;
};

// The same value created as owner of its pointee.
template <class T> class CValueOwnedPointer : public CValuePointer<T>
{
public:
    explicit CValueOwnedPointer(T* pointer, std::uint64_t count = 1)
        : CValuePointer<T>(pointer, count)
    {
        this->SetOwned(true);
    }
};

// The T* inside a pointer value, or null for a null value. A value that is not a pointer value of
// element type T (the owning form counts as the same) throws CExBadParam; nothing is converted,
// not even to a base class.
template <class T> T* UnwrapPointer(CValue* value)
{
    if (value == nullptr)
    {
        return nullptr;
    }
    if (value->GenericType() != CValue::vtPointer ||
        !AreTypesEqual(value->ElementType(), typeid(T)))
    {
        const std::string message = Impl::PointerMismatchMessage(typeid(T), value->ElementType());
        throw CExBadParam({__DATE__ " " __TIME__, Impl::kValuePointerFile, "Zarn::UnwrapPointer",
                           Impl::kUnwrapErrorLine, 0},
                          message.c_str());
    }
    return static_cast<T*>(value->Pointer()->Void());
}

template <class T> const T* UnwrapPointer(const CValue* value)
{
    return UnwrapPointer<T>(const_cast<CValue*>(value));
}

} // namespace Zarn
