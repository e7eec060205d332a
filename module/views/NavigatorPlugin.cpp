#include "views/NavigatorPlugin.h"

#include "frame/HostObjects.h"
#include "frame/PluginErrors.h"

#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QListWidget>
#include <QString>
#include <QWidget>

CNavigatorPlugin::CNavigatorPlugin()
    : m_pMessageIdFactory(nullptr), m_pCommThread(nullptr), m_pListBox(new QListWidget)
{
}

CNavigatorPlugin::~CNavigatorPlugin()
{
    delete m_pListBox.data();
}

void CNavigatorPlugin::GetPluginSetup(Zarn::CValueMap& setup)
{
    setup.SetEntry(Zarn::CValue_Key("Version"), new Zarn::CValueString("version 1.0.0"));
    setup.SetEntry(Zarn::CValue_Key("WidgetPtr"),
                   new Zarn::CValuePointer<QWidget>(m_pListBox.data()));
    setup.SetEntry(Zarn::CValue_Key("PluginType"), new Zarn::CValueString("QtWidget"));
    setup.SetEntry(Zarn::CValue_Key("PluginSubType"), new Zarn::CValueString("NavigatorPlugin"));
}

void CNavigatorPlugin::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    DocView::RunWrapped(
        "CNavigatorPlugin::Init",
        [&]
        {
            if (parameters.HasEntry(Zarn::CValue_Key("name"), Zarn::CValue::vtString))
            {
                m_strName = parameters.EntryString(Zarn::CValue_Key("name"));
            }
            else
            {
                m_strName = Zarn::CString("unknown");
            }
            m_pCommThread = DocView::BorrowCommThread();
            m_pMessageIdFactory = DocView::BorrowMessageIdFactory();
            if (m_pListBox)
            {
                m_pListBox->setObjectName(QString::fromUtf8(m_strName.c_str()));
            }
        });
}

void CNavigatorPlugin::UpdateParameters(const Zarn::CValueMap& /*message*/)
{
    DocView::RunWrapped("CNavigatorPlugin::UpdateParameters",
                        []
                        {
                            // Follows NEW_VIEW, INVALID_VIEW, VIEW_CHANGED and ACTIVE_VIEW in its
                            // list.
                        });
}
