#include "RepositoryHarness.h"

#include <Zarn/Value/ValueContainer.h>

using namespace RepositoryTest;

namespace
{

// A repository with one autocreate factory "Standard" (views "Standard-1", "Standard-2", ...)
// and one action factory "Zoom" serving the action "zoom" for documents labelled "picture".
class RepositoryDocuments : public CRepositoryFixture
{
protected:
    void Start(bool autoremove = true)
    {
        RegisterFactory("Standard");
        SFactoryBehaviour& zoom = RegisterFactory("Zoom");
        zoom.m_fnAccepts = [](const Zarn::CValueMap* doc)
        { return doc != nullptr && Str(*doc, "label") == "picture"; };
        auto* pParameters = new Zarn::CValueMap;
        pParameters->SetEntry(Zarn::CValue_Key("autoremove doc"), new Zarn::CValueBool(autoremove));
        auto* pViews = new Zarn::CValueVector;
        pViews->PushBack(FactoryEntry("Standard", true));
        pViews->PushBack(FactoryEntry("Zoom", false, "zoom"));
        pParameters->SetEntry(Zarn::CValue_Key("views"), pViews);
        StartRepository(pParameters);
        TakeLogLines();
    }
};

} // namespace

TEST_F(RepositoryDocuments, NewDocumentIsAnnouncedThenItsViewThenFocusThenControls)
{
    Start();
    CTrackedDocument* pDoc = AddDocument("picture");
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{
                                    "ADD_DOCUMENT", "NEW_DOCUMENT picture", "NEW_VIEW Standard-1",
                                    "ACTIVE_VIEW Standard-1", "UPDATE_CONTROLS {zoom=true}"}));
    EXPECT_EQ(Str(*pDoc, "label"), "picture");
    EXPECT_EQ(Long(*pDoc, "index"), 1);
    EXPECT_EQ(PointerAt(*pDoc, "active_view"), m_lstBehaviours[0]->m_lstViews.at(0));
    EXPECT_EQ(TakeTexts(), (std::vector<std::string>{
                               "CRepositoryPlugin::CreateView - View plugin created for picture.",
                               "CRepositoryPlugin::FocusView: Changed active view to Standard-1.",
                           }));
    // The view learnt its document before it was announced.
    const CFakeView* pView = m_lstBehaviours[0]->m_lstViews.at(0);
    ASSERT_NO_FATAL_FAILURE(ExpectLoads(*pView, 1, pDoc));
    EXPECT_FALSE(pView->Updates()[0].HasEntry(Zarn::CValue_Key("settings")));
}

TEST_F(RepositoryDocuments, LabelsAreNumberedPerLabelAndUnlabelledDocumentsAreUnnamed)
{
    Start();
    CTrackedDocument* pA1 = AddDocument("a");
    CTrackedDocument* pA2 = AddDocument("a");
    CTrackedDocument* pB = AddDocument("b");
    CTrackedDocument* pUnnamed = NewDocument("none", false);
    SendDocument("ADD_DOCUMENT", pUnnamed);
    EXPECT_EQ(Long(*pA1, "index"), 1);
    EXPECT_EQ(Long(*pA2, "index"), 2);
    EXPECT_EQ(Long(*pB, "index"), 1);
    EXPECT_EQ(Str(*pUnnamed, "label"), "Unnamed");
    EXPECT_EQ(Long(*pUnnamed, "index"), 1);
}

TEST_F(RepositoryDocuments, LabelCountGoesOnAfterARemoval)
{
    Start();
    CTrackedDocument* pFirst = AddDocument("a");
    AddDocument("a");
    SendDocument("REMOVE_DOCUMENT", pFirst);
    EXPECT_EQ(m_journal.Count("destroyed document a"), 1);
    CTrackedDocument* pThird = AddDocument("a");
    EXPECT_EQ(Long(*pThird, "index"), 3);
}

TEST_F(RepositoryDocuments, AddingANullDocumentThrowsAndChangesNothing)
{
    Start();
    SendDocument("ADD_DOCUMENT", nullptr);
    ExpectOneCaught("ADD_DOCUMENT", "CRepositoryPlugin::AddDocument", "Invalid document pointer!",
                    "");
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"ADD_DOCUMENT null"}));
    // The host logged what left the repository.
    EXPECT_NE(
        m_threadLogText.str().find("CRepositoryPlugin::AddDocument: Invalid document pointer!"),
        std::string::npos)
        << m_threadLogText.str();
}

TEST_F(RepositoryDocuments, AddingTheSameDocumentTwiceThrowsAndChangesNothing)
{
    Start();
    CTrackedDocument* pDoc = AddDocument("a");
    TakeBroadcasts();
    SendDocument("ADD_DOCUMENT", pDoc);
    ExpectOneCaught("CRepositoryPlugin::AddDocument", "Document already in repository.", "");
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"ADD_DOCUMENT"}));
    EXPECT_EQ(Long(*pDoc, "index"), 1);
    EXPECT_EQ(m_lstBehaviours[0]->m_lstViews.size(), 1U);
}

