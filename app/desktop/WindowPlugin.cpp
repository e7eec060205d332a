#include "WindowPlugin.h"

#include <Zarn/Image/ImageDocument.h>
#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <algorithm>
#include <typeinfo>

CWindowPlugin::CWindowPlugin(Zarn::CMessageIdFactory& ids, SHandlers handlers)
    : m_ids(ids), m_handlers(std::move(handlers))
{
    m_arrivals.On("SHUTDOWN", [this]() { m_handlers.m_fnShutdown(); })
        .OnData("ACTIVITY_START", [this](const Zarn::CValue* pData) { ActivityStarted(pData); })
        .OnData("ACTIVITY_STOP", [this](const Zarn::CValue* pData) { ActivityStopped(pData); });
    m_withData
        .OnData("UPDATE_CONTROLS", [this](const Zarn::CValue* pData) { UpdateControls(pData); })
        .OnPointer<Zarn::CValueMap>("NEW_DOCUMENT",
                                    [this](Zarn::CValueMap* pDocument) { NewDocument(pDocument); })
        .OnPointer<Zarn::CValueMap>("INVALID_DOCUMENT", [this](Zarn::CValueMap* pDocument)
                                    { InvalidDocument(pDocument); })
        .OnPointer<Zarn::CValueMap>("DOCUMENT_CHANGED", [this](Zarn::CValueMap* pDocument)
                                    { DocumentChanged(pDocument); })
        .OnPointer<Zarn::CPluginBase>("ACTIVE_VIEW",
                                      [this](Zarn::CPluginBase* pView) { ActiveView(pView); });
}

void CWindowPlugin::UpdateParameters(const Zarn::CValueMap& message)
{
    if (!m_arrivals.Dispatch(&m_ids, message) && DocView::HasMessageIdAndData(message))
    {
        m_withData.Dispatch(&m_ids, message);
    }
}

void CWindowPlugin::UpdateControls(const Zarn::CValue* pData)
{
    // Read here rather than unwrapped as a map: data of another kind is ignored, not an error.
    if (pData->GenericType() != Zarn::CValue::vtMap)
    {
        return;
    }
    for (auto it = pData->Map()->begin(); it != pData->Map()->end(); ++it)
    {
        if (it.Value()->GenericType() == Zarn::CValue::vtBool)
        {
            m_handlers.m_fnControl(it.Key().ToString(), it.Value()->Bool());
        }
    }
}

void CWindowPlugin::NewDocument(Zarn::CValueMap* pDocument)
{
    m_lstDocuments.push_back(pDocument);
    if (pDocument != nullptr)
    {
        m_handlers.m_fnNewDocument(*pDocument);
    }
    m_handlers.m_fnDocumentsChanged();
}

void CWindowPlugin::InvalidDocument(Zarn::CValueMap* pDocument)
{
    std::erase(m_lstDocuments, pDocument);
    if (m_handlers.m_fnDocumentGone)
    {
        m_handlers.m_fnDocumentGone(pDocument);
    }
    m_handlers.m_fnDocumentsChanged();
}

void CWindowPlugin::DocumentChanged(Zarn::CValueMap* pDocument)
{
    // The change has been seen: the repository may drop the document's pending "update".
    m_handlers.m_fnPost("CHANGED_DOCUMENT", new Zarn::CValuePointer<Zarn::CValueMap>(pDocument));
    m_handlers.m_fnDocumentsChanged();
}

void CWindowPlugin::ActiveView(Zarn::CPluginBase* pView)
{
    std::string strCaption;
    const Zarn::CValueMap* pDocument = nullptr;
    if (pView != nullptr)
    {
        Zarn::CValueMap description;
        pView->Run(description);
        strCaption =
            description.EntryString(Zarn::CValue_Key("caption"), Zarn::CString()).StdString();
        pDocument = KnownDocument(description);
    }
    m_handlers.m_fnActiveView(strCaption, pDocument);
}

const Zarn::CValueMap* CWindowPlugin::KnownDocument(const Zarn::CValueMap& description) const
{
    // Only a document the window knows: a view may name none, or something else.
    const Zarn::CValue* pEntry = description.Entry(Zarn::CValue_Key("document"), false);
    if (pEntry == nullptr || pEntry->GenericType() != Zarn::CValue::vtPointer ||
        !Zarn::AreTypesEqual(pEntry->ElementType(), typeid(Zarn::CValueMap)))
    {
        return nullptr;
    }
    const Zarn::CValueMap* pNamed = DocView::PointerOf<Zarn::CValueMap>(pEntry);
    return std::find(m_lstDocuments.begin(), m_lstDocuments.end(), pNamed) != m_lstDocuments.end()
               ? pNamed
               : nullptr;
}

namespace
{

// The "action" of ACTIVITY_START or ACTIVITY_STOP data, or empty.
std::string ActionOf(const Zarn::CValue* pData)
{
    if (pData == nullptr || pData->GenericType() != Zarn::CValue::vtMap)
    {
        return std::string();
    }
    return pData->Map()->EntryString(Zarn::CValue_Key("action"), Zarn::CString()).StdString();
}

} // namespace

void CWindowPlugin::ActivityStarted(const Zarn::CValue* pData)
{
    const std::string strAction = ActionOf(pData);
    if (!strAction.empty())
    {
        m_setThreadedActions.insert(strAction);
    }
    if (++m_nRunning == 1 && m_handlers.m_fnActivity)
    {
        m_handlers.m_fnActivity(true);
    }
}

void CWindowPlugin::ActivityStopped(const Zarn::CValue* pData)
{
    // The toolbox posts ACTIVITY_STOP after every run, but ACTIVITY_START only for a tool thread:
    // a stop naming an action that never started is a run on the GUI thread and ends nothing.
    // A tool thread's stop carries "toolthread"; a thread that could not start names its
    // action; a bracket without data is someone else's.
    const bool bThread = pData != nullptr && pData->GenericType() == Zarn::CValue::vtMap &&
                         pData->Map()->HasEntry(Zarn::CValue_Key("toolthread"));
    const std::string strAction = ActionOf(pData);
    const bool bEndsRun =
        bThread || strAction.empty() || m_setThreadedActions.count(strAction) != 0;
    // Never below zero, so that a stop nobody started cannot leave a later run unannounced.
    if (!bEndsRun || m_nRunning == 0)
    {
        return;
    }
    if (--m_nRunning == 0 && m_handlers.m_fnActivity)
    {
        m_handlers.m_fnActivity(false);
    }
}

std::vector<Zarn::CValueMap*> CWindowPlugin::UnsavedDocuments() const
{
    std::vector<Zarn::CValueMap*> lstUnsaved;
    for (Zarn::CValueMap* pDocument : m_lstDocuments)
    {
        if (Zarn::ImageDocument::Image(*pDocument) != nullptr &&
            !Zarn::ImageDocument::IsSaved(*pDocument))
        {
            lstUnsaved.push_back(pDocument);
        }
    }
    return lstUnsaved;
}
