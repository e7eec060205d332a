#pragma once

// The navigator under test runs inside the real host: the real communication thread delivers
// every message and the registry holds the real id factory and thread. Views (plug-ins of other
// modules) are doubles that describe themselves in Run.

#include "views/NavigatorPlugin.h"

#include <Zarn/Log/Logger.h>
#include <Zarn/Message/MessageIdFactory.h>
#include <Zarn/Message/MessageThread.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

class QListWidgetItem;
class CViewListBoxItem;

// The module's one exported entry.
extern "C" void* CreatePluginInstanceEx(const char* name);

namespace NavigatorTest
{

// A view double. Run writes "caption", "document", "PluginType", "PluginSubType" and, when set,
// "description" and "icon"; a caption left unset is left out.
class CFakeView : public Zarn::CPluginBase
{
public:
    CFakeView(std::optional<std::string> caption, std::optional<std::string> description,
              std::optional<std::string> icon = std::nullopt);

    void Run(Zarn::CValueMap& data) override;

    std::optional<std::string> m_strCaption;
    std::optional<std::string> m_strDescription;
    std::optional<std::string> m_strIcon;
    bool m_bThrowInRun = false;
    int m_nRuns = 0;
};

// Notes every FOCUS_VIEW delivered (the view it names) and the names of all messages.
class CMessageRecorder : public Zarn::CPluginBase
{
public:
    explicit CMessageRecorder(Zarn::CMessageIdFactory* ids) : m_pIds(ids) {}
    void UpdateParameters(const Zarn::CValueMap& message) override;

    std::vector<Zarn::CPluginBase*> m_lstFocused;
    std::vector<std::string> m_lstNames;

private:
    Zarn::CMessageIdFactory* m_pIds;
};

struct SCaught
{
    std::string m_strFunction;
    std::string m_strWhat;
};

// Stands for the navigator among the subscribers: passes each message on and notes what the
// navigator throws before the thread logs it.
class CNavigatorProxy : public Zarn::CPluginBase
{
public:
    explicit CNavigatorProxy(Zarn::CPluginBase* navigator) : m_pNavigator(navigator) {}
    void UpdateParameters(const Zarn::CValueMap& message) override;

    std::vector<SCaught> m_lstCaught;

private:
    Zarn::CPluginBase* m_pNavigator;
};

class CNavigatorFixture : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    // Creates the navigator through the module's entry and runs its Init with `parameters`.
    void StartNavigator(const Zarn::CValueMap& parameters = Zarn::CValueMap());

    // Posts as the repository would and delivers everything.
    void PostView(const char* name, Zarn::CPluginBase* view);
    void Post(const char* name, Zarn::CValue* data);
    size_t Deliver();

    CFakeView* NewView(const std::string& caption, const std::string& description);

    // Clicks the list's entry `row` as a user would.
    void ClickRow(int row);

    CViewListBoxItem* ViewItemAt(int row) const;
    QListWidgetItem* ItemAt(int row) const;
    int Count() const;

    std::ostringstream m_threadLogText;
    std::unique_ptr<Zarn::CLogger> m_pThreadLogger;
    std::unique_ptr<Zarn::CMessageIdFactory> m_pIds;
    std::unique_ptr<Zarn::CMessageThread> m_pThread;
    std::unique_ptr<CMessageRecorder> m_pRecorder;
    std::unique_ptr<CNavigatorProxy> m_pProxy;
    Zarn::CPluginBase* m_pPlugin = nullptr; // the module entry's answer
    CNavigatorPlugin* m_pNavigator = nullptr;
    std::vector<std::unique_ptr<CFakeView>> m_lstViews;
};

} // namespace NavigatorTest