TEST_F(RepositoryDocuments, UpdatesWithoutLabelFlagRaiseTheIndexEachTime)
{
    Start();
    CTrackedDocument* pDoc = AddDocument("a");
    TakeBroadcasts();
    TakeLogLines();
    SendDocument("UPDATE_DOCUMENT", pDoc);
    EXPECT_EQ(Long(*pDoc, "index"), 2);
    SendDocument("UPDATE_DOCUMENT", pDoc);
    EXPECT_EQ(Long(*pDoc, "index"), 3);
    ExpectBroadcastsAndTexts({"UPDATE_DOCUMENT", "DOCUMENT_CHANGED a", "VIEW_CHANGED Standard-1",
                              "UPDATE_DOCUMENT", "DOCUMENT_CHANGED a", "VIEW_CHANGED Standard-1"},
                             {"CRepositoryPlugin::UpdateDocument: Document a changed.",
                              "CRepositoryPlugin::UpdateDocument: Document a changed."});
    // Each update reloads the view with its document.
    const CFakeView* pView = m_lstBehaviours[0]->m_lstViews.at(0);
    ASSERT_NO_FATAL_FAILURE(ExpectLoads(*pView, 3, pDoc));
}

TEST_F(RepositoryDocuments, UpdateWithLabelFlagOffKeepsTheIndex)
{
    Start();
    CTrackedDocument* pDoc = AddDocument("a");
    pDoc->SetEntry("update/label", new Zarn::CValueBool(false));
    SendDocument("UPDATE_DOCUMENT", pDoc);
    EXPECT_EQ(Long(*pDoc, "index"), 1);
}

TEST_F(RepositoryDocuments, SavedFlagsCopyOnlyBoolsAndChangedContentDropsTheImageFlagFirst)
{
    Start();
    CTrackedDocument* pDoc = AddDocument("a");
    pDoc->SetEntry("is_saved/image", new Zarn::CValueString("before"));
    pDoc->SetEntry("update/is_saved/image", new Zarn::CValueBool(true));
    pDoc->SetEntry("update/is_saved/note", new Zarn::CValueLong(5));
    SendDocument("UPDATE_DOCUMENT", pDoc);
    const Zarn::CValue* pImage = pDoc->Entry("is_saved/image", false);
    ASSERT_NE(pImage, nullptr);
    ASSERT_EQ(pImage->GenericType(), Zarn::CValue::vtBool);
    EXPECT_TRUE(pImage->Bool());
    EXPECT_FALSE(pDoc->HasEntry("is_saved/note"));
    // The request stays until it is acknowledged.
    EXPECT_TRUE(pDoc->HasEntry(Zarn::CValue_Key("update")));
}

TEST_F(RepositoryDocuments, ChangedContentRemovesTheImageSavedFlagUnlessSwitchedOff)
{
    Start();
    CTrackedDocument* pDoc = AddDocument("a");
    pDoc->SetEntry("is_saved/image", new Zarn::CValueBool(true));
    pDoc->SetEntry("update/content", new Zarn::CValueBool(false));
    SendDocument("UPDATE_DOCUMENT", pDoc);
    EXPECT_TRUE(pDoc->HasEntry("is_saved/image"));
    pDoc->SetEntry("update/content", new Zarn::CValueBool(true));
    SendDocument("UPDATE_DOCUMENT", pDoc);
    EXPECT_FALSE(pDoc->HasEntry("is_saved/image"));
}

TEST_F(RepositoryDocuments, ChangedDocumentClearsTheUpdateRequestAndSendsNothing)
{
    Start();
    CTrackedDocument* pDoc = AddDocument("a");
    pDoc->SetEntry("update/label", new Zarn::CValueBool(false));
    TakeBroadcasts();
    SendDocument("CHANGED_DOCUMENT", pDoc);
    EXPECT_FALSE(pDoc->HasEntry(Zarn::CValue_Key("update")));
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"CHANGED_DOCUMENT"}));
}

TEST_F(RepositoryDocuments, UnknownDocumentsAreIgnoredByUpdateClearAndRemove)
{
    Start();
    CTrackedDocument* pStranger = NewDocument("stranger");
    pStranger->SetEntry("update/label", new Zarn::CValueBool(true));
    TakeLogLines();
    PostDocument("UPDATE_DOCUMENT", pStranger);
    PostDocument("CHANGED_DOCUMENT", pStranger);
    PostDocument("REMOVE_DOCUMENT", pStranger);
    PostDocument("INVALID_DOCUMENT", pStranger);
    Deliver();
    EXPECT_TRUE(TakeCaught().empty());
    EXPECT_EQ(Long(*pStranger, "index"), -1);
    EXPECT_TRUE(pStranger->HasEntry(Zarn::CValue_Key("update")));
    EXPECT_EQ(TakeBroadcasts(),
              (std::vector<std::string>{"UPDATE_DOCUMENT", "CHANGED_DOCUMENT", "REMOVE_DOCUMENT",
                                        "INVALID_DOCUMENT stranger"}));
    // Removal logs its call before it looks at the document.
    EXPECT_EQ(TakeTexts(), (std::vector<std::string>{"CRepositoryPlugin::RemoveDocument"}));
    EXPECT_EQ(m_journal.Count("destroyed document stranger"), 0);
    delete pStranger;
}

