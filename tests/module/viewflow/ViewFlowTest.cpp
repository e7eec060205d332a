// The view hand-shake end to end: documents go in through the repository, views come out of the
// view factory, and the view stack, the workspace and the navigator follow the repository in one
// window. Every message travels through the real communication thread; user actions are clicks
// and the Qt calls that a click causes.

#include "MessageRecorder.h"
#include "ModuleEntry.h"
#include "TestHost.h"
#include "ValueReading.h"

#include "views/WorkspacePlugin.h"

#include <Zarn/Log/Logger.h>
#include <Zarn/Message/Message.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QApplication>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPointer>
#include <QStackedWidget>
#include <QTest>
#include <QWidget>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace
{

const char* const kMakerName = "FlowViewMaker";
// The workspace is configured to take a second widget of each view, so that the stack and the
// workspace can host the same view side by side.
const char* const kWorkspaceWidgetPath = "WorkspaceWidgetPtr";

// What happened, in order ("broadcast INVALID_VIEW beta view", "destroyed beta view").
struct SFlowJournal
{
    std::vector<std::string> m_lstEvents;
    // Called at the start of a view's destructor, with the view's caption and its stack page.
    std::function<void(const std::string&, QWidget*)> m_fnViewDying;
    int m_nViewsMade = 0;
    int m_nViewsDestroyed = 0;

    int IndexOf(const std::string& event) const
    {
        const auto it = std::find(m_lstEvents.begin(), m_lstEvents.end(), event);
        return it == m_lstEvents.end() ? -1 : static_cast<int>(it - m_lstEvents.begin());
    }
    int Count(const std::string& event) const
    {
        return static_cast<int>(std::count(m_lstEvents.begin(), m_lstEvents.end(), event));
    }
};

// A view of another module: one widget for the stack ("WidgetPtr") and one for the workspace;
// it owns both and destroys those that Qt has not destroyed yet.
class CFlowView : public Zarn::CPluginBase
{
public:
    CFlowView(std::string caption, QWidget* parent, SFlowJournal* journal)
        : m_strCaption(std::move(caption)), m_pJournal(journal)
    {
        m_pStackPage = new QLabel(QString::fromStdString(m_strCaption), parent);
        m_pStackPage->setObjectName(QString::fromStdString(m_strCaption + " page"));
        m_pWindowWidget = new QLabel(QString::fromStdString(m_strCaption), parent);
        m_pWindowWidget->setObjectName(QString::fromStdString(m_strCaption + " window"));
        ++m_pJournal->m_nViewsMade;
    }

    ~CFlowView() override
    {
        if (m_pJournal->m_fnViewDying)
        {
            m_pJournal->m_fnViewDying(m_strCaption, m_pStackPage.data());
        }
        m_pJournal->m_lstEvents.push_back("destroyed " + m_strCaption);
        ++m_pJournal->m_nViewsDestroyed;
        delete m_pStackPage.data();
        delete m_pWindowWidget.data();
    }

    void GetPluginSetup(Zarn::CValueMap& setup) override
    {
        setup.SetEntry(Zarn::CValue_Key("WidgetPtr"),
                       new Zarn::CValuePointer<QWidget>(m_pStackPage.data()));
        setup.SetEntry(Zarn::CValue_Key(kWorkspaceWidgetPath),
                       new Zarn::CValuePointer<QWidget>(m_pWindowWidget.data()));
        setup.SetEntry(Zarn::CValue_Key("PluginType"), new Zarn::CValueString("FlowView"));
        setup.SetEntry(Zarn::CValue_Key("PluginSubType"), new Zarn::CValueString("Plain"));
    }

    void DeleteData() override { m_pJournal->m_lstEvents.push_back("DeleteData " + m_strCaption); }

    void Run(Zarn::CValueMap& data) override
    {
        data.SetEntry(Zarn::CValue_Key("caption"), new Zarn::CValueString(m_strCaption.c_str()));
        data.SetEntry(Zarn::CValue_Key("description"), new Zarn::CValueString("flow test view"));
        data.SetEntry(Zarn::CValue_Key("document"),
                      new Zarn::CValuePointer<Zarn::CValueMap>(m_pDocument));
        data.SetEntry(Zarn::CValue_Key("PluginType"), new Zarn::CValueString("FlowView"));
        data.SetEntry(Zarn::CValue_Key("PluginSubType"), new Zarn::CValueString("Plain"));
    }

    void UpdateParameters(const Zarn::CValueMap& message) override
    {
        const Zarn::CValue* pDoc = message.Entry(Zarn::CValue_Key("document"), false);
        if (pDoc != nullptr)
        {
            m_pDocument = const_cast<Zarn::CValueMap*>(Zarn::UnwrapPointer<Zarn::CValueMap>(pDoc));
        }
    }

    QWidget* StackPage() const { return m_pStackPage.data(); }
    QWidget* WindowWidget() const { return m_pWindowWidget.data(); }
    const std::string& Caption() const { return m_strCaption; }

private:
    std::string m_strCaption;
    SFlowJournal* m_pJournal;
    Zarn::CValueMap* m_pDocument = nullptr;
    QPointer<QWidget> m_pStackPage;
    QPointer<QWidget> m_pWindowWidget;
};

// A view factory of another module: accepts every document with a label and makes a CFlowView
// captioned "<label> view" whose widgets start under the "parent" it was given in Init.
class CFlowViewMaker : public Zarn::CPluginBase
{
public:
    CFlowViewMaker(SFlowJournal* journal, std::vector<CFlowView*>* made)
        : m_pJournal(journal), m_pMade(made)
    {
    }

    using Zarn::CPluginBase::Init;
    void Init(void* /*context*/, const Zarn::CValueMap& parameters) override
    {
        const Zarn::CValue* pParent = parameters.Entry(Zarn::CValue_Key("parent"), false);
        m_pParent = pParent != nullptr ? const_cast<QWidget*>(Zarn::UnwrapPointer<QWidget>(pParent))
                                       : nullptr;
    }

    bool TestParameters(const Zarn::CValueMap& parameters) override
    {
        const Zarn::CValueMap* pDoc = Zarn::UnwrapPointer<Zarn::CValueMap>(
            parameters.Entry(Zarn::CValue_Key("document"), true));
        return pDoc != nullptr && pDoc->Entry(Zarn::CValue_Key("label"), false) != nullptr;
    }

    void UpdateParameters(const Zarn::CValueMap& parameters) override
    {
        m_pDocument = const_cast<Zarn::CValueMap*>(Zarn::UnwrapPointer<Zarn::CValueMap>(
            parameters.Entry(Zarn::CValue_Key("document"), true)));
    }

    void Run(Zarn::CValueMap& data) override
    {
        const std::string strLabel =
            m_pDocument->EntryString(Zarn::CValue_Key("label")).StdString();
        auto* pView = new CFlowView(strLabel + " view", m_pParent, m_pJournal);
        m_pMade->push_back(pView);
        data.SetEntry(Zarn::CValue_Key("view plugin"),
                      new Zarn::CValuePointer<Zarn::CPluginBase>(pView));
    }

private:
    SFlowJournal* m_pJournal;
    std::vector<CFlowView*>* m_pMade;
    QWidget* m_pParent = nullptr;
    Zarn::CValueMap* m_pDocument = nullptr;
};

// Subscribed first: sees every message before any plug-in does. Records "NAME caption" for view
// messages (the caption read at delivery, so the view must be alive), "NAME label" for document
// pointers, the bare name otherwise.
class CFlowRecorder : public DocViewTest::CMessageRecorder
{
public:
    CFlowRecorder(Zarn::CMessageIdFactory* ids, SFlowJournal* journal)
        : DocViewTest::CMessageRecorder(ids), m_pJournal(journal)
    {
        SetInstance("FlowRecorder");
    }

    std::vector<std::string> m_lstMessages;

protected:
    void OnMessage(const DocViewTest::SRecordedMessage& record,
                   const Zarn::CValue* /*data*/) override
    {
        std::string strText = record.m_strName;
        void* pPointee = const_cast<void*>(record.m_pPointee);
        if (record.m_pElementType != nullptr && pPointee == nullptr)
        {
            strText += " null";
        }
        else if (record.m_pElementType != nullptr &&
                 Zarn::AreTypesEqual(*record.m_pElementType, typeid(Zarn::CPluginBase)))
        {
            Zarn::CValueMap description;
            static_cast<Zarn::CPluginBase*>(pPointee)->Run(description);
            strText += " " + description.EntryString(Zarn::CValue_Key("caption")).StdString();
        }
        else if (record.m_pElementType != nullptr &&
                 Zarn::AreTypesEqual(*record.m_pElementType, typeid(Zarn::CValueMap)))
        {
            strText += " " + static_cast<Zarn::CValueMap*>(pPointee)
                                 ->EntryString(Zarn::CValue_Key("label"))
                                 .StdString();
        }
        m_lstMessages.push_back(strText);
        m_pJournal->m_lstEvents.push_back("broadcast " + strText);
    }

private:
    SFlowJournal* m_pJournal;
};

using DocViewTest::MapOf;

class ViewFlow : public DocViewTest::CHostFixture
{
protected:
    void SetUp() override
    {
        SFlowJournal* pJournal = &m_journal;
        std::vector<CFlowView*>* pMade = &m_lstMade;
        Zarn::CPluginLoader::Obj().RegisterPlugin(kMakerName,
                                                  [pJournal, pMade]() -> Zarn::CPluginBase*
                                                  { return new CFlowViewMaker(pJournal, pMade); });

        m_pRecorder = std::make_unique<CFlowRecorder>(m_pIds.get(), &m_journal);

        m_pWindow = new QWidget;
        m_pWindow->setObjectName("FlowWindow");

        m_pViewFactory = Create("ViewFactory");
        m_pViewStack = Create("ViewStack");
        m_pWorkspace = Create("Workspace");
        m_pNavigator = Create("Navigator");
        m_pRepository = Create("Repository");
        ASSERT_TRUE(m_pViewFactory && m_pViewStack && m_pWorkspace && m_pNavigator &&
                    m_pRepository);
        InitPlugins();

        // The recorder first; the repository last, so that every other plug-in has dropped a
        // view or document before the repository's own broadcast comes back and deletes it.
        for (Zarn::CPluginBase* pReceiver :
             {static_cast<Zarn::CPluginBase*>(m_pRecorder.get()), m_pViewFactory, m_pViewStack,
              m_pWorkspace, m_pNavigator, m_pRepository})
        {
            m_pThread->Subscribe(pReceiver);
        }
        PlaceWidgets();
        if (HasFatalFailure())
        {
            return;
        }
        m_journal.m_fnViewDying = [this](const std::string& caption, QWidget* page)
        {
            m_journal.m_lstEvents.push_back(
                "dying " + caption + ": stack page " +
                (page != nullptr && m_pStack != nullptr && m_pStack->indexOf(page) >= 0 ? "present"
                                                                                        : "gone") +
                ", navigator rows " + std::to_string(m_pList != nullptr ? m_pList->count() : -1));
        };
        Deliver();
        TakeMessages();
    }

    // Each plug-in's Init: the factory and the containers under the window, the repository with
    // the same factory for its own views.
    void InitPlugins()
    {
        auto* pFactoryViews = new Zarn::CValueVector;
        pFactoryViews->PushBack(MapOf({{"factory", new Zarn::CValueString(kMakerName)}}));
        std::unique_ptr<Zarn::CValueMap> pFactoryParameters(MapOf(
            {{"views", pFactoryViews}, {"parent", new Zarn::CValuePointer<QWidget>(m_pWindow)}}));
        m_pViewFactory->Init(nullptr, *pFactoryParameters);

        std::unique_ptr<Zarn::CValueMap> pStackParameters(
            MapOf({{"parent", new Zarn::CValuePointer<QWidget>(m_pWindow)},
                   {"name", new Zarn::CValueString("FlowStack")}}));
        m_pViewStack->Init(nullptr, *pStackParameters);

        std::unique_ptr<Zarn::CValueMap> pWorkspaceParameters(
            MapOf({{"parent", new Zarn::CValuePointer<QWidget>(m_pWindow)},
                   {"name", new Zarn::CValueString("FlowWorkspace")},
                   {"widgetpath", new Zarn::CValueString(kWorkspaceWidgetPath)}}));
        m_pWorkspace->Init(nullptr, *pWorkspaceParameters);

        std::unique_ptr<Zarn::CValueMap> pNavigatorParameters(
            MapOf({{"parent", new Zarn::CValuePointer<QWidget>(m_pWindow)},
                   {"name", new Zarn::CValueString("FlowNavigator")}}));
        m_pNavigator->Init(nullptr, *pNavigatorParameters);

        // The repository loads the same factory, but not for standard views: the view factory
        // plug-in answers NEW_DOCUMENT, so a document must still get exactly one view.
        auto* pRepositoryViews = new Zarn::CValueVector;
        pRepositoryViews->PushBack(MapOf({{"factory", new Zarn::CValueString(kMakerName)},
                                          {"autocreate", new Zarn::CValueBool(false)}}));
        std::unique_ptr<Zarn::CValueMap> pRepositoryParameters(MapOf(
            {{"name", new Zarn::CValueString("FlowRepository")}, {"views", pRepositoryViews}}));
        m_pRepository->Init(nullptr, *pRepositoryParameters);
    }

    // The navigator's list, the stack and the workspace's area side by side in the shown window.
    void PlaceWidgets()
    {
        auto* pLayout = new QHBoxLayout(m_pWindow);
        m_pStack = qobject_cast<QStackedWidget*>(WidgetOf(m_pViewStack));
        m_pMdiArea = qobject_cast<QMdiArea*>(WidgetOf(m_pWorkspace));
        m_pList = qobject_cast<QListWidget*>(WidgetOf(m_pNavigator));
        ASSERT_NE(m_pStack, nullptr) << "the view stack's WidgetPtr is no QStackedWidget";
        ASSERT_NE(m_pMdiArea, nullptr) << "the workspace's WidgetPtr is no QMdiArea";
        ASSERT_NE(m_pList, nullptr) << "the navigator's WidgetPtr is no QListWidget";
        pLayout->addWidget(m_pList, 1);
        pLayout->addWidget(m_pStack, 2);
        pLayout->addWidget(m_pMdiArea, 3);
        m_pWindow->resize(1000, 600);
        m_pWindow->show();
        QApplication::setActiveWindow(m_pWindow);
        ASSERT_TRUE(QTest::qWaitForWindowExposed(m_pWindow));
    }

    void TearDown() override
    {
        EXPECT_EQ(m_threadLogText.str(), "") << "a plug-in threw while a message was delivered";
        m_journal.m_fnViewDying = nullptr;
        for (Zarn::CPluginBase* pReceiver :
             {static_cast<Zarn::CPluginBase*>(m_pRecorder.get()), m_pViewFactory, m_pViewStack,
              m_pWorkspace, m_pNavigator, m_pRepository})
        {
            if (pReceiver != nullptr)
            {
                m_pThread->Unsubscribe(pReceiver);
            }
        }
        // The owner of the views first, then the factory that lent the views' first parent, then
        // the containers; the window last.
        for (Zarn::CPluginBase* pPlugin :
             {m_pRepository, m_pViewFactory, m_pNavigator, m_pWorkspace, m_pViewStack})
        {
            if (pPlugin != nullptr)
            {
                pPlugin->DeleteData();
                delete pPlugin;
            }
        }
        delete m_pWindow.data();
        QCoreApplication::processEvents();
        Zarn::CPluginLoader::Obj().UnregisterPlugin(kMakerName);
        DocViewTest::CHostFixture::TearDown();
    }

    static Zarn::CPluginBase* Create(const char* name)
    {
        return static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx(name));
    }

    static QWidget* WidgetOf(Zarn::CPluginBase* plugin)
    {
        Zarn::CValueMap setup;
        plugin->GetPluginSetup(setup);
        const Zarn::CValue* pWidget = setup.Entry(Zarn::CValue_Key("WidgetPtr"), false);
        return pWidget != nullptr ? const_cast<QWidget*>(Zarn::UnwrapPointer<QWidget>(pWidget))
                                  : nullptr;
    }

    // Delivers until neither the thread nor Qt has anything left to do.
    void Deliver()
    {
        for (int nRound = 0; nRound < 20; ++nRound)
        {
            QCoreApplication::processEvents();
            const size_t nDelivered = m_pThread->DeliverUntilIdle();
            QCoreApplication::processEvents();
            // Outside a running event loop, deleteLater waits for this.
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            if (nDelivered == 0 && m_pThread->PendingCount() == 0)
            {
                return;
            }
        }
        FAIL() << "messages kept coming after 20 rounds: an echo loop";
    }

    // Adds a labelled document as a tool would and lets everything that follows happen.
    Zarn::CValueMap* AddDocument(const std::string& label)
    {
        auto* pDoc = MapOf({{"label", new Zarn::CValueString(label.c_str())}});
        Post("ADD_DOCUMENT", new Zarn::CValuePointer<Zarn::CValueMap>(pDoc));
        Deliver();
        return pDoc;
    }

    std::vector<std::string> TakeMessages()
    {
        return DocViewTest::TakeSince(m_pRecorder->m_lstMessages, m_nTaken);
    }

    static int CountPrefix(const std::vector<std::string>& messages, const std::string& prefix)
    {
        return static_cast<int>(std::count_if(messages.begin(), messages.end(),
                                              [&prefix](const std::string& message)
                                              { return message.rfind(prefix, 0) == 0; }));
    }

    // The workspace's window for `widget`, as the plug-in knows it: one of the area's windows.
    QMdiSubWindow* WorkspaceWindowOf(QWidget* widget) const
    {
        auto* pSub = widget ? qobject_cast<QMdiSubWindow*>(widget->parentWidget()) : nullptr;
        const auto* pWorkspace = dynamic_cast<CWorkspacePlugin*>(m_pWorkspace);
        if (pSub == nullptr || pWorkspace == nullptr)
        {
            return nullptr;
        }
        return pSub->mdiArea() == m_pMdiArea ? pSub : nullptr;
    }

    // The sub-window of the area whose inner widget is `widget`; null when there is none.
    QMdiSubWindow* SubWindowOf(QWidget* widget) const
    {
        for (QMdiSubWindow* pSub : m_pMdiArea->subWindowList())
        {
            if (widget != nullptr && pSub->widget() == widget)
            {
                return pSub;
            }
        }
        return nullptr;
    }

    // The messages that adding the document `label` caused: the hand-shake in order, one view,
    // one activation. The workspace may report the activation of the new view's window as a
    // FOCUS_VIEW of that same view, which the repository leaves unanswered (the view is already
    // active); a focus request for any other view would pull the focus away from the new one.
    // When another view was active, the repository focuses the new document before its view
    // exists, so the active view is cleared ("ACTIVE_VIEW null") until the view arrives.
    static void ExpectHandShake(const std::vector<std::string>& messages, const std::string& label,
                                bool otherViewWasActive)
    {
        const std::string strView = label + " view";
        std::vector<std::string> lstWithoutEcho;
        for (const std::string& strMessage : messages)
        {
            if (strMessage == "FOCUS_VIEW " + strView)
            {
                continue;
            }
            lstWithoutEcho.push_back(strMessage);
        }
        std::vector<std::string> lstExpected = {"ADD_DOCUMENT " + label, "NEW_DOCUMENT " + label};
        if (otherViewWasActive)
        {
            lstExpected.push_back("ACTIVE_VIEW null");
        }
        lstExpected.insert(lstExpected.end(),
                           {"ADD_VIEW", "NEW_VIEW " + strView, "ACTIVE_VIEW " + strView});
        EXPECT_EQ(lstWithoutEcho, lstExpected);
        EXPECT_LE(CountPrefix(messages, "FOCUS_VIEW"), 1);
        const auto itActive = std::find(messages.begin(), messages.end(), "ACTIVE_VIEW " + strView);
        const auto itFocus = std::find(messages.begin(), messages.end(), "FOCUS_VIEW " + strView);
        EXPECT_TRUE(itFocus == messages.end() || itFocus > itActive)
            << "a focus request before the repository made the view active";
    }

    // Delivers once, checks `expected` arrived and `view` is active everywhere, then checks that
    // no further delivery brings an echo of the change.
    void ExpectActivatedWithoutEcho(const std::vector<std::string>& expected, CFlowView* view,
                                    int navigatorRow)
    {
        Deliver();
        EXPECT_EQ(TakeMessages(), expected);
        ExpectActiveEverywhere(view, navigatorRow);
        Deliver();
        EXPECT_TRUE(TakeMessages().empty());
    }

    // The three containers show `view` as the active one; navigator rows follow NEW_VIEW order.
    void ExpectActiveEverywhere(CFlowView* view, int navigatorRow)
    {
        EXPECT_EQ(m_pStack->currentWidget(), view->StackPage())
            << "the stack does not show " << view->Caption();
        QMdiSubWindow* pSub = SubWindowOf(view->WindowWidget());
        ASSERT_NE(pSub, nullptr) << "no workspace window holds " << view->Caption();
        EXPECT_EQ(m_pMdiArea->activeSubWindow(), pSub)
            << "the workspace window of " << view->Caption() << " is not active";
        EXPECT_EQ(m_pList->currentRow(), navigatorRow);
        ASSERT_NE(m_pList->item(navigatorRow), nullptr);
        EXPECT_EQ(m_pList->item(navigatorRow)->text().toStdString(), view->Caption());
        EXPECT_TRUE(m_pList->item(navigatorRow)->isSelected());
        for (int nRow = 0; nRow < m_pList->count(); ++nRow)
        {
            if (nRow != navigatorRow)
            {
                EXPECT_FALSE(m_pList->item(nRow)->isSelected()) << "row " << nRow;
            }
        }
    }

    // Two documents with a view each, beta's active; fills m_pAlpha, m_pBeta and their views.
    void AddTwoDocuments()
    {
        m_pAlpha = AddDocument("alpha");
        ExpectHandShake(TakeMessages(), "alpha", false);
        m_pBeta = AddDocument("beta");
        ExpectHandShake(TakeMessages(), "beta", true);
        ASSERT_EQ(m_lstMade.size(), 2u);
        m_pAlphaView = m_lstMade[0];
        m_pBetaView = m_lstMade[1];
        TakeMessages();
    }

    SFlowJournal m_journal;
    std::vector<CFlowView*> m_lstMade; // every view made; compare only, some are deleted
    std::unique_ptr<CFlowRecorder> m_pRecorder;
    size_t m_nTaken = 0;

    QPointer<QWidget> m_pWindow;
    Zarn::CPluginBase* m_pViewFactory = nullptr;
    Zarn::CPluginBase* m_pViewStack = nullptr;
    Zarn::CPluginBase* m_pWorkspace = nullptr;
    Zarn::CPluginBase* m_pNavigator = nullptr;
    Zarn::CPluginBase* m_pRepository = nullptr;
    QStackedWidget* m_pStack = nullptr;
    QMdiArea* m_pMdiArea = nullptr;
    QListWidget* m_pList = nullptr;

    Zarn::CValueMap* m_pAlpha = nullptr;
    Zarn::CValueMap* m_pBeta = nullptr;
    CFlowView* m_pAlphaView = nullptr;
    CFlowView* m_pBetaView = nullptr;
};

