#pragma once

#include "frame/MessageCatalogue.h"

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/String/String.h>
#include <Zarn/Value/ValueContainer.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace Zarn
{
class CLogger;
class CMessageIdFactory;
class CMessageThread;
} // namespace Zarn

class CToolEntry;
class CToolThread;

// Runs tool plug-ins on the focused document and turns their output into document and view
// changes. Created by the module entry as "Toolbox". Loads the tools of "tool plugins" in Init,
// keeps a picture of the workspace (documents, views, focus, context) that it hands to every
// tool, posts "UPDATE_CONTROLS" with the actions whose enabled state changed, runs a tool on
// "ON_ACTION" (on the GUI thread, or in a CToolThread when its description says "threaded") and
// configures it on "ON_CONFIGURE".
//
// Owns: every CToolEntry (and through it the tools and configuration plug-ins) and every
// CToolThread until its run is collected. Lends: each tool to its tool thread for one run. Borrows
// (never deletes): the communication thread, the message id factory and the logger taken in
// Init, and the documents and views it is told about.
//
// Thread: the GUI thread only; tool threads never touch its members.
//
// Handles, in this order: ACTIVE_VIEW, NEW_DOCUMENT, INVALID_DOCUMENT, NEW_VIEW, INVALID_VIEW,
// CHANGED_DOCUMENT, CHANGED_VIEW, UPDATE_CONTEXT, ON_ACTION, ACTIVITY_STOP, ON_CONFIGURE; a
// message without "id" and "data" is ignored. Sends: UPDATE_CONTROLS, ACTIVITY_START and
// ACTIVITY_STOP around a run, and for a run's output ADD_DOCUMENT, REMOVE_DOCUMENT,
// UPDATE_DOCUMENT, ADD_VIEW, CREATE_VIEW, REMOVE_VIEW, UPDATE_VIEW and SHUTDOWN.
//
// Errors: a failing configuration or run is shown in a critical message box, logged at level 4
// (a tool's own reported error at level 3) and the tool is reloaded from its description; a
// tool that fails to load is written to standard error and logged at level 4. Every call into a
// tool, a configuration plug-in or a view runs under the system-exception guard (Init,
// UpdateParameters and DeleteData install the translator on the calling thread): a native fault
// is reported like a thrown error on the same path, and a tool that faulted is reloaded (or
// dropped when the reload fails), so that no later message reaches a broken tool. Init and
// UpdateParameters are not wrapped: what they throw otherwise (a tool's error while the tools
// are asked, "Invalid message data!" for ON_ACTION and ON_CONFIGURE, a wrong data type) reaches
// the caller unchanged.
//
// A tool is never deleted while a run of it is in flight: an entry that leaves the action maps
// (a reload, or a second description under the same call action) is retired until the run's
// "ACTIVITY_STOP" is collected, and DeleteData and the destructor wait for every running tool
// thread first. DeleteData releases the tools; the destructor does not.
class CToolboxPlugin : public Zarn::CPluginBase
{
public:
    CToolboxPlugin();
    ~CToolboxPlugin() override;

    // "Version" and "PluginName"; no "PluginType", "PluginSubType" or "WidgetPtr".
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    // Borrows "tmp/commthread", "tmp/messageidfactory" and "tmp/logger", reads "name" (default
    // "CToolBoxPlugin") and loads the tools of "tool plugins" (then posts their enabled state).
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    // Destroys every tool entry; the workspace picture and the saved descriptions stay.
    void DeleteData() override;
    void UpdateParameters(const Zarn::CValueMap& message) override;

    // Loads one tool from its description ("plugin", "callaction", optional "threaded",
    // "configplugin", "configaction"). Failures to create the tool or its configuration
    // plug-in, and native faults in their Init or the tool's UpdateParameters, are written to
    // the console, logged and skip the tool; what the tool's Init or UpdateParameters throws
    // reaches the caller. With `bRegister` the description is saved for later reloads. An entry
    // already under the call action is released.
    void LoadToolPlugin(const Zarn::CValueMap& description, bool bRegister);

    // The workspace picture handed to the tools under "input".
    const Zarn::CValueMap& State() const { return m_state; }

private:
    // The tool being asked in UpdatePlugins, for the error that ends the pass.
    struct SAskedTool
    {
        CToolEntry* m_pEntry = nullptr;
        std::string m_strAction;
    };

    // A tool thread under way and the entry whose tool it runs.
    struct SRun
    {
        std::unique_ptr<CToolThread> m_pThread;
        CToolEntry* m_pEntry = nullptr; // lent by m_actions or m_retiredEntries
    };

    DocView::CMessageTable BuildMessageTable();
    // A handler that runs `step` with the message's data and then UpdatePlugins.
    template <class TArg> auto ThenUpdatePlugins(void (CToolboxPlugin::*step)(TArg));

    // Loading steps. CreatePlugin reports a failure (with the exception's text; a
    // std::exception's only when `bStdExceptionText`) and answers null.
    std::unique_ptr<Zarn::CPluginBase> CreatePlugin(const char* kind, const std::string& name,
                                                    bool bStdExceptionText);
    // False when the configuration plug-in cannot be made; then the tool is dropped.
    bool AttachConfigPlugin(const Zarn::CValueMap& description, CToolEntry& entry,
                            std::string& strConfigAction);
    void RegisterEntry(const Zarn::CValueMap& description, bool bRegister,
                       const std::string& shortName, const std::string& configAction,
                       std::unique_ptr<CToolEntry> entry);
    // "<kind><plugin> not loaded..." on standard error (with `what` when given) and in the log.
    void ReportNotLoaded(const char* kind, const std::string& plugin, const char* what);

