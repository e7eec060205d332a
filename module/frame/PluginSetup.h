#pragma once

namespace Zarn
{
class CValueMap;
} // namespace Zarn

namespace DocView
{

// The entries every plug-in's setup record starts with: "Version" ("version 1.0.0"), then
// "PluginType", "PluginSubType" and "PluginName", each left out where its text is null (a
// plug-in that has no type or name of its own says so by leaving the entry out). Existing
// entries of these keys are replaced. Throws only what the map throws on allocation.
void WritePluginSetup(Zarn::CValueMap& setup, const char* type, const char* subType,
                      const char* name = nullptr);

} // namespace DocView
