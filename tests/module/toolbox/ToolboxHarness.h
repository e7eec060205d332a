#pragma once

// The toolbox under test runs inside the real host: the real communication thread delivers every
// message, the registry holds the real id factory, thread and logger, and where a flow crosses
// the repository the real repository takes part. Only tools, configuration plug-ins and views
// (plug-ins of other modules) are doubles, registered in-process by name.

#include <Zarn/Exception/Exception.h>
#include <Zarn/Log/Logger.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

// The module's one exported entry.
extern "C" void* CreatePluginInstanceEx(const char* name);

namespace ToolboxTest
{

// How a tool double behaves; shared by the test and every instance made under that name.
struct SToolBehaviour
{
    // TestParameters; default true.
    std::function<bool(const Zarn::CValueMap& input)> m_fnTest;
    // The run operation; default: nothing. May run on a tool thread.
    std::function<void(Zarn::CValueMap& data)> m_fnRun;
    // Init throws a Zarn::CException when set.
    bool m_bInitThrows = false;
    // "PluginName" of the setup record, when set; "config user", when set.
    std::optional<std::string> m_strPluginName;
    std::optional<bool> m_bConfigUser;

    // Filled by the doubles (GUI thread, except m_nRuns and m_strRunContext).
    int m_nInstances = 0;
    int m_nDestroyed = 0;
    int m_nDeleteData = 0;
    int m_nTests = 0;
    std::atomic<int> m_nRuns{0};
    std::atomic<int> m_nActiveRuns{0};            // runs under way right now (any thread)
    std::atomic<int> m_nDestroyedWhileRunning{0}; // instances destroyed during their own run
    std::string m_strRunContext;                  // CurrentContext() as seen by the last run
    std::vector<Zarn::CValueMap> m_lstInit;
    std::vector<Zarn::CValueMap> m_lstUpdates;
};

class CFakeTool : public Zarn::CPluginBase
{
public:
    explicit CFakeTool(SToolBehaviour* behaviour);
    ~CFakeTool() override;

    using Zarn::CPluginBase::Init;
    void GetPluginSetup(Zarn::CValueMap& setup) override;
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    void DeleteData() override;
    void Run(Zarn::CValueMap& data) override;
    bool TestParameters(const Zarn::CValueMap& parameters) override;
    void UpdateParameters(const Zarn::CValueMap& message) override;

private:
    SToolBehaviour* m_pBehaviour;
};

// How a configuration plug-in double behaves.
struct SConfigBehaviour
{
    // Answers the request {"config user": bool}; default: "parameters" = {"size": 3}.
    std::function<void(Zarn::CValueMap& request)> m_fnRun;

    int m_nInstances = 0;
    int m_nDestroyed = 0;
    int m_nDeleteData = 0;
    std::vector<Zarn::CValueMap> m_lstInit;
    std::vector<bool> m_lstConfigUser; // "config user" of every request
    std::vector<Zarn::CValueMap> m_lstUpdates;
};

class CFakeConfig : public Zarn::CPluginBase
{
public:
    explicit CFakeConfig(SConfigBehaviour* behaviour);
    ~CFakeConfig() override;

    using Zarn::CPluginBase::Init;
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    void DeleteData() override;
    void Run(Zarn::CValueMap& data) override;
    void UpdateParameters(const Zarn::CValueMap& message) override;

private:
    SConfigBehaviour* m_pBehaviour;
};

// A view double: its description names "document" (may be null).
class CFakeView : public Zarn::CPluginBase
{
public:
    explicit CFakeView(Zarn::CValueMap* document = nullptr) : m_pDocument(document) {}
    void Run(Zarn::CValueMap& data) override;

    Zarn::CValueMap* m_pDocument;
};

// Records every delivered message as one text: its name and a summary of its data ("null",
// "(no data)", "{a=true,b=false}" for maps of bools, "map" for other maps, "string <text>").
class CMessageRecorder : public Zarn::CPluginBase
{
public:
    explicit CMessageRecorder(Zarn::CMessageIdFactory* ids);
    void UpdateParameters(const Zarn::CValueMap& message) override;

    std::vector<std::string> m_lstMessages;
    std::vector<Zarn::CValueMap> m_lstData; // maps only; an empty map for other data
    std::vector<const void*> m_lstPointers; // the pointee of pointer data, else null

private:
    Zarn::CMessageIdFactory* m_pIds;
};

struct SCaught
{
    std::string m_strMessage;
    std::string m_strFunction;
    std::string m_strWhat;
    std::string m_strInstance;
};

// Stands for a plug-in in the thread's subscriber list: passes each message on and notes what
// the plug-in throws, then lets it go on to the thread, which logs it.
class CPluginProxy : public Zarn::CPluginBase
{
public:
    CPluginProxy(Zarn::CPluginBase* plugin, Zarn::CMessageIdFactory* ids);
    void UpdateParameters(const Zarn::CValueMap& message) override;

