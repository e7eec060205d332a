#pragma once

#include "frame/MessageCatalogue.h"

#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/Value.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

// The main window's own receiver on the communication thread. It keeps the list of open
// documents (to ask before unsaved work is lost) and the count of tool runs in flight, and hands
// the messages that concern the window to it; it changes nothing itself.
//
// Owns its handlers; the documents it lists are lent by the repository that owns them, and each
// is dropped from the list at its INVALID_DOCUMENT. Borrows the message id factory, which must
// outlive it. Called on the GUI thread, where the communication thread delivers. Throws nothing of
// its own; what a handler throws reaches the message thread, which logs it. Handles SHUTDOWN,
// ACTIVITY_START, ACTIVITY_STOP, UPDATE_CONTROLS, NEW_DOCUMENT, INVALID_DOCUMENT,
// DOCUMENT_CHANGED and ACTIVE_VIEW; posts CHANGED_DOCUMENT (through m_fnPost).
class CWindowPlugin : public Zarn::CPluginBase
{
public:
    struct SHandlers
    {
        // Action name and its new state, for each entry of UPDATE_CONTROLS.
        std::function<void(const std::string&, bool)> m_fnControl;
        std::function<void()> m_fnShutdown;
        // The caption of the active view, empty when none is active, and its document (or null).
        std::function<void(const std::string&, const Zarn::CValueMap*)> m_fnActiveView;
        // A document came, went or changed.
        std::function<void()> m_fnDocumentsChanged;
        // A new document, before m_fnDocumentsChanged.
        std::function<void(const Zarn::CValueMap&)> m_fnNewDocument;
        // A document is going (INVALID_DOCUMENT), before m_fnDocumentsChanged: the pointer must
        // not be used after the call.
        std::function<void(const Zarn::CValueMap*)> m_fnDocumentGone;
        // Posts a message (name, data taken).
        std::function<void(const char*, Zarn::CValue*)> m_fnPost;
        // True when the first run starts, false when the last one in flight has stopped.
        std::function<void(bool)> m_fnActivity;
    };

    CWindowPlugin(Zarn::CMessageIdFactory& ids, SHandlers handlers);

    void UpdateParameters(const Zarn::CValueMap& message) override;

    // The open documents, in the order they came.
    const std::vector<Zarn::CValueMap*>& Documents() const { return m_lstDocuments; }
    std::vector<Zarn::CValueMap*> UnsavedDocuments() const;
    // Runs between an ACTIVITY_START and the ACTIVITY_STOP that ends it.
    int RunningActivities() const { return m_nRunning; }

private:
    void ActivityStarted(const Zarn::CValue* pData);
    void ActivityStopped(const Zarn::CValue* pData);
    void UpdateControls(const Zarn::CValue* pData);
    void NewDocument(Zarn::CValueMap* pDocument);
    void InvalidDocument(Zarn::CValueMap* pDocument);
    void DocumentChanged(Zarn::CValueMap* pDocument);
    void ActiveView(Zarn::CPluginBase* pView);
    // The view's document when the window knows it; null otherwise.
    const Zarn::CValueMap* KnownDocument(const Zarn::CValueMap& description) const;

    Zarn::CMessageIdFactory& m_ids;
    SHandlers m_handlers;
    // Messages whose arrival counts, with or without data.
    DocView::CMessageTable m_arrivals;
    // Messages that count only with data; a message of theirs without any is ignored.
    DocView::CMessageTable m_withData;
    std::vector<Zarn::CValueMap*> m_lstDocuments;
    int m_nRunning = 0;
    // Actions that ever posted ACTIVITY_START: they run on tool threads.
    std::set<std::string> m_setThreadedActions;
};
