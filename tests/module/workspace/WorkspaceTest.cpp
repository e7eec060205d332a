#include "HostException.h"
#include "WorkspaceHarness.h"

#include "views/WorkspacePlugin.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QAction>
#include <QCoreApplication>
#include <QEvent>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QPointer>
#include <QTest>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>

namespace
{

using WorkspaceTest::CTestView;
using WorkspaceTest::SRecord;

class CWorkspacePluginTest : public WorkspaceTest::CWorkspaceFixture
{
protected:
    // A new workspace whose Init is given `parent` (taken) as its parent must throw the host
    // exception with these texts.
    static void ExpectInitThrows(Zarn::CValue* parent, const char* function, const char* what)
    {
        Zarn::CPluginBase* pPlugin =
            static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("Workspace"));
        ASSERT_NE(pPlugin, nullptr);
        Zarn::CValueMap parameters;
        parameters.SetEntry(Zarn::CValue_Key("parent"), parent);
        DocViewTest::ExpectHostException([&] { pPlugin->Init(nullptr, parameters); },
                                         {function, what, {}});
        delete pPlugin;
    }

    // Starts the workspace with a maximised view for each caption, added in that order.
    template <size_t N> std::array<CTestView*, N> StartWithViews(const char* const (&captions)[N])
    {
        StartWorkspace();
        std::array<CTestView*, N> views{};
        for (size_t i = 0; i < N; ++i)
        {
            views[i] = AddView(captions[i]);
        }
        return views;
    }

    // Two windows side by side, not maximised, the second active in the active top-level
    // window.
    void StartSideBySide(std::array<CTestView*, 2>& views)
    {
        StartWorkspace();
        views[0] = AddPlacedView("first", QRect(10, 10, 200, 150));
        views[1] = AddPlacedView("second", QRect(300, 250, 200, 150));
        SendView("ACTIVE_VIEW", views[1]);
        m_pMainWindow->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(m_pMainWindow.get()));
    }

    // Deletes the plug-in as the host does at the end, the views still alive.
    void DeleteWorkspace()
    {
        m_pThread->Unsubscribe(m_pProxy.get());
        delete m_pWorkspace;
        m_pWorkspace = nullptr;
    }

    static void ExpectWidgetsParent(std::initializer_list<CTestView*> views, QWidget* parent)
    {
        for (CTestView* pView : views)
        {
            ASSERT_NE(pView->Widget(), nullptr);
            EXPECT_EQ(pView->Widget()->parentWidget(), parent);
        }
    }
};

// A value whose every type test throws, so that unwrapping it runs into `TThrown`.
template <class TThrown> class CThrowingValue : public Zarn::CValue
{
public:
    explicit CThrowingValue(TThrown thrown) : m_thrown(thrown) {}
    CValue* Clone(EnTfOwnership) const override { return new CThrowingValue(m_thrown); }
    CValue& Copy(const CValue&, EnTfOwnership, bool) override { return *this; }
    CValue& Move(CValue&) override { return *this; }
    bool Equal(const CValue& other) const override { return &other == this; }
    bool EqualData(const CValue& other) const override { return &other == this; }
    EnValType GenericType() const override { throw m_thrown; }

private:
    TThrown m_thrown;
};

bool StartsWith(const std::string& strText, const std::string& strPrefix)
{
    return strText.compare(0, strPrefix.size(), strPrefix) == 0;
}

// The user's click on the title bar of a window, as the window system delivers it to the
// top-level window.
void ClickTitleBar(QWidget* topLevel, QMdiSubWindow* window)
{
    const QPoint pos = window->mapTo(topLevel, QPoint(window->width() / 2, 8));
    QTest::mouseClick(topLevel->windowHandle(), Qt::LeftButton, Qt::NoModifier, pos);
}

} // namespace

