#include "SaveImageTool.h"

#include "DocumentToolSupport.h"
#include "PluginCatalogue.h"

#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

DOCVIEW_REGISTER_PLUGIN("SaveImage", CSaveImageTool);
DOCVIEW_REGISTER_PLUGIN("SaveImageAs", CSaveImageAsTool);

namespace
{

// The focused document of a toolbox input when it holds an image, else null.
Zarn::CValueMap* FocusedImageDocument(const Zarn::CValueMap& input)
{
    Zarn::CValueMap* pDocument = ImageTools::FocusedDocument(input);
    return pDocument != nullptr && Zarn::ImageDocument::Image(*pDocument) != nullptr ? pDocument
                                                                                     : nullptr;
}

} // namespace

CSaveImageTool::CSaveImageTool() : CSaveImageTool("SaveImage", false) {}

CSaveImageTool::CSaveImageTool(const char* name, bool bAlwaysAsk)
    : m_strName(name), m_bAlwaysAsk(bAlwaysAsk), m_pDocument(nullptr)
{
    SetInstance(name);
}

void CSaveImageTool::GetPluginSetup(Zarn::CValueMap& setup)
{
    setup.SetEntry(Zarn::CValue_Key("Version"), new Zarn::CValueString("version 1.0.0"));
    setup.SetEntry(Zarn::CValue_Key("PluginType"), new Zarn::CValueString("Tool"));
    setup.SetEntry(Zarn::CValue_Key("PluginSubType"), new Zarn::CValueString("Document"));
    setup.SetEntry(Zarn::CValue_Key("PluginName"), new Zarn::CValueString(m_strName));
}

void CSaveImageTool::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    m_strFile = parameters.EntryString(Zarn::CValue_Key("file"), Zarn::CString()).StdString();
}

bool CSaveImageTool::TestParameters(const Zarn::CValueMap& parameters)
{
    // Forgotten at once: the document may be gone before the next UpdateParameters.
    m_pDocument = FocusedImageDocument(parameters);
    return m_pDocument != nullptr;
}

void CSaveImageTool::UpdateParameters(const Zarn::CValueMap& message)
{
    if (message.HasEntry(Zarn::CValue_Key("input")))
    {
        m_pDocument = FocusedImageDocument(message);
    }
}

void CSaveImageTool::Run(Zarn::CValueMap& data)
{
    Zarn::CValueMap* pDocument =
        data.HasEntry("input/documents/focused") ? ImageTools::FocusedDocument(data) : m_pDocument;
    if (pDocument == nullptr)
    {
        ImageTools::ReportError(data, "There is no image to save.");
        return;
    }
    const ImageTools::SSaveResult result =
        ImageTools::SaveImageDocument(*pDocument, m_bAlwaysAsk, m_strFile);
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
