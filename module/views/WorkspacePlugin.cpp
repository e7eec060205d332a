#include "views/WorkspacePlugin.h"

#include "frame/HostObjects.h"
#include "frame/PluginErrors.h"

#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QMdiArea>
#include <QString>
#include <QWidget>

CWorkspacePlugin::CWorkspacePlugin()
    : m_pMessageIdFactory(nullptr), m_pCommThread(nullptr), m_pLogger(nullptr),
      m_pWorkspace(new QMdiArea)
{
}

CWorkspacePlugin::~CWorkspacePlugin()
{
    delete m_pWorkspace.data();
}

void CWorkspacePlugin::GetPluginSetup(Zarn::CValueMap& setup)
{
    setup.SetEntry(Zarn::CValue_Key("Version"), new Zarn::CValueString("version 1.0.0"));
    setup.SetEntry(Zarn::CValue_Key("WidgetPtr"),
                   new Zarn::CValuePointer<QWidget>(m_pWorkspace.data()));
    setup.SetEntry(Zarn::CValue_Key("PluginType"), new Zarn::CValueString("QtWidget"));
    setup.SetEntry(Zarn::CValue_Key("PluginSubType"), new Zarn::CValueString("Workspace"));
    setup.SetEntry(Zarn::CValue_Key("PluginName"), new Zarn::CValueString(m_strName));
}

void CWorkspacePlugin::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    DocView::RunWrapped("CWorkspacePlugin::Init",
                        [&]
                        {
                            m_strName = parameters.EntryString(Zarn::CValue_Key("name"),
                                                               Zarn::CString("CWorkspacePlugin"));
                            m_pCommThread = DocView::BorrowCommThread();
                            m_pMessageIdFactory = DocView::BorrowMessageIdFactory();
                            if (m_pWorkspace)
                            {
                                m_pWorkspace->setObjectName(QString::fromUtf8(m_strName.c_str()));
                            }
                        });
}

void CWorkspacePlugin::UpdateParameters(const Zarn::CValueMap& /*message*/)
{
    DocView::RunWrapped("CWorkspacePlugin::UpdateParameters",
                        []
                        {
                            // Follows NEW_VIEW, INVALID_VIEW and ACTIVE_VIEW in its workspace.
                        });
}
