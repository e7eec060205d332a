#include "BatchRunner.h"
#include "BatchTempFolder.h"
#include "FileSizeLimit.h"

#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Image/ImageFile.h>
#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Image/ImagePointer.h>
#include <Zarn/Image/TekaHeaderTools.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Serial/JsonValueFile.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <thread>

namespace fs = std::filesystem;

namespace
{

// Which threads ran each tool instance.
std::mutex g_mtxRuns;
std::map<const void*, std::set<std::thread::id>> g_mapRunsByInstance;

const Zarn::CImage* FocusedImage(const Zarn::CValueMap& data)
{
    const auto* pDocument =
        Zarn::UnwrapPointer<Zarn::CValueMap>(data.Entry("input/documents/focused", true));
    return Zarn::ImageDocument::Image(*pDocument);
}

void AddResult(Zarn::CValueMap& data, Zarn::CImage* result)
{
    auto* pAdded = new Zarn::CValueVector;
    pAdded->PushBack(
        new Zarn::CValuePointer<Zarn::CValueMap>(Zarn::ImageDocument::Create(result, "result")));
    data.SetEntry("output/documents/add", pAdded);
}

// Inverts 8-bit images with OpenCV; refuses the others.
class CTestInvert : public Zarn::CPluginBase
{
public:
    bool TestParameters(const Zarn::CValueMap& parameters) override
    {
        const Zarn::CImage* pImage = FocusedImage(parameters);
        return pImage != nullptr && pImage->Type() == Zarn::IImage::CType(Zarn::IImage::etUInt8);
    }
    void Run(Zarn::CValueMap& data) override
    {
        {
            std::lock_guard<std::mutex> lock(g_mtxRuns);
            g_mapRunsByInstance[this].insert(std::this_thread::get_id());
        }
        const Zarn::CImage* pInput = FocusedImage(data);
        auto* pResult = new Zarn::CImage(pInput->Size(), pInput->Type());
        cv::bitwise_not(Zarn::PlaneView(*pInput, 0), Zarn::PlaneView(*pResult, 0));
        Zarn::CTekaHeaderTools::AddToHistory(*pResult, Zarn::CValueString("TestInvert"));
        AddResult(data, pResult);
    }
};

// Passes the image on with the value of its first pixel as the number of labels.
class CTestCount : public Zarn::CPluginBase
{
public:
    void Run(Zarn::CValueMap& data) override
    {
        auto* pResult = new Zarn::CImage(*FocusedImage(data));
        Zarn::CTekaHeaderTools::SetNumberOfLabels(*pResult, pResult->Data()[0]);
        AddResult(data, pResult);
    }
};

class BatchRunner : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        Zarn::CPluginLoader::Obj().RegisterPlugin(
            "TestInvert", []() -> Zarn::CPluginBase* { return new CTestInvert; });
        Zarn::CPluginLoader::Obj().RegisterPlugin(
            "TestCount", []() -> Zarn::CPluginBase* { return new CTestCount; });
    }

    void SetUp() override
    {
        m_root = NewBatchTempFolder("docview-batch-run-XXXXXX");
        ASSERT_FALSE(m_root.empty());
        fs::create_directories(m_root / "in");
        m_pHost = std::make_unique<CBatchHost>(&m_log, 0, std::vector<std::string>{MODULE_DIR});
        m_pProcess.reset(Zarn::CJsonValueFile::ReadString(
            R"({"process": [{"type": "plugin", "plugin": "TestInvert"}, {"type": "plugin", "plugin": "TestCount"}]})"));
    }

    void TearDown() override
    {
        m_pHost.reset();
        fs::remove_all(m_root);
    }

    // An 8-bit image whose first pixel is `first`.
    fs::path WriteImage(const std::string& name, int first)
    {
        cv::Mat pixels(48, 64, CV_8UC1);
        cv::randu(pixels, cv::Scalar(0), cv::Scalar(256));
        pixels.at<unsigned char>(0, 0) = static_cast<unsigned char>(first);
        const fs::path path = m_root / "in" / name;
        EXPECT_TRUE(cv::imwrite(path.string(), pixels));
        return path;
    }

    std::vector<SBatchResult> Run(unsigned int workers)
    {
        CBatchRunner runner(*m_pProcess->Map(), m_root / "out", workers);
        return runner.Run(CollectBatchInputs({(m_root / "in").string()}),
                          [this](const SBatchResult&, size_t done, size_t failed)
                          { m_lstProgress.emplace_back(done, failed); });
    }

    fs::path m_root;
    std::ostringstream m_log;
    std::unique_ptr<CBatchHost> m_pHost;
    std::unique_ptr<Zarn::CValue> m_pProcess;
    std::vector<std::pair<size_t, size_t>> m_lstProgress;
};

