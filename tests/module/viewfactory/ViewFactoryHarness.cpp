#include "ViewFactoryHarness.h"

#include "views/ViewFactoryPlugin.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <algorithm>
#include <iostream>
#include <stdexcept>

namespace ViewFactoryTest
{

namespace
{

const char* const kRegistryKeys[] = {"tmp/commthread", "tmp/messageidfactory"};

void Throw(SFactoryBehaviour::EnThrow what, const std::string& name)
{
    switch (what)
    {
    case SFactoryBehaviour::throwNone:
        return;
    case SFactoryBehaviour::throwZarn:
        throw Zarn::CException("CFakeViewFactory", "factory refused to start", name.c_str());
    case SFactoryBehaviour::throwStd:
        throw std::runtime_error("factory refused to start");
    case SFactoryBehaviour::throwUnknown:
        throw 42;
    }
}

} // namespace

int SJournal::IndexOf(const std::string& event) const
{
    const auto it = std::find(m_lstEvents.begin(), m_lstEvents.end(), event);
    return it == m_lstEvents.end() ? -1 : static_cast<int>(it - m_lstEvents.begin());
}

int SJournal::Count(const std::string& event) const
{
    return static_cast<int>(std::count(m_lstEvents.begin(), m_lstEvents.end(), event));
}

CFakeView::CFakeView(std::string caption, QWidget* parent) : m_strCaption(std::move(caption))
{
    if (parent != nullptr)
    {
        m_pWidget = new QWidget(parent);
        m_pWidget->setObjectName(QString::fromStdString(m_strCaption));
        m_pWidget->show();
    }
}

CFakeView::~CFakeView()
{
    delete m_pWidget.data();
}

CFakeViewFactory::CFakeViewFactory(std::string name, SFactoryBehaviour* behaviour,
                                   SJournal* journal)
    : m_strName(std::move(name)), m_pBehaviour(behaviour), m_pJournal(journal)
{
    m_pBehaviour->m_lstInstances.push_back(this);
}

CFakeViewFactory::~CFakeViewFactory()
{
    m_pJournal->m_lstEvents.push_back("destroyed " + m_strName);
}

void CFakeViewFactory::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    m_pJournal->m_lstEvents.push_back("Init " + m_strName);
    m_pBehaviour->m_lstInitParameters.push_back(parameters);
    const Zarn::CValue* pParent = parameters.Entry(Zarn::CValue_Key("parent"), false);
    if (pParent != nullptr && pParent->GenericType() == Zarn::CValue::vtPointer)
    {
        m_pParent = const_cast<QWidget*>(Zarn::UnwrapPointer<QWidget>(pParent));
    }
    Throw(m_pBehaviour->m_enInitThrows, m_strName);
}

void CFakeViewFactory::DeleteData()
{
    m_pJournal->m_lstEvents.push_back("DeleteData " + m_strName);
}

bool CFakeViewFactory::TestParameters(const Zarn::CValueMap& parameters)
{
    m_pJournal->m_lstEvents.push_back("TestParameters " + m_strName);
    m_pBehaviour->m_lstTestedDocuments.push_back(
        Zarn::UnwrapPointer<Zarn::CValueMap>(parameters.Entry(Zarn::CValue_Key("document"), true)));
    Throw(m_pBehaviour->m_enTestThrows, m_strName);
    return m_pBehaviour->m_bAccepts;
}

void CFakeViewFactory::UpdateParameters(const Zarn::CValueMap& message)
{
    m_pJournal->m_lstEvents.push_back("UpdateParameters " + m_strName);
    m_pDocument = const_cast<Zarn::CValueMap*>(
        Zarn::UnwrapPointer<Zarn::CValueMap>(message.Entry(Zarn::CValue_Key("document"), true)));
    m_pBehaviour->m_lstUpdatedDocuments.push_back(m_pDocument);
}

