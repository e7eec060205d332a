#include "WorkspaceHarness.h"

#include "views/WorkspacePlugin.h"

#include <Zarn/Exception/Exception.h>
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

void PrintTo(const SRecord& record, std::ostream* stream)
{
    *stream << record.m_strName << " " << record.m_pPointee;
}

void CWorkspaceFixture::SetUp()
{
    m_pRecorder = std::make_unique<DocViewTest::CMessageRecorder>(m_pIds.get());
    m_pThread->Subscribe(m_pRecorder.get());
}

void CWorkspaceFixture::TearDown()
{
    EndPlugin(m_pWorkspace, m_pProxy.get(), false);
    m_lstViews.clear();
    m_pMainWindow.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    m_pThread->Unsubscribe(m_pRecorder.get());
    DocViewTest::CHostFixture::TearDown();
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
    m_pProxy = std::make_unique<DocViewTest::CPluginProxy>(m_pWorkspace, m_pIds.get(), "Workspace");
    m_pThread->Subscribe(m_pProxy.get());
    Deliver();
}

void CWorkspaceFixture::Deliver()
{
    m_pThread->DeliverUntilIdle();
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    m_pThread->DeliverUntilIdle();
}

void CWorkspaceFixture::SendView(const char* name, Zarn::CPluginBase* view)
{
    PostView(name, view);
    Deliver();
}

CTestView* CWorkspaceFixture::AddView(const std::string& caption, std::optional<bool> showMaximized)
{
    auto pView = std::make_unique<CTestView>(caption);
    pView->m_bShowMaximized = showMaximized;
    return AddMadeView(std::move(pView));
}

CTestView* CWorkspaceFixture::AddPlacedView(const std::string& caption, const QRect& geometry)
{
    auto pView = std::make_unique<CTestView>(caption);
    pView->m_bShowMaximized = false;
    pView->Widget()->setGeometry(geometry);
    return AddMadeView(std::move(pView));
}

CTestView* CWorkspaceFixture::AddMadeView(std::unique_ptr<CTestView> view)
{
    m_lstViews.push_back(std::move(view));
    CTestView* pView = m_lstViews.back().get();
    SendView("NEW_VIEW", pView);
    return pView;
}

std::vector<SRecord> CWorkspaceFixture::TakeRecords()
{
    std::vector<SRecord> lstNew;
    for (const DocViewTest::SRecordedMessage& record :
         DocViewTest::TakeSince(m_pRecorder->m_lstRecorded, m_nTaken))
    {
        lstNew.push_back(SRecord{record.m_strName, DocViewTest::ViewPointee(record)});
    }
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
