#include "ToolboxHarness.h"

#include "frame/MessageBoxes.h"
#include "toolbox/CurrentContext.h"
#include "toolbox/ToolboxPlugin.h"

#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Registry/Registry.h>

#include <QString>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include <unistd.h>

namespace ToolboxTest
{

namespace
{
const char* const kRegistryKeys[] = {"tmp/commthread", "tmp/messageidfactory", "tmp/logger"};
} // namespace

CFakeTool::CFakeTool(SToolBehaviour* behaviour) : m_pBehaviour(behaviour)
{
    ++m_pBehaviour->m_nInstances;
}

CFakeTool::~CFakeTool()
{
    ++m_pBehaviour->m_nDestroyed;
    if (m_pBehaviour->m_nActiveRuns.load() > 0)
    {
        ++m_pBehaviour->m_nDestroyedWhileRunning;
    }
}

void CFakeTool::GetPluginSetup(Zarn::CValueMap& setup)
{
    if (m_pBehaviour->m_strPluginName)
    {
        setup.SetEntry(Zarn::CValue_Key("PluginName"),
                       new Zarn::CValueString(m_pBehaviour->m_strPluginName->c_str()));
    }
    if (m_pBehaviour->m_bConfigUser)
    {
        setup.SetEntry(Zarn::CValue_Key("config user"),
                       new Zarn::CValueBool(*m_pBehaviour->m_bConfigUser));
    }
}

void CFakeTool::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    m_pBehaviour->m_lstInit.push_back(parameters);
    if (m_pBehaviour->m_bInitThrows)
    {
        throw Zarn::CException("CFakeTool::Init", "tool refused to start", "fake");
    }
}

void CFakeTool::DeleteData()
{
    ++m_pBehaviour->m_nDeleteData;
}

void CFakeTool::Run(Zarn::CValueMap& data)
{
    SToolBehaviour* pBehaviour = m_pBehaviour;
    pBehaviour->m_strRunContext = DocView::CurrentContext();
    ++pBehaviour->m_nRuns;
    // Counted down however the run ends; nothing of this object is used after the run.
    struct SActive
    {
        std::atomic<int>& m_nActive;
        explicit SActive(std::atomic<int>& nActive) : m_nActive(nActive) { ++m_nActive; }
        ~SActive() { --m_nActive; }
    } active(pBehaviour->m_nActiveRuns);
    if (pBehaviour->m_fnRun)
    {
        pBehaviour->m_fnRun(data);
    }
}

bool CFakeTool::TestParameters(const Zarn::CValueMap& parameters)
{
    ++m_pBehaviour->m_nTests;
    return m_pBehaviour->m_fnTest ? m_pBehaviour->m_fnTest(parameters) : true;
}

void CFakeTool::UpdateParameters(const Zarn::CValueMap& message)
{
    m_pBehaviour->m_lstUpdates.push_back(message);
}

CFakeConfig::CFakeConfig(SConfigBehaviour* behaviour) : m_pBehaviour(behaviour)
{
    ++m_pBehaviour->m_nInstances;
}

CFakeConfig::~CFakeConfig()
{
    ++m_pBehaviour->m_nDestroyed;
}

void CFakeConfig::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    m_pBehaviour->m_lstInit.push_back(parameters);
}

void CFakeConfig::DeleteData()
{
    ++m_pBehaviour->m_nDeleteData;
}

void CFakeConfig::Run(Zarn::CValueMap& data)
{
    m_pBehaviour->m_lstConfigUser.push_back(data.EntryBool(Zarn::CValue_Key("config user")));
    if (m_pBehaviour->m_fnRun)
    {
        m_pBehaviour->m_fnRun(data);
        return;
    }
    auto* pParameters = new Zarn::CValueMap;
    pParameters->SetEntry(Zarn::CValue_Key("size"), new Zarn::CValueLong(3));
    data.SetEntry(Zarn::CValue_Key("parameters"), pParameters);
}

void CFakeConfig::UpdateParameters(const Zarn::CValueMap& message)
{
    m_pBehaviour->m_lstUpdates.push_back(message);
}

void CFakeView::Run(Zarn::CValueMap& data)
{
    data.SetEntry(Zarn::CValue_Key("document"),
                  new Zarn::CValuePointer<Zarn::CValueMap>(m_pDocument));
}

CMessageRecorder::CMessageRecorder(Zarn::CMessageIdFactory* ids) : m_pIds(ids)
{
    SetInstance("Recorder");
}

