// The workspace picture that the toolbox keeps and hands to its tools, and the enabled states
// that it reports with UPDATE_CONTROLS.
#include "ToolboxHarness.h"

#include <algorithm>

namespace ToolboxTest
{

namespace
{

class ToolboxState : public CToolboxFixture
{
protected:
    // A toolbox with one tool, "run_blur", enabled; the Init messages are taken.
    SToolBehaviour& StartWithOneTool()
    {
        SToolBehaviour& blur = RegisterTool("blur");
        StartToolbox(ToolboxParameters({ToolDescription("blur", "run_blur")}));
        TakeMessages();
        return blur;
    }

    // The document names `view` as its active view, as the repository keeps it.
    static void NameActiveView(Zarn::CValueMap& document, Zarn::CPluginBase* view)
    {
        document.SetEntry(Zarn::CValue_Key("active_view"),
                          new Zarn::CValuePointer<Zarn::CPluginBase>(view));
    }

    // A document that names its view as the active one.
    struct SViewedDocument
    {
        SViewedDocument() { NameActiveView(m_document, &m_view); }
        Zarn::CValueMap m_document;
        CFakeView m_view{&m_document};
    };

    // The toolbox's picture names this focused document and this active view.
    void ExpectFocus(const void* pDocument, const void* pView) const
    {
        EXPECT_EQ(PointerAt(State(), "documents/focused"), pDocument);
        EXPECT_EQ(PointerAt(State(), "views/active"), pView);
    }

    // A changed document makes the toolbox ask every tool again.
    void AskToolsAgain()
    {
        PostDocument("CHANGED_DOCUMENT", nullptr);
        Deliver();
    }

