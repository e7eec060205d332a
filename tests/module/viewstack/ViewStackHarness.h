#pragma once

// The view stack under test runs inside the real host: the real communication thread delivers
// every message and the registry holds the real id factory and thread. The views are doubles
// standing for the view plug-ins of other modules.

#include <Zarn/Log/Logger.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <QPointer>
#include <QStackedWidget>
#include <QWidget>

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

class CViewStackPlugin;

// The module's one exported entry.
extern "C" void* CreatePluginInstanceEx(const char* name);

namespace ViewStackTest
{

// A view double. With a widget path it reports a widget of its own there (which it deletes
// unless Qt already did); without one its setup record has no widget at all.
class CFakeView : public Zarn::CPluginBase
{
public:
    CFakeView(const std::string& caption, const char* widgetPath = "WidgetPtr");
    ~CFakeView() override;

    void GetPluginSetup(Zarn::CValueMap& setup) override;

    QWidget* Widget() const { return m_pWidget.data(); }

private:
    std::string m_strWidgetPath;
    QPointer<QWidget> m_pWidget;
};

// One delivered message: its name and, for a view pointer standing directly as the data, the
// view.
struct SDelivered
{
    std::string m_strName;
    bool m_bDataIsViewPointer = false;
    const void* m_pView = nullptr;
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

class CViewStackFixture : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    // Creates the plug-in through the module's entry, runs its Init (takes `parameters`) and
    // subscribes it after the recorder.
    void StartViewStack(Zarn::CValueMap* parameters = nullptr);
    QStackedWidget* Stack() const;

    void PostView(const char* name, Zarn::CPluginBase* view);
    size_t Deliver() { return m_pThread->DeliverUntilIdle(); }
    // Posts and delivers.
    void Send(const char* name, Zarn::CPluginBase* view);

    std::vector<SDelivered> Delivered(const std::string& name) const;
    // Object names of the stack's pages, in order.
    std::vector<std::string> PageNames() const;
    std::string CurrentPageName() const;

    std::ostringstream m_threadLogText;
    std::unique_ptr<Zarn::CLogger> m_pThreadLogger;
    std::unique_ptr<Zarn::CMessageIdFactory> m_pIds;
    std::unique_ptr<Zarn::CMessageThread> m_pThread;
    std::unique_ptr<CMessageRecorder> m_pRecorder;
    CViewStackPlugin* m_pPlugin = nullptr;
    Zarn::CPluginBase* m_pPluginBase = nullptr;
    std::vector<std::unique_ptr<CFakeView>> m_lstViews;
};

} // namespace ViewStackTest
