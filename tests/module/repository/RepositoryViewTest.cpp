#include "RepositoryHarness.h"
#include "StreamCapture.h"

#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValueContainer.h>

#include <iostream>
#include <list>
#include <utility>

using namespace RepositoryTest;

namespace
{

class RepositoryViews : public CRepositoryFixture
{
protected:
    // Factories in "views" order; each behaviour can be changed before Start().
    void AddEntry(Zarn::CValueMap* entry) { m_lstEntries.push_back(entry); }

    void Start(bool autoremove = true, bool autoselectView = true, bool autoselectDoc = true)
    {
        auto* pParameters = new Zarn::CValueMap;
        pParameters->SetEntry(Zarn::CValue_Key("autoselect doc"),
                              new Zarn::CValueBool(autoselectDoc));
        pParameters->SetEntry(Zarn::CValue_Key("autoremove doc"), new Zarn::CValueBool(autoremove));
        pParameters->SetEntry(Zarn::CValue_Key("autoselect view"),
                              new Zarn::CValueBool(autoselectView));
        auto* pViews = new Zarn::CValueVector;
        for (Zarn::CValueMap* pEntry : m_lstEntries)
        {
            pViews->PushBack(pEntry);
        }
        m_lstEntries.clear();
        pParameters->SetEntry(Zarn::CValue_Key("views"), pViews);
        StartRepository(pParameters);
        TakeLogLines();
    }

    // Starts with the one autocreate factory "Standard" (views "Standard-1", "Standard-2", ...).
    void StartWithStandard(bool autoremove = true, bool autoselectView = true)
    {
        RegisterFactory("Standard");
        AddEntry(FactoryEntry("Standard", true));
        Start(autoremove, autoselectView);
    }

    // Adds a document and returns it with the view the first factory made for it last; what
    // the addition broadcast is taken.
    std::pair<CTrackedDocument*, CFakeView*> AddShownDocument(const std::string& label)
    {
        CTrackedDocument* pDoc = AddDocument(label);
        CFakeView* pView = m_lstBehaviours[0]->m_lstViews.back();
        TakeBroadcasts();
        return {pDoc, pView};
    }

    // Starts with one autocreate factory `szFactory` that answers `enRun`, adds document "a"
    // and returns what the repository printed meanwhile.
    std::string OutputOfAutocreate(const char* szFactory, SFactoryBehaviour::EnRunResult enRun)
    {
        RegisterFactory(szFactory).m_enRun = enRun;
        AddEntry(FactoryEntry(szFactory, true));
        Start();
        DocViewTest::CStreamCapture capture(std::cout);
        AddDocument("a");
        return capture.Text();
    }

    void PostAddView(Zarn::CValueMap* doc, Zarn::CPluginBase* view,
                     Zarn::CValueMap* settings = nullptr)
    {
        auto* pRequest = new Zarn::CValueMap;
        pRequest->SetEntry(Zarn::CValue_Key("document"),
                           new Zarn::CValuePointer<Zarn::CValueMap>(doc));
        pRequest->SetEntry(Zarn::CValue_Key("view"),
                           new Zarn::CValuePointer<Zarn::CPluginBase>(view));
        if (settings != nullptr)
        {
            pRequest->SetEntry(Zarn::CValue_Key("settings"), settings);
        }
        Post("ADD_VIEW", pRequest);
    }

    void PostCreateView(const char* type, Zarn::CValueMap* doc)
    {
        auto* pRequest = new Zarn::CValueMap;
        pRequest->SetEntry(Zarn::CValue_Key("type"), new Zarn::CValueString(type));
        pRequest->SetEntry(Zarn::CValue_Key("document"),
                           new Zarn::CValuePointer<Zarn::CValueMap>(doc));
        Post("CREATE_VIEW", pRequest);
    }

    static size_t ViewListSize(Zarn::CValueMap& doc)
    {
        const auto* pList = Zarn::UnwrapPointer<std::list<Zarn::CPluginBase*>>(
            doc.Entry(Zarn::CValue_Key("view_list"), true));
        return pList->size();
    }

    std::vector<Zarn::CValueMap*> m_lstEntries;
};

} // namespace

// View creation

