// Threaded runs: the hand-over through ACTIVITY_START / ACTIVITY_STOP, the tool's output turned
// into messages, the recorded errors, and the system-exception translator.
#include "AllocationFailure.h"
#include "ToolboxHarness.h"

#include "toolbox/CurrentContext.h"
#include "toolbox/SystemExceptionTranslator.h"
#include "toolbox/TekaDebuggableZarnException.h"

#include <Zarn/Message/Message.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/System/SystemException.h>

#include <chrono>
#include <csignal>
#include <future>
#include <new>
#include <stdexcept>
#include <thread>

#include <unistd.h>

namespace ToolboxTest
{

namespace
{

class ToolThread : public CToolboxFixture
{
protected:
    // A threaded tool "C:\tools\blur" under "run_blur"; the Init messages are taken.
    SToolBehaviour& StartThreadedTool()
    {
        SToolBehaviour& blur = RegisterTool("blur");
        StartToolbox(ToolboxParameters({ToolDescription("C:\\tools\\blur", "run_blur", true)}));
        TakeMessages();
        m_pErr->Take();
        return blur;
    }

    // Runs the action and delivers until its ACTIVITY_STOP was handled.
    void RunAndCollect(const char* action = "run_blur")
    {
        const size_t nStops = CountMessages("ACTIVITY_STOP");
        PostText("ON_ACTION", action);
        ASSERT_TRUE(DeliverUntilCount("ACTIVITY_STOP", nStops + 1));
    }

