#include "ViewStackHarness.h"

#include "views/ViewStackPlugin.h"

#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValuePointer.h>

namespace ViewStackTest
{

void CMessageRecorder::OnMessage(const DocViewTest::SRecordedMessage& record,
                                 const Zarn::CValue* /*data*/)
{
    SDelivered delivered;
    delivered.m_strName = record.m_strName;
    if (record.m_pElementType != nullptr &&
        Zarn::AreTypesEqual(*record.m_pElementType, typeid(Zarn::CPluginBase)))
    {
        delivered.m_bDataIsViewPointer = true;
        delivered.m_pView = record.m_pPointee;
    }
    m_lstDelivered.push_back(delivered);
}

CViewStackFixture::CViewStackFixture()
    : m_pRecorder(std::make_unique<CMessageRecorder>(m_pIds.get()))
{
    m_pThread->Subscribe(m_pRecorder.get());
}

void CViewStackFixture::TearDown()
{
    EndPlugin(m_pPluginBase, m_pPluginBase, false);
    m_pPlugin = nullptr;
    m_pThread->Unsubscribe(m_pRecorder.get());
    DocViewTest::CHostFixture::TearDown();
    m_lstViews.clear();
}

void CViewStackFixture::StartViewStack(Zarn::CValueMap* parameters)
{
    std::unique_ptr<Zarn::CValueMap> pParameters(parameters ? parameters : new Zarn::CValueMap);
    m_pPluginBase = static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("ViewStack"));
    ASSERT_NE(m_pPluginBase, nullptr);
    m_pPlugin = dynamic_cast<CViewStackPlugin*>(m_pPluginBase);
    ASSERT_NE(m_pPlugin, nullptr);
    m_pPluginBase->Init(nullptr, *pParameters);
    m_pThread->Subscribe(m_pPluginBase);
}

QStackedWidget* CViewStackFixture::Stack() const
{
    Zarn::CValueMap setup;
    m_pPluginBase->GetPluginSetup(setup);
    QWidget* pWidget = const_cast<QWidget*>(
        Zarn::UnwrapPointer<QWidget>(setup.Entry(Zarn::CValue_Key("WidgetPtr"), true)));
    return qobject_cast<QStackedWidget*>(pWidget);
}

void CViewStackFixture::Send(const char* name, Zarn::CPluginBase* view)
{
    PostView(name, view);
    Deliver();
}

std::vector<SDelivered> CViewStackFixture::Delivered(const std::string& name) const
{
    std::vector<SDelivered> lstFound;
    for (const SDelivered& delivered : m_pRecorder->m_lstDelivered)
    {
        if (delivered.m_strName == name)
        {
            lstFound.push_back(delivered);
        }
    }
    return lstFound;
}

std::vector<std::string> CViewStackFixture::PageNames() const
{
    std::vector<std::string> lstNames;
    QStackedWidget* pStack = Stack();
    for (int i = 0; i < pStack->count(); ++i)
    {
        lstNames.push_back(pStack->widget(i)->objectName().toStdString());
    }
    return lstNames;
}

std::string CViewStackFixture::CurrentPageName() const
{
    QWidget* pCurrent = Stack()->currentWidget();
    return pCurrent != nullptr ? pCurrent->objectName().toStdString() : "<none>";
}

} // namespace ViewStackTest
