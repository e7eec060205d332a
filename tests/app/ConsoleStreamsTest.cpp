#include "ConsoleStreams.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <thread>

namespace
{

// The standard streams of the test program, pointed at strings while a test runs.
class ConsoleStreams : public testing::Test
{
protected:
    void SetUp() override
    {
        // The program's own output stays on the real standard output, not on a test's string.
        CConsoleStreams::Output();
        m_pOutput = std::cout.rdbuf(m_output.rdbuf());
        m_pLog = std::clog.rdbuf(m_log.rdbuf());
        m_pErrors = std::cerr.rdbuf(m_errors.rdbuf());
    }

    void TearDown() override
    {
        std::cout.rdbuf(m_pOutput);
        std::clog.rdbuf(m_pLog);
        std::cerr.rdbuf(m_pErrors);
    }

    // What each stream shows of the plug-ins' usual talk and of an error.
    void Talk()
    {
        std::cout << "\nFIRST PLUGIN: GaussianBlur\n" << std::endl;
        std::clog << "Deleting toolbox thread ..." << std::endl;
        std::cerr << "Tool plugin "
                  << "Median"
                  << " loaded." << std::endl;
        std::cerr << "Tool plugin Crop not loaded." << std::endl;
        std::cerr << "docview-app: cannot open x" << std::endl;
    }

    std::ostringstream m_output;
    std::ostringstream m_log;
    std::ostringstream m_errors;
    std::streambuf* m_pOutput = nullptr;
    std::streambuf* m_pLog = nullptr;
    std::streambuf* m_pErrors = nullptr;
};

TEST_F(ConsoleStreams, NormalRunDropsThePluginsTalkAndKeepsTheErrors)
{
    {
        const CConsoleStreams streams(false);
        Talk();
    }
    EXPECT_EQ(m_output.str(), "");
    EXPECT_EQ(m_log.str(), "");
    EXPECT_EQ(m_errors.str(), "Tool plugin Crop not loaded.\ndocview-app: cannot open x\n");
    // Put back afterwards.
    std::cout << "after";
    EXPECT_EQ(m_output.str(), "after");
}

TEST_F(ConsoleStreams, VerboseRunLeavesEveryStreamAsItIs)
{
    {
        const CConsoleStreams streams(true);
        Talk();
    }
    EXPECT_EQ(m_output.str(), "\nFIRST PLUGIN: GaussianBlur\n\n");
    EXPECT_EQ(m_log.str(), "Deleting toolbox thread ...\n");
    EXPECT_EQ(m_errors.str(), "Tool plugin Median loaded.\nTool plugin Crop not loaded.\n"
                              "docview-app: cannot open x\n");
}

TEST_F(ConsoleStreams, LinesOfTwoThreadsDoNotMix)
{
    {
        const CConsoleStreams streams(false);
        std::cerr << "docview-app: first ";
        std::thread([]() { std::cerr << "Tool plugin Other loaded." << std::endl; }).join();
        std::cerr << "half" << std::endl;
        std::cerr << "unfinished";
    }
    EXPECT_EQ(m_errors.str(), "docview-app: first half\nunfinished");
}

} // namespace