void CMessageRecorder::UpdateParameters(const Zarn::CValueMap& message)
{
    const int id = static_cast<int>(message.EntryLong(Zarn::CValue_Key("id")));
    std::string strText = m_pIds->GetMessageName(id);
    const Zarn::CValue* pData = message.Entry(Zarn::CValue_Key("data"), false);
    const void* pPointee = nullptr;
    Zarn::CValueMap data;
    if (pData == nullptr)
    {
        strText += " (no data)";
    }
    else if (pData->GenericType() == Zarn::CValue::vtPointer)
    {
        pPointee = pData->Pointer()->Void();
        strText += pPointee == nullptr ? " null" : " pointer";
    }
    else if (pData->GenericType() == Zarn::CValue::vtString)
    {
        strText += " string " + pData->String().StdString();
    }
    else if (pData->Map() != nullptr)
    {
        data = *pData->Map();
        bool bAllBools = true;
        std::string strMap;
        for (auto it = pData->Map()->begin(); it != pData->Map()->end(); ++it)
        {
            bAllBools = bAllBools && it.Value()->GenericType() == Zarn::CValue::vtBool;
            if (bAllBools)
            {
                strMap += strMap.empty() ? "" : ",";
                strMap += std::string(it.Key().ToString()) + "=" +
                          (it.Value()->Bool() ? "true" : "false");
            }
        }
        strText += bAllBools && !data.IsEmpty() ? " {" + strMap + "}" : " map";
    }
    m_lstMessages.push_back(strText);
    m_lstData.push_back(data);
    m_lstPointers.push_back(pPointee);
}

CPluginProxy::CPluginProxy(Zarn::CPluginBase* plugin, Zarn::CMessageIdFactory* ids)
    : m_pPlugin(plugin), m_pIds(ids)
{
    SetInstance("Proxy");
}

void CPluginProxy::UpdateParameters(const Zarn::CValueMap& message)
{
    try
    {
        m_pPlugin->UpdateParameters(message);
    }
    catch (const Zarn::CException& exception)
    {
        const int id = static_cast<int>(message.EntryLong(Zarn::CValue_Key("id")));
        m_lstCaught.push_back(SCaught{m_pIds->GetMessageName(id), exception.function(),
                                      exception.what(), exception.instance()});
        throw;
    }
}

CStreamCapture::CStreamCapture(std::ostream& stream)
    : m_stream(stream), m_pPrevious(stream.rdbuf(m_text.rdbuf()))
{
}

CStreamCapture::~CStreamCapture()
{
    m_stream.rdbuf(m_pPrevious);
}

std::string CStreamCapture::Take()
{
    const std::string strAll = m_text.str();
    const std::string strNew = strAll.substr(m_nTaken);
    m_nTaken = strAll.size();
    return strNew;
}

CDescriptorCapture::CDescriptorCapture(int descriptor)
    : m_nDescriptor(descriptor), m_nSaved(dup(descriptor)), m_nFile(-1)
{
    char szName[] = "/tmp/docview-capture-XXXXXX";
    m_nFile = mkstemp(szName);
    if (m_nFile >= 0)
    {
        unlink(szName);
        dup2(m_nFile, m_nDescriptor);
    }
}

CDescriptorCapture::~CDescriptorCapture()
{
    if (m_nSaved >= 0)
    {
        dup2(m_nSaved, m_nDescriptor);
        close(m_nSaved);
    }
    if (m_nFile >= 0)
    {
        close(m_nFile);
    }
}

std::string CDescriptorCapture::Take()
{
    std::string strAll;
    char acBuffer[4096];
    ssize_t nRead = 0;
    off_t nOffset = 0;
    while ((nRead = pread(m_nFile, acBuffer, sizeof(acBuffer), nOffset)) > 0)
    {
        strAll.append(acBuffer, static_cast<size_t>(nRead));
        nOffset += nRead;
    }
    const std::string strNew = strAll.substr(std::min(m_nTaken, strAll.size()));
    m_nTaken = strAll.size();
    return strNew;
}

void CToolboxFixture::SetUp()
{
    m_pErr = std::make_unique<CStreamCapture>(std::cerr);
    m_pLog = std::make_unique<CStreamCapture>(std::clog);
    m_pLogger = std::make_unique<Zarn::CLogger>(&m_logText);
    m_pThreadLogger = std::make_unique<Zarn::CLogger>(&m_threadLogText);
    m_pIds = std::make_unique<Zarn::CMessageIdFactory>();
    m_pThread = std::make_unique<Zarn::CMessageThread>();
    m_pThread->SetLogger(m_pThreadLogger.get());
    m_pThread->SetMessageIdFactory(m_pIds.get());

    Zarn::CRegistry& registry = Zarn::CRegistry::Obj();
    registry.SetEntry(Zarn::CValue_Key("tmp/commthread"),
                      new Zarn::CValuePointer<Zarn::CMessageThread>(m_pThread.get()));
    registry.SetEntry(Zarn::CValue_Key("tmp/messageidfactory"),
                      new Zarn::CValuePointer<Zarn::CMessageIdFactory>(m_pIds.get()));
    registry.SetEntry(Zarn::CValue_Key("tmp/logger"),
                      new Zarn::CValuePointer<Zarn::CLogger>(m_pLogger.get()));

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
    if (m_pToolbox != nullptr)
    {
        m_pThread->Unsubscribe(m_pToolboxProxy.get());
        m_pToolbox->DeleteData();
        delete m_pToolbox;
        m_pToolbox = nullptr;
    }
    if (m_pRepository != nullptr)
    {
        m_pThread->Unsubscribe(m_pRepositoryProxy.get());
        m_pRepository->DeleteData();
        delete m_pRepository;
        m_pRepository = nullptr;
    }
    m_pThread->Unsubscribe(m_pRecorder.get());
    DocView::SetCriticalMessagePresenter(nullptr);
    Zarn::CRegistry& registry = Zarn::CRegistry::Obj();
    for (const char* szKey : kRegistryKeys)
    {
        registry.RemoveEntry(Zarn::CValue_Key(szKey));
    }
    for (const std::string& strName : m_lstRegistered)
    {
        Zarn::CPluginLoader::Obj().UnregisterPlugin(strName.c_str());
    }
    m_pThread.reset();
    m_pLog.reset();
    m_pErr.reset();
}

