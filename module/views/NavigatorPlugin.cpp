#include "views/NavigatorPlugin.h"

#include "frame/HostObjects.h"
#include "frame/Messages.h"
#include "frame/PluginErrors.h"
#include "frame/PluginSetup.h"
#include "views/DefaultViewIcon.h"
#include "views/ViewListBox.h"
#include "views/ViewListBoxItem.h"

#include <Zarn/Value/TypeInfo.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QListWidgetItem>
#include <QPixmap>
#include <QString>
#include <QWidget>

#include <functional>
#include <iostream>
#include <utility>

namespace
{

bool IsPluginPointer(const Zarn::CValue* value)
{
    return value != nullptr && value->GenericType() == Zarn::CValue::vtPointer &&
           Zarn::AreTypesEqual(value->ElementType(), typeid(Zarn::CPluginBase));
}

QString ToQString(const Zarn::CString& text)
{
    return QString::fromUtf8(text.c_str());
}

// Takes the highlight connection down for one message and puts it back afterwards, also when
// the handler throws; a connection that was not there (before Init) stays absent.
class CHighlightPause
{
public:
    CHighlightPause(bool wasConnected, std::function<void()> reconnect)
        : m_bWasConnected(wasConnected), m_fnReconnect(std::move(reconnect))
    {
    }
    ~CHighlightPause()
    {
        if (m_bWasConnected)
        {
            m_fnReconnect();
        }
    }
    CHighlightPause(const CHighlightPause&) = delete;
    CHighlightPause& operator=(const CHighlightPause&) = delete;

private:
    bool m_bWasConnected;
    std::function<void()> m_fnReconnect;
};

} // namespace

CNavigatorPlugin::CNavigatorPlugin()
    : m_pMessageIdFactory(nullptr), m_pCommThread(nullptr),
      m_pListBox(new CViewListBox(nullptr, "")), m_pCurrentView(nullptr)
{
    m_messageTable = MakeMessageTable();
}

CNavigatorPlugin::~CNavigatorPlugin()
{
    if (m_pListBox && m_pListBox->parentWidget() == nullptr)
    {
        delete m_pListBox.data();
    }
}

void CNavigatorPlugin::GetPluginSetup(Zarn::CValueMap& setup)
{
    DocView::WritePluginSetup(setup, "QtWidget", "NavigatorPlugin");
    setup.SetEntry(Zarn::CValue_Key("WidgetPtr"),
                   new Zarn::CValuePointer<QWidget>(m_pListBox.data()));
}

void CNavigatorPlugin::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    DocView::RunWrapped(
        "CNavigatorPlugin::Init",
        [&]
        {
            QWidget* pParent = nullptr;
            if (parameters.HasEntry(Zarn::CValue_Key("parent")))
            {
                pParent =
                    DocView::PointerOf<QWidget>(parameters.Entry(Zarn::CValue_Key("parent"), true));
            }
            if (parameters.HasEntry(Zarn::CValue_Key("name"), Zarn::CValue::vtString))
            {
                m_strName = parameters.EntryString(Zarn::CValue_Key("name"));
            }
            else
            {
                m_strName = Zarn::CString("unknown");
            }
            m_pCommThread = DocView::BorrowCommThread();
            m_pMessageIdFactory = DocView::BorrowMessageIdFactory();
            if (m_pListBox)
            {
                if (pParent != nullptr)
                {
                    m_pListBox->setParent(pParent);
                }
                m_pListBox->setObjectName(ToQString(m_strName));
                m_pListBox->show();
                Disconnect();
                Connect();
            }
        });
}

void CNavigatorPlugin::UpdateParameters(const Zarn::CValueMap& message)
{
    DocView::RunWrapped("CNavigatorPlugin::UpdateParameters",
                        [&] { m_messageTable.DispatchWithData(m_pMessageIdFactory, message); });
}

// The view is unwrapped first, so that data of the wrong type throws before the list changes.
DocView::CMessageTable CNavigatorPlugin::MakeMessageTable()
{
    using Zarn::CPluginBase;
    DocView::CMessageTable table;
    table
        .OnPointer<CPluginBase>("NEW_VIEW",
                                [this](CPluginBase* view) { RunPaused([&] { AddNewView(view); }); })
        .OnPointer<CPluginBase>("INVALID_VIEW",
                                [this](CPluginBase* view) { RunPaused([&] { RemoveView(view); }); })
        .OnPointer<CPluginBase>("VIEW_CHANGED",
                                [this](CPluginBase* view) { RunPaused([&] { UpdateView(view); }); })
        .OnData("ACTIVE_VIEW",
                [this](const Zarn::CValue* data)
                {
                    // Only a view pointer moves the mark; data of any other kind is ignored.
                    if (IsPluginPointer(data))
                    {
                        CPluginBase* pView = DocView::PointerOf<CPluginBase>(data);
                        RunPaused([&] { SetCurrent(pView); });
                    }
                });
    return table;
}