TEST_F(CWorkspacePluginTest, NewViewGetsOneWindowShownMaximisedByDefault)
{
    StartWorkspace();
    CTestView* pView = AddView("first");

    ASSERT_EQ(Area()->subWindowList().size(), 1);
    QMdiSubWindow* pSubWindow = SubWindowOf(pView);
    ASSERT_NE(pSubWindow, nullptr);
    EXPECT_EQ(pSubWindow, Area()->subWindowList().front());
    EXPECT_EQ(pSubWindow->widget(), pView->Widget());
    EXPECT_TRUE(pSubWindow->isVisible());
    EXPECT_TRUE(pSubWindow->isMaximized());
    EXPECT_TRUE(pView->Widget()->isVisible());
}

TEST_F(CWorkspacePluginTest, ShowMaximizedTrueShowsTheWindowMaximised)
{
    StartWorkspace();
    CTestView* pView = AddView("first", true);
    ASSERT_NE(SubWindowOf(pView), nullptr);
    EXPECT_TRUE(SubWindowOf(pView)->isMaximized());
}

TEST_F(CWorkspacePluginTest, ShowMaximizedFalseKeepsTheViewsOwnSizeAndPosition)
{
    StartWorkspace();
    CTestView* pView = AddPlacedView("small", QRect(30, 40, 200, 100));

    QMdiSubWindow* pSubWindow = SubWindowOf(pView);
    ASSERT_NE(pSubWindow, nullptr);
    EXPECT_FALSE(pSubWindow->isMaximized());
    EXPECT_TRUE(pSubWindow->isVisible());
    EXPECT_EQ(pSubWindow->pos(), QPoint(30, 40));
    EXPECT_EQ(pView->Widget()->size(), QSize(200, 100));
}

TEST_F(CWorkspacePluginTest, NewViewWithoutWidgetEntryLeavesTheWorkspaceUnchanged)
{
    StartWorkspace();
    CTestView* pKept = AddView("kept");
    TakeRecords();
    QMdiSubWindow* pActive = Area()->activeSubWindow();

    m_lstViews.push_back(std::make_unique<CTestView>("no widget"));
    CTestView* pView = m_lstViews.back().get();
    pView->m_strWidgetPath.clear();
    SendView("NEW_VIEW", pView);

    EXPECT_EQ(Area()->subWindowList().size(), 1);
    EXPECT_EQ(Area()->activeSubWindow(), pActive);
    EXPECT_EQ(pView->Widget()->parentWidget(), nullptr);
    EXPECT_NE(SubWindowOf(pKept), nullptr);
    EXPECT_EQ(TakeRecords(), (std::vector<SRecord>{{"NEW_VIEW", pView}}));

    // Neither a close of its widget nor ACTIVE_VIEW for it is the workspace's business.
    pView->Widget()->close();
    SendView("ACTIVE_VIEW", pView);
    EXPECT_EQ(TakeRecords(), (std::vector<SRecord>{{"ACTIVE_VIEW", pView}}));
    EXPECT_EQ(Area()->activeSubWindow(), pActive);
}

TEST_F(CWorkspacePluginTest, WidgetPathParameterNamesWhereTheViewKeepsItsWidget)
{
    auto* pParameters = new Zarn::CValueMap;
    pParameters->SetEntry(Zarn::CValue_Key("widgetpath"), new Zarn::CValueString("gui/main"));
    StartWorkspace(pParameters);

    m_lstViews.push_back(std::make_unique<CTestView>("default path"));
    CTestView* pDefault = m_lstViews.back().get();
    m_lstViews.push_back(std::make_unique<CTestView>("own path"));
    CTestView* pOwn = m_lstViews.back().get();
    pOwn->m_strWidgetPath = "gui/main";
    PostView("NEW_VIEW", pDefault);
    SendView("NEW_VIEW", pOwn);

    EXPECT_EQ(SubWindowOf(pDefault), nullptr);
    ASSERT_NE(SubWindowOf(pOwn), nullptr);
    EXPECT_EQ(Area()->subWindowList().size(), 1);
}

TEST_F(CWorkspacePluginTest, InitPutsTheAreaIntoTheParentUnderItsName)
{
    auto* pParameters = new Zarn::CValueMap;
    pParameters->SetEntry(Zarn::CValue_Key("name"), new Zarn::CValueString("desk"));
    StartWorkspace(pParameters);
    EXPECT_EQ(Area()->parentWidget(), m_pMainWindow.get());
    EXPECT_EQ(Area()->objectName(), QString("desk"));
}