    // Runs `tool` once with an output that reports `message` as its error, with "exit" where
    // given, and delivers what the report leads to.
    void RunReportingError(SToolBehaviour& tool, const char* message,
                           std::optional<bool> exit = std::nullopt)
    {
        tool.m_fnRun = [message, exit](Zarn::CValueMap& data)
        {
            data.SetEntry(Zarn::CValue_Path("output/error/message"),
                          new Zarn::CValueString(message));
            if (exit)
            {
                data.SetEntry(Zarn::CValue_Path("output/error/exit"), new Zarn::CValueBool(*exit));
            }
        };
        RunAndCollect();
        Deliver();
    }
};

Zarn::CValueVector* VectorAt(Zarn::CValueMap& map, const char* path)
{
    if (!map.HasEntry(path))
    {
        map.SetEntry(Zarn::CValue_Path(path), new Zarn::CValueVector);
    }
    return map.Entry(path, true)->Vector();
}

const char* const kBanner =
    "\n"
    "************************************************************************************\n"
    "*                                                                                  *\n"
    "* WARNING ! Native view creation by tools is deprecated and will be removed soon ! *\n"
    "*                                                                                  *\n"
    "*           Please use the create vector instead. See documentation for details.   *\n"
    "*                                                                                  *\n"
    "************************************************************************************\n";

const char* const kCleanUp = "Calling Wait() to clean up toolbox thread ...\n"
                             "Deleting toolbox thread ...\n";

} // namespace

TEST_F(ToolThread, ThreadedRunHandsItsDocumentsToTheRepositoryBetweenStartAndStop)
{
    StartRepository();
    SToolBehaviour& blur = StartThreadedTool();
    auto* pDocument = new Zarn::CValueMap;
    pDocument->SetEntry(Zarn::CValue_Key("label"), new Zarn::CValueString("blurred"));
    blur.m_fnRun = [pDocument](Zarn::CValueMap& data)
    {
        VectorAt(data, "output/documents/add")
            ->PushBack(new Zarn::CValuePointer<Zarn::CValueMap>(pDocument));
    };

    RunAndCollect();
    Deliver();
    EXPECT_EQ(blur.m_nRuns, 1);
    // The thread names itself after the tool's file name.
    EXPECT_EQ(blur.m_strRunContext, "blur");
    const std::vector<std::string> messages = TakeMessages();
    ASSERT_GE(messages.size(), 5U);
    EXPECT_EQ(messages[0], "ON_ACTION string run_blur");
    EXPECT_EQ(messages[1], "ACTIVITY_START map");
    EXPECT_EQ(messages[2], "ACTIVITY_STOP map");
    EXPECT_EQ(messages[3], "ADD_DOCUMENT pointer");
    EXPECT_EQ(messages[4], "NEW_DOCUMENT pointer");
    const size_t nFirst = m_pRecorder->m_lstData.size() - messages.size();
    EXPECT_EQ(
        m_pRecorder->m_lstData[nFirst + 1].EntryString(Zarn::CValue_Key("action")).StdString(),
        "run_blur");
    EXPECT_TRUE(m_pRecorder->m_lstData[nFirst + 2].HasEntry(Zarn::CValue_Key("toolthread")));
    EXPECT_EQ(m_pRecorder->m_lstPointers[nFirst + 3], pDocument);
    // The repository took the document and the toolbox lists it.
    EXPECT_EQ(PointersAt(State(), "documents/available"), std::vector<const void*>{pDocument});
    EXPECT_EQ(m_pLog->Take(), kCleanUp);
    EXPECT_TRUE(TakeBoxes().empty());
}

TEST_F(ToolThread, ToolNameWithoutBackslashNamesTheThreadAsItIs)
{
    SToolBehaviour& median = RegisterTool("median");
    StartToolbox(ToolboxParameters({ToolDescription("median", "run_median", true)}));
    RunAndCollect("run_median");
    EXPECT_EQ(median.m_strRunContext, "median");
}

TEST_F(ToolThread, OutputKeysBecomeMessagesInOrderWithCopiesOfTheElements)
{
    SToolBehaviour& blur = StartThreadedTool();
    Zarn::CValueMap removed;
    Zarn::CValueMap updated;
    CFakeView view;
    blur.m_fnRun = [&](Zarn::CValueMap& data)
    {
        VectorAt(data, "output/documents/remove")
            ->PushBack(new Zarn::CValuePointer<Zarn::CValueMap>(&removed));
        VectorAt(data, "output/documents/update")
            ->PushBack(new Zarn::CValuePointer<Zarn::CValueMap>(&updated));
        auto* pCreate = new Zarn::CValueMap;
        pCreate->SetEntry(Zarn::CValue_Key("type"), new Zarn::CValueString("histogram"));
        VectorAt(data, "output/views/create")->PushBack(pCreate);
        VectorAt(data, "output/views/remove")
            ->PushBack(new Zarn::CValuePointer<Zarn::CPluginBase>(&view));
        VectorAt(data, "output/views/update")
            ->PushBack(new Zarn::CValuePointer<Zarn::CPluginBase>(&view));
        VectorAt(data, "output/views/update")
            ->PushBack(new Zarn::CValuePointer<Zarn::CPluginBase>(nullptr));
    };
    RunAndCollect();

    EXPECT_EQ(TakeMessages(),
              (std::vector<std::string>{
                  "ON_ACTION string run_blur", "ACTIVITY_START map", "ACTIVITY_STOP map",
                  "REMOVE_DOCUMENT pointer", "UPDATE_DOCUMENT pointer", "CREATE_VIEW map",
                  "REMOVE_VIEW pointer", "UPDATE_VIEW pointer", "UPDATE_VIEW null"}));
    const size_t nFirst = m_pRecorder->m_lstPointers.size() - 6;
    EXPECT_EQ(m_pRecorder->m_lstPointers[nFirst], &removed);
    EXPECT_EQ(m_pRecorder->m_lstPointers[nFirst + 1], &updated);
    EXPECT_EQ(m_pRecorder->m_lstData[nFirst + 2].EntryString(Zarn::CValue_Key("type")).StdString(),
              "histogram");
    EXPECT_EQ(m_pRecorder->m_lstPointers[nFirst + 3], &view);
    // No "add" under "views": no banner.
    EXPECT_EQ(m_pErr->Take(), "");
}

TEST_F(ToolThread, EmptyViewsAddVectorStillPrintsTheDeprecationBanner)
{
    SToolBehaviour& blur = StartThreadedTool();
    blur.m_fnRun = [](Zarn::CValueMap& data) { VectorAt(data, "output/views/add"); };
    RunAndCollect();
    EXPECT_EQ(m_pErr->Take(), kBanner);
    EXPECT_EQ(CountMessages("ADD_VIEW"), 0U);
}

TEST_F(ToolThread, ViewsAddPostsAddViewAfterTheBanner)
{
    SToolBehaviour& blur = StartThreadedTool();
    blur.m_fnRun = [](Zarn::CValueMap& data)
    { VectorAt(data, "output/views/add")->PushBack(new Zarn::CValueMap); };
    RunAndCollect();
    EXPECT_EQ(m_pErr->Take(), kBanner);
    EXPECT_EQ(CountMessages("ADD_VIEW"), 1U);
}

TEST_F(ToolThread, OutputWithoutOutputOnlyCleansUpTheThread)
{
    StartThreadedTool();
    RunAndCollect();
    EXPECT_EQ(TakeMessages(),
              (std::vector<std::string>{"ON_ACTION string run_blur", "ACTIVITY_START map",
                                        "ACTIVITY_STOP map"}));
    EXPECT_EQ(m_pLog->Take(), kCleanUp);
    EXPECT_EQ(m_pErr->Take(), "");
}

TEST_F(ToolThread, ReportedErrorShowsItsMessageAndExitAsksForShutdown)
{
    RunReportingError(StartThreadedTool(), "The image is empty.", true);
    ExpectOneBox("Error while running plugin", "The image is empty.");
    EXPECT_EQ(CountMessages("SHUTDOWN (no data)"), 1U);
}

TEST_F(ToolThread, ReportedErrorWithoutExitDoesNotShutDown)
{
    RunReportingError(StartThreadedTool(), "Nothing to do.");
    ASSERT_EQ(TakeBoxes().size(), 1U);
    EXPECT_EQ(CountMessages("SHUTDOWN"), 0U);
}

// "exit" counts only as the entry "exit" inside the output's "error" entry: an exit flag
// anywhere else (a key spelt "error/exit" in the output, "exit" in the output, "error/exit"
// beside the output) shows no box and asks for no shutdown, though the rest of the output is
// used; and an error whose exit is false shows its box without a shutdown.
TEST_F(ToolThread, ExitWithoutErrorIsIgnored)
{
    SToolBehaviour& blur = StartThreadedTool();
    blur.m_fnRun = [](Zarn::CValueMap& data)
    {
        VectorAt(data, "output/documents/update")->PushBack(new Zarn::CValueMap);
        Zarn::CValueMap* pOutput = data.Entry("output", true)->Map();
        // One entry whose key holds a slash: no "error" entry exists.
        pOutput->SetEntry(Zarn::CValue_Key("error/exit"), new Zarn::CValueBool(true));
        pOutput->SetEntry(Zarn::CValue_Key("exit"), new Zarn::CValueBool(true));
        data.SetEntry(Zarn::CValue_Path("error/exit"), new Zarn::CValueBool(true));
    };
    RunAndCollect();
    Deliver();
    EXPECT_EQ(CountMessages("UPDATE_DOCUMENT"), 1U);
    EXPECT_TRUE(TakeBoxes().empty());
    EXPECT_EQ(CountMessages("SHUTDOWN"), 0U);

    RunReportingError(blur, "Nothing to do.", false);
    EXPECT_EQ(TakeBoxes().size(), 1U);
    EXPECT_EQ(CountMessages("SHUTDOWN"), 0U);
}

TEST_F(ToolThread, HostErrorOfAThreadedToolIsReportedAndTheToolIsNotReloaded)
{
    SToolBehaviour& blur = StartThreadedTool();
    const int nTests = blur.m_nTests;
    blur.m_fnRun = [](Zarn::CValueMap& data)
    {
        VectorAt(data, "output/documents/update")->PushBack(new Zarn::CValueMap);
        throw Zarn::CException("CBlur::Run", "kernel too large", nullptr);
    };
    RunAndCollect();
    ExpectOneBox("Plugin Error", "An error occurred while running the plugin.\n"
                                 "The error message was:\n\"kernel too large\".\n"
                                 "The exception origin is:\nCBlur::Run");
    // Nothing of the output is used, the tool stays, no UpdatePlugins after the stop.
    EXPECT_EQ(CountMessages("UPDATE_DOCUMENT"), 0U);
    EXPECT_EQ(blur.m_nInstances, 1);
    EXPECT_EQ(blur.m_nTests, nTests + 1); // after ON_ACTION only
    EXPECT_EQ(m_pLog->Take(), "");
}

TEST_F(ToolThread, StandardAndUnknownErrorsOfAThreadedToolNameTheThread)
{
    SToolBehaviour& blur = StartThreadedTool();
    blur.m_fnRun = [](Zarn::CValueMap&) { throw std::runtime_error("bad size"); };
    RunAndCollect();
    blur.m_fnRun = [](Zarn::CValueMap&) { throw 5; };
    RunAndCollect();
    blur.m_fnRun = [](Zarn::CValueMap&) { throw std::bad_alloc(); };
    RunAndCollect();

    const std::vector<SBox> boxes = TakeBoxes();
    ASSERT_EQ(boxes.size(), 3U);
    EXPECT_EQ(boxes[0].m_strText, "An error occurred while running the plugin.\n"
                                  "The error message was:\n\"bad size\".\n"
                                  "The exception origin is:\nblur");
    EXPECT_EQ(boxes[1].m_strText, "An error occurred while running the plugin.\n"
                                  "The error message was:\n\"Unknown exception\".\n"
                                  "The exception origin is:\nblur");
    // The report prepared before the run.
    EXPECT_EQ(boxes[2].m_strText, "An error occurred while running the plugin.\n"
                                  "The error message was:\n\"Out of Memory\".\n"
                                  "The exception origin is:\nblur");
    EXPECT_EQ(CountMessages("ACTIVITY_START"), 3U);
    EXPECT_EQ(CountMessages("ACTIVITY_STOP"), 3U);
}

TEST_F(ToolThread, GuiThreadGoesOnWhileAToolThreadRuns)
{
    SToolBehaviour& blur = StartThreadedTool();
    std::atomic<bool> bRelease{false};
    blur.m_fnRun = [&bRelease](Zarn::CValueMap&)
    {
        while (!bRelease.load())
        {
            std::this_thread::yield();
        }
    };
    PostText("ON_ACTION", "run_blur");
    Deliver();
    Zarn::CValueMap document;
    PostDocument("NEW_DOCUMENT", &document);
    Deliver();
    EXPECT_EQ(PointersAt(State(), "documents/available"), std::vector<const void*>{&document});
    EXPECT_EQ(CountMessages("ACTIVITY_STOP"), 0U);
    bRelease = true;
    ASSERT_TRUE(DeliverUntilCount("ACTIVITY_STOP", 1));
}

// ---------------------------------------------------------------------------------------------
// Runs in flight

namespace
{

// A run that holds its tool until the test lets it go.
struct SHeldRun
{
    std::atomic<bool> m_bStarted{false};
    std::atomic<bool> m_bRelease{false};

