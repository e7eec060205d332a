#include "BatchTestTools.h"

#include "batch/ImageProcessBatcher.h"
#include "batch/OwnedPlugin.h"
#include "batch/ProcessDescription.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImagePointer.h>
#include <Zarn/Image/TekaHeaderTools.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace
{

using namespace BatchTestTools;

class CBatcherTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        RegisterTools();
        ResetJournal();
        m_pInput = MakeRamp(8, 6);
    }

    std::unique_ptr<CImageProcessBatcher> Batcher(const char* szProcess)
    {
        m_pProcess = ProcessDescription::LoadString(szProcess);
        return std::make_unique<CImageProcessBatcher>(*m_pProcess, nullptr, nullptr, nullptr);
    }

    std::unique_ptr<Zarn::CImage> Run(const char* szProcess)
    {
        return Batcher(szProcess)->Run(*m_pInput);
    }

    static std::vector<std::string> HistoryOf(const Zarn::CImage& image)
    {
        std::vector<std::string> lstEntries;
        const Zarn::CValue* pHistory =
            image.Attributes().Entry(Zarn::CValue_Key(Zarn::CTekaHeaderTools::kHistory), false);
        for (unsigned int u = 0; pHistory != nullptr && u < pHistory->Vector()->Size(); ++u)
        {
            lstEntries.push_back(
                pHistory->Vector()->Entry(Zarn::CValue_Key(u), true)->String().StdString());
        }
        return lstEntries;
    }

    static std::uint64_t LabelsOf(const Zarn::CImage& image)
    {
        std::uint64_t uCount = 0;
        Zarn::CTekaHeaderTools::GetNumberOfLabels(image, uCount);
        return uCount;
    }

    // The result is a new image equal to the input.
    void ExpectDeepCopyOfTheInput(const std::unique_ptr<Zarn::CImage>& pResult) const
    {
        ASSERT_NE(pResult, nullptr);
        EXPECT_NE(pResult.get(), m_pInput.get());
        EXPECT_TRUE(pResult->Equal(*m_pInput));
    }

    unsigned short In(unsigned int x, unsigned int y) const { return PixelAt(*m_pInput, x, y); }

    std::unique_ptr<Zarn::CImage> m_pInput;
    std::unique_ptr<Zarn::CValueVector> m_pProcess;
};

// --- runs as a whole

TEST_F(CBatcherTest, EmptyProcessReturnsADeepCopyOfTheInput)
{
    ExpectDeepCopyOfTheInput(Run("[]"));
}

TEST_F(CBatcherTest, ProcessOfConfigPluginsOnlyReturnsADeepCopyOfTheInput)
{
    const auto pResult = Run(R"([
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"a": 1}},
        {"type": "config plugin", "plugin": "TestConfig"}])");
    ExpectDeepCopyOfTheInput(pResult);
}

TEST_F(CBatcherTest, PluginStepsChainTheirResults)
{
    const auto pResult = Run(R"([
        {"type": "plugin", "plugin": "TestAddConstant", "parameters": {"constant": 10}},
        {"type": "plugin", "plugin": "TestInvert"}])");
    EXPECT_EQ(PixelAt(*pResult, 4, 2), 65535 - (In(4, 2) + 10));
    EXPECT_EQ(PixelAt(*m_pInput, 4, 2), (4 + 3 * 2) * 7); // the input stays as it was
}

TEST_F(CBatcherTest, InPlaceToolKeepsWorkingOnTheCurrentImage)
{
    const auto pResult = Run(R"([
        {"type": "plugin", "plugin": "TestThresholdInPlace", "parameters": {"level": 100}},
        {"type": "plugin", "plugin": "TestInvert"}])");
    EXPECT_EQ(PixelAt(*pResult, 0, 0), 65535);
    EXPECT_EQ(PixelAt(*pResult, 7, 5), 0);
    EXPECT_EQ(In(0, 0), 0);
}

