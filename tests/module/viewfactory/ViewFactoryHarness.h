#pragma once

// The view factory under test runs inside the real host: the real communication thread delivers
// every message and the registry holds the real id factory and thread. Only the view factories
// and their views (plug-ins of other modules) are doubles, registered in-process by name.

#include <Zarn/Log/Logger.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <QPointer>
#include <QWidget>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

class CViewFactoryPlugin;

// The module's one exported entry.
extern "C" void* CreatePluginInstanceEx(const char* name);

namespace ViewFactoryTest
{

// What happened to the doubles, in order ("TestParameters A", "DeleteData A", "destroyed A").
struct SJournal
{
    std::vector<std::string> m_lstEvents;

    int IndexOf(const std::string& event) const;
    int Count(const std::string& event) const;
};

// A view double; its widget (when it has one) is a child of the "parent" its factory was given.
class CFakeView : public Zarn::CPluginBase
{
public:
    CFakeView(std::string caption, QWidget* parent);
    ~CFakeView() override;

    const std::string& Caption() const { return m_strCaption; }
    QWidget* Widget() const { return m_pWidget.data(); }

private:
    std::string m_strCaption;
    QPointer<QWidget> m_pWidget;
};

// How the doubles registered under one name behave; shared by the test and every instance.
struct SFactoryBehaviour
{
    enum EnRunResult
    {
        runView,      // a new CFakeView under "view plugin"
        runNothing,   // no "view plugin" (the user cancelled)
        runNullView,  // a null plug-in pointer under "view plugin"
        runOtherType, // a document pointer under "view plugin"
    };
    enum EnThrow
    {
        throwNone,
        throwZarn,    // Zarn::CException, what "factory refused to start"
        throwStd,     // std::runtime_error "factory refused to start"
        throwUnknown, // an int
    };

    bool m_bAccepts = true;
    EnRunResult m_enRun = runView;
    EnThrow m_enInitThrows = throwNone;
    EnThrow m_enTestThrows = throwNone;

    // Filled by the doubles.
    std::vector<Zarn::CValueMap> m_lstInitParameters;
    std::vector<const Zarn::CValueMap*> m_lstTestedDocuments;
    std::vector<const Zarn::CValueMap*> m_lstUpdatedDocuments;
    std::vector<CFakeView*> m_lstViews; // every view made: the test owns them
    std::vector<Zarn::CPluginBase*> m_lstInstances;
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
    QWidget* m_pParent = nullptr;
    Zarn::CValueMap* m_pDocument = nullptr;
};

// One delivered message: its name and its data, read at delivery.
struct SDelivered
{
    std::string m_strName;
    bool m_bHasData = false;
    bool m_bDataIsMap = false;
    const void* m_pDocument = nullptr; // "data/document" of a map
    const void* m_pView = nullptr;     // "data/view" of a map
    size_t m_nEntries = 0;             // entries of a map
};

class CMessageRecorder : public Zarn::CPluginBase
{
public:
    explicit CMessageRecorder(Zarn::CMessageIdFactory* ids) : m_pIds(ids) {}
    void UpdateParameters(const Zarn::CValueMap& message) override;

    std::vector<SDelivered> m_lstDelivered;

private:
    Zarn::CMessageIdFactory* m_pIds;
};

class CViewFactoryFixture : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    SFactoryBehaviour& RegisterFactory(const std::string& name);
    // A "views" entry {"factory": name} with an extra entry "tag" = name.
    static Zarn::CValueMap* FactoryEntry(const std::string& name);
    // {"views": [entries...]}, plus "parent" (an empty map) when asked.
    static Zarn::CValueMap* ViewsParameters(const std::vector<std::string>& names, bool withParent);

    // Creates the plug-in, subscribes it after the recorder and runs its Init (takes
    // `parameters`); what Init prints is in the captured output.
    void StartViewFactory(Zarn::CValueMap* parameters);
    void PostDocument(const char* name, Zarn::CValueMap* doc);
    size_t Deliver() { return m_pThread->DeliverUntilIdle(); }

    // Lines written to standard output / error since the last call.
    std::vector<std::string> TakeOutputLines();
    std::string TakeErrorText();
    // The delivered messages of that name.
    std::vector<SDelivered> Delivered(const std::string& name) const;

    SJournal m_journal;
    std::ostringstream m_threadLogText;
    std::unique_ptr<Zarn::CLogger> m_pThreadLogger;
    std::unique_ptr<Zarn::CMessageIdFactory> m_pIds;
    std::unique_ptr<Zarn::CMessageThread> m_pThread;
    std::unique_ptr<CMessageRecorder> m_pRecorder;
    CViewFactoryPlugin* m_pPlugin = nullptr;
    bool m_bPluginDataDeleted = false;
    std::vector<std::unique_ptr<Zarn::CValueMap>> m_lstDocuments;
    std::vector<std::string> m_lstRegistered;
    std::vector<std::unique_ptr<SFactoryBehaviour>> m_lstBehaviours;

    std::ostringstream m_outText;
    std::ostringstream m_errText;
    std::streambuf* m_pOldOut = nullptr;
    std::streambuf* m_pOldErr = nullptr;
    size_t m_nOutTaken = 0;
};

} // namespace ViewFactoryTest
