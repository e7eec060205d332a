#include "RepositoryHarness.h"

#include <Zarn/Value/ValueContainer.h>

using namespace RepositoryTest;

namespace
{

class RepositoryDispatch : public CRepositoryFixture
{
protected:
    // Asks for a view of that type on the document.
    void SendCreateView(const char* type, Zarn::CValueMap* document)
    {
        Send("CREATE_VIEW", DocViewTest::MapOf({{"type", new Zarn::CValueString(type)},
                                                {"document", DocumentValue(document)}}));
    }

    // Hands a new view double with that caption to the repository for the document.
    CFakeView* SendAddView(const char* caption, Zarn::CValueMap* document)
    {
        auto* pView = new CFakeView(caption, &m_journal);
        Send("ADD_VIEW",
             DocViewTest::MapOf({{"view", new Zarn::CValuePointer<Zarn::CPluginBase>(pView)},
                                 {"document", DocumentValue(document)}}));
        return pView;
    }

    void Start()
    {
        RegisterFactory("Standard");
        auto* pParameters = new Zarn::CValueMap;
        auto* pViews = new Zarn::CValueVector;
        pViews->PushBack(FactoryEntry("Standard", true, "show", "plain"));
        pParameters->SetEntry(Zarn::CValue_Key("views"), pViews);
        StartRepository(pParameters);
        TakeLogLines();
        TakeBroadcasts();
    }
};

const char* const kRequests[] = {
    "ADD_DOCUMENT",   "REMOVE_DOCUMENT", "INVALID_DOCUMENT", "UPDATE_DOCUMENT", "CHANGED_DOCUMENT",
    "FOCUS_DOCUMENT", "ADD_VIEW",        "REMOVE_VIEW",      "INVALID_VIEW",    "UPDATE_VIEW",
    "FOCUS_VIEW",     "CREATE_VIEW",     "ON_ACTION",
};

} // namespace

TEST_F(RepositoryDispatch, MessagesWithIdButNoDataAreIgnoredWhateverTheirName)
{
    Start();
    AddDocument("a");
    TakeBroadcasts();
    TakeLogLines();
    for (const char* szName : kRequests)
    {
        Post(szName, nullptr);
    }
    Deliver();
    EXPECT_TRUE(TakeCaught().empty());
    EXPECT_TRUE(TakeLogLines().empty());
    // Only the requests themselves: the repository answered none of them.
    EXPECT_EQ(TakeBroadcasts().size(), std::size(kRequests));
}

TEST_F(RepositoryDispatch, UnknownMessagesAreIgnoredSilently)
{
    Start();
    AddDocument("a");
    TakeBroadcasts();
    TakeLogLines();
    Post("SOMETHING_ELSE", new Zarn::CValueString("x"));
    PostDocument("NEW_DOCUMENT", nullptr);
    Deliver();
    EXPECT_TRUE(TakeCaught().empty());
    EXPECT_TRUE(TakeLogLines().empty());
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"SOMETHING_ELSE", "NEW_DOCUMENT null"}));
}

TEST_F(RepositoryDispatch, ViewMessageCarryingADocumentIsRejectedWithTheTypeMismatch)
{
    Start();
    CTrackedDocument* pDoc = AddDocument("a");
    TakeBroadcasts();
    TakeLogLines();
    for (const char* szName : {"FOCUS_VIEW", "REMOVE_VIEW", "UPDATE_VIEW", "INVALID_VIEW"})
    {
        PostDocument(szName, pDoc);
    }
    Deliver();
    const std::vector<SCaught> lstCaught = TakeCaught();
    ASSERT_EQ(lstCaught.size(), 4U);
    for (const SCaught& caught : lstCaught)
    {
        EXPECT_EQ(caught.m_strType, "Zarn::CExBadParam") << caught.m_strMessage;
        EXPECT_EQ(caught.m_strFunction, "Zarn::UnwrapPointer") << caught.m_strMessage;
        EXPECT_NE(caught.m_strWhat.find("does not match actual type"), std::string::npos)
            << caught.m_strWhat;
    }
    // Nothing changed: no answer, the document and its view are still there.
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"FOCUS_VIEW", "REMOVE_VIEW",
                                                          "UPDATE_VIEW", "INVALID_VIEW"}));
    EXPECT_TRUE(TakeLogLines().empty());
    // The host logged each failure at the error level.
    EXPECT_NE(m_threadLogText.str().find("error Message FOCUS_VIEW: receiver Repository threw"),
              std::string::npos)
        << m_threadLogText.str();
    SendView("REMOVE_VIEW", m_lstBehaviours[0]->m_lstViews[0]);
    EXPECT_EQ(m_journal.Count("destroyed document a"), 1);
}

