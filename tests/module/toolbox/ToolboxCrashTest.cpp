// A real tool module that crashes: every native fault and every exception of its run is
// reported in the "Plugin Error" box and on standard error, a hundred times in a row, threaded
// and on the GUI thread, and the process goes on working.
#include "ToolboxHarness.h"

#include <Zarn/Plugin/PluginLoader.h>

#include <filesystem>

#include <unistd.h>

namespace ToolboxTest
{

namespace
{

const int kRepetitions = 100;

struct SCrashCase
{
    const char* m_szCrash;
    bool m_bThreaded;
    // The box text; "%s" stands for the origin where the text has one.
    std::string m_strBox;
    // What standard error shows for one run, before any reload line.
    std::string m_strError;
};

std::string RunErrorText(const std::string& what, const std::string& origin)
{
    return "An error occurred while running the plugin.\nThe error message was:\n\"" + what +
           "\".\nThe exception origin is:\n" + origin;
}

size_t ThreadCount()
{
    size_t nThreads = 0;
    for ([[maybe_unused]] const auto& entry :
         std::filesystem::directory_iterator("/proc/self/task"))
    {
        ++nThreads;
    }
    return nThreads;
}

// Finds the crash module and knows its tools; starts no toolbox of its own.
class CCrashToolFixture : public CToolboxFixture
{
protected:
    void SetUp() override
    {
        CToolboxFixture::SetUp();
        Zarn::CPluginLoader::Obj().AddSearchDirectory(CRASH_MODULE_DIR);
    }

    static Zarn::CValueMap* CrashDescription(const std::string& crash, bool threaded)
    {
        const std::string strAction = "crash_" + crash + (threaded ? "_threaded" : "");
        Zarn::CValueMap* pDescription = ToolDescription("tools\\CrashTool", strAction, threaded);
        pDescription->SetEntry(Zarn::CValue_Key("crash"), new Zarn::CValueString(crash.c_str()));
        return pDescription;
    }

    void StartCrashTools()
    {
        std::vector<Zarn::CValueMap*> lstDescriptions;
        for (const char* szCrash :
             {"null", "divide", "recurse", "throw", "bad_alloc", "interrupt", "none"})
        {
            lstDescriptions.push_back(CrashDescription(szCrash, false));
            lstDescriptions.push_back(CrashDescription(szCrash, true));
        }
        // A tool whose configuration dialog crashes.
        Zarn::CValueMap* pConfigured = CrashDescription("none", false);
        pConfigured->SetEntry(Zarn::CValue_Key("callaction"), new Zarn::CValueString("crash_cfg"));
        pConfigured->SetEntry(Zarn::CValue_Key("configplugin"),
                              new Zarn::CValueString("tools\\CrashDialog"));
        lstDescriptions.push_back(pConfigured);
        StartWith(lstDescriptions);
    }

    // Starts the toolbox with these tools and forgets what loading them sent and wrote.
    void StartWith(const std::vector<Zarn::CValueMap*>& descriptions)
    {
        StartToolbox(ToolboxParameters(descriptions));
        TakeMessages();
        m_pErr->Take();
        m_pLog->Take();
    }

    // Runs the action once and delivers until its ACTIVITY_STOP was handled.
    void RunOnce(const std::string& action, bool threaded)
    {
        const size_t nStops = CountMessages("ACTIVITY_STOP");
        PostText("ON_ACTION", action.c_str());
        if (threaded)
        {
            ASSERT_TRUE(DeliverUntilCount("ACTIVITY_STOP", nStops + 1)) << action;
        }
        else
        {
            Deliver();
            ASSERT_EQ(CountMessages("ACTIVITY_STOP"), nStops + 1) << action;
        }
    }

    void CheckRepeatedly(const SCrashCase& crash)
    {
        const std::string strAction =
            std::string("crash_") + crash.m_szCrash + (crash.m_bThreaded ? "_threaded" : "");
        // A run on the GUI thread is reloaded after its failure; a threaded one is not.
        const std::string strReload =
            crash.m_bThreaded ? std::string() : "Tool plugin tools\\CrashTool loaded.\n";
        for (int i = 0; i < kRepetitions; ++i)
        {
            RunOnce(strAction, crash.m_bThreaded);
            const std::vector<SBox> boxes = TakeBoxes();
            ASSERT_EQ(boxes.size(), 1U) << strAction << " run " << i;
            ASSERT_EQ(boxes[0].m_strCaption, "Plugin Error");
            ASSERT_EQ(boxes[0].m_strText, crash.m_strBox) << strAction << " run " << i;
            ASSERT_EQ(m_pErr->Take(), crash.m_strError + strReload) << strAction << " run " << i;
        }
        CheckStillHealthy();
    }

