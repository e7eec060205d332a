// docview-batch stopped by a signal, killed at random points and resumed: what was done is kept,
// recorded once and summed up as an uninterrupted run would.

#include "BatchProgramTools.h"
#include "BatchTempFolder.h"

#include <opencv2/imgcodecs.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <map>
#include <random>
#include <set>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace batch_test;

namespace
{

// Exit status, or minus the signal that ended the program.
int WaitForExit(pid_t process)
{
    int nStatus = 0;
    ::waitpid(process, &nStatus, 0);
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -WTERMSIG(nStatus);
}

size_t CountOf(const std::string& text, const std::string& part)
{
    size_t uCount = 0;
    for (size_t uAt = text.find(part); uAt != std::string::npos; uAt = text.find(part, uAt + 1))
    {
        ++uCount;
    }
    return uCount;
}

class BatchInterrupt : public CBatchFolderTest
{
protected:
    BatchInterrupt() : CBatchFolderTest("docview-batch-interrupt-XXXXXX", {"in"}) {}

    void MakeImages(int count, int size)
    {
        cv::RNG random(11);
        for (int i = 0; i < count; ++i)
        {
            cv::Mat pixels(size, size, CV_8UC1);
            random.fill(pixels, cv::RNG::UNIFORM, 0, 256);
            char szName[32];
            std::snprintf(szName, sizeof(szName), "image%03d.png", i);
            ASSERT_TRUE(cv::imwrite((m_root / "in" / szName).string(), pixels));
            m_lstImages.push_back(m_root / "in" / szName);
        }
    }

    // Starts docview-batch on the images into `output`, its messages into `log`.
    pid_t Start(const fs::path& output, const fs::path& log, bool resume) const
    {
        const std::string strOutput = output.string();
        const std::string strInput = (m_root / "in").string();
        std::vector<const char*> lstArguments = {DOCVIEW_BATCH,
                                                 "--process",
                                                 SHARE_DIR "/processes/count-objects.json",
                                                 "--output",
                                                 strOutput.c_str(),
                                                 "-j",
                                                 "2"};
        if (resume)
        {
            lstArguments.push_back("--resume");
        }
        lstArguments.push_back(strInput.c_str());
        lstArguments.push_back(nullptr);
        const pid_t nChild = ::fork();
        if (nChild == 0)
        {
            const int nLog = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            ::dup2(nLog, STDOUT_FILENO);
            ::dup2(nLog, STDERR_FILENO);
            ::execv(DOCVIEW_BATCH, const_cast<char* const*>(lstArguments.data()));
            ::_exit(127);
        }
        return nChild;
    }

    // Waits until `log` shows `images` finished images or the program ended; false if it ended.
    static bool WaitForImages(pid_t process, const fs::path& log, size_t images)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (std::chrono::steady_clock::now() < end)
        {
            const std::string strLog = FileText(log);
            if (CountOf(strLog, " done ") + CountOf(strLog, " FAILED ") >= images)
            {
                return true;
            }
            if (::waitpid(process, nullptr, WNOHANG) != 0)
            {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
        return false;
    }

    std::vector<fs::path> m_lstImages;
};

// Files below `folder` whose names mark them as temporary.
std::vector<fs::path> TemporaryFiles(const fs::path& folder)
{
    std::vector<fs::path> lstFound;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder))
    {
        if (entry.path().filename().string().find(".tmp.") != std::string::npos)
        {
            lstFound.push_back(entry.path());
        }
    }
    return lstFound;
}

// The summary and results in `output` are those in `reference`, but for the seconds.
void ExpectSameResults(const fs::path& output, const fs::path& reference)
{
    const auto lstExpected = SummaryRows(reference / "summary.csv");
    const auto lstRows = SummaryRows(output / "summary.csv");
    ASSERT_EQ(lstRows.size(), lstExpected.size());
    for (size_t i = 0; i < lstRows.size(); ++i)
    {
        EXPECT_EQ(lstRows[i][0], lstExpected[i][0]);
        EXPECT_EQ(fs::path(lstRows[i][1]).lexically_relative(output),
                  fs::path(lstExpected[i][1]).lexically_relative(reference));
        EXPECT_EQ(lstRows[i][2], lstExpected[i][2]) << lstRows[i][0];
        EXPECT_EQ(lstRows[i][4], lstExpected[i][4]) << lstRows[i][0];
        EXPECT_EQ(FileText(lstRows[i][1]), FileText(lstExpected[i][1])) << lstRows[i][1];
    }
}

