#include "CloseDocumentTool.h"

#include "DocumentDialogs.h"
#include "DocumentToolSupport.h"
#include "PluginCatalogue.h"

#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QString>

DOCVIEW_REGISTER_PLUGIN("CloseDocument", CCloseDocumentTool);

CCloseDocumentTool::CCloseDocumentTool() : m_pDocument(nullptr)
{
    SetInstance("CloseDocument");
}

void CCloseDocumentTool::GetPluginSetup(Zarn::CValueMap& setup)
{
    setup.SetEntry(Zarn::CValue_Key("Version"), new Zarn::CValueString("version 1.0.0"));
    setup.SetEntry(Zarn::CValue_Key("PluginType"), new Zarn::CValueString("Tool"));
    setup.SetEntry(Zarn::CValue_Key("PluginSubType"), new Zarn::CValueString("Document"));
    setup.SetEntry(Zarn::CValue_Key("PluginName"), new Zarn::CValueString("CloseDocument"));
}

void CCloseDocumentTool::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    m_strFile = parameters.EntryString(Zarn::CValue_Key("file"), Zarn::CString()).StdString();
}

bool CCloseDocumentTool::TestParameters(const Zarn::CValueMap& parameters)
{
    // Forgotten at once: the document may be gone before the next UpdateParameters.
    m_pDocument = ImageTools::FocusedDocument(parameters);
    return m_pDocument != nullptr;
}

void CCloseDocumentTool::UpdateParameters(const Zarn::CValueMap& message)
{
    if (message.HasEntry(Zarn::CValue_Key("input")))
    {
        m_pDocument = ImageTools::FocusedDocument(message);
    }
}

void CCloseDocumentTool::Run(Zarn::CValueMap& data)
{
    Zarn::CValueMap* pDocument =
        data.HasEntry("input/documents/focused") ? ImageTools::FocusedDocument(data) : m_pDocument;
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
                ImageTools::SaveImageDocument(*pDocument, false, m_strFile);
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