    // A well-behaved run still works on both paths, and no tool thread is left behind.
    void CheckStillHealthy()
    {
        for (bool bThreaded : {false, true})
        {
            const std::string strAction = bThreaded ? "crash_none_threaded" : "crash_none";
            RunOnce(strAction, bThreaded);
            EXPECT_TRUE(TakeBoxes().empty());
            EXPECT_TRUE(LastStop().HasEntry("output/done")) << strAction;
        }
        EXPECT_EQ(ThreadCount(), m_nThreadsAtStart);
    }

    // The data of the last ACTIVITY_STOP; an UPDATE_CONTROLS may follow it.
    const Zarn::CValueMap& LastStop() const
    {
        static const Zarn::CValueMap kNone;
        const std::vector<std::string>& lstMessages = m_pRecorder->m_lstMessages;
        for (size_t i = lstMessages.size(); i > 0; --i)
        {
            if (lstMessages[i - 1].rfind("ACTIVITY_STOP", 0) == 0)
            {
                return m_pRecorder->m_lstData[i - 1];
            }
        }
        return kNone;
    }

    // A hardware fault is reported by its name, raised by the plug-in named `origin`.
    void CheckFaultRepeatedly(const char* szCrash, bool bThreaded, const std::string& origin,
                              const char* name);

    size_t m_nThreadsAtStart = ThreadCount();
};

// Every test of this suite runs against the toolbox with all crash tools loaded.
class ToolboxCrash : public CCrashToolFixture
{
protected:
    void SetUp() override
    {
        CCrashToolFixture::SetUp();
        StartCrashTools();
    }
};

std::string FaultLine(const std::string& origin, const char* name)
{
    return "Plugin '" + origin + "': Windows system exception: " + name + "\n";
}

std::string FaultBox(const std::string& origin, const char* name)
{
    return RunErrorText(std::string("Windows system exception: ") + name,
                        "Plugin '" + origin + "'");
}

void CCrashToolFixture::CheckFaultRepeatedly(const char* szCrash, bool bThreaded,
                                             const std::string& origin, const char* name)
{
    CheckRepeatedly({szCrash, bThreaded, FaultBox(origin, name), FaultLine(origin, name)});
}

} // namespace

// A tool thread names itself after the tool's file name; a run on the GUI thread is named by
// its action.
TEST_F(ToolboxCrash, NullPointerWriteInAToolThreadIsAnAccessViolation)
{
    CheckFaultRepeatedly("null", true, "CrashTool", "EXCEPTION_ACCESS_VIOLATION");
}

TEST_F(ToolboxCrash, NullPointerWriteOnTheGuiThreadIsAnAccessViolation)
{
    CheckFaultRepeatedly("null", false, "crash_null", "EXCEPTION_ACCESS_VIOLATION");
}

TEST_F(ToolboxCrash, IntegerDivisionByZeroInAToolThreadIsReported)
{
    CheckFaultRepeatedly("divide", true, "CrashTool", "EXCEPTION_INT_DIVIDE_BY_ZERO");
}

TEST_F(ToolboxCrash, IntegerDivisionByZeroOnTheGuiThreadIsReported)
{
    CheckFaultRepeatedly("divide", false, "crash_divide", "EXCEPTION_INT_DIVIDE_BY_ZERO");
}

TEST_F(ToolboxCrash, EndlessRecursionInAToolThreadIsAStackOverflow)
{
    CheckFaultRepeatedly("recurse", true, "CrashTool", "EXCEPTION_STACK_OVERFLOW");
}

TEST_F(ToolboxCrash, EndlessRecursionOnTheGuiThreadIsAStackOverflow)
{
    CheckFaultRepeatedly("recurse", false, "crash_recurse", "EXCEPTION_STACK_OVERFLOW");
}

TEST_F(ToolboxCrash, BadSizeInAToolThreadIsReportedWithTheThreadName)
{
    CheckRepeatedly({"throw", true, RunErrorText("bad size", "CrashTool"), ""});
}

TEST_F(ToolboxCrash, BadSizeOnTheGuiThreadIsAnInternalError)
{
    CheckRepeatedly({"throw", false,
                     "An internal error occurred while running the plugin.\n"
                     "The error message was:\n\"bad size\".",
                     ""});
}

TEST_F(ToolboxCrash, BadAllocInAToolThreadIsThePreparedReport)
{
    CheckRepeatedly({"bad_alloc", true, RunErrorText("Out of Memory", "CrashTool"), ""});
}

TEST_F(ToolboxCrash, BadAllocOnTheGuiThreadIsOutOfMemory)
{
    CheckRepeatedly({"bad_alloc", false, "Out of memory.", ""});
}

} // namespace ToolboxTest

