#pragma once

#include <Zarn/Export.h>

#include <string>
#include <typeinfo>

// Type names for diagnostics and type tests across shared libraries: free of state, any thread,
// no messages; throws only std::bad_alloc.
namespace Zarn
{

// Type identity that holds across shared libraries loaded with RTLD_LOCAL, where one type can have
// several type_info objects: compares the mangled names, never the addresses.
ZARN_CORE_API bool AreTypesEqual(const std::type_info& first, const std::type_info& second);

// The compiler's readable name of a type, such as "Zarn::CValueMap".
ZARN_CORE_API std::string ReadableTypeName(const std::type_info& type);

} // namespace Zarn
