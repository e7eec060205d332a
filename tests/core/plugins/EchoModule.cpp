// A well-formed test module. MODULE_TAG tells the module apart in results; ECHO_PLUGIN_NAME is
// the name only this module answers; "SharedPlugin" is answered by every echo module.
#include "EchoPlugin.h"

#include <string_view>

extern "C" __attribute__((visibility("default"))) void* CreatePluginInstanceEx(const char* name)
{
    if (name == nullptr)
    {
        return nullptr;
    }
    const std::string_view strName(name);
    if (strName == ECHO_PLUGIN_NAME || strName == "SharedPlugin")
    {
        Zarn::CPluginBase* pPlugin = new CEchoPlugin(MODULE_TAG);
        return pPlugin;
    }
    return nullptr;
}