TEST_F(CBatcherTest, PluginStepGetsThreadedFalseAndItsTitleWithoutTheStepChanging)
{
    auto pBatcher = Batcher(R"([{"type": "plugin", "plugin": "TestCounter", "title": "ramp"}])");
    const Zarn::CValueVector before(*pBatcher);
    pBatcher->Run(*m_pInput);
    const Zarn::CValueMap& runMap = *Journal().m_pRunMap;
    ASSERT_TRUE(runMap.HasEntry(Zarn::CValue_Key("threaded"), Zarn::CValue::vtBool));
    EXPECT_FALSE(runMap.EntryBool(Zarn::CValue_Key("threaded")));
    EXPECT_EQ(Journal().m_strLastLabel, "ramp");
    EXPECT_TRUE(pBatcher->Equal(before));
}

TEST_F(CBatcherTest, PluginWithoutTitleGetsUnknownLabel)
{
    Run(R"([{"type": "plugin", "plugin": "TestCounter", "title": 5}])");
    EXPECT_EQ(Journal().m_strLastLabel, "<unknown>");
}

TEST_F(CBatcherTest, ThreadedKeyOfTheStepIsHandedOnAsItStands)
{
    Run(R"([{"type": "plugin", "plugin": "TestCounter", "threaded": true}])");
    EXPECT_TRUE(Journal().m_pRunMap->EntryBool(Zarn::CValue_Key("threaded")));
}

TEST_F(CBatcherTest, StepParametersWinOverTheParameterMapAndOtherKeysAreHandedOn)
{
    Run(R"([
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"gain": 2, "offset": 5}},
        {"type": "plugin", "plugin": "TestCounter", "extra": "kept",
         "parameters": {"gain": 9}}])");
    const Zarn::CValueMap& runMap = *Journal().m_pRunMap;
    EXPECT_EQ(runMap.EntryString(Zarn::CValue_Key("extra")).StdString(), "kept");
    EXPECT_EQ(runMap.Entry("parameters/gain", true)->Long(), 9);
    EXPECT_EQ(runMap.Entry("parameters/offset", true)->Long(), 5);
}

TEST_F(CBatcherTest, PluginWithoutOwnParametersGetsTheParameterMapsOnes)
{
    Run(R"([
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"gain": 2}},
        {"type": "plugin", "plugin": "TestCounter"}])");
    EXPECT_EQ(Journal().m_pRunMap->Entry("parameters/gain", true)->Long(), 2);
}

TEST_F(CBatcherTest, StoredImagesReachPluginsAsLentPointers)
{
    Run(R"([
        {"type": "save image", "map position": "kept", "save process": []},
        {"type": "plugin", "plugin": "TestCounter"}])");
    const Zarn::CValue* pKept = Journal().m_pRunMap->Entry(Zarn::CValue_Key("kept"), false);
    ASSERT_NE(pKept, nullptr);
    EXPECT_FALSE(pKept->Pointer()->IsOwned());
}

TEST_F(CBatcherTest, LaterConfigAnswersOverwriteEarlierOnes)
{
    Run(R"([
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"gain": 2, "offset": 5}},
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"gain": 3}},
        {"type": "plugin", "plugin": "TestCounter"}])");
    EXPECT_EQ(Journal().m_pRunMap->Entry("parameters/gain", true)->Long(), 3);
    EXPECT_EQ(Journal().m_pRunMap->Entry("parameters/offset", true)->Long(), 5);
}

// --- cancelling

TEST_F(CBatcherTest, CancelledRunSkipsEveryLaterStepAndReturnsNull)
{
    const auto pResult = Run(R"([
        {"type": "plugin", "plugin": "TestInvert"},
        {"type": "config plugin", "plugin": "TestConfig", "cancel": true},
        {"type": "plugin", "plugin": "TestCounter"},
        {"type": "no such step"}])");
    EXPECT_EQ(pResult, nullptr);
    EXPECT_EQ(Journal().m_nCounterRuns, 0);
}