TEST_F(CWorkspacePluginTest, ClosingAWindowPostsOneRemoveViewAndLeavesItOpen)
{
    StartWorkspace();
    CTestView* pView = AddView("first");
    TakeRecords();
    QMdiSubWindow* pSubWindow = SubWindowOf(pView);
    ASSERT_NE(pSubWindow, nullptr);

    EXPECT_FALSE(pSubWindow->close()); // what the window's close button does
    Deliver();

    EXPECT_EQ(TakeRecords(), (std::vector<SRecord>{{"REMOVE_VIEW", pView}}));
    ASSERT_NE(pView->Widget(), nullptr);
    EXPECT_EQ(SubWindowOf(pView), pSubWindow);
    EXPECT_TRUE(pSubWindow->isVisible());
    EXPECT_TRUE(pView->Widget()->isVisible());
    EXPECT_EQ(Area()->subWindowList().size(), 1);
}

TEST_F(CWorkspacePluginTest, WindowGoesOnlyAfterInvalidViewAndTheViewsDestruction)
{
    const auto [pView, pOther] = StartWithViews({"first", "second"});
    SendView("ACTIVE_VIEW", pView);
    QPointer<QMdiSubWindow> pSubWindow = SubWindowOf(pView);
    ASSERT_NE(pSubWindow, nullptr);
    pSubWindow->close();
    Deliver();

    // The repository's answer: INVALID_VIEW, then the view is deleted.
    SendView("INVALID_VIEW", pView);
    ASSERT_FALSE(pSubWindow.isNull());
    EXPECT_TRUE(pSubWindow->isVisible());
    EXPECT_EQ(Area()->activeSubWindow(), pSubWindow);

    m_lstViews.erase(m_lstViews.begin()); // deletes the view and with it its widget
    Deliver();
    EXPECT_TRUE(pSubWindow.isNull());
    // The window it covered, still maximised, is the area's only one and active.
    ASSERT_EQ(Area()->subWindowList().size(), 1);
    EXPECT_EQ(Area()->subWindowList().front(), SubWindowOf(pOther));
    EXPECT_EQ(Area()->activeSubWindow(), SubWindowOf(pOther));
    EXPECT_TRUE(SubWindowOf(pOther)->isVisible());
    EXPECT_TRUE(SubWindowOf(pOther)->isMaximized());
}

TEST_F(CWorkspacePluginTest, CloseAfterInvalidViewIsNoLongerReported)
{
    StartWorkspace();
    CTestView* pView = AddView("first");
    SendView("INVALID_VIEW", pView);
    TakeRecords();

    QMdiSubWindow* pSubWindow = SubWindowOf(pView);
    ASSERT_NE(pSubWindow, nullptr);
    EXPECT_TRUE(pSubWindow->close());
    Deliver();
    EXPECT_TRUE(TakeRecords().empty());
}

TEST_F(CWorkspacePluginTest, UserActivatingAnotherWindowPostsFocusViewForItsView)
{
    std::array<CTestView*, 2> views{};
    ASSERT_NO_FATAL_FAILURE(StartSideBySide(views));
    const auto [pFirst, pSecond] = views;
    ASSERT_EQ(Area()->activeSubWindow(), SubWindowOf(pSecond));
    TakeRecords();

    ClickTitleBar(m_pMainWindow.get(), SubWindowOf(pFirst));
    Deliver();

    EXPECT_EQ(TakeRecords(), (std::vector<SRecord>{{"FOCUS_VIEW", pFirst}}));
}

TEST_F(CWorkspacePluginTest, ActiveViewActivatesItsWindowWithoutEchoingFocusView)
{
    std::array<CTestView*, 2> views{};
    ASSERT_NO_FATAL_FAILURE(StartSideBySide(views));
    const auto [pFirst, pSecond] = views;
    TakeRecords();

    SendView("ACTIVE_VIEW", pFirst);

    EXPECT_EQ(Area()->activeSubWindow(), SubWindowOf(pFirst));
    EXPECT_EQ(TakeRecords(), (std::vector<SRecord>{{"ACTIVE_VIEW", pFirst}}));

    // The signal is connected again afterwards: the user's choice is still reported.
    ClickTitleBar(m_pMainWindow.get(), SubWindowOf(pSecond));
    Deliver();
    EXPECT_EQ(TakeRecords(), (std::vector<SRecord>{{"FOCUS_VIEW", pSecond}}));
}

