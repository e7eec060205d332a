#include "batch/ImageProcessPlugin.h"

#include "frame/HostObjects.h"
#include "frame/Messages.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImagePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <exception>
#include <string>

namespace
{

// The value at "input/documents/focused", lent; null when a level is missing or not a map.
const Zarn::CValue* FocusedEntry(const Zarn::CValueMap& parameters)
{
    const Zarn::CValue* pInput = parameters.Entry(Zarn::CValue_Key("input"), false);
    if (pInput == nullptr || pInput->Map() == nullptr)
    {
        return nullptr;
    }
    const Zarn::CValue* pDocuments = pInput->Map()->Entry(Zarn::CValue_Key("documents"), false);
    if (pDocuments == nullptr || pDocuments->Map() == nullptr)
    {
        return nullptr;
    }
    return pDocuments->Map()->Entry(Zarn::CValue_Key("focused"), false);
}

Zarn::CImage* ContentOf(const Zarn::CValueMap& document)
{
    return DocView::PointerOf<Zarn::CImage>(document.Entry(Zarn::CValue_Key("content"), false));
}

} // namespace

CImageProcessPlugin::CImageProcessPlugin()
    : m_pFocusedDocument(nullptr), m_pMessageIdFactory(nullptr), m_pCommThread(nullptr),
      m_pLogger(nullptr)
{
}

CImageProcessPlugin::~CImageProcessPlugin() = default;

void CImageProcessPlugin::GetPluginSetup(Zarn::CValueMap& /*setup*/) {}

void CImageProcessPlugin::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    m_pLogger = DocView::BorrowLogger();
    m_pCommThread = DocView::BorrowCommThread();
    m_pMessageIdFactory = DocView::BorrowMessageIdFactory();
    const Zarn::CValue* pProcess = parameters.Entry(Zarn::CValue_Key("process"), false);
    if (pProcess == nullptr)
    {
        return;
    }
    if (pProcess->Vector() == nullptr)
    {
        throw Zarn::CExBadType(ZARN_LOCATION, pProcess);
    }
    m_pFirstPlugin.reset();
    m_pBatcher = std::make_unique<CImageProcessBatcher>(*pProcess->Vector(), m_pLogger,
                                                        m_pCommThread, m_pMessageIdFactory);
    m_pFirstPlugin.reset(m_pBatcher->FindFirstPlugin());
}

void CImageProcessPlugin::DeleteData()
{
    m_pBatcher.reset();
    m_pFirstPlugin.reset();
}

bool CImageProcessPlugin::TestParameters(const Zarn::CValueMap& parameters)
{
    try
    {
        const Zarn::CValue* pFocused = FocusedEntry(parameters);
        if (pFocused == nullptr)
        {
            return false;
        }
        const Zarn::CValueMap* pDocument = DocView::PointerOf<Zarn::CValueMap>(pFocused);
        if (pDocument == nullptr || ContentOf(*pDocument) == nullptr)
        {
            return false;
        }
        // The whole process accepts exactly what its first plug-in accepts.
        return m_pFirstPlugin && m_pFirstPlugin->TestParameters(parameters);
    }
    catch (...)
    {
        // Asking never fails: whatever stops the check (a pointer of another type, a first
        // plug-in that throws) means the process cannot run on this input.
        return false;
    }
}

void CImageProcessPlugin::UpdateParameters(const Zarn::CValueMap& message)
{
    if (const Zarn::CValue* pFocused = FocusedEntry(message))
    {
        m_pFocusedDocument = DocView::PointerOf<Zarn::CValueMap>(pFocused);
    }
}

void CImageProcessPlugin::Run(Zarn::CValueMap& data)
{
    try
    {
        RunProcess(data);
    }
    catch (const Zarn::CException&)
    {
        throw;
    }
    catch (const std::exception& caught)
    {
        throw Zarn::CException("CImageProcessPlugin", caught.what(), nullptr);
    }
    catch (...)
    {
        throw Zarn::CException("CImageProcessPlugin", "UNKNOWN", nullptr);
    }
}

void CImageProcessPlugin::RunProcess(Zarn::CValueMap& data)
{
    // A run before TestParameters and UpdateParameters (or after DeleteData) is refused rather
    // than let it reach a null document or batcher.
    if (m_pFocusedDocument == nullptr || m_pBatcher == nullptr)
    {
        throw Zarn::CException("CImageProcessPlugin::Run",
                               "no focused document or no process to run", nullptr);
    }
    const Zarn::CImage* pContent = ContentOf(*m_pFocusedDocument);
    if (pContent == nullptr)
    {
        throw Zarn::CException("CImageProcessPlugin::Run", "the focused document has no image",
                               nullptr);
    }
    const Zarn::CImage input(*pContent);
    std::unique_ptr<Zarn::CImage> pResult = m_pBatcher->Run(input);
    if (!pResult)
    {
        return; // cancelled: no output
    }
    const Zarn::CValue* pLabel = m_pFocusedDocument->Entry(Zarn::CValue_Key("label"), false);
    const std::string strLabel =
        pLabel != nullptr && pLabel->GenericType() == Zarn::CValue::vtString
            ? pLabel->String().StdString()
            : std::string("no label");
    auto pDocument = std::make_unique<Zarn::CValueMap>();
    auto pResultValue = std::make_unique<Zarn::CValueOwnedPointer<Zarn::CImage>>(pResult.get());
    pResult.release();
    pDocument->SetEntry(Zarn::CValue_Key("content"), pResultValue.release());
    pDocument->SetEntry(Zarn::CValue_Key("label"), new Zarn::CValueString(strLabel.c_str()));
    auto* pAdded = new Zarn::CValueVector;
    pAdded->PushBack(new Zarn::CValuePointer<Zarn::CValueMap>(pDocument.get()));
    data.SetEntry("output/documents/add", pAdded);
    // From here on the document belongs to whoever takes up "output/documents/add".
    pDocument.release();
}
