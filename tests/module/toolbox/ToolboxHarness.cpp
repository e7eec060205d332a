#include "ToolboxHarness.h"

#include "frame/MessageBoxes.h"
#include "toolbox/CurrentContext.h"
#include "toolbox/ToolboxPlugin.h"

#include <Zarn/Plugin/PluginLoader.h>

#include <QString>

#include <chrono>

namespace ToolboxTest
{

namespace
{

// "{a=true,b=false}" for a non-empty map of bools, " map" for any other map.
std::string MapText(const Zarn::CValueMap& map)
{
    bool bAllBools = true;
    std::string strMap;
    for (auto it = map.begin(); it != map.end(); ++it)
    {
        bAllBools = bAllBools && it.Value()->GenericType() == Zarn::CValue::vtBool;
        if (bAllBools)
        {
            strMap += strMap.empty() ? "" : ",";
            strMap +=
                std::string(it.Key().ToString()) + "=" + (it.Value()->Bool() ? "true" : "false");
        }
    }
    return bAllBools && !map.IsEmpty() ? " {" + strMap + "}" : " map";
}

} // namespace

void CMessageRecorder::OnMessage(const DocViewTest::SRecordedMessage& record,
                                 const Zarn::CValue* data)
{
    std::string strText = record.m_strName;
    if (data == nullptr)
    {
        strText += " (no data)";
    }
    else if (record.m_pElementType != nullptr)
    {
        strText += record.m_pPointee == nullptr ? " null" : " pointer";
    }
    else if (data->GenericType() == Zarn::CValue::vtString)
    {
        strText += " string " + record.m_strText;
    }
    else if (record.m_bDataIsMap)
    {
        strText += MapText(record.m_data);
    }
    m_lstMessages.push_back(strText);
    m_lstData.push_back(record.m_data);
    m_lstPointers.push_back(record.m_pPointee);
}

void CToolboxFixture::SetUp()
{
    m_pErr = std::make_unique<CStreamCapture>(std::cerr);
    m_pLog = std::make_unique<CStreamCapture>(std::clog);
    m_pRecorder = std::make_unique<CMessageRecorder>(m_pIds.get());
    m_pThread->Subscribe(m_pRecorder.get());

    DocView::SetCriticalMessagePresenter(
        [this](const QString& caption, const QString& text) {
            m_lstBoxes.push_back(SBox{caption.toStdString(), text.toStdString()});
        });
}

void CToolboxFixture::TearDown()
{
    // Runs still under way post into the thread: let them finish first.
    Deliver();
    EndPlugin(m_pToolbox, m_pToolboxProxy.get(), true);
    EndPlugin(m_pRepository, m_pRepositoryProxy.get(), true);
    m_pThread->Unsubscribe(m_pRecorder.get());
    DocView::SetCriticalMessagePresenter(nullptr);
    for (const std::string& strName : m_lstRegistered)
    {
        Zarn::CPluginLoader::Obj().UnregisterPlugin(strName.c_str());
    }
    DocViewTest::CHostFixture::TearDown();
    m_pLog.reset();
    m_pErr.reset();
}

SToolBehaviour& CToolboxFixture::RegisterTool(const std::string& name)
{
    m_lstTools.push_back(std::make_unique<SToolBehaviour>());
    SToolBehaviour* pBehaviour = m_lstTools.back().get();
    pBehaviour->m_fnContext = [] { return DocView::CurrentContext(); };
    CFakeTool::Register(name, pBehaviour);
    m_lstRegistered.push_back(name);
    return *pBehaviour;
}

SConfigBehaviour& CToolboxFixture::RegisterConfig(const std::string& name)
{
    m_lstConfigs.push_back(std::make_unique<SConfigBehaviour>());
    CFakeConfig::Register(name, m_lstConfigs.back().get());
    m_lstRegistered.push_back(name);
    return *m_lstConfigs.back();
}

Zarn::CValueMap* CToolboxFixture::ToolDescription(const std::string& plugin,
                                                  const std::string& callAction,
                                                  std::optional<bool> threaded,
                                                  const std::string& configPlugin,
                                                  const std::string& configAction)
{
    auto* pDescription = new Zarn::CValueMap;
    pDescription->SetEntry(Zarn::CValue_Key("plugin"), new Zarn::CValueString(plugin.c_str()));
    if (!callAction.empty())
    {
        pDescription->SetEntry(Zarn::CValue_Key("callaction"),
                               new Zarn::CValueString(callAction.c_str()));
    }
    if (threaded)
    {
        pDescription->SetEntry(Zarn::CValue_Key("threaded"), new Zarn::CValueBool(*threaded));
    }
    if (!configPlugin.empty())
    {
        pDescription->SetEntry(Zarn::CValue_Key("configplugin"),
                               new Zarn::CValueString(configPlugin.c_str()));
    }
    if (!configAction.empty())
    {
        pDescription->SetEntry(Zarn::CValue_Key("configaction"),
                               new Zarn::CValueString(configAction.c_str()));
    }
    return pDescription;
}

Zarn::CValueMap*
CToolboxFixture::ToolboxParameters(const std::vector<Zarn::CValueMap*>& descriptions)
{
    auto* pParameters = new Zarn::CValueMap;
    auto* pTools = new Zarn::CValueVector;
    for (Zarn::CValueMap* pDescription : descriptions)
    {
        pTools->PushBack(pDescription);
    }
    pParameters->SetEntry(Zarn::CValue_Key("tool plugins"), pTools);
    return pParameters;
}

void CToolboxFixture::StartToolbox(Zarn::CValueMap* parameters)
{
    std::unique_ptr<Zarn::CValueMap> pParameters(parameters ? parameters : new Zarn::CValueMap);
    m_pToolbox = static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("Toolbox"));
    ASSERT_NE(m_pToolbox, nullptr);
    m_pToolboxProxy = std::make_unique<CPluginProxy>(m_pToolbox, m_pIds.get());
    m_pThread->Subscribe(m_pToolboxProxy.get());
    m_pToolbox->Init(nullptr, *pParameters);
    Deliver();
}

