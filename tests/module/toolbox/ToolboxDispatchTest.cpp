// Running and configuring tools on request, the error boxes and the reload of a failed tool.
#include "ToolboxHarness.h"

#include <Zarn/Plugin/PluginLoader.h>

#include <new>
#include <stdexcept>

namespace ToolboxTest
{

namespace
{

class ToolboxDispatch : public CToolboxFixture
{
protected:
    // "blur" under "run_blur" with the configuration plug-in "blurdialog" under
    // "configure_blur"; the Init messages are taken.
    void StartWithConfiguredTool()
    {
        m_pBlur = &RegisterTool("blur");
        m_pDialog = &RegisterConfig("blurdialog");
        StartToolbox(ToolboxParameters(
            {ToolDescription("blur", "run_blur", std::nullopt, "blurdialog", "configure_blur")}));
        TakeMessages();
        m_pErr->Take();
        m_pLog->Take();
        m_nTestsAtStart = m_pBlur->m_nTests;
    }

    // The dialog was opened with these "user" flags and the tool ran this often.
    void ExpectDialogsAndRuns(const std::vector<bool>& lstConfigUser, int nRuns) const
    {
        EXPECT_EQ(m_pDialog->m_lstConfigUser, lstConfigUser);
        EXPECT_EQ(m_pBlur->m_nRuns, nRuns);
    }

