#pragma once

#include "frame/MessageCatalogue.h"

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>

class QLabel;

namespace Zarn
{
class CLogger;
class CMessageIdFactory;
class CMessageThread;
class CValue;
} // namespace Zarn

// The document repository: owns every open document (a Zarn::CValueMap), every view (a plug-in
// made by a view factory) and the view factory plug-ins loaded in Init; keeps the active view and
// document and announces every change by a message. Other plug-ins ask for changes only by
// messages (UpdateParameters).
//
// Owns: the documents from ADD_DOCUMENT on, the views from their factory's answer (or ADD_VIEW)
// on, the view factories, and the hidden "Orphanage" label that parents new view widgets. Lends:
// documents and views as non-owning pointer values in its messages, valid until the INVALID_...
// message for them has come back; the host objects borrowed in Init are never deleted.
//
// Thread: the delivering (GUI) thread only; takes no locks. Documents and views are deleted in
// two phases: removal broadcasts INVALID_DOCUMENT / INVALID_VIEW and the object is deleted only
// when that broadcast comes back to the repository, so every receiver can still look at it.
//
// Throws: Zarn::CException from its operations (texts such as "Invalid Documnet!" are kept as
// other modules match them), Zarn::CExBadType / Zarn::CExBadParam for data of the wrong kind,
// and whatever a factory or view throws. Nothing is wrapped: exceptions leave Init and
// UpdateParameters unchanged (Zarn::CPluginBase says what the host then does: a failed Init stops
// the start, a failed message is logged at level 4 and delivery goes on). Problems that end no
// operation (a view factory that fails to load, a document no factory can show) go to the borrowed
// logger at levels 4 and 3; a factory that makes no view (the user cancelled) is told on standard
// output.
//
// Handles: ADD_DOCUMENT, REMOVE_DOCUMENT, INVALID_DOCUMENT (its own echo), UPDATE_DOCUMENT,
// CHANGED_DOCUMENT, FOCUS_DOCUMENT, ADD_VIEW, REMOVE_VIEW, INVALID_VIEW (its own echo),
// UPDATE_VIEW, FOCUS_VIEW, CREATE_VIEW, ON_ACTION, compared in this order.
// Sends: NEW_DOCUMENT, INVALID_DOCUMENT, DOCUMENT_CHANGED, NEW_VIEW, INVALID_VIEW, ACTIVE_VIEW,
// VIEW_CHANGED, UPDATE_CONTROLS.
//
// DeleteData() releases every document, view and factory and the Orphanage; the destructor
// deletes none of them (the owner calls DeleteData() first, as the plug-in contract says).
class CRepositoryPlugin : public Zarn::CPluginBase
{
public:
    CRepositoryPlugin();
    ~CRepositoryPlugin() override;

    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Wires to the host, reads the settings and loads the view factories. A failing "views"
    // entry is logged and skipped; other failures reach the caller.
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    void DeleteData() override;
    // Dispatches the thirteen request messages through the message table; ignores anything
    // else and any map without "id" or "data".
    void UpdateParameters(const Zarn::CValueMap& message) override;

private:
    using ViewList = std::list<Zarn::CPluginBase*>;
    using DocumentList = std::list<Zarn::CValueMap*>;

    // Documents.
    void AddDocument(Zarn::CValueMap* doc);
    void RemoveDocument(Zarn::CValueMap* doc);
    void DeleteDocument(Zarn::CValueMap* doc);
    void UpdateDocument(Zarn::CValueMap* doc);
    void ClearDocumentUpdate(Zarn::CValueMap* doc);
    std::uint32_t NextLabelIndex(const std::string& label);

    // Messages.
    DocView::CMessageTable MakeMessageTable();
    void AddViewOnRequest(const Zarn::CValueMap& request);
    void CreateViewOnRequest(const Zarn::CValueMap& request);

    // View creation through the factories.
    void CreateView(Zarn::CValueMap* doc, Zarn::CPluginBase* factory);
    Zarn::CPluginBase* MakeViewWith(Zarn::CPluginBase* factory, Zarn::CValueMap* doc);
    std::optional<Zarn::CValueMap> ActiveViewSettings();
    void CreateStandardView(Zarn::CValueMap* doc);
    void CreateViewOnAction(const std::string& action);
    void CreateViewOnType(Zarn::CValueMap* doc, const std::string& type);

