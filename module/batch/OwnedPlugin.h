#pragma once

#include <Zarn/Plugin/PluginBase.h>

#include <memory>

// A plug-in that the batch code created and owns. Its owner ends it as the plug-in contract says:
// DeleteData, then the virtual destructor.
struct SReleasePlugin
{
    void operator()(Zarn::CPluginBase* plugin) const
    {
        plugin->DeleteData();
        delete plugin;
    }
};

using OwnedPluginPtr = std::unique_ptr<Zarn::CPluginBase, SReleasePlugin>;