    SToolBehaviour* m_pBlur = nullptr;
    SConfigBehaviour* m_pDialog = nullptr;
    // How often "blur" was asked once the toolbox had started.
    int m_nTestsAtStart = 0;
};

const char* const kRunError = "An error occurred while running the plugin.\n"
                              "The error message was:\n\"%s\".\nThe exception origin is:\n%s";

std::string RunErrorText(const std::string& what, const std::string& origin)
{
    return Zarn::CStringTools::Printf(kRunError, what.c_str(), origin.c_str());
}

// The "parameters/size" that the tool received last from its configuration; -1 when none.
long ConfiguredSize(const SToolBehaviour& tool)
{
    for (auto it = tool.m_lstUpdates.rbegin(); it != tool.m_lstUpdates.rend(); ++it)
    {
        if (it->HasEntry("parameters/size"))
        {
            return it->Entry("parameters/size", true)->Long();
        }
    }
    return -1;
}

} // namespace

TEST_F(ToolboxDispatch, NonThreadedRunPostsOnlyActivityStopWithTheOutputAndUpdatesTools)
{
    SToolBehaviour& blur = RegisterTool("blur");
    blur.m_fnRun = [](Zarn::CValueMap& data)
    { data.SetEntry(Zarn::CValue_Path("output/note"), new Zarn::CValueString("done")); };
    StartToolbox(ToolboxParameters({ToolDescription("blur", "run_blur")}));
    TakeMessages();
    const int nTests = blur.m_nTests;

    PostText("ON_ACTION", "run_blur");
    Deliver();
    EXPECT_EQ(blur.m_nRuns, 1);
    EXPECT_EQ(blur.m_strRunContext, "run_blur");
    EXPECT_EQ(TakeMessages(),
              (std::vector<std::string>{"ON_ACTION string run_blur", "ACTIVITY_STOP map"}));
    const Zarn::CValueMap& stop = m_pRecorder->m_lstData.back();
    EXPECT_EQ(stop.EntryString(Zarn::CValue_Key("action")).StdString(), "run_blur");
    EXPECT_EQ(stop.Entry("output/note", true)->String().StdString(), "done");
    EXPECT_FALSE(stop.HasEntry(Zarn::CValue_Key("toolthread")));
    // Once after the run and once after collecting it.
    EXPECT_EQ(blur.m_nTests, nTests + 2);
    EXPECT_TRUE(TakeBoxes().empty());
}

TEST_F(ToolboxDispatch, ToolThrowingBadSizeIsReportedAfterActivityStopAndReloaded)
{
    SToolBehaviour& blur = RegisterTool("blur");
    blur.m_fnRun = [](Zarn::CValueMap&) { throw std::runtime_error("bad size"); };
    StartToolbox(ToolboxParameters({ToolDescription("C:\\tools\\blur", "run_blur")}));
    TakeMessages();
    m_pErr->Take();

    PostText("ON_ACTION", "run_blur");
    m_pThread->DeliverPending();
    // The stop was posted before the box was shown, the box during the run's own message.
    EXPECT_EQ(TakeMessages(), std::vector<std::string>{"ON_ACTION string run_blur"});
    ExpectOneBox("Plugin Error", "An internal error occurred while running the plugin.\n"
                                 "The error message was:\n\"bad size\".");
    // Reloaded: the old tool is released, a new one loaded with its console line.
    EXPECT_EQ(blur.m_nInstances, 2);
    EXPECT_EQ(blur.m_nDestroyed, 1);
    EXPECT_EQ(blur.m_nDeleteData, 1);
    EXPECT_EQ(m_pErr->Take(), "Tool plugin C:\\tools\\blur loaded.\n");

    // The reloaded tool starts disabled, so its enabled state is posted again.
    Deliver();
    EXPECT_EQ(TakeMessages(),
              (std::vector<std::string>{"ACTIVITY_STOP map", "UPDATE_CONTROLS {run_blur=true}"}));
    // The reloaded tool runs again.
    blur.m_fnRun = nullptr;
    PostText("ON_ACTION", "run_blur");
    Deliver();
    EXPECT_EQ(blur.m_nRuns, 2);
    EXPECT_TRUE(TakeBoxes().empty());
}

TEST_F(ToolboxDispatch, RunErrorTextsNameWhatAndOrigin)
{
    SToolBehaviour& blur = RegisterTool("blur");
    StartToolbox(ToolboxParameters({ToolDescription("blur", "run_blur")}));

    blur.m_fnRun = [](Zarn::CValueMap&)
    { throw Zarn::CException("CBlur::Run", "kernel too large", "blur #1"); };
    PostText("ON_ACTION", "run_blur");
    Deliver();
    blur.m_fnRun = [](Zarn::CValueMap&) { throw std::bad_alloc(); };
    PostText("ON_ACTION", "run_blur");
    Deliver();
    blur.m_fnRun = [](Zarn::CValueMap&) { throw 3.5; };
    PostText("ON_ACTION", "run_blur");
    Deliver();

    const std::vector<SBox> boxes = TakeBoxes();
    ASSERT_EQ(boxes.size(), 3U);
    EXPECT_EQ(boxes[0].m_strText, RunErrorText("kernel too large", "CBlur::Run"));
    EXPECT_EQ(boxes[1].m_strText, "Out of memory.");
    EXPECT_EQ(boxes[2].m_strText, "An fatal error occurred while running the plugin.");
    for (const SBox& box : boxes)
    {
        EXPECT_EQ(box.m_strCaption, "Plugin Error");
    }
    EXPECT_EQ(blur.m_nInstances, 4);
}

TEST_F(ToolboxDispatch, CancelledConfigurationRunsNothingAndAsksNoTool)
{
    StartWithConfiguredTool();
    m_pDialog->m_fnRun = [](Zarn::CValueMap&) {};

    PostText("ON_ACTION", "run_blur");
    Deliver();
    ExpectDialogsAndRuns({true}, 0);
    EXPECT_EQ(TakeMessages(), std::vector<std::string>{"ON_ACTION string run_blur"});
    EXPECT_EQ(m_pBlur->m_nTests, m_nTestsAtStart);
}

TEST_F(ToolboxDispatch, ConfiguredToolRunsAfterTheUserConfirmed)
{
    StartWithConfiguredTool();
    PostText("ON_ACTION", "run_blur");
    Deliver();
    ExpectDialogsAndRuns({true}, 1);
    EXPECT_EQ(CountMessages("ACTIVITY_STOP"), 1U);
}

TEST_F(ToolboxDispatch, ConfigurationActionOpensTheDialogWithoutRunningTheTool)
{
    StartWithConfiguredTool();
    PostText("ON_ACTION", "configure_blur");
    Deliver();
    ExpectDialogsAndRuns({true}, 0);
    EXPECT_EQ(ConfiguredSize(*m_pBlur), 3);
    EXPECT_EQ(m_pBlur->m_nTests, m_nTestsAtStart + 1);
    EXPECT_EQ(CountMessages("ACTIVITY_"), 0U);
}

TEST_F(ToolboxDispatch, ConfigurationErrorShowsTheConfigurationBoxAndReloadsTheTool)
{
    StartWithConfiguredTool();
    m_pDialog->m_fnRun = [](Zarn::CValueMap&)
    { throw Zarn::CException("CBlurDialog::Run", "dialog broken", nullptr); };

    PostText("ON_ACTION", "run_blur");
    Deliver();
    ExpectOneBox("Error During Configuration", "An error occurred during plugin configuration.\n"
                                               "The error message was:\n\"dialog broken\".\n"
                                               "The exception origin is:\nCBlurDialog::Run");
    EXPECT_EQ(m_pBlur->m_nRuns, 0);
    EXPECT_EQ(m_pBlur->m_nInstances, 2);
    EXPECT_EQ(m_pBlur->m_nDestroyed, 1);
    EXPECT_EQ(m_pDialog->m_nInstances, 2);
    EXPECT_EQ(m_pDialog->m_nDestroyed, 1);
    EXPECT_EQ(m_pErr->Take(), "Tool plugin blur loaded.\n");
    EXPECT_EQ(m_pLog->Take(), "Tool's config plugin blurdialog loaded.\n");
    // UpdatePlugins followed: the new tool was asked.
    EXPECT_EQ(m_pBlur->m_nTests, m_nTestsAtStart + 1);
    EXPECT_EQ(TakeMessages(),
              (std::vector<std::string>{"ON_ACTION string run_blur",
                                        "UPDATE_CONTROLS {configure_blur=true,run_blur=true}"}));
}

TEST_F(ToolboxDispatch, ConfigurationErrorTextsForEveryKindOfError)
{
    StartWithConfiguredTool();
    m_pDialog->m_fnRun = [](Zarn::CValueMap&) { throw std::bad_alloc(); };
    PostText("ON_ACTION", "run_blur");
    Deliver();
    m_pDialog->m_fnRun = [](Zarn::CValueMap&) { throw std::logic_error("no such size"); };
    PostText("ON_ACTION", "run_blur");
    Deliver();
    m_pDialog->m_fnRun = [](Zarn::CValueMap&) { throw 1; };
    PostText("ON_ACTION", "run_blur");
    Deliver();

    const std::vector<SBox> boxes = TakeBoxes();
    ASSERT_EQ(boxes.size(), 3U);
    EXPECT_EQ(boxes[0].m_strText, "Out of memory.");
    EXPECT_EQ(boxes[1].m_strText, "An internal error occurred during plugin configuration.\n"
                                  "The error message was:\n\"no such size\".");
    EXPECT_EQ(boxes[2].m_strText, "An fatal error occurred during plugin configuration.");
    EXPECT_EQ(m_pBlur->m_nRuns, 0);
}

TEST_F(ToolboxDispatch, ReloadThatFailsRemovesTheActionSoNothingReachesTheDestroyedTool)
{
    StartWithConfiguredTool();
    m_pBlur->m_fnRun = [](Zarn::CValueMap&) { throw std::runtime_error("bad size"); };
    // The tool cannot be made any more.
    Zarn::CPluginLoader::Obj().UnregisterPlugin("blur");

    PostText("ON_ACTION", "run_blur");
    Deliver();
    EXPECT_EQ(m_pErr->Take(), "Tool plugin blur not loaded.\n");
    EXPECT_EQ(m_pBlur->m_nDestroyed, 1);
    TakeBoxes();
    TakeMessages();

    // Neither action reaches the destroyed entry; the toolbox goes on working.
    PostText("ON_ACTION", "run_blur");
    PostText("ON_ACTION", "configure_blur");
    PostText("ON_CONFIGURE", "run_blur");
    PostDocument("CHANGED_DOCUMENT", nullptr);
    Deliver();
    EXPECT_EQ(m_pBlur->m_nRuns, 1);
    EXPECT_EQ(m_pDialog->m_lstConfigUser.size(), 1U);
    EXPECT_TRUE(TakeBoxes().empty());
    EXPECT_TRUE(TakeCaught().empty());
    for (const std::string& strMessage : TakeMessages())
    {
        EXPECT_EQ(strMessage.find("UPDATE_CONTROLS"), std::string::npos);
    }
}

TEST_F(ToolboxDispatch, OnConfigureConfiguresSilentlyAndUpdatesTools)
{
    StartWithConfiguredTool();
    PostText("ON_CONFIGURE", "run_blur");
    Deliver();
    EXPECT_EQ(m_pDialog->m_lstConfigUser, std::vector<bool>{false});
    EXPECT_EQ(ConfiguredSize(*m_pBlur), 3);
    EXPECT_EQ(m_pBlur->m_nTests, m_nTestsAtStart + 1);
    EXPECT_EQ(m_pBlur->m_nRuns, 0);
}

TEST_F(ToolboxDispatch, OnConfigureForAnUnknownActionOnlyUpdatesTools)
{
    StartWithConfiguredTool();
    PostText("ON_CONFIGURE", "configure_blur"); // a configuration action is not a call action
    PostText("ON_CONFIGURE", "no_such_action");
    Deliver();
    EXPECT_TRUE(m_pDialog->m_lstConfigUser.empty());
    EXPECT_EQ(m_pBlur->m_nTests, m_nTestsAtStart + 2);
}

TEST_F(ToolboxDispatch, MessagesWithoutDataAreIgnoredEntirely)
{
    StartWithConfiguredTool();
    Post("ON_ACTION", nullptr);
    Post("ON_CONFIGURE", nullptr);
    Post("CHANGED_DOCUMENT", nullptr);
    Post("ACTIVITY_STOP", nullptr);
    Deliver();
    EXPECT_EQ(m_pBlur->m_nTests, m_nTestsAtStart);
    EXPECT_EQ(m_pBlur->m_nRuns, 0);
    EXPECT_TRUE(m_pDialog->m_lstConfigUser.empty());
    EXPECT_TRUE(TakeCaught().empty());
}

TEST_F(ToolboxDispatch, ActionOfAnotherKindThanTextIsInvalidMessageData)
{
    StartWithConfiguredTool();
    Post("ON_ACTION", new Zarn::CValueLong(3));
    Post("ON_CONFIGURE", new Zarn::CValueLong(3));
    Deliver();
    const std::vector<SCaught> caught = TakeCaught();
    ASSERT_EQ(caught.size(), 2U);
    EXPECT_EQ(caught[0].m_strFunction, "ON_ACTION");
    EXPECT_EQ(caught[0].m_strWhat, "Invalid message data!");
    EXPECT_EQ(caught[1].m_strFunction, "ON_CONFIGURE");
    EXPECT_EQ(caught[1].m_strWhat, "Invalid message data!");
}

TEST_F(ToolboxDispatch, UnknownActionDoesNothingButUpdateTools)
{
    StartWithConfiguredTool();
    PostText("ON_ACTION", "no_such_action");
    Deliver();
    EXPECT_EQ(m_pBlur->m_nTests, m_nTestsAtStart + 1);
    EXPECT_EQ(TakeMessages(), std::vector<std::string>{"ON_ACTION string no_such_action"});
    EXPECT_TRUE(TakeBoxes().empty());
}

// A collect that fails for a run that names its action reloads that tool and registers its
// description again.
TEST_F(ToolboxDispatch, FailedCollectOfANamedActionShowsTheErrorAndReloadsTheTool)
{
    StartWithConfiguredTool();
    Zarn::CValueMap notAThread;
    auto* pData = new Zarn::CValueMap;
    pData->SetEntry(Zarn::CValue_Key("action"), new Zarn::CValueString("run_blur"));
    pData->SetEntry(Zarn::CValue_Key("toolthread"),
                    new Zarn::CValuePointer<Zarn::CValueMap>(&notAThread));
    Post("ACTIVITY_STOP", pData);
    Deliver();

    const std::vector<SBox> boxes = TakeBoxes();
    ASSERT_EQ(boxes.size(), 1U);
    EXPECT_EQ(boxes[0].m_strCaption, "Plugin Error");
    EXPECT_EQ(boxes[0].m_strText.rfind("An error occurred while running the plugin.\n"
                                       "The error message was:\n\"Requested type ('",
                                       0),
              0U);
    EXPECT_EQ(m_pBlur->m_nInstances, 2);
    // No UpdatePlugins on this path.
    EXPECT_EQ(m_pBlur->m_nTests, m_nTestsAtStart);

    // The registered description still works for the next reload.
    m_pBlur->m_fnRun = [](Zarn::CValueMap&) { throw std::runtime_error("bad size"); };
    PostText("ON_ACTION", "run_blur");
    Deliver();
    EXPECT_EQ(m_pBlur->m_nInstances, 3);
}

} // namespace ToolboxTest
