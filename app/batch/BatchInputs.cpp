#include "BatchInputs.h"

#include <Zarn/Image/ImageFile.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <stdexcept>

namespace fs = std::filesystem;

namespace
{

fs::path ResultName(const fs::path& relative)
{
    fs::path result = relative;
    result.replace_extension(".tif");
    return result;
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
                lstInputs.push_back({file, ResultName(file.lexically_relative(path))});
            }
        }
        else if (fs::exists(path, error) || error.value() == ELOOP)
        {
            lstInputs.push_back({path, ResultName(path.filename())});
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

    // The same result twice would overwrite one with the other.
    std::map<fs::path, int> mapUses;
    for (SBatchInput& input : lstInputs)
    {
        const int nUse = ++mapUses[input.m_result];
        if (nUse > 1)
        {
            fs::path renamed = input.m_result;
            renamed.replace_filename(input.m_result.stem().string() + "-" + std::to_string(nUse) +
                                     ".tif");
            input.m_result = renamed;
        }
    }
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
