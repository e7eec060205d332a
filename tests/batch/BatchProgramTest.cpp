#include "BatchProgramTools.h"
#include "BatchTempFolder.h"
// docview-batch as a user runs it: the real program with the real modules and a shipped process,
// on a folder of generated images.

#include <Zarn/Image/ImageFile.h>
#include <Zarn/Image/ImageOpenCV.h>
#include <Zarn/Image/TekaHeaderTools.h>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>

namespace fs = std::filesystem;
using namespace batch_test;

namespace
{

class BatchProgram : public testing::Test
{
protected:
    void SetUp() override
    {
        m_root = NewBatchTempFolder("docview-batch-program-XXXXXX");
        ASSERT_FALSE(m_root.empty());
        fs::create_directories(m_root / "plates" / "b");
        // Images with a known number of separate discs on a noisy background.
        cv::RNG random(7);
        for (int i = 0; i < 9; ++i)
        {
            cv::Mat pixels(120, 160, CV_8UC1);
            random.fill(pixels, cv::RNG::UNIFORM, 0, 40);
            const int nDiscs = 1 + i % 4;
            for (int d = 0; d < nDiscs; ++d)
            {
                cv::circle(pixels, cv::Point(25 + 35 * d, 30 + 15 * (i % 3)), 10, cv::Scalar(220),
                           cv::FILLED);
            }
            m_mapDiscs["image" + std::to_string(i)] = nDiscs;
            const fs::path folder = i < 5 ? m_root / "plates" : m_root / "plates" / "b";
            ASSERT_TRUE(
                cv::imwrite((folder / ("image" + std::to_string(i) + ".png")).string(), pixels));
        }
        std::ofstream(m_root / "plates" / "b" / "corrupt.png") << "this is no picture";
    }

    void TearDown() override { fs::remove_all(m_root); }

