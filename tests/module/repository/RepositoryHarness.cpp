#include "RepositoryHarness.h"

#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/TypeInfo.h>

#include <algorithm>
#include <stdexcept>

namespace RepositoryTest
{

namespace
{

const char* const kRegistryKeys[] = {"tmp/commthread", "tmp/messageidfactory", "tmp/logger"};
const char* const kInheritSettings = "main/globalsettings/repository/inheritateSettings";

bool IsPointerTo(const Zarn::CValue* value, const std::type_info& type)
{
    return value != nullptr && value->GenericType() == Zarn::CValue::vtPointer &&
           Zarn::AreTypesEqual(value->ElementType(), type);
}

} // namespace

int SJournal::Count(const std::string& event) const
{
    return static_cast<int>(std::count(m_lstEvents.begin(), m_lstEvents.end(), event));
}

int SJournal::IndexOf(const std::string& event) const
{
    const auto it = std::find(m_lstEvents.begin(), m_lstEvents.end(), event);
    return it == m_lstEvents.end() ? -1 : static_cast<int>(it - m_lstEvents.begin());
}

CTrackedDocument::CTrackedDocument(std::string tag, SJournal* journal)
    : m_strTag(std::move(tag)), m_pJournal(journal)
{
}

CTrackedDocument::~CTrackedDocument()
{
    m_pJournal->m_lstEvents.push_back("destroyed document " + m_strTag);
}

CFakeView::CFakeView(std::string caption, SJournal* journal)
    : m_strCaption(std::move(caption)), m_pJournal(journal)
{
}

CFakeView::~CFakeView()
{
    m_pJournal->m_lstEvents.push_back("destroyed view " + m_strCaption);
}

void CFakeView::DeleteData()
{
    m_pJournal->m_lstEvents.push_back("DeleteData " + m_strCaption);
}

void CFakeView::Run(Zarn::CValueMap& data)
{
    data.SetEntry(Zarn::CValue_Key("caption"), new Zarn::CValueString(m_strCaption.c_str()));
    if (m_bDescribeDocument)
    {
        data.SetEntry(Zarn::CValue_Key("document"),
                      new Zarn::CValuePointer<Zarn::CValueMap>(m_pDocument));
    }
    data.SetEntry(Zarn::CValue_Key("PluginType"), new Zarn::CValueString("TestView"));
    data.SetEntry(Zarn::CValue_Key("PluginSubType"), new Zarn::CValueString("Plain"));
    if (m_settings)
    {
        data.SetEntry(Zarn::CValue_Key("settings"), new Zarn::CValueMap(*m_settings));
    }
}

void CFakeView::UpdateParameters(const Zarn::CValueMap& message)
{
    m_lstUpdates.push_back(message);
    const Zarn::CValue* pDoc = message.Entry(Zarn::CValue_Key("document"), false);
    if (pDoc != nullptr)
    {
        m_pDocument = const_cast<Zarn::CValueMap*>(Zarn::UnwrapPointer<Zarn::CValueMap>(pDoc));
    }
}

CFakeViewFactory::CFakeViewFactory(std::string name, SFactoryBehaviour* behaviour,
                                   SJournal* journal)
    : m_strName(std::move(name)), m_pBehaviour(behaviour), m_pJournal(journal)
{
    ++m_pBehaviour->m_nInstances;
}

CFakeViewFactory::~CFakeViewFactory()
{
    m_pJournal->m_lstEvents.push_back("destroyed factory " + m_strName);
}

void CFakeViewFactory::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    m_pBehaviour->m_lstInitParameters.push_back(parameters);
    if (m_pBehaviour->m_nInitThrows == 1)
    {
        throw Zarn::CException("CFakeViewFactory::Init", "factory refused to start",
                               m_strName.c_str());
    }
    if (m_pBehaviour->m_nInitThrows == 2)
    {
        throw std::runtime_error("factory refused to start");
    }
}

void CFakeViewFactory::DeleteData()
{
    m_pJournal->m_lstEvents.push_back("DeleteData factory " + m_strName);
}

