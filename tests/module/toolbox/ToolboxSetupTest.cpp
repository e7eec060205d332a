// Loading tools and their configuration plug-ins, the setup record, DeleteData and the
// configuration run of a tool entry.
#include "ToolboxHarness.h"

#include "toolbox/CurrentContext.h"
#include "toolbox/ToolEntry.h"

#include <Zarn/Plugin/PluginLoader.h>

#include <stdexcept>

namespace ToolboxTest
{

namespace
{

class ToolboxSetup : public CToolboxFixture
{
};

std::string SetupName(Zarn::CPluginBase* plugin)
{
    Zarn::CValueMap setup;
    plugin->GetPluginSetup(setup);
    return setup.EntryString(Zarn::CValue_Key("PluginName")).StdString();
}

} // namespace

TEST_F(ToolboxSetup, WithoutToolPluginsLoadsNothingPostsNothingAndStillCreatesTheStateMaps)
{
    StartToolbox();

    EXPECT_TRUE(TakeMessages().empty());
    EXPECT_TRUE(State().HasEntry(Zarn::CValue_Key("documents"), Zarn::CValue::vtMap));
    EXPECT_TRUE(State().HasEntry(Zarn::CValue_Key("views"), Zarn::CValue::vtMap));
    EXPECT_TRUE(State().Entry(Zarn::CValue_Key("documents"), true)->Map()->IsEmpty());
    EXPECT_TRUE(State().Entry(Zarn::CValue_Key("views"), true)->Map()->IsEmpty());
    EXPECT_EQ(m_pErr->Take(), "");
}

TEST_F(ToolboxSetup, SetupRecordNamesTheClassBeforeInitAndTheCapitalBDefaultAfterIt)
{
    auto* pToolbox = static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("Toolbox"));
    Zarn::CValueMap setup;
    pToolbox->GetPluginSetup(setup);
    EXPECT_EQ(setup.Size(), 2U);
    EXPECT_EQ(setup.EntryString(Zarn::CValue_Key("Version")).StdString(), "version 1.0.0");
    EXPECT_EQ(setup.EntryString(Zarn::CValue_Key("PluginName")).StdString(), "CToolboxPlugin");

    pToolbox->Init(nullptr, Zarn::CValueMap());
    EXPECT_EQ(SetupName(pToolbox), "CToolBoxPlugin");
    pToolbox->DeleteData();
    delete pToolbox;
}

TEST_F(ToolboxSetup, EveryOperationNamesItselfInTheCurrentContext)
{
    StartToolbox();
    EXPECT_EQ(DocView::CurrentContext(), "CToolboxPlugin::Init()");
    Zarn::CValueMap setup;
    m_pToolbox->GetPluginSetup(setup);
    EXPECT_EQ(DocView::CurrentContext(), "CToolboxPlugin::GetPluginSetup()");

    Zarn::CValueMap document;
    CFakeView view;
    const std::pair<const char*, const char*> kSteps[] = {
        {"NEW_DOCUMENT", "CToolboxPlugin::AddNewDocument()"},
        {"INVALID_DOCUMENT", "CToolboxPlugin::InvalidateDocument()"},
        {"NEW_VIEW", "CToolboxPlugin::NewView()"},
        {"INVALID_VIEW", "CToolboxPlugin::InvalidateView()"},
    };
    for (const auto& [szMessage, szContext] : kSteps)
    {
        if (std::string(szMessage).find("VIEW") != std::string::npos)
        {
            PostView(szMessage, &view);
        }
        else
        {
            PostDocument(szMessage, &document);
        }
        Deliver();
        EXPECT_EQ(DocView::CurrentContext(), szContext);
    }
    PostText("ON_ACTION", "no_such_action");
    Deliver();
    EXPECT_EQ(DocView::CurrentContext(), "no_such_action");
    m_pToolbox->DeleteData();
    EXPECT_EQ(DocView::CurrentContext(), "CToolboxPlugin::DeleteData()");
}

TEST_F(ToolboxSetup, NameParameterNamesTheToolbox)
{
    auto* pParameters = new Zarn::CValueMap;
    pParameters->SetEntry(Zarn::CValue_Key("name"), new Zarn::CValueString("Tools"));
    StartToolbox(pParameters);
    EXPECT_EQ(SetupName(m_pToolbox), "Tools");
}

