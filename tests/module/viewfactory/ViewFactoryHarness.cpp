#include "ViewFactoryHarness.h"

#include "views/ViewFactoryPlugin.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

namespace ViewFactoryTest
{

void CViewFactoryFixture::SetUp()
{
    m_pOut = std::make_unique<DocViewTest::CStreamCapture>(std::cout);
    m_pErr = std::make_unique<DocViewTest::CStreamCapture>(std::cerr);
    m_pRecorder = std::make_unique<DocViewTest::CMessageRecorder>(m_pIds.get());
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
    DocViewTest::CHostFixture::TearDown();
    for (const auto& pBehaviour : m_lstBehaviours)
    {
        for (CFakeView* pView : pBehaviour->m_lstViews)
        {
            delete pView;
        }
    }
    for (const std::string& strName : m_lstRegistered)
    {
        Zarn::CPluginLoader::Obj().UnregisterPlugin(strName.c_str());
    }
    m_pErr.reset();
    m_pOut.reset();
}

SFactoryBehaviour& CViewFactoryFixture::RegisterFactory(const std::string& name)
{
    m_lstBehaviours.push_back(std::make_unique<SFactoryBehaviour>());
    CFakeViewFactory::Register(name, m_lstBehaviours.back().get(), &m_journal);
    m_lstRegistered.push_back(name);
    return *m_lstBehaviours.back();
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

std::vector<std::string> CViewFactoryFixture::TakeOutputLines()
{
    return m_pOut->TakeLines();
}

std::string CViewFactoryFixture::TakeErrorText()
{
    return m_pErr->Take();
}

std::vector<SDelivered> CViewFactoryFixture::Delivered(const std::string& name) const
{
    std::vector<SDelivered> lstFound;
    for (const DocViewTest::SRecordedMessage& record : m_pRecorder->Named(name))
    {
        SDelivered delivered;
        delivered.m_strName = record.m_strName;
        delivered.m_bHasData = record.m_bHasData;
        delivered.m_bDataIsMap = record.m_bDataIsMap;
        delivered.m_nEntries = record.m_data.Size();
        delivered.m_pDocument = Zarn::UnwrapPointer<Zarn::CValueMap>(
            record.m_data.Entry(Zarn::CValue_Key("document"), false));
        delivered.m_pView = Zarn::UnwrapPointer<Zarn::CPluginBase>(
            record.m_data.Entry(Zarn::CValue_Key("view"), false));
        lstFound.push_back(delivered);
    }
    return lstFound;
}

} // namespace ViewFactoryTest
