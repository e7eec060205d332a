#include "FakeTool.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Value/ValueScalar.h>

namespace DocViewTest
{

namespace
{

// Makes doubles of that class, all lending the one behaviour, known under the name.
template <class TDouble, class TBehaviour>
void RegisterDouble(const std::string& name, TBehaviour* behaviour)
{
    Zarn::CPluginLoader::Obj().RegisterPlugin(
        name.c_str(), [behaviour]() -> Zarn::CPluginBase* { return new TDouble(behaviour); });
}

} // namespace

CCountedPlugin::CCountedPlugin(SPluginCounts* counts) : m_pCounts(counts)
{
    ++m_pCounts->m_nInstances;
}

CCountedPlugin::~CCountedPlugin()
{
    ++m_pCounts->m_nDestroyed;
}

void CCountedPlugin::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    m_pCounts->m_lstInit.push_back(parameters);
}

void CCountedPlugin::UpdateParameters(const Zarn::CValueMap& message)
{
    m_pCounts->m_lstUpdates.push_back(message);
}

void CCountedPlugin::DeleteData()
{
    ++m_pCounts->m_nDeleteData;
}

CFakeTool::CFakeTool(SToolBehaviour* behaviour) : CCountedPlugin(behaviour), m_pBehaviour(behaviour)
{
}

CFakeTool::~CFakeTool()
{
    if (m_pBehaviour->m_nActiveRuns.load() > 0)
    {
        ++m_pBehaviour->m_nDestroyedWhileRunning;
    }
}

void CFakeTool::Register(const std::string& name, SToolBehaviour* behaviour)
{
    RegisterDouble<CFakeTool>(name, behaviour);
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

void CFakeTool::Init(void* context, const Zarn::CValueMap& parameters)
{
    CCountedPlugin::Init(context, parameters);
    if (m_pBehaviour->m_bInitThrows)
    {
        throw Zarn::CException("CFakeTool::Init", "tool refused to start", "fake");
    }
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

CFakeConfig::CFakeConfig(SConfigBehaviour* behaviour)
    : CCountedPlugin(behaviour), m_pBehaviour(behaviour)
{
}

void CFakeConfig::Register(const std::string& name, SConfigBehaviour* behaviour)
{
    RegisterDouble<CFakeConfig>(name, behaviour);
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

} // namespace DocViewTest
