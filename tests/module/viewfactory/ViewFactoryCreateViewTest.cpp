// NEW_DOCUMENT -> the first willing factory -> ADD_VIEW, through the real communication thread.

#include "HostException.h"
#include "ViewFactoryHarness.h"

#include "views/ViewFactoryPlugin.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QLabel>
#include <QPointer>

#include <stdexcept>
#include <string>
#include <vector>

namespace ViewFactoryTest
{
namespace
{

using Lines = std::vector<std::string>;

const char* const kNoFactory = "CViewFactoryPlugin::AddCreateView - No view factory found.";
const char* const kAborted =
    "CViewFactoryPlugin::AddCreateView - View plugin not created, user aborted?";
const char* const kNotLoaded = "CViewFactoryPlugin::AddCreateView - View plugin not loaded.";
const char* const kLoaded = "CViewFactoryPlugin::AddCreateView - View plugin loaded.";

class CViewFactoryCreateView : public CViewFactoryFixture
{
protected:
    // Starts with these factories, forgets what Init printed and posts one NEW_DOCUMENT.
    Zarn::CValueMap* NewDocumentFor(const std::vector<std::string>& factories)
    {
        StartViewFactory(factories.empty() ? nullptr : ViewsParameters(factories, true));
        TakeOutputLines();
        m_journal.m_lstEvents.clear();
        return PostNewDocument();
    }

    // Starts with "FactoryA" registered and loaded, no parent given, and forgets what loading
    // printed and did.
    void StartQuietWithFactoryA()
    {
        RegisterFactory("FactoryA");
        StartViewFactory(ViewsParameters({"FactoryA"}, false));
        TakeOutputLines();
        m_journal.m_lstEvents.clear();
    }

    // One factory "FactoryA" that answers with `enRun`, asked for one new document.
    void CreateThroughOneFactory(SFactoryBehaviour::EnRunResult enRun)
    {
        RegisterFactory("FactoryA").m_enRun = enRun;
        NewDocumentFor({"FactoryA"});
        Deliver();
    }

    Zarn::CValueMap* PostNewDocument()
    {
        m_lstDocuments.push_back(std::make_unique<Zarn::CValueMap>());
        Zarn::CValueMap* pDoc = m_lstDocuments.back().get();
        PostDocument("NEW_DOCUMENT", pDoc);
        return pDoc;
    }

