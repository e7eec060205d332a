#include <Zarn/Value/TypeInfo.h>

#include <cxxabi.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace Zarn
{

bool AreTypesEqual(const std::type_info& first, const std::type_info& second)
{
    // A leading '*' marks a name the compiler made unique to one library; it names the same type.
    const char* szFirst = first.name();
    const char* szSecond = second.name();
    szFirst += (*szFirst == '*') ? 1 : 0;
    szSecond += (*szSecond == '*') ? 1 : 0;
    return std::strcmp(szFirst, szSecond) == 0;
}

std::string ReadableTypeName(const std::type_info& type)
{
    int nStatus = 0;
    std::unique_ptr<char, decltype(&std::free)> pName(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &nStatus), &std::free);
    return (nStatus == 0 && pName) ? std::string(pName.get()) : std::string(type.name());
}

} // namespace Zarn
