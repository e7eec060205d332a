#include "NavigatorHarness.h"

#include "frame/Messages.h"
#include "views/ViewListBox.h"
#include "views/ViewListBoxItem.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Registry/Registry.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QApplication>
#include <QTest>

#include <stdexcept>

namespace NavigatorTest
{

namespace
{

const char* const kRegistryKeys[] = {"tmp/commthread", "tmp/messageidfactory"};

} // namespace

CFakeView::CFakeView(std::optional<std::string> caption, std::optional<std::string> description,
                     std::optional<std::string> icon)
    : m_strCaption(std::move(caption)), m_strDescription(std::move(description)),
      m_strIcon(std::move(icon))
{
}

void CFakeView::Run(Zarn::CValueMap& data)
{
    ++m_nRuns;
    if (m_bThrowInRun)
    {
        throw std::runtime_error("view cannot describe itself");
    }
    if (m_strCaption)
    {
        data.SetEntry(Zarn::CValue_Key("caption"), new Zarn::CValueString(m_strCaption->c_str()));
    }
    data.SetEntry(Zarn::CValue_Key("document"), new Zarn::CValuePointer<Zarn::CValueMap>(nullptr));
    data.SetEntry(Zarn::CValue_Key("PluginType"), new Zarn::CValueString("TestView"));
    data.SetEntry(Zarn::CValue_Key("PluginSubType"), new Zarn::CValueString("Plain"));
    if (m_strDescription)
    {
        data.SetEntry(Zarn::CValue_Key("description"),
                      new Zarn::CValueString(m_strDescription->c_str()));
    }
    if (m_strIcon)
    {
        data.SetEntry(Zarn::CValue_Key("icon"), new Zarn::CValueString(m_strIcon->c_str()));
    }
}

void CMessageRecorder::UpdateParameters(const Zarn::CValueMap& message)
{
    const int id = static_cast<int>(message.EntryLong(Zarn::CValue_Key("id")));
    const std::string strName = m_pIds->GetMessageName(id);
    m_lstNames.push_back(strName);
    if (strName == "FOCUS_VIEW")
    {
        m_lstFocused.push_back(DocView::MessagePointer<Zarn::CPluginBase>(message));
    }
}

void CNavigatorProxy::UpdateParameters(const Zarn::CValueMap& message)
{
    try
    {
        m_pNavigator->UpdateParameters(message);
    }
    catch (const Zarn::CException& caught)
    {
        m_lstCaught.push_back({caught.function(), caught.what()});
        throw;
    }
}

void CNavigatorFixture::SetUp()
{
    m_pThreadLogger = std::make_unique<Zarn::CLogger>(&m_threadLogText);
    m_pIds = std::make_unique<Zarn::CMessageIdFactory>();
    m_pThread = std::make_unique<Zarn::CMessageThread>();
    m_pThread->SetLogger(m_pThreadLogger.get());
    m_pThread->SetMessageIdFactory(m_pIds.get());
    Zarn::CRegistry& registry = Zarn::CRegistry::Obj();
    registry.SetEntry("tmp/commthread",
                      new Zarn::CValuePointer<Zarn::CMessageThread>(m_pThread.get()));
    registry.SetEntry("tmp/messageidfactory",
                      new Zarn::CValuePointer<Zarn::CMessageIdFactory>(m_pIds.get()));
    m_pRecorder = std::make_unique<CMessageRecorder>(m_pIds.get());
    m_pThread->Subscribe(m_pRecorder.get());
}

void CNavigatorFixture::TearDown()
{
    if (m_pPlugin != nullptr)
    {
        m_pThread->Unsubscribe(m_pProxy.get());
        delete m_pPlugin;
        m_pPlugin = nullptr;
    }
    m_pThread->Unsubscribe(m_pRecorder.get());
    Zarn::CRegistry& registry = Zarn::CRegistry::Obj();
    for (const char* szKey : kRegistryKeys)
    {
        registry.RemoveEntry(szKey);
    }
}

void CNavigatorFixture::StartNavigator(const Zarn::CValueMap& parameters)
{
    m_pPlugin = static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("Navigator"));
    ASSERT_NE(m_pPlugin, nullptr);
    m_pNavigator = dynamic_cast<CNavigatorPlugin*>(m_pPlugin);
    ASSERT_NE(m_pNavigator, nullptr);
    m_pPlugin->Init(nullptr, parameters);
    m_pProxy = std::make_unique<CNavigatorProxy>(m_pPlugin);
    m_pThread->Subscribe(m_pProxy.get());
}

void CNavigatorFixture::Post(const char* name, Zarn::CValue* data)
{
    DocView::SendMessage(m_pThread.get(), m_pIds.get(), name, data);
    Deliver();
}

void CNavigatorFixture::PostView(const char* name, Zarn::CPluginBase* view)
{
    Post(name, new Zarn::CValuePointer<Zarn::CPluginBase>(view));
}

size_t CNavigatorFixture::Deliver()
{
    return m_pThread->DeliverUntilIdle();
}

CFakeView* CNavigatorFixture::NewView(const std::string& caption, const std::string& description)
{
    m_lstViews.push_back(std::make_unique<CFakeView>(caption, description));
    return m_lstViews.back().get();
}

void CNavigatorFixture::ClickRow(int row)
{
    CViewListBox* pList = m_pNavigator->ListBox();
    const QRect rect = pList->visualItemRect(pList->item(row));
    ASSERT_TRUE(rect.isValid());
    QTest::mouseClick(pList->viewport(), Qt::LeftButton, Qt::NoModifier, rect.center());
}

QListWidgetItem* CNavigatorFixture::ItemAt(int row) const
{
    return m_pNavigator->ListBox()->item(row);
}

CViewListBoxItem* CNavigatorFixture::ViewItemAt(int row) const
{
    QListWidgetItem* pItem = ItemAt(row);
    if (pItem == nullptr || pItem->type() != CViewListBoxItem::kItemType)
    {
        return nullptr;
    }
    return static_cast<CViewListBoxItem*>(pItem);
}

int CNavigatorFixture::Count() const
{
    return m_pNavigator->ListBox()->count();
}

} // namespace NavigatorTest
