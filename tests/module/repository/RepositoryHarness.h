#pragma once

// The repository under test runs inside the real host: the real communication thread delivers
// every message, the registry holds the real id factory, thread and logger. Only the view
// factories and views (plug-ins of other modules) are doubles, registered in-process by name.

#include "FakeViewFactory.h"
#include "MessageRecorder.h"
#include "ModuleEntry.h"
#include "TestHost.h"
#include "ValueReading.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace RepositoryTest
{

using DocViewTest::CFakeView;
using DocViewTest::CFakeViewFactory;
using DocViewTest::SCaught;
using DocViewTest::SFactoryBehaviour;
using DocViewTest::SJournal;

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

// Records every delivered message as one text: its name and, for the repository's broadcasts,
// the document's label or the view's caption (read at delivery, so the object must be alive),
// "null" for a null pointer, or the map of "UPDATE_CONTROLS" as "{action=true,...}".
class CBroadcastRecorder : public DocViewTest::CMessageRecorder
{
public:
    CBroadcastRecorder(Zarn::CMessageIdFactory* ids, SJournal* journal);

    std::vector<std::string> m_lstBroadcasts;
    std::vector<const void*> m_lstPointers; // the pointee of each message, null when none

protected:
    void OnMessage(const DocViewTest::SRecordedMessage& record, const Zarn::CValue* data) override;

private:
    SJournal* m_pJournal;
};

// Runs the module's repository on the test's thread. Owns the repository, its proxy, the recorder
// (subscribed first) and the behaviours of the view factory doubles, which are fake view
// factories whose views journal their own end (the factories' journal texts name them
// "factory <name>"). Throws nothing of its own; what the repository throws is noted by the proxy
// and logged by the thread. Posts what the test asks for; handles nothing itself.
class CRepositoryFixture : public DocViewTest::CHostFixture
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

    // Posts and delivers everything that follows.
    void Send(const char* name, Zarn::CValue* data);
    void SendDocument(const char* name, Zarn::CValueMap* document);
    void SendView(const char* name, Zarn::CPluginBase* view);
    // A pointer value lending `document`.
    static Zarn::CValue* DocumentValue(Zarn::CValueMap* document)
    {
        return new Zarn::CValuePointer<Zarn::CValueMap>(document);
    }

    CTrackedDocument* NewDocument(const std::string& label, bool withLabel = true);
    // Adds a document and delivers everything that follows.
    CTrackedDocument* AddDocument(const std::string& label);

    // Fails fatally unless `view` was loaded `count` times; expects the last load to name
    // `document`. Wrap in ASSERT_NO_FATAL_FAILURE where the test reads the loads afterwards.
    static void ExpectLoads(const CFakeView& view, size_t count, const void* document);

    // The broadcasts recorded since the last call.
    std::vector<std::string> TakeBroadcasts();
    // Log lines as "<level> <text>" ("progress CRepositoryPlugin:"), and texts only; the lines
    // read are consumed.
    std::vector<std::string> TakeLogLines();
    std::vector<std::string> TakeTexts();
    // Takes the broadcasts and the log texts since the last takes and expects exactly these.
    void ExpectBroadcastsAndTexts(const std::vector<std::string>& broadcasts,
                                  const std::vector<std::string>& texts);
    // The repository's exceptions since the last call.
    std::vector<SCaught> TakeCaught();
    // Takes the exceptions since the last take and expects exactly one with these fields.
    void ExpectOneCaught(const std::string& function, const std::string& what,
                         const std::string& instance);
    void ExpectOneCaught(const std::string& message, const std::string& function,
                         const std::string& what, const std::string& instance);

    static std::string Str(const Zarn::CValueMap& map, const char* path)
    {
        return DocViewTest::StringAt(map, path);
    }
    static long Long(const Zarn::CValueMap& map, const char* path)
    {
        return DocViewTest::LongAt(map, path);
    }
    static const void* PointerAt(const Zarn::CValueMap& map, const char* path)
    {
        return DocViewTest::PointerAt(map, path);
    }

    SJournal m_journal;
    std::unique_ptr<CBroadcastRecorder> m_pRecorder;
    std::unique_ptr<DocViewTest::CPluginProxy> m_pProxy;
    Zarn::CPluginBase* m_pRepository = nullptr;
    std::vector<std::string> m_lstRegistered;
    std::vector<std::unique_ptr<SFactoryBehaviour>> m_lstBehaviours;
    size_t m_nBroadcastsTaken = 0;
    size_t m_nLogTaken = 0;
    size_t m_nCaughtTaken = 0;

private:
    // The one caught exception has these fields; the message is compared only when given.
    void ExpectOnlyCaught(const std::optional<std::string>& message, const std::string& function,
                          const std::string& what, const std::string& instance);
};

} // namespace RepositoryTest
