#include "ImageViewValues.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValuePointer.h>

#include <exception>
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

bool IsMessage(const Zarn::CValueMap& parameters)
{
    return parameters.HasEntry(Zarn::CValue_Key("id"));
}

void RethrowWrapped(const char* szOperation)
{
    try
    {
        throw;
    }
    catch (const Zarn::CException& caught)
    {
        std::string strFunction = std::string(szOperation) + " - ";
        if (const Zarn::CValue* pFunction = caught.Entry(Zarn::CValue_Key("Function")))
        {
            strFunction += pFunction->String().c_str();
        }
        throw Zarn::CException(strFunction.c_str(), caught.what(), caught.instance());
    }
    catch (const std::exception& caught)
    {
        throw Zarn::CException(szOperation, caught.what(), nullptr);
    }
    catch (...)
    {
        throw Zarn::CException(szOperation, "UNKNWON EXCEPTION!", nullptr);
    }
}

} // namespace ImageViewValues