TEST_F(RepositoryViews, OnlyTheFirstAcceptingAutocreateFactoryMakesTheStandardView)
{
    SFactoryBehaviour& refusing = RegisterFactory("Refusing");
    refusing.m_fnAccepts = [](const Zarn::CValueMap*) { return false; };
    SFactoryBehaviour& first = RegisterFactory("First");
    SFactoryBehaviour& second = RegisterFactory("Second");
    AddEntry(FactoryEntry("Refusing", true));
    AddEntry(FactoryEntry("First", true));
    AddEntry(FactoryEntry("Second", true));
    Start();
    CTrackedDocument* pDoc = AddDocument("a");
    EXPECT_TRUE(refusing.m_lstViews.empty());
    EXPECT_EQ(first.m_lstViews.size(), 1U);
    EXPECT_TRUE(second.m_lstViews.empty());
    EXPECT_EQ(ViewListSize(*pDoc), 1U);
}

TEST_F(RepositoryViews, NoAcceptingFactoryLogsAWarningAndLeavesTheDocumentWithoutView)
{
    SFactoryBehaviour& refusing = RegisterFactory("Refusing");
    refusing.m_fnAccepts = [](const Zarn::CValueMap*) { return false; };
    AddEntry(FactoryEntry("Refusing", true));
    Start();
    CTrackedDocument* pDoc = AddDocument("a");
    EXPECT_EQ(TakeLogLines(), (std::vector<std::string>{
                                  "warning CRepositoryPlugin::CreateStandardView - No view "
                                  "factory for a found.",
                              }));
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"ADD_DOCUMENT", "NEW_DOCUMENT a"}));
    EXPECT_FALSE(pDoc->HasEntry(Zarn::CValue_Key("view_list")));
    EXPECT_TRUE(TakeCaught().empty());
}

TEST_F(RepositoryViews, FactoryThatMakesNoViewPrintsOneLineAndNothingElseHappens)
{
    EXPECT_EQ(OutputOfAutocreate("Cancelling", SFactoryBehaviour::runNothing),
              "CRepositoryPlugin::CreateView - View plugin not created, user aborted?\n");
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"ADD_DOCUMENT", "NEW_DOCUMENT a"}));
    EXPECT_TRUE(TakeCaught().empty());
    EXPECT_TRUE(TakeLogLines().empty());
}

TEST_F(RepositoryViews, FactoryThatAnswersWithAnotherTypeCountsAsNoView)
{
    EXPECT_EQ(OutputOfAutocreate("Odd", SFactoryBehaviour::runOtherType),
              "CRepositoryPlugin::CreateView - View plugin not created, user aborted?\n");
    EXPECT_TRUE(TakeCaught().empty());
}

TEST_F(RepositoryViews, NullViewFromTheFactoryThrowsNotLoadedAfterNewDocument)
{
    SFactoryBehaviour& broken = RegisterFactory("Broken");
    broken.m_enRun = SFactoryBehaviour::runNullView;
    SFactoryBehaviour& action = RegisterFactory("Action");
    AddEntry(FactoryEntry("Broken", true));
    AddEntry(FactoryEntry("Action", false, "zoom"));
    Start();
    AddDocument("a");
    ExpectOneCaught("CRepositoryPlugin::CreateView", "View plugin for a document  not loaded.",
                    "CRepositoryPlugin");
    // AddDocument ended there: no focus, no control update.
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"ADD_DOCUMENT", "NEW_DOCUMENT a"}));
    EXPECT_TRUE(action.m_lstViews.empty());
}

TEST_F(RepositoryViews, ActionOfNoFactoryIsIgnoredWithoutALogLine)
{
    RegisterFactory("Standard");
    AddEntry(FactoryEntry("Standard", true, "show"));
    Start();
    AddDocument("a");
    TakeLogLines();
    TakeBroadcasts();
    Send("ON_ACTION", new Zarn::CValueString("run tool"));
    EXPECT_TRUE(TakeLogLines().empty());
    EXPECT_TRUE(TakeCaught().empty());
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"ON_ACTION"}));
}

