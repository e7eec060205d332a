#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace DocViewTest
{

// A new empty folder under the system's temporary folder, removed with everything in it. Owns
// the folder; not shared between threads. The constructor throws std::runtime_error when no
// folder can be made; nothing else throws.
class CTempFolder
{
public:
    explicit CTempFolder(const char* prefix = "docview-test")
    {
        std::string strTemplate =
            (std::filesystem::temp_directory_path() / (std::string(prefix) + "-XXXXXX")).string();
        if (::mkdtemp(strTemplate.data()) == nullptr)
        {
            throw std::runtime_error("cannot make a temporary folder");
        }
        m_path = strTemplate;
    }
    CTempFolder(const CTempFolder&) = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;
    ~CTempFolder()
    {
        namespace fs = std::filesystem;
        std::error_code error;
        // Tests take permissions away; give them back so that everything can go.
        for (const auto& entry : fs::recursive_directory_iterator(m_path, error))
        {
            fs::permissions(entry.path(), fs::perms::owner_all, fs::perm_options::add, error);
        }
        fs::remove_all(m_path, error);
    }

    const std::filesystem::path& Path() const { return m_path; }
    std::string File(const std::string& name) const { return (m_path / name).string(); }
    bool IsEmpty() const { return std::filesystem::is_empty(m_path); }
    // The names of the entries in the folder, sorted.
    std::vector<std::string> Entries() const
    {
        std::vector<std::string> lstNames;
        for (const auto& entry : std::filesystem::directory_iterator(m_path))
        {
            lstNames.push_back(entry.path().filename().string());
        }
        std::sort(lstNames.begin(), lstNames.end());
        return lstNames;
    }

private:
    std::filesystem::path m_path;
};

} // namespace DocViewTest
