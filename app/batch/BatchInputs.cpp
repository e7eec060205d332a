#include "BatchInputs.h"

#include <Zarn/Image/ImageFile.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <map>
#include <set>
#include <stdexcept>

namespace fs = std::filesystem;

namespace
{

fs::path WithTiffExtension(const fs::path& relative)
{
    fs::path result = relative;
    result.replace_extension(".tif");
    return result;
}

// Names are compared without case: the output folder may be on a disk that ignores it.
std::string NameKey(const fs::path& path)
{
    std::string strKey = path.string();
    std::transform(strKey.begin(), strKey.end(), strKey.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return strKey;
}

fs::path Numbered(const fs::path& result, int number)
{
    fs::path numbered = result;
    numbered.replace_filename(result.stem().string() + "-" + std::to_string(number) + ".tif");
    return numbered;
}

// Turns each input's relative name into its result name. Inputs whose names differ only in the
// extension keep it (a.png.tif, a.tif.tif), so neither takes the other's name. What is still
// taken (one file named twice, equal names from two folders) is numbered "-2", "-3", ..., skipping
// every name that another input has by itself: no result is ever written twice.
void AssignResultNames(std::vector<SBatchInput>& inputs)
{
    std::map<std::string, std::set<std::string>> mapSources;
    for (const SBatchInput& input : inputs)
    {
        mapSources[NameKey(WithTiffExtension(input.m_result))].insert(NameKey(input.m_result));
    }
    std::set<std::string> setOwnNames;
    for (SBatchInput& input : inputs)
    {
        const bool bShared = mapSources[NameKey(WithTiffExtension(input.m_result))].size() > 1;
        input.m_result = bShared ? fs::path(input.m_result.string() + ".tif")
                                 : WithTiffExtension(input.m_result);
        setOwnNames.insert(NameKey(input.m_result));
    }
    std::set<std::string> setTaken;
    for (SBatchInput& input : inputs)
    {
        fs::path result = input.m_result;
        for (int nNumber = 2; setTaken.count(NameKey(result)) > 0; ++nNumber)
        {
            result = Numbered(input.m_result, nNumber);
            if (setOwnNames.count(NameKey(result)) > 0)
            {
                result = input.m_result; // another input's own name: try the next number
            }
        }
        setTaken.insert(NameKey(result));
        input.m_result = result;
    }
}

} // namespace

std::vector<SBatchInput> CollectBatchInputs(const std::vector<std::string>& arguments)
{
    std::vector<SBatchInput> lstInputs;
    std::string strMissing;
    for (const std::string& strArgument : arguments)
    {
        const fs::path path(strArgument);
        std::error_code error;
        if (fs::is_directory(path, error))
        {
            std::vector<fs::path> lstFiles;
            for (const fs::directory_entry& entry : fs::recursive_directory_iterator(
                     path, fs::directory_options::skip_permission_denied))
            {
                // Not only regular files: a looping link or a named pipe with an image's name
                // fails on its own when it is read, rather than ending the run here.
                std::error_code entryError;
                if (!entry.is_directory(entryError) &&
                    Zarn::CImageFile::IsSupportedPath(entry.path().string()))
                {
                    lstFiles.push_back(entry.path());
                }
            }
            std::sort(lstFiles.begin(), lstFiles.end());
            for (const fs::path& file : lstFiles)
            {
                lstInputs.push_back({file, file.lexically_relative(path)});
            }
        }
        else if (fs::exists(path, error) || error.value() == ELOOP)
        {
            lstInputs.push_back({path, path.filename()});
        }
        else
        {
            strMissing += (strMissing.empty() ? "" : ", ") + strArgument;
        }
    }
    if (!strMissing.empty())
    {
        throw std::invalid_argument("no such file or folder: " + strMissing);
    }

    AssignResultNames(lstInputs);
    return lstInputs;
}

std::vector<SBatchInput> SelectShard(const std::vector<SBatchInput>& inputs, unsigned int index,
                                     unsigned int count)
{
    std::vector<SBatchInput> lstSelected;
    for (size_t i = index; i < inputs.size(); i += count)
    {
        lstSelected.push_back(inputs[i]);
    }
    return lstSelected;
}

bool ParseShard(const std::string& text, unsigned int& index, unsigned int& count)
{
    const size_t uSlash = text.find('/');
    if (uSlash == std::string::npos || uSlash == 0 || uSlash + 1 == text.size())
    {
        return false;
    }
    const std::string strIndex = text.substr(0, uSlash);
    const std::string strCount = text.substr(uSlash + 1);
    const auto IsNumber = [](const std::string& part)
    {
        return part.size() <= 9 &&
               std::all_of(part.begin(), part.end(), [](char c) { return c >= '0' && c <= '9'; });
    };
    if (!IsNumber(strIndex) || !IsNumber(strCount))
    {
        return false;
    }
    index = static_cast<unsigned int>(std::stoul(strIndex));
    count = static_cast<unsigned int>(std::stoul(strCount));
    return count > 0 && index < count;
}