// What the platform sends when no window of the application is active any more (a dialog
// closed and the window manager gave the focus elsewhere), and when one is again.
void SendApplicationEvent(QEvent::Type type)
{
    QEvent event(type);
    QCoreApplication::sendEvent(QCoreApplication::instance(), &event);
}

// The application is inactive when the user picks another view in the navigator; the click
// activates the application again, and the area restores the window it had active before. That
// restoring is no choice of the user's: reported, it would take the pick back.
TEST_F(CWorkspacePluginTest, AreaRestoringItsWindowWhenTheApplicationIsActivatedPostsNoFocusView)
{
    StartWorkspace();
    CTestView* pFirst = AddView("first", false);
    CTestView* pSecond = AddView("second", false);
    m_pMainWindow->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(m_pMainWindow.get()));
    SendView("ACTIVE_VIEW", pSecond);
    ASSERT_EQ(Area()->activeSubWindow(), SubWindowOf(pSecond));
    SendApplicationEvent(QEvent::ApplicationDeactivate);
    // The main window has lost the activation as well (to a dialog now closed).
    QWidget dialog;
    dialog.show();
    dialog.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&dialog));
    dialog.hide();
    Deliver();
    ASSERT_EQ(Area()->activeSubWindow(), nullptr);
    TakeRecords();

    PostView("FOCUS_VIEW", pFirst); // the navigator's message, not delivered yet
    SendApplicationEvent(QEvent::ApplicationActivate);
    Deliver();

    EXPECT_EQ(TakeRecords(), (std::vector<SRecord>{{"FOCUS_VIEW", pFirst}}));
}

TEST_F(CWorkspacePluginTest, ActiveViewForAnUnknownOrNullViewChangesNothing)
{
    StartWorkspace();
    CTestView* pFirst = AddView("first");
    AddView("second");
    SendView("ACTIVE_VIEW", pFirst);
    TakeRecords();
    CTestView stranger("stranger");

    PostView("ACTIVE_VIEW", &stranger);
    SendView("ACTIVE_VIEW", nullptr);

    EXPECT_EQ(Area()->activeSubWindow(), SubWindowOf(pFirst));
    EXPECT_EQ(TakeRecords(),
              (std::vector<SRecord>{{"ACTIVE_VIEW", &stranger}, {"ACTIVE_VIEW", nullptr}}));
}

TEST_F(CWorkspacePluginTest, InvalidViewOfAnUnknownViewChangesNothing)
{
    StartWorkspace();
    CTestView* pView = AddView("first");
    TakeRecords();
    CTestView stranger("stranger");

    PostView("INVALID_VIEW", &stranger);
    SendView("INVALID_VIEW", nullptr);
    EXPECT_EQ(Area()->subWindowList().size(), 1);

    // The known view is still watched: its close is still turned into REMOVE_VIEW.
    TakeRecords();
    SubWindowOf(pView)->close();
    Deliver();
    EXPECT_EQ(TakeRecords(), (std::vector<SRecord>{{"REMOVE_VIEW", pView}}));
}

TEST_F(CWorkspacePluginTest, NullViewOnNewViewIsIgnored)
{
    StartWorkspace();
    SendView("NEW_VIEW", nullptr);
    EXPECT_TRUE(Area()->subWindowList().empty());
    EXPECT_TRUE(m_pProxy->m_lstCaught.empty());
}

