// The module's one way in: the host asks for plug-ins by name.

#include "ImageViewFactoryPlugin.h"
#include "ImageViewPlugin.h"

#include <cstring>

extern "C" __attribute__((visibility("default"))) void* CreatePluginInstanceEx(const char* name)
{
    if (name == nullptr)
    {
        return nullptr;
    }
    if (std::strcmp(name, "ImageViewFactory") == 0)
    {
        return static_cast<Zarn::CPluginBase*>(new CImageViewFactoryPlugin);
    }
    if (std::strcmp(name, "ImageView") == 0)
    {
        return static_cast<Zarn::CPluginBase*>(new CImageViewPlugin);
    }
    return nullptr;
}
