// The navigator's list follows the view messages and answers a highlight with FOCUS_VIEW.

#include "HostException.h"
#include "NavigatorHarness.h"
#include "StreamCapture.h"

#include "views/DefaultViewIcon.h"
#include "views/ViewListBox.h"
#include "views/ViewListBoxItem.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QImage>
#include <QListWidgetItem>
#include <QPixmap>
#include <QPointer>
#include <QWidget>

#include <iostream>

namespace NavigatorTest
{

using CNavigatorList = CNavigatorFixture;

TEST_F(CNavigatorList, SetupNamesTheViewListBoxBeforeAndAfterInit)
{
    StartNavigator();
    Zarn::CValueMap setup;
    m_pPlugin->GetPluginSetup(setup);
    QWidget* pWidget =
        Zarn::UnwrapPointer<QWidget>(setup.Entry(Zarn::CValue_Key("WidgetPtr"), true));
    EXPECT_EQ(pWidget, m_pNavigator->ListBox());
    EXPECT_NE(qobject_cast<CViewListBox*>(pWidget), nullptr);
    EXPECT_EQ(setup.EntryString(Zarn::CValue_Key("PluginSubType")),
              Zarn::CString("NavigatorPlugin"));
}

TEST_F(CNavigatorList, InitPutsTheListIntoItsParentNamedAndShown)
{
    QWidget parent;
    Zarn::CValueMap parameters;
    parameters.SetEntry(Zarn::CValue_Key("parent"), new Zarn::CValuePointer<QWidget>(&parent));
    parameters.SetEntry(Zarn::CValue_Key("name"), new Zarn::CValueString("navigator 1"));
    StartNavigator(parameters);
    QPointer<CViewListBox> pList = m_pNavigator->ListBox();
    EXPECT_EQ(pList->parentWidget(), &parent);
    EXPECT_EQ(pList->objectName(), QString("navigator 1"));
    EXPECT_FALSE(pList->isHidden());

    // The parent owns the list: deleting the plug-in leaves it alone.
    m_pThread->Unsubscribe(m_pProxy.get());
    delete m_pPlugin;
    m_pPlugin = nullptr;
    EXPECT_FALSE(pList.isNull());
}

TEST_F(CNavigatorList, InitWithAParentOfAnotherTypeThrowsNamingInit)
{
    m_pPlugin = static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("Navigator"));
    Zarn::CValueMap parameters;
    parameters.SetEntry(Zarn::CValue_Key("parent"), new Zarn::CValueLong(7));
    DocViewTest::ExpectHostExceptionFrom([&] { m_pPlugin->Init(nullptr, parameters); },
                                         "CNavigatorPlugin::Init");
}

TEST_F(CNavigatorList, NewViewAppendsAnEntryWithCaptionDescriptionAndFileIcon)
{
    StartNavigator();
    const QString strIcon = QString::fromUtf8(testing::TempDir().c_str()) + "/nav_icon.png";
    QImage icon(24, 16, QImage::Format_RGB32);
    icon.fill(Qt::red);
    ASSERT_TRUE(icon.save(strIcon));
    CFakeView* pFirst = NewView("first", "one");
    m_lstViews.push_back(std::make_unique<CFakeView>("second", "two", strIcon.toStdString()));
    CFakeView* pSecond = m_lstViews.back().get();

    PostView("NEW_VIEW", pFirst);
    PostView("NEW_VIEW", pSecond);

    ASSERT_NO_FATAL_FAILURE(ExpectCaptions({"first", "second"}));
    EXPECT_EQ(ViewItemAt(0)->Description(), QString("one"));
    EXPECT_EQ(ViewItemAt(1)->Icon().size(), QSize(24, 16));
    EXPECT_EQ(ViewItemAt(1)->Icon().toImage().pixelColor(3, 3), QColor(Qt::red));
    EXPECT_EQ(m_pNavigator->ViewToItem().at(pSecond), ItemAt(1));
    EXPECT_EQ(m_pNavigator->ItemToView().at(ItemAt(0)), pFirst);
    ExpectCurrentWithoutFocus(nullptr);
}

TEST_F(CNavigatorList, ViewWithoutIconShowsTheDefault32By32Icon)
{
    StartNavigator();
    PostView("NEW_VIEW", NewView("plain", "no icon"));
    ASSERT_NE(ViewItemAt(0), nullptr);
    const QPixmap& icon = ViewItemAt(0)->Icon();
    EXPECT_EQ(icon.size(), QSize(32, 32));
    EXPECT_EQ(icon.toImage(), QPixmap(DocView::g_aszDefaultViewIcon).toImage());
    // The first colour is transparent and the frame's corner uses it.
    EXPECT_EQ(icon.toImage().pixelColor(0, 31).alpha(), 0);
}