TEST_F(CWorkspacePluginTest, MessageWithoutDataIsIgnored)
{
    StartWorkspace();
    CTestView* pView = AddView("first");
    Post("INVALID_VIEW", nullptr);
    Post("NEW_VIEW", nullptr);
    Deliver();
    EXPECT_EQ(Area()->subWindowList().size(), 1);
    EXPECT_TRUE(m_pProxy->m_lstCaught.empty());

    // A map without "id" is ignored whatever its data.
    Zarn::CValueMap message;
    message.SetEntry(Zarn::CValue_Key("data"), new Zarn::CValuePointer<Zarn::CPluginBase>(pView));
    EXPECT_NO_THROW(m_pWorkspace->UpdateParameters(message));
    TakeRecords();
    SubWindowOf(pView)->close();
    Deliver();
    EXPECT_EQ(TakeRecords(), (std::vector<SRecord>{{"REMOVE_VIEW", pView}}));
}

TEST_F(CWorkspacePluginTest, ViewMessageWithADocumentPointerIsRejectedWrappedAndChangesNothing)
{
    StartWorkspace();
    AddView("first");
    Zarn::CValueMap document;
    Post("NEW_VIEW", new Zarn::CValuePointer<Zarn::CValueMap>(&document));
    Deliver();

    ASSERT_EQ(m_pProxy->m_lstCaught.size(), 1u);
    EXPECT_TRUE(
        StartsWith(m_pProxy->m_lstCaught[0].m_strFunction, "CWorkspacePlugin::UpdateParameters - "))
        << m_pProxy->m_lstCaught[0].m_strFunction;
    EXPECT_EQ(Area()->subWindowList().size(), 1);
    // The thread logs the failure at the error level and goes on.
    EXPECT_NE(m_threadLogText.str().find("CWorkspacePlugin::UpdateParameters - "),
              std::string::npos)
        << m_threadLogText.str();
}

TEST_F(CWorkspacePluginTest, InitWithoutCommThreadThrowsWrappedHostException)
{
    Zarn::CRegistry::Obj().RemoveEntry(Zarn::CValue_Key("tmp/commthread"));
    Zarn::CPluginBase* pPlugin =
        static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("Workspace"));
    ASSERT_NE(pPlugin, nullptr);
    try
    {
        pPlugin->Init(nullptr, Zarn::CValueMap());
        ADD_FAILURE() << "Init did not throw";
    }
    catch (const Zarn::CException& caught)
    {
        EXPECT_TRUE(StartsWith(caught.function(), "CWorkspacePlugin::Init - "))
            << caught.function();
    }
    delete pPlugin;
}

TEST_F(CWorkspacePluginTest, StandardExceptionInInitArrivesWithoutPrefix)
{
    ExpectInitThrows(new CThrowingValue<std::runtime_error>(std::runtime_error("no parent")),
                     "CWorkspacePlugin::Init", "no parent");
}

TEST_F(CWorkspacePluginTest, UnknownExceptionInInitArrivesAsUnknwonException)
{
    ExpectInitThrows(new CThrowingValue<int>(7), "CWorkspacePlugin::Init", "UNKNWON EXCEPTION!");
}

TEST_F(CWorkspacePluginTest, DeletingThePluginLeavesTheViewsWidgetsToTheViews)
{
    StartWorkspace();
    CTestView* pView = AddView("first");
    DeleteWorkspace();
    ExpectWidgetsParent({pView}, nullptr);
}

// The area's parent goes while the plug-in and the views live: the area dies with it, the views'
// widgets do not, and later messages reach nothing that is gone.
TEST_F(CWorkspacePluginTest, AreaDyingWithItsParentLeavesTheViewsWidgetsAlive)
{
    StartWorkspace();
    CTestView* pFirst = AddView("first");
    CTestView* pSecond = AddView("second", false);
    PostView("INVALID_VIEW", pFirst); // removed, its window still open
    Deliver();
    QPointer<QMdiArea> pArea = Area();
    QPointer<QWidget> pFirstWidget = pFirst->Widget();
    QPointer<QWidget> pSecondWidget = pSecond->Widget();

    m_pMainWindow.reset();
    Deliver();
    EXPECT_TRUE(pArea.isNull());
    ASSERT_FALSE(pFirstWidget.isNull());
    ASSERT_FALSE(pSecondWidget.isNull());
    EXPECT_EQ(pFirstWidget->parentWidget(), nullptr);
    EXPECT_EQ(pSecondWidget->parentWidget(), nullptr);

    TakeRecords();
    PostView("ACTIVE_VIEW", pSecond);
    PostView("INVALID_VIEW", pSecond);
    AddView("third");
    pSecondWidget->close();
    Deliver();
    EXPECT_TRUE(m_pProxy->m_lstCaught.empty());
    for (const SRecord& record : TakeRecords())
    {
        EXPECT_NE(record.m_strName, "FOCUS_VIEW");
        EXPECT_NE(record.m_strName, "REMOVE_VIEW");
    }
}

