#pragma once

#include <Zarn/Plugin/PluginBase.h>

namespace Zarn
{
class CMessageIdFactory;
class CMessageThread;
} // namespace Zarn

// Turns each new document into a view through the configured view factory plug-ins. Created by
// the module entry as "ViewFactory". GUI thread only. The host objects borrowed in Init are never
// deleted.
class CViewFactoryPlugin : public Zarn::CPluginBase
{
public:
    CViewFactoryPlugin();
    ~CViewFactoryPlugin() override;

    using Zarn::CPluginBase::Init;
    // "Version", "PluginType", "PluginSubType"; no "PluginName", no "WidgetPtr".
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Borrows "tmp/commthread" and "tmp/messageidfactory". Throws Zarn::CException naming
    // "CViewFactoryPlugin::Init".
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    void DeleteData() override;
    // Throws Zarn::CException naming "CViewFactoryPlugin::UpdateParameters".
    void UpdateParameters(const Zarn::CValueMap& message) override;

private:
    Zarn::CMessageIdFactory* m_pMessageIdFactory;
    Zarn::CMessageThread* m_pCommThread;
};
