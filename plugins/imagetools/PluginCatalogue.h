#pragma once

#include <Zarn/Plugin/PluginBase.h>

#include <functional>
#include <string>

// The plug-ins of this module by name. Each plug-in's source file registers itself with a static
// CPluginRegistration, so adding a tool touches no shared list. Owns the creators; Create hands
// the new plug-in to the caller (DeleteData, then delete). Registration runs during static
// initialisation, creation on the GUI thread; neither throws of its own. No messages.
class CPluginCatalogue
{
public:
    using Creator = std::function<Zarn::CPluginBase*()>;

    // A name registered twice keeps its first creator.
    static void Register(const std::string& name, Creator creator);
    // Null for a name nobody registered.
    static Zarn::CPluginBase* Create(const std::string& name);
    static bool Knows(const std::string& name);
};

struct CPluginRegistration
{
    CPluginRegistration(const char* name, CPluginCatalogue::Creator creator)
    {
        CPluginCatalogue::Register(name, std::move(creator));
    }
};

// Registers TPlugin under name: `DOCVIEW_REGISTER_PLUGIN("Invert", CInvertTool)` at file scope.
#define DOCVIEW_REGISTER_PLUGIN(name, TPlugin)                                                     \
    static const CPluginRegistration s_registration##TPlugin(                                      \
        name, []() -> Zarn::CPluginBase* { return static_cast<Zarn::CPluginBase*>(new TPlugin); })