namespace ToolboxTest
{

TEST_F(ToolboxCrash, InterruptRaisedByAToolIsOnlyNotedAndTheRunGoesOn)
{
    for (bool bThreaded : {false, true})
    {
        const std::string strAction = bThreaded ? "crash_interrupt_threaded" : "crash_interrupt";
        // Noted from inside the signal handler: straight to descriptor 2, not through std::cerr.
        CDescriptorCapture error(STDERR_FILENO);
        RunOnce(strAction, bThreaded);
        EXPECT_TRUE(TakeBoxes().empty()) << strAction;
        EXPECT_EQ(error.Take(), "CTRL+C detected\n") << strAction;
        EXPECT_EQ(m_pErr->Take(), "") << strAction;
        EXPECT_TRUE(LastStop().HasEntry("output/done")) << strAction;
    }
    CheckStillHealthy();
}

// The configuration runs under the same guard as the run.
TEST_F(ToolboxCrash, CrashingConfigurationDialogIsReportedAndTheToolReloaded)
{
    for (int i = 0; i < 10; ++i)
    {
        PostText("ON_ACTION", "crash_cfg");
        Deliver();
        ExpectOneBox("Error During Configuration",
                     "An error occurred during plugin configuration.\nThe error message was:\n"
                     "\"Windows system exception: EXCEPTION_ACCESS_VIOLATION\".\n"
                     "The exception origin is:\nPlugin 'crash_cfg'");
        EXPECT_EQ(m_pErr->Take(), FaultLine("crash_cfg", "EXCEPTION_ACCESS_VIOLATION") +
                                      "Tool plugin tools\\CrashTool loaded.\n");
        EXPECT_EQ(m_pLog->Take(), "Tool's config plugin tools\\CrashDialog loaded.\n");
    }
    EXPECT_EQ(CountMessages("ACTIVITY_STOP"), 0U);
    CheckStillHealthy();
}

// A silent configuration is not guarded by the toolbox: the fault reaches the host as the
// translator's exception.
TEST_F(ToolboxCrash, CrashingSilentConfigurationReachesTheHost)
{
    PostText("ON_CONFIGURE", "crash_cfg");
    Deliver();
    const std::vector<SCaught> caught = TakeCaught();
    ASSERT_EQ(caught.size(), 1U);
    EXPECT_EQ(caught[0].m_strFunction, "Plugin 'crash_cfg'");
    EXPECT_EQ(caught[0].m_strWhat, "Windows system exception: EXCEPTION_ACCESS_VIOLATION");
    EXPECT_TRUE(TakeBoxes().empty());
    CheckStillHealthy();
}

} // namespace ToolboxTest

// ---------------------------------------------------------------------------------------------
// Native faults in the other calls into tools, configuration plug-ins and views

namespace ToolboxTest
{

namespace
{

class ToolboxFault : public CCrashToolFixture
{
protected:
    // A crash tool that fails with `crash` in the operation `crashAt` and runs well otherwise.
    static Zarn::CValueMap* FaultingDescription(const std::string& action, const char* crashAt,
                                                const char* crash,
                                                const std::string& configPlugin = "")
    {
        Zarn::CValueMap* pDescription =
            ToolDescription("tools\\CrashTool", action, false, configPlugin);
        pDescription->SetEntry(Zarn::CValue_Key("crash"), new Zarn::CValueString(crash));
        pDescription->SetEntry(Zarn::CValue_Key("crash at"), new Zarn::CValueString(crashAt));
        return pDescription;
    }