TEST_F(ViewFlow, ANewDocumentsViewReachesTheStackTheWorkspaceAndTheNavigator)
{
    AddDocument("alpha");

    ASSERT_EQ(m_lstMade.size(), 1u) << "one document, one view";
    CFlowView* pView = m_lstMade[0];
    ExpectHandShake(TakeMessages(), "alpha", false);

    // The stack holds the empty page and the view's page and shows the view's.
    EXPECT_EQ(m_pStack->count(), 2);
    EXPECT_GE(m_pStack->indexOf(pView->StackPage()), 0);
    EXPECT_EQ(m_pMdiArea->subWindowList().size(), 1);
    EXPECT_TRUE(pView->WindowWidget()->isVisible());
    EXPECT_EQ(m_pList->count(), 1);
    ExpectActiveEverywhere(pView, 0);
}

TEST_F(ViewFlow, TheSecondDocumentsViewBecomesActiveEverywhere)
{
    AddTwoDocuments();

    EXPECT_EQ(m_pStack->count(), 3);
    EXPECT_GE(m_pStack->indexOf(m_pAlphaView->StackPage()), 0);
    // Beta's maximised window covers alpha's; both are windows of the area.
    EXPECT_EQ(m_pMdiArea->subWindowList().size(), 2);
    EXPECT_NE(SubWindowOf(m_pAlphaView->WindowWidget()), nullptr);
    EXPECT_NE(WorkspaceWindowOf(m_pAlphaView->WindowWidget()), nullptr);
    EXPECT_EQ(m_pMdiArea->subWindowList(QMdiArea::StackingOrder).back(),
              SubWindowOf(m_pBetaView->WindowWidget()));
    EXPECT_EQ(m_pList->count(), 2);
    ExpectActiveEverywhere(m_pBetaView, 1);
}