    std::function<void(Zarn::CValueMap&)> Body()
    {
        return [this](Zarn::CValueMap&)
        {
            m_bStarted = true;
            while (!m_bRelease.load())
            {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        };
    }

    bool WaitUntilStarted() const
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!m_bStarted.load() && std::chrono::steady_clock::now() < deadline)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return m_bStarted.load();
    }
};

} // namespace

// A reload while a thread still runs the tool (here: the configuration fails on a second start)
// keeps the old tool until the run's ACTIVITY_STOP has been collected, then releases it.
TEST_F(ToolThread, ReloadWhileTheToolThreadRunsKeepsTheToolUntilItsStopIsCollected)
{
    SToolBehaviour& blur = RegisterTool("blur");
    SConfigBehaviour& dialog = RegisterConfig("blurdialog");
    StartToolbox(ToolboxParameters({ToolDescription("blur", "run_blur", true, "blurdialog")}));
    TakeMessages();
    SHeldRun held;
    blur.m_fnRun = held.Body();
    PostText("ON_ACTION", "run_blur");
    Deliver();
    ASSERT_TRUE(held.WaitUntilStarted());

    dialog.m_fnRun = [](Zarn::CValueMap&) { throw std::runtime_error("dialog gone"); };
    PostText("ON_ACTION", "run_blur");
    Deliver();
    const std::vector<SBox> boxes = TakeBoxes();
    ASSERT_EQ(boxes.size(), 1U);
    EXPECT_EQ(boxes[0].m_strCaption, "Error During Configuration");
    EXPECT_EQ(blur.m_nInstances, 2);
    EXPECT_EQ(blur.m_nDestroyed, 0);
    EXPECT_EQ(blur.m_nDestroyedWhileRunning, 0);

    held.m_bRelease = true;
    ASSERT_TRUE(DeliverUntilCount("ACTIVITY_STOP", 1));
    EXPECT_EQ(blur.m_nDestroyed, 1);
    EXPECT_EQ(blur.m_nDeleteData, 1);
    EXPECT_EQ(blur.m_nDestroyedWhileRunning, 0);
    EXPECT_EQ(dialog.m_nDestroyed, 1);
    EXPECT_TRUE(TakeBoxes().empty());
}

