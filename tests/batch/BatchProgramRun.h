#pragma once

#include <array>
#include <cstdio>
#include <sstream>
#include <string>

#include <sys/wait.h>

// What a run of docview-batch printed (standard output and error together) and its exit status,
// -1 when it did not exit normally.
struct SRun
{
    int m_nExit = -1;
    std::string m_strOutput;
};

// Runs docview-batch (DOCVIEW_BATCH) with `arguments` through the shell; `environment` goes
// before the command ("NAME=value ...", or a shell command ending in ';'). Any thread; throws
// nothing of the program's.
inline SRun RunProgram(const std::string& arguments, const std::string& environment = {})
{
    const std::string strCommand = environment + " " + DOCVIEW_BATCH + " " + arguments + " 2>&1";
    SRun run;
    FILE* pPipe = ::popen(strCommand.c_str(), "r");
    std::array<char, 4096> buffer{};
    while (std::fgets(buffer.data(), buffer.size(), pPipe) != nullptr)
    {
        run.m_strOutput += buffer.data();
    }
    const int nStatus = ::pclose(pPipe);
    run.m_nExit = WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
    return run;
}

// The number of lines of `text` that hold both parts.
inline std::size_t CountLinesWith(const std::string& text, const std::string& part1,
                                  const std::string& part2)
{
    std::size_t nLines = 0;
    std::istringstream stream(text);
    for (std::string strLine; std::getline(stream, strLine);)
    {
        if (strLine.find(part1) != std::string::npos && strLine.find(part2) != std::string::npos)
        {
            ++nLines;
        }
    }
    return nLines;
}