SToolBehaviour& CToolboxFixture::RegisterTool(const std::string& name)
{
    m_lstTools.push_back(std::make_unique<SToolBehaviour>());
    SToolBehaviour* pBehaviour = m_lstTools.back().get();
    Zarn::CPluginLoader::Obj().RegisterPlugin(
        name.c_str(), [pBehaviour]() -> Zarn::CPluginBase* { return new CFakeTool(pBehaviour); });
    m_lstRegistered.push_back(name);
    return *pBehaviour;
}

SConfigBehaviour& CToolboxFixture::RegisterConfig(const std::string& name)
{
    m_lstConfigs.push_back(std::make_unique<SConfigBehaviour>());
    SConfigBehaviour* pBehaviour = m_lstConfigs.back().get();
    Zarn::CPluginLoader::Obj().RegisterPlugin(
        name.c_str(), [pBehaviour]() -> Zarn::CPluginBase* { return new CFakeConfig(pBehaviour); });
    m_lstRegistered.push_back(name);
    return *pBehaviour;
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

void CToolboxFixture::Post(const char* name, Zarn::CValue* data)
{
    m_pThread->TakeMessage(
        new Zarn::CMessage(m_pIds->GetMessageId(name), data, Zarn::CMessage::priNormal),
        Zarn::CMessage::mmQueued);
}

void CToolboxFixture::PostText(const char* name, const char* text)
{
    Post(name, new Zarn::CValueString(text));
}

void CToolboxFixture::PostDocument(const char* name, Zarn::CValueMap* document)
{
    Post(name, new Zarn::CValuePointer<Zarn::CValueMap>(document));
}

void CToolboxFixture::PostView(const char* name, Zarn::CPluginBase* view)
{
    Post(name, new Zarn::CValuePointer<Zarn::CPluginBase>(view));
}

size_t CToolboxFixture::Deliver()
{
    return m_pThread->DeliverUntilIdle();
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
    const std::vector<std::string>& all = m_pRecorder->m_lstMessages;
    std::vector<std::string> lstNew(all.begin() + static_cast<std::ptrdiff_t>(m_nMessagesTaken),
                                    all.end());
    m_nMessagesTaken = all.size();
    return lstNew;
}

std::vector<SBox> CToolboxFixture::TakeBoxes()
{
    std::vector<SBox> lstNew(m_lstBoxes.begin() + static_cast<std::ptrdiff_t>(m_nBoxesTaken),
                             m_lstBoxes.end());
    m_nBoxesTaken = m_lstBoxes.size();
    return lstNew;
}

std::vector<SCaught> CToolboxFixture::TakeCaught()
{
    const std::vector<SCaught>& all = m_pToolboxProxy->m_lstCaught;
    std::vector<SCaught> lstNew(all.begin() + static_cast<std::ptrdiff_t>(m_nCaughtTaken),
                                all.end());
    m_nCaughtTaken = all.size();
    return lstNew;
}

size_t CToolboxFixture::CountMessages(const std::string& prefix) const
{
    size_t nCount = 0;
    for (const std::string& strMessage : m_pRecorder->m_lstMessages)
    {
        if (strMessage.compare(0, prefix.size(), prefix) == 0)
        {
            ++nCount;
        }
    }
    return nCount;
}

const Zarn::CValueMap& CToolboxFixture::State() const
{
    // White-box: the toolbox is the module's own class.
    return static_cast<const CToolboxPlugin*>(m_pToolbox)->State();
}

const void* CToolboxFixture::PointerAt(const Zarn::CValueMap& map, const char* path)
{
    const Zarn::CValue* pValue = map.Entry(path, false);
    return pValue != nullptr && pValue->GenericType() == Zarn::CValue::vtPointer
               ? pValue->Pointer()->Void()
               : nullptr;
}

std::vector<const void*> CToolboxFixture::PointersAt(const Zarn::CValueMap& map, const char* path)
{
    std::vector<const void*> lstPointers;
    const Zarn::CValue* pValue = map.Entry(path, false);
    if (pValue == nullptr || pValue->Vector() == nullptr)
    {
        return lstPointers;
    }
    const Zarn::CValueVector* pVector = pValue->Vector();
    for (unsigned int i = 0; i < pVector->Size(); ++i)
    {
        lstPointers.push_back(pVector->Entry(Zarn::CValue_Key(i), true)->Pointer()->Void());
    }
    return lstPointers;
}

} // namespace ToolboxTest
