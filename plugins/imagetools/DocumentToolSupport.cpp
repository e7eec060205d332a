#include "DocumentToolSupport.h"

#include "DocumentDialogs.h"
#include "frame/PluginSetup.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Image/ImageFile.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <filesystem>
#include <system_error>

namespace ImageTools
{

namespace
{

std::string& LastFolder()
{
    static std::string s_strFolder;
    return s_strFolder;
}

std::string AbsolutePath(const std::string& path)
{
    return std::filesystem::absolute(path).lexically_normal().string();
}

} // namespace

Zarn::CValueMap* FocusedDocument(const Zarn::CValueMap& parameters)
{
    const Zarn::CValue* pFocused = parameters.Entry("input/documents/focused", false);
    return pFocused == nullptr
               ? nullptr
               : const_cast<Zarn::CValueMap*>(Zarn::UnwrapPointer<Zarn::CValueMap>(pFocused));
}

void ListDocument(Zarn::CValueMap& data, const char* path, Zarn::CValueMap* document)
{
    Zarn::CValue* pList = data.Entry(path, false);
    if (pList == nullptr || pList->GenericType() != Zarn::CValue::vtVector)
    {
        pList = new Zarn::CValueVector;
        data.SetEntry(path, pList);
    }
    pList->Vector()->PushBack(new Zarn::CValuePointer<Zarn::CValueMap>(document));
}

void WriteDocumentToolSetup(Zarn::CValueMap& setup, const std::string& name)
{
    DocView::WritePluginSetup(setup, "Tool", "Document", name.c_str());
}

void ReportError(Zarn::CValueMap& data, const std::string& message)
{
    data.SetEntry("output/error/message", new Zarn::CValueString(message));
}

std::string LastUsedFolder()
{
    if (LastFolder().empty())
    {
        std::error_code error;
        return std::filesystem::current_path(error).string();
    }
    return LastFolder();
}

void RememberFolderOf(const std::string& path)
{
    LastFolder() = std::filesystem::path(AbsolutePath(path)).parent_path().string();
}

std::string ProposedFileName(const std::string& label)
{
    return Zarn::CImageFile::IsSupportedPath(label) ? label : label + ".tif";
}

namespace
{

// The absolute path to save to: the preset, or what the user chooses starting from the
// document's own folder (or the last used one); empty when the user cancels.
std::string SavePathToUse(const std::string& strLabel, const std::string& strOldPath,
                          const std::string& presetPath)
{
    std::string strPath = presetPath;
    if (strPath.empty())
    {
        const std::string strFolder =
            strOldPath.empty() ? LastUsedFolder()
                               : std::filesystem::path(strOldPath).parent_path().string();
        const std::string strProposed =
            (std::filesystem::path(strFolder) / ProposedFileName(strLabel)).string();
        strPath = ChooseSavePath(QStringLiteral("Save Image As"),
                                 QString::fromStdString(strProposed), ImageFileFilters())
                      .toStdString();
        if (strPath.empty())
        {
            return strPath;
        }
        // The dialog adds no extension of its own; a bare name is saved as TIFF.
        if (!std::filesystem::path(strPath).has_extension())
        {
            strPath += ".tif";
        }
        RememberFolderOf(strPath);
    }
    return AbsolutePath(strPath);
}

// Writes the image to the path; the text that says why it could not, or empty when written.
std::string WriteProblem(Zarn::CValueMap& document, const Zarn::CImage& image,
                         const std::string& strLabel, const std::string& strPath)
{
    if (!Zarn::CImageFile::IsSupportedPath(strPath))
    {
        return "Cannot save '" + strLabel + "' as '" + strPath +
               "': unknown image format (known: .png, .tif, .tiff, .jpg, .jpeg, .bmp).";
    }
    if (!Zarn::CImageFile::CanStore(strPath, image.Type(), image.Size().Z()))
    {
        return "Cannot save '" + strLabel + "' as '" + strPath + "': this file type cannot store " +
               image.Type().ToString() + " images.";
    }
    try
    {
        Zarn::ImageDocument::Write(document, strPath);
    }
    catch (const Zarn::CException& exception)
    {
        return "Cannot save '" + strLabel + "': " + exception.what();
    }
    return std::string();
}

// The document's "update" map for the repository, its new "filename" and, when the file name
// changed, its new "label".
void MarkSaved(Zarn::CValueMap& document, const std::string& strPath, bool bNewName)
{
    auto* pUpdate = new Zarn::CValueMap;
    pUpdate->SetEntry(Zarn::CValue_Key("label"), new Zarn::CValueBool(bNewName));
    pUpdate->SetEntry(Zarn::CValue_Key("content"), new Zarn::CValueBool(false));
    pUpdate->SetEntry("is_saved/image", new Zarn::CValueBool(true));
    document.SetEntry(Zarn::CValue_Key("update"), pUpdate);
    document.SetEntry(Zarn::CValue_Key("filename"), new Zarn::CValueString(strPath));
    if (bNewName)
    {
        document.SetEntry(
            Zarn::CValue_Key("label"),
            new Zarn::CValueString(std::filesystem::path(strPath).filename().string()));
    }
}

} // namespace

SSaveResult SaveImageDocument(Zarn::CValueMap& document, bool bAskPath,
                              const std::string& presetPath)
{
    SSaveResult result;
    const std::string strLabel = Zarn::ImageDocument::Label(document);
    const std::string strOldPath = Zarn::ImageDocument::FileName(document);
    const Zarn::CImage* pImage = Zarn::ImageDocument::Image(document);
    if (pImage == nullptr)
    {
        result.m_enOutcome = SSaveResult::soFailed;
        result.m_strError = "Cannot save '" + strLabel + "': the document holds no image.";
        return result;
    }
    std::string strPath = strOldPath;
    if (bAskPath || strOldPath.empty())
    {
        strPath = SavePathToUse(strLabel, strOldPath, presetPath);
        if (strPath.empty())
        {
            return result; // cancelled
        }
    }
    result.m_enOutcome = SSaveResult::soFailed;
    result.m_strError = WriteProblem(document, *pImage, strLabel, strPath);
    if (!result.m_strError.empty())
    {
        return result;
    }
    MarkSaved(document, strPath, strPath != strOldPath);
    result.m_enOutcome = SSaveResult::soSaved;
    return result;
}

} // namespace ImageTools