    fs::path m_root;
    std::map<std::string, int> m_mapDiscs;
};

TEST_F(BatchProgram, CountsObjectsInAFolderAndReportsTheCorruptFile)
{
    const SRun run =
        RunProgram("--process " SHARE_DIR "/processes/count-objects.json --output '" +
                   (m_root / "out").string() + "' -j 2 '" + (m_root / "plates").string() + "'");
    EXPECT_EQ(run.m_nExit, 1) << run.m_strOutput;
    EXPECT_NE(
        run.m_strOutput.find("Failed:\n  " + (m_root / "plates/b/corrupt.png").string() + ": "),
        std::string::npos)
        << run.m_strOutput;
    EXPECT_NE(run.m_strOutput.find("9 of 10 done"), std::string::npos) << run.m_strOutput;
    // Not a terminal: one plain line per image.
    EXPECT_NE(run.m_strOutput.find("/10 FAILED " + (m_root / "plates/b/corrupt.png").string()),
              std::string::npos)
        << run.m_strOutput;

    const auto lstRows = SummaryRows(m_root / "out" / "summary.csv");
    ASSERT_EQ(lstRows.size(), 10u);
    for (const auto& lstFields : lstRows)
    {
        const fs::path input = lstFields[0];
        if (input.filename() == "corrupt.png")
        {
            EXPECT_EQ(lstFields[1], "");
            EXPECT_NE(lstFields[4], "");
            continue;
        }
        EXPECT_EQ(lstFields[4], "") << input;
        EXPECT_EQ(lstFields[2], std::to_string(m_mapDiscs[input.stem().string()])) << input;
        ASSERT_TRUE(fs::exists(lstFields[1])) << lstFields[1];
        // The result carries its header: the history of the whole process and the count.
        std::unique_ptr<Zarn::CImage> pResult(Zarn::CImageFile::Read(lstFields[1]));
        std::uint64_t uLabels = 0;
        EXPECT_TRUE(Zarn::CTekaHeaderTools::GetNumberOfLabels(*pResult, uLabels));
        EXPECT_EQ(uLabels, static_cast<std::uint64_t>(m_mapDiscs[input.stem().string()]));
        const Zarn::CValue* pHistory =
            pResult->Attributes().Entry(Zarn::CValue_Key("history"), false);
        ASSERT_NE(pHistory, nullptr);
        EXPECT_EQ(pHistory->Vector()->Size(), 4u);
    }
    EXPECT_TRUE(fs::exists(m_root / "out" / "b" / "image7.tif"))
        << "results keep the folder structure";
}

// a.png and a.tif in one folder, beside a-2.png: three inputs, three results, each its own.
TEST_F(BatchProgram, InputsThatShareAStemGetResultsOfTheirOwn)
{
    const fs::path folder = m_root / "stems";
    fs::create_directories(folder);
    const std::map<std::string, int> mapWidths = {{"a.png", 20}, {"a.tif", 30}, {"a-2.png", 40}};
    for (const auto& [strName, nWidth] : mapWidths)
    {
        ASSERT_TRUE(cv::imwrite((folder / strName).string(),
                                cv::Mat(10, nWidth, CV_8UC1, cv::Scalar(nWidth))));
    }
    const SRun run = RunProgram("--process " SHARE_DIR "/processes/smooth.json --output '" +
                                (m_root / "out").string() + "' -j 2 '" + folder.string() + "'");
    EXPECT_EQ(run.m_nExit, 0) << run.m_strOutput;
    const auto lstRows = SummaryRows(m_root / "out" / "summary.csv");
    ASSERT_EQ(lstRows.size(), 3u);
    std::set<std::string> setResults;
    for (const auto& lstFields : lstRows)
    {
        EXPECT_TRUE(setResults.insert(lstFields[1]).second) << lstFields[1] << " twice";
        std::unique_ptr<Zarn::CImage> pResult(Zarn::CImageFile::Read(lstFields[1]));
        EXPECT_EQ(static_cast<int>(pResult->Size().X()),
                  mapWidths.at(fs::path(lstFields[0]).filename().string()))
            << lstFields[0] << " -> " << lstFields[1];
    }
    EXPECT_EQ(setResults, (std::set<std::string>{(m_root / "out" / "a-2.tif").string(),
                                                 (m_root / "out" / "a.png.tif").string(),
                                                 (m_root / "out" / "a.tif.tif").string()}));
}

// A file size limit (1 KiB) stands in for a disk that is full: every result and the summary fail
// to be written, each says why, and what the last good run left stays whole.
TEST_F(BatchProgram, AFullDiskSaysWhyForEveryImageAndKeepsTheOldSummaryAndResults)
{
    const std::string strArguments = "--process " SHARE_DIR "/processes/smooth.json --output '" +
                                     (m_root / "out").string() + "' -j 2 '" +
                                     (m_root / "plates").string() + "'";
    SRun run = RunProgram(strArguments);
    ASSERT_EQ(run.m_nExit, 1) << run.m_strOutput;
    const std::string strOldSummary = FileText(m_root / "out" / "summary.csv");
    const std::string strOldResult = FileText(m_root / "out" / "image0.tif");
    ASSERT_FALSE(strOldResult.empty());

    run = RunProgram(strArguments, "ulimit -f 2;");
    EXPECT_EQ(run.m_nExit, 1) << run.m_strOutput;
    EXPECT_NE(run.m_strOutput.find("docview-batch: cannot write the summary " +
                                   (m_root / "out" / "summary.csv").string() +
                                   ": File too large\n"),
              std::string::npos)
        << run.m_strOutput;
    const size_t uFailed = run.m_strOutput.find("Failed:\n");
    ASSERT_NE(uFailed, std::string::npos) << run.m_strOutput;
    for (const auto& [strStem, nDiscs] : m_mapDiscs)
    {
        const std::string strInput =
            (m_root / "plates" / (strStem < "image5" ? "" : "b") / (strStem + ".png")).string();
        EXPECT_NE(run.m_strOutput.find("  " + strInput + ": ", uFailed), std::string::npos)
            << strInput << " not listed\n"
            << run.m_strOutput;
        EXPECT_EQ(CountLinesWith(run.m_strOutput.substr(uFailed), "  " + strInput + ": ",
                                 "File too large"),
                  1u)
            << strInput << "\n"
            << run.m_strOutput;
    }
    EXPECT_EQ(FileText(m_root / "out" / "summary.csv"), strOldSummary);
    EXPECT_EQ(FileText(m_root / "out" / "image0.tif"), strOldResult);
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(m_root / "out"))
    {
        EXPECT_EQ(entry.path().filename().string().find(".tmp."), std::string::npos)
            << "left behind: " << entry.path();
    }
}

