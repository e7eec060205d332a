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
#include <QMenu>
#include <QAction>
#include <QKeySequence>
#include <QRect>
#include <QScopedValueRollback>
#include <QShortcut>
#include <QString>
#include <QWidget>

#include <algorithm>

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
    const auto releaseWidget = [this](QMdiSubWindow* subWindow)
    {
        QWidget* pWidget = subWindow->widget();
        if (pWidget != nullptr && m_mapWidgetToView.count(pWidget) != 0)
        {
            pWidget->removeEventFilter(this);
            pWidget->hide();
            pWidget->setParent(nullptr);
        }
    };
    if (Area() != nullptr)
    {
        for (QMdiSubWindow* pSubWindow : Area()->subWindowList())
        {
            releaseWidget(pSubWindow);
        }
    }
    for (const SSetAside& setAside : m_lstSetAside)
    {
        if (setAside.pWindow)
        {
            releaseWidget(setAside.pWindow);
            delete setAside.pWindow.data();
        }
    }
    m_lstSetAside.clear();
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
            if (Area() != nullptr)
            {
                if (pParent != nullptr)
                {
                    Area()->setParent(pParent);
                }
                Area()->setObjectName(QString::fromUtf8(m_strName.c_str()));
                if (!m_pNextWindowKey)
                {
                    m_pNextWindowKey = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_Tab), Area(),
                                                     this, [this] { SlotCycleWindows(true); },
                                                     Qt::WidgetWithChildrenShortcut);
                    m_pPreviousWindowKey = new QShortcut(
                        QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Backtab), Area(), this,
                        [this] { SlotCycleWindows(false); }, Qt::WidgetWithChildrenShortcut);
                    UpdateCycleKeys();
                }
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
    if (view == nullptr || !Area())
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
    QMdiSubWindow* pSubWindow = SubWindowOf(Area(), pWidget);
    auto* pOwnFrame = qobject_cast<QMdiSubWindow*>(pWidget->parentWidget());
    if (pSubWindow == nullptr && pOwnFrame != nullptr && IsSetAside(pOwnFrame))
    {
        BringBack(pOwnFrame, false);
        pSubWindow = pOwnFrame;
    }
    if (pSubWindow == nullptr)
    {
        pSubWindow = Area()->addSubWindow(pWidget, Qt::WindowFlags());
        // The view destroys its widget; the empty frame it leaves goes with it.
        QObject::connect(pWidget, &QObject::destroyed, pSubWindow, &QObject::deleteLater);
        // A widget destroyed before its INVALID_VIEW is forgotten, so nothing reaches it later.
        QObject::connect(pWidget, &QObject::destroyed, this,
                         [this, pWidget, pFrame = QPointer<QWidget>(pSubWindow)]
                         { ForgetWidget(pWidget, pFrame.data()); });
        QObject::connect(pSubWindow, &QMdiSubWindow::windowStateChanged, this,
                         [this](Qt::WindowStates oldState, Qt::WindowStates newState)
                         { SlotWindowStateChanged(oldState, newState); });
    }
    {
        const QScopedValueRollback<bool> arranging(m_bArranging, true);
        pSubWindow->setGeometry(QRect(rectWidget.topLeft(),
                                      rectWidget.size().grownBy(pSubWindow->contentsMargins())));
        pWidget->show();
        pSubWindow->show();
        if (bShowMaximized)
        {
            pSubWindow->showMaximized();
        }
    }
    SetAsideCoveredWindows();
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
    if (it == m_mapViewToWidget.end() || !Area())
    {
        return;
    }
    QWidget* pWidget = it->second;
    DisconnectActivation();
    auto* pSubWindow = qobject_cast<QMdiSubWindow*>(pWidget->parentWidget());
    if (pSubWindow != nullptr && IsSetAside(pSubWindow))
    {
        // Activating a window while a maximised one fills the area maximises it in its place.
        // The cover goes first, so that the area does not restore it only to have it set aside.
        const bool bMaximized = CoveringWindow() != nullptr;
        if (bMaximized)
        {
            for (QMdiSubWindow* pOther : Area()->subWindowList())
            {
                SetAside(pOther);
            }
        }
        BringBack(pSubWindow, bMaximized);
    }
    // Focus alone activates a window only while the top-level window is active; the explicit
    // activation makes it the workspace's active window in every case.
    if (pSubWindow != nullptr && pSubWindow->mdiArea() == Area())
    {
        Area()->setActiveSubWindow(pSubWindow);
    }
    pWidget->setFocus();
    SetAsideCoveredWindows();
    Area()->update();
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
    if (m_bArranging)
    {
        return; // the workspace's own moves are no choice of the user's
    }
    const auto it = m_mapWidgetToView.find(widget);
    if (it == m_mapWidgetToView.end())
    {
        return;
    }
    PostView("FOCUS_VIEW", it->second);
}