TEST_F(BatchInterrupt, SigintAndSigtermFinishTheImagesInProgressSumUpWhatWasDoneAndExit)
{
    MakeImages(200, 256);
    for (const int nSignal : {SIGINT, SIGTERM})
    {
        const fs::path output = m_root / ("out" + std::to_string(nSignal));
        const fs::path log = m_root / ("log" + std::to_string(nSignal));
        const pid_t nProcess = Start(output, log, false);
        ASSERT_TRUE(WaitForImages(nProcess, log, 5)) << FileText(log);
        ::kill(nProcess, nSignal);
        EXPECT_EQ(WaitForExit(nProcess), 128 + nSignal) << FileText(log);

        const std::string strLog = FileText(log);
        EXPECT_NE(strLog.find(std::string("docview-batch: stopped by ") +
                              (nSignal == SIGINT ? "SIGINT" : "SIGTERM") + ": "),
                  std::string::npos)
            << strLog;
        const auto lstRows = SummaryRows(output / "summary.csv");
        EXPECT_GE(lstRows.size(), 5u);
        EXPECT_LT(lstRows.size(), m_lstImages.size()) << "the run was not stopped";
        EXPECT_EQ(lstRows.size(), CountOf(strLog, "/200 done ")) << strLog;
        for (const auto& lstFields : lstRows)
        {
            EXPECT_EQ(lstFields[4], "") << lstFields[0];
            EXPECT_TRUE(fs::exists(lstFields[1])) << lstFields[1];
        }
        EXPECT_EQ(TemporaryFiles(output), std::vector<fs::path>{});
        EXPECT_EQ(CountOf(FileText(output / ".docview-batch.journal"), "\n"),
                  lstRows.size() + 2) // two header lines
            << FileText(output / ".docview-batch.journal") << FileText(output / "summary.csv");
    }
}

// Kills the run with SIGKILL at random points: while it starts, while it works on an image,
// writes a result or records one. Every run after the first resumes; an input recorded as done is
// never done again, and the last run leaves what one run without interruption leaves.
TEST_F(BatchInterrupt, KilledAtRandomPointsAndResumedEveryInputIsDoneOnceAsIfNeverKilled)
{
    MakeImages(60, 128);
    const fs::path reference = m_root / "reference";
    ASSERT_EQ(WaitForExit(Start(reference, m_root / "reference.log", false)), 0);

    const fs::path output = m_root / "out";
    const fs::path journal = output / ".docview-batch.journal";
    std::mt19937 random(20261124);
    std::set<std::string> setRecorded;
    size_t uKilled = 0;
    for (int nRun = 0; nRun < 21; ++nRun)
    {
        const fs::path log = m_root / ("run" + std::to_string(nRun) + ".log");
        const pid_t nProcess = Start(output, log, nRun > 0);
        if (nRun < 20)
        {
            WaitForImages(nProcess, log, random() % 4);
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 4000));
            ::kill(nProcess, SIGKILL);
        }
        const int nExit = WaitForExit(nProcess);
        uKilled += nExit == -SIGKILL ? 1 : 0;
        const std::string strLog = FileText(log);
        for (const std::string& strInput : setRecorded)
        {
            EXPECT_EQ(strLog.find(" done " + strInput + "\n"), std::string::npos)
                << "run " << nRun << " did " << strInput << " again";
        }
        std::istringstream lines(FileText(journal));
        std::string strLine;
        std::getline(lines, strLine);
        while (std::getline(lines, strLine))
        {
            setRecorded.insert(strLine.substr(0, strLine.find(',')));
        }
        if (nRun == 20)
        {
            EXPECT_EQ(nExit, 0) << strLog;
        }
    }
    EXPECT_GE(uKilled, 15u) << "most runs should have been killed before they ended";
    EXPECT_EQ(SummaryRows(output / "summary.csv").size(), m_lstImages.size());

    ExpectSameResults(output, reference);
    const std::string strJournal = FileText(journal);
    for (const fs::path& image : m_lstImages)
    {
        EXPECT_EQ(CountOf(strJournal, "\n" + image.string() + ","), 1u) << image;
    }
    EXPECT_EQ(TemporaryFiles(output), std::vector<fs::path>{});
}

} // namespace