TEST_F(RepositoryDispatch, DocumentMessageCarryingAViewIsRejectedWithTheTypeMismatch)
{
    Start();
    AddDocument("a");
    TakeBroadcasts();
    PostView("ADD_DOCUMENT", m_lstBehaviours[0]->m_lstViews[0]);
    PostView("REMOVE_DOCUMENT", m_lstBehaviours[0]->m_lstViews[0]);
    Deliver();
    const std::vector<SCaught> lstCaught = TakeCaught();
    ASSERT_EQ(lstCaught.size(), 2U);
    EXPECT_EQ(lstCaught[0].m_strMessage, "ADD_DOCUMENT");
    EXPECT_EQ(lstCaught[1].m_strMessage, "REMOVE_DOCUMENT");
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"ADD_DOCUMENT", "REMOVE_DOCUMENT"}));
}

TEST_F(RepositoryDispatch, EveryRequestReachesItsOperation)
{
    Start();
    // ADD_DOCUMENT, FOCUS_DOCUMENT, CREATE_VIEW, ON_ACTION, ADD_VIEW, FOCUS_VIEW, UPDATE_VIEW,
    // UPDATE_DOCUMENT, CHANGED_DOCUMENT, REMOVE_VIEW, INVALID_VIEW, REMOVE_DOCUMENT and
    // INVALID_DOCUMENT in one run, each checked by what it answers.
    CTrackedDocument* pA = AddDocument("a");
    CTrackedDocument* pB = AddDocument("b");
    EXPECT_EQ(TakeBroadcasts(),
              (std::vector<std::string>{"ADD_DOCUMENT", "NEW_DOCUMENT a", "NEW_VIEW Standard-1",
                                        "ACTIVE_VIEW Standard-1", "UPDATE_CONTROLS {show=true}",
                                        "ADD_DOCUMENT", "NEW_DOCUMENT b", "NEW_VIEW Standard-2",
                                        "ACTIVE_VIEW Standard-2"}));
    SendDocument("FOCUS_DOCUMENT", pA);
    EXPECT_EQ(TakeBroadcasts(),
              (std::vector<std::string>{"FOCUS_DOCUMENT", "ACTIVE_VIEW Standard-1"}));

    SendCreateView("plain", pB);
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"CREATE_VIEW", "NEW_VIEW Standard-3",
                                                          "ACTIVE_VIEW Standard-3"}));

    Send("ON_ACTION", new Zarn::CValueString("show"));
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"ON_ACTION", "NEW_VIEW Standard-4",
                                                          "ACTIVE_VIEW Standard-4"}));

    CFakeView* pView = SendAddView("extra", pA);
    EXPECT_EQ(TakeBroadcasts(),
              (std::vector<std::string>{"ADD_VIEW", "NEW_VIEW extra", "ACTIVE_VIEW extra"}));

    PostView("FOCUS_VIEW", m_lstBehaviours[0]->m_lstViews[0]);
    PostView("UPDATE_VIEW", pView);
    Deliver();
    EXPECT_EQ(TakeBroadcasts(),
              (std::vector<std::string>{"FOCUS_VIEW", "UPDATE_VIEW", "ACTIVE_VIEW Standard-1",
                                        "VIEW_CHANGED extra"}));

    SendDocument("UPDATE_DOCUMENT", pB);
    EXPECT_EQ(TakeBroadcasts(),
              (std::vector<std::string>{"UPDATE_DOCUMENT", "DOCUMENT_CHANGED b",
                                        "VIEW_CHANGED Standard-2", "VIEW_CHANGED Standard-3",
                                        "VIEW_CHANGED Standard-4"}));
    pB->SetEntry("update/label", new Zarn::CValueBool(false));
    SendDocument("CHANGED_DOCUMENT", pB);
    EXPECT_FALSE(pB->HasEntry(Zarn::CValue_Key("update")));

    // a has two views: removing one keeps the document.
    SendView("REMOVE_VIEW", pView);
    EXPECT_EQ(TakeBroadcasts(),
              (std::vector<std::string>{"CHANGED_DOCUMENT", "REMOVE_VIEW", "INVALID_VIEW extra"}));
    EXPECT_EQ(m_journal.Count("destroyed view extra"), 1);

    SendDocument("REMOVE_DOCUMENT", pA);
    EXPECT_EQ(TakeBroadcasts(),
              (std::vector<std::string>{"REMOVE_DOCUMENT", "ACTIVE_VIEW Standard-4",
                                        "INVALID_VIEW Standard-1", "INVALID_DOCUMENT a"}));
    EXPECT_EQ(m_journal.Count("destroyed document a"), 1);
    EXPECT_EQ(m_journal.Count("destroyed view Standard-1"), 1);
    EXPECT_EQ(m_journal.Count("destroyed view Standard-4"), 0);
    EXPECT_EQ(m_journal.Count("destroyed document b"), 0);
}