    // The tools answer with a fault while the context says so.
    void PostFault(bool bFault)
    {
        auto* pContext = new Zarn::CValueMap;
        pContext->SetEntry(Zarn::CValue_Key("fault"), new Zarn::CValueBool(bFault));
        Post("UPDATE_CONTEXT", pContext);
        Deliver();
    }

    // The tool under `action` runs on the GUI thread and hands its output back.
    void CheckRuns(const std::string& action)
    {
        RunOnce(action, false);
        EXPECT_TRUE(TakeBoxes().empty()) << action;
        EXPECT_TRUE(LastStop().HasEntry("output/done")) << action;
    }
};

const char* const kLoaded = "Tool plugin tools\\CrashTool loaded.\n";

std::string NotLoaded(const std::string& what)
{
    return "Tool plugin tools\\CrashTool not loaded... '\n\t" + what + "'\n";
}

} // namespace

// A tool whose Init faults while the toolbox loads is skipped like one that cannot be created;
// the other tools load and the toolbox works.
TEST_F(ToolboxFault, FaultInToolInitWhileLoadingSkipsTheToolAndTheOthersLoad)
{
    StartToolbox(ToolboxParameters(
        {FaultingDescription("broken", "Init", "null"), CrashDescription("none", false)}));
    EXPECT_EQ(m_pErr->Take(),
              kLoaded + FaultLine("tools\\CrashTool", "EXCEPTION_ACCESS_VIOLATION") +
                  NotLoaded("Windows system exception: EXCEPTION_ACCESS_VIOLATION") + kLoaded);
    EXPECT_EQ(TakeMessages(), std::vector<std::string>{"UPDATE_CONTROLS {crash_none=true}"});
    PostText("ON_ACTION", "broken");
    Deliver();
    EXPECT_EQ(CountMessages("ACTIVITY_STOP"), 0U);
    CheckRuns("crash_none");
}

// The same for a fault in the tool's UpdateParameters with its description.
TEST_F(ToolboxFault, FaultInToolUpdateParametersWhileLoadingSkipsTheTool)
{
    StartToolbox(ToolboxParameters(
        {FaultingDescription("broken", "load", "divide"), CrashDescription("none", false)}));
    EXPECT_EQ(m_pErr->Take(),
              kLoaded + FaultLine("tools\\CrashTool", "EXCEPTION_INT_DIVIDE_BY_ZERO") +
                  NotLoaded("Windows system exception: EXCEPTION_INT_DIVIDE_BY_ZERO") + kLoaded);
    EXPECT_EQ(TakeMessages(), std::vector<std::string>{"UPDATE_CONTROLS {crash_none=true}"});
    CheckRuns("crash_none");
}

// A configuration plug-in whose Init faults drops its whole tool, like one that cannot be created.
TEST_F(ToolboxFault, FaultInConfigPluginInitWhileLoadingDropsTheWholeTool)
{
    StartToolbox(ToolboxParameters(
        {FaultingDescription("broken", "config Init", "null", "tools\\CrashDialog"),
         CrashDescription("none", false)}));
    EXPECT_EQ(m_pErr->Take(), kLoaded +
                                  FaultLine("tools\\CrashTool", "EXCEPTION_ACCESS_VIOLATION") +
                                  "Tool's config plugin tools\\CrashDialog not loaded... '\n\t"
                                  "Windows system exception: EXCEPTION_ACCESS_VIOLATION'\n" +
                                  kLoaded);
    EXPECT_EQ(TakeMessages(), std::vector<std::string>{"UPDATE_CONTROLS {crash_none=true}"});
    CheckRuns("crash_none");
}

// A fault in TestParameters leaves UpdatePlugins as the same rethrown host exception a thrown
// error gives (naming the tool's action as origin and the tool), and the tool is reloaded, so the
// next message reaches a fresh one.
TEST_F(ToolboxFault, FaultInTestParametersIsRethrownNamingTheToolAndTheToolIsReloaded)
{
    StartWith(
        {FaultingDescription("picky", "TestParameters", "null"), CrashDescription("none", false)});
    for (int i = 0; i < 10; ++i)
    {
        PostFault(true);
        ExpectOneCaught("UPDATE_CONTEXT", "CToolboxPlugin::UpdatePlugins -> Plugin 'picky'",
                        "Windows system exception: EXCEPTION_ACCESS_VIOLATION",
                        "GUICommunicationThread -> <unnamed>");
        EXPECT_EQ(m_pErr->Take(), FaultLine("picky", "EXCEPTION_ACCESS_VIOLATION") + kLoaded);
        EXPECT_EQ(TakeMessages(), std::vector<std::string>{"UPDATE_CONTEXT {fault=true}"});
    }
    PostFault(false);
    EXPECT_TRUE(TakeCaught().empty());
    EXPECT_EQ(TakeMessages(), (std::vector<std::string>{"UPDATE_CONTEXT {fault=false}",
                                                        "UPDATE_CONTROLS {picky=true}"}));
    CheckRuns("picky");
    CheckRuns("crash_none");
}

// The same for the tool's UpdateParameters with the new input.
TEST_F(ToolboxFault, FaultInToolUpdateParametersDuringUpdatePluginsIsRethrownAndTheToolReloaded)
{
    StartWith({FaultingDescription("picky", "input", "divide")});
    PostFault(true);
    ExpectOneCaught("CToolboxPlugin::UpdatePlugins -> Plugin 'picky'",
                    "Windows system exception: EXCEPTION_INT_DIVIDE_BY_ZERO",
                    "GUICommunicationThread -> <unnamed>");
    EXPECT_EQ(m_pErr->Take(), FaultLine("picky", "EXCEPTION_INT_DIVIDE_BY_ZERO") + kLoaded);
    PostFault(false);
    EXPECT_TRUE(TakeCaught().empty());
    CheckRuns("picky");
}

// The same for the configuration plug-in's UpdateParameters; tool and configuration plug-in are
// loaded afresh.
TEST_F(ToolboxFault, FaultInConfigPluginUpdateParametersIsRethrownAndTheToolReloaded)
{
    StartWith({FaultingDescription("picky", "config input", "null", "tools\\CrashDialog")});
    PostFault(true);
    const std::vector<SCaught> caught = TakeCaught();
    ASSERT_EQ(caught.size(), 1U);
    EXPECT_EQ(caught[0].m_strFunction, "CToolboxPlugin::UpdatePlugins -> Plugin 'picky'");
    EXPECT_EQ(caught[0].m_strWhat, "Windows system exception: EXCEPTION_ACCESS_VIOLATION");
    EXPECT_EQ(m_pErr->Take(), FaultLine("picky", "EXCEPTION_ACCESS_VIOLATION") + kLoaded);
    EXPECT_EQ(m_pLog->Take(), "Tool's config plugin tools\\CrashDialog loaded.\n");
    PostFault(false);
    EXPECT_TRUE(TakeCaught().empty());
    CheckRuns("picky");
}

// A silent configuration that faults still reaches the host, and the tool starts afresh.
TEST_F(ToolboxFault, FaultInSilentConfigurationReloadsTheTool)
{
    StartCrashTools();
    PostText("ON_CONFIGURE", "crash_cfg");
    Deliver();
    ASSERT_EQ(TakeCaught().size(), 1U);
    EXPECT_EQ(m_pErr->Take(), FaultLine("crash_cfg", "EXCEPTION_ACCESS_VIOLATION") + kLoaded);
    EXPECT_EQ(m_pLog->Take(), "Tool's config plugin tools\\CrashDialog loaded.\n");
}

// A view whose description faults when it becomes active: the fault reaches the host like a
// thrown error, the active view is not recorded, and the toolbox goes on.
TEST_F(ToolboxFault, FaultInTheActiveViewsDescriptionReachesTheHostAndTheToolboxGoesOn)
{
    StartWith({CrashDescription("none", false)});
    std::unique_ptr<Zarn::CPluginBase> pView(Zarn::GetNewPluginInstance("tools\\CrashView"));
    ASSERT_NE(pView, nullptr);
    PostView("NEW_VIEW", pView.get());
    PostView("ACTIVE_VIEW", pView.get());
    Deliver();
    const std::vector<SCaught> caught = TakeCaught();
    ASSERT_EQ(caught.size(), 1U);
    EXPECT_EQ(caught[0].m_strMessage, "ACTIVE_VIEW");
    EXPECT_EQ(caught[0].m_strWhat, "Windows system exception: EXCEPTION_ACCESS_VIOLATION");
    EXPECT_FALSE(State().HasEntry("views/active"));
    CheckRuns("crash_none");
    PostView("INVALID_VIEW", pView.get());
    Deliver();
    EXPECT_TRUE(TakeCaught().empty());
}

} // namespace ToolboxTest