TEST_F(CBatcherTest, LoopAroundACancelEndsOnlyThroughItsCondition)
{
    // The first pass cancels; the later passes do nothing, and the loop still asks its condition
    // (set before the loop) and ends.
    const auto pResult = Run(R"([
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"stop": true}},
        {"type": "loop", "subtype": "repeat-until", "condition identifier": "stop",
         "loopbody": [
            {"type": "config plugin", "plugin": "TestConfig", "cancel": true},
            {"type": "plugin", "plugin": "TestCounter"}]},
        {"type": "plugin", "plugin": "TestCounter"}])");
    EXPECT_EQ(pResult, nullptr);
    EXPECT_EQ(Journal().m_nCounterRuns, 0);
}

TEST_F(CBatcherTest, NextRunStartsUncancelled)
{
    auto pBatcher = Batcher(R"([
        {"type": "plugin", "plugin": "TestCounter"},
        {"type": "config plugin", "plugin": "TestConfig", "cancel": true}])");
    EXPECT_EQ(pBatcher->Run(*m_pInput), nullptr);
    EXPECT_EQ(pBatcher->Run(*m_pInput), nullptr);
    EXPECT_EQ(Journal().m_nCounterRuns, 2);
}

// --- parameter history

TEST_F(CBatcherTest, FirstAnswerStandsWithoutSeparatorsAndLaterOnesArePrefixed)
{
    const auto pResult = Run(R"([
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"a": 1, "b": 2}},
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"c": "x"}},
        {"type": "quen header tools", "operation": "add to history"}])");
    EXPECT_EQ(HistoryOf(*pResult), std::vector<std::string>{"unknown(a=1b=2, c=\"x\")"});
}

TEST_F(CBatcherTest, HistoryEntryCarriesProcessIdAndStoredLabelCount)
{
    Zarn::CTekaHeaderTools::SetNumberOfLabels(*m_pInput, 7);
    const auto pResult = Run(R"([
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"a": 1}},
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"b": 2}},
        {"type": "quen header tools", "operation": "get number of labels",
         "map position": "labels"},
        {"type": "quen header tools", "operation": "add to history", "process id": "segment",
         "label map position": "labels"}])");
    EXPECT_EQ(HistoryOf(*pResult), std::vector<std::string>{"segment(a=1, b=2)<7>"});
}

TEST_F(CBatcherTest, HistoryLosesItsLineFeeds)
{
    const auto pResult = Run(R"([
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"t": "one\ntwo"}},
        {"type": "quen header tools", "operation": "add to history", "process id": "p"}])");
    const std::vector<std::string> lstHistory = HistoryOf(*pResult);
    ASSERT_EQ(lstHistory.size(), 1u);
    EXPECT_EQ(lstHistory[0].find('\n'), std::string::npos);
}

TEST_F(CBatcherTest, HistoryIsEmptiedBetweenRuns)
{
    auto pBatcher = Batcher(R"([
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"a": 1}},
        {"type": "quen header tools", "operation": "add to history", "process id": "p"}])");
    pBatcher->Run(*m_pInput);
    const auto pSecond = pBatcher->Run(*m_pInput);
    EXPECT_EQ(HistoryOf(*pSecond), std::vector<std::string>{"p(a=1)"});
}

// --- loops

TEST_F(CBatcherTest, RepeatUntilLoopStopsWhenItsConditionTurnsTrue)
{
    const auto pResult = Run(R"([
        {"type": "loop", "subtype": "repeat-until", "condition identifier": "done",
         "loopbody": [
            {"type": "config plugin", "plugin": "TestConfig", "count key": "passes",
             "until": 4, "done key": "done"},
            {"type": "plugin", "plugin": "TestAddConstant", "parameters": {"constant": 1}},
            {"type": "plugin", "plugin": "TestCounter"}]}])");
    EXPECT_EQ(Journal().m_nCounterRuns, 4);
    EXPECT_EQ(PixelAt(*pResult, 3, 3), In(3, 3) + 4);
}

TEST_F(CBatcherTest, WhileDoLoopRunsWhileItsConditionIsTrue)
{
    Run(R"([
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"more": true}},
        {"type": "loop", "subtype": "while-do", "condition identifier": "more",
         "loopbody": [
            {"type": "plugin", "plugin": "TestCounter"},
            {"type": "config plugin", "plugin": "TestConfig", "count key": "passes",
             "until": 3, "more key": "more"}]}])");
    EXPECT_EQ(Journal().m_nCounterRuns, 3);
}

