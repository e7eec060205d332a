#include "views/ViewFactoryPlugin.h"

#include "frame/HostObjects.h"
#include "frame/PluginErrors.h"

#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

CViewFactoryPlugin::CViewFactoryPlugin() : m_pMessageIdFactory(nullptr), m_pCommThread(nullptr) {}

CViewFactoryPlugin::~CViewFactoryPlugin() = default;

void CViewFactoryPlugin::GetPluginSetup(Zarn::CValueMap& setup)
{
    setup.SetEntry(Zarn::CValue_Key("Version"), new Zarn::CValueString("version 1.0.0"));
    // "Deamon" is deliberate: hosts match on this exact text, and it differs from the activity
    // dialog's "DaemonPlugin".
    setup.SetEntry(Zarn::CValue_Key("PluginType"), new Zarn::CValueString("DeamonPlugin"));
    setup.SetEntry(Zarn::CValue_Key("PluginSubType"), new Zarn::CValueString("ViewFactory"));
}

void CViewFactoryPlugin::Init(void* /*context*/, const Zarn::CValueMap& /*parameters*/)
{
    DocView::RunWrapped("CViewFactoryPlugin::Init",
                        [&]
                        {
                            m_pCommThread = DocView::BorrowCommThread();
                            m_pMessageIdFactory = DocView::BorrowMessageIdFactory();
                        });
}

void CViewFactoryPlugin::DeleteData()
{
    // Deletes the view factory plug-ins loaded in Init.
}

void CViewFactoryPlugin::UpdateParameters(const Zarn::CValueMap& /*message*/)
{
    DocView::RunWrapped("CViewFactoryPlugin::UpdateParameters",
                        []
                        {
                            // Has a view made for each NEW_DOCUMENT.
                        });
}
