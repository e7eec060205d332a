#include "../TextLines.h"
#include "TextPattern.h"

#include <Zarn/Log/Logger.h>

#include <gtest/gtest.h>

#include <barrier>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace Zarn;

namespace
{

constexpr std::string_view kTimePattern =
    "{d}{d}{d}{d}-{d}{d}-{d}{d} {d}{d}:{d}{d}:{d}{d}.{d}{d}{d} ";

// The text after "YYYY-MM-DD hh:mm:ss.mmm "; empty when the line lacks that prefix.
std::string AfterTime(const std::string& line)
{
    constexpr size_t kPrefixLength = 24;
    if (line.size() < kPrefixLength ||
        !MatchesPattern(std::string_view(line).substr(0, kPrefixLength), kTimePattern))
    {
        return {};
    }
    return line.substr(kPrefixLength);
}

std::string TempPath(const char* name)
{
    return (std::filesystem::temp_directory_path() /
            (std::string(name) + "-" + std::to_string(getpid())))
        .string();
}

std::string ReadFile(const std::string& path)
{
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// Checks that `text` holds exactly the lines given, each after its time stamp.
void ExpectLinesAfterTime(const std::string& text, const std::vector<std::string>& lstExpected)
{
    const std::vector<std::string> lstLines = Lines(text);
    ASSERT_EQ(lstLines.size(), lstExpected.size());
    for (size_t i = 0; i < lstLines.size(); ++i)
    {
        EXPECT_EQ(AfterTime(lstLines[i]), lstExpected[i]) << "line " << i;
    }
}

} // namespace

TEST(Logger, LineHasTimestampLevelNameAndTextWithNumbers)
{
    std::ostringstream console;
    CLogger logger(&console);
    logger.SetLevel(CLogger::levelError) << "failed " << 42 << " of " << 2.5 << std::endl;

    const std::vector<std::string> lstLines = Lines(console.str());
    ASSERT_EQ(lstLines.size(), 1u);
    EXPECT_TRUE(MatchesPattern(lstLines[0], std::string(kTimePattern) + "error failed 42 of 2.5"))
        << lstLines[0];
    EXPECT_EQ(AfterTime(lstLines[0]), "error failed 42 of 2.5");
    EXPECT_EQ(logger.LineCount(), 1u);
}

TEST(Logger, NamedLevelsAndOtherNumbersAreWrittenAsLevelN)
{
    std::ostringstream console;
    CLogger logger(&console);
    logger.SetLevel(CLogger::levelProgress) << "a\n";
    logger.SetLevel(2) << "b\n";
    logger.SetLevel(CLogger::levelWarning) << "c\n";
    logger.SetLevel(CLogger::levelError) << "d\n";
    logger.SetLevel(7) << "e\n";

    ExpectLinesAfterTime(console.str(),
                         {"progress a", "level 2 b", "warning c", "error d", "level 7 e"});
}

TEST(Logger, LineWithoutSetLevelUsesTheLastLevel)
{
    std::ostringstream console;
    CLogger logger(&console);
    EXPECT_EQ(logger.Level(), CLogger::levelProgress);
    logger << "first" << std::endl;
    logger.SetLevel(CLogger::levelWarning) << "second" << std::endl;
    logger << "third" << std::endl;

    ExpectLinesAfterTime(console.str(), {"progress first", "warning second", "warning third"});
    EXPECT_EQ(logger.Level(), CLogger::levelWarning);
}

TEST(Logger, ThresholdDropsLowerLinesAndDoesNotCountThem)
{
    std::ostringstream console;
    CLogger logger(&console);
    logger.SetThreshold(CLogger::levelWarning);
    logger.SetLevel(CLogger::levelProgress) << "dropped\n";
    logger.SetLevel(CLogger::levelWarning) << "kept warning\n";
    logger.SetLevel(CLogger::levelError) << "kept error\n";

    ExpectLinesAfterTime(console.str(), {"warning kept warning", "error kept error"});
    EXPECT_EQ(logger.LineCount(), 2u);
}

TEST(Logger, ListenerGetsLevelAndTextOfEveryWrittenLine)
{
    std::ostringstream console;
    CLogger logger(&console);
    logger.SetThreshold(CLogger::levelWarning);
    std::vector<std::pair<int, std::string>> lstHeard;
    logger.SetLineListener([&](int level, const std::string& text, bool)
                           { lstHeard.emplace_back(level, text); });
    logger.SetLevel(CLogger::levelProgress) << "dropped\n";
    logger.SetLevel(CLogger::levelWarning) << "disk " << 90 << "% full\n";
    logger.SetLevel(CLogger::levelError) << "write failed\n";
    logger.SetLineListener({});
    logger.SetLevel(CLogger::levelError) << "not heard\n";

    ASSERT_EQ(lstHeard.size(), 2u);
    EXPECT_EQ(lstHeard[0],
              std::make_pair(int(CLogger::levelWarning), std::string("disk 90% full")));
    EXPECT_EQ(lstHeard[1], std::make_pair(int(CLogger::levelError), std::string("write failed")));
}

// A line that skips SetLevel goes out at the sticky level, but its listener must not mistake
// that level for the line's own severity.
TEST(Logger, ListenerIsToldWhetherTheLevelWasSelectedForTheLine)
{
    std::ostringstream console;
    CLogger logger(&console);
    struct SHeard
    {
        int nLevel;
        std::string strText;
        bool bSelected;
    };
    std::vector<SHeard> lstHeard;
    logger.SetLineListener(
        [&](int level, const std::string& text, bool bLevelSelected) {
            lstHeard.push_back({level, text, bLevelSelected});
        });
    logger.SetLevel(CLogger::levelError) << "cannot read broken.png" << notype << "\n";
    logger << "  plugin name = Repository\n";
    logger << "ended by notype" << notype << "\n";
    logger.SetLevel(CLogger::levelProgress) << "progress\n";
    logger.SetLineListener({});

    ASSERT_EQ(lstHeard.size(), 4u);
    EXPECT_EQ(lstHeard[0].nLevel, CLogger::levelError);
    EXPECT_TRUE(lstHeard[0].bSelected);
    // The log itself keeps the sticky level: the line is written as an error.
    EXPECT_EQ(lstHeard[1].nLevel, CLogger::levelError);
    EXPECT_EQ(lstHeard[1].strText, "  plugin name = Repository");
    EXPECT_FALSE(lstHeard[1].bSelected);
    EXPECT_FALSE(lstHeard[2].bSelected) << "notype fixes the level but does not select one";
    EXPECT_TRUE(lstHeard[3].bSelected);
    const std::vector<std::string> lstLines = Lines(console.str());
    ASSERT_EQ(lstLines.size(), 4u);
    EXPECT_EQ(AfterTime(lstLines[1]), "error   plugin name = Repository");
}

TEST(Logger, NewlineInsideTextSplitsLinesAndUnfinishedTextWaits)
{
    std::ostringstream console;
    CLogger logger(&console);
    logger.SetLevel(CLogger::levelWarning) << "one\ntwo";
    ASSERT_EQ(Lines(console.str()).size(), 1u);
    logger << " more" << std::endl;

    ExpectLinesAfterTime(console.str(), {"warning one", "warning two more"});
}

TEST(Logger, EndLineWritesAnUnfinishedLineButNoEmptyOne)
{
    std::ostringstream console;
    CLogger logger(&console);
    logger.EndLine();
    EXPECT_EQ(console.str(), "");
    logger.SetLevel(CLogger::levelError) << "partial";
    logger.EndLine();

    ExpectLinesAfterTime(console.str(), {"error partial"});
}

TEST(Logger, NotypeKeepsTheLineOpenAndFixesItsLevel)
{
    std::ostringstream console;
    CLogger logger(&console);
    logger.SetLevel(CLogger::levelError) << "head" << notype;
    EXPECT_EQ(console.str(), "");
    // A level chosen after notype is for the lines that follow, not for this one.
    logger.SetLevel(CLogger::levelWarning) << " tail" << std::endl;
    logger << "next" << std::endl;

    ExpectLinesAfterTime(console.str(), {"error head tail", "warning next"});
}

TEST(Logger, StringAndCStringPiecesAreAppended)
{
    std::ostringstream console;
    CLogger logger(&console);
    logger << std::string("std ") << CString("framework") << static_cast<const char*>(nullptr)
           << "\n";
    ExpectLinesAfterTime(console.str(), {"progress std framework"});
}

TEST(Logger, FileReceivesTheSameLinesAsTheConsole)
{
    const std::string strPath = TempPath("zarn-logger-file");
    std::remove(strPath.c_str());
    std::ostringstream console;
    {
        CLogger logger(&console);
        ASSERT_TRUE(logger.OpenFile(strPath));
        logger.SetLevel(CLogger::levelWarning) << "to both" << std::endl;
        logger.SetLevel(CLogger::levelError) << "again" << std::endl;
    }
    EXPECT_EQ(ReadFile(strPath), console.str());
    EXPECT_EQ(Lines(console.str()).size(), 2u);
    std::remove(strPath.c_str());
}

// A quiet terminal must not thin out the log file or what the status bar hears.
TEST(Logger, ConsoleThresholdKeepsLowerLinesOffTheConsoleOnly)
{
    const std::string strPath = TempPath("zarn-logger-console-threshold");
    std::remove(strPath.c_str());
    std::ostringstream console;
    std::vector<int> lstHeard;
    CLogger logger(&console);
    ASSERT_TRUE(logger.OpenFile(strPath));
    logger.SetLineListener([&](int level, const std::string&, bool) { lstHeard.push_back(level); });
    logger.SetConsoleThreshold(CLogger::levelWarning);
    logger.SetLevel(CLogger::levelProgress) << "progress\n";
    logger.SetLevel(CLogger::levelError) << "error\n";

    ExpectLinesAfterTime(console.str(), {"error error"});
    const std::vector<std::string> lstFile = Lines(ReadFile(strPath));
    ASSERT_EQ(lstFile.size(), 2u);
    EXPECT_EQ(AfterTime(lstFile[0]), "progress progress");
    EXPECT_EQ(lstHeard, (std::vector<int>{CLogger::levelProgress, CLogger::levelError}));
    EXPECT_EQ(logger.LineCount(), 2u);
    std::remove(strPath.c_str());
}

TEST(Logger, FileOnlyLoggerWritesWithoutConsoleAndUnopenableFileFails)
{
    const std::string strPath = TempPath("zarn-logger-fileonly");
    std::remove(strPath.c_str());
    CLogger logger(nullptr);
    EXPECT_FALSE(logger.OpenFile("/nonexistent-dir/zarn/log.txt"));
    ASSERT_TRUE(logger.OpenFile(strPath));
    logger.SetLevel(CLogger::levelError) << "only in the file\n";
    ExpectLinesAfterTime(ReadFile(strPath), {"error only in the file"});
    EXPECT_EQ(logger.LineCount(), 1u);
    std::remove(strPath.c_str());
}

TEST(Logger, EachThreadBuildsItsOwnLine)
{
    std::ostringstream console;
    CLogger logger(&console);
    logger.SetLevel(CLogger::levelWarning) << "main begins";
    std::thread other([&logger] { logger.SetLevel(CLogger::levelError) << "other whole\n"; });
    other.join();
    logger << " main ends\n";

    ExpectLinesAfterTime(console.str(), {"error other whole", "warning main begins main ends"});
}

TEST(Logger, TwoLoggersInOneThreadKeepSeparateLines)
{
    std::ostringstream firstConsole;
    std::ostringstream secondConsole;
    CLogger first(&firstConsole);
    CLogger second(&secondConsole);
    first << "first ";
    second << "second ";
    first << "done\n";
    second << "done\n";
    ASSERT_EQ(Lines(firstConsole.str()).size(), 1u);
    ASSERT_EQ(Lines(secondConsole.str()).size(), 1u);
    EXPECT_EQ(AfterTime(Lines(firstConsole.str())[0]), "progress first done");
    EXPECT_EQ(AfterTime(Lines(secondConsole.str())[0]), "progress second done");
}

TEST(Logger, EightThreadsWritingAtOnceNeverInterleaveLines)
{
    constexpr int kThreads = 8;
    constexpr int kLines = 400;
    std::ostringstream console;
    CLogger logger(&console);
    std::barrier start(kThreads);
    std::vector<std::thread> lstThreads;
    for (int nThread = 0; nThread < kThreads; ++nThread)
    {
        lstThreads.emplace_back(
            [&, nThread]
            {
                start.arrive_and_wait();
                for (int nLine = 0; nLine < kLines; ++nLine)
                {
                    // Many small pieces per line give other threads every chance to cut in.
                    logger.SetLevel(CLogger::levelWarning)
                        << "thread " << nThread << " line " << nLine << " " << std::string(20, 'x')
                        << " end" << std::endl;
                }
            });
    }
    for (std::thread& thread : lstThreads)
    {
        thread.join();
    }

    std::map<int, int> mapNextLine;
    const std::vector<std::string> lstLines = Lines(console.str());
    ASSERT_EQ(lstLines.size(), static_cast<size_t>(kThreads * kLines));
    const std::string strTail = " " + std::string(20, 'x') + " end";
    for (const std::string& strLine : lstLines)
    {
        const std::string strText = AfterTime(strLine);
        ASSERT_TRUE(MatchesPattern(strText, "warning thread {n} line {n}" + strTail)) << strLine;
        int nThread = -1;
        int nLine = -1;
        ASSERT_EQ(std::sscanf(strText.c_str(), "warning thread %d line %d", &nThread, &nLine), 2);
        EXPECT_EQ(nLine, mapNextLine[nThread]) << "thread " << nThread << " out of order";
        mapNextLine[nThread] = nLine + 1;
    }
    EXPECT_EQ(mapNextLine.size(), static_cast<size_t>(kThreads));
    EXPECT_EQ(logger.LineCount(), static_cast<std::uint64_t>(kThreads * kLines));
}

TEST(Logger, DefaultLoggerIsOneInstance)
{
    EXPECT_EQ(&DefaultLogger(), &DefaultLogger());
}

TEST(Logger, UnfinishedLineOfTheDestroyingThreadIsWrittenAtDestruction)
{
    std::ostringstream console;
    {
        CLogger logger(&console);
        logger.SetLevel(CLogger::levelWarning) << "last words";
        std::thread other([&logger] { logger << "lost with its thread"; });
        other.join();
    }
    ExpectLinesAfterTime(console.str(), {"warning last words"});
}
