#pragma once

#include <Zarn/Export.h>

#include <exception>
#include <memory>
#include <string>

namespace Zarn
{

class CValue;
class CValueMap;
class CValueVector;
class CValue_Key;

namespace Impl
{
// Where an exception was raised. The texts must outlive the exception's construction only.
struct StExLocation
{
    const char* m_szBuildDate;
    const char* m_szFile;
    const char* m_szFunction;
    int m_nLine;
    int m_nReserved;
};
} // namespace Impl

// The host's exception: three texts (function, what, instance) kept as string entries "Function",
// "What" and "Instance" of the exception's own map, which derived exceptions extend. A null text
// is stored as an empty one.
//
// Contract: owns its texts (copies of what it was given) and lends them through what() and
// Entry; copyable, used by one thread at a time. Constructing one throws only std::bad_alloc. No
// messages.
class ZARN_CORE_API CException : public std::exception
{
public:
    CException(const char* function, const char* what, const char* instance);
    CException(const CException& other);
    CException& operator=(const CException& other);
    ~CException() override;

    const char* what() const noexcept override;
    // "function: what [instance]", the form written to logs and shown to users.
    virtual const char* FormattedWhat() const;
    virtual const char* formattedWhat() const;
    virtual const char* instance() const;
    const char* function() const;

    // The exception's own entries; null when there is no such entry.
    const CValue* Entry(const CValue_Key& key) const;
    CValue* Entry(const CValue_Key& key);

protected:
    // The readable class name of the exception, written into its serialised form.
    virtual const char* Type() const;
    // The serialised form: a vector of [type, entries map], owned by the caller.
    virtual CValueVector* Vectorize() const;
    virtual void Devectorize(const CValueVector* vector);

    CValueMap& Entries() { return *m_pEntries; }

private:
    void UpdateFormatted();

    std::unique_ptr<CValueMap> m_pEntries;
    std::string m_strFormatted;
};

// A parameter that cannot be used: missing, out of range, of the wrong ownership.
class ZARN_CORE_API CExBadParam : public CException
{
public:
    CExBadParam(const Impl::StExLocation& where, const char* message);

protected:
    const char* Type() const override;
};

// A value of a kind the caller cannot work with; names the offending value's type.
class ZARN_CORE_API CExBadType : public CException
{
public:
    CExBadType(const Impl::StExLocation& where, const CValue* offending);

protected:
    const char* Type() const override;
};

// Rethrows the exception being handled as one CException naming `szOperation`
// ("CImageViewPlugin::Init"); only to be called from inside a catch clause. Plug-ins wrap their
// Init and UpdateParameters with it:
//   CException     -> function "<szOperation> - " + the caught "Function" entry, what and
//                     instance of the caught one;
//   std::exception -> function szOperation, what = what(), no instance;
//   anything else  -> function szOperation, what "UNKNWON EXCEPTION!" (so spelled: other
//                     modules match the text), no instance.
[[noreturn]] ZARN_CORE_API void RethrowWithOperation(const char* szOperation);

} // namespace Zarn

// A location record for the current source line.
#define ZARN_LOCATION                                                                              \
    ::Zarn::Impl::StExLocation                                                                     \
    {                                                                                              \
        __DATE__ " " __TIME__, __FILE__, __func__, __LINE__, 0                                     \
    }
