// The module's one way in: the host asks for plug-ins by name through CreatePluginInstanceEx.
// Nothing else leaves the library (it is built with hidden visibility).

#include "activity/ActivityDialogPlugin.h"
#include "batch/ImageProcessPlugin.h"
#include "repository/RepositoryPlugin.h"
#include "toolbox/ToolboxPlugin.h"
#include "views/NavigatorPlugin.h"
#include "views/ViewFactoryPlugin.h"
#include "views/ViewStackPlugin.h"
#include "views/WorkspacePlugin.h"

#include <Zarn/Plugin/PluginBase.h>

#include <new>
#include <string>

namespace
{

// Null when the allocation fails. The result is the plug-in's CPluginBase part, which for the
// widget plug-ins (QObject first) is not at the object's own address.
template <class TPlugin> Zarn::CPluginBase* NewPlugin()
{
    return static_cast<Zarn::CPluginBase*>(new (std::nothrow) TPlugin);
}

struct SPluginEntry
{
    const char* m_szName;
    Zarn::CPluginBase* (*m_pfnCreate)();
};

// Compared in this order; the first equal name wins.
const SPluginEntry kPluginTable[] = {
    {"Repository", &NewPlugin<CRepositoryPlugin>},
    {"Navigator", &NewPlugin<CNavigatorPlugin>},
    {"ViewStack", &NewPlugin<CViewStackPlugin>},
    {"Workspace", &NewPlugin<CWorkspacePlugin>},
    {"Toolbox", &NewPlugin<CToolboxPlugin>},
    {"ActivityDialog", &NewPlugin<CActivityDialogPlugin>},
    {"ViewFactory", &NewPlugin<CViewFactoryPlugin>},
    {"ImageProcess", &NewPlugin<CImageProcessPlugin>},
};

} // namespace

// A new plug-in of that name, owned by the caller and destroyed through Zarn::CPluginBase's
// virtual destructor; null for a name the module does not know (case-sensitive, whole name) or
// when the allocation fails. Nothing is logged. What a constructor throws reaches the caller.
extern "C" __attribute__((visibility("default"))) void* CreatePluginInstanceEx(const char* name)
{
    if (name == nullptr)
    {
        return nullptr;
    }
    const std::string strName(name);
    for (const SPluginEntry& entry : kPluginTable)
    {
        if (strName == entry.m_szName)
        {
            return entry.m_pfnCreate();
        }
    }
    return nullptr;
}
