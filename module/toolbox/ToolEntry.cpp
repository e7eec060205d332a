#include "toolbox/ToolEntry.h"

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/System/SystemException.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

namespace
{
const Zarn::CValue_Key kConfigUser("config user");
const Zarn::CValue_Key kParameters("parameters");

// Runs one step of releasing a plug-in under the system-exception guard.
template <class TCall> void ReleaseQuietly(TCall&& call)
{
    try
    {
        Zarn::RunWithSystemExceptionGuard(call);
    }
    catch (...)
    {
        // A destructor has nobody to hand an error to: a native fault has been written to
        // standard error by the translator already, and the entry goes all the same.
    }
}
} // namespace

CToolEntry::CToolEntry(Zarn::CPluginBase* tool)
    : m_bHasConfig(false), m_bThreaded(false), m_pTool(tool), m_pConfig(nullptr), m_bEnabled(false),
      m_nRunsInFlight(0)
{
}

// A plug-in broken by an earlier fault may fault again on its way out; closing a tool must not
// end the program.
CToolEntry::~CToolEntry()
{
    ReleaseQuietly(
        [this]
        {
            if (m_pTool != nullptr)
            {
                m_pTool->DeleteData();
                delete m_pTool;
            }
        });
    ReleaseQuietly(
        [this]
        {
            if (m_bHasConfig)
            {
                delete m_pConfig;
            }
        });
}

void CToolEntry::SetConfig(Zarn::CPluginBase* config)
{
    if (m_bHasConfig && m_pConfig != nullptr)
    {
        m_pConfig->DeleteData();
        delete m_pConfig;
    }
    m_pConfig = config;
    m_bHasConfig = true;
}

bool CToolEntry::Configure(int mode)
{
    if (!m_bHasConfig || m_pConfig == nullptr)
    {
        return false;
    }

    bool bAskUser = true;
    if (mode == 1)
    {
        Zarn::CValueMap setup;
        m_pTool->GetPluginSetup(setup);
        if (setup.HasEntry(kConfigUser, Zarn::CValue::vtBool))
        {
            bAskUser = setup.EntryBool(kConfigUser);
        }
    }
    else if (mode == 2)
    {
        bAskUser = false;
    }

    Zarn::CValueMap request;
    request.SetEntry(kConfigUser, new Zarn::CValueBool(bAskUser));
    bool bConfigured = false;
    // A native fault in either plug-in becomes the thread's translator's exception.
    Zarn::RunWithSystemExceptionGuard(
        [&]
        {
            m_pConfig->Run(request);
            if (request.HasEntry(kParameters))
            {
                m_pTool->UpdateParameters(request);
                bConfigured = true;
            }
        });
    return bConfigured;
}