void CWorkspacePlugin::ForgetWidget(QWidget* widget, QWidget* frameWidget)
{
    // The frame outlives its widget until its deletion, pending now, comes. If it filled the area,
    // it leaves the area at once and the window that was active before it takes its place. When
    // the frame or the area is being destroyed itself, the casts find only a QWidget and give null.
    auto* frame = qobject_cast<QMdiSubWindow*>(frameWidget);
    QMdiArea* pArea = frame != nullptr ? frame->mdiArea() : nullptr;
    if (pArea != nullptr && pArea == Area() && frame->isMaximized())
    {
        {
            const QScopedValueRollback<bool> arranging(m_bArranging, true);
            frame->hide();
            Area()->removeSubWindow(frame);
        }
        PruneSetAside();
        if (!m_lstSetAside.empty() && CoveringWindow() == nullptr)
        {
            QMdiSubWindow* pNext = m_lstSetAside.back().pWindow;
            BringBack(pNext, true);
            {
                const QScopedValueRollback<bool> arranging(m_bArranging, true);
                Area()->setActiveSubWindow(pNext);
            }
            // Reported as QMdiArea reports the window it activates after a close.
            if (m_connActivated)
            {
                SlotWidgetActivated(pNext->widget());
            }
        }
    }
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

QMdiArea* CWorkspacePlugin::Area() const
{
    return qobject_cast<QMdiArea*>(m_pWorkspace.data());
}

QMdiSubWindow* CWorkspacePlugin::WindowOfView(Zarn::CPluginBase* view) const
{
    const auto it = m_mapViewToWidget.find(view);
    if (it == m_mapViewToWidget.end())
    {
        return nullptr;
    }
    return qobject_cast<QMdiSubWindow*>(it->second->parentWidget());
}

bool CWorkspacePlugin::IsSetAside(const QMdiSubWindow* window) const
{
    return std::any_of(m_lstSetAside.begin(), m_lstSetAside.end(),
                       [window](const SSetAside& setAside)
                       { return setAside.pWindow.data() == window; });
}

QMdiSubWindow* CWorkspacePlugin::CoveringWindow() const
{
    if (!Area())
    {
        return nullptr;
    }
    QMdiSubWindow* pActive = Area()->activeSubWindow();
    if (pActive != nullptr && pActive->isMaximized() && !pActive->isHidden())
    {
        return pActive;
    }
    for (QMdiSubWindow* pSubWindow : Area()->subWindowList())
    {
        if (pSubWindow->isMaximized() && !pSubWindow->isHidden())
        {
            return pSubWindow;
        }
    }
    return nullptr;
}

void CWorkspacePlugin::SetAsideCoveredWindows()
{
    QMdiSubWindow* pCover = CoveringWindow();
    if (pCover == nullptr)
    {
        return;
    }
    for (QMdiSubWindow* pSubWindow : Area()->subWindowList())
    {
        if (pSubWindow != pCover)
        {
            SetAside(pSubWindow);
        }
    }
}

void CWorkspacePlugin::SetAside(QMdiSubWindow* window)
{
    const QScopedValueRollback<bool> arranging(m_bArranging, true);
    SSetAside setAside;
    setAside.pWindow = window;
    if (!window->isMaximized())
    {
        setAside.geometry = window->geometry();
    }
    // A window's menu registers its close shortcuts with the application, which scans every
    // registered shortcut whenever an action changes; the windows set aside keep theirs here.
    if (QMenu* pMenu = window->systemMenu())
    {
        for (QAction* pAction : pMenu->actions())
        {
            if (!pAction->shortcuts().isEmpty())
            {
                setAside.lstShortcuts.emplace_back(pAction, pAction->shortcuts());
                pAction->setShortcuts(QList<QKeySequence>());
            }
        }
    }
    window->hide();
    Area()->removeSubWindow(window);
    m_lstSetAside.push_back(std::move(setAside));
    UpdateCycleKeys();
}

void CWorkspacePlugin::PruneSetAside()
{
    std::erase_if(m_lstSetAside, [](const SSetAside& setAside) { return setAside.pWindow.isNull(); });
    UpdateCycleKeys();
}

void CWorkspacePlugin::UpdateCycleKeys()
{
    const bool bEnabled = !m_lstSetAside.empty();
    for (QShortcut* pKey : {m_pNextWindowKey.data(), m_pPreviousWindowKey.data()})
    {
        if (pKey != nullptr && pKey->isEnabled() != bEnabled)
        {
            pKey->setEnabled(bEnabled);
        }
    }
}

void CWorkspacePlugin::SlotCycleWindows(bool forward)
{
    PruneSetAside();
    QMdiSubWindow* pCover = CoveringWindow();
    if (m_lstSetAside.empty() || pCover == nullptr)
    {
        return;
    }
    QMdiSubWindow* pNext = forward ? m_lstSetAside.back().pWindow : m_lstSetAside.front().pWindow;
    for (QMdiSubWindow* pOther : Area()->subWindowList())
    {
        SetAside(pOther);
    }
    BringBack(pNext, true);
    {
        const QScopedValueRollback<bool> arranging(m_bArranging, true);
        Area()->setActiveSubWindow(pNext);
    }
    if (QWidget* pWidget = pNext->widget())
    {
        pWidget->setFocus();
    }
    // The user's choice, reported as a click on the window would be.
    if (m_connActivated)
    {
        SlotWidgetActivated(pNext->widget());
    }
}

void CWorkspacePlugin::BringBack(QMdiSubWindow* window, bool maximized)
{
    const auto it = std::find_if(m_lstSetAside.begin(), m_lstSetAside.end(),
                                 [window](const SSetAside& setAside)
                                 { return setAside.pWindow.data() == window; });
    if (it == m_lstSetAside.end())
    {
        return;
    }
    const SSetAside setAside = std::move(*it);
    m_lstSetAside.erase(it);
    PruneSetAside();

    const QScopedValueRollback<bool> arranging(m_bArranging, true);
    Area()->addSubWindow(window);
    for (const auto& [pAction, lstKeys] : setAside.lstShortcuts)
    {
        if (pAction)
        {
            pAction->setShortcuts(lstKeys);
        }
    }
    if (maximized)
    {
        window->showMaximized();
    }
    else
    {
        window->showNormal();
        if (setAside.geometry)
        {
            window->setGeometry(*setAside.geometry);
        }
    }
}

void CWorkspacePlugin::BringBackAll()
{
    PruneSetAside();
    if (Area() == nullptr || m_lstSetAside.empty() || CoveringWindow() != nullptr)
    {
        return;
    }
    QMdiSubWindow* pActive = Area()->activeSubWindow();
    std::vector<QMdiSubWindow*> lstWindows;
    for (const SSetAside& setAside : m_lstSetAside)
    {
        lstWindows.push_back(setAside.pWindow);
    }
    for (QMdiSubWindow* pSubWindow : lstWindows)
    {
        BringBack(pSubWindow, false);
    }
    // Showing a window activates it: the one the user was working with stays active, on top.
    if (pActive != nullptr)
    {
        const QScopedValueRollback<bool> arranging(m_bArranging, true);
        Area()->setActiveSubWindow(pActive);
        pActive->raise();
    }
}

void CWorkspacePlugin::SlotWindowStateChanged(Qt::WindowStates oldState,
                                              Qt::WindowStates newState)
{
    if (m_bArranging)
    {
        return;
    }
    if (newState.testFlag(Qt::WindowMaximized))
    {
        SetAsideCoveredWindows();
    }
    else if (oldState.testFlag(Qt::WindowMaximized))
    {
        BringBackAll();
    }
}

void CWorkspacePlugin::ConnectActivation()
{
    DisconnectActivation();
    m_connActivated =
        QObject::connect(Area(), &QMdiArea::subWindowActivated, this,
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
