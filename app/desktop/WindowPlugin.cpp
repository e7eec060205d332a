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
}

void CWindowPlugin::UpdateParameters(const Zarn::CValueMap& message)
{
    const long nId = message.EntryLong(Zarn::CValue_Key("id"), -1);
    // The data of a message is lent to every receiver; pointers in it are not owned by it.
    Zarn::CValue* pData = const_cast<Zarn::CValue*>(message.Entry(Zarn::CValue_Key("data"), false));
    if (Is(nId, "SHUTDOWN"))
    {
        m_handlers.m_fnShutdown();
    }
    else if (Is(nId, "ACTIVITY_START")) // with or without data
    {
        ActivityStarted(pData);
    }
    else if (Is(nId, "ACTIVITY_STOP"))
    {
        ActivityStopped(pData);
    }
    else if (pData == nullptr)
    {
        return;
    }
    else if (Is(nId, "UPDATE_CONTROLS") && pData->GenericType() == Zarn::CValue::vtMap)
    {
        for (auto it = pData->Map()->begin(); it != pData->Map()->end(); ++it)
        {
            if (it.Value()->GenericType() == Zarn::CValue::vtBool)
            {
                m_handlers.m_fnControl(it.Key().ToString(), it.Value()->Bool());
            }
        }
    }
    else if (Is(nId, "NEW_DOCUMENT"))
    {
        m_lstDocuments.push_back(Zarn::UnwrapPointer<Zarn::CValueMap>(pData));
        if (m_lstDocuments.back() != nullptr)
        {
            m_handlers.m_fnNewDocument(*m_lstDocuments.back());
        }
        m_handlers.m_fnDocumentsChanged();
    }
    else if (Is(nId, "INVALID_DOCUMENT"))
    {
        const Zarn::CValueMap* pDocument = Zarn::UnwrapPointer<Zarn::CValueMap>(pData);
        std::erase(m_lstDocuments, pDocument);
        if (m_handlers.m_fnDocumentGone)
        {
            m_handlers.m_fnDocumentGone(pDocument);
        }
        m_handlers.m_fnDocumentsChanged();
    }
    else if (Is(nId, "DOCUMENT_CHANGED"))
    {
        // The change has been seen: the repository may drop the document's pending "update".
        Zarn::CValueMap* pDocument = Zarn::UnwrapPointer<Zarn::CValueMap>(pData);
        m_handlers.m_fnPost("CHANGED_DOCUMENT",
                            new Zarn::CValuePointer<Zarn::CValueMap>(pDocument));
        m_handlers.m_fnDocumentsChanged();
    }
    else if (Is(nId, "ACTIVE_VIEW"))
    {
        Zarn::CPluginBase* pView = Zarn::UnwrapPointer<Zarn::CPluginBase>(pData);
        std::string strCaption;
        const Zarn::CValueMap* pDocument = nullptr;
        if (pView != nullptr)
        {
            Zarn::CValueMap description;
            pView->Run(description);
            strCaption =
                description.EntryString(Zarn::CValue_Key("caption"), Zarn::CString()).StdString();
            // Only a document the window knows: a view may name none, or something else.
            const Zarn::CValue* pEntry = description.Entry(Zarn::CValue_Key("document"), false);
            if (pEntry != nullptr && pEntry->GenericType() == Zarn::CValue::vtPointer &&
                Zarn::AreTypesEqual(pEntry->ElementType(), typeid(Zarn::CValueMap)))
            {
                const Zarn::CValueMap* pNamed =
                    Zarn::UnwrapPointer<Zarn::CValueMap>(const_cast<Zarn::CValue*>(pEntry));
                if (std::find(m_lstDocuments.begin(), m_lstDocuments.end(), pNamed) !=
                    m_lstDocuments.end())
                {
                    pDocument = pNamed;
                }
            }
        }
        m_handlers.m_fnActiveView(strCaption, pDocument);
    }
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
