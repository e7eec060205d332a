#pragma once

#include <functional>

namespace Zarn
{
class CValue;
class CValueMap;
} // namespace Zarn

namespace DocView
{

// Walks the optional list parameter `key` of an Init parameter map ("views", "tool plugins"):
// calls `fnEntry` with each element, lent, from index 0 up. The size is read again after every
// element. A missing parameter calls nothing; one that is not a vector throws Zarn::CExBadType
// naming it before any call; what `fnEntry` throws passes out and ends the walk. Owns nothing;
// callable from any thread that holds the map; no messages.
void ForEachListEntry(const Zarn::CValueMap& parameters, const char* key,
                      const std::function<void(const Zarn::CValue* entry)>& fnEntry);

} // namespace DocView