TEST_F(CNavigatorList, DefaultIconHeaderNames110ColoursOfTwoCharacters)
{
    EXPECT_STREQ(DocView::g_aszDefaultViewIcon[0], "32 32 110 2");
    EXPECT_STREQ(DocView::g_aszDefaultViewIcon[1] + 2, " c None");
    EXPECT_FALSE(QPixmap(DocView::g_aszDefaultViewIcon).isNull());
}

TEST_F(CNavigatorList, ViewWithoutCaptionOrDescriptionGetsTheOopsEntry)
{
    StartNavigator();
    m_lstViews.push_back(std::make_unique<CFakeView>("caption only", std::nullopt));
    CFakeView* pCaptionOnly = m_lstViews.back().get();
    m_lstViews.push_back(std::make_unique<CFakeView>(std::nullopt, "description only", "x.png"));
    CFakeView* pDescriptionOnly = m_lstViews.back().get();

    PostView("NEW_VIEW", pCaptionOnly);
    PostView("NEW_VIEW", pDescriptionOnly);

    ASSERT_EQ(Count(), 2);
    for (int nRow = 0; nRow < 2; ++nRow)
    {
        EXPECT_EQ(ViewItemAt(nRow), nullptr);
        EXPECT_EQ(ItemAt(nRow)->text(), QString("** oops **"));
    }
    EXPECT_EQ(m_pNavigator->ViewToItem().at(pDescriptionOnly), ItemAt(1));
}

TEST_F(CNavigatorList, CreateListItemForANullViewIsTheOopsEntry)
{
    StartNavigator();
    std::unique_ptr<QListWidgetItem> pItem(m_pNavigator->CreateListItem(nullptr));
    EXPECT_EQ(pItem->text(), QString("** oops **"));
    EXPECT_NE(pItem->type(), CViewListBoxItem::kItemType);
}

TEST_F(CNavigatorList, NewViewWithANullViewPrintsInvalidEntryAndAddsNothing)
{
    StartNavigator();
    DocViewTest::CStreamCapture capture(std::cout);
    PostView("NEW_VIEW", nullptr);
    EXPECT_EQ(capture.Text(), "CNavigatorPlugin::AddNewView: Invalid Entry.\n");
    EXPECT_EQ(Count(), 0);
    EXPECT_TRUE(m_pNavigator->ViewToItem().empty());
}

TEST_F(CNavigatorList, NewViewTwiceGivesTwoEntriesAndTheViewKeepsItsFirstItem)
{
    StartNavigator();
    CFakeView* pView = NewView("twice", "again");
    PostView("NEW_VIEW", pView);
    PostView("NEW_VIEW", pView);

    ASSERT_EQ(Count(), 2);
    EXPECT_EQ(m_pNavigator->ViewToItem().size(), 1u);
    EXPECT_EQ(m_pNavigator->ViewToItem().at(pView), ItemAt(0));
    EXPECT_EQ(m_pNavigator->ItemToView().size(), 2u);
    EXPECT_EQ(m_pNavigator->ItemToView().at(ItemAt(0)), pView);
    EXPECT_EQ(m_pNavigator->ItemToView().at(ItemAt(1)), pView);
}

TEST_F(CNavigatorList, InvalidViewRemovesItsEntryAndKeepsTheCurrentView)
{
    StartNavigator();
    const auto [pFirst, pSecond] = ListViews<2>();
    PostView("ACTIVE_VIEW", pSecond);

    PostView("INVALID_VIEW", pFirst);

    ASSERT_EQ(Count(), 1);
    EXPECT_EQ(ViewItemAt(0)->Caption(), QString("second"));
    EXPECT_EQ(m_pNavigator->ViewToItem().count(pFirst), 0u);
    EXPECT_EQ(m_pNavigator->ItemToView().size(), 1u);
    ExpectCurrentWithoutFocus(pSecond);

    // Removing the current view's entry leaves the current view as it was.
    PostView("INVALID_VIEW", pSecond);
    EXPECT_EQ(Count(), 0);
    ExpectCurrentWithoutFocus(pSecond);
}

TEST_F(CNavigatorList, RemovingTheCurrentEntryMovesTheListWithoutFocusingAnotherView)
{
    StartNavigator();
    const auto [pFirst, pSecond, pThird] = ListViews<3>();
    PostView("ACTIVE_VIEW", pSecond);

    PostView("INVALID_VIEW", pSecond);

    EXPECT_EQ(Count(), 2);
    ExpectCurrentWithoutFocus(pSecond);
}

TEST_F(CNavigatorList, MessagesForViewsNotInTheListAreIgnored)
{
    StartNavigator();
    ListViews<1>();
    CFakeView* pStranger = NewView("stranger", "not in the list");

    PostView("INVALID_VIEW", pStranger);
    PostView("VIEW_CHANGED", pStranger);

    EXPECT_EQ(Count(), 1);
    EXPECT_EQ(pStranger->m_nRuns, 0);
    EXPECT_TRUE(m_pProxy->m_lstCaught.empty());
}

