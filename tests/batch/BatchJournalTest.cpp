#include "BatchJournal.h"
#include "BatchTempFolder.h"

#include <Zarn/Serial/JsonValueFile.h>

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>

#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

class BatchJournal : public CBatchFolderTest
{
protected:
    BatchJournal() : CBatchFolderTest("docview-batch-journal-XXXXXX", {"out"}) {}

    // A finished input whose result file holds `content`.
    SBatchResult Done(const std::string& name, const std::string& content)
    {
        SBatchResult result;
        result.m_input = {m_root / "in" / (name + ".png"), fs::path(name + ".tif")};
        result.m_bStarted = true;
        result.m_bDone = true;
        result.m_resultPath = m_root / "out" / (name + ".tif");
        std::ofstream(result.m_resultPath) << content;
        result.m_nLabels = 3;
        result.m_dSeconds = 0.25;
        return result;
    }

    SBatchResult Failed(const std::string& name, const std::string& error)
    {
        SBatchResult result;
        result.m_input = {m_root / "in" / (name + ".png"), fs::path(name + ".tif")};
        result.m_bStarted = true;
        result.m_strError = error;
        return result;
    }

    fs::path Journal() const { return m_root / "out" / CBatchJournal::kFileName; }
};

TEST_F(BatchJournal, RecordsReadBackAndALastLineCutShortIsLeftOut)
{
    {
        CBatchJournal journal(Journal(), {}, "0123");
        EXPECT_EQ(journal.Append(Done("a", "12345")), "");
        EXPECT_EQ(journal.Append(Failed("b, \"odd\"", "cannot decode\nat all")), "");
    }
    std::ofstream(Journal(), std::ios::app) << m_root.string() << "/in/c.png," << m_root.string();
    const std::vector<SBatchRecord> lstRecords = CBatchJournal::Read(Journal());
    ASSERT_EQ(lstRecords.size(), 2u);
    EXPECT_EQ(lstRecords[0].m_input.m_path, m_root / "in" / "a.png");
    EXPECT_TRUE(lstRecords[0].m_bDone);
    EXPECT_EQ(lstRecords[0].m_resultPath, m_root / "out" / "a.tif");
    EXPECT_EQ(lstRecords[0].m_nLabels, std::optional<std::uint64_t>(3));
    EXPECT_DOUBLE_EQ(lstRecords[0].m_dSeconds, 0.25);
    EXPECT_EQ(lstRecords[1].m_input.m_path, m_root / "in" / "b, \"odd\".png");
    EXPECT_FALSE(lstRecords[1].m_bDone);
    EXPECT_EQ(lstRecords[1].m_strError, "cannot decode at all");
    EXPECT_FALSE(lstRecords[1].m_nLabels.has_value());
}

TEST_F(BatchJournal, ANewJournalHoldsWhatItIsGivenInPlaceOfTheOldOne)
{
    const SBatchResult first = Done("a", "1");
    {
        CBatchJournal journal(Journal(), {}, "0123");
        journal.Append(first);
        journal.Append(Done("b", "2"));
    }
    {
        CBatchJournal journal(Journal(), {first}, "4567");
    }
    const std::vector<SBatchRecord> lstRecords = CBatchJournal::Read(Journal());
    ASSERT_EQ(lstRecords.size(), 1u);
    EXPECT_EQ(lstRecords[0].m_input.m_path, first.m_input.m_path);
    EXPECT_EQ(CBatchJournal::ReadProcess(Journal()), "4567");
    EXPECT_TRUE(CBatchJournal::Read(m_root / "no-journal").empty());
    EXPECT_EQ(CBatchJournal::ReadProcess(m_root / "no-journal"), "");
    std::ofstream(m_root / "other") << "not,a,journal\n";
    EXPECT_TRUE(CBatchJournal::Read(m_root / "other").empty());
}