TEST_F(ViewFlow, PickingAViewInTheNavigatorFocusesItEverywhereWithoutEcho)
{
    AddTwoDocuments();
    QListWidgetItem* pAlphaItem = m_pList->item(0);
    ASSERT_NE(pAlphaItem, nullptr);
    const QRect rect = m_pList->visualItemRect(pAlphaItem);
    ASSERT_TRUE(rect.isValid()) << "the navigator's first entry has no area to click";

    QTest::mouseClick(m_pList->viewport(), Qt::LeftButton, Qt::NoModifier, rect.center());
    // The click only asks; nothing has moved yet.
    EXPECT_EQ(m_pStack->currentWidget(), m_pBetaView->StackPage());
    EXPECT_EQ(m_pThread->PendingCount(), 1u);

    // Nothing more comes after the change, however often Qt and the thread get a turn.
    ExpectActivatedWithoutEcho({"FOCUS_VIEW alpha view", "ACTIVE_VIEW alpha view"}, m_pAlphaView,
                               0);
}

TEST_F(ViewFlow, ActivatingAWorkspaceWindowFocusesItsViewEverywhereWithoutEcho)
{
    AddTwoDocuments();
    m_pWindow->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(m_pWindow.data()));
    QWidget* pBetaWidget = m_pBetaView->WindowWidget();
    ASSERT_NE(SubWindowOf(pBetaWidget), nullptr);
    ASSERT_NE(SubWindowOf(m_pAlphaView->WindowWidget()), nullptr);
    Deliver();
    TakeMessages();

    // Ctrl+Tab: the window active before comes up.
    QTest::keyPress(pBetaWidget, Qt::Key_Control, Qt::ControlModifier);
    QTest::keyClick(pBetaWidget, Qt::Key_Tab, Qt::ControlModifier);
    QTest::keyRelease(pBetaWidget, Qt::Key_Control, Qt::NoModifier);

    ExpectActivatedWithoutEcho({"FOCUS_VIEW alpha view", "ACTIVE_VIEW alpha view"}, m_pAlphaView,
                               0);
}

