#pragma once

// The repository under test runs inside the real host: the real communication thread delivers
// every message, the registry holds the real id factory, thread and logger. Only the view
// factories and views (plug-ins of other modules) are doubles, registered in-process by name.

#include <Zarn/Exception/Exception.h>
#include <Zarn/Log/Logger.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

// The module's one exported entry.
extern "C" void* CreatePluginInstanceEx(const char* name);

namespace RepositoryTest
{

// What happened to documents and doubles, in order ("destroyed view F-1", "DeleteData F-1",
// "broadcast INVALID_VIEW F-1"); outlives every double.
struct SJournal
{
    std::vector<std::string> m_lstEvents;

    int Count(const std::string& event) const;
    // Index of the first occurrence, -1 when absent.
    int IndexOf(const std::string& event) const;
};

// A document whose destruction is written into the journal.
class CTrackedDocument : public Zarn::CValueMap
{
public:
    CTrackedDocument(std::string tag, SJournal* journal);
    ~CTrackedDocument() override;

    const std::string& Tag() const { return m_strTag; }

private:
    std::string m_strTag;
    SJournal* m_pJournal;
};

// A view double. Its description (Run) holds "caption", "document" (the document it was given
// last), "PluginType" "TestView", "PluginSubType" "Plain" and, when set, "settings".
class CFakeView : public Zarn::CPluginBase
{
public:
    CFakeView(std::string caption, SJournal* journal);
    ~CFakeView() override;

    void DeleteData() override;
    void Run(Zarn::CValueMap& data) override;
    void UpdateParameters(const Zarn::CValueMap& message) override;

    const std::string& Caption() const { return m_strCaption; }
    // Every map given to UpdateParameters, copied.
    const std::vector<Zarn::CValueMap>& Updates() const { return m_lstUpdates; }

    bool m_bDescribeDocument = true;
    std::optional<Zarn::CValueMap> m_settings;

private:
    std::string m_strCaption;
    SJournal* m_pJournal;
    Zarn::CValueMap* m_pDocument = nullptr;
    std::vector<Zarn::CValueMap> m_lstUpdates;
};

// How a view factory double behaves; shared by the test and every instance of that name.
struct SFactoryBehaviour
{
    enum EnRunResult
    {
        runView,      // a new CFakeView under "view plugin"
        runNothing,   // "view plugin" left out (the user cancelled)
        runNullView,  // a null plug-in pointer under "view plugin"
        runOtherType, // a document pointer under "view plugin"
    };

    // Which documents the factory accepts (TestParameters); default: every non-null one.
    std::function<bool(const Zarn::CValueMap* doc)> m_fnAccepts;
    EnRunResult m_enRun = runView;
    bool m_bViewsDescribeDocument = true;
    std::optional<Zarn::CValueMap> m_viewSettings;
    // Init throws: 0 no, 1 a Zarn::CException, 2 a std::runtime_error.
    int m_nInitThrows = 0;

    // Filled by the doubles.
    std::vector<Zarn::CValueMap> m_lstInitParameters;
    std::vector<CFakeView*> m_lstViews; // every view made, also deleted ones: compare only
    int m_nInstances = 0;
};

class CFakeViewFactory : public Zarn::CPluginBase
{
public:
    CFakeViewFactory(std::string name, SFactoryBehaviour* behaviour, SJournal* journal);
    ~CFakeViewFactory() override;

    using Zarn::CPluginBase::Init;
    void Init(void* context, const Zarn::CValueMap& parameters) override;
    void DeleteData() override;
    void Run(Zarn::CValueMap& data) override;
    bool TestParameters(const Zarn::CValueMap& parameters) override;
    void UpdateParameters(const Zarn::CValueMap& message) override;

private:
    std::string m_strName;
    SFactoryBehaviour* m_pBehaviour;
    SJournal* m_pJournal;
    Zarn::CValueMap* m_pDocument = nullptr;
};

// Records every delivered message as one text: its name and, for the repository's broadcasts,
// the document's label or the view's caption (read at delivery, so the object must be alive),
// "null" for a null pointer, or the map of "UPDATE_CONTROLS" as "{action=true,...}".
class CBroadcastRecorder : public Zarn::CPluginBase
{
public:
    CBroadcastRecorder(Zarn::CMessageIdFactory* ids, SJournal* journal);
    void UpdateParameters(const Zarn::CValueMap& message) override;