TEST_F(ToolboxSetup, LoadedToolIsAnnouncedOnStandardErrorAndGetsItsDescriptionTwice)
{
    SToolBehaviour& blur = RegisterTool("blur");
    StartToolbox(ToolboxParameters({ToolDescription("blur", "run_blur")}));

    EXPECT_EQ(m_pErr->Take(), "Tool plugin blur loaded.\n");
    ASSERT_EQ(blur.m_lstInit.size(), 1U);
    EXPECT_EQ(blur.m_lstInit[0].EntryString(Zarn::CValue_Key("callaction")).StdString(),
              "run_blur");
    // Init's UpdateParameters gets the description; UpdatePlugins then tells the enabled tool.
    ASSERT_GE(blur.m_lstUpdates.size(), 1U);
    EXPECT_TRUE(blur.m_lstUpdates[0].Equal(blur.m_lstInit[0]));
    EXPECT_EQ(TakeMessages(), std::vector<std::string>{"UPDATE_CONTROLS {run_blur=true}"});
}

TEST_F(ToolboxSetup, UnknownToolIsReportedAndSkippedWhileTheOthersLoad)
{
    RegisterTool("blur");
    StartToolbox(ToolboxParameters({ToolDescription("C:\\tools\\nosuchtool", "run_none"),
                                    ToolDescription("blur", "run_blur")}));

    EXPECT_EQ(m_pErr->Take(),
              "Tool plugin C:\\tools\\nosuchtool not loaded.\nTool plugin blur loaded.\n");
    EXPECT_EQ(TakeMessages(), std::vector<std::string>{"UPDATE_CONTROLS {run_blur=true}"});
}

TEST_F(ToolboxSetup, ToolWhoseCreationThrowsAHostExceptionIsReportedWithItsText)
{
    Zarn::CPluginLoader::Obj().RegisterPlugin(
        "throwing",
        []() -> Zarn::CPluginBase*
        { throw Zarn::CException("Factory", "cannot make it", nullptr); });
    m_lstRegistered.push_back("throwing");
    StartToolbox(ToolboxParameters({ToolDescription("throwing", "run")}));

    EXPECT_EQ(m_pErr->Take(), "Tool plugin throwing not loaded... '\n\tcannot make it'\n");
    EXPECT_TRUE(TakeMessages().empty());
}

TEST_F(ToolboxSetup, ToolWhoseCreationThrowsAStandardExceptionIsReportedWithItsText)
{
    Zarn::CPluginLoader::Obj().RegisterPlugin(
        "throwing", []() -> Zarn::CPluginBase* { throw std::runtime_error("no memory map"); });
    m_lstRegistered.push_back("throwing");
    StartToolbox(ToolboxParameters({ToolDescription("throwing", "run")}));

    EXPECT_EQ(m_pErr->Take(), "Tool plugin throwing not loaded... '\n\tno memory map'\n");
}

TEST_F(ToolboxSetup, ToolWhoseCreationThrowsAnythingElseIsReportedWithoutText)
{
    Zarn::CPluginLoader::Obj().RegisterPlugin("throwing", []() -> Zarn::CPluginBase* { throw 42; });
    m_lstRegistered.push_back("throwing");
    StartToolbox(ToolboxParameters({ToolDescription("throwing", "run")}));

    EXPECT_EQ(m_pErr->Take(), "Tool plugin throwing not loaded.\n");
}

TEST_F(ToolboxSetup, ToolWithoutCallActionIsDeletedSilently)
{
    SToolBehaviour& blur = RegisterTool("blur");
    StartToolbox(ToolboxParameters({ToolDescription("blur", "")}));

    EXPECT_EQ(m_pErr->Take(), "");
    EXPECT_EQ(blur.m_nInstances, 1);
    EXPECT_EQ(blur.m_nDestroyed, 1);
    EXPECT_TRUE(blur.m_lstInit.empty());
    EXPECT_TRUE(TakeMessages().empty());
}

TEST_F(ToolboxSetup, ElementsThatAreNotMapsAreSkippedSilently)
{
    RegisterTool("blur");
    auto* pParameters = ToolboxParameters({ToolDescription("blur", "run_blur")});
    Zarn::CValueVector* pTools =
        pParameters->Entry(Zarn::CValue_Key("tool plugins"), true)->Vector();
    pTools->PushBack(new Zarn::CValueString("blur"));
    pTools->PushBack(new Zarn::CValueLong(7));
    StartToolbox(pParameters);

    EXPECT_EQ(m_pErr->Take(), "Tool plugin blur loaded.\n");
    EXPECT_EQ(TakeMessages(), std::vector<std::string>{"UPDATE_CONTROLS {run_blur=true}"});
}

TEST_F(ToolboxSetup, ToolInitErrorLeavesTheToolboxInit)
{
    SToolBehaviour& blur = RegisterTool("blur");
    blur.m_bInitThrows = true;
    m_pToolbox = static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("Toolbox"));
    std::unique_ptr<Zarn::CValueMap> pParameters(
        ToolboxParameters({ToolDescription("blur", "run_blur")}));
    try
    {
        m_pToolbox->Init(nullptr, *pParameters);
        FAIL() << "Init must let the tool's error pass";
    }
    catch (const Zarn::CException& exception)
    {
        EXPECT_STREQ(exception.what(), "tool refused to start");
        EXPECT_STREQ(exception.function(), "CFakeTool::Init");
    }
    m_pToolboxProxy = std::make_unique<CPluginProxy>(m_pToolbox, m_pIds.get());
}