TEST_F(RepositoryViews, ActionMakesAViewOfTheActiveDocument)
{
    RegisterFactory("Standard");
    SFactoryBehaviour& zoom = RegisterFactory("Zoom");
    AddEntry(FactoryEntry("Standard", true));
    AddEntry(FactoryEntry("Zoom", false, "zoom"));
    Start();
    CTrackedDocument* pA = AddDocument("a");
    AddDocument("b");
    SendView("FOCUS_VIEW", m_lstBehaviours[0]->m_lstViews[0]);
    TakeBroadcasts();
    TakeLogLines();
    Send("ON_ACTION", new Zarn::CValueString("zoom"));
    ASSERT_EQ(zoom.m_lstViews.size(), 1U);
    ExpectBroadcastsAndTexts(
        {"ON_ACTION", "NEW_VIEW Zoom-1", "ACTIVE_VIEW Zoom-1"},
        {"CRepositoryPlugin::CreateViewOnAction - View factory for action zoom found.",
         "CRepositoryPlugin::CreateView - View plugin created for a.",
         "CRepositoryPlugin::FocusView: Changed active view to Zoom-1."});
    EXPECT_EQ(ViewListSize(*pA), 2U);
}

TEST_F(RepositoryViews, ActionWithoutActiveDocumentThrowsInvalidDocumnet)
{
    RegisterFactory("Zoom");
    AddEntry(FactoryEntry("Zoom", false, "zoom"));
    Start();
    Send("ON_ACTION", new Zarn::CValueString("zoom"));
    ExpectOneCaught("CRepositoryPlugin::CreateView", "Invalid Documnet!", "CRepositoryPlugin");
}

TEST_F(RepositoryViews, ActionWhoseFactoryRefusesTheDocumentThrowsCannotHandle)
{
    SFactoryBehaviour& zoom = RegisterFactory("Zoom");
    zoom.m_fnAccepts = [](const Zarn::CValueMap*) { return false; };
    AddEntry(FactoryEntry("Zoom", false, "zoom"));
    Start();
    AddDocument("a");
    Send("ON_ACTION", new Zarn::CValueString("zoom"));
    const std::vector<SCaught> lstCaught = TakeCaught();
    ASSERT_EQ(lstCaught.size(), 1U);
    EXPECT_EQ(lstCaught[0].m_strWhat, "Factory plugin can not handle document a.");
    EXPECT_EQ(lstCaught[0].m_strFunction, "CRepositoryPlugin::CreateView");
}

TEST_F(RepositoryViews, CreateViewByTypeUsesTheTypesFactory)
{
    RegisterFactory("Standard");
    SFactoryBehaviour& table = RegisterFactory("Table");
    AddEntry(FactoryEntry("Standard", true));
    AddEntry(FactoryEntry("Table", false, "", "table"));
    Start();
    CTrackedDocument* pDoc = AddDocument("a");
    TakeLogLines();
    PostCreateView("table", pDoc);
    Deliver();
    ASSERT_EQ(table.m_lstViews.size(), 1U);
    EXPECT_EQ(TakeTexts().at(0),
              "CRepositoryPlugin::CreateViewOnType - View factory for type table found.");
    EXPECT_EQ(ViewListSize(*pDoc), 2U);
}

// The text names the active document, not the one asked for: deliberate.
TEST_F(RepositoryViews, CreateViewOfUnknownTypeNamesTheActiveDocumentsLabel)
{
    StartWithStandard();
    PostCreateView("chart", nullptr);
    Deliver();
    const std::vector<SCaught> lstCaught = TakeCaught();
    ASSERT_EQ(lstCaught.size(), 1U);
    EXPECT_EQ(lstCaught[0].m_strWhat, "Viewplugin factory for type chart document  not loaded.");

    AddDocument("a");
    CTrackedDocument* pB = AddDocument("b");
    SendView("FOCUS_VIEW", m_lstBehaviours[0]->m_lstViews[0]);
    PostCreateView("chart", pB);
    Deliver();
    ExpectOneCaught("CRepositoryPlugin::CreateViewOnType",
                    "Viewplugin factory for type chart document a not loaded.",
                    "CRepositoryPlugin");
}

