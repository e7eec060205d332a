#include "RepositoryHarness.h"

#include <Zarn/Value/ValueContainer.h>

#include <QLabel>
#include <QPointer>
#include <QWidget>

#include <algorithm>
#include <cstddef>
#include <iterator>

using namespace RepositoryTest;

namespace
{

Zarn::CValueMap* WithViews(std::vector<Zarn::CValueMap*> entries,
                           Zarn::CValueMap* parameters = nullptr)
{
    auto* pParameters = parameters != nullptr ? parameters : new Zarn::CValueMap;
    auto* pViews = new Zarn::CValueVector;
    for (Zarn::CValueMap* pEntry : entries)
    {
        pViews->PushBack(pEntry);
    }
    pParameters->SetEntry(Zarn::CValue_Key("views"), pViews);
    return pParameters;
}

// The plug-in's setup record as it stands.
Zarn::CValueMap SetupOf(Zarn::CPluginBase& plugin)
{
    Zarn::CValueMap setup;
    plugin.GetPluginSetup(setup);
    return setup;
}

// The log lines after the five settings lines that every Init writes first.
std::vector<std::string> LinesAfterSettings(std::vector<std::string> lstLines)
{
    lstLines.erase(lstLines.begin(),
                   lstLines.begin() + std::min<std::ptrdiff_t>(5, std::ssize(lstLines)));
    return lstLines;
}

class RepositorySetup : public CRepositoryFixture
{
protected:
    // Takes the log and expects exactly these lines after the settings lines.
    void ExpectLogAfterSettings(const std::vector<std::string>& lstExpected)
    {
        EXPECT_EQ(LinesAfterSettings(TakeLogLines()), lstExpected);
    }
};

} // namespace

TEST_F(RepositorySetup, InitWithoutViewsLogsItsSettingsAndSendsNothing)
{
    StartRepository();
    EXPECT_EQ(TakeLogLines(), (std::vector<std::string>{
                                  "progress CRepositoryPlugin:",
                                  "progress   plugin name = CRepositoryPlugin",
                                  "progress   autoremove document = on",
                                  "progress   autoselect document = on",
                                  "progress   autoselect view = on",
                              }));
    EXPECT_TRUE(TakeBroadcasts().empty());
    EXPECT_TRUE(TakeCaught().empty());
}

TEST_F(RepositorySetup, SetupRecordNamesThePluginOnlyAfterInit)
{
    m_pRepository = static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("Repository"));
    ASSERT_NE(m_pRepository, nullptr);
    const Zarn::CValueMap before = SetupOf(*m_pRepository);
    EXPECT_EQ(Str(before, "Version"), "version 1.0.0");
    EXPECT_EQ(Str(before, "PluginType"), "janitor");
    EXPECT_EQ(Str(before, "PluginSubType"), "docview repository");
    EXPECT_EQ(Str(before, "PluginName"), "");
    EXPECT_EQ(before.Size(), 4U);

    auto* pParameters = new Zarn::CValueMap;
    pParameters->SetEntry(Zarn::CValue_Key("name"), new Zarn::CValueString("Librarian"));
    delete m_pRepository;
    m_pRepository = nullptr;
    StartRepository(pParameters);
    EXPECT_EQ(Str(SetupOf(*m_pRepository), "PluginName"), "Librarian");
    EXPECT_EQ(TakeLogLines().at(1), "progress   plugin name = Librarian");
}

// The third settings line shows the document flag: log readers rely on the mismatch.
TEST_F(RepositorySetup, AutoselectViewLogLineShowsTheDocumentFlag)
{
    auto* pParameters = new Zarn::CValueMap;
    pParameters->SetEntry(Zarn::CValue_Key("autoselect doc"), new Zarn::CValueBool(false));
    pParameters->SetEntry(Zarn::CValue_Key("autoselect view"), new Zarn::CValueBool(true));
    pParameters->SetEntry(Zarn::CValue_Key("autoremove doc"), new Zarn::CValueBool(false));
    StartRepository(pParameters);
    const std::vector<std::string> lstLines = TakeLogLines();
    ASSERT_EQ(lstLines.size(), 5U);
    EXPECT_EQ(lstLines[2], "progress   autoremove document = off");
    EXPECT_EQ(lstLines[3], "progress   autoselect document = off");
    EXPECT_EQ(lstLines[4], "progress   autoselect view = off");
}

