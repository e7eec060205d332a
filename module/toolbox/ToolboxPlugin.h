#pragma once

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/String/String.h>

namespace Zarn
{
class CLogger;
class CMessageIdFactory;
class CMessageThread;
} // namespace Zarn

// Runs tool plug-ins on the focused document and turns their output into document and view
// changes. Created by the module entry as "Toolbox". GUI thread only. The host objects borrowed
// in Init are never deleted. Init and UpdateParameters are not wrapped: what they throw reaches
// the caller unchanged.
class CToolboxPlugin : public Zarn::CPluginBase
{
public:
    CToolboxPlugin();
    ~CToolboxPlugin() override;

    using Zarn::CPluginBase::Init;
    // "Version" and "PluginName"; no "PluginType", "PluginSubType" or "WidgetPtr".
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Borrows "tmp/commthread", "tmp/messageidfactory" and "tmp/logger", then reads "name"
    // (default "CToolBoxPlugin").
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    void DeleteData() override;
    void UpdateParameters(const Zarn::CValueMap& message) override;

private:
    Zarn::CMessageIdFactory* m_pMessageIdFactory;
    Zarn::CMessageThread* m_pCommThread;
    Zarn::CLogger* m_pLogger;
    Zarn::CString m_strName;
};
