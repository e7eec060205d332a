#include "BatchTestTools.h"

#include "batch/PluginExecutor.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImagePointer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace
{

using namespace BatchTestTools;

class CPluginExecutorTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        RegisterTools();
        ResetJournal();
    }

    std::vector<std::string> Calls() const { return Journal().m_lstCalls; }

    // Runs the plug-in with `parameters` and returns the host error it threw, if any.
    static std::optional<Zarn::CException> RunPluginCatching(const char* szPlugin,
                                                             Zarn::CValueMap& parameters)
    {
        return CatchHostError([&] { ::PluginExecutor::RunPlugin(szPlugin, parameters); });
    }

    // Runs the image tool on `image` with no parameters and returns the host error it threw,
    // if any; what the tool wrote stays in `output`.
    static std::optional<Zarn::CException>
    RunImageToolCatching(const char* szPlugin, Zarn::CImage& image, Zarn::CValueMap& output)
    {
        return CatchHostError(
            [&] {
                ::PluginExecutor::RunImageToolPlugin(szPlugin, &image, Zarn::CValueMap(), output,
                                                     "x");
            });
    }
};

TEST_F(CPluginExecutorTest, RunPluginCallsTheContractInOrderAndReleasesThePlugin)
{
    Zarn::CValueMap parameters;
    parameters.SetEntry(Zarn::CValue_Key("answer"), new Zarn::CValueMap);
    ::PluginExecutor::RunPlugin(kConfig, parameters);
    const std::vector<std::string> expected = {
        "TestConfig:Init", "TestConfig:TestParameters", "TestConfig:UpdateParameters",
        "TestConfig:Run",  "TestConfig:DeleteData",     "TestConfig:~"};
    EXPECT_EQ(Calls(), expected);
    ASSERT_NE(Journal().m_pInitMap, nullptr);
    EXPECT_TRUE(Journal().m_pInitMap->Equal(*Journal().m_pUpdateMap));
    EXPECT_TRUE(Journal().m_pInitMap->HasEntry(Zarn::CValue_Key("answer")));
}

TEST_F(CPluginExecutorTest, RunPluginLeavesThePluginsAnswersInTheCallersMap)
{
    Zarn::CValueMap parameters;
    auto* pAnswer = new Zarn::CValueMap;
    pAnswer->SetEntry(Zarn::CValue_Key("gain"), new Zarn::CValueLong(4));
    parameters.SetEntry(Zarn::CValue_Key("answer"), pAnswer);
    ::PluginExecutor::RunPlugin(kConfig, parameters);
    ASSERT_TRUE(parameters.HasEntry("parameters/gain"));
    EXPECT_EQ(parameters.Entry("parameters/gain", true)->Long(), 4);
}

TEST_F(CPluginExecutorTest, RejectedParametersStopBeforeUpdateAndRun)
{
    Zarn::CValueMap parameters;
    ASSERT_NO_FATAL_FAILURE(ExpectHostError(RunPluginCatching(kRejecting, parameters),
                                            "PluginExecutor::RunPlugin",
                                            "Plugin 'TestRejecting' did not accept parameter set "
                                            "(TestParameters returned an error)."));
    EXPECT_EQ(CountCalls("TestRejecting:UpdateParameters"), 0);
    EXPECT_EQ(CountCalls("TestRejecting:Run"), 0);
    EXPECT_EQ(CountCalls("TestRejecting:~"), 1);
}

TEST_F(CPluginExecutorTest, ThrowingUpdateParametersIsReplacedAndRunIsNotCalled)
{
    Zarn::CValueMap parameters;
    ASSERT_NO_FATAL_FAILURE(ExpectHostError(
        RunPluginCatching(kUpdateThrowing, parameters), "PluginExecutor::RunPlugin",
        "Plugin did not accept parameter set (UpdateParameters returned an error)."));
    EXPECT_EQ(CountCalls("TestUpdateThrowing:Run"), 0);
    EXPECT_EQ(CountCalls("TestUpdateThrowing:~"), 1);
}

