#pragma once

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/String/String.h>
#include <Zarn/Value/ValueContainer.h>

#include <map>
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
// GUI thread only; tool threads never touch its members. A failing configuration or run is shown
// in a critical message box and the tool is reloaded from its description. Every call into a
// tool, a configuration plug-in or a view runs under the system-exception guard (Init,
// UpdateParameters and DeleteData install the translator on the calling thread): a native fault
// is reported like a thrown error on the same path, and a tool that faulted is reloaded (or
// dropped when the reload fails), so that no later message reaches a broken tool. Init and
// UpdateParameters are not wrapped: what they throw otherwise reaches the caller unchanged. The
// host objects borrowed in Init are never deleted. A tool is never deleted while a run of it is
// in flight: a reload retires the old entry until the run's "ACTIVITY_STOP" is collected, and
// DeleteData and the destructor wait for every running tool thread first. DeleteData releases
// the tools; the destructor does not.
class CToolboxPlugin : public Zarn::CPluginBase
{
public:
    CToolboxPlugin();
    CToolboxPlugin(const CToolboxPlugin&) = delete;
    CToolboxPlugin& operator=(const CToolboxPlugin&) = delete;
    ~CToolboxPlugin() override;

    using Zarn::CPluginBase::Init;
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
    // the console and skip the tool; what the tool's Init or UpdateParameters throws reaches the
    // caller. With `bRegister` the description is saved for later reloads.
    void LoadToolPlugin(const Zarn::CValueMap& description, bool bRegister);

    // The workspace picture handed to the tools under "input".
    const Zarn::CValueMap& State() const { return m_state; }

private:
    // The workspace picture.
    void AddNewDocument(Zarn::CValueMap* document);
    void InvalidateDocument(Zarn::CValueMap* document);
    void NewView(Zarn::CPluginBase* view);
    void InvalidateView(Zarn::CPluginBase* view);
    void SetActiveView(const Zarn::CValue* data);
    void UpdateContext(const Zarn::CValueMap& context);
    void RebuildAvailableDocuments();
    void RebuildAvailableViews();

    // Asks every tool whether it can run on the picture and posts the changes. The first tool
    // error ends the pass and is rethrown as a Zarn::CException naming the tool; a tool that
    // faulted natively is reloaded before that.
    void UpdatePlugins();

    // Message flows.
    void OnAction(const Zarn::CValue* data);
    void OnActivityStop(const Zarn::CValueMap& message);
    void OnConfigure(const Zarn::CValue* data);
    void ExecuteAction(const std::string& action);
    void HandleToolOutput(const Zarn::CValueMap& message);
    // Turns a run's output into document and view messages and reports its own error.
    void PostToolOutput(const Zarn::CValueMap& data);
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
    // console and its actions are gone; nothing is thrown.
    void ReloadFaultedTool(const std::string& action);

    // Runs in flight. An entry that leaves the action maps while a run of it is under way is
    // retired and deleted when its last run is collected.
    void ReleaseEntry(CToolEntry* entry);
    void FinishRun(CToolEntry* entry);
    // Waits for every tool thread still running, deletes it and forgets its run.
    void WaitForRuns();

    void Send(const char* name, Zarn::CValue* data);

    Zarn::CMessageIdFactory* m_pMessageIdFactory; // lent by the host
    Zarn::CMessageThread* m_pCommThread;          // lent by the host
    Zarn::CLogger* m_pLogger;                     // lent by the host
    Zarn::CString m_strName;
    std::vector<Zarn::CValueMap*> m_documents; // lent, in order of announcement
    Zarn::CValueMap* m_pFocusedDocument;       // lent
    std::set<Zarn::CPluginBase*> m_views;      // lent, in address order
    Zarn::CPluginBase* m_pActiveView;          // lent
    Zarn::CValueMap m_state;
    std::map<std::string, CToolEntry*> m_actions;       // owned, under the call action
    std::map<std::string, CToolEntry*> m_configActions; // shares the entries of m_actions
    std::map<std::string, Zarn::CValueMap> m_actionParameters;
    std::map<std::string, std::string> m_actionNames; // the tool's file name, no directory
    std::map<CToolThread*, CToolEntry*> m_runs;       // threads owned until collected
    std::vector<CToolEntry*> m_retiredEntries;        // owned; out of the maps, runs in flight
};