TEST_F(RepositorySetup, FactoryGetsItsEntryWithTheHiddenOrphanageAsParent)
{
    SFactoryBehaviour& factory = RegisterFactory("ImageViews");
    Zarn::CValueMap* pEntry = FactoryEntry("ImageViews", true, "show image", "image");
    pEntry->SetEntry(Zarn::CValue_Key("zoom"), new Zarn::CValueLong(4));
    StartRepository(WithViews({pEntry}));

    ASSERT_EQ(factory.m_lstInitParameters.size(), 1U);
    const Zarn::CValueMap& parameters = factory.m_lstInitParameters[0];
    EXPECT_EQ(Str(parameters, "factory"), "ImageViews");
    EXPECT_EQ(Long(parameters, "zoom"), 4);
    EXPECT_EQ(Str(parameters, "action"), "show image");
    const Zarn::CValue* pParent = parameters.Entry("parent", false);
    ASSERT_NE(pParent, nullptr);
    const QWidget* pOrphanage = Zarn::UnwrapPointer<QWidget>(pParent);
    ASSERT_NE(pOrphanage, nullptr);
    EXPECT_EQ(pOrphanage->objectName().toStdString(), "Orphanage");
    EXPECT_FALSE(pOrphanage->isVisible());
    EXPECT_EQ(pOrphanage->parentWidget(), nullptr);
    const auto* pLabel = qobject_cast<const QLabel*>(pOrphanage);
    ASSERT_NE(pLabel, nullptr);
    EXPECT_EQ(pLabel->text().toStdString(), "Orphanage - If you can see this, something's wrong!");

    ExpectLogAfterSettings(
        {"progress CRepositoryPlugin::Init Viewfactory plugin ImageViews loaded.",
         "progress   autocreate = on", "progress   action = show image",
         "progress   type = image"});
}

TEST_F(RepositorySetup, UnknownFactoryIsLoggedAndTheNextEntryStillLoads)
{
    SFactoryBehaviour& factory = RegisterFactory("Known");
    StartRepository(WithViews({FactoryEntry("Missing", true), FactoryEntry("Known", false)}));
    ExpectLogAfterSettings({"error Can't load view factory plugin Missing",
                            "progress CRepositoryPlugin::Init Viewfactory plugin Known loaded.",
                            "progress   autocreate = off"});
    EXPECT_EQ(factory.m_nInstances, 1);
}

TEST_F(RepositorySetup, EntryWithoutFactoryNameIsLoggedAsUnknownInFourLines)
{
    auto* pEntry = new Zarn::CValueMap;
    pEntry->SetEntry(Zarn::CValue_Key("autocreate"), new Zarn::CValueBool(true));
    StartRepository(WithViews({pEntry}));
    ExpectLogAfterSettings({"error Error while loading view factory plugin UNKNWON!",
                            "error      What : Entry 'factory' not found",
                            "error    Origin : Zarn::CValueContainerBase::EntryString",
                            "error   Instance: "});
}

TEST_F(RepositorySetup, FactoryInitErrorIsLoggedAndTheFactoryStaysLoadedWithoutRegistrations)
{
    SFactoryBehaviour& broken = RegisterFactory("Broken");
    broken.m_enInitThrows = SFactoryBehaviour::throwZarn;
    StartRepository(WithViews({FactoryEntry("Broken", true, "show", "image")}));
    ExpectLogAfterSettings({"error Error while loading view factory plugin Broken!",
                            "error      What : factory refused to start",
                            "error    Origin : CFakeViewFactory::Init",
                            "error   Instance: Broken"});

    // Not registered for autocreate nor for the action.
    AddDocument("a");
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"ADD_DOCUMENT", "NEW_DOCUMENT a"}));
    Send("ON_ACTION", new Zarn::CValueString("show"));
    EXPECT_TRUE(TakeCaught().empty());
    EXPECT_TRUE(broken.m_lstViews.empty());

    // Still owned and released with the others.
    m_pThread->Unsubscribe(m_pProxy.get());
    m_pRepository->DeleteData();
    EXPECT_EQ(m_journal.Count("DeleteData factory Broken"), 1);
    EXPECT_EQ(m_journal.Count("destroyed factory Broken"), 1);
    delete m_pRepository;
    m_pRepository = nullptr;
}