// Closing the toolbox while a tool thread runs waits for the run before the tool is released; the
// run's ACTIVITY_STOP, delivered afterwards, is ignored.
TEST_F(ToolThread, DeleteDataWaitsForTheRunningToolThreadBeforeReleasingTheTool)
{
    SToolBehaviour& blur = StartThreadedTool();
    SHeldRun held;
    blur.m_fnRun = held.Body();
    PostText("ON_ACTION", "run_blur");
    Deliver();
    ASSERT_TRUE(held.WaitUntilStarted());

    std::thread releaser(
        [&held]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            held.m_bRelease = true;
        });
    m_pToolbox->DeleteData();
    const int nActiveRuns = blur.m_nActiveRuns.load();
    releaser.join();
    EXPECT_EQ(nActiveRuns, 0);
    EXPECT_EQ(blur.m_nDestroyed, 1);
    EXPECT_EQ(blur.m_nDestroyedWhileRunning, 0);

    ASSERT_TRUE(DeliverUntilCount("ACTIVITY_STOP", 1));
    EXPECT_TRUE(TakeBoxes().empty());
    EXPECT_TRUE(TakeCaught().empty());
}

// When the output cannot be handed back (the registry no longer names the communication thread),
// a stop is posted all the same, so the busy dialog closes, and the failure is reported.
TEST_F(ToolThread, ThreadedRunWhoseOutputCannotBePostedStillPostsActivityStop)
{
    SToolBehaviour& blur = StartThreadedTool();
    blur.m_fnRun = [](Zarn::CValueMap& data)
    {
        VectorAt(data, "output/documents/update")->PushBack(new Zarn::CValueMap);
        Zarn::CRegistry::Obj().RemoveEntry(Zarn::CValue_Key("tmp/commthread"));
    };
    PostText("ON_ACTION", "run_blur");
    const bool bStopped = DeliverUntilCount("ACTIVITY_STOP", 1);
    Zarn::CRegistry::Obj().SetEntry(Zarn::CValue_Key("tmp/commthread"),
                                    new Zarn::CValuePointer<Zarn::CMessageThread>(m_pThread.get()));
    ASSERT_TRUE(bStopped);
    const std::vector<SBox> boxes = TakeBoxes();
    ASSERT_EQ(boxes.size(), 1U);
    EXPECT_EQ(boxes[0].m_strCaption, "Plugin Error");
    EXPECT_NE(boxes[0].m_strText.find("Registry entry 'tmp/commthread' not found"),
              std::string::npos)
        << boxes[0].m_strText;
    EXPECT_EQ(CountMessages("UPDATE_DOCUMENT"), 0U);

    // The next run hands its output back as usual.
    blur.m_fnRun = [](Zarn::CValueMap& data)
    { VectorAt(data, "output/documents/update")->PushBack(new Zarn::CValueMap); };
    RunAndCollect();
    EXPECT_EQ(CountMessages("UPDATE_DOCUMENT"), 1U);
    EXPECT_TRUE(TakeBoxes().empty());
}

