#include "RepositoryHarness.h"

#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/TypeInfo.h>

namespace RepositoryTest
{

namespace
{

const char* const kInheritSettings = "main/globalsettings/repository/inheritateSettings";

bool IsPointerTo(const DocViewTest::SRecordedMessage& record, const std::type_info& type)
{
    return record.m_pElementType != nullptr && Zarn::AreTypesEqual(*record.m_pElementType, type);
}

// "{action=true,...}" for a map of bools ("?" for another value).
std::string BoolMapText(const Zarn::CValueMap& map)
{
    std::string strMap;
    for (auto it = map.begin(); it != map.end(); ++it)
    {
        strMap += strMap.empty() ? "" : ",";
        strMap += std::string(it.Key().ToString()) + "=" +
                  (it.Value()->GenericType() == Zarn::CValue::vtBool
                       ? (it.Value()->Bool() ? "true" : "false")
                       : "?");
    }
    return " {" + strMap + "}";
}

// The caption a view gives in its description.
std::string CaptionOf(const void* view)
{
    auto* pView = static_cast<Zarn::CPluginBase*>(const_cast<void*>(view));
    Zarn::CValueMap description;
    pView->Run(description);
    return description.EntryString(Zarn::CValue_Key("caption")).StdString();
}

} // namespace

CTrackedDocument::CTrackedDocument(std::string tag, SJournal* journal)
    : m_strTag(std::move(tag)), m_pJournal(journal)
{
}

CTrackedDocument::~CTrackedDocument()
{
    m_pJournal->m_lstEvents.push_back("destroyed document " + m_strTag);
}

CBroadcastRecorder::CBroadcastRecorder(Zarn::CMessageIdFactory* ids, SJournal* journal)
    : DocViewTest::CMessageRecorder(ids), m_pJournal(journal)
{
}

void CBroadcastRecorder::OnMessage(const DocViewTest::SRecordedMessage& record,
                                   const Zarn::CValue* data)
{
    const std::string& strName = record.m_strName;
    std::string strText = strName;
    const bool bDocumentBroadcast =
        strName == "NEW_DOCUMENT" || strName == "INVALID_DOCUMENT" || strName == "DOCUMENT_CHANGED";
    const bool bViewBroadcast = strName == "NEW_VIEW" || strName == "INVALID_VIEW" ||
                                strName == "ACTIVE_VIEW" || strName == "VIEW_CHANGED";
    if (!record.m_bHasData)
    {
        strText += " (no data)";
    }
    else if (record.m_pElementType != nullptr && record.m_pPointee == nullptr)
    {
        strText += " null";
    }
    else if (bDocumentBroadcast && IsPointerTo(record, typeid(Zarn::CValueMap)))
    {
        // Reading the label proves the document is still alive at delivery.
        const auto* pDoc = static_cast<const Zarn::CValueMap*>(record.m_pPointee);
        strText += " " + pDoc->EntryString(Zarn::CValue_Key("label")).StdString();
    }
    else if (bViewBroadcast && IsPointerTo(record, typeid(Zarn::CPluginBase)))
    {
        strText += " " + CaptionOf(record.m_pPointee);
    }
    else if (record.m_bDataIsMap && strName == "UPDATE_CONTROLS")
    {
        strText += BoolMapText(*data->Map());
    }
    m_lstBroadcasts.push_back(strText);
    m_lstPointers.push_back(record.m_pPointee);
    m_pJournal->m_lstEvents.push_back("broadcast " + strText);
}

void CRepositoryFixture::SetUp()
{
    m_pRecorder = std::make_unique<CBroadcastRecorder>(m_pIds.get(), &m_journal);
    m_pThread->Subscribe(m_pRecorder.get());
}

void CRepositoryFixture::TearDown()
{
    EndPlugin(m_pRepository, m_pProxy.get(), true);
    m_pThread->Unsubscribe(m_pRecorder.get());
    Zarn::CRegistry::Obj().RemoveEntry(Zarn::CValue_Key(kInheritSettings));
    for (const std::string& strName : m_lstRegistered)
    {
        Zarn::CPluginLoader::Obj().UnregisterPlugin(strName.c_str());
    }
    DocViewTest::CHostFixture::TearDown();
}

SFactoryBehaviour& CRepositoryFixture::RegisterFactory(const std::string& name)
{
    m_lstBehaviours.push_back(std::make_unique<SFactoryBehaviour>());
    SFactoryBehaviour* pBehaviour = m_lstBehaviours.back().get();
    pBehaviour->m_fnAccepts = [](const Zarn::CValueMap* pDoc) { return pDoc != nullptr; };
    pBehaviour->m_strEventPrefix = "factory ";
    pBehaviour->m_bJournalCalls = false;
    pBehaviour->m_bJournalViews = true;
    CFakeViewFactory::Register(name, pBehaviour, &m_journal);
    m_lstRegistered.push_back(name);
    return *pBehaviour;
}

Zarn::CValueMap* CRepositoryFixture::FactoryEntry(const std::string& name, bool autocreate,
                                                  const std::string& action,
                                                  const std::string& type)
{
    Zarn::CValueMap* pEntry =
        DocViewTest::MapOf({{"factory", new Zarn::CValueString(name.c_str())},
                            {"autocreate", new Zarn::CValueBool(autocreate)}});
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
    m_pProxy =
        std::make_unique<DocViewTest::CPluginProxy>(m_pRepository, m_pIds.get(), "Repository");
    m_pThread->Subscribe(m_pProxy.get());
    m_pRepository->Init(nullptr, *pParameters);
    Deliver();
}

void CRepositoryFixture::Send(const char* name, Zarn::CValue* data)
{
    Post(name, data);
    Deliver();
}

void CRepositoryFixture::SendDocument(const char* name, Zarn::CValueMap* document)
{
    Send(name, DocumentValue(document));
}

void CRepositoryFixture::SendView(const char* name, Zarn::CPluginBase* view)
{
    Send(name, new Zarn::CValuePointer<Zarn::CPluginBase>(view));
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
    SendDocument("ADD_DOCUMENT", pDoc);
    return pDoc;
}

std::vector<std::string> CRepositoryFixture::TakeBroadcasts()
{
    return DocViewTest::TakeSince(m_pRecorder->m_lstBroadcasts, m_nBroadcastsTaken);
}

std::vector<std::string> CRepositoryFixture::TakeLogLines()
{
    std::vector<std::string> lstNew = LogLines(m_nLogTaken);
    m_nLogTaken += lstNew.size();
    return lstNew;
}

std::vector<std::string> CRepositoryFixture::TakeTexts()
{
    std::vector<std::string> lstTexts;
    for (const std::string& strLine : TakeLogLines())
    {
        lstTexts.push_back(strLine.substr(strLine.find(' ') + 1));
    }
    return lstTexts;
}

std::vector<SCaught> CRepositoryFixture::TakeCaught()
{
    if (m_pProxy == nullptr)
    {
        return {};
    }
    return DocViewTest::TakeSince(m_pProxy->m_lstCaught, m_nCaughtTaken);
}

void CRepositoryFixture::ExpectBroadcastsAndTexts(const std::vector<std::string>& broadcasts,
                                                  const std::vector<std::string>& texts)
{
    EXPECT_EQ(TakeBroadcasts(), broadcasts);
    EXPECT_EQ(TakeTexts(), texts);
}

void CRepositoryFixture::ExpectLoads(const CFakeView& view, size_t count, const void* document)
{
    ASSERT_EQ(view.Updates().size(), count);
    EXPECT_EQ(PointerAt(view.Updates()[count - 1], "document"), document);
}

void CRepositoryFixture::ExpectOneCaught(const std::string& function, const std::string& what,
                                         const std::string& instance)
{
    ExpectOnlyCaught(std::nullopt, function, what, instance);
}

void CRepositoryFixture::ExpectOneCaught(const std::string& message, const std::string& function,
                                         const std::string& what, const std::string& instance)
{
    ExpectOnlyCaught(message, function, what, instance);
}

void CRepositoryFixture::ExpectOnlyCaught(const std::optional<std::string>& message,
                                          const std::string& function, const std::string& what,
                                          const std::string& instance)
{
    const std::vector<SCaught> lstCaught = TakeCaught();
    ASSERT_EQ(lstCaught.size(), 1U);
    const SCaught& caught = lstCaught[0];
    if (message)
    {
        EXPECT_EQ(caught.m_strMessage, *message);
    }
    EXPECT_EQ(caught.m_strFunction, function);
    EXPECT_EQ(caught.m_strWhat, what);
    EXPECT_EQ(caught.m_strInstance, instance);
}

} // namespace RepositoryTest
