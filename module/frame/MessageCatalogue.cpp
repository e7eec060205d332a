#include "frame/MessageCatalogue.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Message/MessageIdFactory.h>

#include <array>
#include <cstdint>
#include <stdexcept>

namespace DocView
{

namespace
{

constexpr const char* kDocument = "document (Zarn::CValueMap)";
constexpr const char* kView = "view (Zarn::CPluginBase)";

using enum EMessagePayload;

// The columns: name, payload, pointee, senders, handlers, meaning. "docview-app" is the desktop
// program's window plug-in; "tools" are tool plug-ins run by the toolbox.
constexpr std::array kCatalogue{
    // Documents
    SMessageInfo{"ADD_DOCUMENT", Pointer, kDocument,
                 "toolbox (tool output documents/add); docview-app", "repository",
                 "Take a new document into the repository, which owns it from then on."},
    SMessageInfo{"REMOVE_DOCUMENT", Pointer, kDocument, "toolbox (tool output documents/remove)",
                 "repository", "Remove a document and all its views."},
    SMessageInfo{"UPDATE_DOCUMENT", Pointer, kDocument, "toolbox (tool output documents/update)",
                 "repository", "Apply the changes the document carries under \"update\"."},
    SMessageInfo{"CHANGED_DOCUMENT", Pointer, kDocument, "docview-app, after DOCUMENT_CHANGED",
                 "repository, toolbox",
                 "A document's change has been seen: clear its \"update\", re-check the tools."},
    SMessageInfo{"FOCUS_DOCUMENT", Pointer, kDocument, "host plug-ins", "repository",
                 "Make the document's first view the active one."},
    SMessageInfo{"NEW_DOCUMENT", Pointer, kDocument, "repository",
                 "view factory, toolbox, docview-app",
                 "A document was added: make its view, record it, list it."},
    SMessageInfo{
        "INVALID_DOCUMENT", Pointer, kDocument, "repository", "repository, toolbox, docview-app",
        "A document goes: drop every reference; the repository deletes it on its own echo."},
    SMessageInfo{"DOCUMENT_CHANGED", Pointer, kDocument, "repository, after an update",
                 "docview-app", "A document was updated in place."},
    // Views
    SMessageInfo{"ADD_VIEW", Map, "", "view factory; toolbox (tool output views/add)", "repository",
                 "Add a made view: \"document\" and \"view\" pointers, optional \"settings\" map."},
    SMessageInfo{"CREATE_VIEW", Map, "", "toolbox (tool output views/create)", "repository",
                 "Make a view of \"type\" on \"document\" through the registered factories."},
    SMessageInfo{"REMOVE_VIEW", Pointer, kView, "workspace (window closed); toolbox (tool output)",
                 "repository", "Remove a view; its document goes too when auto-remove is on."},
    SMessageInfo{"UPDATE_VIEW", Pointer, kView, "toolbox (tool output views/update)", "repository",
                 "Hand the view its document again so that it redraws."},
    SMessageInfo{"FOCUS_VIEW", Pointer, kView, "view stack, workspace, navigator (user's pick)",
                 "repository", "The user picked a view: make it the active one."},
    SMessageInfo{"NEW_VIEW", Pointer, kView, "repository",
                 "view stack, workspace, navigator, toolbox",
                 "A view was added: take its widget, record it."},
    SMessageInfo{"INVALID_VIEW", Pointer, kView, "repository",
                 "repository, view stack, workspace, navigator, toolbox",
                 "A view goes: drop every reference; the repository deletes it on its own echo."},
    SMessageInfo{"ACTIVE_VIEW", Pointer, kView, "repository",
                 "view stack, workspace, navigator, toolbox, docview-app",
                 "The active view changed (null: none is active); followed without echo."},
    SMessageInfo{"VIEW_CHANGED", Pointer, kView, "repository", "navigator",
                 "A view's description changed: refresh its entry."},
    SMessageInfo{"CHANGED_VIEW", Pointer, kView, "image view (selection changed)", "toolbox",
                 "A view's state changed: re-check which tools can run."},
    // Controls
    SMessageInfo{"UPDATE_CONTROLS", Map, "", "repository; toolbox", "docview-app",
                 "Action name to enabled flag, for the actions whose state changed."},
    SMessageInfo{"UPDATE_CONTEXT", Map, "", "host plug-ins", "toolbox",
                 "The new context the tools are checked against."},
    SMessageInfo{"ON_ACTION", Text, "", "docview-app (menus, tool bars, automation)",
                 "repository, toolbox, activity dialog",
                 "The user chose an action: make a view, run a tool or show the activity."},
    SMessageInfo{"ON_CONFIGURE", Text, "", "docview-app (Configure menu)", "toolbox",
                 "The user asked to configure the tool of the named action."},
    // Activity
    SMessageInfo{"ACTIVITY_START", Bracket, "", "toolbox, when a threaded tool starts",
                 "activity dialog, docview-app", "A threaded tool run began."},
    SMessageInfo{"ACTIVITY_UPDATE", Map, "", "tools", "activity dialog",
                 "Progress text for the activity dialog, read as \"data/message\"."},
    SMessageInfo{"ACTIVITY_STOP", Bracket, "", "tool thread, when it ends; toolbox",
                 "activity dialog, toolbox, docview-app",
                 "A tool run ended; carries the tool's output for the toolbox to apply."},
    // Host
    SMessageInfo{"SHUTDOWN", None, "", "toolbox (tool output error/exit)", "docview-app",
                 "Ask the host to shut the application down."},
};

std::logic_error CatalogueError(const char* name, const char* problem)
{
    return std::logic_error(std::string("message \"") + (name != nullptr ? name : "(null)") +
                            "\" " + problem);
}

} // namespace

std::span<const SMessageInfo> MessageCatalogue()
{
    return kCatalogue;
}

const SMessageInfo* FindMessage(std::string_view name)
{
    for (const SMessageInfo& info : kCatalogue)
    {
        if (name == info.szName)
        {
            return &info;
        }
    }
    return nullptr;
}

const char* PayloadName(EMessagePayload payload)
{
    switch (payload)
    {
    case None:
        return "none";
    case Text:
        return "text";
    case Map:
        return "map";
    case Pointer:
        return "pointer";
    case Bracket:
        return "any (optional)";
    }
    return "?";
}

CMessageTable& CMessageTable::On(const char* name, std::function<void()> handler)
{
    return Add(name, Bracket,
               [fnHandler = std::move(handler)](const Zarn::CValueMap&) { fnHandler(); });
}

CMessageTable& CMessageTable::OnMessage(const char* name, FMessageHandler handler)
{
    return Add(name, Bracket, std::move(handler));
}

CMessageTable& CMessageTable::OnData(const char* name,
                                     std::function<void(const Zarn::CValue* data)> handler)
{
    return Add(name, Bracket,
               [fnHandler = std::move(handler)](const Zarn::CValueMap& message)
               { fnHandler(MessageData(message)); });
}

CMessageTable& CMessageTable::OnText(const char* name,
                                     std::function<void(const std::string& text)> handler)
{
    return Add(name, Text,
               [fnHandler = std::move(handler)](const Zarn::CValueMap& message)
               {
                   const Zarn::CValue* pData = MessageData(message);
                   if (pData == nullptr)
                   {
                       throw Zarn::CExBadParam(ZARN_LOCATION, "message without text");
                   }
                   fnHandler(pData->String().StdString());
               });
}

CMessageTable& CMessageTable::OnMap(const char* name,
                                    std::function<void(const Zarn::CValueMap& data)> handler)
{
    return Add(name, Map,
               [fnHandler = std::move(handler)](const Zarn::CValueMap& message)
               {
                   const Zarn::CValue* pData = MessageData(message);
                   const Zarn::CValueMap* pMap = pData != nullptr ? pData->Map() : nullptr;
                   if (pMap == nullptr)
                   {
                       throw Zarn::CExBadType(ZARN_LOCATION, pData);
                   }
                   fnHandler(*pMap);
               });
}

bool CMessageTable::Dispatch(Zarn::CMessageIdFactory* idFactory,
                             const Zarn::CValueMap& message) const
{
    for (const SEntry& entry : m_lstEntries)
    {
        if (IsMessage(idFactory, message, entry.szName))
        {
            entry.fnHandler(message);
            return true;
        }
    }
    return false;
}

bool CMessageTable::DispatchWithData(Zarn::CMessageIdFactory* idFactory,
                                     const Zarn::CValueMap& message) const
{
    return HasMessageIdAndData(message) && Dispatch(idFactory, message);
}

std::vector<std::string> CMessageTable::Names() const
{
    std::vector<std::string> lstNames;
    lstNames.reserve(m_lstEntries.size());
    for (const SEntry& entry : m_lstEntries)
    {
        lstNames.emplace_back(entry.szName);
    }
    return lstNames;
}

// `expected` Bracket stands for "any kind": handlers that read the data or the message
// themselves fit every message.
CMessageTable& CMessageTable::Add(const char* name, EMessagePayload expected,
                                  FMessageHandler handler)
{
    const SMessageInfo* pInfo = name != nullptr ? FindMessage(name) : nullptr;
    if (pInfo == nullptr)
    {
        throw CatalogueError(name, "is not in the message catalogue");
    }
    if (expected != Bracket && pInfo->ePayload != expected)
    {
        throw CatalogueError(name, "is unwrapped as another payload than the catalogue gives");
    }
    for (const SEntry& entry : m_lstEntries)
    {
        if (std::string_view(entry.szName) == name)
        {
            throw CatalogueError(name, "is handled twice by one table");
        }
    }
    m_lstEntries.push_back(SEntry{pInfo->szName, std::move(handler)});
    return *this;
}

} // namespace DocView