// The message that would carry the output cannot be allocated on the tool thread: the prepared
// stop goes instead, the busy dialog closes and the prepared out-of-memory report is shown.
TEST_F(ToolThread, ThreadedRunOutOfMemoryForItsStopStillPostsThePreparedStop)
{
    SToolBehaviour& blur = StartThreadedTool();
    const int nFailed = FailedAllocations();
    blur.m_fnRun = [](Zarn::CValueMap& data)
    {
        VectorAt(data, "output/documents/update")->PushBack(new Zarn::CValueMap);
        FailNextAllocationOfSize(sizeof(Zarn::CMessage));
    };
    RunAndCollect();
    EXPECT_EQ(FailedAllocations(), nFailed + 1);
    ExpectOneBox("Plugin Error", "An error occurred while running the plugin.\n"
                                 "The error message was:\n\"Out of Memory\".\n"
                                 "The exception origin is:\nblur");
    EXPECT_EQ(CountMessages("UPDATE_DOCUMENT"), 0U);
}

// The same on the GUI thread: a stop naming only the action is posted, then the run is reported
// as out of memory and the tool reloaded.
TEST_F(ToolThread, RunOnTheGuiThreadOutOfMemoryForItsStopStillPostsAStop)
{
    SToolBehaviour& median = RegisterTool("median");
    StartToolbox(ToolboxParameters({ToolDescription("median", "run_median")}));
    TakeMessages();
    const int nFailed = FailedAllocations();
    median.m_fnRun = [](Zarn::CValueMap& data)
    {
        VectorAt(data, "output/documents/update")->PushBack(new Zarn::CValueMap);
        FailNextAllocationOfSize(sizeof(Zarn::CMessage));
    };
    PostText("ON_ACTION", "run_median");
    Deliver();
    EXPECT_EQ(FailedAllocations(), nFailed + 1);
    ASSERT_EQ(CountMessages("ACTIVITY_STOP"), 1U);
    ExpectOneBox("Plugin Error", "Out of memory.");
    EXPECT_EQ(CountMessages("UPDATE_DOCUMENT"), 0U);
    EXPECT_EQ(median.m_nInstances, 2);
}

