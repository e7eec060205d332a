#include <Zarn/Value/ValueContainer.h>

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/TypeInfo.h>

#include <string>

namespace Zarn
{

namespace
{
CValueContainerBase* AsContainer(CValue* value)
{
    if (value == nullptr)
    {
        return nullptr;
    }
    if (CValueMap* pMap = value->Map())
    {
        return pMap;
    }
    return value->Vector();
}

[[noreturn]] void ThrowMissing(const char* function, const std::string& path)
{
    const std::string strMessage = "Entry '" + path + "' not found";
    throw CExBadParam({__DATE__ " " __TIME__, __FILE__, function, __LINE__, 0}, strMessage.c_str());
}

// The child at `key`; a missing one throws CExBadParam naming `function`.
CValue& RequiredChild(const CValueContainerBase& container, const CValue_Key& key,
                      const char* function)
{
    CValue* pChild = container.ChildAt(key);
    if (pChild == nullptr)
    {
        ThrowMissing(function, key.ToString());
    }
    return *pChild;
}
} // namespace

CValueContainerBase* CValueContainerBase::ParentOf(const CValue_Path& path, bool bCreatePath,
                                                   EnErrType* error)
{
    CValueContainerBase* pCurrent = this;
    const std::vector<CValue_Key>& keys = path.Keys();
    for (size_t i = 0; i + 1 < keys.size(); ++i)
    {
        CValue* pChild = pCurrent->ChildAt(keys[i]);
        if (pChild == nullptr && bCreatePath)
        {
            auto pNewMap = std::make_unique<CValueMap>();
            pChild = pNewMap.get();
            pCurrent->StoreChild(keys[i], std::move(pNewMap));
        }
        if (pChild == nullptr)
        {
            *error = errNotFound;
            return nullptr;
        }
        pCurrent = AsContainer(pChild);
        if (pCurrent == nullptr)
        {
            *error = errWrongType;
            return nullptr;
        }
    }
    return pCurrent;
}

CValue* CValueContainerBase::Entry(const CValue_Path& path, bool bRequired)
{
    CValue* pCurrent = this;
    for (const CValue_Key& key : path.Keys())
    {
        CValueContainerBase* pContainer = AsContainer(pCurrent);
        pCurrent = pContainer ? pContainer->ChildAt(key) : nullptr;
        if (pCurrent == nullptr)
        {
            if (bRequired)
            {
                ThrowMissing("Zarn::CValueContainerBase::Entry", path.ToString());
            }
            return nullptr;
        }
    }
    return pCurrent;
}

const CValue* CValueContainerBase::Entry(const CValue_Path& path, bool bRequired) const
{
    return const_cast<CValueContainerBase*>(this)->Entry(path, bRequired);
}

void CValueContainerBase::SetEntry(const CValue_Path& path, CValue* value, bool bCreatePath,
                                   EnErrType* error)
{
    std::unique_ptr<CValue> pValue(value);
    EnErrType enError = errNone;
    CValueContainerBase* pParent = path.IsEmpty() ? nullptr : ParentOf(path, bCreatePath, &enError);
    if (path.IsEmpty())
    {
        enError = errInvalidKey;
    }
    if (pParent != nullptr)
    {
        try
        {
            pParent->StoreChild(path.Keys().back(), std::move(pValue));
        }
        catch (const CExBadParam&)
        {
            if (error == nullptr)
            {
                throw;
            }
            enError = errInvalidKey;
        }
    }
    if (error != nullptr)
    {
        *error = enError;
        return;
    }
    if (enError != errNone)
    {
        const std::string strMessage =
            "Cannot set entry '" + path.ToString() + "': " +
            (enError == errNotFound    ? "a part of the path is missing"
             : enError == errWrongType ? "a part of the path is not a map or vector"
                                       : "the path is empty");
        throw CExBadParam(ZARN_LOCATION, strMessage.c_str());
    }
}

bool CValueContainerBase::HasEntry(const CValue_Path& path) const
{
    return !path.IsEmpty() && Entry(path, false) != nullptr;
}

bool CValueContainerBase::RemoveEntry(const CValue_Path& path)
{
    if (path.IsEmpty())
    {
        return false;
    }
    EnErrType enError = errNone;
    CValueContainerBase* pParent = ParentOf(path, false, &enError);
    return pParent != nullptr && pParent->EraseChild(path.Keys().back());
}

CString& CValueContainerBase::EntryString(const CValue_Key& key)
{
    return RequiredChild(*this, key, "Zarn::CValueContainerBase::EntryString").String();
}

const CString& CValueContainerBase::EntryString(const CValue_Key& key) const
{
    return const_cast<CValueContainerBase*>(this)->EntryString(key);
}

const CString& CValueContainerBase::EntryString(const CValue_Key& key,
                                                const CString& defaultValue) const
{
    const CValue* pChild = ChildAt(key);
    return pChild ? pChild->String() : defaultValue;
}

long CValueContainerBase::EntryLong(const CValue_Key& key) const
{
    return RequiredChild(*this, key, "Zarn::CValueContainerBase::EntryLong").Long();
}

long CValueContainerBase::EntryLong(const CValue_Key& key, long defaultValue) const
{
    const CValue* pChild = ChildAt(key);
    return pChild ? pChild->Long() : defaultValue;
}

double CValueContainerBase::EntryDouble(const CValue_Key& key, double defaultValue) const
{
    const CValue* pChild = ChildAt(key);
    return pChild ? pChild->Double() : defaultValue;
}

bool CValueContainerBase::EntryBool(const CValue_Key& key) const
{
    return RequiredChild(*this, key, "Zarn::CValueContainerBase::EntryBool").Bool();
}

bool CValueContainerBase::EntryBool(const CValue_Key& key, bool defaultValue) const
{
    const CValue* pChild = ChildAt(key);
    return pChild ? pChild->Bool() : defaultValue;
}

bool CValueContainerBase::HasEntry(const CValue_Key& key, EnValType kind) const
{
    const CValue* pChild = ChildAt(key);
    return pChild != nullptr && pChild->GenericType() == kind;
}

bool CValueContainerBase::HasEntry(const CValue_Key& key, const std::type_info& valueClass) const
{
    const CValue* pChild = ChildAt(key);
    return pChild != nullptr && AreTypesEqual(pChild->Type(), valueClass);
}

CValue_Key CValueContainerBase::Find(const char* text, const CValue_Key& after)
{
    bool bSearching = !after.IsValid();
    for (const CValue_Key& key : ChildKeys())
    {
        if (!bSearching)
        {
            bSearching = (key == after);
            continue;
        }
        const CValue* pChild = ChildAt(key);
        if (pChild->GenericType() == vtString && pChild->String().StdString() == (text ? text : ""))
        {
            return key;
        }
    }
    return CValue_Key();
}

} // namespace Zarn