TEST_F(ToolboxSetup, ConfigPluginIsLoadedOnTheLogStreamAndItsActionIsAlwaysEnabled)
{
    SToolBehaviour& blur = RegisterTool("blur");
    blur.m_fnTest = [](const Zarn::CValueMap&) { return false; };
    SConfigBehaviour& dialog = RegisterConfig("blurdialog");
    StartToolbox(ToolboxParameters(
        {ToolDescription("blur", "run_blur", std::nullopt, "blurdialog", "configure_blur"),
         ToolDescription("blur", "run_other")}));

    EXPECT_EQ(m_pErr->Take(), "Tool plugin blur loaded.\nTool plugin blur loaded.\n");
    EXPECT_EQ(m_pLog->Take(), "Tool's config plugin blurdialog loaded.\n");
    ASSERT_EQ(dialog.m_lstInit.size(), 1U);
    EXPECT_EQ(dialog.m_lstInit[0].EntryString(Zarn::CValue_Key("configaction")).StdString(),
              "configure_blur");
    // Both tools are disabled from the start: nothing changed, nothing is posted, although the
    // configuration action is always enabled.
    EXPECT_TRUE(TakeMessages().empty());
    // Every pass hands the input to the configuration plug-in first.
    ASSERT_EQ(dialog.m_lstUpdates.size(), 1U);
    EXPECT_TRUE(dialog.m_lstUpdates[0].HasEntry(Zarn::CValue_Key("input")));

    blur.m_fnTest = [](const Zarn::CValueMap&) { return true; };
    Post("CHANGED_DOCUMENT", new Zarn::CValuePointer<Zarn::CValueMap>(nullptr));
    Deliver();
    EXPECT_EQ(TakeMessages(),
              (std::vector<std::string>{"CHANGED_DOCUMENT null",
                                        "UPDATE_CONTROLS {configure_blur=true,run_blur=true,"
                                        "run_other=true}"}));
}

TEST_F(ToolboxSetup, MissingConfigPluginDropsTheWholeTool)
{
    SToolBehaviour& blur = RegisterTool("blur");
    StartToolbox(ToolboxParameters(
        {ToolDescription("blur", "run_blur", std::nullopt, "nodialog", "configure_blur")}));

    EXPECT_EQ(m_pErr->Take(),
              "Tool plugin blur loaded.\nTool's config plugin nodialog not loaded.\n");
    EXPECT_EQ(blur.m_nDestroyed, 1);
    EXPECT_EQ(blur.m_nDeleteData, 1);
    // UpdatePlugins ran without tools: nothing to post.
    EXPECT_TRUE(TakeMessages().empty());
}

TEST_F(ToolboxSetup, ConfigPluginWhoseCreationThrowsIsReportedWithItsText)
{
    RegisterTool("blur");
    Zarn::CPluginLoader::Obj().RegisterPlugin(
        "baddialog",
        []() -> Zarn::CPluginBase*
        { throw Zarn::CException("Factory", "no dialog today", nullptr); });
    m_lstRegistered.push_back("baddialog");
    Zarn::CPluginLoader::Obj().RegisterPlugin(
        "otherdialog", []() -> Zarn::CPluginBase* { throw std::runtime_error("ignored text"); });
    m_lstRegistered.push_back("otherdialog");
    StartToolbox(ToolboxParameters(
        {ToolDescription("blur", "run_a", std::nullopt, "baddialog", "configure_a"),
         ToolDescription("blur", "run_b", std::nullopt, "otherdialog", "configure_b")}));

    EXPECT_EQ(m_pErr->Take(), "Tool plugin blur loaded.\n"
                              "Tool's config plugin baddialog not loaded... '\n\tno dialog today'\n"
                              "Tool plugin blur loaded.\n"
                              "Tool's config plugin otherdialog not loaded.\n");
    EXPECT_TRUE(TakeMessages().empty());
}

TEST_F(ToolboxSetup, ConfigActionWithoutConfigPluginGivesNoConfigurationAction)
{
    SToolBehaviour& blur = RegisterTool("blur");
    StartToolbox(ToolboxParameters(
        {ToolDescription("blur", "run_blur", std::nullopt, "", "configure_blur")}));
    EXPECT_EQ(TakeMessages(), std::vector<std::string>{"UPDATE_CONTROLS {run_blur=true}"});

    PostText("ON_ACTION", "configure_blur");
    Deliver();
    EXPECT_EQ(blur.m_nRuns, 0);
    EXPECT_EQ(TakeMessages(), std::vector<std::string>{"ON_ACTION string configure_blur"});
    EXPECT_TRUE(TakeBoxes().empty());
}