// ---------------------------------------------------------------------------------------------
// The translator

class SystemExceptionTranslator : public ::testing::Test
{
protected:
    void SetUp() override { m_pErr = std::make_unique<CStreamCapture>(std::cerr); }
    void TearDown() override { m_pErr.reset(); }

    // Translates and returns the exception thrown; fails when nothing is thrown.
    TekaDebuggableZarnException Translate(std::uint32_t code, Zarn::SSystemExceptionInfo* info)
    {
        try
        {
            DocView::TranslateSystemException(code, info);
        }
        catch (const TekaDebuggableZarnException& exception)
        {
            return exception;
        }
        ADD_FAILURE() << "nothing thrown";
        return TekaDebuggableZarnException("", "", nullptr);
    }

    std::unique_ptr<CStreamCapture> m_pErr;
};

TEST_F(SystemExceptionTranslator, IntegerDivisionNamesTheCodeAndThePluginAndKeepsTheRecord)
{
    DocView::SetCurrentContext("blur");
    Zarn::SSystemExceptionInfo info{0xC0000094, SIGFPE, 1, nullptr};
    const TekaDebuggableZarnException exception = Translate(0xC0000094, &info);
    EXPECT_STREQ(exception.function(), "Plugin 'blur'");
    EXPECT_STREQ(exception.what(), "Windows system exception: EXCEPTION_INT_DIVIDE_BY_ZERO");
    EXPECT_STREQ(exception.instance(), "");
    ASSERT_NE(exception.ExceptionInformation(), nullptr);
    EXPECT_NE(exception.ExceptionInformation(), &info);
    EXPECT_EQ(exception.ExceptionInformation()->code, 0xC0000094U);
    EXPECT_EQ(exception.ExceptionInformation()->signal, SIGFPE);
    EXPECT_EQ(m_pErr->Take(),
              "Plugin 'blur': Windows system exception: EXCEPTION_INT_DIVIDE_BY_ZERO\n");
}

