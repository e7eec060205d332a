#pragma once

#include <Zarn/Plugin/PluginBase.h>

#include <memory>

// The docview module's one exported entry, linked in from the module's classes (the
// docview_objects library): makes the module's plug-in of that name, or returns null. The caller
// owns what it gets; safe from the GUI thread.
extern "C" void* CreatePluginInstanceEx(const char* name);

namespace DocViewTest
{

// Deletes a plug-in through its own virtual destructor.
struct SDeletePlugin
{
    void operator()(Zarn::CPluginBase* pPlugin) const { delete pPlugin; }
};
// A plug-in owned by the test.
using PluginPtr = std::unique_ptr<Zarn::CPluginBase, SDeletePlugin>;

// The module's plug-in of that name, owned by the caller; null when the module makes none.
inline PluginPtr CreateModulePlugin(const char* name)
{
    return PluginPtr(static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx(name)));
}

} // namespace DocViewTest
