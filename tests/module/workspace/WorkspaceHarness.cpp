#include "WorkspaceHarness.h"

#include "views/WorkspacePlugin.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QCoreApplication>
#include <QEvent>
#include <QMdiArea>
#include <QMdiSubWindow>

#include <ostream>

namespace WorkspaceTest
{

namespace
{

const char* const kRegistryKeys[] = {"tmp/commthread", "tmp/messageidfactory", "tmp/logger"};

} // namespace

CTestView::CTestView(std::string caption) : m_strCaption(std::move(caption)), m_pWidget(new QWidget)
{
    m_pWidget->setObjectName(QString::fromStdString(m_strCaption));
}

CTestView::~CTestView()
{
    delete m_pWidget.data();
}

void CTestView::GetPluginSetup(Zarn::CValueMap& setup)
{
    setup.SetEntry(Zarn::CValue_Key("PluginType"), new Zarn::CValueString("TestView"));
    if (!m_strWidgetPath.empty())
    {
        setup.SetEntry(Zarn::CValue_Path(m_strWidgetPath),
                       new Zarn::CValuePointer<QWidget>(m_pWidget.data()));
    }
    if (m_bShowMaximized)
    {
        setup.SetEntry(Zarn::CValue_Key("showmaximized"), new Zarn::CValueBool(*m_bShowMaximized));
    }
}

void CTestView::Run(Zarn::CValueMap& data)
{
    data.SetEntry(Zarn::CValue_Key("caption"), new Zarn::CValueString(m_strCaption.c_str()));
    data.SetEntry(Zarn::CValue_Key("document"),
                  new Zarn::CValuePointer<Zarn::CValueMap>(m_pDocument));
    data.SetEntry(Zarn::CValue_Key("PluginType"), new Zarn::CValueString("TestView"));
    data.SetEntry(Zarn::CValue_Key("PluginSubType"), new Zarn::CValueString("Plain"));
}

void CTestView::UpdateParameters(const Zarn::CValueMap& message)
{
    // The repository hands a view its document this way.
    const Zarn::CValue* pDocument = message.Entry(Zarn::CValue_Key("document"), false);
    if (pDocument != nullptr)
    {
        m_pDocument = const_cast<Zarn::CValueMap*>(Zarn::UnwrapPointer<Zarn::CValueMap>(pDocument));
    }
}

void PrintTo(const SRecord& record, std::ostream* stream)
{
    *stream << record.m_strName << " " << record.m_pPointee;
}

CRecorder::CRecorder(Zarn::CMessageIdFactory* ids) : m_pIds(ids)
{
    SetInstance("Recorder");
}

void CRecorder::UpdateParameters(const Zarn::CValueMap& message)
{
    SRecord record;
    const int id = static_cast<int>(message.EntryLong(Zarn::CValue_Key("id"), 0));
    record.m_strName = m_pIds->GetMessageName(id);
    const Zarn::CValue* pData = message.Entry(Zarn::CValue_Key("data"), false);
    if (pData != nullptr && pData->GenericType() == Zarn::CValue::vtPointer &&
        Zarn::AreTypesEqual(pData->ElementType(), typeid(Zarn::CPluginBase)))
    {
        record.m_pPointee = pData->Pointer()->Void();
    }
    m_lstRecords.push_back(record);
}

CWorkspaceProxy::CWorkspaceProxy(Zarn::CPluginBase* workspace) : m_pWorkspace(workspace)
{
    SetInstance("Workspace");
}

void CWorkspaceProxy::UpdateParameters(const Zarn::CValueMap& message)
{
    try
    {
        m_pWorkspace->UpdateParameters(message);
    }
    catch (const Zarn::CException& exception)
    {
        m_lstCaught.push_back({exception.function(), exception.what()});
        throw;
    }
}

void CWorkspaceFixture::SetUp()
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
    // Only the real repository of the round-trip test borrows a logger.
    m_pLogger = std::make_unique<Zarn::CLogger>(&m_logText);
    registry.SetEntry(Zarn::CValue_Key("tmp/logger"),
                      new Zarn::CValuePointer<Zarn::CLogger>(m_pLogger.get()));

    m_pRecorder = std::make_unique<CRecorder>(m_pIds.get());
    m_pThread->Subscribe(m_pRecorder.get());
}

