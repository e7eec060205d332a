#include "../frame/HostRegistryFixture.h"
#include "BatchTestTools.h"
#include "HostException.h"
#include "ModuleEntry.h"

#include "batch/PluginExecutor.h"
#include "batch/ProcessDescription.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Image/ImagePointer.h>
#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace
{

using namespace BatchTestTools;

struct SDeletePlugin
{
    void operator()(Zarn::CPluginBase* pPlugin) const
    {
        pPlugin->DeleteData();
        delete pPlugin;
    }
};
using PluginPtr = std::unique_ptr<Zarn::CPluginBase, SDeletePlugin>;

// What a receiver of "output/documents/add" does with a new document: owns and deletes it.
struct SDeleteDocument
{
    void operator()(Zarn::CValueMap* pDocument) const { delete pDocument; }
};
using DocumentPtr = std::unique_ptr<Zarn::CValueMap, SDeleteDocument>;

class CImageProcessPluginTest : public CHostRegistryFixture
{
protected:
    void SetUp() override
    {
        CHostRegistryFixture::SetUp();
        RegisterTools();
        Zarn::CPluginLoader::Obj().RegisterPlugin(
            "ImageProcess", []()
            { return static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("ImageProcess")); });
        ResetJournal();
        m_pImage = MakeRamp(6, 5);
        m_document.SetEntry(Zarn::CValue_Key("content"),
                            new Zarn::CValuePointer<Zarn::CImage>(m_pImage.get()));
        m_document.SetEntry(Zarn::CValue_Key("label"), new Zarn::CValueString("ramp"));
    }

    void TearDown() override
    {
        Zarn::CPluginLoader::Obj().UnregisterPlugin("ImageProcess");
        CHostRegistryFixture::TearDown();
    }

    // The plug-in, initialised with the process (none when null).
    PluginPtr Plugin(const char* szProcess)
    {
        PluginPtr pPlugin(static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("ImageProcess")));
        Zarn::CValueMap parameters;
        if (szProcess != nullptr)
        {
            parameters.SetEntry(Zarn::CValue_Key("process"),
                                ProcessDescription::LoadString(szProcess).release());
        }
        ::testing::internal::CaptureStdout();
        pPlugin->Init(nullptr, parameters);
        ::testing::internal::GetCapturedStdout();
        return pPlugin;
    }

    // A tool's parameter map with the document as "input/documents/focused".
    Zarn::CValueMap ToolMap(Zarn::CValue* focused = nullptr)
    {
        Zarn::CValueMap map;
        map.SetEntry("input/documents/focused",
                     focused != nullptr ? focused
                                        : new Zarn::CValuePointer<Zarn::CValueMap>(&m_document));
        return map;
    }

    // The document the run wrote, taken over as the repository would.
    static DocumentPtr TakeAdded(const Zarn::CValueMap& data)
    {
        const Zarn::CValue* pAdded = data.Entry("output/documents/add", false);
        if (pAdded == nullptr)
        {
            return nullptr;
        }
        EXPECT_EQ(pAdded->Vector()->Size(), 1u);
        return DocumentPtr(Zarn::UnwrapPointer<Zarn::CValueMap>(
            const_cast<Zarn::CValue*>(pAdded->Vector()->Entry(Zarn::CValue_Key(0), true))));
    }

    // Runs the one-step process made of `plugin` and expects the host exception with `function`
    // and `what`.
    void ExpectRunThrows(const char* plugin, const char* function, const char* what)
    {
        const std::string strProcess =
            std::string(R"([{"type": "plugin", "plugin": ")") + plugin + R"("}])";
        PluginPtr pPlugin = Plugin(strProcess.c_str());
        Zarn::CValueMap data = ToolMap();
        pPlugin->UpdateParameters(data);
        DocViewTest::ExpectHostException([&] { pPlugin->Run(data); }, {function, what, {}});
    }

    static const Zarn::CImage& ContentOf(const Zarn::CValueMap& document)
    {
        return *Zarn::UnwrapPointer<Zarn::CImage>(
            document.Entry(Zarn::CValue_Key("content"), true));
    }

    std::unique_ptr<Zarn::CImage> m_pImage;
    Zarn::CValueMap m_document;
};

const char* const kInvertProcess = R"([
    {"type": "config plugin", "plugin": "TestConfig", "answer": {"constant": 5}},
    {"type": "plugin", "plugin": "TestAddConstant"},
    {"type": "plugin", "plugin": "TestInvert"}])";

TEST_F(CImageProcessPluginTest, SetupLeavesTheMapEmpty)
{
    PluginPtr pPlugin(static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("ImageProcess")));
    Zarn::CValueMap setup;
    pPlugin->GetPluginSetup(setup);
    EXPECT_TRUE(setup.IsEmpty());
}

TEST_F(CImageProcessPluginTest, InitCreatesTheFirstPluginWithItsStep)
{
    PluginPtr pPlugin = Plugin(kInvertProcess);
    EXPECT_EQ(CountCalls("TestConfig:Init"), 1);
    EXPECT_TRUE(Journal().m_pInitMap->HasEntry(Zarn::CValue_Key("answer")));
}

