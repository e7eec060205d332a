#pragma once

namespace Zarn
{
class CPluginBase;
} // namespace Zarn

// One loaded tool of the toolbox: the tool plug-in, its optional configuration plug-in, the
// enabled state last reported to the GUI and the number of runs in flight.
//
// Owns both plug-ins: destruction calls the tool's DeleteData and deletes it, then deletes the
// configuration plug-in (without DeleteData); a native fault or an error in that clean-up leaves
// what is left of the plug-in behind instead of ending the program, and the destructor never
// throws. Lends the tool to a tool thread for one run and both plug-ins to the toolbox's calls.
// Owned by the toolbox (CToolboxPlugin), which must not destroy it while RunsInFlight() is not
// zero. Thread: the GUI thread only. Throws: Configure passes on what the plug-ins throw (a
// native fault as the translator's exception). Sends and handles no message.
class CToolEntry
{
public:
    // Takes the tool; not threaded, not enabled, no configuration.
    explicit CToolEntry(Zarn::CPluginBase* tool);
    CToolEntry(const CToolEntry&) = delete;
    CToolEntry& operator=(const CToolEntry&) = delete;
    ~CToolEntry();

    Zarn::CPluginBase* Tool() const { return m_pTool; }
    Zarn::CPluginBase* Config() const { return m_pConfig; }
    bool HasConfig() const { return m_bHasConfig; }
    bool IsThreaded() const { return m_bThreaded; }
    void SetThreaded(bool bThreaded) { m_bThreaded = bThreaded; }
    bool IsEnabled() const { return m_bEnabled; }
    void SetEnabled(bool bEnabled) { m_bEnabled = bEnabled; }

    // Runs of the tool (or of its configuration) that have started and not yet been collected:
    // tool threads still under way, and calls on the GUI thread that may deliver messages
    // meanwhile (a modal dialog runs an event loop).
    void BeginRun() { ++m_nRunsInFlight; }
    void EndRun() { --m_nRunsInFlight; }
    int RunsInFlight() const { return m_nRunsInFlight; }

    // Takes the configuration plug-in; one attached before is released (DeleteData, delete).
    void SetConfig(Zarn::CPluginBase* config);

    // Runs the configuration plug-in with {"config user": ask} and, when it answers with
    // "parameters", hands its whole answer to the tool's UpdateParameters. mode 0 asks the user,
    // 1 asks when the tool's setup record says "config user" (or has no such entry), 2 never
    // asks, any other mode asks. True when the tool received new parameters; false without a
    // configuration plug-in or when the user cancelled. What the plug-ins throw reaches the
    // caller.
    bool Configure(int mode);

private:
    bool m_bHasConfig;
    bool m_bThreaded;
    Zarn::CPluginBase* m_pTool;   // owned
    Zarn::CPluginBase* m_pConfig; // owned when m_bHasConfig
    bool m_bEnabled;
    int m_nRunsInFlight;
};