// The plug-in goes first while its area has a parent: the area stays with its parent and the
// views keep their widgets when the parent goes later.
TEST_F(CWorkspacePluginTest, DeletingThePluginLeavesAnAreaWithAParentToItsParent)
{
    const auto [pFirst, pSecond] = StartWithViews({"first", "second"});
    QPointer<QMdiArea> pArea = Area();
    DeleteWorkspace();

    ASSERT_FALSE(pArea.isNull());
    EXPECT_EQ(pArea->parentWidget(), m_pMainWindow.get());
    m_pMainWindow.reset();
    EXPECT_TRUE(pArea.isNull());
    ExpectWidgetsParent({pFirst, pSecond}, nullptr);
}

TEST_F(CWorkspacePluginTest, ClosingAWindowRoundTripsThroughTheRealRepository)
{
    StartWorkspace();
    auto* pRepository = static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("Repository"));
    ASSERT_NE(pRepository, nullptr);
    m_pThread->Subscribe(pRepository);
    pRepository->Init(nullptr, Zarn::CValueMap());
    Deliver();

    auto* pDocument = new Zarn::CValueMap;
    pDocument->SetEntry(Zarn::CValue_Key("label"), new Zarn::CValueString("picture"));
    Post("ADD_DOCUMENT", new Zarn::CValuePointer<Zarn::CValueMap>(pDocument));
    Deliver();
    auto* pView = new CTestView("owned by the repository"); // the repository deletes it
    QPointer<QWidget> pWidget = pView->Widget();
    auto* pRequest = new Zarn::CValueMap;
    pRequest->SetEntry(Zarn::CValue_Key("document"),
                       new Zarn::CValuePointer<Zarn::CValueMap>(pDocument));
    pRequest->SetEntry(Zarn::CValue_Key("view"), new Zarn::CValuePointer<Zarn::CPluginBase>(pView));
    Post("ADD_VIEW", pRequest);
    Deliver();
    QPointer<QMdiSubWindow> pSubWindow = SubWindowOf(pView);
    ASSERT_NE(pSubWindow, nullptr);
    EXPECT_EQ(Area()->activeSubWindow(), pSubWindow);
    TakeRecords();

    pSubWindow->close();
    Deliver();

    const std::vector<SRecord> records = TakeRecords();
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records.front(), (SRecord{"REMOVE_VIEW", pView}));
    EXPECT_EQ(std::count(records.begin(), records.end(), SRecord{"REMOVE_VIEW", pView}), 1);
    EXPECT_NE(std::find(records.begin(), records.end(), SRecord{"INVALID_VIEW", pView}),
              records.end());
    EXPECT_TRUE(pWidget.isNull());
    EXPECT_TRUE(pSubWindow.isNull());
    EXPECT_TRUE(Area()->subWindowList().empty());

    m_pThread->Unsubscribe(pRepository);
    pRepository->DeleteData();
    delete pRepository;
}

TEST_F(CWorkspacePluginTest, ViewDestroyedBeforeItsInvalidViewIsForgottenWithItsWindow)
{
    const auto [pView, pOther] = StartWithViews({"first", "second"});
    m_lstViews.erase(m_lstViews.begin());
    Deliver();
    ASSERT_EQ(Area()->subWindowList().size(), 1);

    PostView("INVALID_VIEW", pView); // the address only: the view is gone
    SendView("ACTIVE_VIEW", pView);
    EXPECT_TRUE(m_pProxy->m_lstCaught.empty());
    EXPECT_EQ(Area()->subWindowList().front(), SubWindowOf(pOther));
}

