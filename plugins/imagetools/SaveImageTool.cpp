#include "SaveImageTool.h"

#include "DocumentToolSupport.h"
#include "PluginCatalogue.h"

#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

DOCVIEW_REGISTER_PLUGIN("SaveImage", CSaveImageTool);
DOCVIEW_REGISTER_PLUGIN("SaveImageAs", CSaveImageAsTool);

CSaveImageTool::CSaveImageTool() : CSaveImageTool("SaveImage", false) {}

CSaveImageTool::CSaveImageTool(const char* name, bool bAlwaysAsk)
    : CDocumentToolBase(name, true), m_bAlwaysAsk(bAlwaysAsk)
{
}

void CSaveImageTool::Run(Zarn::CValueMap& data)
{
    Zarn::CValueMap* pDocument = DocumentToRun(data);
    if (pDocument == nullptr)
    {
        ImageTools::ReportError(data, "There is no image to save.");
        return;
    }
    const ImageTools::SSaveResult result =
        ImageTools::SaveImageDocument(*pDocument, m_bAlwaysAsk, PresetFile());
    if (result.m_enOutcome == ImageTools::SSaveResult::soSaved)
    {
        ImageTools::ListDocument(data, "output/documents/update", pDocument);
    }
    else if (result.m_enOutcome == ImageTools::SSaveResult::soFailed)
    {
        ImageTools::ReportError(data, result.m_strError);
    }
}

CSaveImageAsTool::CSaveImageAsTool() : CSaveImageTool("SaveImageAs", true) {}