TEST_F(CBatcherTest, WhileDoLoopWithFalseConditionRunsNoPass)
{
    Run(R"([
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"more": false}},
        {"type": "loop", "subtype": "while-do", "condition identifier": "more",
         "loopbody": [{"type": "plugin", "plugin": "TestCounter"}]}])");
    EXPECT_EQ(Journal().m_nCounterRuns, 0);
}

TEST_F(CBatcherTest, WhileDoLoopWithoutItsConditionRunsNoPassAndSaysSo)
{
    ::testing::internal::CaptureStderr();
    const auto pResult = Run(R"([
        {"type": "loop", "subtype": "while-do", "condition identifier": "missing",
         "loopbody": [{"type": "plugin", "plugin": "TestCounter"}]}])");
    const std::string strErr = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(pResult, nullptr);
    EXPECT_EQ(Journal().m_nCounterRuns, 0);
    EXPECT_EQ(strErr, "CImageProcessBatcher::EvalLoopCondition( const Zarn::CValueMap& ): "
                      "condition key \"missing\" not present in parameter map\n");
}

TEST_F(CBatcherTest, RepeatUntilLoopWithoutItsConditionDoesNotEnd)
{
    // Only the body's failure on the fifth pass ends this loop.
    ::testing::internal::CaptureStderr();
    EXPECT_THROW(Run(R"([
        {"type": "loop", "subtype": "repeat-until", "condition identifier": "missing",
         "loopbody": [{"type": "plugin", "plugin": "TestCounter", "fail at run": 5}]}])"),
                 Zarn::CException);
    const std::string strErr = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(Journal().m_nCounterRuns, 5);
    EXPECT_NE(strErr.find("condition key \"missing\""), std::string::npos);
}

TEST_F(CBatcherTest, LoopConditionThatIsNotABoolIsRejected)
{
    const std::optional<Zarn::CException> caught = CatchHostError(
        [&]
        {
            Run(R"([
            {"type": "config plugin", "plugin": "TestConfig", "answer": {"more": 1}},
            {"type": "loop", "subtype": "while-do", "condition identifier": "more",
             "loopbody": []}])");
        });
    ExpectHostError(caught, "CImageProcessBatcher::EvalLoopCondition( const Zarn::CValueMap& )",
                    "invalid condition value (value must be bool)");
}

TEST_F(CBatcherTest, KeepImageStartsEveryPassAndTheNextStepFromTheLoopsImage)
{
    const auto pResult = Run(R"([
        {"type": "loop", "subtype": "repeat-until", "condition identifier": "done",
         "keep image": true,
         "loopbody": [
            {"type": "plugin", "plugin": "TestAddConstant", "parameters": {"constant": 10}},
            {"type": "plugin", "plugin": "TestCounter"},
            {"type": "config plugin", "plugin": "TestConfig", "count key": "passes",
             "until": 3, "done key": "done"}]}])");
    EXPECT_EQ(Journal().m_nCounterRuns, 3);
    // The last pass still saw the loop's image plus 10 only.
    EXPECT_EQ(PixelAt(*Journal().m_pCounterInput, 2, 2), In(2, 2) + 10);
    EXPECT_TRUE(pResult->Equal(*m_pInput));
}

TEST_F(CBatcherTest, WithoutKeepImageThePassesAccumulate)
{
    const auto pResult = Run(R"([
        {"type": "loop", "subtype": "repeat-until", "condition identifier": "done",
         "keep image": false,
         "loopbody": [
            {"type": "plugin", "plugin": "TestAddConstant", "parameters": {"constant": 10}},
            {"type": "config plugin", "plugin": "TestConfig", "count key": "passes",
             "until": 3, "done key": "done"}]}])");
    EXPECT_EQ(PixelAt(*pResult, 2, 2), In(2, 2) + 30);
}

