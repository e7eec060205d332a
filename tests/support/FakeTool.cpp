#include "FakeTool.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Value/ValueScalar.h>

namespace DocViewTest
{

CFakeTool::CFakeTool(SToolBehaviour* behaviour) : m_pBehaviour(behaviour)
{
    ++m_pBehaviour->m_nInstances;
}

CFakeTool::~CFakeTool()
{
    ++m_pBehaviour->m_nDestroyed;
    if (m_pBehaviour->m_nActiveRuns.load() > 0)
    {
        ++m_pBehaviour->m_nDestroyedWhileRunning;
    }
}

void CFakeTool::Register(const std::string& name, SToolBehaviour* behaviour)
{
    Zarn::CPluginLoader::Obj().RegisterPlugin(
        name.c_str(), [behaviour]() -> Zarn::CPluginBase* { return new CFakeTool(behaviour); });
}

void CFakeTool::GetPluginSetup(Zarn::CValueMap& setup)
{
    if (m_pBehaviour->m_strPluginName)
    {
        setup.SetEntry(Zarn::CValue_Key("PluginName"),
                       new Zarn::CValueString(m_pBehaviour->m_strPluginName->c_str()));
    }
    if (m_pBehaviour->m_bConfigUser)
    {
        setup.SetEntry(Zarn::CValue_Key("config user"),
                       new Zarn::CValueBool(*m_pBehaviour->m_bConfigUser));
    }
}

void CFakeTool::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    m_pBehaviour->m_lstInit.push_back(parameters);
    if (m_pBehaviour->m_bInitThrows)
    {
        throw Zarn::CException("CFakeTool::Init", "tool refused to start", "fake");
    }
}

void CFakeTool::DeleteData()
{
    ++m_pBehaviour->m_nDeleteData;
}

void CFakeTool::Run(Zarn::CValueMap& data)
{
    SToolBehaviour* pBehaviour = m_pBehaviour;
    if (pBehaviour->m_fnContext)
    {
        pBehaviour->m_strRunContext = pBehaviour->m_fnContext();
    }
    ++pBehaviour->m_nRuns;
    // Counted down however the run ends; nothing of this object is used after the run.
    struct SActive
    {
        std::atomic<int>& m_nActive;
        explicit SActive(std::atomic<int>& nActive) : m_nActive(nActive) { ++m_nActive; }
        ~SActive() { --m_nActive; }
    } active(pBehaviour->m_nActiveRuns);
    if (pBehaviour->m_fnRun)
    {
        pBehaviour->m_fnRun(data);
    }
}

bool CFakeTool::TestParameters(const Zarn::CValueMap& parameters)
{
    ++m_pBehaviour->m_nTests;
    return m_pBehaviour->m_fnTest ? m_pBehaviour->m_fnTest(parameters) : true;
}

void CFakeTool::UpdateParameters(const Zarn::CValueMap& message)
{
    m_pBehaviour->m_lstUpdates.push_back(message);
}

CFakeConfig::CFakeConfig(SConfigBehaviour* behaviour) : m_pBehaviour(behaviour)
{
    ++m_pBehaviour->m_nInstances;
}

CFakeConfig::~CFakeConfig()
{
    ++m_pBehaviour->m_nDestroyed;
}

void CFakeConfig::Register(const std::string& name, SConfigBehaviour* behaviour)
{
    Zarn::CPluginLoader::Obj().RegisterPlugin(
        name.c_str(), [behaviour]() -> Zarn::CPluginBase* { return new CFakeConfig(behaviour); });
}

void CFakeConfig::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    m_pBehaviour->m_lstInit.push_back(parameters);
}

void CFakeConfig::DeleteData()
{
    ++m_pBehaviour->m_nDeleteData;
}

void CFakeConfig::Run(Zarn::CValueMap& data)
{
    m_pBehaviour->m_lstConfigUser.push_back(data.EntryBool(Zarn::CValue_Key("config user")));
    if (m_pBehaviour->m_fnRun)
    {
        m_pBehaviour->m_fnRun(data);
        return;
    }
    auto* pParameters = new Zarn::CValueMap;
    pParameters->SetEntry(Zarn::CValue_Key("size"), new Zarn::CValueLong(3));
    data.SetEntry(Zarn::CValue_Key("parameters"), pParameters);
}

void CFakeConfig::UpdateParameters(const Zarn::CValueMap& message)
{
    m_pBehaviour->m_lstUpdates.push_back(message);
}

} // namespace DocViewTest
