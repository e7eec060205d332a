#pragma once

#include <Zarn/Plugin/PluginBase.h>

namespace Zarn
{
class CMessageIdFactory;
} // namespace Zarn

// Shows a modal busy dialog while other parts of the application work, on request by message.
// Created by the module entry as "ActivityDialog". GUI thread only. The message id factory
// borrowed in Init is never deleted.
class CActivityDialogPlugin : public Zarn::CPluginBase
{
public:
    CActivityDialogPlugin();
    ~CActivityDialogPlugin() override;

    using Zarn::CPluginBase::Init;
    // "Version", "PluginType", "PluginSubType"; no "PluginName", no "WidgetPtr".
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Borrows "tmp/messageidfactory". Throws Zarn::CException naming "CActivityDialogPlugin::Init".
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    void Run(Zarn::CValueMap& data) override;
    // Throws Zarn::CException naming "CActivityDialogPlugin::UpdateParameters".
    void UpdateParameters(const Zarn::CValueMap& message) override;

private:
    Zarn::CMessageIdFactory* m_pMessageIdFactory;
};
