#include "OpenImageTool.h"

#include "DocumentDialogs.h"
#include "DocumentToolSupport.h"
#include "PluginCatalogue.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Image/ImageSizeGuard.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QString>
#include <QStringList>

DOCVIEW_REGISTER_PLUGIN("OpenImage", COpenImageTool);

namespace
{

// Whether to read a file whose header may claim more pixels than this computer should decode:
// the user who chose it is asked, a description's file is refused (CExBadParam naming it). What
// is no image file at all (a named pipe, a looping link) throws, as reading it would.
bool MayRead(const std::string& file, bool bAsk)
{
    const std::string strRefusal = Zarn::CImageSizeGuard::Refusal(
        Zarn::CImageSizeGuard::Probe(file),
        Zarn::SImageSizeLimit::ForReaders(Zarn::SImageSizeLimit::kDefaultMaxPixels, 1));
    if (strRefusal.empty())
    {
        return true;
    }
    if (!bAsk)
    {
        throw Zarn::CExBadParam(ZARN_LOCATION, (file + ": " + strRefusal).c_str());
    }
    return ImageTools::AskOpenLargeImage(QStringLiteral("Open a large image?"),
                                         QString::fromStdString(file + ": " + strRefusal + "."));
}

} // namespace

COpenImageTool::COpenImageTool() : m_bHasFiles(false)
{
    SetInstance("OpenImage");
}

void COpenImageTool::GetPluginSetup(Zarn::CValueMap& setup)
{
    ImageTools::WriteDocumentToolSetup(setup, "OpenImage");
}

void COpenImageTool::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    m_lstFiles.clear();
    const Zarn::CValue* pFiles = parameters.Entry(Zarn::CValue_Key("files"), false);
    m_bHasFiles = pFiles != nullptr;
    if (pFiles == nullptr)
    {
        return;
    }
    const Zarn::CValueVector* pList = pFiles->Vector();
    if (pList == nullptr)
    {
        throw Zarn::CException("COpenImageTool::Init", "\"files\" must be a list of file names.",
                               "OpenImage");
    }
    for (unsigned int i = 0; i < pList->Size(); ++i)
    {
        const Zarn::CValue* pFile = pList->Entry(Zarn::CValue_Key(i), true);
        if (pFile->GenericType() != Zarn::CValue::vtString)
        {
            throw Zarn::CException("COpenImageTool::Init",
                                   "\"files\" must be a list of file names.", "OpenImage");
        }
        m_lstFiles.push_back(pFile->String().StdString());
    }
}

bool COpenImageTool::TestParameters(const Zarn::CValueMap& /*parameters*/)
{
    return true;
}

void COpenImageTool::Run(Zarn::CValueMap& data)
{
    std::vector<std::string> lstFiles = m_lstFiles;
    if (!m_bHasFiles)
    {
        const QStringList lstChosen = ImageTools::ChooseFilesToOpen(
            QStringLiteral("Open Image"), QString::fromStdString(ImageTools::LastUsedFolder()),
            ImageTools::ImageFileFilters());
        for (const QString& strFile : lstChosen)
        {
            lstFiles.push_back(strFile.toStdString());
        }
        if (lstFiles.empty())
        {
            return; // cancelled
        }
        ImageTools::RememberFolderOf(lstFiles.front());
    }

    std::string strErrors;
    for (const std::string& strFile : lstFiles)
    {
        try
        {
            if (!MayRead(strFile, !m_bHasFiles))
            {
                continue;
            }
            ImageTools::ListDocument(data, "output/documents/add",
                                     Zarn::ImageDocument::Read(strFile));
        }
        catch (const Zarn::CException& exception)
        {
            // The reader's texts start with the path already.
            const std::string strReason = exception.what();
            const bool bNamesFile = strReason.compare(0, strFile.size(), strFile) == 0;
            strErrors += (strErrors.empty() ? "" : "\n") +
                         (bNamesFile ? strReason : strFile + ": " + strReason);
        }
    }
    if (!strErrors.empty())
    {
        ImageTools::ReportError(data, strErrors);
    }
}