// Maximised windows cover the others, which stay windows of the area: Tile, Cascade and Close
// All of the area reach every view.
TEST_F(CWorkspacePluginTest, EveryViewHasAWindowInTheAreaAlsoUnderAMaximisedOne)
{
    StartWorkspace();
    CTestView* pFirst = AddView("first");
    CTestView* pSecond = AddView("second", false);
    CTestView* pThird = AddView("third");
    SendView("ACTIVE_VIEW", pThird);

    ASSERT_EQ(Area()->subWindowList().size(), 3);
    for (CTestView* pView : {pFirst, pSecond, pThird})
    {
        QMdiSubWindow* pSubWindow = SubWindowOf(pView);
        ASSERT_NE(pSubWindow, nullptr);
        EXPECT_EQ(pSubWindow, Workspace()->WindowOfView(pView));
        EXPECT_TRUE(Area()->subWindowList().contains(pSubWindow));
        EXPECT_EQ(pSubWindow->widget(), pView->Widget());
    }
    // The active window fills the area and lies on top of the others.
    QMdiSubWindow* pCover = SubWindowOf(pThird);
    EXPECT_EQ(Area()->activeSubWindow(), pCover);
    EXPECT_TRUE(pCover->isMaximized());
    EXPECT_EQ(pCover->geometry(), Area()->viewport()->rect());
    EXPECT_EQ(Area()->subWindowList(QMdiArea::StackingOrder).back(), pCover);
}

// Windows stay on top for speed; their menu must not offer that detail as a user's choice.
TEST_F(CWorkspacePluginTest, WindowMenuOffersNoStayOnTopEntry)
{
    StartWorkspace();
    CTestView* pView = AddView("first");
    QMdiSubWindow* pSubWindow = SubWindowOf(pView);
    ASSERT_NE(pSubWindow, nullptr);
    ASSERT_NE(pSubWindow->systemMenu(), nullptr);
    int nVisible = 0;
    for (const QAction* pAction : pSubWindow->systemMenu()->actions())
    {
        if (pAction->isVisible() && !pAction->isSeparator())
        {
            ++nVisible;
            EXPECT_FALSE(pAction->isCheckable()) << pAction->text().toStdString();
        }
    }
    EXPECT_GT(nVisible, 0) << "the rest of the menu stays";
}

TEST_F(CWorkspacePluginTest, ActiveViewBringsACoveredWindowUpMaximisedWithoutEcho)
{
    StartWorkspace();
    CTestView* pFirst = AddView("first", false);
    CTestView* pSecond = AddView("second");
    SendView("ACTIVE_VIEW", pSecond);
    TakeRecords();

    SendView("ACTIVE_VIEW", pFirst);

    ASSERT_EQ(Area()->subWindowList().size(), 2);
    QMdiSubWindow* pUp = SubWindowOf(pFirst);
    EXPECT_EQ(Area()->activeSubWindow(), pUp);
    EXPECT_TRUE(pUp->isMaximized());
    EXPECT_TRUE(pUp->isVisible());
    EXPECT_EQ(pUp->geometry(), Area()->viewport()->rect());
    EXPECT_EQ(Area()->subWindowList(QMdiArea::StackingOrder).back(), pUp);
    EXPECT_EQ(TakeRecords(), (std::vector<SRecord>{{"ACTIVE_VIEW", pFirst}}));
}

