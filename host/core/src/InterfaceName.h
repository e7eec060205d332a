#pragma once

#include <Zarn/String/String.h>

#include <initializer_list>
#include <string_view>

namespace Zarn::Impl
{

// True when the name, with or without the "Zarn::" prefix, is one of the known interface names.
inline bool IsInterfaceName(const CString& name, std::initializer_list<std::string_view> known)
{
    constexpr std::string_view kNamespacePrefix = "Zarn::";
    std::string_view strName = name.StdString();
    if (strName.starts_with(kNamespacePrefix))
    {
        strName.remove_prefix(kNamespacePrefix.size());
    }
    for (const std::string_view strKnown : known)
    {
        if (strName == strKnown)
        {
            return true;
        }
    }
    return false;
}

} // namespace Zarn::Impl
