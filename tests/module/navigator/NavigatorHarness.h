#pragma once

// The navigator under test runs inside the real host: the real communication thread delivers
// every message and the registry holds the real id factory and thread. Views (plug-ins of other
// modules) are doubles that describe themselves in Run.

#include "ModuleEntry.h"
#include "frame/Messages.h"
#include "views/NavigatorPlugin.h"
#include "views/ViewListBoxItem.h"

#include "FakeView.h"
#include "MessageRecorder.h"
#include "TestHost.h"

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QListWidgetItem;
class CViewListBoxItem;

namespace NavigatorTest
{

using DocViewTest::SCaught;

// A view double. Run writes "caption", "document", "PluginType", "PluginSubType" and, when set,
// "description" and "icon"; a caption left unset is left out.
class CFakeView : public DocViewTest::CFakeView
{
public:
    CFakeView(const std::optional<std::string>& caption,
              const std::optional<std::string>& description,
              const std::optional<std::string>& icon = std::nullopt)
        : DocViewTest::CFakeView(caption)
    {
        m_strDescription = description;
        m_strIcon = icon;
    }
};

// Notes the view named by every FOCUS_VIEW delivered.
class CMessageRecorder : public DocViewTest::CMessageRecorder
{
public:
    using DocViewTest::CMessageRecorder::CMessageRecorder;
    std::vector<Zarn::CPluginBase*> m_lstFocused;

protected:
    void OnMessage(const DocViewTest::SRecordedMessage& record, const Zarn::CValue* data) override
    {
        if (record.m_strName == "FOCUS_VIEW")
        {
            m_lstFocused.push_back(DocView::PointerOf<Zarn::CPluginBase>(data));
        }
    }
};

// Runs the module's navigator on the test's (GUI) thread. Owns the plug-in, its proxy, the
// recorder (subscribed first) and the view doubles. Throws nothing of its own; Post and PostView
// deliver at once, as the navigator sees messages arrive one by one.
class CNavigatorFixture : public DocViewTest::CHostFixture
{
protected:
    // Subscribes the recorder first, before any plug-in.
    CNavigatorFixture();
    void TearDown() override;

    // Creates the navigator through the module's entry and runs its Init with `parameters`.
    void StartNavigator(const Zarn::CValueMap& parameters = Zarn::CValueMap());

    // Posts as the repository would and delivers everything.
    void PostView(const char* name, Zarn::CPluginBase* view);
    void Post(const char* name, Zarn::CValue* data);

    CFakeView* NewView(const std::string& caption, const std::string& description);
    // Lists N new views, "first" ("one"), "second" ("two") and "third" ("three"), in that order:
    // NEW_VIEW for each once all are made.
    template <size_t N> std::array<CFakeView*, N> ListViews()
    {
        static const char* const kNames[][2] = {
            {"first", "one"}, {"second", "two"}, {"third", "three"}};
        static_assert(N <= std::size(kNames));
        std::array<CFakeView*, N> views{};
        for (size_t i = 0; i < N; ++i)
        {
            views[i] = NewView(kNames[i][0], kNames[i][1]);
        }
        for (CFakeView* pView : views)
        {
            PostView("NEW_VIEW", pView);
        }
        return views;
    }

    // Clicks the list's entry `row` as a user would.
    void ClickRow(int row);

    CViewListBoxItem* ViewItemAt(int row) const;
    QListWidgetItem* ItemAt(int row) const;
    int Count() const;

    // The navigator's current view is `pCurrent`, and it asked no view to take the focus.
    void ExpectCurrentWithoutFocus(const CFakeView* pCurrent) const
    {
        EXPECT_EQ(m_pNavigator->CurrentView(), pCurrent);
        EXPECT_TRUE(m_pRecorder->m_lstFocused.empty());
    }

    // The list holds exactly these entries, with these captions, in this order.
    void ExpectCaptions(const std::vector<QString>& captions) const
    {
        ASSERT_EQ(Count(), int(captions.size()));
        for (int nRow = 0; nRow < Count(); ++nRow)
        {
            ASSERT_NE(ViewItemAt(nRow), nullptr) << "row " << nRow;
            EXPECT_EQ(ViewItemAt(nRow)->Caption(), captions[size_t(nRow)]) << "row " << nRow;
        }
    }

    std::unique_ptr<CMessageRecorder> m_pRecorder;
    std::unique_ptr<DocViewTest::CPluginProxy> m_pProxy;
    Zarn::CPluginBase* m_pPlugin = nullptr; // the module entry's answer
    CNavigatorPlugin* m_pNavigator = nullptr;
    std::vector<std::unique_ptr<CFakeView>> m_lstViews;
};

} // namespace NavigatorTest