TEST_F(CBatcherTest, SameStepRunManyTimesIsNeverChanged)
{
    auto pBatcher = Batcher(R"([
        {"type": "loop", "subtype": "repeat-until", "condition identifier": "done",
         "loopbody": [
            {"type": "plugin", "plugin": "TestInvert"},
            {"type": "config plugin", "plugin": "TestConfig", "count key": "passes",
             "until": 3, "done key": "done"}]}])");
    const Zarn::CValueVector before(*pBatcher);
    pBatcher->Run(*m_pInput);
    EXPECT_TRUE(pBatcher->Equal(before));
}

// --- conditions

TEST_F(CBatcherTest, EqualConditionRunsThenBody)
{
    const auto pResult = Run(R"([
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"mode": "invert"}},
        {"type": "condition", "subtype": "equal", "condition identifier": "mode",
         "condition value": "invert",
         "thenbody": [{"type": "plugin", "plugin": "TestInvert"}],
         "elsebody": [{"type": "plugin", "plugin": "TestCounter"}]}])");
    EXPECT_EQ(PixelAt(*pResult, 1, 1), 65535 - In(1, 1));
    EXPECT_EQ(Journal().m_nCounterRuns, 0);
}

TEST_F(CBatcherTest, LongComparedWithStringIsUnequalAndRunsElseBody)
{
    const auto pResult = Run(R"([
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"mode": 1}},
        {"type": "condition", "subtype": "equal", "condition identifier": "mode",
         "condition value": "1",
         "thenbody": [{"type": "plugin", "plugin": "TestInvert"}],
         "elsebody": [{"type": "plugin", "plugin": "TestCounter"}]}])");
    EXPECT_EQ(Journal().m_nCounterRuns, 1);
    EXPECT_TRUE(pResult->Equal(*m_pInput));
}

TEST_F(CBatcherTest, FailedComparisonWithoutElseBodyDoesNothing)
{
    const auto pResult = Run(R"([
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"mode": 2}},
        {"type": "condition", "subtype": "equal", "condition identifier": "mode",
         "condition value": 1, "thenbody": [{"type": "plugin", "plugin": "TestCounter"}]}])");
    EXPECT_EQ(Journal().m_nCounterRuns, 0);
    EXPECT_TRUE(pResult->Equal(*m_pInput));
}

TEST_F(CBatcherTest, EmptyThenBodyDoesNothing)
{
    const auto pResult = Run(R"([
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"mode": 1}},
        {"type": "condition", "subtype": "equal", "condition identifier": "mode",
         "condition value": 1, "thenbody": []}])");
    EXPECT_TRUE(pResult->Equal(*m_pInput));
}

TEST_F(CBatcherTest, ConditionIdentifierMissingFromParametersIsRejected)
{
    const std::optional<Zarn::CException> caught = CatchHostError(
        [&]
        {
            Run(R"([{"type": "condition", "subtype": "equal", "condition identifier": "mode",
                 "condition value": 1, "thenbody": []}])");
        });
    ExpectHostError(caught, "CImageProcessBatcher::FindConditionValue( const string& )",
                    "condition key \"mode\" not present in parameter map");
}

TEST_F(CBatcherTest, ConditionIdentifierIsOneKeyNotAPath)
{
    EXPECT_THROW(Run(R"([
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"a": {"b": 1}}},
        {"type": "condition", "subtype": "equal", "condition identifier": "a/b",
         "condition value": 1, "thenbody": []}])"),
                 Zarn::CException);
}

// --- the image store

TEST_F(CBatcherTest, SaveImageStoresTheSubProcessResultAndKeepsTheCurrentImage)
{
    auto pBatcher = Batcher(R"([
        {"type": "save image", "map position": "stored/inverted",
         "save process": [{"type": "plugin", "plugin": "TestInvert"}]},
        {"type": "plugin", "plugin": "TestCounter"},
        {"type": "swap image", "map position": "stored/inverted"}])");
    const auto pResult = pBatcher->Run(*m_pInput);
    EXPECT_TRUE(Journal().m_pCounterInput->Equal(*m_pInput));
    EXPECT_EQ(PixelAt(*pResult, 5, 1), 65535 - In(5, 1));
}