TEST_F(RepositoryViews, NewViewInheritsTheActiveViewsSettingsOnlyWhileTheGlobalSwitchIsOn)
{
    SFactoryBehaviour& standard = RegisterFactory("Standard");
    Zarn::CValueMap settings;
    settings.SetEntry(Zarn::CValue_Key("zoom"), new Zarn::CValueLong(2));
    standard.m_viewSettings = settings;
    AddEntry(FactoryEntry("Standard", true));
    Start();
    const char* const szSwitch = "main/globalsettings/repository/inheritateSettings";

    AddDocument("first"); // nothing active yet: nothing to inherit
    AddDocument("switch missing");
    Zarn::CRegistry::Obj().SetEntry(Zarn::CValue_Key(szSwitch), new Zarn::CValueLong(1));
    AddDocument("switch not a bool");
    Zarn::CRegistry::Obj().SetEntry(Zarn::CValue_Key(szSwitch), new Zarn::CValueBool(false));
    AddDocument("switch off");
    Zarn::CRegistry::Obj().SetEntry(Zarn::CValue_Key(szSwitch), new Zarn::CValueBool(true));
    AddDocument("switch on");

    const std::vector<CFakeView*>& lstViews = standard.m_lstViews;
    ASSERT_EQ(lstViews.size(), 5U);
    for (size_t i = 0; i < 4; ++i)
    {
        EXPECT_FALSE(lstViews[i]->Updates().at(0).HasEntry(Zarn::CValue_Key("settings"))) << i;
    }
    const Zarn::CValueMap& parameters = lstViews[4]->Updates().at(0);
    EXPECT_EQ(Long(parameters, "settings/zoom"), 2);
}

TEST_F(RepositoryViews, AddViewHandsItsSettingsOnOnlyWhileTheGlobalSwitchIsOn)
{
    Start();
    CTrackedDocument* pDoc = AddDocument("a");
    auto* pSettings = new Zarn::CValueMap;
    pSettings->SetEntry(Zarn::CValue_Key("colour"), new Zarn::CValueString("red"));
    auto* pView = new CFakeView("given", &m_journal);
    Zarn::CRegistry::Obj().SetEntry(
        Zarn::CValue_Key("main/globalsettings/repository/inheritateSettings"),
        new Zarn::CValueBool(true));
    PostAddView(pDoc, pView, pSettings);
    Deliver();
    ASSERT_EQ(pView->Updates().size(), 1U);
    EXPECT_EQ(Str(pView->Updates()[0], "settings/colour"), "red");
    EXPECT_EQ(PointerAt(pView->Updates()[0], "document"), pDoc);
}

// Focus and removal

TEST_F(RepositoryViews, RemovalGivesTheFocusToTheMostRecentlyFocusedRemainingView)
{
    StartWithStandard(/*autoremove*/ false);
    AddDocument("x");
    AddDocument("y");
    AddDocument("z");
    const std::vector<CFakeView*>& lstViews = m_lstBehaviours[0]->m_lstViews;
    // Focus A, then B, then C.
    PostView("FOCUS_VIEW", lstViews[0]);
    PostView("FOCUS_VIEW", lstViews[1]);
    PostView("FOCUS_VIEW", lstViews[2]);
    Deliver();
    TakeBroadcasts();
    SendView("REMOVE_VIEW", lstViews[2]);
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"REMOVE_VIEW", "ACTIVE_VIEW Standard-2",
                                                          "INVALID_VIEW Standard-3"}));
    SendView("REMOVE_VIEW", lstViews[1]);
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"REMOVE_VIEW", "ACTIVE_VIEW Standard-1",
                                                          "INVALID_VIEW Standard-2"}));
}

TEST_F(RepositoryViews, RemovingTheLastViewWithAutoremoveOnRemovesTheDocument)
{
    StartWithStandard(/*autoremove*/ true);
    AddDocument("a");
    TakeBroadcasts();
    TakeLogLines();
    SendView("REMOVE_VIEW", m_lstBehaviours[0]->m_lstViews[0]);
    ExpectBroadcastsAndTexts(
        {"REMOVE_VIEW", "ACTIVE_VIEW null", "INVALID_VIEW Standard-1", "INVALID_DOCUMENT a"},
        {"CRepositoryPlugin::RemoveView: Removing View Standard-1 ...",
         "CRepositoryPlugin::RemoveDocument",
         "CRepositoryPlugin::KillView: View Standard-1 is deleted!"});
    EXPECT_EQ(m_journal.Count("destroyed document a"), 1);
    EXPECT_EQ(m_journal.Count("destroyed view Standard-1"), 1);
}

