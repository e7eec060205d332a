#pragma once

// Running the real docview-batch from a test and reading what it leaves. Free functions; any
// thread; they throw nothing of their own (gtest's expectations report problems).

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <sys/wait.h>

namespace batch_test
{

namespace fs = std::filesystem;

struct SRun
{
    int m_nExit = -1;
    std::string m_strOutput;
};

// Runs docview-batch with `arguments`; `environment` ("NAME=value ...") goes before the command.
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

// CSV lines without the header, split into fields (the test files have no commas).
inline std::vector<std::vector<std::string>> SummaryRows(const fs::path& path)
{
    std::ifstream stream(path);
    std::vector<std::vector<std::string>> lstRows;
    std::string strLine;
    std::getline(stream, strLine);
    EXPECT_EQ(strLine, "file,result,labels,seconds,error");
    while (std::getline(stream, strLine))
    {
        std::vector<std::string> lstFields;
        size_t uStart = 0;
        for (size_t uComma = strLine.find(','); lstFields.size() < 4;
             uComma = strLine.find(',', uStart))
        {
            lstFields.push_back(strLine.substr(uStart, uComma - uStart));
            uStart = uComma + 1;
        }
        lstFields.push_back(strLine.substr(uStart));
        lstRows.push_back(lstFields);
    }
    return lstRows;
}

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

inline std::string FileText(const fs::path& path)
{
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

} // namespace batch_test