    // Views, focus and removal.
    void AddView(Zarn::CValueMap* doc, Zarn::CPluginBase* view, const Zarn::CValueMap* settings);
    void FocusView(Zarn::CPluginBase* view);
    void FocusDocument(Zarn::CValueMap* doc);
    void UpdateView(Zarn::CPluginBase* view, bool notify);
    void RemoveView(Zarn::CPluginBase* view, bool autoRemove);
    void DropView(Zarn::CPluginBase* view);
    void KillView(Zarn::CPluginBase* view);

    // Sends "UPDATE_CONTROLS" with the actions whose enabled state changed, if any.
    void UpdateControls();

    void Send(const char* name, Zarn::CValue* data);
    // A line at `level`, closed with Zarn::notype; and a line at the logger's current level.
    void LogLine(int level, const std::string& text);
    void LogPlain(const std::string& text);
    // One "views" entry of Init: loads, initialises and registers a factory, logging failures.
    void LoadViewFactory(const Zarn::CValue* entry);
    void InitViewFactory(const Zarn::CValue* entry);
    void RegisterViewFactory(const Zarn::CValueMap& parameters, Zarn::CPluginBase* factory);

    bool IsLiveDocument(const Zarn::CValueMap* doc) const;
    bool IsLiveView(const Zarn::CPluginBase* view) const;
    // A new view goes to the end of m_lstViews; a focused live view moves there (the most
    // recently focused place).
    void AppendView(Zarn::CPluginBase* view);
    void MoveViewToEnd(Zarn::CPluginBase* view);
    void EraseView(Zarn::CPluginBase* view);

    Zarn::CMessageIdFactory* m_pMessageIdFactory; // lent by the host
    Zarn::CMessageThread* m_pCommThread;          // lent by the host
    Zarn::CLogger* m_pLogger;                     // lent by the host

    std::string m_strName;
    DocView::CMessageTable m_messageTable; // built once by the constructor
    // Documents, views and factories are held by raw pointers on purpose: messages carry them as
    // pointer values, the two-phase deletion keeps a removed one alive in a dead set until its
    // INVALID_... echo, and the destructor must not delete them (DeleteData() does, views and
    // factories through their own DeleteData() first).
    DocumentList m_lstDocuments;                   // owned, in order of addition
    std::set<Zarn::CValueMap*> m_setDeadDocuments; // owned, INVALID_DOCUMENT under way
    Zarn::CValueMap* m_pActiveDocument;            // one of m_lstDocuments, or null
    std::map<std::string, std::uint32_t> m_mapLabelCount;
    ViewList m_lstViews;                         // owned, least recently focused first
    std::set<Zarn::CPluginBase*> m_setDeadViews; // owned, INVALID_VIEW under way
    Zarn::CPluginBase* m_pActiveView;            // one of m_lstViews, or null
    // Owned; in address order, the order DeleteData() releases them in.
    std::set<Zarn::CPluginBase*> m_setFactories;
    // Owned; parent of new view widgets until a container takes them. Deleted by DeleteData()
    // (closed first), not by the destructor, like everything else the repository holds.
    QLabel* m_pOrphanage;
    // The factories again, not owned: the "autocreate" ones in "views" order, and those that
    // serve an action or a document type.
    std::list<Zarn::CPluginBase*> m_lstAutoCreate;
    std::map<std::string, Zarn::CPluginBase*> m_mapActionFactory;
    std::map<std::string, bool> m_mapActionEnabled;
    std::map<std::string, Zarn::CPluginBase*> m_mapTypeFactory;
    bool m_bAutoRemoveDoc;
    bool m_bAutoSelectDoc;
    bool m_bAutoSelectView;

    // Positions in the two lists, so that membership tests and moves stay constant-time.
    std::unordered_map<const Zarn::CValueMap*, DocumentList::iterator> m_mapDocumentPositions;
    std::unordered_map<const Zarn::CPluginBase*, ViewList::iterator> m_mapViewPositions;
};