TEST_F(RepositorySetup, FactoryInitThrowingAnotherExceptionLogsTheFatalLine)
{
    SFactoryBehaviour& broken = RegisterFactory("Broken");
    broken.m_enInitThrows = SFactoryBehaviour::throwStd;
    SFactoryBehaviour& good = RegisterFactory("Good");
    StartRepository(WithViews({FactoryEntry("Broken", true), FactoryEntry("Good", true)}));
    const std::vector<std::string> lstLines = TakeLogLines();
    ASSERT_GE(lstLines.size(), 7U);
    EXPECT_EQ(lstLines[5], "error FATAL ERROR while login view factory plugin Broken!");
    EXPECT_EQ(lstLines[6], "progress CRepositoryPlugin::Init Viewfactory plugin Good loaded.");
    AddDocument("a");
    EXPECT_EQ(good.m_lstViews.size(), 1U);
}

TEST_F(RepositorySetup, MissingAutocreateIsAFailedEntryAfterTheFactoryWasInitialised)
{
    SFactoryBehaviour& factory = RegisterFactory("NoFlag");
    auto* pEntry = new Zarn::CValueMap;
    pEntry->SetEntry(Zarn::CValue_Key("factory"), new Zarn::CValueString("NoFlag"));
    pEntry->SetEntry(Zarn::CValue_Key("action"), new Zarn::CValueString("show"));
    StartRepository(WithViews({pEntry}));
    EXPECT_EQ(factory.m_lstInitParameters.size(), 1U);
    const std::vector<std::string> lstLines = TakeLogLines();
    ASSERT_EQ(lstLines.size(), 10U);
    EXPECT_EQ(lstLines[5], "progress CRepositoryPlugin::Init Viewfactory plugin NoFlag loaded.");
    EXPECT_EQ(lstLines[6], "error Error while loading view factory plugin NoFlag!");
    EXPECT_EQ(lstLines[7].rfind("error      What : ", 0), 0U);
    // The action was not registered: asking for it does nothing.
    AddDocument("a");
    TakeLogLines();
    Send("ON_ACTION", new Zarn::CValueString("show"));
    EXPECT_TRUE(TakeLogLines().empty());
    EXPECT_TRUE(factory.m_lstViews.empty());
}

TEST_F(RepositorySetup, SecondFactoryForTheSameActionIsLoadedButNeverServesIt)
{
    SFactoryBehaviour& first = RegisterFactory("First");
    SFactoryBehaviour& second = RegisterFactory("Second");
    StartRepository(WithViews({FactoryEntry("First", false, "show", "image"),
                               FactoryEntry("Second", false, "show", "table")}));
    const std::vector<std::string> lstLines = TakeLogLines();
    EXPECT_EQ(std::count(lstLines.begin(), lstLines.end(), "progress   action = show"), 2);

    CTrackedDocument* pDoc = AddDocument("a");
    // One action, one state: a single entry.
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"ADD_DOCUMENT", "NEW_DOCUMENT a",
                                                          "UPDATE_CONTROLS {show=true}"}));
    Send("ON_ACTION", new Zarn::CValueString("show"));
    EXPECT_EQ(first.m_lstViews.size(), 1U);
    EXPECT_TRUE(second.m_lstViews.empty());

    // The second factory still serves its own type.
    auto* pRequest = new Zarn::CValueMap;
    pRequest->SetEntry(Zarn::CValue_Key("type"), new Zarn::CValueString("table"));
    pRequest->SetEntry(Zarn::CValue_Key("document"),
                       new Zarn::CValuePointer<Zarn::CValueMap>(pDoc));
    Send("CREATE_VIEW", pRequest);
    EXPECT_EQ(second.m_lstViews.size(), 1U);
}