TEST_F(SystemExceptionTranslator, CodeWithoutNameIsGivenAsUnsignedDecimal)
{
    DocView::SetCurrentContext("blur");
    Zarn::SSystemExceptionInfo info{0xC0000409, SIGSEGV, 0, nullptr};
    EXPECT_STREQ(Translate(0xC0000409, &info).what(),
                 "Windows system exception: Unknown id '3221226505'.");
}

TEST_F(SystemExceptionTranslator, WithoutRecordTheTextIsPlainAndNoRecordIsKept)
{
    DocView::SetCurrentContext("median");
    const TekaDebuggableZarnException exception = Translate(0xC0000005, nullptr);
    EXPECT_STREQ(exception.what(), "Windows system exception");
    EXPECT_STREQ(exception.function(), "Plugin 'median'");
    EXPECT_EQ(exception.ExceptionInformation(), nullptr);
    EXPECT_EQ(m_pErr->Take(), "Plugin 'median': Windows system exception\n");
}

TEST_F(SystemExceptionTranslator, ControlCIsOnlyNoted)
{
    CDescriptorCapture error(STDERR_FILENO);
    Zarn::SSystemExceptionInfo info{0x40010005, SIGINT, 0, nullptr};
    EXPECT_NO_THROW(DocView::TranslateSystemException(0x40010005, &info));
    EXPECT_EQ(error.Take(), "CTRL+C detected\n");
}

// Ctrl+C is noted from inside the signal handler, where iostreams, allocation and locks are not
// safe: the note goes with write(2) straight to descriptor 2, past std::cerr, and the
// interrupted thread goes on.
TEST_F(SystemExceptionTranslator, ControlCOnAThreadIsWrittenToDescriptorTwoAndTheThreadGoesOn)
{
    CDescriptorCapture error(STDERR_FILENO);
    std::atomic<int> nAfter{0};
    std::thread worker(
        [&nAfter]
        {
            Zarn::SetSystemExceptionTranslator(&DocView::TranslateSystemException);
            std::raise(SIGINT);
            nAfter = 1;
            Zarn::SetSystemExceptionTranslator(nullptr);
        });
    worker.join();
    EXPECT_EQ(nAfter.load(), 1);
    EXPECT_EQ(error.Take(), "CTRL+C detected\n");
    EXPECT_EQ(m_pErr->Take(), "");
}

TEST_F(SystemExceptionTranslator, CopiesOwnTheirRecord)
{
    Zarn::SSystemExceptionInfo info{0xC0000005, SIGSEGV, 1, nullptr};
    auto pFirst = std::make_unique<TekaDebuggableZarnException>("f", "w", nullptr, &info);
    TekaDebuggableZarnException copy(*pFirst);
    const Zarn::CException& asHost = *pFirst;
    TekaDebuggableZarnException fromHost(asHost);
    pFirst.reset();
    ASSERT_NE(copy.ExceptionInformation(), nullptr);
    EXPECT_EQ(copy.ExceptionInformation()->code, 0xC0000005U);
    ASSERT_NE(fromHost.ExceptionInformation(), nullptr);
    EXPECT_EQ(fromHost.ExceptionInformation()->signal, SIGSEGV);
    TekaDebuggableZarnException plain("g", "x", nullptr);
    plain = copy;
    ASSERT_NE(plain.ExceptionInformation(), nullptr);
    EXPECT_STREQ(plain.what(), "w");
}