TEST_F(RepositoryViews, RemovingTheLastViewWithAutoremoveOffKeepsTheDocument)
{
    StartWithStandard(/*autoremove*/ false);
    const auto [pDoc, pView] = AddShownDocument("a");
    SendView("REMOVE_VIEW", pView);
    EXPECT_EQ(TakeBroadcasts(),
              (std::vector<std::string>{"REMOVE_VIEW", "INVALID_VIEW Standard-1"}));
    EXPECT_EQ(m_journal.Count("destroyed view Standard-1"), 1);
    EXPECT_EQ(m_journal.Count("destroyed document a"), 0);
    EXPECT_EQ(ViewListSize(*pDoc), 0U);
    // Deliberately left naming the removed view.
    EXPECT_EQ(PointerAt(*pDoc, "active_view"), pView);
}

TEST_F(RepositoryViews, FocusingTheActiveViewAgainSendsNoActiveViewButRefreshesControls)
{
    RegisterFactory("Standard");
    SFactoryBehaviour& zoom = RegisterFactory("Zoom");
    bool bAccept = true;
    zoom.m_fnAccepts = [&bAccept](const Zarn::CValueMap*) { return bAccept; };
    AddEntry(FactoryEntry("Standard", true));
    AddEntry(FactoryEntry("Zoom", false, "zoom"));
    Start();
    AddDocument("a");
    TakeBroadcasts();
    TakeLogLines();
    bAccept = false;
    SendView("FOCUS_VIEW", m_lstBehaviours[0]->m_lstViews[0]);
    EXPECT_EQ(TakeBroadcasts(),
              (std::vector<std::string>{"FOCUS_VIEW", "UPDATE_CONTROLS {zoom=false}"}));
    EXPECT_TRUE(TakeLogLines().empty());
}

TEST_F(RepositoryViews, SecondViewJoinsTheViewListAndLeavesActiveViewUnlessFocused)
{
    StartWithStandard(true, /*autoselectView*/ false);
    CTrackedDocument* pDoc = AddDocument("a");
    CFakeView* pFirst = m_lstBehaviours[0]->m_lstViews[0];
    TakeBroadcasts();
    auto* pSecond = new CFakeView("second", &m_journal);
    PostAddView(pDoc, pSecond);
    Deliver();
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"ADD_VIEW", "NEW_VIEW second"}));
    EXPECT_EQ(ViewListSize(*pDoc), 2U);
    EXPECT_EQ(PointerAt(*pDoc, "active_view"), pFirst);
    SendView("FOCUS_VIEW", pSecond);
    EXPECT_EQ(PointerAt(*pDoc, "active_view"), pSecond);
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"FOCUS_VIEW", "ACTIVE_VIEW second"}));
}

TEST_F(RepositoryViews, ViewIsDeletedOnlyWhenItsOwnInvalidViewComesBack)
{
    StartWithStandard(/*autoremove*/ false);
    AddDocument("a");
    CFakeView* pView = m_lstBehaviours[0]->m_lstViews[0];
    // Another plug-in's INVALID_VIEW for a live view changes nothing.
    SendView("INVALID_VIEW", pView);
    EXPECT_EQ(m_journal.Count("destroyed view Standard-1"), 0);

    PostView("REMOVE_VIEW", pView);
    m_pThread->DeliverPending();
    EXPECT_EQ(m_journal.Count("destroyed view Standard-1"), 0);
    EXPECT_EQ(m_journal.Count("DeleteData Standard-1"), 0);
    Deliver();
    EXPECT_EQ(m_journal.Count("DeleteData Standard-1"), 1);
    EXPECT_EQ(m_journal.Count("destroyed view Standard-1"), 1);
    EXPECT_LT(m_journal.IndexOf("broadcast INVALID_VIEW Standard-1"),
              m_journal.IndexOf("DeleteData Standard-1"));
}