// A summary that goes to a device which is full (through a link) says so, and the failed images
// are still listed.
TEST_F(BatchProgram, ASummaryThatCannotBeWrittenSaysWhyAndTheFailuresAreStillListed)
{
    fs::create_symlink("/dev/full", m_root / "summary.csv");
    const SRun run =
        RunProgram("--process " SHARE_DIR "/processes/smooth.json --output '" +
                   (m_root / "out").string() + "' --csv '" + (m_root / "summary.csv").string() +
                   "' -j 2 '" + (m_root / "plates" / "b").string() + "'");
    EXPECT_EQ(run.m_nExit, 1) << run.m_strOutput;
    EXPECT_NE(run.m_strOutput.find("docview-batch: cannot write the summary " +
                                   (m_root / "summary.csv").string() +
                                   ": No space left on device\n"),
              std::string::npos)
        << run.m_strOutput;
    EXPECT_NE(
        run.m_strOutput.find("Failed:\n  " + (m_root / "plates/b/corrupt.png").string() + ": "),
        std::string::npos)
        << run.m_strOutput;
    EXPECT_NE(run.m_strOutput.find("4 of 5 done"), std::string::npos) << run.m_strOutput;
    EXPECT_TRUE(fs::is_symlink(m_root / "summary.csv"));
}

// Results of one process must not pass for those of another.
TEST_F(BatchProgram, ResumeWithAnotherProcessIsRefusedAndChangesNothing)
{
    const std::string strRest = " --output '" + (m_root / "out").string() + "' -j 2 '" +
                                (m_root / "plates" / "b").string() + "'";
    SRun run = RunProgram("--process " SHARE_DIR "/processes/smooth.json" + strRest);
    ASSERT_EQ(run.m_nExit, 1) << run.m_strOutput;
    const std::string strSummary = FileText(m_root / "out" / "summary.csv");
    const std::string strJournal = FileText(m_root / "out" / ".docview-batch.journal");
    run = RunProgram("--process " SHARE_DIR "/processes/count-objects.json --resume" + strRest);
    EXPECT_EQ(run.m_nExit, 2) << run.m_strOutput;
    EXPECT_NE(run.m_strOutput.find("is the journal of another process description"),
              std::string::npos)
        << run.m_strOutput;
    EXPECT_EQ(FileText(m_root / "out" / "summary.csv"), strSummary);
    EXPECT_EQ(FileText(m_root / "out" / ".docview-batch.journal"), strJournal);
    run = RunProgram("--process " SHARE_DIR "/processes/smooth.json --resume" + strRest);
    EXPECT_EQ(run.m_nExit, 1) << run.m_strOutput;
    EXPECT_NE(run.m_strOutput.find("1 image (4 done before)"), std::string::npos)
        << run.m_strOutput;
}

TEST_F(BatchProgram, ShardsTogetherProcessEveryImageExactlyOnce)
{
    std::map<std::string, int> mapSeen;
    for (int nShard = 0; nShard < 3; ++nShard)
    {
        const fs::path output = m_root / ("shard" + std::to_string(nShard));
        const SRun run = RunProgram("--process " SHARE_DIR "/processes/smooth.json --output '" +
                                    output.string() + "' -j 1 --shard " + std::to_string(nShard) +
                                    "/3 '" + (m_root / "plates").string() + "'");
        EXPECT_NE(run.m_nExit, 2) << run.m_strOutput;
        for (const auto& lstFields : SummaryRows(output / "summary.csv"))
        {
            ++mapSeen[lstFields[0]];
        }
    }
    ASSERT_EQ(mapSeen.size(), 10u);
    for (const auto& [strFile, nTimes] : mapSeen)
    {
        EXPECT_EQ(nTimes, 1) << strFile;
    }
}

// A module cut short used to kill the run with SIGBUS, and one whose entry crashes with SIGSEGV.
TEST_F(BatchProgram, BrokenModulesOnThePluginPathAreNamedOnceAndTheRunGoesOn)
{
    const fs::path modules = m_root / "modules";
    fs::create_directories(modules);
    {
        std::ifstream in(std::string(IMAGEVIEW_MODULE), std::ios::binary);
        std::string strHead(3000, '\0');
        in.read(strHead.data(), static_cast<std::streamsize>(strHead.size()));
        std::ofstream(modules / "cut.so", std::ios::binary) << strHead;
    }
    fs::copy_file(CRASHING_ENTRY_MODULE, modules / "crashing.so");

    const SRun run = RunProgram("--process " SHARE_DIR "/processes/count-objects.json --output '" +
                                    (m_root / "out").string() + "' -j 2 '" +
                                    (m_root / "plates" / "image0.png").string() + "'",
                                "DOCVIEW_PLUGIN_PATH='" + modules.string() + "'");
    EXPECT_EQ(run.m_nExit, 0) << run.m_strOutput;
    EXPECT_EQ(
        CountLinesWith(run.m_strOutput, (modules / "cut.so").string(), "the file is cut short"), 1u)
        << run.m_strOutput;
    EXPECT_EQ(CountLinesWith(run.m_strOutput, (modules / "crashing.so").string(),
                             "crashed in CreatePluginInstanceEx"),
              1u)
        << run.m_strOutput;
    const auto lstRows = SummaryRows(m_root / "out" / "summary.csv");
    ASSERT_EQ(lstRows.size(), 1u);
    EXPECT_EQ(lstRows[0][2], std::to_string(m_mapDiscs["image0"]));
}

