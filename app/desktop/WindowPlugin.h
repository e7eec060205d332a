#pragma once

#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/Value.h>

#include <functional>
#include <string>
#include <vector>

// The main window's own receiver on the communication thread. It keeps the list of open
// documents (to ask before unsaved work is lost) and hands the messages that concern the window
// to it; it changes nothing itself.
class CWindowPlugin : public Zarn::CPluginBase
{
public:
    struct SHandlers
    {
        // Action name and its new state, for each entry of UPDATE_CONTROLS.
        std::function<void(const std::string&, bool)> m_fnControl;
        std::function<void()> m_fnShutdown;
        // The caption of the active view, empty when none is active.
        std::function<void(const std::string&)> m_fnActiveView;
        // A document came, went or changed.
        std::function<void()> m_fnDocumentsChanged;
        // A new document, before m_fnDocumentsChanged.
        std::function<void(const Zarn::CValueMap&)> m_fnNewDocument;
        // Posts a message (name, data taken).
        std::function<void(const char*, Zarn::CValue*)> m_fnPost;
    };

    CWindowPlugin(Zarn::CMessageIdFactory& ids, SHandlers handlers);

    void UpdateParameters(const Zarn::CValueMap& message) override;

    // The open documents, in the order they came.
    const std::vector<Zarn::CValueMap*>& Documents() const { return m_lstDocuments; }
    std::vector<Zarn::CValueMap*> UnsavedDocuments() const;

private:
    bool Is(long id, const char* name) const { return id == m_ids.GetMessageId(name); }

    Zarn::CMessageIdFactory& m_ids;
    SHandlers m_handlers;
    std::vector<Zarn::CValueMap*> m_lstDocuments;
};