TEST_F(CBatcherTest, SaveImageWithEmptyProcessStoresACopy)
{
    const auto pResult = Run(R"([
        {"type": "save image", "map position": "copy", "save process": []},
        {"type": "plugin", "plugin": "TestInvert"},
        {"type": "swap image", "map position": "copy"}])");
    EXPECT_TRUE(pResult->Equal(*m_pInput));
}

TEST_F(CBatcherTest, SavingTwiceAtOnePlaceReplacesTheStoredImage)
{
    const auto pResult = Run(R"([
        {"type": "save image", "map position": "s", "save process": []},
        {"type": "save image", "map position": "s",
         "save process": [{"type": "plugin", "plugin": "TestInvert"}]},
        {"type": "swap image", "map position": "s"}])");
    EXPECT_EQ(PixelAt(*pResult, 0, 1), 65535 - In(0, 1));
}

TEST_F(CBatcherTest, SwapExchangesTheCurrentAndTheStoredImage)
{
    const auto pResult = Run(R"([
        {"type": "save image", "map position": "s", "save process": []},
        {"type": "plugin", "plugin": "TestInvert"},
        {"type": "swap image", "map position": "s"},
        {"type": "swap image", "map position": "s"}])");
    EXPECT_EQ(PixelAt(*pResult, 2, 3), 65535 - In(2, 3));
}

TEST_F(CBatcherTest, CopyImageDuplicatesAndReplacesTheTarget)
{
    const auto pResult = Run(R"([
        {"type": "save image", "map position": "a",
         "save process": [{"type": "plugin", "plugin": "TestInvert"}]},
        {"type": "save image", "map position": "b", "save process": []},
        {"type": "copy image", "from position": "a", "to position": "b"},
        {"type": "delete image", "map position": "a"},
        {"type": "swap image", "map position": "b"}])");
    EXPECT_EQ(PixelAt(*pResult, 6, 4), 65535 - In(6, 4));
}

TEST_F(CBatcherTest, CopyImageOntoItselfKeepsTheImage)
{
    const auto pResult = Run(R"([
        {"type": "save image", "map position": "a",
         "save process": [{"type": "plugin", "plugin": "TestInvert"}]},
        {"type": "copy image", "from position": "a", "to position": "a"},
        {"type": "swap image", "map position": "a"}])");
    EXPECT_EQ(PixelAt(*pResult, 6, 4), 65535 - In(6, 4));
}

TEST_F(CBatcherTest, DeletedImageIsGone)
{
    auto pBatcher = Batcher(R"([
        {"type": "save image", "map position": "stored/a", "save process": []},
        {"type": "delete image", "map position": "stored/a"},
        {"type": "swap image", "map position": "stored/a"}])");
    EXPECT_THROW(pBatcher->Run(*m_pInput), Zarn::CException);
    EXPECT_FALSE(pBatcher->Parameters().HasEntry("stored/a"));
}

TEST_F(CBatcherTest, DeletingWhatIsNotAnImageIsRefused)
{
    EXPECT_THROW(Run(R"([
        {"type": "quen header tools", "operation": "get number of labels", "map position": "n"},
        {"type": "delete image", "map position": "n"}])"),
                 Zarn::CException);
}

TEST_F(CBatcherTest, FailedRunKeepsItsParameterMapUntilTheNextRun)
{
    auto pBatcher = Batcher(R"([
        {"type": "save image", "map position": "stored/a", "save process": []},
        {"type": "plugin", "plugin": "TestRunThrowing"}])");
    EXPECT_THROW(pBatcher->Run(*m_pInput), Zarn::CException);
    EXPECT_TRUE(pBatcher->Parameters().HasEntry("stored/a"));
    EXPECT_THROW(pBatcher->Run(*m_pInput), Zarn::CException);
    EXPECT_TRUE(pBatcher->Parameters().HasEntry("stored/a"));
}

