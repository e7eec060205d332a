#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

// A new, empty folder under the system temporary folder; `szTemplate` ends in "XXXXXX", which
// mkdtemp replaces. Returns an empty path when it could not be made. The caller owns the folder
// and removes it; any thread; throws only what std::filesystem throws.
inline std::filesystem::path NewBatchTempFolder(const char* szTemplate)
{
    std::string strTemplate = (std::filesystem::temp_directory_path() / szTemplate).string();
    if (::mkdtemp(strTemplate.data()) == nullptr)
    {
        return {};
    }
    return strTemplate;
}