TEST_F(CImageProcessPluginTest, AcceptsADocumentWithAnImageWhenTheFirstPluginDoes)
{
    PluginPtr pPlugin = Plugin(kInvertProcess);
    EXPECT_TRUE(pPlugin->TestParameters(ToolMap()));
    EXPECT_EQ(CountCalls("TestConfig:TestParameters"), 1);
}

TEST_F(CImageProcessPluginTest, FirstPluginRejectingMakesTheWholeProcessRejectBeforeAnyStep)
{
    PluginPtr pPlugin = Plugin(R"([
        {"type": "loop", "subtype": "while-do", "condition identifier": "c",
         "loopbody": [{"type": "plugin", "plugin": "TestRejecting"}]},
        {"type": "plugin", "plugin": "TestCounter"}])");
    EXPECT_FALSE(pPlugin->TestParameters(ToolMap()));
    EXPECT_EQ(CountCalls("TestRejecting:TestParameters"), 1);
    EXPECT_EQ(CountCalls("TestRejecting:Run"), 0);
    EXPECT_EQ(Journal().m_nCounterRuns, 0);
}

TEST_F(CImageProcessPluginTest, ProcessWithoutPluginStepsCanNeverRun)
{
    PluginPtr pPlugin = Plugin(R"([
        {"type": "save image", "map position": "s", "save process": []},
        {"type": "quen header tools", "operation": "add to history"}])");
    EXPECT_FALSE(pPlugin->TestParameters(ToolMap()));
}

TEST_F(CImageProcessPluginTest, WithoutProcessNothingIsAccepted)
{
    PluginPtr pPlugin = Plugin(nullptr);
    EXPECT_FALSE(pPlugin->TestParameters(ToolMap()));
}

TEST_F(CImageProcessPluginTest, MalformedInputsAreRejectedWithoutThrowing)
{
    PluginPtr pPlugin = Plugin(kInvertProcess);
    EXPECT_FALSE(pPlugin->TestParameters(Zarn::CValueMap()));
    EXPECT_FALSE(pPlugin->TestParameters(ToolMap(new Zarn::CValueString("not a document"))));
    EXPECT_FALSE(
        pPlugin->TestParameters(ToolMap(new Zarn::CValuePointer<Zarn::CImage>(m_pImage.get()))));
    EXPECT_FALSE(
        pPlugin->TestParameters(ToolMap(new Zarn::CValuePointer<Zarn::CValueMap>(nullptr))));
    Zarn::CValueMap withoutContent;
    EXPECT_FALSE(pPlugin->TestParameters(
        ToolMap(new Zarn::CValuePointer<Zarn::CValueMap>(&withoutContent))));
    Zarn::CValueMap wrongContent;
    wrongContent.SetEntry(Zarn::CValue_Key("content"), new Zarn::CValueLong(1));
    EXPECT_FALSE(
        pPlugin->TestParameters(ToolMap(new Zarn::CValuePointer<Zarn::CValueMap>(&wrongContent))));
}

TEST_F(CImageProcessPluginTest, RunAddsTheResultAsANewDocumentWithTheLabel)
{
    PluginPtr pPlugin = Plugin(kInvertProcess);
    Zarn::CValueMap data = ToolMap();
    pPlugin->UpdateParameters(data);
    const Zarn::CImage original(*m_pImage);
    pPlugin->Run(data);
    DocumentPtr pAdded = TakeAdded(data);
    ASSERT_NE(pAdded, nullptr);
    EXPECT_EQ(pAdded->EntryString(Zarn::CValue_Key("label")).StdString(), "ramp");
    const Zarn::CValue* pContent = pAdded->Entry(Zarn::CValue_Key("content"), true);
    EXPECT_TRUE(pContent->Pointer()->IsOwned());
    EXPECT_EQ(PixelAt(ContentOf(*pAdded), 3, 2), 65535 - (PixelAt(original, 3, 2) + 5));
    EXPECT_TRUE(m_pImage->Equal(original));
}

TEST_F(CImageProcessPluginTest, DocumentWithoutLabelGivesNoLabel)
{
    PluginPtr pPlugin = Plugin(kInvertProcess);
    m_document.RemoveEntry(Zarn::CValue_Key("label"));
    Zarn::CValueMap data = ToolMap();
    pPlugin->UpdateParameters(data);
    pPlugin->Run(data);
    DocumentPtr pAdded = TakeAdded(data);
    ASSERT_NE(pAdded, nullptr);
    EXPECT_EQ(pAdded->EntryString(Zarn::CValue_Key("label")).StdString(), "no label");
}

TEST_F(CImageProcessPluginTest, EveryRunIsIndependent)
{
    PluginPtr pPlugin = Plugin(kInvertProcess);
    Zarn::CValueMap data = ToolMap();
    pPlugin->UpdateParameters(data);
    pPlugin->Run(data);
    DocumentPtr pFirst = TakeAdded(data);
    pPlugin->Run(data);
    DocumentPtr pSecond = TakeAdded(data);
    ASSERT_NE(pFirst, nullptr);
    ASSERT_NE(pSecond, nullptr);
    EXPECT_TRUE(ContentOf(*pFirst).Equal(ContentOf(*pSecond)));
}

