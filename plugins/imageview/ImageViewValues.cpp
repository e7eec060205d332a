#include "ImageViewValues.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValuePointer.h>

#include <string>
#include <typeinfo>

namespace ImageViewValues
{

Zarn::CValueMap* DocumentOf(const Zarn::CValueMap& parameters)
{
    const Zarn::CValue* pValue = parameters.Entry(Zarn::CValue_Key("document"), false);
    if (pValue == nullptr || pValue->GenericType() != Zarn::CValue::vtPointer ||
        !Zarn::AreTypesEqual(pValue->ElementType(), typeid(Zarn::CValueMap)))
    {
        return nullptr;
    }
    return static_cast<Zarn::CValueMap*>(const_cast<void*>(pValue->Pointer()->Void()));
}

} // namespace ImageViewValues
