#pragma once

// The workspace under test runs inside the real host: the real communication thread delivers
// every message, the registry holds the real id factory, thread and logger. Only the views
// (plug-ins of other modules) are doubles.

#include <Zarn/Log/Logger.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <QPointer>
#include <QRect>
#include <QWidget>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

class QMdiArea;
class QMdiSubWindow;
class CWorkspacePlugin;

// The module's one exported entry.
extern "C" void* CreatePluginInstanceEx(const char* name);

namespace WorkspaceTest
{

// A view double owning one widget, which its destructor deletes (unless Qt already did). Its
// setup record holds the widget at "WidgetPtr" (or at m_strWidgetPath, or nowhere) and, when set,
// "showmaximized"; its description (Run) holds "caption", "document", "PluginType",
// "PluginSubType", the document being the one the repository gave it.
class CTestView : public Zarn::CPluginBase
{
public:
    explicit CTestView(std::string caption);
    ~CTestView() override;

    void GetPluginSetup(Zarn::CValueMap& setup) override;
    void Run(Zarn::CValueMap& data) override;
    void UpdateParameters(const Zarn::CValueMap& message) override;

    QWidget* Widget() const { return m_pWidget.data(); }
    const std::string& Caption() const { return m_strCaption; }

    std::string m_strWidgetPath = "WidgetPtr"; // empty: no widget entry
    std::optional<bool> m_bShowMaximized;

private:
    std::string m_strCaption;
    QPointer<QWidget> m_pWidget;
    Zarn::CValueMap* m_pDocument = nullptr; // lent by the repository
};

// One delivered message: its name and the view it carries (null for none or another kind).
struct SRecord
{
    std::string m_strName;
    const void* m_pPointee = nullptr;

    bool operator==(const SRecord& other) const
    {
        return m_strName == other.m_strName && m_pPointee == other.m_pPointee;
    }
};
void PrintTo(const SRecord& record, std::ostream* stream);

// Records every delivered message.
class CRecorder : public Zarn::CPluginBase
{
public:
    explicit CRecorder(Zarn::CMessageIdFactory* ids);
    void UpdateParameters(const Zarn::CValueMap& message) override;

    std::vector<SRecord> m_lstRecords;

private:
    Zarn::CMessageIdFactory* m_pIds;
};

struct SCaught
{
    std::string m_strFunction;
    std::string m_strWhat;
};

// Stands for the workspace in the thread's subscriber list: passes each message on and notes
// what it throws, then lets it go on to the thread, which logs it.
class CWorkspaceProxy : public Zarn::CPluginBase
{
public:
    explicit CWorkspaceProxy(Zarn::CPluginBase* workspace);
    void UpdateParameters(const Zarn::CValueMap& message) override;

    std::vector<SCaught> m_lstCaught;

private:
    Zarn::CPluginBase* m_pWorkspace;
};

class CWorkspaceFixture : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    // Creates the workspace through the module's entry inside a shown top-level window, runs its
    // Init with `parameters` (takes them; "parent" is added when absent) and subscribes it after
    // the recorder.
    void StartWorkspace(Zarn::CValueMap* parameters = nullptr);

    void Post(const char* name, Zarn::CValue* data);
    void PostView(const char* name, Zarn::CPluginBase* view);
    // Delivers until idle, lets Qt handle its pending events (deletions included) and delivers
    // what that posted.
    void Deliver();
    // Posts NEW_VIEW for a new view double and delivers; the fixture deletes views still alive
    // at the end.
    CTestView* AddView(const std::string& caption, std::optional<bool> showMaximized = {});
    // The same for a view whose window is not maximised: its widget at `geometry`.
    CTestView* AddPlacedView(const std::string& caption, const QRect& geometry);

    // The records since the last call.
    std::vector<SRecord> TakeRecords();

    QMdiArea* Area() const;
    QMdiSubWindow* SubWindowOf(const CTestView* view) const;
    // The plug-in's own class, for what only it can tell (the window of a view).
    CWorkspacePlugin* Workspace() const;

    std::ostringstream m_logText;
    std::unique_ptr<Zarn::CLogger> m_pLogger;
    std::ostringstream m_threadLogText;
    std::unique_ptr<Zarn::CLogger> m_pThreadLogger;
    std::unique_ptr<Zarn::CMessageIdFactory> m_pIds;
    std::unique_ptr<Zarn::CMessageThread> m_pThread;
    std::unique_ptr<CRecorder> m_pRecorder;
    std::unique_ptr<CWorkspaceProxy> m_pProxy;
    std::unique_ptr<QWidget> m_pMainWindow;
    Zarn::CPluginBase* m_pWorkspace = nullptr;
    std::vector<std::unique_ptr<CTestView>> m_lstViews;
    size_t m_nTaken = 0;
};

} // namespace WorkspaceTest