    // NEW_DOCUMENT handed to the plug-in directly must throw the host exception with these texts.
    void ExpectNewDocumentThrows(const char* function, const char* what)
    {
        Zarn::CValueMap doc;
        Zarn::CValueMap message;
        message.SetEntry(Zarn::CValue_Key("id"),
                         new Zarn::CValueLong(m_pIds->GetMessageId("NEW_DOCUMENT")));
        message.SetEntry(Zarn::CValue_Key("data"), new Zarn::CValuePointer<Zarn::CValueMap>(&doc));
        DocViewTest::ExpectHostException([&] { m_pPlugin->UpdateParameters(message); },
                                         {function, what, {}});
    }
};

TEST_F(CViewFactoryCreateView, WithoutViewsEveryNewDocumentPrintsNoFactoryFound)
{
    NewDocumentFor({});
    PostNewDocument();
    Deliver();
    EXPECT_EQ(TakeOutputLines(), (Lines{kNoFactory, kNoFactory}));
    EXPECT_EQ(TakeErrorText(), "");
    EXPECT_TRUE(Delivered("ADD_VIEW").empty());
    EXPECT_EQ(m_threadLogText.str(), "");
}

TEST_F(CViewFactoryCreateView, NoWillingFactoryPrintsNoFactoryFoundAfterAskingEachOnce)
{
    RegisterFactory("FactoryA").m_bAccepts = false;
    RegisterFactory("FactoryB").m_bAccepts = false;
    NewDocumentFor({"FactoryA", "FactoryB"});
    Deliver();
    EXPECT_EQ(TakeOutputLines(), Lines{kNoFactory});
    EXPECT_EQ(m_journal.m_lstEvents, (Lines{"TestParameters FactoryA", "TestParameters FactoryB"}));
    EXPECT_TRUE(Delivered("ADD_VIEW").empty());
}

TEST_F(CViewFactoryCreateView, NewDocumentBecomesAddViewWithDocumentAndTheNewView)
{
    SFactoryBehaviour& behaviour = RegisterFactory("FactoryA");
    Zarn::CValueMap* pDoc = NewDocumentFor({"FactoryA"});
    Deliver();

    EXPECT_EQ(TakeOutputLines(), Lines{kLoaded});
    EXPECT_EQ(TakeErrorText(), "");
    EXPECT_EQ(m_journal.m_lstEvents,
              (Lines{"TestParameters FactoryA", "UpdateParameters FactoryA", "Run FactoryA"}));
    ASSERT_EQ(behaviour.m_lstTestedDocuments.size(), 1u);
    EXPECT_EQ(behaviour.m_lstTestedDocuments[0], pDoc);
    ASSERT_EQ(behaviour.m_lstUpdatedDocuments.size(), 1u);
    EXPECT_EQ(behaviour.m_lstUpdatedDocuments[0], pDoc);

    const std::vector<SDelivered> lstAdds = Delivered("ADD_VIEW");
    ASSERT_EQ(lstAdds.size(), 1u);
    EXPECT_TRUE(lstAdds[0].m_bDataIsMap);
    EXPECT_EQ(lstAdds[0].m_nEntries, 2u);
    EXPECT_EQ(lstAdds[0].m_pDocument, pDoc);
    ASSERT_EQ(behaviour.m_lstViews.size(), 1u);
    EXPECT_EQ(lstAdds[0].m_pView, static_cast<Zarn::CPluginBase*>(behaviour.m_lstViews[0]));
}

TEST_F(CViewFactoryCreateView, TwoAcceptingFactoriesOnlyTheFirstInConfigurationOrderIsUsed)
{
    SFactoryBehaviour& second = RegisterFactory("FactoryA");
    SFactoryBehaviour& first = RegisterFactory("FactoryB");
    NewDocumentFor({"FactoryB", "FactoryA"});
    Deliver();

    EXPECT_EQ(m_journal.m_lstEvents,
              (Lines{"TestParameters FactoryB", "UpdateParameters FactoryB", "Run FactoryB"}));
    EXPECT_TRUE(second.m_lstTestedDocuments.empty());
    EXPECT_TRUE(second.m_lstViews.empty());
    const std::vector<SDelivered> lstAdds = Delivered("ADD_VIEW");
    ASSERT_EQ(lstAdds.size(), 1u);
    ASSERT_EQ(first.m_lstViews.size(), 1u);
    EXPECT_EQ(lstAdds[0].m_pView, static_cast<Zarn::CPluginBase*>(first.m_lstViews[0]));
}

TEST_F(CViewFactoryCreateView, DecliningFactoryIsPassedOverForTheNextWillingOne)
{
    RegisterFactory("FactoryA").m_bAccepts = false;
    SFactoryBehaviour& willing = RegisterFactory("FactoryB");
    NewDocumentFor({"FactoryA", "FactoryB"});
    Deliver();

    EXPECT_EQ(m_journal.m_lstEvents, (Lines{"TestParameters FactoryA", "TestParameters FactoryB",
                                            "UpdateParameters FactoryB", "Run FactoryB"}));
    ASSERT_EQ(willing.m_lstViews.size(), 1u);
    ASSERT_EQ(Delivered("ADD_VIEW").size(), 1u);
    EXPECT_EQ(TakeOutputLines(), Lines{kLoaded});
}

TEST_F(CViewFactoryCreateView, ResultWithoutViewPluginMeansTheUserCancelledAndNoAddView)
{
    RegisterFactory("FactoryA").m_enRun = SFactoryBehaviour::runNothing;
    RegisterFactory("FactoryB");
    NewDocumentFor({"FactoryA", "FactoryB"});
    Deliver();

    EXPECT_EQ(TakeOutputLines(), Lines{kAborted});
    EXPECT_TRUE(Delivered("ADD_VIEW").empty());
    // The chosen factory's answer stands: the next one is not asked.
    EXPECT_EQ(m_journal.Count("TestParameters FactoryB"), 0);
}

TEST_F(CViewFactoryCreateView, ViewPluginOfAnotherTypeCountsAsNotCreated)
{
    CreateThroughOneFactory(SFactoryBehaviour::runOtherType);
    EXPECT_EQ(TakeOutputLines(), Lines{kAborted});
    EXPECT_TRUE(Delivered("ADD_VIEW").empty());
}

TEST_F(CViewFactoryCreateView, NullViewPluginPrintsNotLoadedAndNoAddView)
{
    CreateThroughOneFactory(SFactoryBehaviour::runNullView);
    EXPECT_EQ(TakeOutputLines(), Lines{kNotLoaded});
    EXPECT_TRUE(Delivered("ADD_VIEW").empty());
}

TEST_F(CViewFactoryCreateView, EachNewDocumentGetsItsOwnView)
{
    SFactoryBehaviour& behaviour = RegisterFactory("FactoryA");
    Zarn::CValueMap* pFirst = NewDocumentFor({"FactoryA"});
    Zarn::CValueMap* pSecond = PostNewDocument();
    Deliver();

    const std::vector<SDelivered> lstAdds = Delivered("ADD_VIEW");
    ASSERT_EQ(lstAdds.size(), 2u);
    ASSERT_EQ(behaviour.m_lstViews.size(), 2u);
    EXPECT_EQ(lstAdds[0].m_pDocument, pFirst);
    EXPECT_EQ(lstAdds[1].m_pDocument, pSecond);
    EXPECT_EQ(lstAdds[0].m_pView, static_cast<Zarn::CPluginBase*>(behaviour.m_lstViews[0]));
    EXPECT_EQ(lstAdds[1].m_pView, static_cast<Zarn::CPluginBase*>(behaviour.m_lstViews[1]));
    EXPECT_EQ(TakeOutputLines(), (Lines{kLoaded, kLoaded}));
}

TEST_F(CViewFactoryCreateView, OrphanageNeverBecomesVisibleWhileViewsAreMadeOnIt)
{
    SFactoryBehaviour& behaviour = RegisterFactory("FactoryA");
    NewDocumentFor({"FactoryA"});
    Deliver();

    ASSERT_EQ(behaviour.m_lstViews.size(), 1u);
    QWidget* pViewWidget = behaviour.m_lstViews[0]->Widget();
    ASSERT_NE(pViewWidget, nullptr);
    auto* pOrphanage = qobject_cast<QLabel*>(pViewWidget->parentWidget());
    ASSERT_NE(pOrphanage, nullptr);
    EXPECT_EQ(pOrphanage->objectName(), QStringLiteral("Orphanage"));
    EXPECT_FALSE(pOrphanage->isVisible());
    EXPECT_FALSE(pViewWidget->isVisible());
}

// The view factory goes while the views it had made live on (the repository owns them): their
// widgets, still on the orphanage, are not deleted with it.
TEST_F(CViewFactoryCreateView, DeleteDataLeavesTheWidgetsOfViewsMadeOnTheOrphanageToTheViews)
{
    SFactoryBehaviour& behaviour = RegisterFactory("FactoryA");
    NewDocumentFor({"FactoryA"});
    Deliver();
    ASSERT_EQ(behaviour.m_lstViews.size(), 1u);
    QPointer<QWidget> pViewWidget = behaviour.m_lstViews[0]->Widget();
    ASSERT_FALSE(pViewWidget.isNull());

    m_pPlugin->DeleteData();
    m_bPluginDataDeleted = true;

    ASSERT_FALSE(pViewWidget.isNull());
    EXPECT_EQ(pViewWidget->parentWidget(), nullptr);
    EXPECT_FALSE(pViewWidget->isVisible());
}

TEST_F(CViewFactoryCreateView, OtherMessagesAndMessagesWithoutDataAreIgnored)
{
    StartQuietWithFactoryA();

    Zarn::CValueMap doc;
    PostDocument("ADD_DOCUMENT", &doc);
    PostDocument("NEW_VIEW", &doc);
    m_pThread->TakeMessage(new Zarn::CMessage(m_pIds->GetMessageId("NEW_DOCUMENT"), nullptr,
                                              Zarn::CMessage::priNormal),
                           Zarn::CMessage::mmQueued);
    Deliver();
    EXPECT_EQ(TakeOutputLines(), Lines{});
    EXPECT_EQ(m_journal.m_lstEvents, Lines{});
    EXPECT_TRUE(Delivered("ADD_VIEW").empty());
    EXPECT_EQ(m_threadLogText.str(), "");
}

TEST_F(CViewFactoryCreateView, NewDocumentWithAViewPointerThrowsWrappedAndMakesNothing)
{
    StartQuietWithFactoryA();

    Zarn::CValueMap message;
    message.SetEntry(Zarn::CValue_Key("id"),
                     new Zarn::CValueLong(m_pIds->GetMessageId("NEW_DOCUMENT")));
    message.SetEntry(Zarn::CValue_Key("data"),
                     new Zarn::CValuePointer<Zarn::CPluginBase>(m_pRecorder.get()));
    DocViewTest::ExpectHostExceptionFrom([&] { m_pPlugin->UpdateParameters(message); },
                                         "CViewFactoryPlugin::UpdateParameters - ");
    EXPECT_EQ(m_journal.m_lstEvents, Lines{});
    EXPECT_EQ(TakeOutputLines(), Lines{});

    // Through the thread: the host logs it and goes on with the other receivers.
    m_pThread->TakeMessage(
        new Zarn::CMessage(m_pIds->GetMessageId("NEW_DOCUMENT"),
                           new Zarn::CValuePointer<Zarn::CPluginBase>(m_pRecorder.get()),
                           Zarn::CMessage::priNormal),
        Zarn::CMessage::mmQueued);
    Deliver();
    EXPECT_NE(m_threadLogText.str().find("CViewFactoryPlugin::UpdateParameters - "),
              std::string::npos)
        << m_threadLogText.str();
    EXPECT_EQ(Delivered("NEW_DOCUMENT").size(), 1u);
    EXPECT_TRUE(Delivered("ADD_VIEW").empty());
}

TEST_F(CViewFactoryCreateView, StdExceptionOfAFactoryLeavesAsWrappedExceptionWithoutPrefix)
{
    RegisterFactory("FactoryA").m_enTestThrows = SFactoryBehaviour::throwStd;
    StartViewFactory(ViewsParameters({"FactoryA"}, false));
    TakeOutputLines();

    ExpectNewDocumentThrows("CViewFactoryPlugin::UpdateParameters", "factory refused to start");
    EXPECT_EQ(TakeOutputLines(), Lines{});
}

TEST_F(CViewFactoryCreateView, UnknownExceptionOfAFactoryLeavesAsUnknwonException)
{
    RegisterFactory("FactoryA").m_enTestThrows = SFactoryBehaviour::throwUnknown;
    StartViewFactory(ViewsParameters({"FactoryA"}, false));

    ExpectNewDocumentThrows("CViewFactoryPlugin::UpdateParameters", "UNKNWON EXCEPTION!");
}

TEST_F(CViewFactoryCreateView, AddCreateViewCalledDirectlyPostsAddView)
{
    SFactoryBehaviour& behaviour = RegisterFactory("FactoryA");
    StartViewFactory(ViewsParameters({"FactoryA"}, false));
    TakeOutputLines();

    Zarn::CValueMap doc;
    m_pPlugin->AddCreateView(&doc);
    EXPECT_EQ(TakeOutputLines(), Lines{kLoaded});
    EXPECT_TRUE(Delivered("ADD_VIEW").empty()); // posted, not yet delivered
    Deliver();
    const std::vector<SDelivered> lstAdds = Delivered("ADD_VIEW");
    ASSERT_EQ(lstAdds.size(), 1u);
    EXPECT_EQ(lstAdds[0].m_pDocument, &doc);
    ASSERT_EQ(behaviour.m_lstViews.size(), 1u);
}

} // namespace
} // namespace ViewFactoryTest