TEST_F(CNavigatorList, ViewChangedKeepsTheEntryAtItsIndexAndRemarksTheCurrentView)
{
    StartNavigator();
    const auto [pFirst, pSecond, pThird] = ListViews<3>();
    PostView("ACTIVE_VIEW", pSecond);
    QListWidgetItem* pOld = ItemAt(1);

    pSecond->m_strCaption = "second, renamed";
    PostView("VIEW_CHANGED", pSecond);

    ASSERT_NO_FATAL_FAILURE(ExpectCaptions({"first", "second, renamed", "third"}));
    EXPECT_EQ(m_pNavigator->ViewToItem().at(pSecond), ItemAt(1));
    EXPECT_EQ(m_pNavigator->ItemToView().count(pOld), ItemAt(1) == pOld ? 1u : 0u);
    EXPECT_EQ(m_pNavigator->ItemToView().size(), 3u);
    EXPECT_EQ(m_pNavigator->ListBox()->currentRow(), 1);
    EXPECT_TRUE(ItemAt(1)->isSelected());
    EXPECT_EQ(m_pNavigator->CurrentView(), pSecond);

    // Another view changing leaves the mark where it is.
    pThird->m_strDescription = "three, changed";
    PostView("VIEW_CHANGED", pThird);
    EXPECT_EQ(ViewItemAt(2)->Description(), QString("three, changed"));
    EXPECT_FALSE(ItemAt(2)->isSelected());
    EXPECT_EQ(m_pNavigator->ListBox()->currentRow(), 1);
    EXPECT_TRUE(ItemAt(1)->isSelected());
    EXPECT_TRUE(m_pRecorder->m_lstFocused.empty());
}

TEST_F(CNavigatorList, ActiveViewMarksItsEntryWithoutEcho)
{
    StartNavigator();
    const auto [pFirst, pSecond] = ListViews<2>();

    PostView("ACTIVE_VIEW", pSecond);
    EXPECT_EQ(m_pNavigator->ListBox()->currentRow(), 1);
    EXPECT_TRUE(ItemAt(1)->isSelected());
    EXPECT_EQ(m_pNavigator->CurrentView(), pSecond);

    PostView("ACTIVE_VIEW", pFirst);
    EXPECT_EQ(m_pNavigator->ListBox()->currentRow(), 0);
    ExpectCurrentWithoutFocus(pFirst);
}

TEST_F(CNavigatorList, ActiveViewWhoseDataIsNoPluginPointerIsIgnored)
{
    StartNavigator();
    CFakeView* pFirst = NewView("first", "one");
    PostView("NEW_VIEW", pFirst);
    PostView("ACTIVE_VIEW", pFirst);

    Post("ACTIVE_VIEW", new Zarn::CValueLong(3));
    Post("ACTIVE_VIEW", new Zarn::CValuePointer<Zarn::CValueMap>(nullptr));

    EXPECT_EQ(m_pNavigator->CurrentView(), pFirst);
    EXPECT_EQ(m_pNavigator->ListBox()->currentRow(), 0);
    EXPECT_TRUE(m_pProxy->m_lstCaught.empty());
}

TEST_F(CNavigatorList, MessagesWithoutDataChangeNothing)
{
    StartNavigator();
    Post("NEW_VIEW", nullptr);
    Post("ACTIVE_VIEW", nullptr);
    EXPECT_EQ(Count(), 0);
    EXPECT_TRUE(m_pProxy->m_lstCaught.empty());
}

TEST_F(CNavigatorList, NewViewWithDataOfAnotherTypeThrowsNamingUpdateParameters)
{
    StartNavigator();
    Post("NEW_VIEW", new Zarn::CValueLong(1));
    ASSERT_EQ(m_pProxy->m_lstCaught.size(), 1u);
    EXPECT_EQ(m_pProxy->m_lstCaught[0].m_strFunction.rfind("CNavigatorPlugin::UpdateParameters", 0),
              0u)
        << m_pProxy->m_lstCaught[0].m_strFunction;
    EXPECT_EQ(Count(), 0);
}

