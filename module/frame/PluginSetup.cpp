#include "frame/PluginSetup.h"

#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

namespace DocView
{

namespace
{
void WriteText(Zarn::CValueMap& setup, const char* key, const char* text)
{
    if (text != nullptr)
    {
        setup.SetEntry(Zarn::CValue_Key(key), new Zarn::CValueString(text));
    }
}
} // namespace

void WritePluginSetup(Zarn::CValueMap& setup, const char* type, const char* subType,
                      const char* name)
{
    WriteText(setup, "Version", "version 1.0.0");
    WriteText(setup, "PluginType", type);
    WriteText(setup, "PluginSubType", subType);
    WriteText(setup, "PluginName", name);
}

} // namespace DocView