TEST_F(BatchJournal, ResumeKeepsInputsDoneWithTheirResultAndRedoesTheRest)
{
    std::vector<SBatchResult> lstOld = {Done("kept", "abc"), Failed("failed", "no"),
                                        Done("gone", "abc"), Done("changed", "abc")};
    {
        CBatchJournal journal(Journal(), {}, "0123");
        for (const SBatchResult& result : lstOld)
        {
            journal.Append(result);
        }
    }
    fs::remove(m_root / "out" / "gone.tif");
    std::ofstream(m_root / "out" / "changed.tif") << "a";
    std::vector<SBatchInput> lstInputs;
    for (const char* szName : {"kept", "failed", "gone", "changed", "new"})
    {
        lstInputs.push_back({m_root / "in" / (std::string(szName) + ".png"),
                             fs::path(std::string(szName) + ".tif")});
    }
    const SBatchResumePlan plan =
        PlanBatchResume(lstInputs, CBatchJournal::Read(Journal()), m_root / "out");
    ASSERT_EQ(plan.m_lstKept.size(), 1u);
    EXPECT_EQ(plan.m_lstKept[0].m_input.m_path, m_root / "in" / "kept.png");
    EXPECT_EQ(plan.m_lstKept[0].m_input.m_result, fs::path("kept.tif"));
    ASSERT_EQ(plan.m_lstToDo.size(), 4u);
    EXPECT_EQ(plan.m_lstToDo[0].m_path, m_root / "in" / "failed.png");
    EXPECT_EQ(plan.m_lstToDo[3].m_path, m_root / "in" / "new.png");

    // A result that would now be named otherwise is done again as well.
    lstInputs[0].m_result = "kept-2.tif";
    EXPECT_TRUE(PlanBatchResume(lstInputs, CBatchJournal::Read(Journal()), m_root / "out")
                    .m_lstKept.empty());
}

TEST_F(BatchJournal, MergedResultsFollowTheInputsAndLeaveOutWhatWasNotStarted)
{
    const SBatchResult a = Done("a", "1");
    const SBatchResult b = Done("b", "2");
    SBatchResult c = Failed("c", "no");
    SBatchResult d = Failed("d", "");
    d.m_bStarted = false;
    const std::vector<SBatchResult> lstMerged =
        MergeBatchResults({a.m_input, b.m_input, c.m_input, d.m_input}, {b}, {a, c, d});
    ASSERT_EQ(lstMerged.size(), 3u);
    EXPECT_EQ(lstMerged[0].m_input.m_path, a.m_input.m_path);
    EXPECT_EQ(lstMerged[1].m_input.m_path, b.m_input.m_path);
    EXPECT_EQ(lstMerged[2].m_input.m_path, c.m_input.m_path);
}

TEST_F(BatchJournal, TemporaryFilesOfProcessesThatEndedAreRemoved)
{
    const pid_t nChild = ::fork();
    if (nChild == 0)
    {
        ::_exit(0);
    }
    ASSERT_GT(nChild, 0);
    ::waitpid(nChild, nullptr, 0);
    const std::string strDead = std::to_string(nChild);
    const std::string strOwn = std::to_string(::getpid());
    fs::create_directories(m_root / "out" / "sub");
    const std::vector<fs::path> lstStale = {
        m_root / "out" / ("..tif.tmp." + strDead + ".0.tif"),
        m_root / "out" / "sub" / (".a.tif.tmp." + strDead + ".12.tif"),
        m_root / "out" / (".summary.csv.tmp." + strDead + ".0.csv")};
    const std::vector<fs::path> lstKept = {m_root / "out" / (".a.tif.tmp." + strOwn + ".1.tif"),
                                           m_root / "out" / "a.tif", m_root / "out" / ".hidden",
                                           m_root / "out" / ".a.tmp.x.1.tif",
                                           m_root / "out" / "a.tif.tmp.1.1.tif"};
    for (const fs::path& path : lstStale)
    {
        std::ofstream(path) << "x";
    }
    for (const fs::path& path : lstKept)
    {
        std::ofstream(path) << "x";
    }
    EXPECT_EQ(RemoveStaleTemporaryFiles(m_root / "out", false), 2u);
    EXPECT_TRUE(fs::exists(lstStale[1]));
    EXPECT_EQ(RemoveStaleTemporaryFiles(m_root / "out", true), 1u);
    for (const fs::path& path : lstStale)
    {
        EXPECT_FALSE(fs::exists(path)) << path;
    }
    for (const fs::path& path : lstKept)
    {
        EXPECT_TRUE(fs::exists(path)) << path;
    }
}

TEST(BatchJournalProcess, FingerprintsOfTheSameDescriptionAgreeAndOfAnotherDiffer)
{
    const auto Fingerprint = [](const char* szJson)
    {
        std::unique_ptr<Zarn::CValue> pProcess(Zarn::CJsonValueFile::ReadString(szJson));
        return CBatchJournal::Fingerprint(*pProcess->Map());
    };
    const char* szSmooth = R"({"process": [{"type": "plugin", "plugin": "GaussianBlur"}]})";
    EXPECT_EQ(Fingerprint(szSmooth), Fingerprint(szSmooth));
    EXPECT_EQ(Fingerprint(szSmooth).size(), 16u);
    EXPECT_NE(Fingerprint(szSmooth),
              Fingerprint(R"({"process": [{"type": "plugin", "plugin": "Threshold"}]})"));
}

} // namespace
