#pragma once

#include <sstream>
#include <string>
#include <vector>

// Splits captured log or stream text into its lines (without the line ends), so the core tests
// can compare them one by one. Owns nothing; any thread; throws only std::bad_alloc.
inline std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lstLines;
    std::istringstream stream(text);
    for (std::string strLine; std::getline(stream, strLine);)
    {
        lstLines.push_back(strLine);
    }
    return lstLines;
}