    std::vector<std::string> m_lstBroadcasts;
    std::vector<const void*> m_lstPointers; // the pointee of each message, null when none

private:
    Zarn::CMessageIdFactory* m_pIds;
    SJournal* m_pJournal;
};

struct SCaught
{
    std::string m_strMessage;
    std::string m_strType; // "CException", "CExBadParam", ...
    std::string m_strFunction;
    std::string m_strWhat;
    std::string m_strInstance;
};

// Stands for the repository in the thread's subscriber list: passes each message on and notes
// what the repository throws, then lets it go on to the thread, which logs it.
class CRepositoryProxy : public Zarn::CPluginBase
{
public:
    CRepositoryProxy(Zarn::CPluginBase* repository, Zarn::CMessageIdFactory* ids);
    void UpdateParameters(const Zarn::CValueMap& message) override;

    std::vector<SCaught> m_lstCaught;

private:
    Zarn::CPluginBase* m_pRepository;
    Zarn::CMessageIdFactory* m_pIds;
};

class CRepositoryFixture : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    // Makes a view factory double known to the plug-in loader under `name`.
    SFactoryBehaviour& RegisterFactory(const std::string& name);
    // A "views" entry: {"factory": name, "autocreate": autocreate, "action"?, "type"?}.
    static Zarn::CValueMap* FactoryEntry(const std::string& name, bool autocreate,
                                         const std::string& action = "",
                                         const std::string& type = "");
    // Creates the repository through the module's entry, runs its Init with `parameters`
    // (takes them) and subscribes it after the recorder; delivers what Init sent.
    void StartRepository(Zarn::CValueMap* parameters = nullptr);

    // Posts as any plug-in would; the thread takes `data`.
    void Post(const char* name, Zarn::CValue* data);
    void PostDocument(const char* name, Zarn::CValueMap* doc);
    void PostView(const char* name, Zarn::CPluginBase* view);
    size_t Deliver();

    CTrackedDocument* NewDocument(const std::string& label, bool withLabel = true);
    // Adds a document and delivers everything that follows.
    CTrackedDocument* AddDocument(const std::string& label);

    // The broadcasts recorded since the last call.
    std::vector<std::string> TakeBroadcasts();
    // Log lines as "<level> <text>" ("progress CRepositoryPlugin:"), and texts only; the lines
    // read are consumed.
    std::vector<std::string> TakeLogLines();
    // The repository's exceptions since the last call.
    std::vector<SCaught> TakeCaught();

    static std::string Str(const Zarn::CValueMap& map, const char* path);
    static long Long(const Zarn::CValueMap& map, const char* path);
    static const void* PointerAt(const Zarn::CValueMap& map, const char* path);

    SJournal m_journal;
    std::ostringstream m_logText;
    std::ostringstream m_threadLogText;
    std::unique_ptr<Zarn::CLogger> m_pLogger;
    std::unique_ptr<Zarn::CLogger> m_pThreadLogger;
    std::unique_ptr<Zarn::CMessageIdFactory> m_pIds;
    std::unique_ptr<Zarn::CMessageThread> m_pThread;
    std::unique_ptr<CBroadcastRecorder> m_pRecorder;
    std::unique_ptr<CRepositoryProxy> m_pProxy;
    Zarn::CPluginBase* m_pRepository = nullptr;
    std::vector<std::string> m_lstRegistered;
    std::vector<std::unique_ptr<SFactoryBehaviour>> m_lstBehaviours;
    size_t m_nBroadcastsTaken = 0;
    size_t m_nLogTaken = 0;
    size_t m_nCaughtTaken = 0;
};

} // namespace RepositoryTest
