// Who owns the toolbox's entries, and how the toolbox's failures reach the host's logger.
#include "ToolboxHarness.h"

#include "toolbox/ToolboxPlugin.h"

#include <future>
#include <stdexcept>
#include <thread>

namespace ToolboxTest
{

namespace
{

struct SLogLine
{
    int m_nLevel;
    std::string m_strText;
    bool m_bLevelSelected;
};

class ToolboxOwnership : public CToolboxFixture
{
protected:
    // Every line the toolbox's logger writes from now on.
    void ListenToLogger()
    {
        m_pLogger->SetLineListener(
            [this](int level, const std::string& text, bool bSelected) {
                m_lstLogLines.push_back(SLogLine{level, text, bSelected});
            });
    }

    void TearDown() override
    {
        m_pLogger->SetLineListener(nullptr);
        CToolboxFixture::TearDown();
    }

    // The lines written at `level` (with the level chosen for the line) that mention `text`.
    size_t CountLogLines(int level, const std::string& text) const
    {
        size_t nCount = 0;
        for (const SLogLine& line : m_lstLogLines)
        {
            if (line.m_nLevel == level && line.m_bLevelSelected &&
                line.m_strText.find(text) != std::string::npos)
            {
                ++nCount;
            }
        }
        return nCount;
    }

    std::vector<SLogLine> m_lstLogLines;
};

} // namespace

// The replaced tool was leaked: it never saw DeleteData nor its destructor.
TEST_F(ToolboxOwnership, EntryReplacedByASecondToolUnderTheSameActionIsReleasedWithTheToolbox)
{
    SToolBehaviour& blur = RegisterTool("blur");
    SToolBehaviour& sharpen = RegisterTool("sharpen");
    StartToolbox(ToolboxParameters(
        {ToolDescription("blur", "run_filter"), ToolDescription("sharpen", "run_filter")}));

    // The second description takes the action; the first tool stays until the toolbox ends.
    EXPECT_EQ(blur.m_nInstances, 1);
    EXPECT_EQ(blur.m_nDeleteData, 0);
    EXPECT_EQ(blur.m_nDestroyed, 0);
    EXPECT_EQ(sharpen.m_nDestroyed, 0);

    PostText("ON_ACTION", "run_filter");
    Deliver();
    EXPECT_EQ(blur.m_nRuns, 0);
    EXPECT_EQ(sharpen.m_nRuns, 1);

    m_pToolbox->DeleteData();
    EXPECT_EQ(blur.m_nDeleteData, 1);
    EXPECT_EQ(blur.m_nDestroyed, 1);
    EXPECT_EQ(sharpen.m_nDestroyed, 1);
}

// The replaced entry's own configuration action still reaches a live entry, and both go at the end.
TEST_F(ToolboxOwnership, ReplacedEntryKeepsItsConfigurationActionUntilTheToolboxEnds)
{
    SToolBehaviour& blur = RegisterTool("blur");
    SConfigBehaviour& dialog = RegisterConfig("blurdialog");
    RegisterTool("sharpen");
    StartToolbox(ToolboxParameters(
        {ToolDescription("blur", "run_filter", std::nullopt, "blurdialog", "configure_filter"),
         ToolDescription("sharpen", "run_filter")}));
    EXPECT_EQ(blur.m_nDestroyed, 0);
    EXPECT_EQ(dialog.m_nDestroyed, 0);

    PostText("ON_ACTION", "configure_filter");
    Deliver();
    EXPECT_EQ(dialog.m_lstConfigUser.size(), 1U);

    m_pToolbox->DeleteData();
    EXPECT_EQ(blur.m_nDestroyed, 1);
    EXPECT_EQ(dialog.m_nDestroyed, 1);
}

TEST_F(ToolboxOwnership, EntryReplacedWhileItsToolRunsInAThreadOutlivesTheRunAndGoesAtTheEnd)
{
    SToolBehaviour& blur = RegisterTool("blur");
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    blur.m_fnRun = [released](Zarn::CValueMap&) { released.wait(); };
    StartToolbox(ToolboxParameters({ToolDescription("blur", "run_blur", true)}));
    PostText("ON_ACTION", "run_blur");
    Deliver();
    for (int i = 0; i < 2000 && blur.m_nActiveRuns == 0; ++i)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ASSERT_EQ(blur.m_nActiveRuns, 1);

    // A second description under the running tool's action: the old entry must wait for its run.
    std::unique_ptr<Zarn::CValueMap> pDescription(ToolDescription("blur", "run_blur", true));
    static_cast<CToolboxPlugin*>(m_pToolbox)->LoadToolPlugin(*pDescription, true);
    EXPECT_EQ(blur.m_nInstances, 2);
    EXPECT_EQ(blur.m_nDestroyed, 0);

    release.set_value();
    ASSERT_TRUE(DeliverUntilCount("ACTIVITY_STOP", 1));
    EXPECT_EQ(blur.m_nDestroyed, 0);

    m_pToolbox->DeleteData();
    EXPECT_EQ(blur.m_nDestroyedWhileRunning, 0);
    EXPECT_EQ(blur.m_nDestroyed, 2);
}

TEST_F(ToolboxOwnership, ToolThatFailsToLoadIsLoggedAsAnErrorNamingIt)
{
    RegisterTool("blur");
    ListenToLogger();
    StartToolbox(ToolboxParameters({ToolDescription("C:\\tools\\nosuchtool", "run_none"),
                                    ToolDescription("blur", "run_blur")}));

    // The console lines stay as they are; the logger learns of the failure as well.
    EXPECT_EQ(m_pErr->Take(),
              "Tool plugin C:\\tools\\nosuchtool not loaded.\nTool plugin blur loaded.\n");
    EXPECT_EQ(CountLogLines(Zarn::CLogger::levelError, "C:\\tools\\nosuchtool"), 1U);
    EXPECT_EQ(CountLogLines(Zarn::CLogger::levelError, "blur"), 0U);
}

TEST_F(ToolboxOwnership, FailedRunIsLoggedAsAnErrorWithItsText)
{
    SToolBehaviour& blur = RegisterTool("blur");
    StartToolbox(ToolboxParameters({ToolDescription("blur", "run_blur")}));
    ListenToLogger();
    blur.m_fnRun = [](Zarn::CValueMap&) { throw std::runtime_error("bad size"); };

    PostText("ON_ACTION", "run_blur");
    Deliver();
    ASSERT_EQ(TakeBoxes().size(), 1U);
    EXPECT_EQ(CountLogLines(Zarn::CLogger::levelError, "bad size"), 1U);
}

TEST_F(ToolboxOwnership, FailedThreadedRunIsLoggedAsAnErrorWithItsText)
{
    SToolBehaviour& blur = RegisterTool("blur");
    StartToolbox(ToolboxParameters({ToolDescription("blur", "run_blur", true)}));
    ListenToLogger();
    blur.m_fnRun = [](Zarn::CValueMap&) { throw std::runtime_error("bad size"); };

    PostText("ON_ACTION", "run_blur");
    ASSERT_TRUE(DeliverUntilCount("ACTIVITY_STOP", 1));
    Deliver();
    ASSERT_EQ(TakeBoxes().size(), 1U);
    EXPECT_EQ(CountLogLines(Zarn::CLogger::levelError, "bad size"), 1U);
}

} // namespace ToolboxTest
