#include "BatchInputs.h"
#include "BatchProgress.h"
#include "BatchTempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <set>
#include <sstream>

namespace fs = std::filesystem;

namespace
{

class BatchInputs : public CBatchFolderTest
{
protected:
    BatchInputs() : CBatchFolderTest("docview-batch-inputs-XXXXXX") {}

    fs::path Touch(const fs::path& relative)
    {
        const fs::path path = m_root / relative;
        fs::create_directories(path.parent_path());
        std::ofstream(path) << "x";
        return path;
    }
};

TEST_F(BatchInputs, FolderGivesItsImagesSortedWithTheirRelativeResultNames)
{
    Touch("plate/b.png");
    Touch("plate/a.tif");
    Touch("plate/sub/c.JPG");
    Touch("plate/notes.txt");
    const std::vector<SBatchInput> lstInputs = CollectBatchInputs({(m_root / "plate").string()});
    ASSERT_EQ(lstInputs.size(), 3u);
    EXPECT_EQ(lstInputs[0].m_path, m_root / "plate/a.tif");
    EXPECT_EQ(lstInputs[1].m_path, m_root / "plate/b.png");
    EXPECT_EQ(lstInputs[2].m_path, m_root / "plate/sub/c.JPG");
    EXPECT_EQ(lstInputs[1].m_result, fs::path("b.tif"));
    EXPECT_EQ(lstInputs[2].m_result, fs::path("sub/c.tif"));
}

TEST_F(BatchInputs, FilesKeepTheirOrderAndSameNamesGetNumbered)
{
    const fs::path first = Touch("one/cells.png");
    const fs::path second = Touch("two/cells.png");
    const std::vector<SBatchInput> lstInputs =
        CollectBatchInputs({first.string(), second.string()});
    ASSERT_EQ(lstInputs.size(), 2u);
    EXPECT_EQ(lstInputs[0].m_result, fs::path("cells.tif"));
    EXPECT_EQ(lstInputs[1].m_result, fs::path("cells-2.tif"));
}

// a.png and a.tif would both be a.tif, and the "-2" of the second would be a-2.png's result.
TEST_F(BatchInputs, InputsThatShareAStemKeepTheirExtensionAndNoTwoShareAResult)
{
    for (const char* szName : {"a.png", "a.tif", "a-2.png"})
    {
        Touch(fs::path("plate") / szName);
    }
    const std::vector<SBatchInput> lstInputs = CollectBatchInputs({(m_root / "plate").string()});
    ASSERT_EQ(lstInputs.size(), 3u);
    EXPECT_EQ(lstInputs[0].m_path, m_root / "plate/a-2.png");
    EXPECT_EQ(lstInputs[0].m_result, fs::path("a-2.tif"));
    EXPECT_EQ(lstInputs[1].m_result, fs::path("a.png.tif"));
    EXPECT_EQ(lstInputs[2].m_result, fs::path("a.tif.tif"));
}

// Whatever the names, no result is written twice, also not when the letters differ only in case
// (a folder on a disk that ignores case).
TEST_F(BatchInputs, ResultsAreUniqueAlsoForNamesThatLookLikeNumberedOnes)
{
    for (const char* szName : {"a.png", "a.tif", "a-2.png", "a-2.tif", "a.png.tif", "a-3.jpg",
                               "A.png", "b.PNG", "b.png", "sub/a.png", "sub/a.tif"})
    {
        Touch(fs::path("plate") / szName);
    }
    const fs::path extra = Touch("other/a.png");
    std::vector<std::string> lstArguments = {(m_root / "plate").string(), extra.string(),
                                             extra.string()};
    const std::vector<SBatchInput> lstInputs = CollectBatchInputs(lstArguments);
    ASSERT_EQ(lstInputs.size(), 13u);
    std::set<std::string> setResults;
    for (const SBatchInput& input : lstInputs)
    {
        std::string strLower = input.m_result.string();
        std::transform(strLower.begin(), strLower.end(), strLower.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        EXPECT_TRUE(setResults.insert(strLower).second) << input.m_path << " -> " << input.m_result;
        EXPECT_EQ(input.m_result.extension(), ".tif") << input.m_result;
    }
}

TEST_F(BatchInputs, MissingInputsAreAllNamed)
{
    try
    {
        CollectBatchInputs(
            {(m_root / "gone.png").string(), Touch("here.png").string(), "/no/folder"});
        FAIL() << "no error";
    }
    catch (const std::invalid_argument& error)
    {
        EXPECT_EQ(std::string(error.what()),
                  "no such file or folder: " + (m_root / "gone.png").string() + ", /no/folder");
    }
}

TEST(BatchShards, EveryInputIsInExactlyOneShard)
{
    std::vector<SBatchInput> lstInputs;
    for (int i = 0; i < 23; ++i)
    {
        lstInputs.push_back({fs::path("image" + std::to_string(i) + ".png"), fs::path()});
    }
    for (unsigned int uCount : {1u, 2u, 3u, 5u, 23u, 40u})
    {
        std::multiset<fs::path> setSeen;
        for (unsigned int uIndex = 0; uIndex < uCount; ++uIndex)
        {
            const std::vector<SBatchInput> lstShard = SelectShard(lstInputs, uIndex, uCount);
            EXPECT_LE(lstShard.size(), (lstInputs.size() + uCount - 1) / uCount);
            for (const SBatchInput& input : lstShard)
            {
                setSeen.insert(input.m_path);
            }
        }
        EXPECT_EQ(setSeen.size(), lstInputs.size()) << uCount << " shards";
        for (const SBatchInput& input : lstInputs)
        {
            EXPECT_EQ(setSeen.count(input.m_path), 1u)
                << input.m_path << " in " << uCount << " shards";
        }
    }
}

TEST(BatchShards, ShardTextIsIndexSlashCount)
{
    unsigned int uIndex = 9;
    unsigned int uCount = 9;
    EXPECT_TRUE(ParseShard("0/4", uIndex, uCount));
    EXPECT_EQ(uIndex, 0u);
    EXPECT_EQ(uCount, 4u);
    EXPECT_TRUE(ParseShard("3/4", uIndex, uCount));
    for (const char* szWrong : {"4/4", "1/0", "-1/4", "1", "/4", "1/", "a/b", "1/4/5", ""})
    {
        EXPECT_FALSE(ParseShard(szWrong, uIndex, uCount)) << szWrong;
    }
}

TEST(BatchProgressLines, PlainOutputHasOneLinePerImage)
{
    std::ostringstream stream;
    CBatchProgress progress(stream, 3, false);
    progress.Update("a.png", true, 1, 0);
    progress.Update("b.png", false, 2, 1);
    progress.Finish();
    EXPECT_EQ(stream.str(), "1/3 done a.png\n2/3 FAILED b.png\n");
}

TEST(BatchProgressLines, TerminalLineHasBarCountsRateAndTimeLeft)
{
    std::ostringstream stream;
    CBatchProgress progress(stream, 4, true);
    progress.Update("a.png", true, 4, 1);
    progress.Finish();
    const std::string strLine = stream.str();
    EXPECT_EQ(strLine.rfind("\r[##############################] 4/4  1 failed  ", 0), 0u)
        << strLine;
    EXPECT_NE(strLine.find("images/s  0:00 left"), std::string::npos) << strLine;
    EXPECT_EQ(strLine.back(), '\n');
}

TEST(BatchProgressLines, DurationsReadAsClockTimes)
{
    EXPECT_EQ(CBatchProgress::Duration(0), "0:00");
    EXPECT_EQ(CBatchProgress::Duration(65), "1:05");
    EXPECT_EQ(CBatchProgress::Duration(3723), "1:02:03");
}

} // namespace
