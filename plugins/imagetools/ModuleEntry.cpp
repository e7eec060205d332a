// The module's one way in: the host asks for plug-ins by name.

#include "PluginCatalogue.h"

extern "C" __attribute__((visibility("default"))) void* CreatePluginInstanceEx(const char* name)
{
    return name == nullptr ? nullptr : CPluginCatalogue::Create(name);
}