TEST_F(CPluginExecutorTest, ExceptionOfTheRunPassesUnchanged)
{
    Zarn::CValueMap parameters;
    const std::optional<Zarn::CException> caught = RunPluginCatching(kRunThrowing, parameters);
    ASSERT_NO_FATAL_FAILURE(ExpectHostError(caught, "TestRunThrowing::Run", "run failed"));
    EXPECT_STREQ(caught->instance(), "tool instance");
    EXPECT_EQ(CountCalls("TestRunThrowing:~"), 1);
    EXPECT_TRUE(parameters.IsEmpty());
}

TEST_F(CPluginExecutorTest, KeysAddedDuringUpdateSurviveUnlessTheCallerHasThem)
{
    Zarn::CValueMap parameters;
    parameters.SetEntry(Zarn::CValue_Key("shared"), new Zarn::CValueString("from caller"));
    ::PluginExecutor::RunPlugin(kKeyAdding, parameters);
    const Zarn::CValueMap& runMap = *Journal().m_pRunMap;
    EXPECT_EQ(runMap.EntryLong(Zarn::CValue_Key("added by update"), 0), 11);
    EXPECT_EQ(runMap.EntryString(Zarn::CValue_Key("shared")).StdString(), "from caller");
    EXPECT_EQ(parameters.EntryLong(Zarn::CValue_Key("added by update"), 0), 11);
}

TEST_F(CPluginExecutorTest, ValuesThePluginLeftAloneStayTheCallersOwn)
{
    // An owning value the plug-in did not change keeps owning its image: nothing is shared
    // between the work map and the caller's map when the work map goes.
    auto pImage = MakeRamp(3, 2);
    Zarn::CImage* pRaw = pImage.get();
    Zarn::CValueMap parameters;
    parameters.SetEntry(Zarn::CValue_Key("kept"),
                        new Zarn::CValueOwnedPointer<Zarn::CImage>(pImage.release()));
    parameters.SetEntry(Zarn::CValue_Key("answer"), new Zarn::CValueMap);
    ::PluginExecutor::RunPlugin(kConfig, parameters);
    const Zarn::CValue* pKept = parameters.Entry(Zarn::CValue_Key("kept"), true);
    EXPECT_TRUE(pKept->Pointer()->IsOwned());
    EXPECT_EQ(Zarn::UnwrapPointer<Zarn::CImage>(pKept), pRaw);
    EXPECT_EQ(PixelAt(*pRaw, 2, 1), (2 + 3) * 7);
}

TEST_F(CPluginExecutorTest, UnknownPluginNameIsAnError)
{
    Zarn::CValueMap parameters;
    EXPECT_THROW(::PluginExecutor::RunPlugin("NoSuchTestPlugin", parameters), Zarn::CException);
}

TEST_F(CPluginExecutorTest, ImageToolFindsItsImageAsTheFocusedDocument)
{
    auto pImage = MakeRamp(5, 4);
    Zarn::CValueMap parameters;
    parameters.SetEntry(Zarn::CValue_Key("level"), new Zarn::CValueLong(3));
    Zarn::CValueMap output;
    std::unique_ptr<Zarn::CImage> pResult(::PluginExecutor::RunImageToolPlugin(
        kCounter, pImage.get(), parameters, output, "my label"));
    EXPECT_EQ(Journal().m_pLastInput, pImage.get());
    EXPECT_EQ(Journal().m_strLastLabel, "my label");
    EXPECT_EQ(Journal().m_pRunMap->EntryLong(Zarn::CValue_Key("level"), 0), 3);
    ASSERT_NE(pResult, nullptr);
    EXPECT_NE(pResult.get(), pImage.get());
    EXPECT_TRUE(pResult->Equal(*pImage));
    EXPECT_TRUE(output.HasEntry("output/documents/add"));
}

TEST_F(CPluginExecutorTest, ImageToolWritesItsConsoleLines)
{
    auto pImage = MakeRamp(5, 4);
    Zarn::CValueMap output;
    ::testing::internal::CaptureStdout();
    std::unique_ptr<Zarn::CImage> pResult(::PluginExecutor::RunImageToolPlugin(
        kInvert, pImage.get(), Zarn::CValueMap(), output, "x"));
    const std::string strOut = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(strOut, "EXECUTETEKAPLUGIN: calling RunPlugin(...)\n"
                      "EXECUTETEKAPLUGIN: RunPlugin(...) finished\n");
}