TEST_F(RepositoryViews, FocusingAViewWithoutDocumentThrowsFocousViewAndItStaysActive)
{
    Start();
    CTrackedDocument* pDoc = AddDocument("a");
    auto* pView = new CFakeView("mute", &m_journal);
    pView->m_bDescribeDocument = false;
    TakeLogLines();
    PostAddView(pDoc, pView);
    Deliver();
    ExpectOneCaught("ADD_VIEW", "CRepositoryPlugin::FocousView",
                    "View [TestView::Plain] does not provide document pointer!",
                    "CRepositoryPlugin");
    EXPECT_EQ(TakeTexts().at(0), "CRepositoryPlugin::FocusView: Changed active view to mute.");
    // It is the active view now: focusing it again is quiet and throws nothing.
    TakeBroadcasts();
    SendView("FOCUS_VIEW", pView);
    EXPECT_TRUE(TakeCaught().empty());
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"FOCUS_VIEW"}));
}

TEST_F(RepositoryViews, RemovingAViewWithoutDocumentThrowsAndChangesNothing)
{
    Start(true, /*autoselectView*/ false);
    CTrackedDocument* pDoc = AddDocument("a");
    auto* pView = new CFakeView("mute", &m_journal);
    pView->m_bDescribeDocument = false;
    PostAddView(pDoc, pView);
    Deliver();
    TakeBroadcasts();
    TakeLogLines();
    SendView("REMOVE_VIEW", pView);
    ExpectOneCaught("CRepositoryPlugin::RemoveView", "Missing document entry of view 'mute'!", "");
    ExpectBroadcastsAndTexts({"REMOVE_VIEW"},
                             {"CRepositoryPlugin::RemoveView: Removing View mute ..."});
    EXPECT_EQ(m_journal.Count("destroyed view mute"), 0);
    EXPECT_EQ(ViewListSize(*pDoc), 1U);
}

TEST_F(RepositoryViews, UnknownViewsLoseTheFocusAndAreIgnoredByRemovalAndKill)
{
    RegisterFactory("Standard");
    RegisterFactory("Zoom");
    AddEntry(FactoryEntry("Standard", true));
    AddEntry(FactoryEntry("Zoom", false, "zoom"));
    Start();
    AddDocument("a");
    TakeBroadcasts();
    CFakeView stranger("stranger", &m_journal);
    PostView("REMOVE_VIEW", &stranger);
    PostView("INVALID_VIEW", &stranger);
    Deliver();
    EXPECT_TRUE(TakeCaught().empty());
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"REMOVE_VIEW", "INVALID_VIEW stranger"}));
    EXPECT_TRUE(stranger.Updates().empty());

    SendView("FOCUS_VIEW", &stranger);
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"FOCUS_VIEW", "ACTIVE_VIEW null",
                                                          "UPDATE_CONTROLS {zoom=false}"}));
    // No active document any more either.
    Send("ON_ACTION", new Zarn::CValueString("zoom"));
    ASSERT_EQ(TakeCaught().size(), 1U);
}

TEST_F(RepositoryViews, FocusingADocumentWithoutViewsLeavesNoActiveViewNorDocument)
{
    SFactoryBehaviour& standard = RegisterFactory("Standard");
    standard.m_fnAccepts = [](const Zarn::CValueMap* doc)
    { return doc != nullptr && Str(*doc, "label") != "bare"; };
    RegisterFactory("Zoom");
    AddEntry(FactoryEntry("Standard", true));
    AddEntry(FactoryEntry("Zoom", false, "zoom"));
    Start(true, true, /*autoselectDoc*/ false);
    AddDocument("a");
    CTrackedDocument* pBare = AddDocument("bare");
    TakeBroadcasts();
    // A view was active: the active document follows the view, so there is neither.
    SendDocument("FOCUS_DOCUMENT", pBare);
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"FOCUS_DOCUMENT", "ACTIVE_VIEW null",
                                                          "UPDATE_CONTROLS {zoom=false}"}));
    Send("ON_ACTION", new Zarn::CValueString("zoom"));
    const std::vector<SCaught> lstCaught = TakeCaught();
    ASSERT_EQ(lstCaught.size(), 1U);
    EXPECT_EQ(lstCaught[0].m_strWhat, "Invalid Documnet!");

    // With no view active, the same request makes it the active document.
    TakeBroadcasts();
    SendDocument("FOCUS_DOCUMENT", pBare);
    EXPECT_EQ(TakeBroadcasts(),
              (std::vector<std::string>{"FOCUS_DOCUMENT", "UPDATE_CONTROLS {zoom=true}"}));
}