TEST_F(CImageProcessPluginTest, CancelledRunWritesNoOutput)
{
    PluginPtr pPlugin = Plugin(R"([
        {"type": "plugin", "plugin": "TestInvert"},
        {"type": "config plugin", "plugin": "TestConfig", "cancel": true}])");
    Zarn::CValueMap data = ToolMap();
    pPlugin->UpdateParameters(data);
    pPlugin->Run(data);
    EXPECT_FALSE(data.HasEntry(Zarn::CValue_Key("output")));
}

TEST_F(CImageProcessPluginTest, CancelledProcessRunByAnExecutorIsNoOutput)
{
    Zarn::CValueMap parameters;
    parameters.SetEntry(Zarn::CValue_Key("process"), ProcessDescription::LoadString(R"([
        {"type": "config plugin", "plugin": "TestConfig", "cancel": true}])")
                                                         .release());
    Zarn::CValueMap output;
    ::testing::internal::CaptureStdout();
    try
    {
        PluginExecutor::RunImageToolPlugin("ImageProcess", m_pImage.get(), parameters, output, "x");
        ::testing::internal::GetCapturedStdout();
        FAIL() << "no exception";
    }
    catch (const Zarn::CException& caught)
    {
        ::testing::internal::GetCapturedStdout();
        EXPECT_STREQ(caught.function(), "PluginExecutor::RunImageToolPlugin");
        EXPECT_STREQ(caught.what(), "No output map from Plugin available.");
    }
}

TEST_F(CImageProcessPluginTest, ProcessRunsAsAPluginStepOfAnotherProcess)
{
    // The inner process's document is taken over and freed by the outer executor.
    PluginPtr pPlugin = Plugin(R"([
        {"type": "plugin", "plugin": "ImageProcess",
         "process": [{"type": "plugin", "plugin": "TestInvert"}]},
        {"type": "plugin", "plugin": "TestAddConstant", "parameters": {"constant": 3}}])");
    Zarn::CValueMap data = ToolMap();
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(pPlugin->TestParameters(data));
    pPlugin->UpdateParameters(data);
    pPlugin->Run(data);
    ::testing::internal::GetCapturedStdout();
    DocumentPtr pAdded = TakeAdded(data);
    ASSERT_NE(pAdded, nullptr);
    EXPECT_EQ(PixelAt(ContentOf(*pAdded), 1, 4), 65535 - PixelAt(*m_pImage, 1, 4) + 3);
}

TEST_F(CImageProcessPluginTest, HostExceptionOfAStepPassesUnchanged)
{
    ExpectRunThrows("TestRunThrowing", "TestRunThrowing::Run", "run failed");
}

TEST_F(CImageProcessPluginTest, StandardExceptionBecomesAHostExceptionOfThePlugin)
{
    ExpectRunThrows("TestStdThrowing", "CImageProcessPlugin", "standard failure");
}

TEST_F(CImageProcessPluginTest, AnythingElseBecomesUnknown)
{
    ExpectRunThrows("TestIntThrowing", "CImageProcessPlugin", "UNKNOWN");
}

TEST_F(CImageProcessPluginTest, MessagesWithoutInputLeaveTheFocusedDocument)
{
    PluginPtr pPlugin = Plugin(kInvertProcess);
    Zarn::CValueMap data = ToolMap();
    pPlugin->UpdateParameters(data);
    Zarn::CValueMap message;
    message.SetEntry(Zarn::CValue_Key("id"), new Zarn::CValueLong(3));
    message.SetEntry(Zarn::CValue_Key("data"), new Zarn::CValueString("x"));
    pPlugin->UpdateParameters(message);
    pPlugin->Run(data);
    EXPECT_NE(TakeAdded(data), nullptr);
}

TEST_F(CImageProcessPluginTest, RunBeforeUpdateParametersIsRefused)
{
    PluginPtr pPlugin = Plugin(kInvertProcess);
    Zarn::CValueMap data = ToolMap();
    EXPECT_THROW(pPlugin->Run(data), Zarn::CException);
}

TEST_F(CImageProcessPluginTest, DeleteDataReleasesTheFirstPlugin)
{
    PluginPtr pPlugin = Plugin(kInvertProcess);
    pPlugin->DeleteData();
    EXPECT_EQ(CountCalls("TestConfig:DeleteData"), 1);
    EXPECT_EQ(CountCalls("TestConfig:~"), 1);
    EXPECT_FALSE(pPlugin->TestParameters(ToolMap()));
}

TEST_F(CImageProcessPluginTest, ProcessThatIsNotAVectorIsRefused)
{
    PluginPtr pPlugin(static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("ImageProcess")));
    Zarn::CValueMap parameters;
    parameters.SetEntry(Zarn::CValue_Key("process"), new Zarn::CValueString("[]"));
    EXPECT_THROW(pPlugin->Init(nullptr, parameters), Zarn::CException);
}

} // namespace
