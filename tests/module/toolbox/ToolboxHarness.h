#pragma once

// The toolbox under test runs inside the real host: the real communication thread delivers every
// message, the registry holds the real id factory, thread and logger, and where a flow crosses
// the repository the real repository takes part. Only tools, configuration plug-ins and views
// (plug-ins of other modules) are doubles, registered in-process by name.

#include "FakeTool.h"
#include "FakeView.h"
#include "MessageRecorder.h"
#include "ModuleEntry.h"
#include "StreamCapture.h"
#include "TestHost.h"
#include "ValueReading.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ToolboxTest
{

using DocViewTest::CDescriptorCapture;
using DocViewTest::CFakeConfig;
using DocViewTest::CFakeTool;
using DocViewTest::CPluginProxy;
using DocViewTest::CStreamCapture;
using DocViewTest::SCaught;
using DocViewTest::SConfigBehaviour;
using DocViewTest::SToolBehaviour;

// A view double: its description names only "document" (may be null).
class CFakeView : public DocViewTest::CFakeView
{
public:
    explicit CFakeView(Zarn::CValueMap* document = nullptr)
    {
        m_pDocument = document;
        m_bDescribeType = false;
    }
};

// Records every delivered message as one text: its name and a summary of its data ("null",
// "(no data)", "{a=true,b=false}" for maps of bools, "map" for other maps, "string <text>").
class CMessageRecorder : public DocViewTest::CMessageRecorder
{
public:
    using DocViewTest::CMessageRecorder::CMessageRecorder;

    std::vector<std::string> m_lstMessages;
    std::vector<Zarn::CValueMap> m_lstData; // maps only; an empty map for other data
    std::vector<const void*> m_lstPointers; // the pointee of pointer data, else null

protected:
    void OnMessage(const DocViewTest::SRecordedMessage& record, const Zarn::CValue* data) override;
};

struct SBox
{
    std::string m_strCaption;
    std::string m_strText;
};

// Runs the module's toolbox (and, where asked, the real repository) on the test's thread. Owns
// both plug-ins, their proxies, the recorder (subscribed first), the tool and configuration
// behaviours and the captures of the console. Tool runs may post from tool threads; the fixture
// delivers on the test's thread. Throws nothing of its own; posts what the test asks for.
class CToolboxFixture : public DocViewTest::CHostFixture
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

    // Delivers until a message named `name` was recorded `count` times in all (tool threads
    // post meanwhile); false when it did not come within a few seconds.
    bool DeliverUntilCount(const std::string& name, size_t count);

    std::vector<std::string> TakeMessages();
    std::vector<SBox> TakeBoxes();
    std::vector<SCaught> TakeCaught();
    size_t CountMessages(const std::string& prefix) const;
    // Takes the boxes shown since the last take and expects exactly this one.
    void ExpectOneBox(const std::string& caption, const std::string& text);
    // Takes the errors caught since the last take and expects exactly one with these fields.
    void ExpectOneCaught(const std::string& function, const std::string& what,
                         const std::string& instance);
    void ExpectOneCaught(const std::string& message, const std::string& function,
                         const std::string& what, const std::string& instance);

    const Zarn::CValueMap& State() const;
    static const void* PointerAt(const Zarn::CValueMap& map, const char* path)
    {
        return DocViewTest::PointerAt(map, path);
    }
    static std::vector<const void*> PointersAt(const Zarn::CValueMap& map, const char* path)
    {
        return DocViewTest::PointersAt(map, path);
    }

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
