#pragma once

#include <Zarn/Export.h>
#include <Zarn/String/String.h>
#include <Zarn/Value/ValueKey.h>

#include <cstddef>
#include <memory>
#include <typeinfo>

namespace Zarn
{

class CValueMap;
class CValueVector;
class CValuePointerBase;

// The base of the value tree. A value is owned by exactly one owner: the container or message it
// was handed to, or the caller that got it from Clone or Detach.
//
// Accessors of another kind: those returning a pointer (Map, Vector, Pointer) return null, those
// returning a reference throw CExBadType naming the value's class.
//
// Contract: a tree is used by one thread at a time (no locks; a message hands it over whole).
// Throws CExBadType and CExBadParam as the accessors say, and std::bad_alloc. No messages.
class ZARN_CORE_API CValue
{
public:
    enum EnValType
    {
        vtInvalid = 0,
        vtBool = 1,
        vtLong = 2,
        vtString = 3,
        vtPointer = 4,
        vtMap = 5,
        vtVector = 6,
        vtDouble = 7,
    };

    // How Clone and Copy treat pointer values that own their pointee.
    enum EnTfOwnership
    {
        tfNone = 0,     // no strategy: an owning pointer value cannot be cloned or copied
        tfShare = 1,    // the copy shares the pointee and does not own it
        tfTransfer = 2, // ownership moves to the copy
    };

    enum EnErrType
    {
        errNone = 0,
        errNotFound = 1,
        errWrongType = 2,
        errInvalidKey = 3,
    };

    CValue();
    CValue(const CValue&) = delete;
    CValue& operator=(const CValue&) = delete;

    // The virtual operations in the host's slot order.
    virtual ~CValue();
    virtual bool& Bool();
    virtual bool Bool() const;
    virtual long Long() const;
    virtual long& Long();
    virtual double Double() const;
    virtual double& Double();
    virtual const CString& String() const;
    virtual CString& String();
    virtual const CValueMap* Map() const;
    virtual CValueMap* Map();
    virtual const CValueVector* Vector() const;
    virtual CValueVector* Vector();
    virtual const CValuePointerBase* Pointer() const;
    virtual CValuePointerBase* Pointer();
    // A new deep copy, owned by the caller.
    virtual CValue* Clone(EnTfOwnership strategy) const = 0;
    // Makes this value equal to the source, which must be of the same kind (CExBadType otherwise).
    // bReplaceMeta: the meta map becomes the source's; otherwise only its new entries are added.
    virtual CValue& Copy(const CValue& source, EnTfOwnership strategy, bool bReplaceMeta) = 0;
    // Takes over the source's content; the source is left empty. Same kind required.
    virtual CValue& Move(CValue& source) = 0;
    // Same kind, same content and same meta entries.
    virtual bool Equal(const CValue& other) const = 0;
    // Same kind and same content; meta entries are not compared.
    virtual bool EqualData(const CValue& other) const = 0;
    virtual const std::type_info& Type() const;
    virtual EnValType GenericType() const = 0;
    // For pointer values the pointed-to type; typeid(void) for every other kind.
    virtual const std::type_info& ElementType() const;
    virtual bool IsLink() const;
    virtual bool IsValid() const;
    virtual const CValueMap& Meta() const;
    virtual CValueMap& Meta();
    virtual void SetString(const char* text, size_t length);
    // The address of the held data (the number, the text's bytes, a pointer value's pointee);
    // null for containers.
    virtual const void* VoidPointer() const;
    virtual void* VoidPointer();

    bool HasMeta() const { return m_pMeta != nullptr; }

protected:
    // Copies the source's meta map into this value: all of it (bReplace), or only the entries
    // whose keys this value's meta map does not have yet.
    CValue& CopyMeta(const CValue& source, EnTfOwnership strategy, bool bReplace);
    bool EqualMeta(const CValue& other) const;
    void MoveMeta(CValue& source);

    // Throws CExBadType for this value, naming the operation that was asked of the wrong kind.
    [[noreturn]] void ThrowWrongKind(const char* function) const;
    // Throws CExBadType unless the other value is of the same kind.
    void RequireSameKind(const CValue& other, const char* function) const;

private:
    std::unique_ptr<CValueMap> m_pMeta; // made on first write
};

} // namespace Zarn