TEST_F(ViewFlow, ClosingAWorkspaceWindowRemovesTheViewEverywhereAndDeletesItLast)
{
    AddTwoDocuments();
    QPointer<QMdiSubWindow> pBetaWindow = SubWindowOf(m_pBetaView->WindowWidget());
    ASSERT_FALSE(pBetaWindow.isNull());

    // The user closes the window: it stays open and only asks the repository.
    pBetaWindow->close();
    QCoreApplication::processEvents();
    ASSERT_FALSE(pBetaWindow.isNull()) << "the window closed without asking the repository";
    EXPECT_TRUE(pBetaWindow->isVisible());
    EXPECT_EQ(m_journal.m_nViewsDestroyed, 0);

    // The repository takes the request and announces the view's end; the view still lives.
    m_pThread->DeliverPending();
    std::vector<std::string> lstMessages = TakeMessages();
    EXPECT_EQ(lstMessages, (std::vector<std::string>{"REMOVE_VIEW beta view"}));
    EXPECT_EQ(m_journal.m_nViewsDestroyed, 0);
    EXPECT_GE(m_pStack->indexOf(m_pBetaView->StackPage()), 0);
    EXPECT_EQ(m_pList->count(), 2);
    EXPECT_EQ(SubWindowOf(m_pBetaView->WindowWidget()), pBetaWindow.data());

    Deliver();
    lstMessages = TakeMessages();
    // The last view of beta goes with its document; the focus falls back on alpha's view.
    EXPECT_EQ(lstMessages,
              (std::vector<std::string>{"ACTIVE_VIEW alpha view", "INVALID_VIEW beta view",
                                        "INVALID_DOCUMENT beta"}));
    EXPECT_EQ(CountPrefix(lstMessages, "FOCUS_VIEW"), 0);
    EXPECT_EQ(CountPrefix(lstMessages, "REMOVE_VIEW"), 0);

    // Deleted once, after every container had dropped it.
    EXPECT_EQ(m_journal.m_nViewsDestroyed, 1);
    EXPECT_EQ(m_journal.Count("DeleteData beta view"), 1);
    const int nInvalid = m_journal.IndexOf("broadcast INVALID_VIEW beta view");
    const int nDying = m_journal.IndexOf("dying beta view: stack page gone, navigator rows 1");
    const int nDestroyed = m_journal.IndexOf("destroyed beta view");
    ASSERT_GE(nInvalid, 0);
    EXPECT_GT(nDying, nInvalid) << "the stack or the navigator still held the view at its death";
    EXPECT_GT(nDestroyed, nInvalid);

    EXPECT_EQ(m_pStack->count(), 2);
    EXPECT_EQ(m_pList->count(), 1);
    EXPECT_TRUE(pBetaWindow.isNull() || !m_pMdiArea->subWindowList().contains(pBetaWindow.data()))
        << "the closed view's window is still in the workspace";
    EXPECT_EQ(m_pMdiArea->subWindowList().size(), 1);
    ExpectActiveEverywhere(m_pAlphaView, 0);
}