TEST_F(ToolboxSetup, ThreadedGivenAsTextIsIgnored)
{
    SToolBehaviour& blur = RegisterTool("blur");
    auto* pDescription = ToolDescription("blur", "run_blur");
    pDescription->SetEntry(Zarn::CValue_Key("threaded"), new Zarn::CValueString("true"));
    StartToolbox(ToolboxParameters({pDescription}));
    TakeMessages();

    PostText("ON_ACTION", "run_blur");
    Deliver();
    EXPECT_EQ(blur.m_nRuns, 1);
    EXPECT_EQ(CountMessages("ACTIVITY_START"), 0U);
    EXPECT_EQ(CountMessages("ACTIVITY_STOP"), 1U);
}

TEST_F(ToolboxSetup, DeleteDataReleasesToolsAndDeletesConfigPluginsWithoutTheirDeleteData)
{
    SToolBehaviour& blur = RegisterTool("blur");
    SConfigBehaviour& dialog = RegisterConfig("blurdialog");
    StartToolbox(ToolboxParameters(
        {ToolDescription("blur", "run_blur", std::nullopt, "blurdialog", "configure_blur")}));

    m_pToolbox->DeleteData();
    EXPECT_EQ(blur.m_nDeleteData, 1);
    EXPECT_EQ(blur.m_nDestroyed, 1);
    EXPECT_EQ(dialog.m_nDestroyed, 1);
    EXPECT_EQ(dialog.m_nDeleteData, 0);
}

// ---------------------------------------------------------------------------------------------
// The configuration run of one entry

class ToolEntryConfigure : public ::testing::Test
{
protected:
    SToolBehaviour m_tool;
    SConfigBehaviour m_config;
};

TEST_F(ToolEntryConfigure, WithoutConfigPluginReturnsFalse)
{
    CToolEntry entry(new CFakeTool(&m_tool));
    EXPECT_FALSE(entry.HasConfig());
    EXPECT_FALSE(entry.Configure(0));
    EXPECT_TRUE(m_tool.m_lstUpdates.empty());
}

TEST_F(ToolEntryConfigure, ModesDecideWhetherTheUserIsAsked)
{
    {
        CToolEntry entry(new CFakeTool(&m_tool));
        entry.SetConfig(new CFakeConfig(&m_config));
        EXPECT_TRUE(entry.Configure(0));
        EXPECT_TRUE(entry.Configure(1)); // no "config user" in the tool's setup record
        EXPECT_TRUE(entry.Configure(2));
        EXPECT_TRUE(entry.Configure(5));
        m_tool.m_bConfigUser = false;
        EXPECT_TRUE(entry.Configure(1));
        m_tool.m_bConfigUser = true;
        EXPECT_TRUE(entry.Configure(1));
    }
    EXPECT_EQ(m_config.m_lstConfigUser, (std::vector<bool>{true, true, false, true, false, true}));
}

TEST_F(ToolEntryConfigure, ParametersReachTheToolAsTheWholeAnswer)
{
    CToolEntry entry(new CFakeTool(&m_tool));
    entry.SetConfig(new CFakeConfig(&m_config));
    ASSERT_TRUE(entry.Configure(2));
    ASSERT_EQ(m_tool.m_lstUpdates.size(), 1U);
    const Zarn::CValueMap& answer = m_tool.m_lstUpdates[0];
    EXPECT_FALSE(answer.EntryBool(Zarn::CValue_Key("config user")));
    EXPECT_EQ(answer.Entry("parameters/size", true)->Long(), 3);
}

TEST_F(ToolEntryConfigure, AnswerWithoutParametersReturnsFalseAndTellsTheToolNothing)
{
    m_config.m_fnRun = [](Zarn::CValueMap&) {};
    CToolEntry entry(new CFakeTool(&m_tool));
    entry.SetConfig(new CFakeConfig(&m_config));
    EXPECT_FALSE(entry.Configure(0));
    EXPECT_TRUE(m_tool.m_lstUpdates.empty());
}

TEST_F(ToolEntryConfigure, ReplacingTheConfigPluginReleasesTheOldOne)
{
    SConfigBehaviour second;
    CToolEntry entry(new CFakeTool(&m_tool));
    entry.SetConfig(new CFakeConfig(&m_config));
    entry.SetConfig(new CFakeConfig(&second));
    EXPECT_EQ(m_config.m_nDeleteData, 1);
    EXPECT_EQ(m_config.m_nDestroyed, 1);
    EXPECT_TRUE(entry.Configure(0));
    EXPECT_EQ(second.m_lstConfigUser.size(), 1U);
}

} // namespace ToolboxTest