    // The workspace picture.
    void AddNewDocument(Zarn::CValueMap* document);
    void InvalidateDocument(Zarn::CValueMap* document);
    void NewView(Zarn::CPluginBase* view);
    void InvalidateView(Zarn::CPluginBase* view);
    void SetActiveView(const Zarn::CValue* data);
    void UpdateContext(const Zarn::CValueMap& context);
    void RebuildAvailableDocuments();
    void RebuildAvailableViews();
    // After `object` left its list: clears `current` (and the picture's `currentPath`) when it
    // was the object, then removes the picture's `availablePath` when none is left, or rebuilds
    // it.
    template <class TObject>
    void ForgetRemoved(TObject* object, TObject*& current, const char* currentPath, bool bNoneLeft,
                       const char* availablePath, void (CToolboxPlugin::*rebuild)());

    // Asks every tool whether it can run on the picture and posts the changes. The first tool
    // error ends the pass and is rethrown as a Zarn::CException naming the tool; a tool that
    // faulted natively is reloaded before that.
    void UpdatePlugins();
    // One pass over the tools; true when an enabled state changed. `asked` names the tool
    // being asked.
    bool AskTools(const Zarn::CValueMap& input, Zarn::CValueMap& controls, SAskedTool& asked);
    // Inside a catch: rethrows the current error as UpdatePlugins' error about `asked`, with
    // the current context set back to `context`.
    [[noreturn]] void RethrowToolError(const SAskedTool& asked, const std::string& context);

    // Message flows.
    void OnAction(const Zarn::CValue* data);
    void OnActivityStop(const Zarn::CValueMap& message);
    void OnConfigure(const Zarn::CValue* data);
    void ExecuteAction(const std::string& action);
    // Posts "ACTIVITY_START" and starts the entry's tool in a tool thread of its own.
    void StartToolThread(const std::string& action, CToolEntry* entry);
    // Runs the entry's tool here and posts "ACTIVITY_STOP", also when the tool throws.
    void RunOnThisThread(const std::string& action, CToolEntry* entry);
    // Calls `call` as a run of `entry`: no message handled meanwhile may delete the entry.
    template <class TCall> void WhileRunning(CToolEntry* entry, TCall&& call);
    void HandleToolOutput(const Zarn::CValueMap& message);
    // Turns a run's output into document and view messages and reports its own error.
    void PostToolOutput(const Zarn::CValueMap& data);
    // The tool's own "error" of its output: a box, a warning, and "SHUTDOWN" when it says "exit".
    void ReportToolError(const Zarn::CValueMap& output);
    // Posts the stop of a run on this thread; when the output cannot go, a stop naming only the
    // action does and the failure is thrown.
    void SendActivityStop(const std::string& action, Zarn::CValueMap* output);
    // Waits for a run's thread, deletes it and finishes the run of its entry.
    void CollectRun(CToolThread* thread);

    // Destroys the entry under `action` (a call or configuration action), forgets every slot
    // that names it and loads its tool again from the saved description. When the reload does
    // not bring the tool back, its actions are gone.
    void ReloadTool(const std::string& action, bool bRegister);
    // The reload after a native fault: a tool that cannot be brought back is reported on the
    // console and in the log, and its actions are gone; nothing is thrown.
    void ReloadFaultedTool(const std::string& action);

    // Runs in flight. TakeEntry removes every slot that names the entry and hands it over;
    // ReleaseEntry deletes it, or retires it while a run of it is under way, until FinishRun
    // ends its last run.
    std::unique_ptr<CToolEntry> TakeEntry(CToolEntry* entry);
    void ReleaseEntry(std::unique_ptr<CToolEntry> entry);
    void FinishRun(CToolEntry* entry);
    // Waits for every tool thread still running, deletes it and forgets its run.
    void WaitForRuns();

    void Send(const char* name, Zarn::CValue* data);
    // A line at `level` (Zarn::CLogger levels), closed with Zarn::notype; nothing before Init.
    void LogLine(int level, const std::string& text);

    Zarn::CMessageIdFactory* m_pMessageIdFactory; // lent by the host
    Zarn::CMessageThread* m_pCommThread;          // lent by the host
    Zarn::CLogger* m_pLogger;                     // lent by the host
    Zarn::CString m_strName;
    std::vector<Zarn::CValueMap*> m_documents; // lent, in order of announcement
    Zarn::CValueMap* m_pFocusedDocument;       // lent
    std::set<Zarn::CPluginBase*> m_views;      // lent, in address order
    Zarn::CPluginBase* m_pActiveView;          // lent
    Zarn::CValueMap m_state;
    std::map<std::string, std::unique_ptr<CToolEntry>> m_actions; // under the call action
    // Lent: the entries of m_actions under their configuration action.
    std::map<std::string, CToolEntry*> m_configActions;
    std::map<std::string, Zarn::CValueMap> m_actionParameters;
    std::map<std::string, std::string> m_actionNames; // the tool's file name, no directory
    std::map<CToolThread*, SRun> m_runs;              // keyed by the thread the message names
    std::vector<std::unique_ptr<CToolEntry>> m_retiredEntries; // out of the maps, runs in flight
    // Entries a later description under the same call action replaced, in that order; released
    // with the others.
    std::vector<std::unique_ptr<CToolEntry>> m_replacedEntries;
    const DocView::CMessageTable m_messages; // built once; handlers use `this`
};
