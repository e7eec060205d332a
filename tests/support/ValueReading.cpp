#include "ValueReading.h"

#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

namespace DocViewTest
{

std::string StringAt(const Zarn::CValueMap& map, const char* path)
{
    const Zarn::CValue* pValue = map.Entry(path, false);
    return pValue != nullptr && pValue->GenericType() == Zarn::CValue::vtString
               ? pValue->String().StdString()
               : std::string("<none>");
}

long LongAt(const Zarn::CValueMap& map, const char* path)
{
    const Zarn::CValue* pValue = map.Entry(path, false);
    return pValue != nullptr && pValue->GenericType() == Zarn::CValue::vtLong ? pValue->Long() : -1;
}

const void* PointerAt(const Zarn::CValueMap& map, const char* path)
{
    const Zarn::CValue* pValue = map.Entry(path, false);
    return pValue != nullptr && pValue->GenericType() == Zarn::CValue::vtPointer
               ? pValue->Pointer()->Void()
               : nullptr;
}

std::vector<const void*> PointersAt(const Zarn::CValueMap& map, const char* path)
{
    std::vector<const void*> lstPointers;
    const Zarn::CValue* pValue = map.Entry(path, false);
    if (pValue == nullptr || pValue->Vector() == nullptr)
    {
        return lstPointers;
    }
    const Zarn::CValueVector* pVector = pValue->Vector();
    for (unsigned int i = 0; i < pVector->Size(); ++i)
    {
        lstPointers.push_back(pVector->Entry(Zarn::CValue_Key(i), true)->Pointer()->Void());
    }
    return lstPointers;
}

Zarn::CValueMap* MapOf(std::initializer_list<std::pair<const char*, Zarn::CValue*>> entries)
{
    auto* pMap = new Zarn::CValueMap;
    for (const auto& [szKey, pValue] : entries)
    {
        pMap->SetEntry(Zarn::CValue_Key(szKey), pValue);
    }
    return pMap;
}

} // namespace DocViewTest