TEST_F(CNavigatorList, ClickingAnEntryPostsFocusViewAndTheActiveViewAnswerDoesNotEcho)
{
    StartNavigator();
    const auto [pFirst, pSecond, pThird] = ListViews<3>();
    PostView("ACTIVE_VIEW", pFirst);
    m_pNavigator->ListBox()->resize(300, 400);

    ClickRow(1);
    EXPECT_EQ(Deliver(), 1u);
    ASSERT_EQ(m_pRecorder->m_lstFocused.size(), 1u);
    EXPECT_EQ(m_pRecorder->m_lstFocused[0], pSecond);
    EXPECT_EQ(m_pNavigator->CurrentView(), pSecond);

    // The repository answers with ACTIVE_VIEW; the list is already there and says nothing.
    PostView("ACTIVE_VIEW", pSecond);
    EXPECT_EQ(m_pNavigator->ListBox()->currentRow(), 1);
    // Another plug-in makes the third view active: the list follows silently.
    PostView("ACTIVE_VIEW", pThird);
    EXPECT_EQ(m_pNavigator->ListBox()->currentRow(), 2);
    EXPECT_EQ(m_pRecorder->m_lstFocused.size(), 1u);

    // The highlight connection is back after each message.
    ClickRow(0);
    Deliver();
    ASSERT_EQ(m_pRecorder->m_lstFocused.size(), 2u);
    EXPECT_EQ(m_pRecorder->m_lstFocused[1], pFirst);
}

TEST_F(CNavigatorList, HighlightingTheEntryOfTheCurrentViewSendsNothing)
{
    StartNavigator();
    const auto [pFirst, pSecond] = ListViews<2>();
    PostView("ACTIVE_VIEW", pSecond);

    m_pNavigator->SlotHighlighted(1);
    ClickRow(1);
    EXPECT_EQ(Deliver(), 0u);
    EXPECT_TRUE(m_pRecorder->m_lstFocused.empty());

    // A highlight that made the view current already: the same entry again sends nothing.
    m_pNavigator->ListBox()->setCurrentRow(0);
    EXPECT_EQ(Deliver(), 1u);
    m_pNavigator->SlotHighlighted(0);
    EXPECT_EQ(Deliver(), 0u);
    ASSERT_EQ(m_pRecorder->m_lstFocused.size(), 1u);
    EXPECT_EQ(m_pRecorder->m_lstFocused[0], pFirst);
}

TEST_F(CNavigatorList, ActiveViewForAnUnknownViewClearsTheMarkSoAnyLaterHighlightFocuses)
{
    StartNavigator();
    const auto [pFirst] = ListViews<1>();
    PostView("ACTIVE_VIEW", pFirst);
    CFakeView* pStranger = NewView("stranger", "not listed");

    PostView("ACTIVE_VIEW", pStranger);
    EXPECT_EQ(m_pNavigator->ListBox()->currentRow(), -1);
    EXPECT_EQ(m_pNavigator->ListBox()->currentItem(), nullptr);
    EXPECT_EQ(m_pNavigator->CurrentView(), nullptr);
    EXPECT_EQ(m_pNavigator->ViewToItem().count(pStranger), 0u);

    // The entry of the view that was current before now sends FOCUS_VIEW.
    m_pNavigator->ListBox()->setCurrentRow(0);
    Deliver();
    ASSERT_EQ(m_pRecorder->m_lstFocused.size(), 1u);
    EXPECT_EQ(m_pRecorder->m_lstFocused[0], pFirst);
    EXPECT_EQ(m_pNavigator->CurrentView(), pFirst);
}

TEST_F(CNavigatorList, HighlightWithoutACurrentEntryDoesNothing)
{
    StartNavigator();
    CFakeView* pFirst = NewView("first", "one");
    PostView("NEW_VIEW", pFirst);
    ASSERT_EQ(m_pNavigator->ListBox()->currentItem(), nullptr);
    m_pNavigator->SlotHighlighted(0);
    EXPECT_EQ(Deliver(), 0u);
    EXPECT_EQ(m_pNavigator->CurrentView(), nullptr);
}

TEST_F(CNavigatorList, AViewThatThrowsInItsDescriptionLeavesTheHighlightConnected)
{
    StartNavigator();
    CFakeView* pFirst = NewView("first", "one");
    CFakeView* pBroken = NewView("broken", "throws");
    pBroken->m_bThrowInRun = true;
    PostView("NEW_VIEW", pFirst);
    PostView("NEW_VIEW", pBroken);

    ASSERT_EQ(m_pProxy->m_lstCaught.size(), 1u);
    EXPECT_EQ(m_pProxy->m_lstCaught[0].m_strFunction, "CNavigatorPlugin::UpdateParameters");
    EXPECT_EQ(m_pProxy->m_lstCaught[0].m_strWhat, "view cannot describe itself");
    EXPECT_EQ(Count(), 1);
    m_pNavigator->ListBox()->setCurrentRow(0);
    Deliver();
    EXPECT_EQ(m_pRecorder->m_lstFocused.size(), 1u);
}

TEST_F(CNavigatorList, ListDiesWithThePluginWhileItHasNoParent)
{
    StartNavigator();
    QPointer<CViewListBox> pList = m_pNavigator->ListBox();
    m_pThread->Unsubscribe(m_pProxy.get());
    delete m_pPlugin;
    m_pPlugin = nullptr;
    EXPECT_TRUE(pList.isNull());
}

} // namespace NavigatorTest
