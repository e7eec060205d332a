// The stack of view pages, kept in step with the repository's view messages.

#include "HostException.h"
#include "PluginSetupCheck.h"
#include "ValueReading.h"
#include "ViewStackHarness.h"

#include "views/ViewStackPlugin.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QPointer>
#include <QStackedWidget>
#include <QWidget>

#include <memory>
#include <string>
#include <vector>

namespace ViewStackTest
{
namespace
{

using Names = std::vector<std::string>;

std::string StringAt(const Zarn::CValueMap& map, const char* key)
{
    return map.EntryString(Zarn::CValue_Key(key)).StdString();
}

Zarn::CValueMap* NamedParameters(const char* name)
{
    auto* pParameters = new Zarn::CValueMap;
    pParameters->SetEntry(Zarn::CValue_Key("name"), new Zarn::CValueString(name));
    return pParameters;
}

class CViewStack : public CViewStackFixture
{
protected:
    CFakeView* NewView(const std::string& caption, const char* widgetPath = "WidgetPtr")
    {
        m_lstViews.push_back(std::make_unique<CFakeView>(caption, widgetPath));
        return m_lstViews.back().get();
    }

    // A stack started under `parent` with view "A" announced and active.
    CFakeView* StartWithParentAndActiveView(QWidget* parent)
    {
        StartViewStack(DocViewTest::MapOf({{"parent", new Zarn::CValuePointer<QWidget>(parent)}}));
        CFakeView* pView = NewView("A");
        Send("NEW_VIEW", pView);
        Send("ACTIVE_VIEW", pView);
        return pView;
    }

    // A started stack with views "A" and "B" announced; "A" is active when asked.
    void StartWithTwoViews(bool activateA)
    {
        StartViewStack();
        m_pA = NewView("A");
        m_pB = NewView("B");
        Send("NEW_VIEW", m_pA);
        Send("NEW_VIEW", m_pB);
        if (activateA)
        {
            Send("ACTIVE_VIEW", m_pA);
        }
    }

    // Every currentChanged of the stack as "index:count:name of the new page".
    void RecordStackChanges()
    {
        QStackedWidget* pStack = Stack();
        QObject::connect(pStack, &QStackedWidget::currentChanged, pStack,
                         [this, pStack](int index)
                         {
                             QWidget* pPage = pStack->widget(index);
                             m_lstChanges.push_back(
                                 std::to_string(index) + ":" + std::to_string(pStack->count()) +
                                 ":" + (pPage ? pPage->objectName().toStdString() : "<none>"));
                         });
    }

    Zarn::CValueMap Message(const char* name, Zarn::CValue* data)
    {
        Zarn::CValueMap message;
        message.SetEntry(Zarn::CValue_Key("id"), new Zarn::CValueLong(m_pIds->GetMessageId(name)));
        if (data != nullptr)
        {
            message.SetEntry(Zarn::CValue_Key("data"), data);
        }
        return message;
    }

