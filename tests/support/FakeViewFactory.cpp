#include "FakeViewFactory.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Plugin/PluginLoader.h>
#include <Zarn/Value/ValuePointer.h>

#include <QWidget>

#include <stdexcept>

namespace DocViewTest
{

namespace
{

void Throw(SFactoryBehaviour::EnThrow what, const char* function, const std::string& name)
{
    switch (what)
    {
    case SFactoryBehaviour::throwNone:
        return;
    case SFactoryBehaviour::throwZarn:
        throw Zarn::CException(function, "factory refused to start", name.c_str());
    case SFactoryBehaviour::throwStd:
        throw std::runtime_error("factory refused to start");
    case SFactoryBehaviour::throwUnknown:
        throw 42;
    }
}

} // namespace

CFakeViewFactory::CFakeViewFactory(std::string name, SFactoryBehaviour* behaviour,
                                   SJournal* journal)
    : m_strName(std::move(name)), m_pBehaviour(behaviour), m_pJournal(journal)
{
    ++m_pBehaviour->m_nInstances;
    m_pBehaviour->m_lstInstances.push_back(this);
}

CFakeViewFactory::~CFakeViewFactory()
{
    m_pJournal->m_lstEvents.push_back("destroyed " + m_pBehaviour->m_strEventPrefix + m_strName);
}

void CFakeViewFactory::Register(const std::string& name, SFactoryBehaviour* behaviour,
                                SJournal* journal)
{
    Zarn::CPluginLoader::Obj().RegisterPlugin(
        name.c_str(),
        [name, behaviour, journal]() -> Zarn::CPluginBase*
        { return new CFakeViewFactory(name, behaviour, journal); });
}

void CFakeViewFactory::Note(const std::string& event)
{
    if (m_pBehaviour->m_bJournalCalls)
    {
        m_pJournal->m_lstEvents.push_back(event + " " + m_strName);
    }
}

void CFakeViewFactory::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    Note("Init");
    m_pBehaviour->m_lstInitParameters.push_back(parameters);
    const Zarn::CValue* pParent = parameters.Entry(Zarn::CValue_Key("parent"), false);
    if (pParent != nullptr && pParent->GenericType() == Zarn::CValue::vtPointer)
    {
        m_pParent = const_cast<QWidget*>(Zarn::UnwrapPointer<QWidget>(pParent));
    }
    Throw(m_pBehaviour->m_enInitThrows, "CFakeViewFactory::Init", m_strName);
}

void CFakeViewFactory::DeleteData()
{
    m_pJournal->m_lstEvents.push_back("DeleteData " + m_pBehaviour->m_strEventPrefix + m_strName);
}

bool CFakeViewFactory::TestParameters(const Zarn::CValueMap& parameters)
{
    Note("TestParameters");
    const Zarn::CValueMap* pDoc =
        Zarn::UnwrapPointer<Zarn::CValueMap>(parameters.Entry(Zarn::CValue_Key("document"), true));
    m_pBehaviour->m_lstTestedDocuments.push_back(pDoc);
    Throw(m_pBehaviour->m_enTestThrows, "CFakeViewFactory::TestParameters", m_strName);
    return m_pBehaviour->m_fnAccepts ? m_pBehaviour->m_fnAccepts(pDoc) : m_pBehaviour->m_bAccepts;
}

void CFakeViewFactory::UpdateParameters(const Zarn::CValueMap& message)
{
    Note("UpdateParameters");
    m_pDocument = const_cast<Zarn::CValueMap*>(
        Zarn::UnwrapPointer<Zarn::CValueMap>(message.Entry(Zarn::CValue_Key("document"), true)));
    m_pBehaviour->m_lstUpdatedDocuments.push_back(m_pDocument);
}

CFakeView* CFakeViewFactory::MakeView()
{
    auto* pView =
        new CFakeView(m_strName + "-" + std::to_string(m_pBehaviour->m_lstViews.size() + 1),
                      m_pBehaviour->m_bJournalViews ? m_pJournal : nullptr);
    pView->m_bDescribeDocument = m_pBehaviour->m_bViewsDescribeDocument;
    pView->m_settings = m_pBehaviour->m_viewSettings;
    if (m_pParent != nullptr)
    {
        pView->MakeWidget(m_pParent);
    }
    m_pBehaviour->m_lstViews.push_back(pView);
    return pView;
}

void CFakeViewFactory::Run(Zarn::CValueMap& data)
{
    Note("Run");
    const Zarn::CValue_Key key("view plugin");
    switch (m_pBehaviour->m_enRun)
    {
    case SFactoryBehaviour::runView:
        data.SetEntry(key, new Zarn::CValuePointer<Zarn::CPluginBase>(MakeView()));
        break;
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

} // namespace DocViewTest