void CToolboxFixture::StartRepository()
{
    m_pRepository = static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("Repository"));
    ASSERT_NE(m_pRepository, nullptr);
    m_pRepositoryProxy = std::make_unique<CPluginProxy>(m_pRepository, m_pIds.get());
    m_pThread->Subscribe(m_pRepositoryProxy.get());
    m_pRepository->Init(nullptr, Zarn::CValueMap());
    Deliver();
}

bool CToolboxFixture::DeliverUntilCount(const std::string& name, size_t count)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::chrono::steady_clock::now() < deadline)
    {
        Deliver();
        if (CountMessages(name) >= count)
        {
            Deliver();
            return true;
        }
        m_pThread->WaitForMessage(std::chrono::milliseconds(100));
    }
    return false;
}

std::vector<std::string> CToolboxFixture::TakeMessages()
{
    return DocViewTest::TakeSince(m_pRecorder->m_lstMessages, m_nMessagesTaken);
}

std::vector<SBox> CToolboxFixture::TakeBoxes()
{
    return DocViewTest::TakeSince(m_lstBoxes, m_nBoxesTaken);
}

std::vector<SCaught> CToolboxFixture::TakeCaught()
{
    return DocViewTest::TakeSince(m_pToolboxProxy->m_lstCaught, m_nCaughtTaken);
}

void CToolboxFixture::ExpectOneBox(const std::string& caption, const std::string& text)
{
    const std::vector<SBox> boxes = TakeBoxes();
    ASSERT_EQ(boxes.size(), 1U);
    EXPECT_EQ(boxes[0].m_strCaption, caption);
    EXPECT_EQ(boxes[0].m_strText, text);
}

void CToolboxFixture::ExpectOneCaught(const std::string& function, const std::string& what,
                                      const std::string& instance)
{
    const std::vector<SCaught> caught = TakeCaught();
    ASSERT_EQ(caught.size(), 1U);
    EXPECT_EQ(caught[0].m_strFunction, function);
    EXPECT_EQ(caught[0].m_strWhat, what);
    EXPECT_EQ(caught[0].m_strInstance, instance);
}

void CToolboxFixture::ExpectOneCaught(const std::string& message, const std::string& function,
                                      const std::string& what, const std::string& instance)
{
    const std::vector<SCaught> caught = TakeCaught();
    ASSERT_EQ(caught.size(), 1U);
    EXPECT_EQ(caught[0].m_strMessage, message);
    EXPECT_EQ(caught[0].m_strFunction, function);
    EXPECT_EQ(caught[0].m_strWhat, what);
    EXPECT_EQ(caught[0].m_strInstance, instance);
}

size_t CToolboxFixture::CountMessages(const std::string& prefix) const
{
    return DocViewTest::CountStartingWith(m_pRecorder->m_lstMessages, prefix);
}

const Zarn::CValueMap& CToolboxFixture::State() const
{
    // White-box: the toolbox is the module's own class.
    return static_cast<const CToolboxPlugin*>(m_pToolbox)->State();
}

} // namespace ToolboxTest