void CNavigatorPlugin::RunPaused(const std::function<void()>& change)
{
    // Changes made on a message never echo as FOCUS_VIEW.
    const CHighlightPause pause(Disconnect(), [this] { Connect(); });
    change();
}

void CNavigatorPlugin::SlotHighlighted(int index)
{
    if (!m_pListBox || m_pListBox->currentItem() == nullptr)
    {
        return;
    }
    Zarn::CPluginBase* pView = nullptr;
    const auto it = m_mapItemToView.find(m_pListBox->item(index));
    if (it != m_mapItemToView.end())
    {
        pView = it->second;
    }
    if (pView == m_pCurrentView)
    {
        return;
    }
    DocView::SendMessage(m_pCommThread, m_pMessageIdFactory, "FOCUS_VIEW",
                         new Zarn::CValuePointer<Zarn::CPluginBase>(pView));
    m_pCurrentView = pView;
}

void CNavigatorPlugin::AddNewView(Zarn::CPluginBase* view)
{
    if (view == nullptr)
    {
        std::cout << "CNavigatorPlugin::AddNewView: Invalid Entry." << std::endl;
        return;
    }
    QListWidgetItem* pItem = CreateListItem(view);
    m_pListBox->addItem(pItem);
    EnterPair(pItem, view);
}

void CNavigatorPlugin::RemoveView(Zarn::CPluginBase* view)
{
    QListWidgetItem* pItem = ItemOf(view);
    if (pItem == nullptr)
    {
        return;
    }
    m_pListBox->takeItem(m_pListBox->row(pItem));
    m_mapItemToView.erase(pItem);
    m_mapViewToItem.erase(view);
    delete pItem;
}

void CNavigatorPlugin::UpdateView(Zarn::CPluginBase* view)
{
    QListWidgetItem* pOld = ItemOf(view);
    if (pOld == nullptr)
    {
        return;
    }
    const int nIndex = m_pListBox->row(pOld);
    m_mapItemToView.erase(pOld);
    m_mapViewToItem.erase(view);
    QListWidgetItem* pNew = CreateListItem(view);
    // The old entry goes, the new one takes its index.
    delete m_pListBox->takeItem(nIndex);
    m_pListBox->insertItem(nIndex, pNew);
    pNew->setSelected(false);
    EnterPair(pNew, view);
    SetCurrent(m_pCurrentView);
}

void CNavigatorPlugin::SetCurrent(Zarn::CPluginBase* view)
{
    QListWidgetItem* pItem = ItemOf(view);
    if (pItem == nullptr)
    {
        m_pCurrentView = nullptr;
        m_pListBox->setCurrentRow(-1);
        return;
    }
    m_pCurrentView = view;
    m_pListBox->setCurrentItem(pItem);
    pItem->setSelected(true);
}

QListWidgetItem* CNavigatorPlugin::CreateListItem(Zarn::CPluginBase* pView)
{
    Zarn::CValueMap description;
    if (pView != nullptr)
    {
        pView->Run(description);
    }
    const Zarn::CValue_Key keyIcon("icon");
    const Zarn::CValue_Key keyCaption("caption");
    const Zarn::CValue_Key keyDescription("description");
    if (description.HasEntry(keyCaption) && description.HasEntry(keyDescription))
    {
        const QString strCaption = ToQString(description.EntryString(keyCaption));
        const QString strDescription = ToQString(description.EntryString(keyDescription));
        if (description.HasEntry(keyIcon))
        {
            return new CViewListBoxItem(strCaption, strDescription,
                                        QPixmap(ToQString(description.EntryString(keyIcon))));
        }
        return new CViewListBoxItem(strCaption, strDescription,
                                    QPixmap(DocView::g_aszDefaultViewIcon));
    }
    // Deliberate text: other modules look for it.
    return new QListWidgetItem(QString::fromUtf8("** oops **"));
}

void CNavigatorPlugin::Connect()
{
    connect(m_pListBox.data(), &QListWidget::currentRowChanged, this,
            &CNavigatorPlugin::SlotHighlighted);
}

bool CNavigatorPlugin::Disconnect()
{
    return disconnect(m_pListBox.data(), &QListWidget::currentRowChanged, this,
                      &CNavigatorPlugin::SlotHighlighted);
}

void CNavigatorPlugin::EnterPair(QListWidgetItem* item, Zarn::CPluginBase* view)
{
    m_mapItemToView.emplace(item, view);
    m_mapViewToItem.emplace(view, item);
}

QListWidgetItem* CNavigatorPlugin::ItemOf(Zarn::CPluginBase* view) const
{
    const auto it = m_mapViewToItem.find(view);
    return it == m_mapViewToItem.end() ? nullptr : it->second;
}
