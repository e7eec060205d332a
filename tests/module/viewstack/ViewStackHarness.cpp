#include "ViewStackHarness.h"

#include "views/ViewStackPlugin.h"

#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValuePointer.h>

namespace ViewStackTest
{

namespace
{

const char* const kRegistryKeys[] = {"tmp/commthread", "tmp/messageidfactory"};

} // namespace

CFakeView::CFakeView(const std::string& caption, const char* widgetPath)
    : m_strWidgetPath(widgetPath != nullptr ? widgetPath : "")
{
    if (widgetPath != nullptr)
    {
        m_pWidget = new QWidget;
        m_pWidget->setObjectName(QString::fromStdString(caption));
    }
}

CFakeView::~CFakeView()
{
    delete m_pWidget.data();
}

void CFakeView::GetPluginSetup(Zarn::CValueMap& setup)
{
    if (!m_strWidgetPath.empty())
    {
        setup.SetEntry(m_strWidgetPath.c_str(), new Zarn::CValuePointer<QWidget>(m_pWidget.data()));
    }
}

void CMessageRecorder::UpdateParameters(const Zarn::CValueMap& message)
{
    SDelivered delivered;
    delivered.m_strName =
        m_pIds->GetMessageName(static_cast<int>(message.EntryLong(Zarn::CValue_Key("id"))));
    const Zarn::CValue* pData = message.Entry(Zarn::CValue_Key("data"), false);
    if (pData != nullptr && pData->GenericType() == Zarn::CValue::vtPointer &&
        Zarn::AreTypesEqual(pData->ElementType(), typeid(Zarn::CPluginBase)))
    {
        delivered.m_bDataIsViewPointer = true;
        delivered.m_pView = Zarn::UnwrapPointer<Zarn::CPluginBase>(pData);
    }
    m_lstDelivered.push_back(delivered);
}

void CViewStackFixture::SetUp()
{
    m_pThreadLogger = std::make_unique<Zarn::CLogger>(&m_threadLogText);
    m_pIds = std::make_unique<Zarn::CMessageIdFactory>();
    m_pThread = std::make_unique<Zarn::CMessageThread>();
    m_pThread->SetLogger(m_pThreadLogger.get());
    m_pThread->SetMessageIdFactory(m_pIds.get());

    Zarn::CRegistry& registry = Zarn::CRegistry::Obj();
    registry.SetEntry(Zarn::CValue_Key("tmp/commthread"),
                      new Zarn::CValuePointer<Zarn::CMessageThread>(m_pThread.get()));
    registry.SetEntry(Zarn::CValue_Key("tmp/messageidfactory"),
                      new Zarn::CValuePointer<Zarn::CMessageIdFactory>(m_pIds.get()));

    m_pRecorder = std::make_unique<CMessageRecorder>(m_pIds.get());
    m_pThread->Subscribe(m_pRecorder.get());
}

void CViewStackFixture::TearDown()
{
    if (m_pPluginBase != nullptr)
    {
        m_pThread->Unsubscribe(m_pPluginBase);
        delete m_pPluginBase;
        m_pPluginBase = nullptr;
        m_pPlugin = nullptr;
    }
    m_pThread->Unsubscribe(m_pRecorder.get());
    m_pThread.reset();
    m_lstViews.clear();
    Zarn::CRegistry& registry = Zarn::CRegistry::Obj();
    for (const char* szKey : kRegistryKeys)
    {
        registry.RemoveEntry(Zarn::CValue_Key(szKey));
    }
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

void CViewStackFixture::PostView(const char* name, Zarn::CPluginBase* view)
{
    m_pThread->TakeMessage(new Zarn::CMessage(m_pIds->GetMessageId(name),
                                              new Zarn::CValuePointer<Zarn::CPluginBase>(view),
                                              Zarn::CMessage::priNormal),
                           Zarn::CMessage::mmQueued);
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