void CWorkspaceFixture::TearDown()
{
    if (m_pWorkspace != nullptr)
    {
        m_pThread->Unsubscribe(m_pProxy.get());
        delete m_pWorkspace;
        m_pWorkspace = nullptr;
    }
    m_lstViews.clear();
    m_pMainWindow.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    m_pThread->Unsubscribe(m_pRecorder.get());
    Zarn::CRegistry& registry = Zarn::CRegistry::Obj();
    for (const char* szKey : kRegistryKeys)
    {
        registry.RemoveEntry(Zarn::CValue_Key(szKey));
    }
    m_pThread.reset();
}

void CWorkspaceFixture::StartWorkspace(Zarn::CValueMap* parameters)
{
    std::unique_ptr<Zarn::CValueMap> pParameters(parameters ? parameters : new Zarn::CValueMap);
    m_pMainWindow = std::make_unique<QWidget>();
    m_pMainWindow->resize(800, 600);
    if (!pParameters->HasEntry(Zarn::CValue_Key("parent")))
    {
        pParameters->SetEntry(Zarn::CValue_Key("parent"),
                              new Zarn::CValuePointer<QWidget>(m_pMainWindow.get()));
    }
    m_pWorkspace = static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("Workspace"));
    ASSERT_NE(m_pWorkspace, nullptr);
    m_pWorkspace->Init(nullptr, *pParameters);
    if (QMdiArea* pArea = Area())
    {
        pArea->resize(800, 600);
    }
    m_pMainWindow->show();
    m_pProxy = std::make_unique<CWorkspaceProxy>(m_pWorkspace);
    m_pThread->Subscribe(m_pProxy.get());
    Deliver();
}

void CWorkspaceFixture::Post(const char* name, Zarn::CValue* data)
{
    m_pThread->TakeMessage(
        new Zarn::CMessage(m_pIds->GetMessageId(name), data, Zarn::CMessage::priNormal),
        Zarn::CMessage::mmQueued);
}

void CWorkspaceFixture::PostView(const char* name, Zarn::CPluginBase* view)
{
    Post(name, new Zarn::CValuePointer<Zarn::CPluginBase>(view));
}

void CWorkspaceFixture::Deliver()
{
    m_pThread->DeliverUntilIdle();
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    m_pThread->DeliverUntilIdle();
}

CTestView* CWorkspaceFixture::AddView(const std::string& caption, std::optional<bool> showMaximized)
{
    m_lstViews.push_back(std::make_unique<CTestView>(caption));
    CTestView* pView = m_lstViews.back().get();
    pView->m_bShowMaximized = showMaximized;
    PostView("NEW_VIEW", pView);
    Deliver();
    return pView;
}

CTestView* CWorkspaceFixture::AddPlacedView(const std::string& caption, const QRect& geometry)
{
    m_lstViews.push_back(std::make_unique<CTestView>(caption));
    CTestView* pView = m_lstViews.back().get();
    pView->m_bShowMaximized = false;
    pView->Widget()->setGeometry(geometry);
    PostView("NEW_VIEW", pView);
    Deliver();
    return pView;
}

std::vector<SRecord> CWorkspaceFixture::TakeRecords()
{
    const std::vector<SRecord>& all = m_pRecorder->m_lstRecords;
    std::vector<SRecord> lstNew(all.begin() + static_cast<std::ptrdiff_t>(m_nTaken), all.end());
    m_nTaken = all.size();
    return lstNew;
}

QMdiArea* CWorkspaceFixture::Area() const
{
    Zarn::CValueMap setup;
    m_pWorkspace->GetPluginSetup(setup);
    return qobject_cast<QMdiArea*>(
        Zarn::UnwrapPointer<QWidget>(setup.Entry(Zarn::CValue_Key("WidgetPtr"), true)));
}

QMdiSubWindow* CWorkspaceFixture::SubWindowOf(const CTestView* view) const
{
    QWidget* pWidget = view->Widget();
    return pWidget ? qobject_cast<QMdiSubWindow*>(pWidget->parentWidget()) : nullptr;
}

CWorkspacePlugin* CWorkspaceFixture::Workspace() const
{
    return dynamic_cast<CWorkspacePlugin*>(m_pWorkspace);
}

} // namespace WorkspaceTest
