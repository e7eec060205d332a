#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

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

// A test whose files live in m_root, a new folder made from `szTemplate` (with the folders
// `subfolders` in it) before each test and removed after it. Owns the folder; the test's thread;
// throws only what std::filesystem throws.
class CBatchFolderTest : public testing::Test
{
protected:
    explicit CBatchFolderTest(const char* szTemplate, std::vector<std::string> subfolders = {})
        : m_szTemplate(szTemplate), m_lstSubfolders(std::move(subfolders))
    {
    }

    void SetUp() override
    {
        m_root = NewBatchTempFolder(m_szTemplate);
        ASSERT_FALSE(m_root.empty());
        for (const std::string& strFolder : m_lstSubfolders)
        {
            std::filesystem::create_directories(m_root / strFolder);
        }
    }
    void TearDown() override { std::filesystem::remove_all(m_root); }

    std::filesystem::path m_root;

private:
    const char* m_szTemplate;
    std::vector<std::string> m_lstSubfolders;
};