    std::vector<SCaught> m_lstCaught;

private:
    Zarn::CPluginBase* m_pPlugin;
    Zarn::CMessageIdFactory* m_pIds;
};

// Sends everything written to a standard stream into a string while it lives.
class CStreamCapture
{
public:
    explicit CStreamCapture(std::ostream& stream);
    CStreamCapture(const CStreamCapture&) = delete;
    CStreamCapture& operator=(const CStreamCapture&) = delete;
    ~CStreamCapture();

    // The text written so far; the next call returns only what follows.
    std::string Take();

private:
    std::ostream& m_stream;
    std::ostringstream m_text; // before m_pPrevious: the constructor hands its buffer over
    std::streambuf* m_pPrevious;
    size_t m_nTaken = 0;
};

// Sends everything written to a file descriptor (2: standard error below the iostreams) into a
// temporary file while it lives.
class CDescriptorCapture
{
public:
    explicit CDescriptorCapture(int descriptor);
    CDescriptorCapture(const CDescriptorCapture&) = delete;
    CDescriptorCapture& operator=(const CDescriptorCapture&) = delete;
    ~CDescriptorCapture();

    // The text written so far; the next call returns only what follows.
    std::string Take();

private:
    int m_nDescriptor;
    int m_nSaved;
    int m_nFile;
    size_t m_nTaken = 0;
};

struct SBox
{
    std::string m_strCaption;
    std::string m_strText;
};

class CToolboxFixture : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    SToolBehaviour& RegisterTool(const std::string& name);
    SConfigBehaviour& RegisterConfig(const std::string& name);
    // A "tool plugins" element.
    static Zarn::CValueMap* ToolDescription(const std::string& plugin,
                                            const std::string& callAction,
                                            std::optional<bool> threaded = std::nullopt,
                                            const std::string& configPlugin = "",
                                            const std::string& configAction = "");
    // {"tool plugins": [descriptions...]}; takes the descriptions.
    static Zarn::CValueMap* ToolboxParameters(const std::vector<Zarn::CValueMap*>& descriptions);

    // Creates the toolbox through the module's entry, runs its Init with `parameters` (takes
    // them, null: an empty map) and subscribes it; delivers what Init sent.
    void StartToolbox(Zarn::CValueMap* parameters = nullptr);
    // The real repository, subscribed before the toolbox as in the application.
    void StartRepository();

    void Post(const char* name, Zarn::CValue* data);
    void PostText(const char* name, const char* text);
    void PostDocument(const char* name, Zarn::CValueMap* document);
    void PostView(const char* name, Zarn::CPluginBase* view);
    size_t Deliver();
    // Delivers until a message named `name` was recorded `count` times in all (tool threads
    // post meanwhile); false when it did not come within a few seconds.
    bool DeliverUntilCount(const std::string& name, size_t count);

    std::vector<std::string> TakeMessages();
    std::vector<SBox> TakeBoxes();
    std::vector<SCaught> TakeCaught();
    size_t CountMessages(const std::string& prefix) const;

    const Zarn::CValueMap& State() const;
    static const void* PointerAt(const Zarn::CValueMap& map, const char* path);
    // The pointees of a vector of pointer values at `path`, in order; empty when absent.
    static std::vector<const void*> PointersAt(const Zarn::CValueMap& map, const char* path);

    std::ostringstream m_logText;
    std::ostringstream m_threadLogText;
    std::unique_ptr<Zarn::CLogger> m_pLogger;
    std::unique_ptr<Zarn::CLogger> m_pThreadLogger;
    std::unique_ptr<Zarn::CMessageIdFactory> m_pIds;
    std::unique_ptr<Zarn::CMessageThread> m_pThread;
    std::unique_ptr<CMessageRecorder> m_pRecorder;
    Zarn::CPluginBase* m_pToolbox = nullptr;
    std::unique_ptr<CPluginProxy> m_pToolboxProxy;
    Zarn::CPluginBase* m_pRepository = nullptr;
    std::unique_ptr<CPluginProxy> m_pRepositoryProxy;
    std::vector<std::string> m_lstRegistered;
    std::vector<std::unique_ptr<SToolBehaviour>> m_lstTools;
    std::vector<std::unique_ptr<SConfigBehaviour>> m_lstConfigs;
    std::vector<SBox> m_lstBoxes;
    size_t m_nMessagesTaken = 0;
    size_t m_nBoxesTaken = 0;
    size_t m_nCaughtTaken = 0;
    // Console lines of the toolbox, captured for every test.
    std::unique_ptr<CStreamCapture> m_pErr;
    std::unique_ptr<CStreamCapture> m_pLog;
};

} // namespace ToolboxTest
