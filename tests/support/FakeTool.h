#pragma once

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace DocViewTest
{

// What the doubles of one name lived through, filled on the GUI thread.
struct SPluginCounts
{
    int m_nInstances = 0;
    int m_nDestroyed = 0;
    int m_nDeleteData = 0;
    std::vector<Zarn::CValueMap> m_lstInit;    // every Init map, copied
    std::vector<Zarn::CValueMap> m_lstUpdates; // every UpdateParameters map, copied
};

// What both doubles share: each instance is counted, and so are its end and DeleteData; every
// Init and UpdateParameters map is kept. Lends the counts; GUI thread; throws nothing of its own;
// keeps every message it is given, sends none.
class CCountedPlugin : public Zarn::CPluginBase
{
public:
    explicit CCountedPlugin(SPluginCounts* counts);
    ~CCountedPlugin() override;

    using Zarn::CPluginBase::Init;
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    void UpdateParameters(const Zarn::CValueMap& message) override;
    void DeleteData() override;

private:
    SPluginCounts* m_pCounts;
};

// How a tool double behaves; shared by the test and every instance made under that name.
struct SToolBehaviour : SPluginCounts
{
    // TestParameters; default true.
    std::function<bool(const Zarn::CValueMap& input)> m_fnTest;
    // The run operation; default: nothing. May run on a tool thread.
    std::function<void(Zarn::CValueMap& data)> m_fnRun;
    // Names the thread a run happens on (for m_strRunContext); unset: nothing is noted.
    std::function<std::string()> m_fnContext;
    // Init throws a Zarn::CException when set.
    bool m_bInitThrows = false;
    // "PluginName" of the setup record, when set; "config user", when set.
    std::optional<std::string> m_strPluginName;
    std::optional<bool> m_bConfigUser;

    // Filled by the doubles (GUI thread, except m_nRuns and m_strRunContext).
    int m_nTests = 0;
    std::atomic<int> m_nRuns{0};
    std::atomic<int> m_nActiveRuns{0};            // runs under way right now (any thread)
    std::atomic<int> m_nDestroyedWhileRunning{0}; // instances destroyed during their own run
    std::string m_strRunContext;                  // m_fnContext() as seen by the last run
};

// A tool plug-in of another module, doing what its behaviour says. Lends its behaviour. Created
// and deleted on the GUI thread; Run may be called on a tool thread. Init throws a
// Zarn::CException when the behaviour says so; Run throws whatever m_fnRun throws. Handles every
// message by keeping a copy; sends none of its own.
class CFakeTool : public CCountedPlugin
{
public:
    // Makes tools of that name known to the host's plug-in loader.
    static void Register(const std::string& name, SToolBehaviour* behaviour);

    explicit CFakeTool(SToolBehaviour* behaviour);
    ~CFakeTool() override;

    // The plug-in contract, in the order the toolbox calls it; UpdateParameters and DeleteData
    // are the counted ones.
    using Zarn::CPluginBase::Init;
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    bool TestParameters(const Zarn::CValueMap& parameters) override;
    void Run(Zarn::CValueMap& data) override;

private:
    SToolBehaviour* m_pBehaviour;
};

// How a configuration plug-in double behaves.
struct SConfigBehaviour : SPluginCounts
{
    // Answers the request {"config user": bool}; default: "parameters" = {"size": 3}.
    std::function<void(Zarn::CValueMap& request)> m_fnRun;
    std::vector<bool> m_lstConfigUser; // "config user" of every request
};

// A configuration plug-in of another module (the dialog a tool asks its parameters from). Lends
// its behaviour; GUI thread; throws what m_fnRun throws; keeps every message, sends none.
class CFakeConfig : public CCountedPlugin
{
public:
    // Makes configuration plug-ins of that name known to the host's plug-in loader.
    static void Register(const std::string& name, SConfigBehaviour* behaviour);

    explicit CFakeConfig(SConfigBehaviour* behaviour);

    void Run(Zarn::CValueMap& data) override;

private:
    SConfigBehaviour* m_pBehaviour;
};

} // namespace DocViewTest
