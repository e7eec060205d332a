#pragma once

// The view stack under test runs inside the real host: the real communication thread delivers
// every message and the registry holds the real id factory and thread. The views are doubles
// standing for the view plug-ins of other modules.

#include "FakeView.h"
#include "MessageRecorder.h"
#include "ModuleEntry.h"
#include "TestHost.h"

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <QStackedWidget>
#include <QWidget>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

class CViewStackPlugin;

namespace ViewStackTest
{

// A view double. With a widget path it reports a widget of its own there (which it deletes
// unless Qt already did); without one its setup record has no widget at all.
class CFakeView : public DocViewTest::CFakeView
{
public:
    explicit CFakeView(const std::string& caption, const char* widgetPath = "WidgetPtr")
        : DocViewTest::CFakeView(caption)
    {
        if (widgetPath != nullptr)
        {
            m_strWidgetPath = widgetPath;
            MakeWidget();
        }
    }
};

// One delivered message: its name and, for a view pointer standing directly as the data, the
// view.
struct SDelivered
{
    std::string m_strName;
    bool m_bDataIsViewPointer = false;
    const void* m_pView = nullptr;
};

// Notes each delivered message as an SDelivered.
class CMessageRecorder : public DocViewTest::CMessageRecorder
{
public:
    using DocViewTest::CMessageRecorder::CMessageRecorder;

    std::vector<SDelivered> m_lstDelivered;

protected:
    void OnMessage(const DocViewTest::SRecordedMessage& record, const Zarn::CValue* data) override;
};

// Runs the module's view stack on the test's thread. Owns the plug-in, the recorder (subscribed
// first) and the view doubles in m_lstViews. Throws nothing of its own; posts what the test asks
// for.
class CViewStackFixture : public DocViewTest::CHostFixture
{
protected:
    // Subscribes the recorder first, before any plug-in.
    CViewStackFixture();
    void TearDown() override;

    // Creates the plug-in through the module's entry, runs its Init (takes `parameters`) and
    // subscribes it after the recorder.
    void StartViewStack(Zarn::CValueMap* parameters = nullptr);
    QStackedWidget* Stack() const;

    // Posts and delivers.
    void Send(const char* name, Zarn::CPluginBase* view);

    std::vector<SDelivered> Delivered(const std::string& name) const;
    // Object names of the stack's pages, in order.
    std::vector<std::string> PageNames() const;
    std::string CurrentPageName() const;

    std::unique_ptr<CMessageRecorder> m_pRecorder;
    CViewStackPlugin* m_pPlugin = nullptr;
    Zarn::CPluginBase* m_pPluginBase = nullptr;
    std::vector<std::unique_ptr<CFakeView>> m_lstViews;
};

} // namespace ViewStackTest
