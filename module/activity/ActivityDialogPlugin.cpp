#include "activity/ActivityDialogPlugin.h"

#include "frame/HostObjects.h"
#include "frame/PluginErrors.h"

#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

CActivityDialogPlugin::CActivityDialogPlugin() : m_pMessageIdFactory(nullptr) {}

CActivityDialogPlugin::~CActivityDialogPlugin() = default;

void CActivityDialogPlugin::GetPluginSetup(Zarn::CValueMap& setup)
{
    setup.SetEntry(Zarn::CValue_Key("Version"), new Zarn::CValueString("version 1.0.0"));
    setup.SetEntry(Zarn::CValue_Key("PluginType"), new Zarn::CValueString("DaemonPlugin"));
    setup.SetEntry(Zarn::CValue_Key("PluginSubType"), new Zarn::CValueString("ActivityDialog"));
}

void CActivityDialogPlugin::Init(void* /*context*/, const Zarn::CValueMap& /*parameters*/)
{
    DocView::RunWrapped("CActivityDialogPlugin::Init",
                        [&] { m_pMessageIdFactory = DocView::BorrowMessageIdFactory(); });
}

void CActivityDialogPlugin::Run(Zarn::CValueMap& /*data*/)
{
    // Destroys the busy dialog; the map is not used.
}

void CActivityDialogPlugin::UpdateParameters(const Zarn::CValueMap& /*message*/)
{
    DocView::RunWrapped("CActivityDialogPlugin::UpdateParameters",
                        []
                        {
                            // Shows, updates and hides the dialog on the ACTIVITY_ messages.
                        });
}
