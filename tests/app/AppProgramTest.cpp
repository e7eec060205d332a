// docview-app's front door as a user meets it on a terminal: the real program, started as a
// process, asked for its usage and version where no window could ever be shown.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

struct SRun
{
    int m_nExit = -1;
    std::string m_strOutput; // standard output alone
    std::string m_strErrors; // standard error alone
};

std::string ReadText(const fs::path& path)
{
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

// Runs docview-app with `arguments` under `environment` (arguments to env(1): "-u NAME" removes a
// variable, "NAME=value" sets one).
SRun RunApp(const std::string& environment, const std::string& arguments)
{
    const fs::path stem =
        fs::temp_directory_path() / ("docview-app-program-" + std::to_string(::getpid()));
    const fs::path output = stem.string() + ".out";
    const fs::path errors = stem.string() + ".err";
    const std::string strCommand = "env " + environment + " " + DOCVIEW_APP + " " + arguments +
                                   " >'" + output.string() + "' 2>'" + errors.string() + "'";
    const int nStatus = std::system(strCommand.c_str());
    SRun run;
    run.m_nExit = WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus);
    run.m_strOutput = ReadText(output);
    run.m_strErrors = ReadText(errors);
    fs::remove(output);
    fs::remove(errors);
    return run;
}

// A terminal without any desktop: no display, and no platform chosen.
const char* const kNoDisplay = "-u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM";
// A platform is chosen that cannot start here: the program must not even try it.
const char* const kBrokenPlatform = "-u DISPLAY -u WAYLAND_DISPLAY QT_QPA_PLATFORM=xcb";

TEST(AppProgram, HelpWithoutADisplayPrintsTheUsageAndSucceeds)
{
    for (const char* szEnvironment : {kNoDisplay, kBrokenPlatform})
    {
        const SRun run = RunApp(szEnvironment, "--help");
        EXPECT_EQ(run.m_nExit, 0) << szEnvironment << "\n" << run.m_strErrors;
        EXPECT_NE(run.m_strOutput.find("Usage: "), std::string::npos) << run.m_strOutput;
        EXPECT_NE(run.m_strOutput.find("--config <file>"), std::string::npos) << run.m_strOutput;
        EXPECT_NE(run.m_strOutput.find("--verbose"), std::string::npos) << run.m_strOutput;
        EXPECT_NE(run.m_strOutput.find("--version"), std::string::npos) << run.m_strOutput;
    }
}

TEST(AppProgram, VersionWithoutADisplayPrintsTheVersionAndSucceeds)
{
    for (const char* szEnvironment : {kNoDisplay, kBrokenPlatform})
    {
        const SRun run = RunApp(szEnvironment, "--version");
        EXPECT_EQ(run.m_nExit, 0) << szEnvironment << "\n" << run.m_strErrors;
        EXPECT_EQ(run.m_strOutput, std::string("docview ") + DOCVIEW_VERSION + "\n");
        EXPECT_EQ(RunApp(szEnvironment, "-v").m_strOutput, run.m_strOutput);
    }
}

} // namespace