void CFakeViewFactory::Run(Zarn::CValueMap& data)
{
    m_pJournal->m_lstEvents.push_back("Run " + m_strName);
    const Zarn::CValue_Key key("view plugin");
    switch (m_pBehaviour->m_enRun)
    {
    case SFactoryBehaviour::runView:
    {
        auto* pView = new CFakeView(
            m_strName + "-" + std::to_string(m_pBehaviour->m_lstViews.size() + 1), m_pParent);
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

void CMessageRecorder::UpdateParameters(const Zarn::CValueMap& message)
{
    SDelivered delivered;
    delivered.m_strName =
        m_pIds->GetMessageName(static_cast<int>(message.EntryLong(Zarn::CValue_Key("id"))));
    const Zarn::CValue* pData = message.Entry(Zarn::CValue_Key("data"), false);
    delivered.m_bHasData = pData != nullptr;
    if (pData != nullptr && pData->Map() != nullptr)
    {
        const Zarn::CValueMap& map = *pData->Map();
        delivered.m_bDataIsMap = true;
        delivered.m_nEntries = map.Size();
        delivered.m_pDocument =
            Zarn::UnwrapPointer<Zarn::CValueMap>(map.Entry(Zarn::CValue_Key("document"), false));
        delivered.m_pView =
            Zarn::UnwrapPointer<Zarn::CPluginBase>(map.Entry(Zarn::CValue_Key("view"), false));
    }
    m_lstDelivered.push_back(delivered);
}

void CViewFactoryFixture::SetUp()
{
    m_pOldOut = std::cout.rdbuf(m_outText.rdbuf());
    m_pOldErr = std::cerr.rdbuf(m_errText.rdbuf());

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

    m_pRecorder = std::make_unique<CMessageRecorder>(m_pIds.get());
    m_pThread->Subscribe(m_pRecorder.get());
}

void CViewFactoryFixture::TearDown()
{
    if (m_pPlugin != nullptr)
    {
        m_pThread->Unsubscribe(m_pPlugin);
        if (!m_bPluginDataDeleted)
        {
            m_pPlugin->DeleteData();
        }
        delete m_pPlugin;
        m_pPlugin = nullptr;
    }
    m_pThread->Unsubscribe(m_pRecorder.get());
    m_pThread.reset();
    for (const auto& pBehaviour : m_lstBehaviours)
    {
        for (CFakeView* pView : pBehaviour->m_lstViews)
        {
            delete pView;
        }
    }
    Zarn::CRegistry& registry = Zarn::CRegistry::Obj();
    for (const char* szKey : kRegistryKeys)
    {
        registry.RemoveEntry(Zarn::CValue_Key(szKey));
    }
    for (const std::string& strName : m_lstRegistered)
    {
        Zarn::CPluginLoader::Obj().UnregisterPlugin(strName.c_str());
    }
    std::cout.rdbuf(m_pOldOut);
    std::cerr.rdbuf(m_pOldErr);
}

SFactoryBehaviour& CViewFactoryFixture::RegisterFactory(const std::string& name)
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

Zarn::CValueMap* CViewFactoryFixture::FactoryEntry(const std::string& name)
{
    auto* pEntry = new Zarn::CValueMap;
    pEntry->SetEntry(Zarn::CValue_Key("factory"), new Zarn::CValueString(name.c_str()));
    pEntry->SetEntry(Zarn::CValue_Key("tag"), new Zarn::CValueString(name.c_str()));
    return pEntry;
}

Zarn::CValueMap* CViewFactoryFixture::ViewsParameters(const std::vector<std::string>& names,
                                                      bool withParent)
{
    auto* pViews = new Zarn::CValueVector;
    for (const std::string& strName : names)
    {
        pViews->PushBack(FactoryEntry(strName));
    }
    auto* pParameters = new Zarn::CValueMap;
    pParameters->SetEntry(Zarn::CValue_Key("views"), pViews);
    if (withParent)
    {
        pParameters->SetEntry(Zarn::CValue_Key("parent"), new Zarn::CValueMap);
    }
    return pParameters;
}

void CViewFactoryFixture::StartViewFactory(Zarn::CValueMap* parameters)
{
    std::unique_ptr<Zarn::CValueMap> pParameters(parameters ? parameters : new Zarn::CValueMap);
    m_pPlugin = static_cast<CViewFactoryPlugin*>(
        static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("ViewFactory")));
    ASSERT_NE(m_pPlugin, nullptr);
    m_pThread->Subscribe(m_pPlugin);
    m_pPlugin->Init(nullptr, *pParameters);
}

void CViewFactoryFixture::PostDocument(const char* name, Zarn::CValueMap* doc)
{
    m_pThread->TakeMessage(new Zarn::CMessage(m_pIds->GetMessageId(name),
                                              new Zarn::CValuePointer<Zarn::CValueMap>(doc),
                                              Zarn::CMessage::priNormal),
                           Zarn::CMessage::mmQueued);
}

std::vector<std::string> CViewFactoryFixture::TakeOutputLines()
{
    const std::string strAll = m_outText.str();
    std::vector<std::string> lstLines;
    size_t nStart = m_nOutTaken;
    for (size_t nEnd = strAll.find('\n', nStart); nEnd != std::string::npos;
         nEnd = strAll.find('\n', nStart))
    {
        lstLines.push_back(strAll.substr(nStart, nEnd - nStart));
        nStart = nEnd + 1;
    }
    // A partial line is an error of its own: keep it visible.
    if (nStart < strAll.size())
    {
        lstLines.push_back("<unterminated>" + strAll.substr(nStart));
        nStart = strAll.size();
    }
    m_nOutTaken = nStart;
    return lstLines;
}

std::string CViewFactoryFixture::TakeErrorText()
{
    std::string strText = m_errText.str();
    m_errText.str(std::string());
    return strText;
}

std::vector<SDelivered> CViewFactoryFixture::Delivered(const std::string& name) const
{
    std::vector<SDelivered> lstFound;
    for (const SDelivered& delivered : m_pRecorder->m_lstDelivered)
    {
        if (delivered.m_strName == name)
        {
            lstFound.push_back(delivered);
        }
    }
    return lstFound;
}

} // namespace ViewFactoryTest