TEST(SystemExceptionName, NamesEveryCodeOfTheTableAndNoOther)
{
    // Every name the table knows, after "EXCEPTION_", with its code: written out here on its own
    // rather than read from the translator, so that a slip in either shows.
    const std::pair<const char*, std::uint32_t> kTable[] = {
        {"GUARD_PAGE", 0x80000001},
        {"DATATYPE_MISALIGNMENT", 0x80000002},
        {"BREAKPOINT", 0x80000003},
        {"SINGLE_STEP", 0x80000004},
        {"ACCESS_VIOLATION", 0xC0000005},
        {"IN_PAGE_ERROR", 0xC0000006},
        {"INVALID_HANDLE", 0xC0000008},
        {"ILLEGAL_INSTRUCTION", 0xC000001D},
        {"NONCONTINUABLE_EXCEPTION", 0xC0000025},
        {"INVALID_DISPOSITION", 0xC0000026},
        {"ARRAY_BOUNDS_EXCEEDED", 0xC000008C},
        {"FLT_DENORMAL_OPERAND", 0xC000008D},
        {"FLT_DIVIDE_BY_ZERO", 0xC000008E},
        {"FLT_INEXACT_RESULT", 0xC000008F},
        {"FLT_INVALID_OPERATION", 0xC0000090},
        {"FLT_OVERFLOW", 0xC0000091},
        {"FLT_STACK_CHECK", 0xC0000092},
        {"FLT_UNDERFLOW", 0xC0000093},
        {"INT_DIVIDE_BY_ZERO", 0xC0000094},
        {"INT_OVERFLOW", 0xC0000095},
        {"PRIV_INSTRUCTION", 0xC0000096},
        {"STACK_OVERFLOW", 0xC00000FD},
    };
    for (const auto& [szName, uCode] : kTable)
    {
        EXPECT_STREQ(DocView::SystemExceptionName(uCode),
                     ("EXCEPTION_" + std::string(szName)).c_str())
            << std::hex << uCode;
    }
    EXPECT_EQ(DocView::SystemExceptionName(0xC0000409), nullptr);
    EXPECT_EQ(DocView::SystemExceptionName(0x40010005), nullptr);
    EXPECT_EQ(DocView::SystemExceptionName(0), nullptr);
}

} // namespace ToolboxTest

// A tool thread's fault must name its tool even while the GUI thread labels the tools it asks
// meanwhile; the label used to be whatever any thread wrote last.
TEST(CurrentContext, AThreadReadsItsOwnLabelWhileAnotherWritesAndOthersReadTheLatest)
{
    std::promise<void> labelled;
    std::promise<void> overwritten;
    std::string strSeenByTool;
    DocView::SetCurrentContext("CToolboxPlugin::NewView()");
    std::thread tool(
        [&]
        {
            DocView::SetCurrentContext("CrashTool");
            labelled.set_value();
            overwritten.get_future().wait();
            strSeenByTool = DocView::CurrentContext();
        });
    labelled.get_future().wait();
    DocView::SetCurrentContext("run_blur");
    overwritten.set_value();
    tool.join();
    EXPECT_EQ(strSeenByTool, "CrashTool");
    EXPECT_EQ(DocView::CurrentContext(), "run_blur");

    std::string strSeenByReader;
    std::thread reader([&] { strSeenByReader = DocView::CurrentContext(); });
    reader.join();
    EXPECT_EQ(strSeenByReader, "run_blur") << "a thread that never wrote reads the latest label";
}