TEST_F(BatchRunner, EveryImageIsProcessedAndACorruptOneIsReportedWithoutStoppingTheOthers)
{
    for (int i = 0; i < 6; ++i)
    {
        WriteImage("image" + std::to_string(i) + ".png", 10 * i);
    }
    std::ofstream(m_root / "in" / "broken.png") << "not a picture";

    const std::vector<SBatchResult> lstResults = Run(2);
    ASSERT_EQ(lstResults.size(), 7u);
    size_t uFailed = 0;
    for (const SBatchResult& result : lstResults)
    {
        if (result.m_input.m_path.filename() == "broken.png")
        {
            EXPECT_FALSE(result.m_bDone);
            EXPECT_NE(result.m_strError.find("broken.png"), std::string::npos) << result.m_strError;
            EXPECT_TRUE(result.m_resultPath.empty());
            ++uFailed;
            continue;
        }
        ASSERT_TRUE(result.m_bDone) << result.m_strError;
        std::unique_ptr<Zarn::CImage> pInput(
            Zarn::CImageFile::Read(result.m_input.m_path.string()));
        std::unique_ptr<Zarn::CImage> pOutput(Zarn::CImageFile::Read(result.m_resultPath.string()));
        cv::Mat expected;
        cv::bitwise_not(Zarn::PlaneView(*pInput, 0), expected);
        EXPECT_EQ(cv::countNonZero(expected != Zarn::PlaneView(*pOutput, 0)), 0);
        ASSERT_TRUE(result.m_nLabels.has_value());
        EXPECT_EQ(*result.m_nLabels, 255u - pInput->Data()[0]);
        EXPECT_EQ(result.m_resultPath, m_root / "out" / result.m_input.m_result);
        // The header history travels with the result.
        const Zarn::CValue* pHistory =
            pOutput->Attributes().Entry(Zarn::CValue_Key("history"), false);
        ASSERT_NE(pHistory, nullptr);
        EXPECT_EQ(pHistory->Vector()->Entry(Zarn::CValue_Key(0u), true)->String().StdString(),
                  "TestInvert");
    }
    EXPECT_EQ(uFailed, 1u);
    ASSERT_EQ(m_lstProgress.size(), 7u);
    EXPECT_EQ(m_lstProgress.back(), std::make_pair(size_t(7), size_t(1)));
}

TEST_F(BatchRunner, NoToolInstanceRunsOnTwoThreads)
{
    for (int i = 0; i < 12; ++i)
    {
        WriteImage("image" + std::to_string(i) + ".png", i);
    }
    g_mapRunsByInstance.clear();
    const std::vector<SBatchResult> lstResults = Run(3);
    for (const SBatchResult& result : lstResults)
    {
        EXPECT_TRUE(result.m_bDone) << result.m_strError;
    }
    for (const auto& [pInstance, setThreads] : g_mapRunsByInstance)
    {
        EXPECT_EQ(setThreads.size(), 1u);
    }
}

