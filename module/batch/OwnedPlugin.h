#pragma once

#include <Zarn/Plugin/PluginBase.h>

#include <memory>

// A plug-in that the batch code created and owns. Its owner ends it as the plug-in contract says:
// DeleteData, then the virtual destructor. Runs in the owner's thread. The deleter runs from
// destructors, so DeleteData must not throw (it would end the process).
struct SReleasePlugin
{
    void operator()(Zarn::CPluginBase* plugin) const
    {
        plugin->DeleteData();
        delete plugin;
    }
};

using OwnedPluginPtr = std::unique_ptr<Zarn::CPluginBase, SReleasePlugin>;