TEST_F(BatchProgram, WrongCallsExplainThemselvesWithStatusTwo)
{
    SRun run = RunProgram("'" + (m_root / "plates").string() + "'");
    EXPECT_EQ(run.m_nExit, 2);
    EXPECT_NE(run.m_strOutput.find("--process is required"), std::string::npos) << run.m_strOutput;
    run = RunProgram("--process " SHARE_DIR "/processes/smooth.json --shard 3/3 x");
    EXPECT_EQ(run.m_nExit, 2);
    EXPECT_NE(run.m_strOutput.find("--shard needs I/N with 0 <= I < N, not '3/3'"),
              std::string::npos);
    run = RunProgram("--process /no/process.json '" + (m_root / "plates").string() + "'");
    EXPECT_EQ(run.m_nExit, 2);
    EXPECT_NE(run.m_strOutput.find("/no/process.json: cannot open"), std::string::npos)
        << run.m_strOutput;
    run = RunProgram("--process " SHARE_DIR "/processes/smooth.json /no/images");
    EXPECT_EQ(run.m_nExit, 2);
    EXPECT_NE(run.m_strOutput.find("no such file or folder: /no/images"), std::string::npos)
        << run.m_strOutput;
}

} // namespace

namespace
{

TEST(BatchProgramFrontDoor, HelpAndVersionNeedNothingElseAndSucceed)
{
    SRun run = RunProgram("--help", "env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM");
    EXPECT_EQ(run.m_nExit, 0) << run.m_strOutput;
    EXPECT_EQ(run.m_strOutput.rfind("usage: docview-batch --process FILE", 0), 0u)
        << run.m_strOutput;
    EXPECT_NE(run.m_strOutput.find("--version"), std::string::npos) << run.m_strOutput;
    run = RunProgram("--version", "env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM");
    EXPECT_EQ(run.m_nExit, 0) << run.m_strOutput;
    EXPECT_EQ(run.m_strOutput, std::string("docview-batch ") + DOCVIEW_VERSION + "\n");
}

TEST(BatchProgramFrontDoor, HelpExplainsResultNamesResumeAndStopping)
{
    const SRun run = RunProgram("--help");
    EXPECT_EQ(run.m_nExit, 0) << run.m_strOutput;
    for (const char* szPart : {"a.png.tif", "--resume", ".docview-batch.journal", "SIGINT", "130"})
    {
        EXPECT_NE(run.m_strOutput.find(szPart), std::string::npos) << szPart;
    }
}

// The process plug-in names its first step on standard output as it starts: that is talk for
// whoever debugs a process, not for a user who runs one.
TEST_F(BatchProgram, PluginsTalkOnlyWithVerbose)
{
    const std::string strArguments = "--process " SHARE_DIR "/processes/smooth.json --output '" +
                                     (m_root / "out").string() + "' -j 1 '" +
                                     (m_root / "plates" / "image0.png").string() + "'";
    SRun run = RunProgram(strArguments);
    EXPECT_EQ(run.m_nExit, 0) << run.m_strOutput;
    EXPECT_EQ(run.m_strOutput.find("FIRST PLUGIN"), std::string::npos) << run.m_strOutput;
    EXPECT_NE(run.m_strOutput.find("1 of 1 done"), std::string::npos) << run.m_strOutput;

    run = RunProgram("--verbose " + strArguments);
    EXPECT_EQ(run.m_nExit, 0) << run.m_strOutput;
    EXPECT_NE(run.m_strOutput.find("FIRST PLUGIN: GaussianBlur"), std::string::npos)
        << run.m_strOutput;
    EXPECT_NE(run.m_strOutput.find("1 of 1 done"), std::string::npos) << run.m_strOutput;
}

} // namespace
