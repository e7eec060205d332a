#include "DocumentToolBase.h"

#include "DocumentToolSupport.h"

#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Value/ValueScalar.h>

CDocumentToolBase::CDocumentToolBase(const char* name, bool bNeedsImage)
    : m_strName(name), m_bNeedsImage(bNeedsImage), m_pDocument(nullptr)
{
    SetInstance(name);
}

void CDocumentToolBase::GetPluginSetup(Zarn::CValueMap& setup)
{
    ImageTools::WriteDocumentToolSetup(setup, m_strName);
}

void CDocumentToolBase::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    m_strFile = parameters.EntryString(Zarn::CValue_Key("file"), Zarn::CString()).StdString();
}

bool CDocumentToolBase::TestParameters(const Zarn::CValueMap& parameters)
{
    // Forgotten at once: the document may be gone before the next UpdateParameters.
    m_pDocument = TakenDocument(parameters);
    return m_pDocument != nullptr;
}

void CDocumentToolBase::UpdateParameters(const Zarn::CValueMap& message)
{
    if (message.HasEntry(Zarn::CValue_Key("input")))
    {
        m_pDocument = TakenDocument(message);
    }
}

Zarn::CValueMap* CDocumentToolBase::DocumentToRun(const Zarn::CValueMap& data) const
{
    return data.HasEntry("input/documents/focused") ? ImageTools::FocusedDocument(data)
                                                    : m_pDocument;
}

Zarn::CValueMap* CDocumentToolBase::TakenDocument(const Zarn::CValueMap& input) const
{
    Zarn::CValueMap* pDocument = ImageTools::FocusedDocument(input);
    if (m_bNeedsImage && pDocument != nullptr && Zarn::ImageDocument::Image(*pDocument) == nullptr)
    {
        return nullptr;
    }
    return pDocument;
}
