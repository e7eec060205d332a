#include <Zarn/Value/ValuePointer.h>

namespace Zarn
{

CValuePointerBase::CValuePointerBase(const std::type_info* valueType, std::uint64_t count,
                                     unsigned short elementSize)
    : m_pValueType(valueType), m_uCount(count), m_uElementSize(elementSize)
{
}

CValuePointerBase::~CValuePointerBase() = default;

namespace Impl
{

std::string PointerFunctionName(const std::type_info& elementType, const char* operation)
{
    return "Zarn::CValuePointer<" + ReadableTypeName(elementType) + ">::" + operation;
}

std::string PointerMismatchMessage(const std::type_info& requested, const std::type_info& actual)
{
    CString message("Requested type ('%1') does not match actual type ('%2')!", CString::encUtf8);
    message.Arg(CString(ReadableTypeName(requested))).Arg(CString(ReadableTypeName(actual)));
    return message.StdString();
}

} // namespace Impl
} // namespace Zarn