TEST_F(CBatcherTest, SuccessfulRunLeavesAnEmptyParameterMap)
{
    auto pBatcher = Batcher(R"([
        {"type": "save image", "map position": "stored/a", "save process": []},
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"a": 1}}])");
    pBatcher->Run(*m_pInput);
    EXPECT_TRUE(pBatcher->Parameters().IsEmpty());
}

TEST_F(CBatcherTest, FailureInsideASaveProcessLeavesNothingBehind)
{
    // The copy kept by the save step and the image of the failed sub-process are freed (checked
    // by the sanitizer build); the batcher stays usable.
    auto pBatcher = Batcher(R"([
        {"type": "save image", "map position": "s",
         "save process": [{"type": "plugin", "plugin": "TestInvert"},
                          {"type": "plugin", "plugin": "TestStdThrowing"}]}])");
    EXPECT_THROW(pBatcher->Run(*m_pInput), std::exception);
    EXPECT_FALSE(pBatcher->Parameters().HasEntry(Zarn::CValue_Key("s")));
}

TEST_F(CBatcherTest, CancelledRunWithStoredImagesAndKeptLoopImageLeavesNothingBehind)
{
    auto pBatcher = Batcher(R"([
        {"type": "save image", "map position": "a", "save process": []},
        {"type": "copy image", "from position": "a", "to position": "b"},
        {"type": "loop", "subtype": "repeat-until", "condition identifier": "done",
         "keep image": true,
         "loopbody": [
            {"type": "plugin", "plugin": "TestInvert"},
            {"type": "swap image", "map position": "a"},
            {"type": "config plugin", "plugin": "TestConfig", "count key": "passes",
             "until": 1, "done key": "done"},
            {"type": "config plugin", "plugin": "TestConfig", "cancel": true}]}])");
    EXPECT_EQ(pBatcher->Run(*m_pInput), nullptr);
    EXPECT_TRUE(pBatcher->Parameters().IsEmpty());
}

TEST_F(CBatcherTest, StoredImageReplacedByAnotherValueIsFreed)
{
    // The sanitizer build checks that both replaced images are freed exactly once.
    Run(R"([
        {"type": "save image", "map position": "x", "save process": []},
        {"type": "quen header tools", "operation": "get number of labels", "map position": "x"},
        {"type": "save image", "map position": "parameters/y", "save process": []},
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"y": 4}},
        {"type": "plugin", "plugin": "TestCounter"}])");
    const Zarn::CValueMap& runMap = *Journal().m_pRunMap;
    EXPECT_EQ(runMap.EntryLong(Zarn::CValue_Key("x"), -1), 0);
    EXPECT_EQ(runMap.Entry("parameters/y", true)->Long(), 4);
}

// --- header tools

TEST_F(CBatcherTest, AttributesAreReadIntoTheParameterMapAndWrittenFromIt)
{
    m_pInput->Attributes().SetEntry(Zarn::CValue_Key("source file"),
                                    new Zarn::CValueString("a.tif"));
    auto pBatcher = Batcher(R"([
        {"type": "quen header tools", "operation": "get attributes", "map position": "header"},
        {"type": "config plugin", "plugin": "TestConfig", "answer": {"scale": 2}},
        {"type": "quen header tools", "operation": "set attributes",
         "map position": "parameters"},
        {"type": "plugin", "plugin": "TestCounter"}])");
    const auto pResult = pBatcher->Run(*m_pInput);
    EXPECT_EQ(pResult->Attributes().EntryLong(Zarn::CValue_Key("scale"), 0), 2);
    const Zarn::CValue* pHeader = Journal().m_pRunMap->Entry(Zarn::CValue_Key("header"), false);
    ASSERT_NE(pHeader, nullptr);
    EXPECT_EQ(pHeader->Map()->EntryString(Zarn::CValue_Key("source file")).StdString(), "a.tif");
}