bool CFakeViewFactory::TestParameters(const Zarn::CValueMap& parameters)
{
    const Zarn::CValueMap* pDoc =
        Zarn::UnwrapPointer<Zarn::CValueMap>(parameters.Entry(Zarn::CValue_Key("document"), true));
    if (m_pBehaviour->m_fnAccepts)
    {
        return m_pBehaviour->m_fnAccepts(pDoc);
    }
    return pDoc != nullptr;
}

void CFakeViewFactory::UpdateParameters(const Zarn::CValueMap& message)
{
    m_pDocument = const_cast<Zarn::CValueMap*>(
        Zarn::UnwrapPointer<Zarn::CValueMap>(message.Entry(Zarn::CValue_Key("document"), true)));
}

void CFakeViewFactory::Run(Zarn::CValueMap& data)
{
    const Zarn::CValue_Key key("view plugin");
    switch (m_pBehaviour->m_enRun)
    {
    case SFactoryBehaviour::runView:
    {
        auto* pView = new CFakeView(
            m_strName + "-" + std::to_string(m_pBehaviour->m_lstViews.size() + 1), m_pJournal);
        pView->m_bDescribeDocument = m_pBehaviour->m_bViewsDescribeDocument;
        pView->m_settings = m_pBehaviour->m_viewSettings;
        m_pBehaviour->m_lstViews.push_back(pView);
        data.SetEntry(key, new Zarn::CValuePointer<Zarn::CPluginBase>(pView));
        break;
    }
    case SFactoryBehaviour::runNothing:
        break;
    case SFactoryBehaviour::runNullView:
        data.SetEntry(key, new Zarn::CValuePointer<Zarn::CPluginBase>(nullptr));
        break;
    case SFactoryBehaviour::runOtherType:
        data.SetEntry(key, new Zarn::CValuePointer<Zarn::CValueMap>(m_pDocument));
        break;
    }
}

CBroadcastRecorder::CBroadcastRecorder(Zarn::CMessageIdFactory* ids, SJournal* journal)
    : m_pIds(ids), m_pJournal(journal)
{
    SetInstance("Recorder");
}

void CBroadcastRecorder::UpdateParameters(const Zarn::CValueMap& message)
{
    const int id = static_cast<int>(message.EntryLong(Zarn::CValue_Key("id")));
    const std::string strName = m_pIds->GetMessageName(id);
    const Zarn::CValue* pData = message.Entry(Zarn::CValue_Key("data"), false);
    std::string strText = strName;
    const void* pPointee = nullptr;

    const bool bDocumentBroadcast =
        strName == "NEW_DOCUMENT" || strName == "INVALID_DOCUMENT" || strName == "DOCUMENT_CHANGED";
    const bool bViewBroadcast = strName == "NEW_VIEW" || strName == "INVALID_VIEW" ||
                                strName == "ACTIVE_VIEW" || strName == "VIEW_CHANGED";
    if (pData == nullptr)
    {
        strText += " (no data)";
    }
    else if (pData->GenericType() == Zarn::CValue::vtPointer)
    {
        pPointee = pData->Pointer()->Void();
        if (pPointee == nullptr)
        {
            strText += " null";
        }
        else if (bDocumentBroadcast && IsPointerTo(pData, typeid(Zarn::CValueMap)))
        {
            // Reading the label proves the document is still alive at delivery.
            const auto* pDoc = static_cast<const Zarn::CValueMap*>(pPointee);
            strText += " " + pDoc->EntryString(Zarn::CValue_Key("label")).StdString();
        }
        else if (bViewBroadcast && IsPointerTo(pData, typeid(Zarn::CPluginBase)))
        {
            auto* pView = static_cast<Zarn::CPluginBase*>(const_cast<void*>(pPointee));
            Zarn::CValueMap description;
            pView->Run(description);
            strText += " " + description.EntryString(Zarn::CValue_Key("caption")).StdString();
        }
    }
    else if (pData->Map() != nullptr && strName == "UPDATE_CONTROLS")
    {
        std::string strMap;
        for (auto it = pData->Map()->begin(); it != pData->Map()->end(); ++it)
        {
            strMap += strMap.empty() ? "" : ",";
            strMap += std::string(it.Key().ToString()) + "=" +
                      (it.Value()->GenericType() == Zarn::CValue::vtBool
                           ? (it.Value()->Bool() ? "true" : "false")
                           : "?");
        }
        strText += " {" + strMap + "}";
    }
    m_lstBroadcasts.push_back(strText);
    m_lstPointers.push_back(pPointee);
    m_pJournal->m_lstEvents.push_back("broadcast " + strText);
}