TEST_F(BatchRunner, AfterTheStopFlagIsSetNoFurtherImageIsStarted)
{
    for (int i = 0; i < 8; ++i)
    {
        WriteImage("image" + std::to_string(i) + ".png", i);
    }
    std::atomic<int> nStop{0};
    CBatchRunner runner(*m_pProcess->Map(), m_root / "out", 1);
    runner.StopWhen(nStop);
    const std::vector<SBatchResult> lstResults =
        runner.Run(CollectBatchInputs({(m_root / "in").string()}),
                   [&nStop](const SBatchResult&, size_t done, size_t)
                   { nStop = done == 3 ? SIGINT : nStop.load(); });
    ASSERT_EQ(lstResults.size(), 8u);
    for (size_t i = 0; i < lstResults.size(); ++i)
    {
        EXPECT_EQ(lstResults[i].m_bStarted, i < 3) << i;
        EXPECT_EQ(lstResults[i].m_bDone, i < 3) << i;
        EXPECT_EQ(fs::exists(m_root / "out" / lstResults[i].m_input.m_result), i < 3) << i;
    }
}

TEST_F(BatchRunner, ImageTheProcessRefusesFailsWithItsType)
{
    cv::Mat wide(8, 8, CV_16UC1, cv::Scalar(1000));
    ASSERT_TRUE(cv::imwrite((m_root / "in" / "wide.png").string(), wide));
    const std::vector<SBatchResult> lstResults = Run(1);
    ASSERT_EQ(lstResults.size(), 1u);
    EXPECT_FALSE(lstResults[0].m_bDone);
    EXPECT_EQ(lstResults[0].m_strError, "the process does not accept this image (uint16x1)");
}

TEST_F(BatchRunner, SummaryHasOneLinePerInputWithLabelsSecondsAndErrors)
{
    WriteImage("a.png", 3);
    std::ofstream(m_root / "in" / "b, broken.png") << "no";
    const std::vector<SBatchResult> lstResults = Run(2);
    const fs::path summary = m_root / "out" / "summary.csv";
    WriteBatchSummary(summary, lstResults);
    std::ifstream stream(summary);
    std::vector<std::string> lstLines;
    for (std::string strLine; std::getline(stream, strLine);)
    {
        lstLines.push_back(strLine);
    }
    ASSERT_EQ(lstLines.size(), 3u);
    EXPECT_EQ(lstLines[0], "file,result,labels,seconds,error");
    EXPECT_EQ(lstLines[1].rfind((m_root / "in" / "a.png").string() + "," +
                                    (m_root / "out" / "a.tif").string() + ",252,",
                                0),
              0u)
        << lstLines[1];
    EXPECT_EQ(lstLines[2].rfind("\"" + (m_root / "in" / "b, broken.png").string() + "\",,,", 0), 0u)
        << lstLines[2];
    EXPECT_NE(lstLines[2].find("broken.png"), std::string::npos);
}

// A disk that fills up while the summary is written must leave the last good summary in place,
// not a cut one; a file size limit stands in for the full disk.
TEST_F(BatchRunner, SummaryThatCannotBeWrittenWholeLeavesTheOldOneAndSaysWhy)
{
    WriteImage("a.png", 3);
    const fs::path summary = m_root / "out" / "summary.csv";
    WriteBatchSummary(summary, Run(1));
    std::stringstream old;
    old << std::ifstream(summary).rdbuf();

    std::vector<SBatchResult> lstMany(200);
    for (size_t i = 0; i < lstMany.size(); ++i)
    {
        lstMany[i].m_input.m_path = m_root / "in" / ("image number " + std::to_string(i) + ".png");
        lstMany[i].m_strError = "this image could not be read for a long and boring reason";
    }
    std::string strError;
    ASSERT_TRUE(DocViewTest::WithFileSizeLimit(4096,
                                               [&]
                                               {
                                                   try
                                                   {
                                                       WriteBatchSummary(summary, lstMany);
                                                   }
                                                   catch (const std::exception& error)
                                                   {
                                                       strError = error.what();
                                                   }
                                               }));
    EXPECT_EQ(strError, "cannot write the summary " + summary.string() + ": File too large");
    std::stringstream now;
    now << std::ifstream(summary).rdbuf();
    EXPECT_EQ(now.str(), old.str());
    for (const fs::directory_entry& entry : fs::directory_iterator(m_root / "out"))
    {
        EXPECT_TRUE(entry.path().filename() == "summary.csv" || entry.path().extension() == ".tif")
            << "left behind: " << entry.path();
    }
}

} // namespace