TEST_F(ViewFlow, RemovingADocumentRemovesAllItsViewsEverywhere)
{
    AddTwoDocuments();
    // A second view of alpha, handed over as a tool would.
    auto* pSecond = new CFlowView("alpha second view", nullptr, &m_journal);
    Post("ADD_VIEW", MapOf({{"document", new Zarn::CValuePointer<Zarn::CValueMap>(m_pAlpha)},
                            {"view", new Zarn::CValuePointer<Zarn::CPluginBase>(pSecond)}}));
    Deliver();
    TakeMessages();
    EXPECT_EQ(m_pStack->count(), 4);
    EXPECT_EQ(m_pMdiArea->subWindowList().size(), 3);
    EXPECT_NE(WorkspaceWindowOf(m_pAlphaView->WindowWidget()), nullptr);
    EXPECT_NE(WorkspaceWindowOf(m_pBetaView->WindowWidget()), nullptr);
    EXPECT_EQ(m_pList->count(), 3);
    ExpectActiveEverywhere(pSecond, 2);

    Post("REMOVE_DOCUMENT", new Zarn::CValuePointer<Zarn::CValueMap>(m_pAlpha));
    Deliver();

    const std::vector<std::string> lstMessages = TakeMessages();
    EXPECT_EQ(lstMessages,
              (std::vector<std::string>{"REMOVE_DOCUMENT alpha", "ACTIVE_VIEW beta view",
                                        "INVALID_VIEW alpha view", "INVALID_VIEW alpha second view",
                                        "INVALID_DOCUMENT alpha"}));
    EXPECT_EQ(CountPrefix(lstMessages, "FOCUS_VIEW"), 0);
    EXPECT_EQ(m_journal.m_nViewsDestroyed, 2);
    // Each view dies when its own INVALID_VIEW reaches the repository, after every container has
    // dropped it; alpha's first view goes while the second still has its entry.
    const std::vector<std::pair<std::string, int>> lstDeaths = {{"alpha view", 2},
                                                                {"alpha second view", 1}};
    for (const auto& [strCaption, nRowsLeft] : lstDeaths)
    {
        const int nInvalid = m_journal.IndexOf("broadcast INVALID_VIEW " + strCaption);
        ASSERT_GE(nInvalid, 0) << strCaption;
        EXPECT_GT(m_journal.IndexOf("dying " + strCaption + ": stack page gone, navigator rows " +
                                    std::to_string(nRowsLeft)),
                  nInvalid)
            << strCaption;
        EXPECT_GT(m_journal.IndexOf("destroyed " + strCaption), nInvalid) << strCaption;
    }
    EXPECT_EQ(m_pStack->count(), 2);
    EXPECT_EQ(m_pMdiArea->subWindowList().size(), 1);
    EXPECT_EQ(m_pList->count(), 1);
    ExpectActiveEverywhere(m_pBetaView, 0);
}

} // namespace