TEST_F(RepositoryDocuments, RemovedDocumentLivesUntilItsOwnInvalidDocumentComesBack)
{
    Start();
    CTrackedDocument* pDoc = AddDocument("a");
    TakeBroadcasts();
    TakeLogLines();
    // The second removal reaches the repository while the first one is under way.
    PostDocument("REMOVE_DOCUMENT", pDoc);
    PostDocument("REMOVE_DOCUMENT", pDoc);
    m_pThread->DeliverPending();
    // Dropped from the repository, announced, but not deleted yet.
    EXPECT_EQ(m_journal.Count("destroyed document a"), 0);
    EXPECT_EQ(m_journal.Count("destroyed view Standard-1"), 0);
    EXPECT_EQ(Str(*pDoc, "label"), "a");
    Deliver();
    ExpectBroadcastsAndTexts({"REMOVE_DOCUMENT", "REMOVE_DOCUMENT", "ACTIVE_VIEW null",
                              "INVALID_VIEW Standard-1", "INVALID_DOCUMENT a"},
                             {"CRepositoryPlugin::RemoveDocument",
                              "CRepositoryPlugin::RemoveDocument",
                              "CRepositoryPlugin::KillView: View Standard-1 is deleted!"});
    EXPECT_EQ(m_journal.Count("destroyed document a"), 1);
    EXPECT_EQ(m_journal.Count("destroyed view Standard-1"), 1);
    EXPECT_EQ(m_journal.Count("DeleteData Standard-1"), 1);
    // Each object went only after the recorder had seen its announcement.
    EXPECT_LT(m_journal.IndexOf("broadcast INVALID_DOCUMENT a"),
              m_journal.IndexOf("destroyed document a"));
    EXPECT_LT(m_journal.IndexOf("broadcast INVALID_VIEW Standard-1"),
              m_journal.IndexOf("destroyed view Standard-1"));
}

TEST_F(RepositoryDocuments, InvalidDocumentFromAnotherPluginLeavesALiveDocumentAlone)
{
    Start();
    CTrackedDocument* pDoc = AddDocument("a");
    SendDocument("INVALID_DOCUMENT", pDoc);
    EXPECT_EQ(m_journal.Count("destroyed document a"), 0);
    // Still held: an update reaches it.
    SendDocument("UPDATE_DOCUMENT", pDoc);
    EXPECT_EQ(Long(*pDoc, "index"), 2);
}

TEST_F(RepositoryDocuments, RemovingTheActiveDocumentFocusesTheMostRecentViewOfAnother)
{
    Start();
    CTrackedDocument* pA = AddDocument("a");
    AddDocument("b");
    CTrackedDocument* pC = AddDocument("c");
    const std::vector<CFakeView*>& lstViews = m_lstBehaviours[0]->m_lstViews;
    // Most recently focused last: b, a, c.
    PostView("FOCUS_VIEW", lstViews[0]);
    PostView("FOCUS_VIEW", lstViews[2]);
    Deliver();
    TakeBroadcasts();
    SendDocument("REMOVE_DOCUMENT", pC);
    EXPECT_EQ(TakeBroadcasts(),
              (std::vector<std::string>{"REMOVE_DOCUMENT", "ACTIVE_VIEW Standard-1",
                                        "INVALID_VIEW Standard-3", "INVALID_DOCUMENT c"}));
    EXPECT_EQ(PointerAt(*pA, "active_view"), lstViews[0]);
}

TEST_F(RepositoryDocuments, RemovingTheOnlyDocumentLeavesNoActiveViewNorDocument)
{
    Start();
    CTrackedDocument* pDoc = AddDocument("picture");
    TakeBroadcasts();
    SendDocument("REMOVE_DOCUMENT", pDoc);
    EXPECT_EQ(TakeBroadcasts(),
              (std::vector<std::string>{"REMOVE_DOCUMENT", "ACTIVE_VIEW null",
                                        "UPDATE_CONTROLS {zoom=false}", "INVALID_VIEW Standard-1",
                                        "INVALID_DOCUMENT picture"}));
    // No active document: an action has nothing to work on.
    Send("ON_ACTION", new Zarn::CValueString("zoom"));
    const std::vector<SCaught> lstCaught = TakeCaught();
    ASSERT_EQ(lstCaught.size(), 1U);
    EXPECT_EQ(lstCaught[0].m_strWhat, "Invalid Documnet!");
}