TEST_F(CBatcherTest, NumberOfLabelsIsReadAndWrittenBack)
{
    Zarn::CTekaHeaderTools::SetNumberOfLabels(*m_pInput, 5);
    const auto pResult = Run(R"([
        {"type": "quen header tools", "operation": "get number of labels", "map position": "n"},
        {"type": "plugin", "plugin": "TestSetLabels", "parameters": {"labels": 9}},
        {"type": "plugin", "plugin": "TestCounter"},
        {"type": "quen header tools", "operation": "set number of labels", "map position": "n"}])");
    EXPECT_EQ(Journal().m_pRunMap->EntryLong(Zarn::CValue_Key("n"), 0), 5);
    EXPECT_EQ(LabelsOf(*pResult), 5u);
}

TEST_F(CBatcherTest, MapPositionOfHeaderToolsIsOneKey)
{
    const auto pResult = Run(R"([
        {"type": "quen header tools", "operation": "get number of labels",
         "map position": "a/b"},
        {"type": "plugin", "plugin": "TestCounter"}])");
    EXPECT_TRUE(Journal().m_pRunMap->HasEntry(Zarn::CValue_Key("a/b")));
    EXPECT_FALSE(Journal().m_pRunMap->HasEntry(Zarn::CValue_Key("a")));
}

TEST_F(CBatcherTest, AddToHistoryWithoutAnythingWritesUnknownAndEmptyHistory)
{
    const auto pResult = Run(R"([{"type": "quen header tools", "operation": "add to history"}])");
    EXPECT_EQ(HistoryOf(*pResult), std::vector<std::string>{"unknown()"});
}

// --- finding the first plug-in

TEST_F(CBatcherTest, FindFirstPluginSearchesNestedBodiesAndInitialisesTheInstance)
{
    auto pBatcher = Batcher(R"([
        {"type": "delete image", "map position": "x"},
        {"type": "condition", "subtype": "equal", "condition identifier": "c",
         "condition value": 1, "thenbody": [],
         "elsebody": [{"type": "save image", "map position": "s", "save process": [
             {"type": "plugin", "plugin": "TestCounter", "marker": 3}]}]},
        {"type": "plugin", "plugin": "TestInvert"}])");
    ::testing::internal::CaptureStdout();
    OwnedPluginPtr pPlugin(pBatcher->FindFirstPlugin());
    const std::string strOut = ::testing::internal::GetCapturedStdout();
    ASSERT_NE(pPlugin, nullptr);
    EXPECT_EQ(strOut, "\nFIRST PLUGIN: TestCounter\n\n");
    EXPECT_EQ(CountCalls("TestCounter:Init"), 1);
    EXPECT_EQ(Journal().m_pInitMap->EntryLong(Zarn::CValue_Key("marker"), 0), 3);
}

TEST_F(CBatcherTest, FindFirstPluginFindsConfigPluginsInLoops)
{
    auto pBatcher = Batcher(R"([
        {"type": "loop", "subtype": "while-do", "condition identifier": "c",
         "loopbody": [{"type": "config plugin", "plugin": "TestConfig"}]}])");
    ::testing::internal::CaptureStdout();
    OwnedPluginPtr pPlugin(pBatcher->FindFirstPlugin());
    ::testing::internal::GetCapturedStdout();
    EXPECT_NE(pPlugin, nullptr);
    EXPECT_EQ(CountCalls("TestConfig:Init"), 1);
}

TEST_F(CBatcherTest, FindFirstPluginGivesNullWithoutPluginSteps)
{
    auto pBatcher = Batcher(R"([
        {"type": "save image", "map position": "s", "save process": []},
        {"type": "quen header tools", "operation": "add to history"}])");
    EXPECT_EQ(pBatcher->FindFirstPlugin(), nullptr);
}

TEST_F(CBatcherTest, FindFirstPluginSwallowsFaults)
{
    EXPECT_EQ(Batcher(R"([{"type": "Plugin"}, {"type": "plugin", "plugin": "TestInvert"}])")
                  ->FindFirstPlugin(),
              nullptr);
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(Batcher(R"([{"type": "plugin", "plugin": "NoSuchTestPlugin"}])")->FindFirstPlugin(),
              nullptr);
    ::testing::internal::GetCapturedStdout();
}

} // namespace