TEST_F(CPluginExecutorTest, ImageToolResultIsANewImageAndTheCallersImageIsUntouched)
{
    auto pImage = MakeRamp(5, 4);
    const Zarn::CImage original(*pImage);
    Zarn::CValueMap output;
    std::unique_ptr<Zarn::CImage> pResult(::PluginExecutor::RunImageToolPlugin(
        kInvert, pImage.get(), Zarn::CValueMap(), output, "x"));
    EXPECT_TRUE(pImage->Equal(original));
    EXPECT_EQ(PixelAt(*pResult, 3, 2), 65535 - PixelAt(original, 3, 2));
}

TEST_F(CPluginExecutorTest, ToolWorkingInPlaceHandsBackTheCallersImage)
{
    auto pImage = MakeRamp(5, 4);
    Zarn::CValueMap parameters;
    auto* pToolParameters = new Zarn::CValueMap;
    pToolParameters->SetEntry(Zarn::CValue_Key("level"), new Zarn::CValueLong(50));
    parameters.SetEntry(Zarn::CValue_Key("parameters"), pToolParameters);
    Zarn::CValueMap output;
    Zarn::CImage* pResult = ::PluginExecutor::RunImageToolPlugin(kThresholdInPlace, pImage.get(),
                                                                 parameters, output, "x");
    EXPECT_EQ(pResult, pImage.get());
    EXPECT_EQ(PixelAt(*pImage, 0, 0), 0);
    EXPECT_EQ(PixelAt(*pImage, 4, 3), 65535);
}

TEST_F(CPluginExecutorTest, OnlyTheFirstOfTwoAddedDocumentsIsTaken)
{
    auto pImage = MakeRamp(5, 4);
    Zarn::CValueMap output;
    std::unique_ptr<Zarn::CImage> pResult(::PluginExecutor::RunImageToolPlugin(
        kTwoDocuments, pImage.get(), Zarn::CValueMap(), output, "x"));
    // The first document holds the inverted image; the second (a copy) is freed with its
    // document, which the sanitizer build checks.
    EXPECT_EQ(PixelAt(*pResult, 1, 1), 65535 - PixelAt(*pImage, 1, 1));
}

TEST_F(CPluginExecutorTest, LentResultImageIsCopiedAndStaysWithItsLender)
{
    auto pImage = MakeRamp(5, 4);
    Zarn::CValueMap output;
    std::unique_ptr<Zarn::CImage> pResult(::PluginExecutor::RunImageToolPlugin(
        kLendingTool, pImage.get(), Zarn::CValueMap(), output, "x"));
    EXPECT_NE(pResult.get(), &LentImage());
    EXPECT_TRUE(pResult->Equal(LentImage()));
}

TEST_F(CPluginExecutorTest, OutputWithoutDocumentsIsNoOutput)
{
    auto pImage = MakeRamp(5, 4);
    Zarn::CValueMap output;
    ASSERT_NO_FATAL_FAILURE(ExpectHostError(RunImageToolCatching(kNoDocuments, *pImage, output),
                                            "PluginExecutor::RunImageToolPlugin",
                                            "No output map from Plugin available."));
    // The tool's "output" still reaches the caller.
    EXPECT_TRUE(output.HasEntry("output/message"));
}

TEST_F(CPluginExecutorTest, ToolWithoutAnyOutputIsNoOutput)
{
    auto pImage = MakeRamp(5, 4);
    Zarn::CValueMap output;
    const std::optional<Zarn::CException> caught = RunImageToolCatching(kConfig, *pImage, output);
    ASSERT_TRUE(caught) << "no exception";
    EXPECT_STREQ(caught->what(), "No output map from Plugin available.");
    EXPECT_TRUE(output.IsEmpty());
}

TEST_F(CPluginExecutorTest, ImageToolRejectingItsParametersIsReported)
{
    auto pImage = MakeRamp(5, 4);
    Zarn::CValueMap output;
    EXPECT_THROW(::PluginExecutor::RunImageToolPlugin(kRejecting, pImage.get(), Zarn::CValueMap(),
                                                      output, "x"),
                 Zarn::CException);
    EXPECT_EQ(CountCalls("TestRejecting:Run"), 0);
}

} // namespace