    CFakeView* m_pA = nullptr;
    CFakeView* m_pB = nullptr;
    std::vector<std::string> m_lstChanges;
};

TEST_F(CViewStack, SetupRecordNamesTheStackWidgetAndThePlugin)
{
    StartViewStack(NamedParameters("MainStack"));
    DocViewTest::ExpectSetupTexts(*m_pPluginBase, {{"Version", "version 1.0.0"},
                                                   {"PluginType", "QtWidget"},
                                                   {"PluginSubType", "ViewStack"},
                                                   {"PluginName", "MainStack"}});
    ASSERT_NE(Stack(), nullptr);
    EXPECT_EQ(Stack()->objectName(), QStringLiteral("MainStack"));
}

TEST_F(CViewStack, MetaObjectNamesTheClassAndCastsToThePluginBase)
{
    StartViewStack();
    const QMetaObject* pMeta = m_pPlugin->metaObject();
    EXPECT_STREQ(pMeta->className(), "CViewStackPlugin");
    ASSERT_NE(pMeta->superClass(), nullptr);
    EXPECT_STREQ(pMeta->superClass()->className(), "QObject");
    EXPECT_EQ(m_pPlugin->qt_metacast("CViewStackPlugin"), static_cast<void*>(m_pPlugin));
    EXPECT_EQ(m_pPlugin->qt_metacast("Zarn::CPluginBase"), static_cast<void*>(m_pPluginBase));
    EXPECT_GE(pMeta->indexOfSlot("SlotWidgetActivated(QWidget*)"), 0);
    EXPECT_EQ(pMeta->methodCount() - pMeta->methodOffset(), 1);
}

TEST_F(CViewStack, DefaultNameIsTheClassName)
{
    StartViewStack();
    Zarn::CValueMap setup;
    m_pPluginBase->GetPluginSetup(setup);
    EXPECT_EQ(StringAt(setup, "PluginName"), "CViewStackPlugin");
    EXPECT_EQ(Stack()->objectName(), QStringLiteral("CViewStackPlugin"));
}

TEST_F(CViewStack, InitPutsUpOnlyTheEmptyPageAndSendsNothing)
{
    StartViewStack();
    EXPECT_EQ(PageNames(), Names{"empty"});
    EXPECT_EQ(CurrentPageName(), "empty");
    EXPECT_EQ(Stack()->currentWidget()->parentWidget(), Stack());
    EXPECT_FALSE(Stack()->currentWidget()->isHidden());
    EXPECT_EQ(Deliver(), 0u);
    EXPECT_TRUE(m_pRecorder->m_lstDelivered.empty());
}

TEST_F(CViewStack, ParentParameterMakesTheStackItsChild)
{
    QWidget parent;
    auto* pParameters = new Zarn::CValueMap;
    pParameters->SetEntry(Zarn::CValue_Key("parent"), new Zarn::CValuePointer<QWidget>(&parent));
    StartViewStack(pParameters);
    EXPECT_EQ(Stack()->parentWidget(), &parent);
}

// The plug-in goes first while the stack has a parent: the stack stays with its parent, and the
// views' pages stay with their views when the parent goes later.
TEST_F(CViewStack, StackWithAParentOutlivesThePluginAndTheViewsPagesOutliveTheParent)
{
    auto pParent = std::make_unique<QWidget>();
    CFakeView* pView = StartWithParentAndActiveView(pParent.get());
    QPointer<QStackedWidget> pStack = Stack();
    QPointer<QWidget> pPage = pView->Widget();

    m_pThread->Unsubscribe(m_pPluginBase);
    delete m_pPluginBase;
    m_pPluginBase = nullptr;
    m_pPlugin = nullptr;
    ASSERT_FALSE(pStack.isNull());
    EXPECT_EQ(pStack->parentWidget(), pParent.get());
    ASSERT_FALSE(pPage.isNull());
    EXPECT_EQ(pPage->parentWidget(), nullptr);

    pParent.reset();
    EXPECT_TRUE(pStack.isNull());
    EXPECT_FALSE(pPage.isNull());
    EXPECT_EQ(Deliver(), 0u);
}

// The stack's parent goes while the plug-in and the views live: the stack dies with it, the
// views' pages do not, and the plug-in no longer reaches the stack.
TEST_F(CViewStack, ParentDestroyedBeforeThePluginTakesTheStackButNotTheViewsPages)
{
    auto* pParent = new QWidget;
    auto* pParameters = new Zarn::CValueMap;
    pParameters->SetEntry(Zarn::CValue_Key("parent"), new Zarn::CValuePointer<QWidget>(pParent));
    StartViewStack(pParameters);
    CFakeView* pView = NewView("A");
    CFakeView* pBare = NewView("Bare", nullptr);
    Send("NEW_VIEW", pView);
    Send("NEW_VIEW", pBare);
    Send("ACTIVE_VIEW", pView);
    QPointer<QStackedWidget> pStack = Stack();
    QPointer<QWidget> pPage = pView->Widget();

    delete pParent;
    EXPECT_TRUE(pStack.isNull());
    ASSERT_FALSE(pPage.isNull());
    EXPECT_EQ(pPage->parentWidget(), nullptr);
    EXPECT_EQ(Deliver(), 0u);
    EXPECT_TRUE(Delivered("FOCUS_VIEW").empty());

    // Later messages find no stack and change nothing.
    Send("ACTIVE_VIEW", pBare);
    Send("INVALID_VIEW", pView);
    Send("NEW_VIEW", NewView("B"));
    EXPECT_TRUE(Delivered("FOCUS_VIEW").empty());
    EXPECT_EQ(pPage->parentWidget(), nullptr);
}

// A removed view's page leaves the stack: the view deletes it, not the stack's parent.
TEST_F(CViewStack, PageOfARemovedViewIsNotDeletedWithTheStack)
{
    auto pParent = std::make_unique<QWidget>();
    CFakeView* pView = StartWithParentAndActiveView(pParent.get());
    Send("INVALID_VIEW", pView);
    QPointer<QWidget> pPage = pView->Widget();

    pParent.reset();
    EXPECT_FALSE(pPage.isNull());
}

TEST_F(CViewStack, NewViewAddsItsWidgetAsPageWithoutBringingItToTheFront)
{
    StartViewStack();
    CFakeView* pView = NewView("A");
    Send("NEW_VIEW", pView);
    EXPECT_EQ(PageNames(), (Names{"empty", "A"}));
    EXPECT_EQ(Stack()->widget(1), pView->Widget());
    EXPECT_EQ(CurrentPageName(), "empty");
    EXPECT_TRUE(Delivered("FOCUS_VIEW").empty());
}

TEST_F(CViewStack, NewViewKeepsAnActiveViewInFront)
{
    StartWithTwoViews(true);
    CFakeView* pC = NewView("C");
    Send("NEW_VIEW", pC);
    EXPECT_EQ(PageNames(), (Names{"empty", "A", "B", "C"}));
    EXPECT_EQ(CurrentPageName(), "A");
    EXPECT_TRUE(Delivered("FOCUS_VIEW").empty());
}

TEST_F(CViewStack, NewViewWithoutWidgetPathGetsADummyWidgetPageAndCurrentStays)
{
    StartWithTwoViews(true);
    CFakeView* pBare = NewView("Bare", nullptr);
    Send("NEW_VIEW", pBare);
    EXPECT_EQ(PageNames(), (Names{"empty", "A", "B", "dummy widget"}));
    EXPECT_EQ(CurrentPageName(), "A");

    Send("ACTIVE_VIEW", pBare);
    EXPECT_EQ(CurrentPageName(), "dummy widget");
    EXPECT_TRUE(Delivered("FOCUS_VIEW").empty());
}

TEST_F(CViewStack, EachViewWithoutWidgetGetsItsOwnDummyWidget)
{
    StartViewStack();
    CFakeView* pFirst = NewView("First", nullptr);
    CFakeView* pSecond = NewView("Second", nullptr);
    Send("NEW_VIEW", pFirst);
    Send("NEW_VIEW", pSecond);
    EXPECT_EQ(PageNames(), (Names{"empty", "dummy widget", "dummy widget"}));
    EXPECT_NE(Stack()->widget(1), Stack()->widget(2));
}

TEST_F(CViewStack, WidgetPathParameterSelectsWhereTheViewKeepsItsWidget)
{
    auto* pParameters = new Zarn::CValueMap;
    pParameters->SetEntry(Zarn::CValue_Key("widgetpath"), new Zarn::CValueString("gui/widget"));
    StartViewStack(pParameters);
    CFakeView* pNested = NewView("Nested", "gui/widget");
    CFakeView* pPlain = NewView("Plain", "WidgetPtr");
    Send("NEW_VIEW", pNested);
    Send("NEW_VIEW", pPlain);
    EXPECT_EQ(PageNames(), (Names{"empty", "Nested", "dummy widget"}));
}

TEST_F(CViewStack, NullViewIsIgnored)
{
    StartViewStack();
    Send("NEW_VIEW", nullptr);
    EXPECT_EQ(PageNames(), Names{"empty"});
    EXPECT_EQ(m_threadLogText.str(), "");
}

TEST_F(CViewStack, ActiveViewRaisesTheViewsPageAndSendsNoFocusViewBack)
{
    StartWithTwoViews(false);
    Send("ACTIVE_VIEW", m_pB);
    EXPECT_EQ(CurrentPageName(), "B");
    Send("ACTIVE_VIEW", m_pA);
    EXPECT_EQ(CurrentPageName(), "A");
    EXPECT_EQ(Deliver(), 0u);
    EXPECT_TRUE(Delivered("FOCUS_VIEW").empty());
    EXPECT_EQ(Delivered("ACTIVE_VIEW").size(), 2u);
}

TEST_F(CViewStack, ActiveViewOfAnUnknownViewRaisesTheEmptyPage)
{
    StartWithTwoViews(true);
    CFakeView* pStranger = NewView("Stranger");
    Send("ACTIVE_VIEW", pStranger);
    EXPECT_EQ(CurrentPageName(), "empty");
    EXPECT_EQ(PageNames(), (Names{"empty", "A", "B"}));
    EXPECT_TRUE(Delivered("FOCUS_VIEW").empty());
}

TEST_F(CViewStack, ActiveViewWithNullRaisesTheEmptyPage)
{
    StartWithTwoViews(true);
    Send("ACTIVE_VIEW", nullptr);
    EXPECT_EQ(CurrentPageName(), "empty");
    EXPECT_TRUE(Delivered("FOCUS_VIEW").empty());
}

TEST_F(CViewStack, PageBroughtUpByTheUserIsReportedAsFocusView)
{
    StartWithTwoViews(true);
    Stack()->setCurrentWidget(m_pB->Widget());     // what a user's pick does
    EXPECT_EQ(Delivered("FOCUS_VIEW").size(), 0u); // posted, not yet delivered
    Deliver();
    const std::vector<SDelivered> lstFocus = Delivered("FOCUS_VIEW");
    ASSERT_EQ(lstFocus.size(), 1u);
    EXPECT_TRUE(lstFocus[0].m_bDataIsViewPointer);
    EXPECT_EQ(lstFocus[0].m_pView, static_cast<Zarn::CPluginBase*>(m_pB));

    Stack()->setCurrentIndex(1);
    Deliver();
    const std::vector<SDelivered> lstAll = Delivered("FOCUS_VIEW");
    ASSERT_EQ(lstAll.size(), 2u);
    EXPECT_EQ(lstAll[1].m_pView, static_cast<Zarn::CPluginBase*>(m_pA));
}

TEST_F(CViewStack, UserBringingUpTheEmptyPageReportsNothing)
{
    StartWithTwoViews(true);
    Stack()->setCurrentIndex(0);
    EXPECT_EQ(Deliver(), 0u);
    EXPECT_TRUE(Delivered("FOCUS_VIEW").empty());
}

TEST_F(CViewStack, FocusViewAnsweredWithActiveViewDoesNotEcho)
{
    StartWithTwoViews(true);
    Stack()->setCurrentWidget(m_pB->Widget());
    Deliver();
    ASSERT_EQ(Delivered("FOCUS_VIEW").size(), 1u);
    // The repository's answer.
    Send("ACTIVE_VIEW", m_pB);
    EXPECT_EQ(CurrentPageName(), "B");
    EXPECT_EQ(Delivered("FOCUS_VIEW").size(), 1u);
    // The signal is connected again after ACTIVE_VIEW: the next pick is reported.
    Stack()->setCurrentWidget(m_pA->Widget());
    Deliver();
    EXPECT_EQ(Delivered("FOCUS_VIEW").size(), 2u);
}

TEST_F(CViewStack, InvalidViewOfTheCurrentViewRaisesTheEmptyPageBeforeRemovingIt)
{
    StartWithTwoViews(true);
    QPointer<QWidget> pWidgetA = m_pA->Widget();
    RecordStackChanges();
    Send("INVALID_VIEW", m_pA);
    // The empty page came up while A's page was still there (3 pages), then A's page went.
    ASSERT_FALSE(m_lstChanges.empty());
    EXPECT_EQ(m_lstChanges.front(), "0:3:empty");
    EXPECT_EQ(PageNames(), (Names{"empty", "B"}));
    EXPECT_EQ(CurrentPageName(), "empty");
    EXPECT_FALSE(pWidgetA.isNull()); // not deleted
    EXPECT_TRUE(Delivered("FOCUS_VIEW").empty());
}

TEST_F(CViewStack, InvalidViewOfTheViewTheUserPickedRaisesTheEmptyPage)
{
    StartWithTwoViews(true);
    Stack()->setCurrentWidget(m_pB->Widget());
    Deliver();
    Send("INVALID_VIEW", m_pB);
    EXPECT_EQ(PageNames(), (Names{"empty", "A"}));
    EXPECT_EQ(CurrentPageName(), "empty");
    EXPECT_EQ(Delivered("FOCUS_VIEW").size(), 1u);
}

TEST_F(CViewStack, InvalidViewOfAnotherViewRemovesOnlyItsPage)
{
    StartWithTwoViews(true);
    RecordStackChanges();
    Send("INVALID_VIEW", m_pB);
    EXPECT_EQ(PageNames(), (Names{"empty", "A"}));
    EXPECT_EQ(CurrentPageName(), "A");
    EXPECT_TRUE(m_lstChanges.empty());
    EXPECT_NE(m_pB->Widget(), nullptr);
    EXPECT_TRUE(Delivered("FOCUS_VIEW").empty());
}

TEST_F(CViewStack, InvalidViewOfAnUnknownViewChangesNothing)
{
    StartWithTwoViews(true);
    RecordStackChanges();
    CFakeView* pStranger = NewView("Stranger");
    Send("INVALID_VIEW", pStranger);
    Send("INVALID_VIEW", nullptr);
    EXPECT_EQ(PageNames(), (Names{"empty", "A", "B"}));
    EXPECT_EQ(CurrentPageName(), "A");
    EXPECT_TRUE(m_lstChanges.empty());
    EXPECT_EQ(m_threadLogText.str(), "");
}

TEST_F(CViewStack, RemovedViewIsForgottenAndItsDummyWidgetLeftAlive)
{
    StartViewStack();
    CFakeView* pBare = NewView("Bare", nullptr);
    Send("NEW_VIEW", pBare);
    QPointer<QWidget> pDummy = Stack()->widget(1);
    Send("INVALID_VIEW", pBare);
    EXPECT_FALSE(pDummy.isNull());
    EXPECT_EQ(PageNames(), Names{"empty"});
    // Forgotten: activating it now shows the empty page.
    Send("ACTIVE_VIEW", pBare);
    EXPECT_EQ(CurrentPageName(), "empty");
}

TEST_F(CViewStack, ViewDataOfAnotherTypeThrowsUnwrappedAndChangesNothing)
{
    StartWithTwoViews(true);
    Zarn::CValueMap doc;
    for (const char* szName : {"NEW_VIEW", "INVALID_VIEW", "ACTIVE_VIEW"})
    {
        SCOPED_TRACE(szName);
        const Zarn::CValueMap message =
            Message(szName, new Zarn::CValuePointer<Zarn::CValueMap>(&doc));
        try
        {
            m_pPluginBase->UpdateParameters(message);
            ADD_FAILURE() << "UpdateParameters did not throw";
        }
        catch (const Zarn::CExBadParam& exception)
        {
            EXPECT_EQ(std::string(exception.function()).find("CViewStackPlugin"), std::string::npos)
                << exception.function();
        }
        EXPECT_EQ(PageNames(), (Names{"empty", "A", "B"}));
        EXPECT_EQ(CurrentPageName(), "A");
    }
}

TEST_F(CViewStack, ViewDataOfAnotherTypeThroughTheThreadIsLoggedAndOthersStillGetIt)
{
    StartWithTwoViews(true);
    Zarn::CValueMap doc;
    m_pThread->TakeMessage(new Zarn::CMessage(m_pIds->GetMessageId("ACTIVE_VIEW"),
                                              new Zarn::CValuePointer<Zarn::CValueMap>(&doc),
                                              Zarn::CMessage::priNormal),
                           Zarn::CMessage::mmQueued);
    Deliver();
    EXPECT_FALSE(m_threadLogText.str().empty());
    EXPECT_EQ(Delivered("ACTIVE_VIEW").size(), 2u);
    EXPECT_EQ(CurrentPageName(), "A");
    // The signal stays connected: a user's pick is still reported.
    Stack()->setCurrentWidget(m_pB->Widget());
    Deliver();
    EXPECT_EQ(Delivered("FOCUS_VIEW").size(), 1u);
}

TEST_F(CViewStack, MessagesWithoutDataAndOtherMessagesAreIgnored)
{
    StartWithTwoViews(true);
    for (const char* szName : {"NEW_VIEW", "INVALID_VIEW", "ACTIVE_VIEW"})
    {
        m_pPluginBase->UpdateParameters(Message(szName, nullptr));
    }
    Zarn::CValueMap noId;
    noId.SetEntry(Zarn::CValue_Key("data"), new Zarn::CValuePointer<Zarn::CPluginBase>(m_pB));
    m_pPluginBase->UpdateParameters(noId);
    CFakeView* pC = NewView("C");
    Send("ADD_VIEW", pC);
    Send("FOCUS_VIEW", m_pB);
    EXPECT_EQ(PageNames(), (Names{"empty", "A", "B"}));
    EXPECT_EQ(CurrentPageName(), "A");
    EXPECT_EQ(m_threadLogText.str(), "");
}

TEST_F(CViewStack, MissingMessageIdFactoryFailsInitAsWrappedHostException)
{
    Zarn::CRegistry::Obj().RemoveEntry(Zarn::CValue_Key("tmp/messageidfactory"));
    m_pPluginBase = static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("ViewStack"));
    ASSERT_NE(m_pPluginBase, nullptr);
    DocViewTest::ExpectHostExceptionFrom([&] { m_pPluginBase->Init(nullptr, Zarn::CValueMap()); },
                                         "CViewStackPlugin::Init - ");
}

// The plug-in goes while the views live: its parentless stack goes with it, the views' pages
// do not.
TEST_F(CViewStack, DeletingThePluginDeletesItsParentlessStackButNotTheViewsPages)
{
    StartWithTwoViews(true);
    QPointer<QStackedWidget> pStack = Stack();
    ASSERT_EQ(pStack->parentWidget(), nullptr);
    m_pThread->Unsubscribe(m_pPluginBase);
    delete m_pPluginBase;
    m_pPluginBase = nullptr;
    m_pPlugin = nullptr;
    EXPECT_TRUE(pStack.isNull());
    for (CFakeView* pView : {m_pA, m_pB})
    {
        ASSERT_NE(pView->Widget(), nullptr);
        EXPECT_EQ(pView->Widget()->parentWidget(), nullptr);
    }
    EXPECT_EQ(Deliver(), 0u);
}

} // namespace
} // namespace ViewStackTest
