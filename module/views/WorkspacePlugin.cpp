#include "views/WorkspacePlugin.h"

#include "frame/HostObjects.h"
#include "frame/Messages.h"
#include "frame/PluginErrors.h"

#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValuePointer.h>
#include <Zarn/Value/ValueScalar.h>

#include <QEvent>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QRect>
#include <QString>
#include <QWidget>

namespace
{

// The sub-window of `workspace` that holds `widget`, or null.
QMdiSubWindow* SubWindowOf(QMdiArea* workspace, QWidget* widget)
{
    auto* pSubWindow = qobject_cast<QMdiSubWindow*>(widget->parentWidget());
    if (pSubWindow == nullptr || pSubWindow->mdiArea() != workspace)
    {
        return nullptr;
    }
    return pSubWindow;
}

} // namespace

CWorkspacePlugin::CWorkspacePlugin()
    : m_pMessageIdFactory(nullptr), m_pCommThread(nullptr), m_pLogger(nullptr),
      m_strWidgetPath("WidgetPtr"), m_pWorkspace(new QMdiArea)
{
}

CWorkspacePlugin::~CWorkspacePlugin()
{
    DisconnectActivation();
    // The widgets are the views': take those still in the area out before it goes, so that
    // deleting the area does not delete them under their owners. Only live sub-windows are asked,
    // since a view may have destroyed its widget without INVALID_VIEW.
    if (m_pWorkspace)
    {
        for (QMdiSubWindow* pSubWindow : m_pWorkspace->subWindowList())
        {
            QWidget* pWidget = pSubWindow->widget();
            if (pWidget != nullptr && m_mapWidgetToView.count(pWidget) != 0)
            {
                pWidget->removeEventFilter(this);
                pWidget->hide();
                pWidget->setParent(nullptr);
            }
        }
    }
    m_mapViewToWidget.clear();
    m_mapWidgetToView.clear();
    delete m_pWorkspace.data();
}

void CWorkspacePlugin::GetPluginSetup(Zarn::CValueMap& setup)
{
    setup.SetEntry(Zarn::CValue_Key("Version"), new Zarn::CValueString("version 1.0.0"));
    setup.SetEntry(Zarn::CValue_Key("WidgetPtr"),
                   new Zarn::CValuePointer<QWidget>(m_pWorkspace.data()));
    setup.SetEntry(Zarn::CValue_Key("PluginType"), new Zarn::CValueString("QtWidget"));
    setup.SetEntry(Zarn::CValue_Key("PluginSubType"), new Zarn::CValueString("Workspace"));
    setup.SetEntry(Zarn::CValue_Key("PluginName"), new Zarn::CValueString(m_strName));
}

void CWorkspacePlugin::Init(void* /*context*/, const Zarn::CValueMap& parameters)
{
    DocView::RunWrapped(
        "CWorkspacePlugin::Init",
        [&]
        {
            QWidget* pParent = nullptr;
            const Zarn::CValue_Key keyParent("parent");
            if (parameters.HasEntry(keyParent))
            {
                pParent = DocView::PointerOf<QWidget>(parameters.Entry(keyParent, true));
            }
            m_strName =
                parameters.EntryString(Zarn::CValue_Key("name"), Zarn::CString("CWorkspacePlugin"));
            m_pCommThread = DocView::BorrowCommThread();
            m_pMessageIdFactory = DocView::BorrowMessageIdFactory();
            m_strWidgetPath =
                parameters.EntryString(Zarn::CValue_Key("widgetpath"), Zarn::CString("WidgetPtr"));
            if (m_pWorkspace)
            {
                if (pParent != nullptr)
                {
                    m_pWorkspace->setParent(pParent);
                }
                m_pWorkspace->setObjectName(QString::fromUtf8(m_strName.c_str()));
                ConnectActivation();
            }
        });
}

void CWorkspacePlugin::UpdateParameters(const Zarn::CValueMap& message)
{
    DocView::RunWrapped("CWorkspacePlugin::UpdateParameters",
                        [&]
                        {
                            if (m_pMessageIdFactory == nullptr ||
                                !DocView::HasMessageIdAndData(message))
                            {
                                return;
                            }
                            if (DocView::IsMessage(m_pMessageIdFactory, message, "NEW_VIEW"))
                            {
                                AddView(DocView::MessagePointer<Zarn::CPluginBase>(message));
                            }
                            if (DocView::IsMessage(m_pMessageIdFactory, message, "INVALID_VIEW"))
                            {
                                RemoveView(DocView::MessagePointer<Zarn::CPluginBase>(message));
                            }
                            if (DocView::IsMessage(m_pMessageIdFactory, message, "ACTIVE_VIEW"))
                            {
                                ActivateView(DocView::MessagePointer<Zarn::CPluginBase>(message));
                            }
                        });
}