CRepositoryProxy::CRepositoryProxy(Zarn::CPluginBase* repository, Zarn::CMessageIdFactory* ids)
    : m_pRepository(repository), m_pIds(ids)
{
    SetInstance("Repository");
}

void CRepositoryProxy::UpdateParameters(const Zarn::CValueMap& message)
{
    try
    {
        m_pRepository->UpdateParameters(message);
    }
    catch (const Zarn::CException& exception)
    {
        const int id = static_cast<int>(message.EntryLong(Zarn::CValue_Key("id")));
        SCaught caught;
        caught.m_strMessage = m_pIds->GetMessageName(id);
        caught.m_strType = Zarn::ReadableTypeName(typeid(exception));
        caught.m_strFunction = exception.function();
        caught.m_strWhat = exception.what();
        caught.m_strInstance = exception.instance();
        m_lstCaught.push_back(caught);
        throw;
    }
}

void CRepositoryFixture::SetUp()
{
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

    m_pRecorder = std::make_unique<CBroadcastRecorder>(m_pIds.get(), &m_journal);
    m_pThread->Subscribe(m_pRecorder.get());
}

void CRepositoryFixture::TearDown()
{
    if (m_pRepository != nullptr)
    {
        m_pThread->Unsubscribe(m_pProxy.get());
        m_pRepository->DeleteData();
        delete m_pRepository;
        m_pRepository = nullptr;
    }
    m_pThread->Unsubscribe(m_pRecorder.get());
    Zarn::CRegistry& registry = Zarn::CRegistry::Obj();
    for (const char* szKey : kRegistryKeys)
    {
        registry.RemoveEntry(Zarn::CValue_Key(szKey));
    }
    registry.RemoveEntry(Zarn::CValue_Key(kInheritSettings));
    for (const std::string& strName : m_lstRegistered)
    {
        Zarn::CPluginLoader::Obj().UnregisterPlugin(strName.c_str());
    }
    m_pThread.reset();
}

SFactoryBehaviour& CRepositoryFixture::RegisterFactory(const std::string& name)
{
    m_lstBehaviours.push_back(std::make_unique<SFactoryBehaviour>());
    SFactoryBehaviour* pBehaviour = m_lstBehaviours.back().get();
    SJournal* pJournal = &m_journal;
    Zarn::CPluginLoader::Obj().RegisterPlugin(
        name.c_str(),
        [name, pBehaviour, pJournal]() -> Zarn::CPluginBase*
        { return new CFakeViewFactory(name, pBehaviour, pJournal); });
    m_lstRegistered.push_back(name);
    return *pBehaviour;
}

Zarn::CValueMap* CRepositoryFixture::FactoryEntry(const std::string& name, bool autocreate,
                                                  const std::string& action,
                                                  const std::string& type)
{
    auto* pEntry = new Zarn::CValueMap;
    pEntry->SetEntry(Zarn::CValue_Key("factory"), new Zarn::CValueString(name.c_str()));
    pEntry->SetEntry(Zarn::CValue_Key("autocreate"), new Zarn::CValueBool(autocreate));
    if (!action.empty())
    {
        pEntry->SetEntry(Zarn::CValue_Key("action"), new Zarn::CValueString(action.c_str()));
    }
    if (!type.empty())
    {
        pEntry->SetEntry(Zarn::CValue_Key("type"), new Zarn::CValueString(type.c_str()));
    }
    return pEntry;
}

void CRepositoryFixture::StartRepository(Zarn::CValueMap* parameters)
{
    std::unique_ptr<Zarn::CValueMap> pParameters(parameters ? parameters : new Zarn::CValueMap);
    m_pRepository = static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("Repository"));
    ASSERT_NE(m_pRepository, nullptr);
    m_pProxy = std::make_unique<CRepositoryProxy>(m_pRepository, m_pIds.get());
    m_pThread->Subscribe(m_pProxy.get());
    m_pRepository->Init(nullptr, *pParameters);
    Deliver();
}