TEST_F(RepositoryViews, FocusingADocumentFocusesItsLastActiveView)
{
    StartWithStandard();
    CTrackedDocument* pA = AddDocument("a");
    AddDocument("b");
    TakeBroadcasts();
    SendDocument("FOCUS_DOCUMENT", pA);
    EXPECT_EQ(TakeBroadcasts(),
              (std::vector<std::string>{"FOCUS_DOCUMENT", "ACTIVE_VIEW Standard-1"}));
    // Focusing the active document again sends nothing more.
    SendDocument("FOCUS_DOCUMENT", pA);
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"FOCUS_DOCUMENT"}));
}

TEST_F(RepositoryViews, UpdateViewReloadsTheDocumentAndAnnouncesTheChange)
{
    StartWithStandard();
    const auto [pDoc, pView] = AddShownDocument("a");
    SendView("UPDATE_VIEW", pView);
    EXPECT_EQ(TakeBroadcasts(),
              (std::vector<std::string>{"UPDATE_VIEW", "VIEW_CHANGED Standard-1"}));
    ASSERT_NO_FATAL_FAILURE(ExpectLoads(*pView, 2, pDoc));
    EXPECT_EQ(pView->Updates()[1].Size(), 1U);

    // A view that does not name its document is left alone.
    pView->m_bDescribeDocument = false;
    SendView("UPDATE_VIEW", pView);
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"UPDATE_VIEW"}));
    EXPECT_EQ(pView->Updates().size(), 2U);
}

// Regression: UPDATE_VIEW refreshed only views the repository holds; a view made and held by
// another plug-in must be reloaded and announced the same way.
TEST_F(RepositoryViews, UpdateViewReloadsAViewTheRepositoryDoesNotHold)
{
    StartWithStandard();
    CTrackedDocument* pDoc = AddDocument("a");
    CFakeView stranger("stranger", &m_journal);
    Zarn::CValueMap firstLoad;
    firstLoad.SetEntry(Zarn::CValue_Key("document"),
                       new Zarn::CValuePointer<Zarn::CValueMap>(pDoc));
    stranger.UpdateParameters(firstLoad);
    TakeBroadcasts();

    SendView("UPDATE_VIEW", &stranger);
    EXPECT_TRUE(TakeCaught().empty());
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"UPDATE_VIEW", "VIEW_CHANGED stranger"}));
    ASSERT_NO_FATAL_FAILURE(ExpectLoads(stranger, 2, pDoc));

    // Without a document in its description the view is left alone, held or not.
    stranger.m_bDescribeDocument = false;
    SendView("UPDATE_VIEW", &stranger);
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"UPDATE_VIEW"}));
    EXPECT_EQ(stranger.Updates().size(), 2U);
}

// Regression: the removed active view is deleted while the focus stays; it must neither be asked
// for settings any more nor be mistaken for a new view made at the same address.
TEST_F(RepositoryViews, DeletedActiveViewIsNotUsedByTheNextViewOfItsDocument)
{
    RegisterFactory("Standard");
    SFactoryBehaviour& zoom = RegisterFactory("Zoom");
    AddEntry(FactoryEntry("Standard", true));
    AddEntry(FactoryEntry("Zoom", false, "zoom"));
    Start(/*autoremove*/ false);
    CTrackedDocument* pDoc = AddDocument("a");
    SendView("REMOVE_VIEW", m_lstBehaviours[0]->m_lstViews[0]);
    ASSERT_EQ(m_journal.Count("destroyed view Standard-1"), 1);
    TakeBroadcasts();

    Send("ON_ACTION", new Zarn::CValueString("zoom"));
    EXPECT_TRUE(TakeCaught().empty());
    ASSERT_EQ(zoom.m_lstViews.size(), 1U);
    EXPECT_EQ(TakeBroadcasts(),
              (std::vector<std::string>{"ON_ACTION", "NEW_VIEW Zoom-1", "ACTIVE_VIEW Zoom-1"}));
    EXPECT_EQ(PointerAt(*pDoc, "active_view"), zoom.m_lstViews[0]);
}