TEST_F(RepositorySetup, FirstControlUpdateBroadcastsExactlyTheAcceptingActionsAsTrue)
{
    SFactoryBehaviour& images = RegisterFactory("Images");
    images.m_fnAccepts = [](const Zarn::CValueMap* doc)
    { return doc != nullptr && Str(*doc, "label") == "picture"; };
    SFactoryBehaviour& never = RegisterFactory("Never");
    never.m_fnAccepts = [](const Zarn::CValueMap*) { return false; };
    RegisterFactory("Standard");
    StartRepository(
        WithViews({FactoryEntry("Standard", true), FactoryEntry("Images", false, "zoom"),
                   FactoryEntry("Never", false, "histogram")}));
    EXPECT_TRUE(TakeBroadcasts().empty());

    AddDocument("picture");
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{
                                    "ADD_DOCUMENT", "NEW_DOCUMENT picture", "NEW_VIEW Standard-1",
                                    "ACTIVE_VIEW Standard-1", "UPDATE_CONTROLS {zoom=true}"}));
    // Focusing a document the action refuses sends only the change.
    AddDocument("text");
    EXPECT_EQ(TakeBroadcasts(),
              (std::vector<std::string>{"ADD_DOCUMENT", "NEW_DOCUMENT text", "NEW_VIEW Standard-2",
                                        "ACTIVE_VIEW Standard-2", "UPDATE_CONTROLS {zoom=false}"}));
}

TEST_F(RepositorySetup, DeleteDataReleasesEverythingOnceAndSendsNothing)
{
    RegisterFactory("Standard");
    StartRepository(WithViews({FactoryEntry("Standard", true)}));
    AddDocument("kept");
    CTrackedDocument* pGone = AddDocument("gone");
    QPointer<QWidget> pOrphanage(const_cast<QWidget*>(Zarn::UnwrapPointer<QWidget>(
        m_lstBehaviours[0]->m_lstInitParameters[0].Entry("parent", true))));
    ASSERT_FALSE(pOrphanage.isNull());

    // Leave a removal half done: its INVALID_ broadcasts are still queued.
    PostDocument("REMOVE_DOCUMENT", pGone);
    m_pThread->DeliverPending();
    EXPECT_EQ(m_journal.Count("destroyed document gone"), 0);
    const size_t nPending = m_pThread->PendingCount();
    ASSERT_GT(nPending, 0U);

    m_pThread->Unsubscribe(m_pProxy.get());
    m_pRepository->DeleteData();
    EXPECT_EQ(m_pThread->PendingCount(), nPending);
    for (const char* szTag : {"kept", "gone"})
    {
        EXPECT_EQ(m_journal.Count(std::string("destroyed document ") + szTag), 1) << szTag;
    }
    for (const char* szView : {"Standard-1", "Standard-2"})
    {
        EXPECT_EQ(m_journal.Count(std::string("DeleteData ") + szView), 1) << szView;
        EXPECT_EQ(m_journal.Count(std::string("destroyed view ") + szView), 1) << szView;
        EXPECT_LT(m_journal.IndexOf(std::string("DeleteData ") + szView),
                  m_journal.IndexOf(std::string("destroyed view ") + szView));
    }
    EXPECT_EQ(m_journal.Count("DeleteData factory Standard"), 1);
    EXPECT_EQ(m_journal.Count("destroyed factory Standard"), 1);
    EXPECT_TRUE(pOrphanage.isNull());
    delete m_pRepository;
    m_pRepository = nullptr;
    // The queued broadcasts name objects that are gone: the tear-down drops them unread.
}

TEST_F(RepositorySetup, InitEndsWithAControlUpdateForActionsThatNeedNoDocument)
{
    SFactoryBehaviour& always = RegisterFactory("Always");
    always.m_fnAccepts = [](const Zarn::CValueMap*) { return true; };
    RegisterFactory("Sometimes");
    StartRepository(WithViews(
        {FactoryEntry("Always", false, "new image"), FactoryEntry("Sometimes", false, "zoom")}));
    EXPECT_EQ(TakeBroadcasts(), (std::vector<std::string>{"UPDATE_CONTROLS {new image=true}"}));
}
