#pragma once

#include <Zarn/Plugin/PluginBase.h>

#include <cstdint>
#include <list>
#include <map>
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
class CValueMap;
} // namespace Zarn

// The document repository: owns every open document (a Zarn::CValueMap), every view (a plug-in
// made by a view factory) and the view factory plug-ins loaded in Init; keeps the active view and
// document and announces every change by a message. Other plug-ins ask for changes only by
// messages (UpdateParameters).
//
// Runs on the delivering (GUI) thread only; takes no locks. Documents and views are deleted in
// two phases: removal broadcasts "INVALID_DOCUMENT" / "INVALID_VIEW" and the object is deleted
// only when that broadcast comes back to the repository, so every receiver can still look at it.
// Operations throw Zarn::CException (or what the host throws) and are not wrapped: exceptions
// leave UpdateParameters unchanged.
//
// DeleteData() releases every document, view and factory and the Orphanage; the destructor
// deletes none of them (the owner calls DeleteData() first, as the plug-in contract says).
class CRepositoryPlugin : public Zarn::CPluginBase
{
public:
    CRepositoryPlugin();
    CRepositoryPlugin(const CRepositoryPlugin&) = delete;
    CRepositoryPlugin& operator=(const CRepositoryPlugin&) = delete;
    ~CRepositoryPlugin() override;

    using Zarn::CPluginBase::Init;
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Wires to the host, reads the settings and loads the view factories. A failing "views"
    // entry is logged and skipped; other failures reach the caller.
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    void DeleteData() override;
    // Dispatches the thirteen request messages; ignores anything else and any map without "id"
    // or "data".
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

    // View creation through the factories.
    void CreateView(Zarn::CValueMap* doc, Zarn::CPluginBase* factory);
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
    void LoadViewFactory(const Zarn::CValue* entry);

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
    DocumentList m_lstDocuments;                   // owned, in order of addition
    std::set<Zarn::CValueMap*> m_setDeadDocuments; // owned, "INVALID_DOCUMENT" under way
    Zarn::CValueMap* m_pActiveDocument;
    std::map<std::string, std::uint32_t> m_mapLabelCount;
    ViewList m_lstViews;                         // owned, least recently focused first
    std::set<Zarn::CPluginBase*> m_setDeadViews; // owned, "INVALID_VIEW" under way
    Zarn::CPluginBase* m_pActiveView;
    std::set<Zarn::CPluginBase*> m_setFactories;   // owned
    QLabel* m_pOrphanage;                          // owned; parent of views until a container
    std::list<Zarn::CPluginBase*> m_lstAutoCreate; // factories, in "views" order
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
