#include "views/ViewStackPlugin.h"

#include "frame/HostObjects.h"
#include "frame/PluginErrors.h"

#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QStackedWidget>
#include <QString>
#include <QWidget>

CViewStackPlugin::CViewStackPlugin()
    : m_pMessageIdFactory(nullptr), m_pCommThread(nullptr), m_pLogger(nullptr),
      m_pWidgetStack(new QStackedWidget)
{
}

CViewStackPlugin::~CViewStackPlugin()
{
    delete m_pWidgetStack.data();
}

void CViewStackPlugin::GetPluginSetup(Zarn::CValueMap& setup)
{
    setup.SetEntry(Zarn::CValue_Key("Version"), new Zarn::CValueString("version 1.0.0"));
    setup.SetEntry(Zarn::CValue_Key("WidgetPtr"),
                   new Zarn::CValuePointer<QWidget>(m_pWidgetStack.data()));
    setup.SetEntry(Zarn::CValue_Key("PluginType"), new Zarn::CValueString("QtWidget"));
    setup.SetEntry(Zarn::CValue_Key("PluginSubType"), new Zarn::CValueString("ViewStack"));
    setup.SetEntry(Zarn::CValue_Key("PluginName"), new Zarn::CValueString(m_strName));
}

void CViewStackPlugin::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    DocView::RunWrapped("CViewStackPlugin::Init",
                        [&]
                        {
                            m_strName = parameters.EntryString(Zarn::CValue_Key("name"),
                                                               Zarn::CString("CViewStackPlugin"));
                            m_pCommThread = DocView::BorrowCommThread();
                            m_pMessageIdFactory = DocView::BorrowMessageIdFactory();
                            if (m_pWidgetStack)
                            {
                                m_pWidgetStack->setObjectName(QString::fromUtf8(m_strName.c_str()));
                            }
                        });
}

void CViewStackPlugin::UpdateParameters(const Zarn::CValueMap& /*message*/)
{
    // Follows NEW_VIEW, INVALID_VIEW and ACTIVE_VIEW in its stack.
}