    std::vector<const void*> Documents() const
    {
        return PointersAt(State(), "documents/available");
    }
    std::vector<const void*> Views() const { return PointersAt(State(), "views/available"); }
};

} // namespace

TEST_F(ToolboxState, DocumentAnnouncedTwiceIsListedTwiceAndInvalidatingItOnceLeavesOne)
{
    StartWithOneTool();
    Zarn::CValueMap first;
    Zarn::CValueMap second;
    PostDocument("NEW_DOCUMENT", &first);
    PostDocument("NEW_DOCUMENT", &second);
    PostDocument("NEW_DOCUMENT", &first);
    Deliver();
    EXPECT_EQ(Documents(), (std::vector<const void*>{&first, &second, &first}));

    PostDocument("INVALID_DOCUMENT", &first);
    Deliver();
    EXPECT_EQ(Documents(), (std::vector<const void*>{&second, &first}));

    PostDocument("INVALID_DOCUMENT", &first);
    PostDocument("INVALID_DOCUMENT", &second);
    Deliver();
    EXPECT_FALSE(State().HasEntry("documents/available"));
    EXPECT_TRUE(State().HasEntry(Zarn::CValue_Key("documents"), Zarn::CValue::vtMap));
}

TEST_F(ToolboxState, ViewsAreListedInAddressOrderWhateverTheOrderOfArrival)
{
    StartWithOneTool();
    CFakeView views[3];
    // Highest address first, then lowest, then middle.
    PostView("NEW_VIEW", &views[2]);
    PostView("NEW_VIEW", &views[0]);
    PostView("NEW_VIEW", &views[1]);
    PostView("NEW_VIEW", &views[0]); // already there: not added again
    Deliver();
    EXPECT_EQ(Views(), (std::vector<const void*>{&views[0], &views[1], &views[2]}));

    PostView("INVALID_VIEW", &views[1]);
    Deliver();
    EXPECT_EQ(Views(), (std::vector<const void*>{&views[0], &views[2]}));
    PostView("INVALID_VIEW", &views[0]);
    PostView("INVALID_VIEW", &views[2]);
    Deliver();
    EXPECT_FALSE(State().HasEntry("views/available"));
}

TEST_F(ToolboxState, ActiveViewWhoseDocumentNamesItFocusesThatDocument)
{
    StartWithOneTool();
    SViewedDocument viewed;
    PostDocument("NEW_DOCUMENT", &viewed.m_document);
    PostView("NEW_VIEW", &viewed.m_view);
    PostView("ACTIVE_VIEW", &viewed.m_view);
    Deliver();

    ExpectFocus(&viewed.m_document, &viewed.m_view);
}

TEST_F(ToolboxState, ActiveViewWhoseDocumentNamesAnotherViewLeavesTheFocus)
{
    StartWithOneTool();
    SViewedDocument focused;
    SViewedDocument other;
    CFakeView otherView(&other.m_document);
    PostView("ACTIVE_VIEW", &focused.m_view);
    PostView("ACTIVE_VIEW", &otherView);
    Deliver();

    ExpectFocus(&focused.m_document, &otherView);
}

TEST_F(ToolboxState, NullActiveViewRemovesTheActiveViewButKeepsTheFocusedDocument)
{
    StartWithOneTool();
    SViewedDocument viewed;
    PostView("ACTIVE_VIEW", &viewed.m_view);
    PostView("ACTIVE_VIEW", nullptr);
    Deliver();

    EXPECT_FALSE(State().HasEntry("views/active"));
    EXPECT_EQ(PointerAt(State(), "documents/focused"), &viewed.m_document);
}

TEST_F(ToolboxState, InvalidatingTheFocusedDocumentRemovesTheFocus)
{
    StartWithOneTool();
    SViewedDocument viewed;
    PostDocument("NEW_DOCUMENT", &viewed.m_document);
    PostView("ACTIVE_VIEW", &viewed.m_view);
    Deliver();
    ASSERT_EQ(PointerAt(State(), "documents/focused"), &viewed.m_document);

    PostDocument("INVALID_DOCUMENT", &viewed.m_document);
    Deliver();
    EXPECT_FALSE(State().HasEntry("documents/focused"));
    EXPECT_FALSE(State().HasEntry("documents/available"));
}

TEST_F(ToolboxState, InvalidatingAViewThatIsNotActiveKeepsTheActiveView)
{
    StartWithOneTool();
    CFakeView active;
    CFakeView other;
    PostView("NEW_VIEW", &active);
    PostView("NEW_VIEW", &other);
    PostView("ACTIVE_VIEW", &active);
    PostView("INVALID_VIEW", &other);
    Deliver();
    EXPECT_EQ(PointerAt(State(), "views/active"), &active);
    EXPECT_EQ(Views(), std::vector<const void*>{&active});

    PostView("INVALID_VIEW", &active);
    Deliver();
    EXPECT_FALSE(State().HasEntry("views/active"));
    EXPECT_FALSE(State().HasEntry("views/available"));
}

TEST_F(ToolboxState, NullPointersInAnnouncementsChangeNothing)
{
    StartWithOneTool();
    Zarn::CValueMap document;
    PostDocument("NEW_DOCUMENT", &document);
    PostDocument("NEW_DOCUMENT", nullptr);
    PostDocument("INVALID_DOCUMENT", nullptr);
    PostView("NEW_VIEW", nullptr);
    PostView("INVALID_VIEW", nullptr);
    Deliver();
    EXPECT_EQ(Documents(), std::vector<const void*>{&document});
    EXPECT_FALSE(State().HasEntry("views/available"));
    EXPECT_TRUE(TakeCaught().empty());
}

TEST_F(ToolboxState, ViewMessageCarryingADocumentIsRejectedAndChangesNothing)
{
    SToolBehaviour& blur = StartWithOneTool();
    const int nTests = blur.m_nTests;
    Zarn::CValueMap document;
    PostDocument("NEW_VIEW", &document);
    PostDocument("ACTIVE_VIEW", &document);
    Deliver();
    const std::vector<SCaught> caught = TakeCaught();
    ASSERT_EQ(caught.size(), 2U);
    EXPECT_EQ(caught[0].m_strFunction, "Zarn::UnwrapPointer");
    EXPECT_EQ(caught[0].m_strWhat.rfind("Requested type ('", 0), 0U);
    EXPECT_FALSE(State().HasEntry("views/available"));
    EXPECT_FALSE(State().HasEntry("views/active"));
    EXPECT_EQ(blur.m_nTests, nTests);
    // The host logs what left the handler.
    EXPECT_NE(m_threadLogText.str().find("Requested type ('"), std::string::npos);
}

TEST_F(ToolboxState, UpdateContextKeepsACopyOfTheLastContext)
{
    SToolBehaviour& blur = StartWithOneTool();
    auto* pContext = new Zarn::CValueMap;
    pContext->SetEntry(Zarn::CValue_Key("mode"), new Zarn::CValueString("expert"));
    Post("UPDATE_CONTEXT", pContext);
    Deliver();
    EXPECT_EQ(State().Entry("context/context/mode", true)->String().StdString(), "expert");
    // The enabled tool sees the context in its input.
    ASSERT_FALSE(blur.m_lstUpdates.empty());
    EXPECT_EQ(
        blur.m_lstUpdates.back().Entry("input/context/context/mode", true)->String().StdString(),
        "expert");
}

TEST_F(ToolboxState, EnabledToolIsToldTheInputAndADisabledOneIsNot)
{
    SToolBehaviour& enabled = RegisterTool("enabled");
    SToolBehaviour& disabled = RegisterTool("disabled");
    disabled.m_fnTest = [](const Zarn::CValueMap&) { return false; };
    StartToolbox(ToolboxParameters(
        {ToolDescription("enabled", "run_enabled"), ToolDescription("disabled", "run_disabled")}));
    const size_t nEnabledUpdates = enabled.m_lstUpdates.size();
    const size_t nDisabledUpdates = disabled.m_lstUpdates.size();

    Zarn::CValueMap document;
    PostDocument("NEW_DOCUMENT", &document);
    Deliver();
    ASSERT_EQ(enabled.m_lstUpdates.size(), nEnabledUpdates + 1);
    EXPECT_EQ(PointersAt(enabled.m_lstUpdates.back(), "input/documents/available"),
              std::vector<const void*>{&document});
    EXPECT_EQ(disabled.m_lstUpdates.size(), nDisabledUpdates);
}

TEST_F(ToolboxState, ToolFalseFromTheStartIsReportedOnlyOnceItWasEnabled)
{
    SToolBehaviour& always = RegisterTool("always");
    SToolBehaviour& picky = RegisterTool("picky");
    // Enabled while there is at least one document.
    picky.m_fnTest = [](const Zarn::CValueMap& input)
    { return input.HasEntry("input/documents/available"); };
    StartToolbox(ToolboxParameters(
        {ToolDescription("always", "run_always"), ToolDescription("picky", "run_picky")}));
    EXPECT_EQ(TakeMessages(), std::vector<std::string>{"UPDATE_CONTROLS {run_always=true}"});

    Zarn::CValueMap document;
    PostDocument("NEW_DOCUMENT", &document);
    Deliver();
    EXPECT_EQ(TakeMessages(), (std::vector<std::string>{"NEW_DOCUMENT pointer",
                                                        "UPDATE_CONTROLS {run_picky=true}"}));
    PostDocument("INVALID_DOCUMENT", &document);
    Deliver();
    EXPECT_EQ(TakeMessages(), (std::vector<std::string>{"INVALID_DOCUMENT pointer",
                                                        "UPDATE_CONTROLS {run_picky=false}"}));
    (void)always;
}

TEST_F(ToolboxState, NoChangeOfStatePostsNoUpdateControls)
{
    StartWithOneTool();
    Zarn::CValueMap document;
    PostDocument("NEW_DOCUMENT", &document);
    PostDocument("CHANGED_DOCUMENT", &document);
    PostView("CHANGED_VIEW", nullptr);
    Deliver();
    EXPECT_EQ(TakeMessages(),
              (std::vector<std::string>{"NEW_DOCUMENT pointer", "CHANGED_DOCUMENT pointer",
                                        "CHANGED_VIEW null"}));
}

// What a tool throws while it is asked reaches the host as one error naming the tool.
TEST_F(ToolboxState, HostErrorWithInstanceIsRethrownThroughTheCommunicationThread)
{
    SToolBehaviour& blur = StartWithOneTool();
    blur.m_fnTest = [](const Zarn::CValueMap&) -> bool
    { throw Zarn::CException("CBlur::TestParameters", "no image", "blur #1"); };
    AskToolsAgain();
    ExpectOneCaught("CToolboxPlugin::UpdatePlugins -> CBlur::TestParameters", "no image",
                    "GUICommunicationThread -> blur #1");
}

TEST_F(ToolboxState, HostErrorWithoutInstanceNamesTheToolBySetupRecord)
{
    SToolBehaviour& blur = StartWithOneTool();
    blur.m_strPluginName = "Gaussian Blur";
    blur.m_fnTest = [](const Zarn::CValueMap&) -> bool
    { throw Zarn::CException("CBlur::TestParameters", "no image", nullptr); };
    AskToolsAgain();
    const std::vector<SCaught> caught = TakeCaught();
    ASSERT_EQ(caught.size(), 1U);
    EXPECT_EQ(caught[0].m_strInstance, "GUICommunicationThread -> Gaussian Blur");
}

TEST_F(ToolboxState, StandardErrorIsRethrownWithItsTextAndTheUnnamedTool)
{
    SToolBehaviour& blur = StartWithOneTool();
    blur.m_fnTest = [](const Zarn::CValueMap&) -> bool { throw std::runtime_error("bad size"); };
    AskToolsAgain();
    ExpectOneCaught("CToolboxPlugin::UpdatePlugins", "STL-EXCEPTION bad size", "<unnamed>");
}

TEST_F(ToolboxState, AnyOtherErrorIsRethrownAsMischiefAndNothingIsPosted)
{
    SToolBehaviour& first = RegisterTool("first");
    SToolBehaviour& second = RegisterTool("second");
    second.m_strPluginName = "Second";
    StartToolbox(ToolboxParameters(
        {ToolDescription("first", "a_first"), ToolDescription("second", "b_second")}));
    TakeMessages();
    first.m_fnTest = [](const Zarn::CValueMap&) { return false; };
    second.m_fnTest = [](const Zarn::CValueMap&) -> bool { throw 7; };
    AskToolsAgain();
    ExpectOneCaught("CToolboxPlugin::UpdatePlugins",
                    "UNKNOWN EXCEPTION! Someone has done mischief!", "Second");
    // The pass ended: "a_first" changed, but no UPDATE_CONTROLS was posted.
    EXPECT_EQ(TakeMessages(), std::vector<std::string>{"CHANGED_DOCUMENT null"});
}

} // namespace ToolboxTest