void CRepositoryFixture::Post(const char* name, Zarn::CValue* data)
{
    m_pThread->TakeMessage(
        new Zarn::CMessage(m_pIds->GetMessageId(name), data, Zarn::CMessage::priNormal),
        Zarn::CMessage::mmQueued);
}

void CRepositoryFixture::PostDocument(const char* name, Zarn::CValueMap* doc)
{
    Post(name, new Zarn::CValuePointer<Zarn::CValueMap>(doc));
}

void CRepositoryFixture::PostView(const char* name, Zarn::CPluginBase* view)
{
    Post(name, new Zarn::CValuePointer<Zarn::CPluginBase>(view));
}

size_t CRepositoryFixture::Deliver()
{
    return m_pThread->DeliverUntilIdle();
}

CTrackedDocument* CRepositoryFixture::NewDocument(const std::string& label, bool withLabel)
{
    auto* pDoc = new CTrackedDocument(label, &m_journal);
    if (withLabel)
    {
        pDoc->SetEntry(Zarn::CValue_Key("label"), new Zarn::CValueString(label.c_str()));
    }
    return pDoc;
}

CTrackedDocument* CRepositoryFixture::AddDocument(const std::string& label)
{
    CTrackedDocument* pDoc = NewDocument(label);
    PostDocument("ADD_DOCUMENT", pDoc);
    Deliver();
    return pDoc;
}

std::vector<std::string> CRepositoryFixture::TakeBroadcasts()
{
    const std::vector<std::string>& all = m_pRecorder->m_lstBroadcasts;
    std::vector<std::string> lstNew(all.begin() + static_cast<std::ptrdiff_t>(m_nBroadcastsTaken),
                                    all.end());
    m_nBroadcastsTaken = all.size();
    return lstNew;
}

std::vector<std::string> CRepositoryFixture::TakeLogLines()
{
    // "YYYY-MM-DD hh:mm:ss.mmm " comes first on every line.
    const size_t nPrefix = 24;
    std::vector<std::string> lstLines;
    std::istringstream text(m_logText.str());
    std::string strLine;
    while (std::getline(text, strLine))
    {
        lstLines.push_back(strLine.size() >= nPrefix ? strLine.substr(nPrefix) : strLine);
    }
    std::vector<std::string> lstNew(lstLines.begin() + static_cast<std::ptrdiff_t>(m_nLogTaken),
                                    lstLines.end());
    m_nLogTaken = lstLines.size();
    return lstNew;
}

std::vector<SCaught> CRepositoryFixture::TakeCaught()
{
    if (m_pProxy == nullptr)
    {
        return {};
    }
    const std::vector<SCaught>& all = m_pProxy->m_lstCaught;
    std::vector<SCaught> lstNew(all.begin() + static_cast<std::ptrdiff_t>(m_nCaughtTaken),
                                all.end());
    m_nCaughtTaken = all.size();
    return lstNew;
}

std::string CRepositoryFixture::Str(const Zarn::CValueMap& map, const char* path)
{
    const Zarn::CValue* pValue = map.Entry(path, false);
    return pValue != nullptr && pValue->GenericType() == Zarn::CValue::vtString
               ? pValue->String().StdString()
               : std::string("<none>");
}

long CRepositoryFixture::Long(const Zarn::CValueMap& map, const char* path)
{
    const Zarn::CValue* pValue = map.Entry(path, false);
    return pValue != nullptr && pValue->GenericType() == Zarn::CValue::vtLong ? pValue->Long() : -1;
}

const void* CRepositoryFixture::PointerAt(const Zarn::CValueMap& map, const char* path)
{
    const Zarn::CValue* pValue = map.Entry(path, false);
    return pValue != nullptr && pValue->GenericType() == Zarn::CValue::vtPointer
               ? pValue->Pointer()->Void()
               : nullptr;
}

} // namespace RepositoryTest
