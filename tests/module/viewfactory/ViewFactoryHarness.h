#pragma once

// The view factory under test runs inside the real host: the real communication thread delivers
// every message and the registry holds the real id factory and thread. Only the view factories
// and their views (plug-ins of other modules) are doubles, registered in-process by name.

#include "FakeViewFactory.h"
#include "MessageRecorder.h"
#include "ModuleEntry.h"
#include "StreamCapture.h"
#include "TestHost.h"

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>

#include <QWidget>

#include <gtest/gtest.h>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

class CViewFactoryPlugin;

namespace ViewFactoryTest
{

using DocViewTest::CFakeView;
using DocViewTest::CFakeViewFactory;
using DocViewTest::SFactoryBehaviour;
using DocViewTest::SJournal;

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

// Runs the module's view factory plug-in on the test's thread. Owns the plug-in, the recorder
// (subscribed first), the fake view factories' behaviours, every view they made and the captures
// of standard output and error. Throws nothing of its own; posts what the test asks for.
class CViewFactoryFixture : public DocViewTest::CHostFixture
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

    // Lines written to standard output / error since the last call.
    std::vector<std::string> TakeOutputLines();
    std::string TakeErrorText();
    // The delivered messages of that name.
    std::vector<SDelivered> Delivered(const std::string& name) const;

    SJournal m_journal;
    std::unique_ptr<DocViewTest::CMessageRecorder> m_pRecorder;
    CViewFactoryPlugin* m_pPlugin = nullptr;
    bool m_bPluginDataDeleted = false;
    std::vector<std::unique_ptr<Zarn::CValueMap>> m_lstDocuments;
    std::vector<std::string> m_lstRegistered;
    std::vector<std::unique_ptr<SFactoryBehaviour>> m_lstBehaviours;
    // What the plug-in prints, captured for every test.
    std::unique_ptr<DocViewTest::CStreamCapture> m_pOut;
    std::unique_ptr<DocViewTest::CStreamCapture> m_pErr;
};

} // namespace ViewFactoryTest
