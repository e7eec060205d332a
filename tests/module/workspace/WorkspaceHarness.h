#pragma once

// The workspace under test runs inside the real host: the real communication thread delivers
// every message, the registry holds the real id factory, thread and logger. Only the views
// (plug-ins of other modules) are doubles.

#include "FakeView.h"
#include "MessageRecorder.h"
#include "ModuleEntry.h"
#include "TestHost.h"

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <QRect>
#include <QWidget>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

class QMdiArea;
class QMdiSubWindow;
class CWorkspacePlugin;

namespace WorkspaceTest
{

using DocViewTest::SCaught;

// A view double owning one widget, which its destructor deletes (unless Qt already did). Its
// setup record holds "PluginType", the widget at "WidgetPtr" (or at m_strWidgetPath, or nowhere)
// and, when set, "showmaximized"; its description (Run) holds "caption", "document",
// "PluginType", "PluginSubType", the document being the one the repository gave it.
class CTestView : public DocViewTest::CFakeView
{
public:
    explicit CTestView(std::string caption) : DocViewTest::CFakeView(std::move(caption))
    {
        m_bSetupType = true;
        MakeWidget();
    }
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

// Runs the module's workspace in a shown top-level window on the test's (GUI) thread. Owns the
// window, the plug-in, its proxy, the recorder (subscribed first) and the view doubles. Throws
// nothing of its own; posts what the test asks for and lets Qt handle its events in Deliver.
class CWorkspaceFixture : public DocViewTest::CHostFixture
{
protected:
    void SetUp() override;
    void TearDown() override;

    // Creates the workspace through the module's entry inside a shown top-level window, runs its
    // Init with `parameters` (takes them; "parent" is added when absent) and subscribes it after
    // the recorder.
    void StartWorkspace(Zarn::CValueMap* parameters = nullptr);

    // Delivers until idle, lets Qt handle its pending events (deletions included) and delivers
    // what that posted.
    void Deliver();
    // Posts the view message and delivers.
    void SendView(const char* name, Zarn::CPluginBase* view);
    // Posts NEW_VIEW for a new view double and delivers; the fixture deletes views still alive
    // at the end.
    CTestView* AddView(const std::string& caption, std::optional<bool> showMaximized = {});
    // The same for a view whose window is not maximised: its widget at `geometry`.
    CTestView* AddPlacedView(const std::string& caption, const QRect& geometry);
    // Posts NEW_VIEW for the view double and delivers.
    CTestView* AddMadeView(std::unique_ptr<CTestView> view);

    // The records since the last call.
    std::vector<SRecord> TakeRecords();

    QMdiArea* Area() const;
    QMdiSubWindow* SubWindowOf(const CTestView* view) const;
    // The plug-in's own class, for what only it can tell (the window of a view).
    CWorkspacePlugin* Workspace() const;

    std::unique_ptr<DocViewTest::CMessageRecorder> m_pRecorder;
    std::unique_ptr<DocViewTest::CPluginProxy> m_pProxy;
    std::unique_ptr<QWidget> m_pMainWindow;
    Zarn::CPluginBase* m_pWorkspace = nullptr;
    std::vector<std::unique_ptr<CTestView>> m_lstViews;
    size_t m_nTaken = 0;
};

} // namespace WorkspaceTest
