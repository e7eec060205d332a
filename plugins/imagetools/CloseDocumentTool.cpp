#include "CloseDocumentTool.h"

#include "DocumentDialogs.h"
#include "DocumentToolSupport.h"
#include "PluginCatalogue.h"

#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QString>

DOCVIEW_REGISTER_PLUGIN("CloseDocument", CCloseDocumentTool);

CCloseDocumentTool::CCloseDocumentTool() : CDocumentToolBase("CloseDocument", false) {}

void CCloseDocumentTool::Run(Zarn::CValueMap& data)
{
    Zarn::CValueMap* pDocument = DocumentToRun(data);
    if (pDocument == nullptr)
    {
        return;
    }
    if (!Zarn::ImageDocument::IsSaved(*pDocument))
    {
        const QString strQuestion =
            QStringLiteral("Save changes to '%1' before closing?")
                .arg(QString::fromStdString(Zarn::ImageDocument::Label(*pDocument)));
        const ImageTools::EnSaveAnswer enAnswer =
            ImageTools::AskSaveChanges(QStringLiteral("Close Document"), strQuestion);
        if (enAnswer == ImageTools::saCancel)
        {
            return;
        }
        if (enAnswer == ImageTools::saSave)
        {
            const ImageTools::SSaveResult result =
                ImageTools::SaveImageDocument(*pDocument, false, PresetFile());
            if (result.m_enOutcome == ImageTools::SSaveResult::soFailed)
            {
                ImageTools::ReportError(data, result.m_strError);
            }
            if (result.m_enOutcome != ImageTools::SSaveResult::soSaved)
            {
                return;
            }
        }
    }
    ImageTools::ListDocument(data, "output/documents/remove", pDocument);
}