TEST_F(CWorkspacePluginTest, RestoringTheMaximisedWindowShowsTheOthersAtTheirPlaces)
{
    StartWorkspace();
    CTestView* pSmall = AddPlacedView("small", QRect(30, 40, 200, 100));
    const QRect rectSmall = SubWindowOf(pSmall)->geometry();
    CTestView* pMiddle = AddView("middle");
    CTestView* pBig = AddView("big");
    PostView("ACTIVE_VIEW", pMiddle);
    SendView("ACTIVE_VIEW", pBig);
    ASSERT_TRUE(SubWindowOf(pMiddle)->isMaximized());
    TakeRecords();

    SubWindowOf(pBig)->showNormal(); // the user's restore button
    Deliver();

    EXPECT_EQ(Area()->subWindowList().size(), 3);
    EXPECT_TRUE(SubWindowOf(pSmall)->isVisible());
    EXPECT_EQ(SubWindowOf(pSmall)->geometry(), rectSmall);
    EXPECT_FALSE(SubWindowOf(pMiddle)->isMaximized());
    EXPECT_EQ(Area()->activeSubWindow(), SubWindowOf(pBig));
    EXPECT_EQ(Area()->subWindowList(QMdiArea::StackingOrder).back(), SubWindowOf(pBig));
    EXPECT_TRUE(TakeRecords().empty());

    // Maximising again covers the others again.
    SubWindowOf(pBig)->showMaximized();
    Deliver();
    EXPECT_EQ(SubWindowOf(pBig)->geometry(), Area()->viewport()->rect());
    EXPECT_EQ(Area()->subWindowList().size(), 3);
}

// A window of its own size shown while a maximised one covers the area takes its place
// maximised, instead of floating over it.
TEST_F(CWorkspacePluginTest, NewViewShownUnderAMaximisedWindowComesUpMaximisedInItsPlace)
{
    StartWorkspace();
    CTestView* pBig = AddView("big");
    SendView("ACTIVE_VIEW", pBig);
    CTestView* pSmall = AddPlacedView("small", QRect(30, 40, 200, 100));
    SendView("ACTIVE_VIEW", pSmall);

    QMdiSubWindow* pSubWindow = SubWindowOf(pSmall);
    EXPECT_EQ(Area()->activeSubWindow(), pSubWindow);
    EXPECT_TRUE(pSubWindow->isMaximized());
    EXPECT_EQ(pSubWindow->geometry(), Area()->viewport()->rect());
    EXPECT_EQ(Area()->subWindowList().size(), 2);
}

TEST_F(CWorkspacePluginTest, ClosingACoveredWindowStillPostsRemoveView)
{
    const auto [pFirst, pSecond] = StartWithViews({"first", "second"});
    SendView("ACTIVE_VIEW", pSecond);
    TakeRecords();

    EXPECT_FALSE(SubWindowOf(pFirst)->close());
    Deliver();

    EXPECT_EQ(TakeRecords(), (std::vector<SRecord>{{"REMOVE_VIEW", pFirst}}));
    EXPECT_EQ(Area()->subWindowList().size(), 2);
}

TEST_F(CWorkspacePluginTest, DeletingThePluginLeavesTheCoveredWindowsWidgetsToTheViews)
{
    const auto [pFirst, pSecond] = StartWithViews({"first", "second"});
    SendView("ACTIVE_VIEW", pSecond);

    DeleteWorkspace();

    ExpectWidgetsParent({pFirst, pSecond}, nullptr);
}

// Ctrl+Tab is QMdiArea's own: it reaches every window and its choice is the user's.
TEST_F(CWorkspacePluginTest, CtrlTabActivatesThePreviousWindowAndReportsTheChoice)
{
    const auto [pFirst, pSecond, pThird] = StartWithViews({"first", "second", "third"});
    PostView("ACTIVE_VIEW", pFirst);
    PostView("ACTIVE_VIEW", pSecond);
    SendView("ACTIVE_VIEW", pThird);
    m_pMainWindow->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(m_pMainWindow.get()));
    pThird->Widget()->setFocus();
    TakeRecords();

    QTest::keyPress(pThird->Widget(), Qt::Key_Control, Qt::ControlModifier);
    QTest::keyClick(pThird->Widget(), Qt::Key_Tab, Qt::ControlModifier);
    QTest::keyRelease(pThird->Widget(), Qt::Key_Control, Qt::NoModifier);
    Deliver();

    EXPECT_EQ(Area()->activeSubWindow(), SubWindowOf(pSecond));
    EXPECT_TRUE(SubWindowOf(pSecond)->isMaximized());
    EXPECT_EQ(Area()->subWindowList().size(), 3);
    EXPECT_EQ(TakeRecords(), (std::vector<SRecord>{{"FOCUS_VIEW", pSecond}}));
}