void CWorkspacePlugin::AddView(Zarn::CPluginBase* view)
{
    if (view == nullptr || !m_pWorkspace)
    {
        return;
    }
    Zarn::CValueMap setup;
    view->GetPluginSetup(setup);
    const Zarn::CValue* pEntry = setup.Entry(Zarn::CValue_Path(m_strWidgetPath.StdString()), false);
    if (pEntry == nullptr)
    {
        return; // no widget, no window: unlike the view stack there is no placeholder
    }
    QWidget* pWidget = DocView::PointerOf<QWidget>(pEntry);
    if (pWidget == nullptr)
    {
        return;
    }
    const bool bShowMaximized = setup.EntryBool(Zarn::CValue_Key("showmaximized"), true);

    m_mapViewToWidget.insert({view, pWidget});
    m_mapWidgetToView.insert({pWidget, view});
    pWidget->installEventFilter(this);

    // The window keeps the widget's own position and size, frame added around it.
    const QRect rectWidget = pWidget->geometry();
    QMdiSubWindow* pSubWindow = SubWindowOf(m_pWorkspace.data(), pWidget);
    if (pSubWindow == nullptr)
    {
        pSubWindow = m_pWorkspace->addSubWindow(pWidget, Qt::WindowFlags());
        // The view destroys its widget; the empty frame it leaves goes with it.
        QObject::connect(pWidget, &QObject::destroyed, pSubWindow, &QObject::deleteLater);
        // A widget destroyed before its INVALID_VIEW is forgotten, so nothing reaches it later.
        QObject::connect(pWidget, &QObject::destroyed, this,
                         [this, pWidget] { ForgetWidget(pWidget); });
    }
    pSubWindow->setGeometry(
        QRect(rectWidget.topLeft(), rectWidget.size().grownBy(pSubWindow->contentsMargins())));
    pWidget->show();
    pSubWindow->show();
    if (bShowMaximized)
    {
        pSubWindow->showMaximized();
    }
}

void CWorkspacePlugin::RemoveView(Zarn::CPluginBase* view)
{
    const auto it = m_mapViewToWidget.find(view);
    if (it == m_mapViewToWidget.end())
    {
        return;
    }
    QWidget* pWidget = it->second;
    m_mapViewToWidget.erase(it);
    m_mapWidgetToView.erase(pWidget);
    pWidget->removeEventFilter(this);
}

void CWorkspacePlugin::ActivateView(Zarn::CPluginBase* view)
{
    const auto it = m_mapViewToWidget.find(view);
    if (it == m_mapViewToWidget.end() || !m_pWorkspace)
    {
        return;
    }
    QWidget* pWidget = it->second;
    DisconnectActivation();
    // Focus alone activates a window only while the top-level window is active; the explicit
    // activation makes it the workspace's active window in every case.
    if (QMdiSubWindow* pSubWindow = SubWindowOf(m_pWorkspace.data(), pWidget))
    {
        m_pWorkspace->setActiveSubWindow(pSubWindow);
    }
    pWidget->setFocus();
    m_pWorkspace->update();
    ConnectActivation();
}

bool CWorkspacePlugin::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::Close)
    {
        return false;
    }
    const auto it = m_mapWidgetToView.find(qobject_cast<QWidget*>(watched));
    if (it == m_mapWidgetToView.end())
    {
        return false;
    }
    PostView("REMOVE_VIEW", it->second);
    // Ignored and filtered: the widget and its window stay open until the repository removes the
    // view (INVALID_VIEW) and the view destroys the widget.
    event->ignore();
    return true;
}

void CWorkspacePlugin::SlotWidgetActivated(QWidget* widget)
{
    const auto it = m_mapWidgetToView.find(widget);
    if (it == m_mapWidgetToView.end())
    {
        return;
    }
    PostView("FOCUS_VIEW", it->second);
}

void CWorkspacePlugin::ForgetWidget(QWidget* widget)
{
    const auto it = m_mapWidgetToView.find(widget);
    if (it == m_mapWidgetToView.end())
    {
        return;
    }
    const auto itView = m_mapViewToWidget.find(it->second);
    if (itView != m_mapViewToWidget.end() && itView->second == widget)
    {
        m_mapViewToWidget.erase(itView);
    }
    m_mapWidgetToView.erase(it);
}

void CWorkspacePlugin::ConnectActivation()
{
    DisconnectActivation();
    m_connActivated =
        QObject::connect(m_pWorkspace.data(), &QMdiArea::subWindowActivated, this,
                         [this](QMdiSubWindow* subWindow)
                         { SlotWidgetActivated(subWindow ? subWindow->widget() : nullptr); });
}

void CWorkspacePlugin::DisconnectActivation()
{
    if (m_connActivated)
    {
        QObject::disconnect(m_connActivated);
        m_connActivated = QMetaObject::Connection();
    }
}

void CWorkspacePlugin::PostView(const char* szName, Zarn::CPluginBase* view)
{
    DocView::SendMessage(m_pCommThread, m_pMessageIdFactory, szName,
                         new Zarn::CValuePointer<Zarn::CPluginBase>(view));
}
