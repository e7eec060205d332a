#include "NavigatorHarness.h"

#include "frame/Messages.h"
#include "views/ViewListBox.h"
#include "views/ViewListBoxItem.h"

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QApplication>
#include <QTest>

namespace NavigatorTest
{

CNavigatorFixture::CNavigatorFixture()
    : m_pRecorder(std::make_unique<CMessageRecorder>(m_pIds.get()))
{
    m_pThread->Subscribe(m_pRecorder.get());
}

void CNavigatorFixture::TearDown()
{
    EndPlugin(m_pPlugin, m_pProxy.get(), false);
    m_pThread->Unsubscribe(m_pRecorder.get());
    DocViewTest::CHostFixture::TearDown();
}

void CNavigatorFixture::StartNavigator(const Zarn::CValueMap& parameters)
{
    m_pPlugin = static_cast<Zarn::CPluginBase*>(CreatePluginInstanceEx("Navigator"));
    ASSERT_NE(m_pPlugin, nullptr);
    m_pNavigator = dynamic_cast<CNavigatorPlugin*>(m_pPlugin);
    ASSERT_NE(m_pNavigator, nullptr);
    m_pPlugin->Init(nullptr, parameters);
    m_pProxy = std::make_unique<DocViewTest::CPluginProxy>(m_pPlugin, m_pIds.get(), "");
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
