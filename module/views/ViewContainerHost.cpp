#include "views/ViewContainerHost.h"

#include "frame/HostObjects.h"
#include "frame/Messages.h"
#include "frame/PluginSetup.h"

#include <Zarn/Plugin/PluginBase.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QWidget>

#include <utility>

CViewContainerHost::CViewContainerHost(const char* defaultName)
    : m_szDefaultName(defaultName), m_strWidgetPath("WidgetPtr")
{
}

QWidget* CViewContainerHost::ReadInit(const Zarn::CValueMap& parameters)
{
    QWidget* pParent = nullptr;
    const Zarn::CValue_Key parentKey("parent");
    if (parameters.HasEntry(parentKey))
    {
        pParent = DocView::PointerOf<QWidget>(parameters.Entry(parentKey, true));
    }
    m_strName = parameters.EntryString(Zarn::CValue_Key("name"), Zarn::CString(m_szDefaultName));
    m_pCommThread = DocView::BorrowCommThread();
    m_pMessageIdFactory = DocView::BorrowMessageIdFactory();
    m_strWidgetPath =
        parameters.EntryString(Zarn::CValue_Key("widgetpath"), Zarn::CString("WidgetPtr"));
    return pParent;
}

void CViewContainerHost::WriteSetup(Zarn::CValueMap& setup, QWidget* widget,
                                    const char* subType) const
{
    DocView::WritePluginSetup(setup, "QtWidget", subType, m_strName.c_str());
    setup.SetEntry(Zarn::CValue_Key("WidgetPtr"), new Zarn::CValuePointer<QWidget>(widget));
}

const Zarn::CValue* CViewContainerHost::WidgetEntry(const Zarn::CValueMap& setup) const
{
    return setup.Entry(Zarn::CValue_Path(m_strWidgetPath.StdString()), false);
}

DocView::CMessageTable CViewContainerHost::MakeViewTable(FViewHandler onNew, FViewHandler onInvalid,
                                                         FViewHandler onActive)
{
    DocView::CMessageTable table;
    table.OnPointer<Zarn::CPluginBase>("NEW_VIEW", std::move(onNew))
        .OnPointer<Zarn::CPluginBase>("INVALID_VIEW", std::move(onInvalid))
        .OnPointer<Zarn::CPluginBase>("ACTIVE_VIEW", std::move(onActive));
    return table;
}

void CViewContainerHost::Dispatch(const DocView::CMessageTable& table,
                                  const Zarn::CValueMap& message) const
{
    if (m_pMessageIdFactory != nullptr)
    {
        table.DispatchWithData(m_pMessageIdFactory, message);
    }
}

void CViewContainerHost::PostView(const char* name, Zarn::CPluginBase* view) const
{
    // The view pointer stands directly as the data, not inside a map.
    DocView::SendMessage(m_pCommThread, m_pMessageIdFactory, name,
                         new Zarn::CValuePointer<Zarn::CPluginBase>(view));
}

void CViewWidgetMap::Enter(Zarn::CPluginBase* view, QWidget* widget)
{
    m_mapViewToWidget.emplace(view, widget);
    m_mapWidgetToView.emplace(widget, view);
}

QWidget* CViewWidgetMap::Take(Zarn::CPluginBase* view)
{
    const auto itView = m_mapViewToWidget.find(view);
    if (itView == m_mapViewToWidget.end())
    {
        return nullptr;
    }
    QWidget* pWidget = itView->second;
    m_mapViewToWidget.erase(itView);
    m_mapWidgetToView.erase(pWidget);
    return pWidget;
}

void CViewWidgetMap::TakeWidget(QWidget* widget)
{
    const auto itWidget = m_mapWidgetToView.find(widget);
    if (itWidget == m_mapWidgetToView.end())
    {
        return;
    }
    const auto itView = m_mapViewToWidget.find(itWidget->second);
    if (itView != m_mapViewToWidget.end() && itView->second == widget)
    {
        m_mapViewToWidget.erase(itView);
    }
    m_mapWidgetToView.erase(itWidget);
}

void CViewWidgetMap::Clear()
{
    m_mapViewToWidget.clear();
    m_mapWidgetToView.clear();
}

QWidget* CViewWidgetMap::WidgetOf(Zarn::CPluginBase* view) const
{
    const auto it = m_mapViewToWidget.find(view);
    return it != m_mapViewToWidget.end() ? it->second : nullptr;
}

Zarn::CPluginBase* CViewWidgetMap::ViewOf(QWidget* widget) const
{
    const auto it = m_mapWidgetToView.find(widget);
    return it != m_mapWidgetToView.end() ? it->second : nullptr;
}
